/* tools/lcfwdctl/verify.h: compares the forwarding engine with what the loaded routes must give. */
#pragma once

#include "tools/lcfwdctl/longest_match.h"
#include "tools/lcfwdctl/route_list.h"

#include "softfwd/softfwd_reader.h"

#include <string>

struct ctl_verify_plan {
    std::vector<ctl_route> routes; /* sorted, of one family */
    uint32_t table_id = 1;
    ctl_route_shape shape; /* of the load */
    bool resolved = true;  /* next hops forward; else they glean */
    bool absent = false;   /* every route must be gone: no address finds one */
};

struct ctl_verify_result {
    uint64_t lookups = 0;
    uint64_t wrong = 0;
    std::vector<std::string> examples; /* the first few wrong ones, as text */
};

/* Looks up the first, the last and the middle address of every route. 0, or an errno of the reader. */
[[nodiscard]] int ctl_verify_run(softfwd_reader *reader, const ctl_verify_plan &plan,
                                 ctl_verify_result *result);
