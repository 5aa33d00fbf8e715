#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/next_hop.h"
#include "tools/lcfwdctl/probe.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/table.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

static constexpr uint32_t SECONDS_MAX = 86400;
static constexpr uint32_t CHANGES_SHOWN = 20;

static volatile int stopped;
static void on_signal(int) { stopped = 1; }

struct probe_plan {
    std::vector<ctl_probe_stream> streams;
    uint32_t seconds = 10;
    uint32_t shown = CHANGES_SHOWN; /* changes to print */
    uint32_t printed = 0;
    uint64_t prefixes = 0;
    ctl_table output;
};

static std::string seen_text(const ctl_probe_seen &seen) {
    if (!seen.known) return "nothing yet";
    if (seen.action == SOFTFWD_NO_ROUTE) return "no route";
    char text[64];
    snprintf(text, sizeof text, "%s /%u if_index 0x%08x", softfwd_action_name(seen.action), seen.bits,
             seen.if_index);
    return text;
}

/* What is wrong is told beyond the limit too, as far as another such limit goes. */
static void on_change(void *context, double seconds, const ctl_probe_stream &stream, size_t at,
                      const ctl_probe_seen &before, const ctl_probe_seen &now, bool allowed) {
    auto *plan = static_cast<probe_plan *>(context);
    const uint32_t limit = allowed ? plan->shown : plan->shown + CHANGES_SHOWN;
    if (plan->printed >= limit) return;
    plan->printed++;
    uint8_t address[16];
    ctl_point_bytes(stream.family, stream.points[at], address);
    fprintf(stderr, "%12.6f s  %s: %s -> %s%s\n", seconds, ctl_address_text(stream.family, address).c_str(),
            seen_text(before).c_str(), seen_text(now).c_str(), allowed ? "" : "  WRONG");
}

static int work(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<probe_plan *>(context);
    ctl_probe_result result;
    const int error =
        ctl_probe_run(reader, &plan->streams, plan->seconds, &stopped, on_change, plan, &result);
    if (error != 0) return ctl_engine_failure(slot, error);
    if (!ctl.json)
        printf("slot %u: %s look-ups in %.1f s over %s prefixes, %s changes, %s restarts, longest pause %.1f "
               "ms, "
               "%s wrong, %s of them missing\n",
               slot, ctl_grouped(result.lookups).c_str(), result.seconds, ctl_grouped(plan->prefixes).c_str(),
               ctl_grouped(result.changes).c_str(), ctl_grouped(result.restarts).c_str(),
               result.longest_pause * 1e3, ctl_grouped(result.wrong).c_str(),
               ctl_grouped(result.missing).c_str());
    plan->output.rows.push_back({slot, plan->prefixes, result.lookups, result.changes, result.restarts,
                                 result.wrong, result.missing});
    return result.wrong == 0 ? CTL_GOOD : CTL_REFUSED;
}

struct probe_options {
    ctl_route_options routes;
    uint32_t or_hops = 0; /* the other next hops that a route may have; 0: none */
    std::string churn;    /* a list of routes that come and go */
};

/* The lists that may hold at one time or another, the fullest first. CTL_GOOD or CTL_USAGE. */
static int states_load(const std::vector<const char *> &files, const probe_options &options,
                       std::vector<std::vector<ctl_route>> *states) {
    std::vector<ctl_route_shape> shapes = {options.routes.shape};
    if (options.or_hops != 0) {
        shapes.push_back(options.routes.shape);
        shapes.back().next_hops = options.or_hops;
    }
    for (const bool full : {true, false}) {
        if (!full && options.churn.empty()) continue;
        std::vector<const char *> all = files;
        if (full && !options.churn.empty()) all.push_back(options.churn.c_str());
        for (const ctl_route_shape &shape : shapes) {
            states->emplace_back();
            if (const int status = ctl_routes_load(all, shape, &states->back()); status != CTL_GOOD)
                return status;
        }
    }
    return CTL_GOOD;
}

static void streams_make(const std::vector<std::vector<ctl_route>> &states, const probe_options &options,
                         probe_plan *plan) {
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        std::vector<std::vector<ctl_route>> own(states.size());
        for (size_t i = 0; i < states.size(); i++)
            std::copy_if(states[i].begin(), states[i].end(), std::back_inserter(own[i]),
                         [family](const ctl_route &route) { return route.family == family; });
        if (own[0].empty()) continue;
        plan->prefixes += own[0].size();
        plan->streams.push_back(ctl_probe_stream_make(family, options.routes.tables[family == 6], own));
    }
}

static int run(int argc, char **argv) {
    probe_plan plan;
    probe_options options;
    std::vector<ctl_option> rows = {ctl_number("--seconds", &plan.seconds, 1, SECONDS_MAX),
                                    ctl_number("--changes", &plan.shown, 0, UINT32_MAX / 2),
                                    ctl_number("--or-next-hops", &options.or_hops, 1, CTL_NEXT_HOPS_MAX / 2),
                                    ctl_text("--churn", &options.churn)};
    ctl_route_options_add(&options.routes, &rows);
    std::vector<const char *> files;
    if (const int status = ctl_options_parse(rows, argc, argv, &files); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options.routes); status != CTL_GOOD) return status;
    if (files.empty()) {
        ctl_error("usage: lcfwdctl probe FILE... with the options of the load");
        return CTL_USAGE;
    }
    std::vector<std::vector<ctl_route>> states;
    if (const int status = states_load(files, options, &states); status != CTL_GOOD) return status;
    streams_make(states, options, &plan);
    signal(SIGINT, on_signal);
    signal(SIGTERM, on_signal);
    plan.output.columns = {"slot", "prefixes", "lookups", "changes", "restarts", "wrong", "missing"};
    const int status = ctl_engine_for_each_slot(false, work, &plan);
    if (ctl.json) ctl_table_print(plan.output);
    return status;
}

const ctl_command ctl_command_probe = {
    "probe", "FILE... [--seconds N] [OPTIONS]", "look up without a pause and report every change",
    "Looks up the first, the last and the middle address of every prefix of the lists in the forwarding "
    "engine, in\n"
    "random order, over and over and without a pause, while the process is restarted or its routes change. "
    "Reports\n"
    "each change of a result with its time, and counts results that are wrong, and among them addresses "
    "without any\n"
    "route. Give --next-hops, --aggregates and --table as for load; all next hops must be resolved. Exit "
    "code 1 when\n"
    "a result was wrong.\n\n"
    "  --seconds N        how long (default 10); an interrupt ends it earlier\n"
    "  --or-next-hops N   a route may also have the next hop that a load with --next-hops N gives it\n"
    "  --churn FILE       routes of this list may be there or not\n"
    "  --changes N        print the first N changes (default 20), and what is wrong\n\n"
    "Examples:\n"
    "  lcfwdctl probe table.txt --seconds 60          (kill and restart lcfwd meanwhile)\n"
    "  lcfwdctl probe table.txt --next-hops 64 --or-next-hops 32 --churn more.txt\n",
    run};
