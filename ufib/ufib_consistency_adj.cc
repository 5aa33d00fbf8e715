/* Consistency of adjacencies: what the adjacency manager has, against the model and hardware. */
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

bool ufib_hardware_has_adj(ufib_adj *adj) {
    return ufib_adj_family(adj).index == 0 ? ufib_platform_consistency_check_adj(adj)
                                           : ufib_platform_consistency_check_v6_adj(adj);
}

/* Resolved means: with this MAC, and held by the manager. */
static bool state_agrees(const ufib_adj *adj, const ufib_am_entry &entry) {
    static constexpr uint8_t unresolved[6] = {};
    const bool resolved = (adj->flags & UFIB_ADJ_RESOLVED) != 0;
    if (std::memcmp(entry.mac, unresolved, sizeof unresolved) == 0) return !resolved;
    const bool gateway = (entry.flags & UFIB_AM_PEER_GATEWAY) != 0;
    return resolved && (adj->holders & UFIB_ADJ_HELD_AM) != 0 &&
           gateway == ((adj->flags & UFIB_ADJ_PEER_GW) != 0) &&
           std::memcmp(adj->rewrite.bytes + UFIB_REWRITE_DMAC, entry.mac, sizeof entry.mac) == 0;
}

static void row_add(const mts_msg *message, ufib_cc_response *response, const ufib_adj_key &key,
                    bool missing) {
    ufib_cc_adj_row row = {wire_put(key.if_index), {}};
    std::memcpy(row.address, key.address, sizeof row.address);
    ufib_cc_row_add(message, response, &row, missing);
}

/* A neighbour that the manager could not resolve need not be here. */
static bool entry_agrees(ufib_adj *adj, const ufib_am_entry &entry) {
    static constexpr uint8_t unresolved[6] = {};
    if (adj == nullptr) return std::memcmp(entry.mac, unresolved, sizeof unresolved) == 0;
    adj->flags |= UFIB_ADJ_CONSISTENCY;
    return state_agrees(adj, entry) && ufib_hardware_has_adj(adj);
}

void ufib_adj_consistency_check(ufib_vdc *vdc, const ufib_family &family, const ufib_am_entry &entry,
                                const mts_msg *message) {
    ufib_adj_key key = {wire_get(entry.if_index), {}};
    std::memcpy(key.address, entry.address, family.addr_bytes);
    ufib_cc_response *response = ufib_cc_response_of(vdc, family, false, message);
    if (!entry_agrees(ufib_adj_search(vdc, family, key), entry)) row_add(message, response, key, false);
}

void ufib_adj_consistency_walk(ufib_vdc *vdc, const ufib_family &family, const mts_msg *message) {
    ufib_cc_response *response = ufib_cc_response_of(vdc, family, false, message);
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (ufib_adj *adj = ufib_adj_get_first(vdc, family); adj != nullptr; adj = ufib_adj_get_next(adj)) {
        if ((adj->flags & UFIB_ADJ_CONSISTENCY) == 0) row_add(message, response, adj->key, true);
        ufib_walk_step(&budget);
    }
    ufib_clear_cc_state(vdc, family);
    ufib_cc_send(message, response, UFIB_CC_LAST);
}
