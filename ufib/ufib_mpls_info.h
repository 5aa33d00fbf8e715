/* ufib/ufib_mpls_info.h: what the unicast side tells the label side about a next hop: labels, and traffic-engineering
 * (TE) tunnels. Borrowed for the call; host order. One thread. */
#pragma once

#include <cstdint>

struct ufib_obj;

constexpr uint32_t UFIB_MPLS_REFRESH = 13; /* operation: the labels are unchanged, what exists is refreshed */

struct ufib_mpls_info {
    const uint32_t *labels;
    uint32_t label_count;
    uint32_t operation; /* as the next hop says, or UFIB_MPLS_REFRESH */
    uint32_t adj_key_id;
    uint32_t if_index;
    uint8_t next_hop[16]; /* network order; IPv4 in the first four */
    uint32_t te_if_index; /* of a TE tunnel; 0: none */
    bool active;          /* the next hop is a TE tunnel */
    bool master_tunnel;   /* ... and a master tunnel */
    uint32_t frr_type;
    ufib_obj *backup; /* or null */
};
