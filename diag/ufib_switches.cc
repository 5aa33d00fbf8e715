/* Switches of the process that debug commands set. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_funcstats.h"
#include "diag/command_numbers.h"
#include "diag/show_value.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform_api.h"

#include <cstdio>

/* Sets the switch when a value came, and tells its state. */
static void switch_serve(cmd_handle *handle, uint32_t vdc_id, const char *name, bool *state,
                         void (*switched_on)() = nullptr) {
    show_value asked;
    if (lcfwd_vdc_row(vdc_id) == nullptr || !show_get_value(handle, &asked)) return;
    if (asked.value > 1) {
        cmd_rep_send_nok(handle, 6, "bad attribute");
        return;
    }
    if (asked.given && *state != (asked.value != 0)) {
        *state = asked.value != 0;
        LCFWD_TRACE("%s is %s now", name, *state ? "on" : "off");
        if (*state && switched_on != nullptr) switched_on();
    }
    char format[64];
    std::snprintf(format, sizeof format, "%s is %%s\n", name);
    cmd_prt(handle, format, cmd_text(*state ? "on" : "off", name));
    cmd_prt_send(handle);
}

void ufib_switch_disable_tracing(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_tracing", &ufib_disable_tracing);
}
void ufib_switch_enable_rc_debugs(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_enable_rc_debugs", &ufib_enable_rc_debugs);
}
/* Measuring begins at zero each time. */
void ufib_switch_update_funcstats(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_update_funcstats", &ufib_update_funcstats, ufib_funcstats_clear);
}
void ufib_switch_disable_funcstats_tr(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_funcstats_tr", &ufib_disable_funcstats_tr);
}
void ufib_switch_disable_pss(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_pss", &ufib_disable_pss);
}

/* A library that has no such command may not even answer. */
void ufib_forwarding_bypass_hardware(cmd_handle *handle, uint32_t vdc_id) {
    static_assert(CMD_BYPASS_HARDWARE == UFIB_PLATFORM_COMMAND_BYPASS &&
                  CMD_ATTR_VALUE == UFIB_PLATFORM_ATTR_VALUE);
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    const uint64_t answers = cmd_counters_get()->answers;
    ufib_platform_cli_show_command(handle, vdc_id, CMD_BYPASS_HARDWARE);
    if (cmd_counters_get()->answers == answers) cmd_rep_send_nok(handle, 7, "not supported");
}
