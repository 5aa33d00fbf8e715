#include "tools/lcfwdctl/ask.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cerrno>

struct aged_plan {
    uint32_t table = 1;
    uint32_t family = 4;
    ctl_table output;
};

static int answers_take(ctl_session *session, uint32_t token, std::vector<ctl_aged_route> *routes) {
    for (bool last = false; !last;) {
        std::vector<uint8_t> answer;
        const int status = ctl_ask_answer(session, token, "aged routes", CTL_AGED_HEADER, &answer);
        if (status != CTL_GOOD) return status;
        const int error = ctl_aged_read(answer, routes, &last);
        if (error == 0) continue;
        ctl_error("slot %u: %s", session->slot,
                  error == ENOENT ? "there is no such table" : "bad answer to aged routes");
        return CTL_REFUSED;
    }
    return CTL_GOOD;
}

static int work(ctl_session *session, void *context) {
    auto *plan = static_cast<aged_plan *>(context);
    std::vector<ctl_aged_route> routes;
    uint32_t token = 0;
    int status = ctl_settle(session);
    const auto request = ctl_aged_make(plan->table, static_cast<uint8_t>(plan->family));
    if (status == CTL_GOOD) status = ctl_ask(session, CTL_OPC_AGED, request, "aged routes", &token);
    if (status == CTL_GOOD) status = answers_take(session, token, &routes);
    for (const ctl_aged_route &route : routes)
        plan->output.rows.push_back(
            {session->slot, plan->table,
             ctl_engine_address(route.family, route.address) + "/" + std::to_string(route.mask_len)});
    return status;
}

static int run(int argc, char **argv) {
    aged_plan plan;
    bool table_given = false;
    const ctl_option rows[] = {ctl_number("--table", &plan.table, 1, UINT32_MAX, &table_given),
                               ctl_number("--family", &plan.family, 4, 6)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (!words.empty() || plan.family == 5) {
        ctl_error("usage: lcfwdctl aged [--table ID] [--family 4|6]");
        return CTL_USAGE;
    }
    if (!table_given && plan.family == 6) plan.table = 0x80000001;
    plan.output.columns = {"slot", "table", "prefix"};
    const int status = ctl_for_each_slot(work, &plan);
    if (status == CTL_GOOD || !plan.output.rows.empty()) ctl_table_print(plan.output);
    return status;
}

const ctl_command ctl_command_aged = {
    "aged", "[--table ID] [--family 4|6]", "routes that no packet has used of late",
    "Asks for the routes of a table that no packet has used since they were asked for last.\n\n"
    "  --table ID       table (default 1, for IPv6 0x80000001)\n"
    "  --family 4|6     family of the table (default 4)\n\n"
    "Examples:\n"
    "  lcfwdctl aged\n"
    "  lcfwdctl lookup 192.0.2.1 --count && lcfwdctl aged --json\n",
    run};
