#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cstdio>
#include <cstring>

struct mac_plan {
    uint32_t opcode;
    std::vector<uint8_t> payload;
    std::string what;
};

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const mac_plan *>(context);
    int status = ctl_settle(session);
    if (status == CTL_GOOD) status = ctl_tell(session, plan->opcode, plan->payload);
    if (status == CTL_GOOD) status = ctl_settle(session); /* the notice has no answer */
    if (status == CTL_GOOD && !ctl.quiet) printf("slot %u: %s\n", session->slot, plan->what.c_str());
    return status;
}

/* "none" takes an interface's own MAC away. */
static bool mac_read(const char *text, bool none_allowed, uint8_t mac[6]) {
    memset(mac, 0, 6);
    if ((none_allowed && strcmp(text, "none") == 0) || mac_parse(text, mac) == 0) return true;
    ctl_error("\"%s\" is no MAC address", text);
    return false;
}

static int run(int argc, char **argv) {
    std::vector<const char *> words;
    if (const int status = ctl_options_parse({}, argc, argv, &words); status != CTL_GOOD) return status;
    uint8_t mac[6];
    uint32_t if_index = 0;
    mac_plan plan;
    if (words.size() == 2 && strcmp(words[0], "router") == 0) {
        if (!mac_read(words[1], false, mac)) return CTL_USAGE;
        plan = {CTL_OPC_ROUTER_MAC, ctl_router_mac_make(mac), std::string("router MAC ") + words[1]};
    } else if (words.size() == 3 && strcmp(words[0], "static") == 0 &&
               ctl_number_parse(words[1], 1, UINT32_MAX, &if_index)) {
        if (!mac_read(words[2], true, mac)) return CTL_USAGE;
        plan = {CTL_OPC_STATIC_MAC, ctl_static_mac_make(if_index, mac),
                std::string("interface ") + words[1] + ": MAC " + words[2]};
    } else {
        ctl_error("usage: lcfwdctl mac router MAC | static IF_INDEX MAC|none");
        return CTL_USAGE;
    }
    return ctl_for_each_slot(work, &plan);
}

const ctl_command ctl_command_mac = {"mac", "router MAC | static IF_INDEX MAC|none",
                                     "tell source MACs of the context or an interface",
                                     "Tells the MAC that packets leave with: of the whole context, or of one "
                                     "interface, which then keeps its own\n"
                                     "(\"none\": takes the context's again). Every next hop that it concerns "
                                     "is rewritten, under its handle.\n\n"
                                     "Examples:\n"
                                     "  lcfwdctl mac router 02:00:00:00:00:aa\n"
                                     "  lcfwdctl mac static 0x1a000001 02:00:00:00:00:01\n"
                                     "  lcfwdctl mac static 0x1a000001 none\n",
                                     run};
