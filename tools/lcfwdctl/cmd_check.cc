#include "tools/lcfwdctl/batch_stream.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/operator_session.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_check.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

static constexpr size_t ENTRIES_PER_NOTICE = 1000;

struct check_message {
    uint32_t opcode;
    std::vector<uint8_t> payload;
};

struct check_plan {
    std::vector<check_message> messages;
    uint32_t version = 1;
    uint32_t ends = 0; /* last reports that will come: one a family */
    bool routes = true;
    uint32_t limit = 0;
    ctl_table output;
};

/* The reports of one slot. */
struct check_reports {
    const check_plan *plan;
    std::vector<ctl_check_row> rows;
    uint32_t ends = 0;
    bool bad = false;
};

static void report_take(void *context, const mts_msg *message) {
    auto *reports = static_cast<check_reports *>(context);
    if ((message->flags & MTS_FLAG_RESPONSE) == 0) return;
    const std::span<const uint8_t> report(message->payload, message->payload_size);
    bool last = false;
    int error = 0;
    if (!reports->plan->routes)
        error = ctl_check_adjs_read(report, &reports->rows, &last);
    else
        error =
            ctl_check_routes_read(report, message->opcode == CTL_OPC_CHECK_V4 ? 4 : 6, &reports->rows, &last);
    if ((message->flags & MTS_FLAG_REJECT) != 0 || error != 0) reports->bad = true;
    reports->ends += last ? 1 : 0;
}

/* Reports that are on their way are taken between two messages: the process keeps only so many for a client. */
static int drain(ctl_session *session, check_reports *reports, int wait_ms) {
    mts_msg message{};
    const int error = bus_client_receive(session->client, &message, wait_ms);
    if (error == 0) report_take(reports, &message);
    return error;
}

static int exchange(ctl_session *session, check_reports *reports) {
    const auto wait = static_cast<int>(ctl.timeout_ms);
    int error = 0;
    for (const check_message &each : reports->plan->messages) {
        const bus_client_message message = {mts_opc_sap_get(each.opcode), each.opcode,
                                            reports->plan->version,       ctl.vdc,
                                            each.payload.data(),          each.payload.size()};
        uint32_t token = 0;
        error = bus_client_request(session->client, &message, wait, &token);
        while (error == 0 && drain(session, reports, 0) == 0) {
        }
        if (error != 0) return ctl_bus_failure(session->slot, "a consistency check", error);
    }
    while (reports->ends < reports->plan->ends && !reports->bad)
        if ((error = drain(session, reports, wait)) != 0)
            return ctl_bus_failure(session->slot, "a consistency check", error);
    if (!reports->bad) return CTL_GOOD;
    ctl_error("slot %u: bad report of a consistency check", session->slot);
    return CTL_REFUSED;
}

static std::string flags_text(const ctl_check_row &row, bool routes) {
    static constexpr struct {
        uint8_t flag;
        const char *route, *adjacency;
    } names[] = {{UFIB_CC_NO_PREFIX, "not here", ""},
                 {UFIB_CC_NEXT_HOPS, "other next hops", "differs"},
                 {UFIB_CC_HARDWARE, "the engine differs", ""},
                 {UFIB_CC_NOT_NAMED, "not in the lists", "not among the neighbours"},
                 {UFIB_CC_RNH, "recursive next hop", ""}};
    std::string out;
    for (const auto &name : names)
        if ((row.flags & name.flag) != 0)
            out += (out.empty() ? "" : ", ") + std::string(routes ? name.route : name.adjacency);
    return out;
}

static std::vector<ctl_cell> cells(uint32_t slot, const ctl_check_row &row, bool routes) {
    const std::string address = ctl_address_text(row.family, row.address);
    char flags[8], if_index[16];
    snprintf(flags, sizeof flags, "0x%02x", row.flags);
    snprintf(if_index, sizeof if_index, "0x%08x", row.if_index);
    const std::string text = flags_text(row, routes);
    if (routes) return {slot, row.table, address + "/" + std::to_string(row.mask_len), flags, text};
    return {slot, if_index, address, text};
}

static int work(ctl_session *session, void *context) {
    auto *plan = static_cast<check_plan *>(context);
    check_reports reports;
    reports.plan = plan;
    int status = ctl_settle(session);
    if (status == CTL_GOOD) status = exchange(session, &reports);
    if (status != CTL_GOOD) return status;
    ctl_check_rows_join(&reports.rows);
    const size_t found = reports.rows.size();
    for (size_t i = 0; i < found && (plan->limit == 0 || i < plan->limit); i++)
        plan->output.rows.push_back(cells(session->slot, reports.rows[i], plan->routes));
    if (!ctl.json)
        printf("slot %u: %s inconsistent %s\n", session->slot, ctl_grouped(found).c_str(),
               plan->routes ? "routes" : "neighbours");
    return found == 0 ? CTL_GOOD : CTL_REFUSED;
}

static int plan_run(check_plan *plan) {
    const int status = ctl_for_each_slot(work, plan);
    if (ctl.json || !plan->output.rows.empty()) ctl_table_print(plan->output);
    return status;
}

/* ---- routes ---- */

struct check_options {
    ctl_route_options routes;
    uint32_t batch = 500, format = 1, limit = 0, family = 0;
};

static int routes_check(const std::vector<const char *> &files, const check_options &options) {
    std::vector<ctl_route> routes;
    if (const int status = ctl_routes_load(files, options.routes.shape, &routes); status != CTL_GOOD)
        return status;
    if (options.routes.shape.recursive) {
        const std::vector<ctl_route> hops = ctl_recursive_routes(options.routes.shape, routes);
        routes.insert(routes.begin(), hops.begin(), hops.end());
    }
    ctl_batch_form form;
    form.format = options.format;
    form.shape = options.routes.shape;
    ctl_stream_plan batches;
    ctl_stream_fill(&batches, form, routes, options.batch, options.routes.tables);
    check_plan plan;
    plan.version = options.format;
    plan.limit = options.limit;
    plan.output.columns = {"slot", "table", "prefix", "flags", "what"};
    for (ctl_batch &batch : batches.batches)
        plan.messages.push_back({batch.opcode == CTL_OPC_ROUTES_V4 ? CTL_OPC_CHECK_V4 : CTL_OPC_CHECK_V6,
                                 std::move(batch.payload)});
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}})
        plan.ends += std::any_of(routes.begin(), routes.end(),
                                 [family](const ctl_route &route) { return route.family == family; });
    return plan_run(&plan);
}

/* ---- neighbours ---- */

static int neighbours_check(const check_options &options) {
    std::vector<ctl_next_hop> hops;
    for (const uint8_t each : {uint8_t{4}, uint8_t{6}})
        for (uint32_t n = 0;
             (options.family == 0 || options.family == each) && n < ctl_hop_count(options.routes.shape); n++)
            hops.push_back(ctl_next_hop_make(each, n));
    check_plan plan;
    plan.routes = false;
    plan.limit = options.limit;
    plan.ends = options.family == 0 ? 2 : 1;
    plan.output.columns = {"slot", "if_index", "next_hop", "what"};
    for (size_t at = 0; at < hops.size(); at += ENTRIES_PER_NOTICE) {
        const std::span<const ctl_next_hop> rest(hops.data() + at, hops.size() - at);
        const auto part = rest.first(std::min(rest.size(), ENTRIES_PER_NOTICE));
        plan.messages.push_back(
            {CTL_OPC_NEIGHBOURS, ctl_check_neighbours_make(part, part.size() == rest.size(),
                                                           static_cast<uint8_t>(options.family))});
    }
    return plan_run(&plan);
}

/* ---- model ---- */

/* The process's own check of model, records and engine. */
static int model_check() {
    char show[] = "show", consistency[] = "consistency";
    char *words[] = {show, consistency, nullptr};
    return operator_run(2, words);
}

static int run(int argc, char **argv) {
    check_options options;
    std::vector<ctl_option> rows = {
        ctl_number("--batch", &options.batch, 1, 65535), ctl_number("--format", &options.format, 0, 1),
        ctl_number("--limit", &options.limit, 1, UINT32_MAX), ctl_number("--family", &options.family, 4, 6)};
    ctl_route_options_add(&options.routes, &rows);
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options.routes); status != CTL_GOOD) return status;
    const std::string what = words.empty() ? "" : words[0];
    if (what == "routes" && words.size() > 1 && (!options.routes.shape.recursive || options.format == 1))
        return routes_check({words.begin() + 1, words.end()}, options);
    if (what == "neighbours" && words.size() == 1 && options.family != 5) return neighbours_check(options);
    if (what == "model" && words.size() == 1) return model_check();
    ctl_error("usage: lcfwdctl check routes FILE... | check neighbours | check model");
    return CTL_USAGE;
}

const ctl_command ctl_command_check = {
    "check", "routes FILE... | neighbours | model", "what differs between lists, process and engine",
    "Consistency checks: a row for everything that differs, and exit code 1 then.\n\n"
    "  routes FILE...   names the routes of the lists to the process, as the supervisor does in its check: "
    "those that the\n"
    "                   process or the engine has otherwise, and those that it has and the lists do not. "
    "Give "
    "the options\n"
    "                   of the load\n"
    "  neighbours       the same with the next hops that lcfwdctl resolve resolves; give its options\n"
    "  model            the process compares its model, its stored records and the engine itself (lcfwdctl "
    "show\n"
    "                   consistency)\n\n"
    "  --limit N        the first N rows\n"
    "  --family 4|6     neighbours: one family only\n"
    "  --format 0|1, --batch N as for load\n\n"
    "Examples:\n"
    "  lcfwdctl check routes data/internet-v4.txt.xz\n"
    "  lcfwdctl check neighbours\n"
    "  lcfwdctl check model --json\n",
    run};
