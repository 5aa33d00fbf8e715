/* tests/softfwd/fake_model.h: the smallest model that the engine can read: prefixes and adjacencies that the test fills
 * in, and the cookies of both families. Its ufib_pi_* are linked in the place of the real ones. */
#pragma once

#include <array>
#include <cstdint>
#include <vector>

struct fake_adj {
    bool v4 = true;
    uint32_t vdc_id = 1, if_index = 0, address = 0; /* IPv4, host order */
    std::array<uint8_t, 16> address6{};
    std::array<uint8_t, 6> dmac{}, smac{};
    bool resolved = false, glean = false, drop = false, punt = false, global = false, has_smac = false;
    uint8_t tunnel_type = 0;
    uint32_t format = 1, tunnel_source = 0, tunnel_destination = 0, handle = 0;
    uint8_t space[32] = {};
};

struct fake_group { /* of next hops that the test keeps */
    uint32_t vdc_id = 1;
    std::vector<fake_adj *> paths;
    uint32_t handle = 0;
    uint8_t space[512] = {};
};

struct fake_vobj : fake_group { /* its handle is that of the current instance, its paths are the cnhs */
    uint64_t id = 1;
    uint32_t old_handle = 0, old_count = 0, new_handle = 0, new_count = 0;
};

struct fake_prefix {
    bool v4 = true;
    uint32_t vdc_id = 1, table_id = 1, table_handle = 0;
    uint32_t address = 0, bits = 0; /* IPv4, host order */
    std::array<uint8_t, 16> address6{};
    fake_adj *next = nullptr;
    fake_group *group = nullptr; /* in the place of 'next' */
    bool local = false, direct = false, tagged = false;
    uint32_t attached = 0; /* interface of a direct one */
    uint16_t tag = 0;
    uint32_t handle = 0;
    uint8_t space[32] = {};
};

struct fake_cookie {
    std::vector<void *> entries; /* at most 30 */
    std::vector<int> results;    /* 1: none yet */
    bool processed = false;
    void init() { *this = {}; }
};
extern fake_cookie fake_cookie_v4, fake_cookie_v6;
extern fake_adj *fake_tunnel;    /* what its interface's tunnel was told; or null */
extern fake_adj *fake_tunnel_v6; /* the IPv6 next hop over that interface; or null */
