#include "tools/lcfwdctl/longest_match.h"

#include <algorithm>

ctl_point ctl_point_of(uint8_t family, const uint8_t *address) {
    ctl_point point{0, 0};
    for (unsigned i = 0; i < (family == 4 ? 4u : 16u); i++) {
        point.high = point.high << 8 | point.low >> 56;
        point.low = point.low << 8 | address[i];
    }
    return point;
}

void ctl_point_bytes(uint8_t family, ctl_point point, uint8_t address[16]) {
    const unsigned count = family == 4 ? 4 : 16;
    for (unsigned i = 0; i < 16; i++) address[i] = 0;
    for (unsigned i = count; i-- > 0;) {
        address[i] = static_cast<uint8_t>(point.low);
        point.low = point.low >> 8 | point.high << 56;
        point.high >>= 8;
    }
}

static ctl_point next_point(ctl_point point) {
    point.low++;
    if (point.low == 0) point.high++;
    return point;
}

/* The bits behind a prefix as a number: 2^bits - 1. */
static ctl_point host_mask(unsigned bits) {
    const uint64_t all = ~uint64_t{0};
    if (bits >= 128) return {all, all};
    if (bits >= 64) return {bits == 64 ? 0 : all >> (128 - bits), all};
    return {0, bits == 0 ? 0 : all >> (64 - bits)};
}

ctl_range ctl_route_range(const ctl_route &route) {
    const unsigned host_bits = (route.family == 4 ? 32u : 128u) - route.bits;
    const ctl_point first = ctl_point_of(route.family, route.address);
    const ctl_point size = host_mask(host_bits), half = host_mask(host_bits > 0 ? host_bits - 1 : 0);
    return {first,
            {first.high | half.high, first.low | half.low},
            {first.high | size.high, first.low | size.low}};
}

static void begin_stretch(ctl_match *match, ctl_point start, int64_t route) {
    /* A stretch of no length gives way to the one that begins at the same address. */
    if (!match->starts.empty() && match->starts.back() == start) {
        match->routes.back() = route;
        return;
    }
    match->starts.push_back(start);
    match->routes.push_back(route);
}

ctl_match ctl_match_make(std::span<const ctl_route> routes) {
    struct open_route {
        int64_t index;
        ctl_point last;
    };
    ctl_match match;
    std::vector<open_route> open; /* the routes around the present address, the widest first */
    const auto close_before = [&](const ctl_point *until) {
        while (!open.empty() && (until == nullptr || open.back().last < *until)) {
            const ctl_point after = next_point(open.back().last);
            open.pop_back();
            /* Behind the last address there is nothing that could begin. */
            if (after != ctl_point{0, 0}) begin_stretch(&match, after, open.empty() ? -1 : open.back().index);
        }
    };
    begin_stretch(&match, {0, 0}, -1);
    for (size_t i = 0; i < routes.size(); i++) {
        const ctl_range range = ctl_route_range(routes[i]);
        close_before(&range.first);
        begin_stretch(&match, range.first, static_cast<int64_t>(i));
        open.push_back({static_cast<int64_t>(i), range.last});
    }
    close_before(nullptr);
    return match;
}

int64_t ctl_match_find(const ctl_match &match, ctl_point point) {
    const auto after = std::upper_bound(match.starts.begin(), match.starts.end(), point);
    if (after == match.starts.begin()) return -1;
    return match.routes[static_cast<size_t>(after - match.starts.begin()) - 1];
}
