#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/verify.h"

#include <algorithm>
#include <cstdio>

struct verify_plans {
    std::vector<ctl_verify_plan> families;
    ctl_table output;
};

static int work(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plans = static_cast<verify_plans *>(context);
    ctl_verify_result result;
    uint64_t routes = 0;
    for (const ctl_verify_plan &plan : plans->families) {
        const int error = ctl_verify_run(reader, plan, &result);
        if (error != 0) return ctl_engine_failure(slot, error);
        routes += plan.routes.size();
    }
    for (const std::string &example : result.examples) ctl_error("slot %u: %s", slot, example.c_str());
    if (!ctl.json)
        printf("slot %u: %s routes, %s look-ups, %s wrong look-ups\n", slot, ctl_grouped(routes).c_str(),
               ctl_grouped(result.lookups).c_str(), ctl_grouped(result.wrong).c_str());
    plans->output.rows.push_back({slot, routes, result.lookups, result.wrong});
    return result.wrong == 0 ? CTL_GOOD : CTL_REFUSED;
}

static int run(int argc, char **argv) {
    ctl_route_options options;
    bool unresolved = false, absent = false;
    std::vector<ctl_option> rows = {ctl_flag("--unresolved", &unresolved), ctl_flag("--absent", &absent)};
    ctl_route_options_add(&options, &rows);
    std::vector<const char *> files;
    if (const int status = ctl_options_parse(rows, argc, argv, &files); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options); status != CTL_GOOD) return status;
    if (files.empty()) {
        ctl_error("usage: lcfwdctl verify FILE... with the options of the load");
        return CTL_USAGE;
    }
    std::vector<ctl_route> routes;
    if (const int status = ctl_routes_load(files, options.shape, &routes); status != CTL_GOOD) return status;
    verify_plans plans;
    for (uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        ctl_verify_plan plan;
        plan.table_id = options.tables[family == 6];
        plan.resolved = !unresolved;
        plan.shape = options.shape;
        plan.absent = absent;
        std::copy_if(routes.begin(), routes.end(), std::back_inserter(plan.routes),
                     [family](const ctl_route &route) { return route.family == family; });
        if (!plan.routes.empty()) plans.families.push_back(plan);
    }
    plans.output.columns = {"slot", "routes", "lookups", "wrong"};
    const int status = ctl_engine_for_each_slot(false, work, &plans);
    if (ctl.json) ctl_table_print(plans.output);
    return status;
}

const ctl_command ctl_command_verify = {
    "verify", "FILE... [OPTIONS]", "look up every loaded prefix and compare",
    "Looks up the first, the last and the middle address of every prefix of the lists in the forwarding "
    "engine, and\n"
    "compares prefix length, interface, next hop and MAC with what the list alone says. Give --next-hops, "
    "--paths, "
    "--recursive, --aggregates\n"
    "and --table as for load. Prints the number of look-ups and of wrong ones; exit code 1 when one is "
    "wrong.\n\n"
    "  --unresolved     the next hops are not resolved: every look-up must glean\n"
    "  --absent         the routes must be gone: every look-up must find none\n\n"
    "Examples:\n"
    "  lcfwdctl verify data/internet-v4.txt.xz data/internet-v6.txt.xz --aggregates 10000\n"
    "  lcfwdctl unresolve && lcfwdctl verify table.txt --unresolved\n",
    run};
