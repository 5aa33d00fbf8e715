#include "ufib/ufib_family.h"

#include "host/address/address.h"

#include <cstring>

uint32_t ufib_v4_addr(const uint8_t *address) {
    return static_cast<uint32_t>(address[0]) << 24 | static_cast<uint32_t>(address[1]) << 16 |
           static_cast<uint32_t>(address[2]) << 8 | address[3];
}

const char *ufib_addr_str(const ufib_family &family, const uint8_t *address) {
    return family.index == UFIB_STATS_V4 ? ip_address_str(ufib_v4_addr(address)) : ipv6_addr_str(address);
}

const char *ufib_prefix_str(const ufib_family &family, const uint8_t *address, uint32_t mask_len) {
    const auto bits = static_cast<uint8_t>(mask_len);
    if (family.index == UFIB_STATS_V4) return ip_prefix_str(ufib_v4_addr(address), bits);
    ipv6_addr copy;
    std::memcpy(copy.bytes, address, sizeof copy.bytes);
    return ipv6_prefix_str(&copy, bits);
}
