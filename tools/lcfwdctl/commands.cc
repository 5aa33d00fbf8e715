#include "tools/lcfwdctl/commands.h"

#include "host/system/root.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

ctl_settings ctl;

void ctl_error(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("lcfwdctl: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
}

std::string ctl_root_text(uint32_t slot) {
    std::string root = ctl.root;
    for (size_t at = root.find("{slot}"); at != std::string::npos; at = root.find("{slot}", at))
        root.replace(at, strlen("{slot}"), std::to_string(slot));
    return root.empty() ? "/" : root;
}

void ctl_use_root(uint32_t slot) { host_root_set(ctl_root_text(slot).c_str()); }

const ctl_command *const ctl_commands[] = {
    &ctl_command_vdc,       &ctl_command_load,    &ctl_command_delete,   &ctl_command_resolve,
    &ctl_command_unresolve, &ctl_command_repoint, &ctl_command_stale,    &ctl_command_lookup,
    &ctl_command_verify,    &ctl_command_status,  &ctl_command_engine,   &ctl_command_store,
    &ctl_command_send,      &ctl_command_probe,   &ctl_command_trace,    &ctl_command_log,
    &ctl_command_interface, &ctl_command_mac,     &ctl_command_clear,    &ctl_command_aged,
    &ctl_command_show,      &ctl_command_debug,   &ctl_command_complete, &ctl_command_tunnel,
    &ctl_command_stats,     &ctl_command_check,
};
const size_t ctl_command_count = sizeof ctl_commands / sizeof ctl_commands[0];
