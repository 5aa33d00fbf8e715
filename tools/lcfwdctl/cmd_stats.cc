#include "tools/lcfwdctl/ask.h"
#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_check.h"

#include <cstdio>

struct stats_plan {
    std::vector<uint8_t> poll;
    bool all = false; /* also those that counted nothing */
    ctl_table output;
};

static std::vector<ctl_cell> cells(uint32_t slot, const ufib_stats_row &row) {
    char if_index[16];
    snprintf(if_index, sizeof if_index, "0x%08x", wire_get(row.if_index));
    const uint32_t family = row.object == 5 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
    return {slot,
            if_index,
            ctl_engine_address(family, row.address),
            wire_get(row.packets),
            wire_get(row.bytes),
            wire_get(row.packets_since_clear),
            wire_get(row.bytes_since_clear)};
}

static int bad_answer(const ctl_session *session) {
    ctl_error("slot %u: bad answer to a poll of statistics", session->slot);
    return CTL_REFUSED;
}

static int rows_take(ctl_session *session, uint32_t token, std::vector<ufib_stats_row> *rows) {
    for (bool last = false; !last;) {
        std::vector<uint8_t> answer;
        const int status =
            ctl_ask_answer(session, token, "a poll of statistics", sizeof(ufib_stats_hdr), &answer);
        if (status != CTL_GOOD) return status;
        if (ctl_stats_read(answer, rows, &last) != 0) return bad_answer(session);
    }
    return CTL_GOOD;
}

static int work(ctl_session *session, void *context) {
    auto *plan = static_cast<stats_plan *>(context);
    std::vector<uint8_t> answer;
    std::vector<ufib_stats_row> rows;
    uint32_t token = 0;
    bool started = false;
    int status = ctl_settle(session);
    if (status == CTL_GOOD)
        status = ctl_ask(session, CTL_OPC_STATISTICS, plan->poll, "a poll of statistics", &token,
                         CTL_STATISTICS_VERSION);
    if (status == CTL_GOOD)
        status = ctl_ask_answer(session, token, "a poll of statistics", sizeof(ufib_stats_poll_rsp), &answer);
    if (status != CTL_GOOD) return status;
    if (ctl_stats_started(answer, &started) != 0) return bad_answer(session);
    if (!started) {
        ctl_error(
            "slot %u: the poll does not start: the context is not in state ACTIVE (see lcfwdctl status), "
            "another poll runs, or there is no such adjacency",
            session->slot);
        return CTL_REFUSED;
    }
    status = rows_take(session, token, &rows);
    for (const ufib_stats_row &row : rows)
        if (plan->all || wire_get(row.packets) != 0) plan->output.rows.push_back(cells(session->slot, row));
    return status;
}

static int poll_make(const std::vector<const char *> &words, bool tunnel, uint32_t family, stats_plan *plan) {
    uint32_t if_index = 0;
    uint8_t address[16] = {};
    address_family word_family = ADDRESS_FAMILY_NONE;
    const bool bad = words.size() > 2 || (tunnel && words.empty()) ||
                     (!words.empty() && !ctl_number_parse(words[0], 1, UINT32_MAX, &if_index)) ||
                     (words.size() == 2 && address_parse(words[1], &word_family, address) != 0);
    if (bad) {
        ctl_error("usage: lcfwdctl stats [[--tunnel] IF_INDEX [ADDRESS]] [--family 4|6]");
        return CTL_USAGE;
    }
    if (word_family != ADDRESS_FAMILY_NONE) family = word_family == ADDRESS_FAMILY_V4 ? 4 : 6;
    if (!words.empty() && family == 0) family = 4;
    plan->poll =
        ctl_stats_make(tunnel ? UFIB_STATS_TYPE_TUNNEL : UFIB_STATS_TYPE_ADJ, static_cast<uint8_t>(family),
                       if_index, words.size() == 2 ? address : nullptr);
    return CTL_GOOD;
}

static int run(int argc, char **argv) {
    stats_plan plan;
    bool tunnel = false;
    uint32_t family = 0;
    const ctl_option rows[] = {ctl_flag("--all", &plan.all), ctl_flag("--tunnel", &tunnel),
                               ctl_number("--family", &family, 4, 6)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (family == 5) {
        ctl_error("--family is 4 or 6");
        return CTL_USAGE;
    }
    if (const int status = poll_make(words, tunnel, family, &plan); status != CTL_GOOD) return status;
    if (!words.empty()) plan.all = true;
    plan.output.columns = {
        "slot", "if_index", "next_hop", "packets", "bytes", "packets_since_clear", "bytes_since_clear"};
    const int status = ctl_for_each_slot(work, &plan);
    if (status == CTL_GOOD || !plan.output.rows.empty()) ctl_table_print(plan.output);
    return status;
}

const ctl_command ctl_command_stats = {
    "stats", "[[--tunnel] IF_INDEX [ADDRESS]] [--family 4|6]", "packets and bytes by adjacency",
    "Polls the counters of adjacencies as the supervisor does: the process reads the engine, adds up and "
    "answers. Without\n"
    "arguments all adjacencies of the context that have counted something; with an interface those on it, "
    "and with a\n"
    "next hop that one. Many adjacencies come in slices of 16384, five seconds apart.\n\n"
    "  --family 4|6     one family only (default both; of an interface 4)\n"
    "  --all            also adjacencies that have counted nothing\n"
    "  --tunnel         the interface is a tunnel\n\n"
    "Packets are counted by lcfwdctl lookup --count, by lcfwdctl engine count, and by any other data plane "
    "that looks up.\n"
    "lcfwdctl clear route-counters --statistics begins the last two columns anew.\n\n"
    "Examples:\n"
    "  lcfwdctl lookup 1.1.1.1 9.9.9.9 --count && lcfwdctl stats\n"
    "  lcfwdctl stats 0x1a000001 10.0.0.1 --json\n",
    run};
