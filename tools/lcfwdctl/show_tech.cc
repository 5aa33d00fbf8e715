#include "tools/lcfwdctl/show_tech.h"

#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/operator_session.h"
#include "tools/lcfwdctl/table.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

/* How the output of a command becomes a member of the JSON report. */
enum outside_form : uint8_t { FORM_VALUE, FORM_OBJECT_LINES, FORM_TEXT_LINES };

/* What is seen from outside of the process, which may be gone. */
struct outside_row {
    const ctl_command *command;
    outside_form form;
    const char *arguments[2];
};
static constexpr size_t MAX_WORDS = 4;
static constexpr uint32_t VDC_FIRST = 1, VDC_LAST = 5;
static const outside_row outside_rows[] = {
    {&ctl_command_status, FORM_VALUE, {}},       {&ctl_command_engine, FORM_VALUE, {}},
    {&ctl_command_store, FORM_VALUE, {"list"}},  {&ctl_command_log, FORM_TEXT_LINES, {"--lines", "2000"}},
    {&ctl_command_trace, FORM_OBJECT_LINES, {}},
};

/* The head of a section; in JSON the key of a member. */
static void section(const std::string &name, bool first) {
    if (ctl.json)
        printf("%s%s: ", first ? "{" : ",\n", ctl_json_text(name).c_str());
    else
        printf("%s---- %s ----\n", first ? "" : "\n", name.c_str());
}

/* Runs a command and gives what it prints to the standard output. */
static int captured(const outside_row &row, std::string *output) {
    std::vector<std::string> words = {row.command->name};
    for (const char *argument : row.arguments)
        if (argument != nullptr) words.push_back(argument);
    char *argv[MAX_WORDS + 1] = {};
    for (size_t i = 0; i < words.size(); i++) argv[i] = words[i].data();
    FILE *file = tmpfile();
    if (file == nullptr) return CTL_REFUSED;
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    const int status = row.command->run(static_cast<int>(words.size()), argv);
    fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    rewind(file);
    char buffer[4096];
    for (size_t got = 0; (got = fread(buffer, 1, sizeof buffer, file)) > 0;) output->append(buffer, got);
    fclose(file);
    return status;
}

static std::string json_lines(const std::string &text, bool quoted) {
    std::string out;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        if (!line.empty()) out += (out.empty() ? "[" : ",\n") + (quoted ? ctl_json_text(line) : line);
        at = end + 1;
    }
    return out.empty() ? "[]" : out + "]";
}

static int outside(const outside_row &row) {
    std::string text;
    const int status = captured(row, &text);
    section(row.command->name, false);
    if (ctl.json && row.form != FORM_VALUE)
        text = json_lines(text, row.form == FORM_TEXT_LINES);
    else if (ctl.json && text.empty())
        text = "null";
    fputs(text.c_str(), stdout);
    return status;
}

/* Slot and VDC stand before a name where there may be several, so that names neither repeat nor change. */
static std::string inside_name(const ctl_session *session, const operator_row &row,
                               const operator_options &options) {
    std::string name;
    if (ctl.slots.size() > 1) name += "slot " + std::to_string(session->slot) + " ";
    if (ctl.vdc != VDC_FIRST) name += "vdc " + std::to_string(ctl.vdc) + " ";
    return name + "show " + row.words + (options.statistics ? " --statistics" : "");
}

static int inside_ask(ctl_session *session, const operator_row &row, const operator_options &options) {
    std::vector<uint8_t> attributes;
    std::string failure;
    section(inside_name(session, row, options), false);
    int status = operator_attributes(row, options, nullptr, &attributes);
    if (status == CTL_GOOD) status = operator_ask(session, row, attributes, &failure);
    if (!failure.empty() && !ctl.json) printf("%s\n", failure.c_str());
    return status;
}

/* The same whichever VDC asks. */
static bool is_of_process(const operator_row &row) {
    return row.history != 0 || row.command == CMD_SHOW_HISTORY_TIME || row.command == CMD_SHOW_PROCESS ||
           row.command == CMD_SHOW_FUNCSTATS;
}

static int vdc_inside(ctl_session *session, bool process_too) {
    int status = CTL_GOOD;
    for (const operator_row &row : operator_rows()) {
        if (!row.in_report || (is_of_process(row) && !process_too)) continue;
        operator_options options;
        options.vrf_given = (row.options & OPERATOR_TABLE) != 0 && row.history == 0;
        options.vrf = "all";
        status = inside_ask(session, row, options);
        options.statistics = (row.options & OPERATOR_STATISTICS) != 0;
        if (options.statistics && status != CTL_UNREACHABLE) status = inside_ask(session, row, options);
        if (status == CTL_UNREACHABLE) return status;
    }
    return CTL_GOOD;
}

static int inside(ctl_session *session, void *) {
    const uint32_t before = ctl.vdc;
    int status = CTL_GOOD;
    bool process_too = true;
    for (ctl.vdc = VDC_FIRST; ctl.vdc <= VDC_LAST && status != CTL_UNREACHABLE; ctl.vdc++) {
        if (!operator_vdc_is_active(session)) continue;
        status = vdc_inside(session, process_too);
        process_too = false;
    }
    ctl.vdc = before;
    if (process_too) ctl_error("slot %u: no VDC is active, and the process tells nothing", session->slot);
    return process_too ? CTL_REFUSED : status;
}

/* The standard output goes to a file from here on. */
static int redirect(const char *name) {
    if (freopen(name, "w", stdout) != nullptr) return CTL_GOOD;
    ctl_error("%s cannot be written: %s", name, strerror(errno));
    return CTL_USAGE;
}

int ctl_show_tech(int argc, char **argv) {
    std::vector<const char *> words;
    if (const int status = ctl_options_parse({}, argc, argv, &words); status != CTL_GOOD) return status;
    if (words.size() > 2) {
        ctl_error("usage: lcfwdctl show tech [FILE]");
        return CTL_USAGE;
    }
    if (words.size() == 2)
        if (const int status = redirect(words[1]); status != CTL_GOOD) return status;
    int worst = CTL_GOOD;
    const time_t now = time(nullptr);
    char when[32];
    strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S UTC", gmtime(&now));
    section("taken", true);
    printf(ctl.json ? "\"%s\"" : "%s\n", when);
    for (const outside_row &row : outside_rows) worst = ctl_worse(worst, outside(row));
    worst = ctl_worse(worst, ctl_for_each_slot(inside, nullptr));
    if (ctl.json) printf("}\n");
    fflush(stdout);
    if (words.size() == 2 && !ctl.quiet)
        fprintf(stderr, "written: %s; it holds routes, addresses and counters\n", words[1]);
    return worst;
}
