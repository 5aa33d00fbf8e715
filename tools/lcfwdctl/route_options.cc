#include "tools/lcfwdctl/route_options.h"

#include "tools/lcfwdctl/next_hop.h"

static constexpr uint32_t AGGREGATES_MAX = 1000000;
static constexpr uint32_t HOPS_OF_LIST_MAX =
    CTL_NEXT_HOPS_MAX - 1000; /* leaves room for the aggregates' own */

void ctl_route_options_add(ctl_route_options *options, std::vector<ctl_option> *rows) {
    rows->push_back(ctl_number("--next-hops", &options->shape.next_hops, 1, HOPS_OF_LIST_MAX));
    rows->push_back(ctl_number("--aggregates", &options->shape.aggregates, 0, AGGREGATES_MAX));
    rows->push_back(ctl_number("--paths", &options->shape.paths, 1, CTL_PATHS_MAX));
    rows->push_back(ctl_flag("--recursive", &options->shape.recursive));
    rows->push_back(ctl_number("--table", &options->table, 0, UINT32_MAX, &options->table_given));
}

int ctl_route_options_finish(ctl_route_options *options) {
    if (options->table_given) {
        options->tables[0] = options->table;
        options->tables[1] = options->table | CTL_TABLE_V6;
    }
    if (options->shape.paths <= options->shape.next_hops) return CTL_GOOD;
    ctl_error("--paths %u needs as many --next-hops", options->shape.paths);
    return CTL_USAGE;
}
