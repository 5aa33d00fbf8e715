/* The expected longest match against the slow obvious way: try every route. */
#include "tools/lcfwdctl/longest_match.h"
#include "tools/lcfwdctl/random.h"

#include "host/address/address.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

static bool covers(const ctl_route &route, const uint8_t *address) {
    uint8_t mask[16];
    ipv6_mask(mask, route.bits);
    for (int i = 0; i < 16; i++)
        if (((route.address[i] ^ address[i]) & mask[i]) != 0) return false;
    return true;
}

static int64_t slow_match(const std::vector<ctl_route> &routes, const uint8_t *address) {
    int64_t best = -1;
    for (size_t i = 0; i < routes.size(); i++)
        if (covers(routes[i], address) &&
            (best < 0 || routes[i].bits > routes[static_cast<size_t>(best)].bits))
            best = static_cast<int64_t>(i);
    return best;
}

/* Few address bits differ, so that routes nest deeply and meet at their ends. */
static std::vector<ctl_route> random_routes(uint8_t family, uint32_t *state, size_t count) {
    const unsigned most = family == 4 ? 32 : 128;
    std::vector<ctl_route> routes;
    for (size_t i = 0; i < count; i++) {
        ctl_route route{};
        route.family = family;
        route.bits = static_cast<uint8_t>(ctl_random(state) % (most + 1));
        for (unsigned at = 0; at < most / 8; at++)
            route.address[at] = ctl_random(state) % 4 != 0 ? (ctl_random(state) % 2 != 0 ? 0xff : 0x00)
                                                           : static_cast<uint8_t>(ctl_random(state));
        uint8_t mask[16];
        ipv6_mask(mask, route.bits);
        for (int at = 0; at < 16; at++) route.address[at] &= mask[at];
        routes.push_back(route);
    }
    ctl_routes_finish({1, 0}, &routes);
    return routes;
}

class longest_match : public testing::TestWithParam<uint8_t> {};

TEST_P(longest_match, agrees_with_trying_every_route) {
    const uint8_t family = GetParam();
    uint32_t state = 4711;
    for (int round = 0; round < 60; round++) {
        const std::vector<ctl_route> routes = random_routes(family, &state, 1 + ctl_random(&state) % 60);
        const ctl_match match = ctl_match_make(routes);
        for (const ctl_route &route : routes) {
            const ctl_range range = ctl_route_range(route);
            for (ctl_point point :
                 {range.first, range.middle, range.last, ctl_point{range.last.high, range.last.low + 1},
                  ctl_point{range.first.high, range.first.low - 1}}) {
                uint8_t address[16];
                ctl_point_bytes(family, point, address);
                if (family == 4) point = ctl_point_of(4, address); /* past the end: wraps, as the bytes do */
                ASSERT_EQ(ctl_match_find(match, point), slow_match(routes, address))
                    << "round " << round << ", " << ctl_address_text(family, address);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(families, longest_match, testing::Values(uint8_t{4}, uint8_t{6}));

TEST(route_range, of_every_length_stays_in_its_prefix) {
    for (uint8_t family : {uint8_t{4}, uint8_t{6}})
        for (unsigned bits = 0; bits <= (family == 4 ? 32u : 128u); bits++) {
            ctl_route route{};
            route.family = family;
            route.bits = static_cast<uint8_t>(bits);
            memset(route.address, 0xa5, family == 4 ? 4 : 16);
            ipv6_addr whole;
            memcpy(whole.bytes, route.address, 16);
            ipv6_addr_mask(&whole, route.bits);
            memcpy(route.address, whole.bytes, 16);
            const ctl_range range = ctl_route_range(route);
            for (ctl_point point : {range.first, range.middle, range.last}) {
                uint8_t address[16];
                ctl_point_bytes(family, point, address);
                EXPECT_TRUE(covers(route, address)) << ctl_prefix_text(route);
                EXPECT_LE(range.first, point);
                EXPECT_LE(point, range.last);
            }
        }
}
