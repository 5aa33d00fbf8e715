#include "tools/lcfwdctl/batch_stream.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/table.h"

#include <cstdio>

static constexpr double NS_PER_US = 1e3;

struct repoint_options {
    uint32_t family = 4;
    uint32_t epoch = 1;
    ctl_route_options routes;
    uint32_t number = 0;    /* the recursive next hop */
    uint32_t neighbour = 0; /* what it goes by from now on */
};

static ctl_stream_plan plan_make(const repoint_options &options) {
    ctl_route route{};
    route.family = static_cast<uint8_t>(options.family);
    route.bits = options.family == 4 ? 32 : 128;
    route.recursive_hop = true;
    route.hop = options.neighbour;
    ctl_recursive_hop(route.family, options.number, route.address);
    ctl_batch_form form;
    form.epoch = static_cast<uint8_t>(options.epoch);
    ctl_stream_plan plan;
    plan.epoch = form.epoch;
    ctl_stream_fill(&plan, form, {&route, 1}, 1, options.routes.tables);
    return plan;
}

static int repoint(const repoint_options &options) {
    const ctl_stream_plan plan = plan_make(options);
    const std::vector<ctl_stream_result> results = ctl_stream_run_all(plan, "repointing");
    ctl_table table;
    table.columns = {"slot", "microseconds"};
    int worst = CTL_GOOD;
    for (size_t i = 0; i < results.size(); i++) {
        worst = ctl_worse(worst, results[i].status);
        if (results[i].status != CTL_GOOD) continue;
        const double us = static_cast<double>(results[i].elapsed_ns) / NS_PER_US;
        table.rows.push_back({ctl.slots[i], ctl_cell::decimal(us, 1)});
        if (!ctl.json) printf("slot %u: repointed in %.1f us, from send to answer\n", ctl.slots[i], us);
    }
    if (ctl.json) ctl_table_print(table);
    return worst;
}

static int run(int argc, char **argv) {
    repoint_options options;
    std::vector<ctl_option> rows = {ctl_number("--family", &options.family, 4, 6),
                                    ctl_number("--epoch", &options.epoch, 0, 255)};
    ctl_route_options_add(&options.routes, &rows);
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options.routes); status != CTL_GOOD) return status;
    if (words.size() != 2 || options.family == 5 ||
        !ctl_number_parse(words[0], 0, CTL_NEXT_HOPS_MAX - 1, &options.number) ||
        !ctl_number_parse(words[1], 0, CTL_NEXT_HOPS_MAX - 1, &options.neighbour)) {
        ctl_error("usage: lcfwdctl repoint NUMBER NEXT-HOP [--family 4|6] [--table ID] [--epoch N]");
        return CTL_USAGE;
    }
    return repoint(options);
}

const ctl_command ctl_command_repoint = {
    "repoint", "NUMBER NEXT-HOP [OPTIONS]", "send a recursive next hop another way",
    "Changes the way of one recursive next hop of lcfwdctl load --recursive: it goes by the neighbour "
    "NEXT-HOP from\n"
    "now on, and with it every route behind it. Both are numbers from 0. Shows the time from send to "
    "answer.\n\n"
    "  --family 4|6     (default 4)\n"
    "  --table ID       table, as for load (default 1)\n"
    "  --epoch N        epoch of the route (default 1)\n\n"
    "Examples:\n"
    "  lcfwdctl load data/internet-v4.txt.xz --recursive && lcfwdctl resolve\n"
    "  lcfwdctl repoint 0 1\n",
    run};
