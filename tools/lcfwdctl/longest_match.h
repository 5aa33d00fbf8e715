/* tools/lcfwdctl/longest_match.h: what the longest match of an address must be, worked out from the list of routes alone:
 * the address space of a family cut into stretches, each with the route that holds there. It shares nothing with the
 * tries of the process, so that the two cannot be wrong in the same way. */
#pragma once

#include "tools/lcfwdctl/route_list.h"

#include <compare>
#include <span>
#include <vector>

/* An address as a number: IPv4 in the low half. */
struct ctl_point {
    uint64_t high, low;
    auto operator<=>(const ctl_point &) const = default;
};
[[nodiscard]] ctl_point ctl_point_of(uint8_t family, const uint8_t *address);
void ctl_point_bytes(uint8_t family, ctl_point point, uint8_t address[16]); /* zero behind an IPv4 address */

/* First and last address of a route, and the one in the middle between them. */
struct ctl_range {
    ctl_point first, middle, last;
};
[[nodiscard]] ctl_range ctl_route_range(const ctl_route &route);

struct ctl_match {
    std::vector<ctl_point> starts; /* of the stretches, ascending */
    std::vector<int64_t> routes;   /* index of the route that holds there, -1 for none */
};

/* 'routes' are of one family and sorted (ctl_route_less). */
[[nodiscard]] ctl_match ctl_match_make(std::span<const ctl_route> routes);

/* The index of the longest match, or -1. */
[[nodiscard]] int64_t ctl_match_find(const ctl_match &match, ctl_point point);
