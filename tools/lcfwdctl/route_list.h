/* tools/lcfwdctl/route_list.h: prefix lists: "prefix/length origin-AS" a line, '#' begins a comment, as text or
 * compressed with xz; and the covering routes that give a flat list its nesting.
 * A list is sorted by family, address, length and holds each prefix once; addresses are in network order with the
 * bits behind the length zero. */
#pragma once

#include "host/address/address.h"

#include <cstdint>
#include <string>
#include <vector>

struct ctl_route {
    uint8_t address[16]; /* IPv4 in the first four bytes */
    uint8_t bits;
    uint8_t family;             /* 4 or 6 */
    bool recursive_hop = false; /* this is the host route of a recursive next hop */
    uint32_t hop;               /* number of its next hop, see next_hop.h */
};

struct ctl_route_shape {
    uint32_t next_hops = 64; /* the origin AS picks one of them */
    uint32_t aggregates =
        0;              /* a default route and this many covering prefixes for each family that is there */
    uint32_t paths = 1; /* of each route of the list: its next hop and those that follow it, round the end */
    bool recursive = false; /* routes go by recursive next hops, and those by the next hops */
};

/* The next hops of a route: 'paths' of them, the covering routes one. The path of an index below that. */
[[nodiscard]] uint32_t ctl_path_count(const ctl_route_shape &shape, const ctl_route &route);
[[nodiscard]] uint32_t ctl_path_hop(const ctl_route_shape &shape, const ctl_route &route, uint32_t path);

/* The host routes of all recursive next hops of a shape, for the families that the list has: each by way of the next
 * hop of its number. */
[[nodiscard]] std::vector<ctl_route> ctl_recursive_routes(const ctl_route_shape &shape,
                                                          const std::vector<ctl_route> &routes);

/* How many next hops a shape uses: those of the list, and the aggregates' own. */
[[nodiscard]] uint32_t ctl_hop_count(const ctl_route_shape &shape);

/* Reads one file and appends its routes. 0, or -1 with the reason (file, line, what) in '*error'. */
[[nodiscard]] int ctl_routes_read(const char *path, const ctl_route_shape &shape,
                                  std::vector<ctl_route> *routes, std::string *error);

/* One line of a list. 1: a route in '*out'; 0: nothing on this line; -1: no route. */
[[nodiscard]] int ctl_route_parse(const char *line, const ctl_route_shape &shape, ctl_route *out);

/* Sorts, keeps the last of equal prefixes, adds the covering routes. The same list and shape give the same result. */
void ctl_routes_finish(const ctl_route_shape &shape, std::vector<ctl_route> *routes);

/* Reads all files and finishes the list. CTL_GOOD, or CTL_USAGE after saying what is wrong. */
[[nodiscard]] int ctl_routes_load(const std::vector<const char *> &files, const ctl_route_shape &shape,
                                  std::vector<ctl_route> *routes);

/* Order by family, address, length. */
[[nodiscard]] bool ctl_route_less(const ctl_route &a, const ctl_route &b);

/* Puts the routes in an order that depends on 'seed' alone. */
void ctl_routes_shuffle(uint32_t seed, std::vector<ctl_route> *routes);

/* "10.1.2.0/24" */
[[nodiscard]] std::string ctl_prefix_text(const ctl_route &route);
[[nodiscard]] std::string ctl_address_text(uint8_t family, const uint8_t *address);
