#include "diag/show_value.h"

#include "diag/command_numbers.h"
#include "host/command/command.h"

#include <cerrno>

bool show_get_value(cmd_handle *handle, show_value *out) {
    *out = {false, 0};
    cmd_attr attr;
    int status;
    while ((status = cmd_req_attr_getnext(handle, &attr)) == 0) {
        if (attr.type != CMD_ATTR_VALUE) continue;
        uint64_t number = 0;
        if (attr.length != sizeof(uint32_t) || cmd_attr_number(&attr, &number) != 0) {
            status = EBADMSG;
            break;
        }
        *out = {true, static_cast<uint32_t>(number)};
    }
    if (status != EBADMSG) return true;
    cmd_rep_send_nok(handle, 6, "bad attribute");
    return false;
}
