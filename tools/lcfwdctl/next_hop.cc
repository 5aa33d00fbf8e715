#include "tools/lcfwdctl/next_hop.h"

#include <cstring>

/* The top byte of an interface index is its type. */
static constexpr uint32_t ETHERNET_PORT = 0x1a000000;

ctl_next_hop ctl_next_hop_make(uint8_t family, uint32_t number) {
    const uint32_t host = number + 1;
    const auto high = static_cast<uint8_t>(host >> 8), low = static_cast<uint8_t>(host);
    ctl_next_hop hop{};
    hop.if_index = ETHERNET_PORT | host;
    hop.family = family;
    if (family == 4) {
        hop.address[0] = 10;
        hop.address[2] = high;
        hop.address[3] = low;
    } else {
        hop.address[0] = 0xfe;
        hop.address[1] = 0x80;
        hop.address[14] = high;
        hop.address[15] = low;
    }
    const uint8_t mac[6] = {0x02, 0, 0, family, high, low};
    for (int i = 0; i < 6; i++) hop.mac[i] = mac[i];
    return hop;
}

void ctl_recursive_hop(uint8_t family, uint32_t number, uint8_t address[16]) {
    const uint32_t host = number + 1;
    const auto high = static_cast<uint8_t>(host >> 8), low = static_cast<uint8_t>(host);
    std::memset(address, 0, 16);
    address[0] = family == 4 ? 10 : 0xfd;
    if (family == 4) address[1] = 128;
    address[family == 4 ? 2 : 14] = high;
    address[family == 4 ? 3 : 15] = low;
}
