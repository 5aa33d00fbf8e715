#include "softfwd/softfwd_cli.h"

#include "host/command/command.h"
#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd_engine.h"

#include <cerrno>

/* 0; EBADMSG: an attribute is not as it should be. Without a value nothing is set. */
static int bypass_set(cmd_handle *handle) {
    cmd_attr attr;
    int status;
    while ((status = cmd_req_attr_getnext(handle, &attr)) == 0) {
        if (attr.type != UFIB_PLATFORM_ATTR_VALUE) continue;
        uint64_t value;
        if (attr.length != sizeof(uint32_t) || cmd_attr_number(&attr, &value) != 0 || value > 1)
            return EBADMSG;
        softfwd_store(&softfwd_state.head->a_bypass, static_cast<uint32_t>(value));
    }
    return status == ENOENT ? 0 : status;
}

void softfwd_cli_show_command(cmd_handle *handle, uint32_t, uint32_t command) {
    if (command != UFIB_PLATFORM_COMMAND_BYPASS) {
        cmd_rep_send_nok(handle, 2, "unknown command");
        return;
    }
    if (!softfwd_state.open) {
        cmd_rep_send_nok(handle, 7, "the engine has no tables");
        return;
    }
    if (bypass_set(handle) != 0) {
        cmd_rep_send_nok(handle, 6, "bad attribute");
        return;
    }
    const bool on = softfwd_state.head->a_bypass != 0;
    cmd_prt(handle, "bypass hardware is %s\n", cmd_text(on ? "on" : "off", "bypass_hardware"));
    cmd_prt_send(handle);
}
