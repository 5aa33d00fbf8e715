/* ufib/ufib_xpi.h: what a route add may carry beside the route: the security-group tag and the source binding of a
 * host. Host order, MAC in network order. */
#pragma once

#include <cstdint>

constexpr uint8_t UFIB_XPI_TAG = 0x08; /* 'tag' is valid; bits 0 to 2 belong to the source guard */

struct ufib_xpi {
    uint8_t mac[6];
    uint8_t flags;
    uint32_t if_index;
    uint16_t tag;
};
