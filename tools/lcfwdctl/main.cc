#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/help.h"

#include <csignal>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv) {
    /* A reader of our output that ends early, or a peer that goes away, is reported by the call that meets it. */
    signal(SIGPIPE, SIG_IGN);
    if (const char *root = getenv("LCFWD_ROOT"); root != nullptr) ctl.root = root;
    if (argc < 2 || strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "help") == 0) {
        if (argc > 2)
            ctl_help_command(argv[2]);
        else
            ctl_help_all();
        return argc < 2 ? CTL_USAGE : CTL_GOOD;
    }
    for (size_t i = 0; i < ctl_command_count; i++)
        if (strcmp(ctl_commands[i]->name, argv[1]) == 0) return ctl_commands[i]->run(argc - 1, argv + 1);
    ctl_error("no command \"%s\"; the list of commands: lcfwdctl --help", argv[1]);
    return CTL_USAGE;
}
