/* tools/lcfwdctl/next_hop.h: the neighbours that routes point at. Neighbour number n (from 0) is the same on every
 * machine: Ethernet port n + 1, 10.0.0.0/16 or fe80::/64 with host part n + 1, and a MAC that tells family and n. */
#pragma once

#include <cstdint>

struct ctl_next_hop {
    uint32_t if_index;
    uint8_t family;      /* 4 or 6 */
    uint8_t address[16]; /* network order; IPv4 in the first four bytes */
    uint8_t mac[6];
};

constexpr uint32_t CTL_NEXT_HOPS_MAX = 60000;

[[nodiscard]] ctl_next_hop ctl_next_hop_make(uint8_t family, uint32_t number);

/* The address of recursive next hop n: 10.128.0.0/16 or fd00::/64 with host part n + 1. It is a host route of its own,
 * by way of a neighbour. Network order; IPv4 in the first four bytes, the rest zero. */
void ctl_recursive_hop(uint8_t family, uint32_t number, uint8_t address[16]);
