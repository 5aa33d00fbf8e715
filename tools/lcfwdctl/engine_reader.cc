#include "tools/lcfwdctl/engine_reader.h"

#include "tools/lcfwdctl/route_list.h"

#include <cerrno>
#include <cstring>

int ctl_engine_failure(uint32_t slot, int error) {
    const std::string root = ctl_root_text(slot);
    if (error == ENOENT)
        ctl_error("slot %u: no forwarding engine below %s; start it: lcfwd --slot %u --root %s", slot,
                  root.c_str(), slot, root.c_str());
    else if (error == EPROTO)
        ctl_error("slot %u: the forwarding tables have another layout; use the lcfwdctl of the same build",
                  slot);
    else if (error == ESTALE)
        ctl_error("slot %u: the forwarding engine has started anew with empty tables; try again", slot);
    else if (error == EAGAIN)
        ctl_error("slot %u: too many readers look at these tables; end one of them", slot);
    else if (error == EACCES || error == EPERM)
        ctl_error("slot %u: the forwarding tables belong to another user; run this as that user or as root",
                  slot);
    else
        ctl_error("slot %u: forwarding tables: %s", slot, strerror(error));
    return CTL_UNREACHABLE;
}

int ctl_engine_attach(uint32_t slot, bool counting, softfwd_reader **out) {
    ctl_use_root(slot);
    const int error = softfwd_reader_attach(slot, counting, out);
    return error == 0 ? CTL_GOOD : ctl_engine_failure(slot, error);
}

std::string ctl_engine_address(uint32_t family, const uint8_t *address) {
    if (family == ADDRESS_FAMILY_NONE) return "-";
    return ctl_address_text(family == ADDRESS_FAMILY_V4 ? 4 : 6, address);
}

int ctl_engine_for_each_slot(bool counting, ctl_engine_work work, void *context) {
    int worst = CTL_GOOD;
    for (uint32_t slot : ctl.slots) {
        softfwd_reader *reader = nullptr;
        int status = ctl_engine_attach(slot, counting, &reader);
        if (status == CTL_GOOD) {
            status = work(slot, reader, context);
            softfwd_reader_detach(reader);
        }
        worst = ctl_worse(worst, status);
    }
    return worst;
}
