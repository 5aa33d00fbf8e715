#include "tools/lcfwdctl/ask.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/operator_session.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cstdio>
#include <cstring>

struct clear_plan {
    uint32_t opcode;
    std::vector<std::vector<uint8_t>> requests;
};

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const clear_plan *>(context);
    int status = ctl_settle(session);
    size_t failed = 0;
    for (const auto &request : plan->requests) {
        uint32_t token = 0;
        std::vector<uint8_t> answer;
        if (status == CTL_GOOD) status = ctl_ask(session, plan->opcode, request, "clear", &token);
        if (status == CTL_GOOD) status = ctl_ask_answer(session, token, "clear", CTL_CLEAR_BYTES, &answer);
        if (status != CTL_GOOD) return status;
        failed += ctl_clear_failed(answer);
    }
    if (failed == plan->requests.size()) {
        ctl_error("slot %u: nothing there to clear", session->slot);
        return CTL_REFUSED;
    }
    if (!ctl.quiet) printf("slot %u: cleared\n", session->slot);
    return CTL_GOOD;
}

struct clear_options {
    uint32_t table = 1;
    uint32_t family = 0; /* 4, 6, or 0: both, where no address tells */
    bool table_given = false, all = false, destroy = false;
};

static uint32_t table_of(const clear_options &options, uint8_t family) {
    return family == 6 && !options.table_given ? 0x80000001u : options.table;
}

static int route_plan(const std::vector<const char *> &words, const clear_options &options,
                      clear_plan *plan) {
    uint8_t address[16] = {}, bits = 0;
    plan->opcode = CTL_OPC_CLEAR_ROUTE;
    if (options.all && words.size() == 1) {
        for (const uint8_t family : {uint8_t{4}, uint8_t{6}})
            if (options.family == 0 || options.family == family)
                plan->requests.push_back(
                    ctl_clear_make(table_of(options, family), family, address, 0, CTL_CLEAR_ALL));
        return CTL_GOOD;
    }
    address_family family = ADDRESS_FAMILY_NONE;
    if (options.all || words.size() != 2) return CTL_USAGE;
    if (prefix_parse(words[1], &family, address, &bits) != 0) {
        ctl_error("\"%s\" is no prefix", words[1]);
        return CTL_USAGE;
    }
    const uint8_t number = family == ADDRESS_FAMILY_V4 ? 4 : 6;
    plan->requests = {ctl_clear_make(table_of(options, number), number, address, bits, 0)};
    return CTL_GOOD;
}

static int adjacency_plan(const std::vector<const char *> &words, const clear_options &options,
                          clear_plan *plan) {
    uint8_t address[16] = {};
    plan->opcode = CTL_OPC_CLEAR_ADJACENCY;
    const uint8_t destroy = options.destroy ? CTL_CLEAR_DELETE : uint8_t{0};
    if (options.all && words.size() == 1) {
        for (const uint8_t family : {uint8_t{4}, uint8_t{6}})
            if (options.family == 0 || options.family == family)
                plan->requests.push_back(
                    ctl_clear_make(0, family, address, 0, static_cast<uint8_t>(CTL_CLEAR_ALL | destroy)));
        return CTL_GOOD;
    }
    uint32_t if_index = 0;
    address_family family = ADDRESS_FAMILY_NONE;
    if (options.all || words.size() != 3 || !ctl_number_parse(words[1], 0, UINT32_MAX, &if_index))
        return CTL_USAGE;
    if (address_parse(words[2], &family, address) != 0) {
        ctl_error("\"%s\" is no address", words[2]);
        return CTL_USAGE;
    }
    const uint8_t number = family == ADDRESS_FAMILY_V4 ? 4 : 6;
    plan->requests = {ctl_clear_make(if_index, number, address, 0, destroy)};
    return CTL_GOOD;
}

static int forwarding_clear(int argc, char **argv) {
    clear_options options;
    const ctl_option rows[] = {ctl_number("--table", &options.table, 1, UINT32_MAX, &options.table_given),
                               ctl_number("--family", &options.family, 4, 6), ctl_flag("--all", &options.all),
                               ctl_flag("--delete", &options.destroy)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    clear_plan plan = {};
    int status = CTL_USAGE;
    if (options.family != 5 && !words.empty() && strcmp(words[0], "route") == 0)
        status = route_plan(words, options, &plan);
    else if (options.family != 5 && !words.empty() && strcmp(words[0], "adjacency") == 0)
        status = adjacency_plan(words, options, &plan);
    if (status == CTL_GOOD) return ctl_for_each_slot(work, &plan);
    ctl_error("usage: lcfwdctl clear route PREFIX|--all | adjacency IF_INDEX ADDRESS|--all");
    return CTL_USAGE;
}

/* Routes and next hops are cleared by messages of the supervisor, counters and histories by operators' commands. */
static int run(int argc, char **argv) {
    if (argc > 1 && strcmp(argv[1], "route") != 0 && strcmp(argv[1], "adjacency") != 0 && argv[1][0] != '-')
        return operator_run(argc, argv);
    return forwarding_clear(argc, argv);
}

static std::string more_help() { return operator_help("clear"); }

const ctl_command ctl_command_clear = {
    "clear",
    "route PREFIX|--all | adjacency IF_INDEX ADDRESS|--all | WORDS...",
    "clear routes, next hops, counters, histories",
    "Takes a route, or all of a table, out of the process and the engine until it is downloaded again; or "
    "clears a\n"
    "next hop (IF_INDEX 0: on every interface): it counts as unresolved until the neighbour is heard of "
    "again. What\n"
    "others hold stays.\n\n"
    "  --all            route: the whole table; adjacency: every next hop\n"
    "  --table ID       route: table (default 1, for IPv6 0x80000001)\n"
    "  --family 4|6     with --all: one family only (default both)\n"
    "  --delete         adjacency: destroy those that no route uses\n\n"
    "Examples:\n"
    "  lcfwdctl clear route 192.0.2.0/24\n"
    "  lcfwdctl clear route --all --family 6\n"
    "  lcfwdctl clear adjacency 0x1a000001 10.0.0.1 --delete\n",
    run,
    more_help};
