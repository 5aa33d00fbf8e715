#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cstdio>
#include <cstring>

struct tunnel_plan {
    ctl_tunnel_form form;
    std::string what;
};

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const tunnel_plan *>(context);
    int status = ctl_settle(session);
    if (status == CTL_GOOD) status = ctl_tell(session, CTL_OPC_TUNNEL, ctl_tunnel_make(plan->form));
    if (status == CTL_GOOD) status = ctl_settle(session); /* the notice has no answer */
    if (status == CTL_GOOD && !ctl.quiet) printf("slot %u: %s\n", session->slot, plan->what.c_str());
    return status;
}

static bool ipv4_read(const char *text, uint8_t out[4]) {
    address_family family = ADDRESS_FAMILY_NONE;
    uint8_t address[16] = {};
    if (address_parse(text, &family, address) != 0 || family != ADDRESS_FAMILY_V4) {
        ctl_error("\"%s\" is no IPv4 address", text);
        return false;
    }
    memcpy(out, address, 4);
    return true;
}

static bool kind_read(const char *text, uint8_t *type) {
    static const char *const kinds[] = {"gre", "6to4", "isatap"};
    for (uint8_t i = 0; i < 3; i++) {
        if (strcmp(kinds[i], text) != 0) continue;
        *type = static_cast<uint8_t>(i + 1);
        return true;
    }
    return false;
}

struct tunnel_options {
    uint32_t tos = 0, ttl = 64;
    bool no_fragments = false;
    std::string mac;
};

static int usage() {
    ctl_error("usage: lcfwdctl tunnel add IF_INDEX NEXT_HOP gre|6to4|isatap SOURCE DESTINATION | "
              "delete IF_INDEX NEXT_HOP");
    return CTL_USAGE;
}

/* The words behind "add" or "delete". */
static int form_read(const std::vector<const char *> &words, const tunnel_options &options,
                     ctl_tunnel_form *form) {
    const bool add = !words.empty() && strcmp(words[0], "add") == 0;
    const bool remove = !words.empty() && strcmp(words[0], "delete") == 0;
    if (!(add && words.size() == 6) && !(remove && words.size() == 3)) return usage();
    if (!ctl_number_parse(words[1], 1, UINT32_MAX, &form->if_index)) return usage();
    if (!ipv4_read(words[2], form->next_hop)) return CTL_USAGE;
    form->add = add;
    form->type = 1;
    if (!add) return CTL_GOOD;
    if (!kind_read(words[3], &form->type)) return usage();
    if (!ipv4_read(words[4], form->source) || !ipv4_read(words[5], form->destination)) return CTL_USAGE;
    if (!options.mac.empty() && mac_parse(options.mac.c_str(), form->mac) != 0) {
        ctl_error("\"%s\" is no MAC address", options.mac.c_str());
        return CTL_USAGE;
    }
    form->tos = static_cast<uint8_t>(options.tos);
    form->ttl = static_cast<uint8_t>(options.ttl);
    form->flags = options.no_fragments ? 1 : 0;
    return CTL_GOOD;
}

static int run(int argc, char **argv) {
    tunnel_options options;
    const ctl_option rows[] = {ctl_number("--tos", &options.tos, 0, 255),
                               ctl_number("--ttl", &options.ttl, 0, 255), ctl_text("--mac", &options.mac),
                               ctl_flag("--no-fragments", &options.no_fragments)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    tunnel_plan plan = {};
    if (const int status = form_read(words, options, &plan.form); status != CTL_GOOD) return status;
    plan.what = std::string("tunnel ") + words[0] + " " + words[1];
    return ctl_for_each_slot(work, &plan);
}

const ctl_command ctl_command_tunnel = {
    "tunnel", "add IF_INDEX NEXT_HOP KIND SOURCE DESTINATION | delete IF_INDEX NEXT_HOP",
    "tell the ends of a tunnel interface",
    "Says where the packets of a tunnel interface go: its next hop forwards from then on; or that the tunnel "
    "is "
    "gone:\n"
    "what still points at it drops. KIND is gre, 6to4 or isatap; all addresses are IPv4.\n\n"
    "  --tos N --ttl N    of the outer header (gre; default 0 and 64)\n"
    "  --no-fragments     the outer packet may not be fragmented\n"
    "  --mac MAC          of the next router, when it is known\n\n"
    "Examples:\n"
    "  lcfwdctl tunnel add 0x22000001 10.9.9.1 gre 192.0.2.1 198.51.100.1 --mac 02:00:00:00:00:07\n"
    "  lcfwdctl tunnel delete 0x22000001 10.9.9.1\n",
    run};
