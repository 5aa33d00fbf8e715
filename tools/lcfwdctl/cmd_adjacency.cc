#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/session.h"

#include "host/address/address.h"

#include <cstdio>
#include <cstring>

static constexpr size_t ENTRIES_PER_NOTICE = 1000;

struct notice_plan {
    bool resolve;
    uint8_t flags = 0;
    std::vector<ctl_next_hop> hops;
};

static int send_notices(ctl_session *session, void *context) {
    const auto *plan = static_cast<const notice_plan *>(context);
    int status = ctl_settle(session);
    for (size_t at = 0; status == CTL_GOOD && at < plan->hops.size(); at += ENTRIES_PER_NOTICE) {
        const std::span<const ctl_next_hop> rest(plan->hops.data() + at, plan->hops.size() - at);
        const auto part = rest.first(std::min(rest.size(), ENTRIES_PER_NOTICE));
        status = ctl_tell(session, CTL_OPC_NEIGHBOURS, ctl_neighbours_make(part, plan->resolve, plan->flags));
    }
    /* Notices have no answer: whatever comes after them must see their effect. */
    if (status == CTL_GOOD) status = ctl_settle(session);
    if (status == CTL_GOOD && !ctl.quiet)
        printf("slot %u: %zu next hops %s\n", session->slot, plan->hops.size(),
               plan->flags != 0 ? "told of their interface"
               : plan->resolve  ? "resolved"
                                : "unresolved");
    return status;
}

static int explicit_hop(const std::vector<const char *> &words, bool resolve, notice_plan *plan) {
    ctl_next_hop hop{};
    address_family family = ADDRESS_FAMILY_NONE;
    const size_t most = resolve ? 3 : 2;
    if (words.size() < 2 || words.size() > most ||
        !ctl_number_parse(words[0], 0, UINT32_MAX, &hop.if_index)) {
        ctl_error("usage: lcfwdctl %s IF_INDEX ADDRESS%s", resolve ? "resolve" : "unresolve",
                  resolve ? " [MAC]" : "");
        return CTL_USAGE;
    }
    if (address_parse(words[1], &family, hop.address) != 0) {
        ctl_error("\"%s\" is no address", words[1]);
        return CTL_USAGE;
    }
    hop.family = family == ADDRESS_FAMILY_V4 ? 4 : 6;
    const uint8_t made_up[6] = {0x02, 0, 0, hop.family, 0xff, hop.address[hop.family == 4 ? 3 : 15]};
    memcpy(hop.mac, made_up, sizeof hop.mac);
    if (words.size() == 3 && mac_parse(words[2], hop.mac) != 0) {
        ctl_error("\"%s\" is no MAC address", words[2]);
        return CTL_USAGE;
    }
    plan->hops.push_back(hop);
    return CTL_GOOD;
}

static int run(int argc, char **argv, bool resolve) {
    notice_plan plan{resolve, 0, {}};
    ctl_route_options routes;
    uint32_t family = 0;
    bool interface_down = false;
    std::vector<ctl_option> rows = {ctl_number("--family", &family, 4, 6)};
    if (!resolve) rows.push_back(ctl_flag("--interface-down", &interface_down));
    ctl_route_options_add(&routes, &rows);
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (family == 5) {
        ctl_error("--family is 4 or 6");
        return CTL_USAGE;
    }
    if (interface_down) plan.flags = CTL_NEIGHBOUR_INTERFACE_DOWN;
    if (!words.empty()) {
        if (const int status = explicit_hop(words, resolve, &plan); status != CTL_GOOD) return status;
    } else {
        for (uint8_t each : {uint8_t{4}, uint8_t{6}})
            for (uint32_t n = 0; (family == 0 || family == each) && n < ctl_hop_count(routes.shape); n++)
                plan.hops.push_back(ctl_next_hop_make(each, n));
    }
    return ctl_for_each_slot(send_notices, &plan);
}

static int run_resolve(int argc, char **argv) { return run(argc, argv, true); }
static int run_unresolve(int argc, char **argv) { return run(argc, argv, false); }

const ctl_command ctl_command_resolve = {
    "resolve", "[--next-hops N] | IF_INDEX ADDRESS [MAC]", "say that next hops are reachable",
    "Sends the notices of the adjacency manager: these neighbours are reachable at these MAC addresses. "
    "Without\n"
    "arguments: all next hops that lcfwdctl load uses with the same --next-hops and --aggregates.\n\n"
    "  --next-hops N    as for load (default 64)\n"
    "  --aggregates N   as for load: above 0, the aggregates' own next hops too\n"
    "  --family 4|6     one family only (default both)\n\n"
    "Examples:\n"
    "  lcfwdctl resolve --aggregates 10000\n"
    "  lcfwdctl resolve 0x1a000001 10.0.0.1 02:00:00:00:00:01\n",
    run_resolve};

const ctl_command ctl_command_unresolve = {
    "unresolve", "[--next-hops N] | IF_INDEX ADDRESS", "say that next hops have gone",
    "The opposite of resolve: routes over these next hops go on to exist and glean, under the same "
    "adjacency.\n\n"
    "  --next-hops N, --aggregates N, --family 4|6 as for resolve\n"
    "  --interface-down the interface is down: all its neighbours of the family drop\n\n"
    "Examples:\n"
    "  lcfwdctl unresolve --next-hops 64 --family 4\n"
    "  lcfwdctl unresolve 0x1a000001 10.0.0.1\n"
    "  lcfwdctl unresolve 0x1a000001 10.0.0.1 --interface-down\n",
    run_unresolve};
