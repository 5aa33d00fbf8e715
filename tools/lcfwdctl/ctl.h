/* tools/lcfwdctl/ctl.h: what all commands of lcfwdctl share: the options that every command takes, the exit codes,
 * and the table of commands. A command reads its own options with ctl_options_parse(), does its work for each chosen
 * slot and returns an exit code; it prints results to the standard output and everything else to the error output. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

enum ctl_exit : int {
    CTL_GOOD = 0,
    CTL_REFUSED = 1,     /* the system was reached and said no, or gave a wrong answer */
    CTL_USAGE = 2,       /* the command line, or a file that it names, is no good */
    CTL_UNREACHABLE = 3, /* nobody answers there, or not in time */
};

/* The options of every command. */
struct ctl_settings {
    std::vector<uint32_t> slots = {1};
    std::string root; /* "" is the machine's own root; "{slot}" in it stands for the slot's number */
    uint32_t vdc = 1;
    uint32_t timeout_ms = 10000; /* longest wait for one answer */
    bool json = false;
    bool quiet = false; /* no progress bar */
};
extern ctl_settings ctl;

struct ctl_command {
    const char *name;
    const char *arguments;                /* one line for the usage */
    const char *summary;                  /* half a line for the list of commands */
    const char *help;                     /* details and examples, whole lines */
    int (*run)(int argc, char **argv);    /* argv[0] is the command's name */
    std::string (*more_help)() = nullptr; /* printed after 'help' */
};
extern const ctl_command *const ctl_commands[];
extern const size_t ctl_command_count;

/* Makes the root directory of one slot the root of all following file and socket names. */
void ctl_use_root(uint32_t slot);
/* The root directory of one slot as text, for messages; "/" for the machine's own. */
std::string ctl_root_text(uint32_t slot);

/* One line to the error output, with the program's name before it. Never fails. */
void ctl_error(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* The worse of two exit codes, for commands that go on with the next slot. */
inline int ctl_worse(int a, int b) { return a > b ? a : b; }
