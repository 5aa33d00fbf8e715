#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/operator_session.h"
#include "tools/lcfwdctl/show_tech.h"

#include <cstdio>
#include <cstring>

static int run(int argc, char **argv) {
    if (argc > 1 && strcmp(argv[1], "tech") == 0) return ctl_show_tech(argc, argv);
    return operator_run(argc, argv);
}

static std::string more_help() { return operator_help("show"); }

const ctl_command ctl_command_show = {
    "show",
    "WORDS... [OPTIONS]",
    "what the process knows: routes, neighbours, histories, counters",
    "Asks the process. Words may be shortened while they stay clear. Long output comes piece by piece and "
    "holds "
    "nothing\n"
    "up; on a terminal it goes through $PAGER.\n\n"
    "  --vrf NAME|all   routes of a VRF, or of all (default: the default table)\n"
    "  --table ID       routes of a table\n"
    "  --longer         the prefix and all inside it\n"
    "  --longest        the longest match of the prefix; also without it, for an address\n"
    "  --interface IF   only what leaves by this interface (a name, or its index)\n"
    "  --next-hop A     only what leaves by this next hop\n"
    "  --limit N        at most N routes\n"
    "  --detail         all that is known of each\n"
    "  --rnh            recursive next hops instead of routes\n"
    "  --statistics     neighbours with their counters\n\n"
    "  show tech [FILE]                      everything in one file, for a fault report\n",
    run,
    more_help};
