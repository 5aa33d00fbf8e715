#include "tools/lcfwdctl/batch_stream.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_list.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/table.h"

#include <cstdio>

static constexpr double NS_PER_S = 1e9;

struct load_options {
    ctl_route_options routes;
    uint32_t batch = 500;
    uint32_t format = 1;
    uint32_t epoch = 1;
    uint32_t shuffle = 0;
    bool shuffled = false;
    uint32_t window = 16;
};

static void print_text(const ctl_stream_plan &plan, const ctl_stream_result &result, uint32_t slot,
                       const char *verb) {
    const double seconds = static_cast<double>(result.elapsed_ns) / NS_PER_S;
    const auto rate = static_cast<uint64_t>(seconds > 0 ? static_cast<double>(plan.routes) / seconds : 0);
    printf("slot %u: %s %s routes in %.3f s, %s routes/s, %zu batches, %s refused\n", slot, verb,
           ctl_grouped(plan.routes).c_str(), seconds, ctl_grouped(rate).c_str(), plan.batches.size(),
           ctl_grouped(result.routes_refused).c_str());
}

static void print_figures(const ctl_stream_plan &plan, const std::vector<ctl_stream_result> &results,
                          const char *verb) {
    ctl_table table;
    table.columns = {"slot",           "routes",  "batches",     "batches_refused",
                     "routes_refused", "seconds", "routes_per_s"};
    for (size_t i = 0; i < results.size(); i++) {
        const ctl_stream_result &result = results[i];
        if (result.status == CTL_UNREACHABLE || result.elapsed_ns == 0) continue;
        if (!ctl.json) print_text(plan, result, ctl.slots[i], verb);
        const double seconds = static_cast<double>(result.elapsed_ns) / NS_PER_S;
        table.rows.push_back({ctl.slots[i], plan.routes, static_cast<uint64_t>(plan.batches.size()),
                              result.batches_refused, result.routes_refused, ctl_cell::decimal(seconds, 6),
                              ctl_cell::decimal(static_cast<double>(plan.routes) / seconds, 0)});
    }
    if (ctl.json) ctl_table_print(table);
}

static int stream(const load_options &options, const std::vector<const char *> &files, bool add) {
    std::vector<ctl_route> routes;
    if (const int status = ctl_routes_load(files, options.routes.shape, &routes); status != CTL_GOOD)
        return status;
    if (options.shuffled) ctl_routes_shuffle(options.shuffle, &routes);
    ctl_batch_form form;
    form.format = options.format;
    form.add = add;
    form.epoch = static_cast<uint8_t>(options.epoch);
    form.shape = options.routes.shape;
    ctl_stream_plan plan;
    plan.format = options.format;
    plan.window = options.window;
    plan.bracket = add;
    plan.epoch = form.epoch;
    /* What routes resolve through comes before them, and goes after them. */
    std::vector<ctl_route> hops;
    if (form.shape.recursive) hops = ctl_recursive_routes(form.shape, routes);
    if (add) ctl_stream_fill(&plan, form, hops, options.batch, options.routes.tables);
    ctl_stream_fill(&plan, form, routes, options.batch, options.routes.tables);
    if (!add) ctl_stream_fill(&plan, form, hops, options.batch, options.routes.tables);
    routes = {};
    const std::vector<ctl_stream_result> results = ctl_stream_run_all(plan, add ? "loading" : "deleting");
    print_figures(plan, results, add ? "loaded" : "deleted");
    int worst = CTL_GOOD;
    for (const ctl_stream_result &result : results) worst = ctl_worse(worst, result.status);
    return worst;
}

static int run(int argc, char **argv, bool add) {
    load_options options;
    std::vector<ctl_option> rows = {
        ctl_number("--batch", &options.batch, 1, 65535),
        ctl_number("--format", &options.format, 0, 1),
        ctl_number("--epoch", &options.epoch, 0, 255),
        ctl_number("--window", &options.window, 1, 1000),
        ctl_number("--shuffle", &options.shuffle, 0, UINT32_MAX, &options.shuffled),
    };
    ctl_route_options_add(&options.routes, &rows);
    std::vector<const char *> files;
    if (const int status = ctl_options_parse(rows, argc, argv, &files); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options.routes); status != CTL_GOOD) return status;
    if (options.routes.shape.recursive && options.format == 0) {
        ctl_error("--recursive needs --format 1: format 0 has no recursive next hops");
        return CTL_USAGE;
    }
    if (files.empty()) {
        ctl_error("usage: lcfwdctl %s FILE... ('-' is the standard input)", argv[0]);
        return CTL_USAGE;
    }
    return stream(options, files, add);
}

static int run_load(int argc, char **argv) { return run(argc, argv, true); }
static int run_delete(int argc, char **argv) { return run(argc, argv, false); }

const ctl_command ctl_command_load = {
    "load", "FILE... [OPTIONS]", "load prefix lists as the supervisor would",
    "Reads prefix lists (\"prefix/length origin-AS\" a line, plain or .xz), and sends them as one download: "
    "up message,\n"
    "download start, route batches, download end. The origin AS picks one of the next hops. Several slots "
    "are served at\n"
    "once. Routes forward only when their next hops are resolved: see lcfwdctl resolve.\n\n"
    "  --next-hops N    next hops that the origin AS picks from (default 64)\n"
    "  --paths N        paths of each route of the list, 1 to 64: that next hop and those that follow it "
    "(default "
    "1; format 0\n"
    "                   has room for 47, routes with more are refused)\n"
    "  --recursive      routes go by recursive next hops, each a host route by way of one of the next hops\n"
    "                   (see lcfwdctl repoint)\n"
    "  --aggregates N   also a default route and N covering prefixes of mixed lengths for each family, with "
    "next hops\n"
    "                   of their own (default 0)\n"
    "  --table ID       table (default 1): ID for IPv4 and ID + 0x80000000 for IPv6\n"
    "  --batch N        routes a batch (default 500)\n"
    "  --format 0|1     batch format (default 1)\n"
    "  --epoch N        epoch of the routes, 0 to 255 (default 1)\n"
    "  --shuffle SEED   send in a random order instead of address order\n"
    "  --window N       batches that may wait for their answers (default 16)\n\n"
    "Examples:\n"
    "  lcfwdctl load data/internet-v4.txt.xz data/internet-v6.txt.xz --aggregates 10000\n"
    "  echo '192.0.2.0/24 64500' | lcfwdctl load - --table 7 --format 0\n"
    "  lcfwdctl load table.txt --epoch 2 && lcfwdctl stale --epoch 2     replace a table\n",
    run_load};

const ctl_command ctl_command_delete = {
    "delete", "FILE... [OPTIONS]", "delete what load has loaded",
    "Deletes every route of the lists. Give --aggregates, --recursive and --table as "
    "for load. A route that is not there counts as\n"
    "refused, and the rest of its batch is deleted all the same.\n\n"
    "  --next-hops N, --paths N, --aggregates N, --table ID, --batch N, --format "
    "0|1, --shuffle SEED, --window N as for load\n\n"
    "Examples:\n"
    "  lcfwdctl delete data/internet-v4.txt.xz\n"
    "  echo '192.0.2.0/24 64500' | lcfwdctl delete - --table 7\n",
    run_delete};
