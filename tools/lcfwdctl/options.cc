#include "tools/lcfwdctl/options.h"

#include "tools/lcfwdctl/help.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

static constexpr uint32_t SLOT_MAX = 64;

bool ctl_number_parse(const char *text, uint32_t min, uint32_t max, uint32_t *out) {
    /* strtoull would also take blanks and signs. */
    if (*text < '0' || *text > '9') return false;
    char *end = nullptr;
    errno = 0;
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned long long value = strtoull(text, &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || value < min || value > max) return false;
    *out = static_cast<uint32_t>(value);
    return true;
}

static bool slot_range_parse(const std::string &text, std::vector<uint32_t> *out) {
    const size_t dash = text.find('-');
    uint32_t first = 0, last = 0;
    if (!ctl_number_parse(text.substr(0, dash).c_str(), 1, SLOT_MAX, &first)) return false;
    last = first;
    if (dash != std::string::npos && !ctl_number_parse(text.substr(dash + 1).c_str(), first, SLOT_MAX, &last))
        return false;
    for (uint32_t slot = first; slot <= last; slot++)
        if (std::find(out->begin(), out->end(), slot) == out->end()) out->push_back(slot);
    return true;
}

bool ctl_slots_parse(const char *text, std::vector<uint32_t> *out) {
    const std::string all = text;
    std::vector<uint32_t> slots;
    for (size_t at = 0; at <= all.size();) {
        const size_t comma = std::min(all.find(',', at), all.size());
        if (!slot_range_parse(all.substr(at, comma - at), &slots)) return false;
        at = comma + 1;
    }
    *out = slots;
    return true;
}

static int bad_option(const char *command, const char *format, const char *text) {
    std::string line = std::string(command) + ": ";
    char detail[256];
    snprintf(detail, sizeof detail, format, text);
    ctl_error("%s%s; see: lcfwdctl %s --help", line.c_str(), detail, command);
    return CTL_USAGE;
}

/* Slots add up over several --slot options, so the first one replaces the default. */
struct parse_state {
    const char *command;
    bool slot_given;
    std::string slot_text, root, empty;
};

static int store_value(const ctl_option &row, const char *value, parse_state *state) {
    if (row.kind == CTL_OPTION_TEXT) {
        *static_cast<std::string *>(row.value) = value;
        if (row.value != &state->slot_text) return CTL_GOOD;
        std::vector<uint32_t> slots;
        if (!ctl_slots_parse(value, &slots))
            return bad_option(state->command, "--slot takes numbers such as 1 or 1,3 or 1-4, not \"%s\"",
                              value);
        if (!state->slot_given) ctl.slots.clear();
        state->slot_given = true;
        for (uint32_t slot : slots)
            if (std::find(ctl.slots.begin(), ctl.slots.end(), slot) == ctl.slots.end())
                ctl.slots.push_back(slot);
        return CTL_GOOD;
    }
    if (ctl_number_parse(value, row.min, row.max, static_cast<uint32_t *>(row.value))) return CTL_GOOD;
    const std::string range = std::string(row.name) + " takes a number from " + std::to_string(row.min) +
                              " to " + std::to_string(row.max) + ", not \"%s\"";
    return bad_option(state->command, range.c_str(), value);
}

static const ctl_option *find_row(std::span<const ctl_option> rows, const char *name, size_t length) {
    for (const ctl_option &row : rows)
        if (strlen(row.name) == length && strncmp(row.name, name, length) == 0) return &row;
    return nullptr;
}

/* Takes the option at argv[*at] and its value; leaves '*at' at the last word used. */
static int take_option(std::span<const ctl_option> rows, int argc, char **argv, int *at, parse_state *state) {
    const char *word = argv[*at];
    const char *equals = strchr(word, '=');
    const size_t length = equals != nullptr ? static_cast<size_t>(equals - word) : strlen(word);
    const ctl_option *row = find_row(rows, word, length);
    if (row == nullptr) return bad_option(state->command, "unknown option \"%s\"", word);
    if (row->given != nullptr) *row->given = true;
    if (row->kind == CTL_OPTION_FLAG) {
        if (equals != nullptr) return bad_option(state->command, "\"%s\" takes no value", word);
        *static_cast<bool *>(row->value) = true;
        return CTL_GOOD;
    }
    if (equals != nullptr) return store_value(*row, equals + 1, state);
    if (*at + 1 >= argc) return bad_option(state->command, "\"%s\" needs a value", word);
    return store_value(*row, argv[++*at], state);
}

int ctl_options_parse(std::span<const ctl_option> rows, int argc, char **argv,
                      std::vector<const char *> *arguments) {
    parse_state state{argv[0], false, {}, {}, {}};
    bool help = false;
    std::vector<ctl_option> all(rows.begin(), rows.end());
    all.push_back(ctl_text("--slot", &state.slot_text));
    all.push_back(ctl_text("--root", &ctl.root));
    all.push_back(ctl_number("--vdc", &ctl.vdc, 0, 65535));
    all.push_back(ctl_number("--timeout", &ctl.timeout_ms, 1, 3600000));
    all.push_back(ctl_flag("--json", &ctl.json));
    all.push_back(ctl_flag("--quiet", &ctl.quiet));
    all.push_back(ctl_flag("--help", &help));
    bool options_end = false;
    for (int at = 1; at < argc; at++) {
        if (!options_end && strcmp(argv[at], "--") == 0) {
            options_end = true;
        } else if (!options_end && strncmp(argv[at], "--", 2) == 0) {
            if (const int status = take_option(all, argc, argv, &at, &state); status != CTL_GOOD)
                return status;
        } else {
            arguments->push_back(argv[at]);
        }
    }
    if (help) {
        ctl_help_command(argv[0]);
        exit(CTL_GOOD);
    }
    return CTL_GOOD;
}
