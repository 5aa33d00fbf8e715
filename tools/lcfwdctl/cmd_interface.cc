#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

struct interface_plan {
    const char *event; /* "down", "up", "delete", "rpf" */
    uint32_t if_index;
    uint8_t rpf_mode;
};

/* The neighbour that a next hop of the engine is: its MAC is the one that "lcfwdctl resolve" tells. */
static ctl_next_hop neighbour_of(const softfwd_adj_info &adj) {
    ctl_next_hop hop{};
    hop.if_index = adj.if_index;
    hop.family = adj.family == ADDRESS_FAMILY_V4 ? 4 : 6;
    memcpy(hop.address, adj.next_hop, sizeof hop.address);
    const ctl_next_hop known = ctl_next_hop_make(hop.family, (adj.if_index & 0xffffff) - 1);
    const uint8_t made_up[6] = {0x02, 0, 0, hop.family, 0xff, hop.address[hop.family == 4 ? 3 : 15]};
    const bool same = memcmp(known.address, hop.address, sizeof hop.address) == 0;
    memcpy(hop.mac, same ? known.mac : made_up, sizeof hop.mac);
    return hop;
}

/* All next hops of the interface, as the engine holds them. */
static int neighbours_read(uint32_t slot, uint32_t if_index, std::vector<ctl_next_hop> *hops) {
    softfwd_reader *reader = nullptr;
    if (const int status = ctl_engine_attach(slot, false, &reader); status != CTL_GOOD) return status;
    softfwd_adj_info adj{};
    int error = 0;
    while ((error = softfwd_reader_adj_next(reader, &adj)) == 0)
        if (adj.vdc_id == ctl.vdc && adj.if_index == if_index && (adj.flags & SOFTFWD_ADJ_GLOBAL) == 0)
            hops->push_back(neighbour_of(adj));
    softfwd_reader_detach(reader);
    return error == ENOENT ? CTL_GOOD : ctl_engine_failure(slot, error);
}

static int event_send(ctl_session *session, const interface_plan &plan) {
    if (strcmp(plan.event, "up") == 0) {
        std::vector<ctl_next_hop> hops;
        const int status = neighbours_read(session->slot, plan.if_index, &hops);
        if (status != CTL_GOOD || hops.empty()) return status;
        return ctl_tell(session, CTL_OPC_NEIGHBOURS, ctl_neighbours_make(hops, true, 0));
    }
    const uint8_t flag =
        strcmp(plan.event, "down") == 0 ? CTL_NEIGHBOUR_INTERFACE_DOWN : CTL_NEIGHBOUR_INTERFACE_GONE;
    ctl_next_hop both[2] = {};
    for (uint8_t i = 0; i < 2; i++) both[i].if_index = plan.if_index, both[i].family = i == 0 ? 4 : 6;
    return ctl_tell(session, CTL_OPC_NEIGHBOURS, ctl_neighbours_make(both, false, flag));
}

static int rpf_send(ctl_session *session, const interface_plan &plan) {
    int status = CTL_GOOD;
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}})
        if (status == CTL_GOOD)
            status = ctl_tell(session, CTL_OPC_RPF, ctl_rpf_make(plan.if_index, family, plan.rpf_mode));
    return status;
}

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const interface_plan *>(context);
    int status = ctl_settle(session);
    if (status == CTL_GOOD)
        status = strcmp(plan->event, "rpf") == 0 ? rpf_send(session, *plan) : event_send(session, *plan);
    if (status == CTL_GOOD) status = ctl_settle(session); /* notices have no answer */
    if (status == CTL_GOOD && !ctl.quiet)
        printf("slot %u: interface 0x%x: %s\n", session->slot, plan->if_index, plan->event);
    return status;
}

static bool rpf_mode_read(const char *text, uint8_t *mode) {
    static const struct {
        const char *name;
        uint8_t mode;
    } modes[] = {{"off", 0}, {"loose", 1}, {"strict", 3}};
    for (const auto &row : modes)
        if (strcmp(row.name, text) == 0) {
            *mode = row.mode;
            return true;
        }
    return false;
}

static int run(int argc, char **argv) {
    std::vector<const char *> words;
    if (const int status = ctl_options_parse({}, argc, argv, &words); status != CTL_GOOD) return status;
    interface_plan plan = {words.empty() ? "" : words[0], 0, 0};
    bool good = words.size() >= 2 && ctl_number_parse(words[1], 1, UINT32_MAX, &plan.if_index);
    if (strcmp(plan.event, "rpf") == 0)
        good = good && words.size() == 3 && rpf_mode_read(words[2], &plan.rpf_mode);
    else
        good = good && words.size() == 2 &&
               (strcmp(plan.event, "down") == 0 || strcmp(plan.event, "up") == 0 ||
                strcmp(plan.event, "delete") == 0);
    if (good) return ctl_for_each_slot(work, &plan);
    ctl_error("usage: lcfwdctl interface down|up|delete IF_INDEX | rpf IF_INDEX off|loose|strict");
    return CTL_USAGE;
}

const ctl_command ctl_command_interface = {
    "interface", "down|up|delete IF_INDEX | rpf IF_INDEX off|loose|strict",
    "events and checks of an interface",
    "Says that an interface is down (its next hops drop, under their handles), is up again (the next hops "
    "that the\n"
    "engine knows on it are resolved, with the MACs of lcfwdctl resolve), or is deleted; or sets its "
    "reverse-path\n"
    "check for both families: loose wants a route to the source, strict one through this interface.\n\n"
    "Examples:\n"
    "  lcfwdctl interface down 0x1a000001\n"
    "  lcfwdctl interface up 0x1a000001 --slot 1-4\n"
    "  lcfwdctl interface rpf 0x1a000001 strict\n",
    run};
