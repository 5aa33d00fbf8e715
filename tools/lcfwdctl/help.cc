#include "tools/lcfwdctl/help.h"

#include "tools/lcfwdctl/ctl.h"

#include <cstdio>
#include <cstring>

static const char common_options[] =
    "Options of every command:\n"
    "  --slot LIST      instances to talk to: 1, or 1,3, or 1-4 (default 1; may be repeated)\n"
    "  --root DIR       root directory of the instance; {slot} in DIR stands for the slot's number\n"
    "                   (default: the variable LCFWD_ROOT, else the machine's own)\n"
    "  --vdc ID         the virtual device context that speaks (default 1)\n"
    "  --timeout MS     longest wait for one answer (default 10000)\n"
    "  --json           tables and figures as JSON\n"
    "  --quiet          no progress bar\n"
    "  --help           this text, and the examples of one command\n";

void ctl_help_all() {
    printf("lcfwdctl - the supervisor's and the operator's side of lcfwd\n\n"
           "usage: lcfwdctl COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands:\n");
    for (size_t i = 0; i < ctl_command_count; i++)
        printf("  %-10s %s\n", ctl_commands[i]->name, ctl_commands[i]->summary);
    printf("\n%s\nExit codes: 0 good, 1 the system said no, 2 usage, 3 nobody answers.\n"
           "Examples of a command: lcfwdctl COMMAND --help\n",
           common_options);
}

void ctl_help_command(const char *command) {
    for (size_t i = 0; i < ctl_command_count; i++) {
        const ctl_command &row = *ctl_commands[i];
        if (strcmp(row.name, command) != 0) continue;
        printf("usage: lcfwdctl %s %s\n\n%s\n", row.name, row.arguments, row.help);
        if (row.more_help != nullptr) printf("%s\n", row.more_help().c_str());
        printf("%s", common_options);
        return;
    }
}
