/* tools/lcfwdctl/options.h: reading a command line by a table of rows. The options of every command (ctl_settings)
 * are understood besides the rows given. "--name value" and "--name=value" mean the same; what is no option is an
 * argument; "--" ends the options. */
#pragma once

#include "tools/lcfwdctl/ctl.h"

#include <span>

enum ctl_option_kind : uint8_t { CTL_OPTION_FLAG, CTL_OPTION_U32, CTL_OPTION_TEXT };

struct ctl_option {
    const char *name; /* with its two dashes */
    ctl_option_kind kind;
    void *value;  /* bool, uint32_t or std::string */
    uint32_t min; /* bounds of a number */
    uint32_t max;
    bool *given = nullptr; /* set to true when the option is there */
};

inline ctl_option ctl_flag(const char *name, bool *value) { return {name, CTL_OPTION_FLAG, value, 0, 0}; }
inline ctl_option ctl_number(const char *name, uint32_t *value, uint32_t min, uint32_t max,
                             bool *given = nullptr) {
    return {name, CTL_OPTION_U32, value, min, max, given};
}
inline ctl_option ctl_text(const char *name, std::string *value, bool *given = nullptr) {
    return {name, CTL_OPTION_TEXT, value, 0, 0, given};
}

/* Reads argv[1..]. CTL_GOOD with the arguments (not options) in '*arguments', borrowed from argv; or CTL_USAGE after
 * saying what is wrong. "--help" prints the command's help and ends the program. */
[[nodiscard]] int ctl_options_parse(std::span<const ctl_option> rows, int argc, char **argv,
                                    std::vector<const char *> *arguments);

/* A number, decimal or with 0x, within bounds. False: '*out' is unchanged. */
[[nodiscard]] bool ctl_number_parse(const char *text, uint32_t min, uint32_t max, uint32_t *out);

/* "1", "1,3" or "1-4,7" to a list without repetitions. False for anything else. */
[[nodiscard]] bool ctl_slots_parse(const char *text, std::vector<uint32_t> *out);
