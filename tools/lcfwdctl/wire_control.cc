#include "tools/lcfwdctl/wire_control.h"

#include "tools/lcfwdctl/wire_append.h"

#include <cstring>

std::vector<uint8_t> ctl_vdc_make(uint16_t vdc_id) {
    std::vector<uint8_t> out;
    ctl_append(&out, vdc_id);
    return out;
}

std::vector<uint8_t> ctl_download_make(uint8_t step) { return {0, 0, step, 0}; }
std::vector<uint8_t> ctl_up_make(uint8_t epoch) { return {0, 0, epoch, 0}; }

static uint8_t family_number(uint8_t family) { return family == 4 ? 1 : 2; }

std::vector<uint8_t> ctl_stale_make(uint8_t family, uint32_t table_id, uint8_t epoch) {
    std::vector<uint8_t> out;
    ctl_stale message{};
    message.family = family_number(family);
    message.table_id = wire_put(table_id);
    message.epoch = epoch;
    ctl_append(&out, message);
    return out;
}

std::vector<uint8_t> ctl_neighbours_make(std::span<const ctl_next_hop> hops, bool resolved, uint8_t flags) {
    std::vector<uint8_t> out;
    ctl_neighbours head{};
    head.count = wire_put(static_cast<uint16_t>(hops.size()));
    ctl_append(&out, head);
    for (const ctl_next_hop &hop : hops) {
        ctl_neighbour entry{};
        entry.length = wire_put(static_cast<uint16_t>(sizeof entry));
        entry.family = family_number(hop.family);
        entry.flags = flags;
        entry.if_index = wire_put(hop.if_index);
        memcpy(entry.address, hop.address, sizeof entry.address);
        if (resolved) memcpy(entry.mac, hop.mac, sizeof entry.mac);
        ctl_append(&out, entry);
    }
    return out;
}

const char *ctl_state_name(uint32_t state) {
    static const char *const names[] = {"NOT-READY",   "RESTARTING", "UPGRADING", "EXITED",
                                        "INITIALIZED", "LOADING",    "ACTIVE"};
    return state < sizeof names / sizeof names[0] ? names[state] : "UNKNOWN";
}
