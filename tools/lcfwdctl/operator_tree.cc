#include "tools/lcfwdctl/operator_tree.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>

static constexpr uint16_t ROUTE_OPTIONS = OPERATOR_TABLE | OPERATOR_LIMIT | OPERATOR_DETAIL | OPERATOR_RNH;

/* Commands of which there is one for each family: "ip ..." and "ipv6 ...". */
struct family_row {
    const char *words;
    uint32_t command_v4, command_v6;
    bool prefix;
    uint16_t options;
    uint8_t show_class;
    bool in_report;
    const char *summary;
};
static constexpr family_row family_rows[] = {
    {"route", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, true, ROUTE_OPTIONS | OPERATOR_MATCH | OPERATOR_THROUGH,
     0, true, "routes, or one of them"},
    {"route summary", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, OPERATOR_TABLE | OPERATOR_RNH, 2, true,
     "counters of a table"},
    {"route attached", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, ROUTE_OPTIONS, 8, false,
     "routes to attached networks"},
    {"route unresolved", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, ROUTE_OPTIONS, 9, false,
     "routes whose neighbour is not known"},
    {"route drop", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, ROUTE_OPTIONS, 11, false,
     "routes on the drop adjacency"},
    {"route glean", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, ROUTE_OPTIONS, 12, false,
     "routes on the glean adjacency"},
    {"route punt", CMD_SHOW_V4_ROUTES, CMD_SHOW_V6_ROUTES, false, ROUTE_OPTIONS, 13, false,
     "routes on the punt adjacency"},
    {"adjacency", CMD_SHOW_V4_ADJACENCY, CMD_SHOW_V6_ADJACENCY, false,
     OPERATOR_THROUGH | OPERATOR_DETAIL | OPERATOR_STATISTICS | OPERATOR_LIMIT, 0, true, "neighbours"},
    {"stored-route", CMD_SHOW_V4_PSS_ROUTES, CMD_SHOW_V6_PSS_ROUTES, true,
     OPERATOR_TABLE | OPERATOR_LIMIT | OPERATOR_RNH, 0, true, "routes as the store keeps them for a restart"},
};

struct plain_row {
    const char *verb, *words;
    uint32_t command;
    operator_operand operand;
    uint16_t options;
    bool in_report;
    const char *summary;
};
static constexpr plain_row plain_rows[] = {
    {"show", "ecmp", CMD_SHOW_ECMP, OPERAND_HANDLE, OPERATOR_DETAIL | OPERATOR_LIMIT, true,
     "groups of next hops"},
    {"show", "vobj", CMD_SHOW_VOBJ, OPERAND_VOBJ, OPERATOR_DETAIL | OPERATOR_LIMIT, true,
     "shared recursive next hops"},
    {"show", "interface", CMD_SHOW_INTERFACES, OPERAND_NONE, OPERATOR_THROUGH | OPERATOR_LIMIT, true,
     "interfaces as the process knows them"},
    {"show", "table", CMD_SHOW_TABLES, OPERAND_NONE, 0, true, "forwarding tables"},
    {"show", "vlan", CMD_SHOW_FORWARDING_VLAN, OPERAND_VLAN, OPERATOR_LIMIT, true, "VLANs with an interface"},
    {"show", "security mac", CMD_SHOW_V4_SECURITY_MAC, OPERAND_NONE, OPERATOR_TABLE, true,
     "source guard bindings"},
    {"show", "security sgt", CMD_SHOW_V4_SECURITY_SGT, OPERAND_NONE, OPERATOR_TABLE, true,
     "security group tags"},
    {"show", "counters", CMD_SHOW_INTERNAL_COUNTS, OPERAND_NONE, 0, true, "objects and errors"},
    {"show", "messages", CMD_SHOW_MSG_CNTS, OPERAND_NONE, 0, true, "messages by kind"},
    {"show", "restart", CMD_SHOW_RESTART, OPERAND_NONE, 0, true, "what the last restart found"},
    {"show", "trace", CMD_SHOW_TRACE, OPERAND_NONE, OPERATOR_LIMIT, true, "the binary trace, as text"},
    {"show", "trace profile", CMD_SHOW_TRACE_PROFILE, OPERAND_NONE, OPERATOR_LIMIT, true,
     "what is traced, and how long batches took"},
    {"show", "functions", CMD_SHOW_FUNCSTATS, OPERAND_NONE, 0, true, "time spent in functions"},
    {"show", "process", CMD_SHOW_PROCESS, OPERAND_NONE, 0, true, "queues, store, memory"},
    {"show", "history time", CMD_SHOW_HISTORY_TIME, OPERAND_NONE, OPERATOR_LIMIT, true,
     "what happened to everything, by time"},
    {"show", "consistency", CMD_CHECK_CONSISTENCY, OPERAND_NONE, OPERATOR_TABLE | OPERATOR_LIMIT, true,
     "compare model, records and engine"},
    {"show", "ip consistency", CMD_CHECK_CONSISTENCY, OPERAND_PREFIX_V4, OPERATOR_TABLE | OPERATOR_RNH, false,
     "compare model, record and engine of a route"},
    {"show", "ipv6 consistency", CMD_CHECK_CONSISTENCY, OPERAND_PREFIX_V6, OPERATOR_TABLE | OPERATOR_RNH,
     false, "compare model, record and engine of a route"},
    {"clear", "counters", CMD_CLEAR_INTERNAL_COUNTS, OPERAND_NONE, 0, false, "error counters back to 0"},
    {"clear", "route-counters", CMD_CLEAR_CUMULATIVE_COUNTERS, OPERAND_NONE, OPERATOR_STATISTICS, false,
     "routes added and deleted back to 0; with --statistics packets by adjacency"},
    {"clear", "messages", CMD_CLEAR_MSG_CNTS, OPERAND_NONE, 0, false, "message counters back to 0"},
    {"debug", "disable-tracing", CMD_DISABLE_TRACING, OPERAND_SWITCH, 0, false, "no trace records at all"},
    {"debug", "route-log", CMD_ENABLE_RC_DEBUGS, OPERAND_SWITCH, 0, false, "log each route in detail: slow"},
    {"debug", "functions", CMD_UPDATE_FUNCSTATS, OPERAND_SWITCH, 0, false, "measure time spent in functions"},
    {"debug", "disable-function-trace", CMD_DISABLE_FUNCSTATS_TRACE, OPERAND_SWITCH, 0, false,
     "no trace records of function times"},
    {"debug", "disable-store", CMD_DISABLE_PSS, OPERAND_SWITCH, 0, false,
     "keep no records: a restart then forgets"},
    {"debug", "bypass-hardware", CMD_BYPASS_HARDWARE, OPERAND_SWITCH, 0, false,
     "packets go to the processor, the engine's tables stay"},
};

struct history_row {
    const char *name;
    uint32_t number;
};
static constexpr history_row history_rows[] = {
    {"v4-prefix", CMD_HISTORY_V4_PFX},    {"v6-prefix", CMD_HISTORY_V6_PFX},
    {"v4-rnh", CMD_HISTORY_V4_RNH},       {"v6-rnh", CMD_HISTORY_V6_RNH},
    {"v4-adjacency", CMD_HISTORY_V4_ADJ}, {"v6-adjacency", CMD_HISTORY_V6_ADJ},
    {"vobj", CMD_HISTORY_VOBJ},           {"ecmp", CMD_HISTORY_ECMP},
};

static void add_history(const history_row &row, std::vector<operator_row> *out) {
    const std::string name = row.name, words = "history " + name;
    const auto get = [&](const char *verb, const std::string &tail, uint32_t command,
                         operator_operand operand, int value, const char *summary) {
        const auto history = static_cast<uint32_t>(row.number);
        const uint16_t options = operand == OPERAND_HISTORY_KEY ? OPERATOR_TABLE : 0;
        out->push_back({verb, words + tail, command, CMD_ACTION_GET, operand, options, 0,
                        static_cast<int8_t>(value), history, tail.empty() && strcmp(verb, "show") == 0,
                        summary});
    };
    get("show", "", CMD_HISTORY_SHOW(row.number), OPERAND_HISTORY_KEY, -1, "what happened to each object");
    get("show", " settings", CMD_HISTORY_CONF(row.number), OPERAND_NONE, -1, "size, filters, sticky entries");
    out->push_back({"clear", words, row.number, CMD_ACTION_SET, OPERAND_NONE, 0, 0, -1, row.number, false,
                    "forget what happened"});
    get("debug", " on", CMD_SET_HISTORY_ENABLE, OPERAND_NONE, 1, "record again");
    get("debug", " off", CMD_SET_HISTORY_ENABLE, OPERAND_NONE, 0, "record nothing");
    get("debug", " filter", CMD_SET_HISTORY_FILTER, OPERAND_HISTORY_KEY, 1, "record only such keys");
    get("debug", " no-filter", CMD_SET_HISTORY_FILTER, OPERAND_HISTORY_KEY, 0, "take a filter away");
    get("debug", " sticky", CMD_SET_HISTORY_STICKY, OPERAND_HISTORY_KEY, 1, "never evict this entry");
    get("debug", " no-sticky", CMD_SET_HISTORY_STICKY, OPERAND_HISTORY_KEY, 0, "may be evicted again");
}

std::string operator_history_help() {
    std::string text = "NAME is one of";
    for (const history_row &row : history_rows)
        text += std::string(row.number == history_rows[0].number ? " " : ", ") + row.name;
    return text + ".\nKEY is a prefix, the handle of an adjacency or a group, or the id of a vobj.\n";
}

static void add_families(const family_row &row, std::vector<operator_row> *out) {
    const auto add = [&](const char *family, uint32_t command, operator_operand operand) {
        out->push_back({"show", std::string(family) + " " + row.words, command, CMD_ACTION_GET,
                        row.prefix ? operand : OPERAND_NONE, row.options, row.show_class, -1, 0,
                        row.in_report, row.summary});
    };
    add("ip", row.command_v4, OPERAND_PREFIX_V4);
    add("ipv6", row.command_v6, OPERAND_PREFIX_V6);
}

static std::vector<operator_row> rows_make() {
    std::vector<operator_row> rows;
    for (const family_row &row : family_rows) add_families(row, &rows);
    for (const plain_row &row : plain_rows)
        rows.push_back({row.verb, row.words, row.command, CMD_ACTION_GET, row.operand, row.options, 0, -1, 0,
                        row.in_report, row.summary});
    for (const history_row &row : history_rows) add_history(row, &rows);
    return rows;
}

const std::vector<operator_row> &operator_rows() {
    static const std::vector<operator_row> rows = rows_make();
    return rows;
}

static std::vector<std::string> split(const std::string &words) {
    std::vector<std::string> out;
    for (size_t at = 0; at < words.size();) {
        const size_t blank = std::min(words.find(' ', at), words.size());
        out.push_back(words.substr(at, blank - at));
        at = blank + 1;
    }
    return out;
}

static bool begins(const std::string &whole, const char *start) {
    return whole.compare(0, strlen(start), start) == 0;
}

/* The rows whose words begin with 'words', each of which may be shortened; a word written whole shuts out longer ones. */
static std::vector<const operator_row *> rows_under(const char *verb, std::span<const char *const> words) {
    std::vector<const operator_row *> left;
    for (const operator_row &row : operator_rows())
        if (strcmp(row.verb, verb) == 0) left.push_back(&row);
    for (size_t i = 0; i < words.size(); i++) {
        std::vector<const operator_row *> whole, shortened;
        for (const operator_row *row : left) {
            const std::vector<std::string> own = split(row->words);
            if (i >= own.size()) continue;
            if (own[i] == words[i]) whole.push_back(row);
            if (begins(own[i], words[i])) shortened.push_back(row);
        }
        left = whole.empty() ? shortened : whole;
    }
    return left;
}

static size_t word_count(const operator_row &row) {
    return static_cast<size_t>(std::count(row.words.begin(), row.words.end(), ' ')) + 1;
}

static std::set<std::string> next_words(const std::vector<const operator_row *> &rows, size_t at) {
    std::set<std::string> out;
    for (const operator_row *row : rows) {
        const std::vector<std::string> own = split(row->words);
        if (at < own.size())
            out.insert(own[at]);
        else if (const char *operand = operator_operand_text(row->operand); *operand != '\0')
            out.insert(std::string("<") + operand + ">");
    }
    return out;
}

std::vector<std::string> operator_follow(const char *verb, std::span<const char *const> words) {
    const std::set<std::string> found = next_words(rows_under(verb, words), words.size());
    return {found.begin(), found.end()};
}

static std::string list_text(const std::set<std::string> &words) {
    std::string text;
    for (const std::string &word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

const operator_row *operator_find(const char *verb, std::span<const char *const> words, size_t *used,
                                  std::string *why) {
    for (size_t count = words.size(); count > 0; count--) {
        const std::vector<const operator_row *> under = rows_under(verb, words.first(count));
        if (under.empty()) continue;
        std::set<std::string>
            spelled; /* of the words so far: more than one means that a short form is ambiguous */
        const operator_row *exact = nullptr;
        for (const operator_row *row : under) {
            std::string own;
            const std::vector<std::string> parts = split(row->words);
            for (size_t i = 0; i < count; i++) own += (i == 0 ? "" : " ") + parts[i];
            spelled.insert(own);
            if (word_count(*row) == count) exact = row;
        }
        *used = count;
        if (spelled.size() == 1 && exact != nullptr) return exact;
        *why = spelled.size() > 1 ? "could be: " + list_text(spelled)
                                  : "what may follow: " + list_text(next_words(under, count));
        return nullptr;
    }
    *why = "what may follow: " + list_text(next_words(rows_under(verb, {}), 0));
    return nullptr;
}

const char *operator_operand_text(operator_operand operand) {
    static constexpr const char *texts[] = {"", "PREFIX", "PREFIX", "HANDLE", "ID", "VLAN", "on|off", "KEY"};
    return texts[operand];
}
