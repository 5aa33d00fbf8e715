/* tools/lcfwdctl/route_options.h: the options that say which routes a list stands for; load, delete and verify must
 * understand them in the same way. */
#pragma once

#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_list.h"

/* A table id belongs to one family; the IPv6 table beside IPv4 table N has this bit too. */
constexpr uint32_t CTL_TABLE_V6 = 0x80000000;
constexpr uint32_t CTL_PATHS_MAX = 64; /* of one route */

struct ctl_route_options {
    ctl_route_shape shape;
    uint32_t table = 0;
    bool table_given = false;
    uint32_t tables[2] = {1, 1 | CTL_TABLE_V6}; /* IPv4, IPv6 */
};

void ctl_route_options_add(ctl_route_options *options, std::vector<ctl_option> *rows);
/* After parsing. CTL_GOOD, or CTL_USAGE after saying which options do not go together. */
[[nodiscard]] int ctl_route_options_finish(ctl_route_options *options);
