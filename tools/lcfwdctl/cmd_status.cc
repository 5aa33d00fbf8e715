#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/table.h"

#include "host/timer/clock.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>

static constexpr uint32_t VDC_MAX = 5;
static constexpr int QUIET_MS = 200; /* reports come at once or not at all */
static constexpr uint64_t NS_PER_S = 1000000000;

static std::vector<ctl_cell> report_row(uint32_t slot, const mts_msg &message) {
    ctl_report report{};
    memcpy(&report, message.payload, sizeof report);
    return {slot,
            ctl_node_vdc(message.destination.node),
            ctl_state_name(report.ufib_state),
            ctl_state_name(report.mfib_state),
            (report.flags & 0x80) != 0,
            (report.flags & 0x40) != 0,
            (report.flags & 0x08) == 0,
            static_cast<uint32_t>(report.slot)};
}
static const std::vector<const char *> report_columns = {
    "slot", "vdc", "unicast", "multicast", "unicast_ready", "multicast_ready", "sender_up", "card"};

static bool is_report(const mts_msg &message) {
    return message.opcode == CTL_OPC_REPORT && message.payload_size >= sizeof(ctl_report);
}

/* Asks for the state of every context; those that are not there do not answer. */
static int ask_all(ctl_session *session) {
    const uint32_t vdc = ctl.vdc;
    int status = ctl_subscribe(session);
    for (ctl.vdc = 1; status == CTL_GOOD && ctl.vdc <= VDC_MAX; ctl.vdc++)
        status = ctl_tell(session, CTL_OPC_STATUS_REQUEST, {});
    ctl.vdc = vdc;
    return status;
}

static int show(ctl_session *session, void *context) {
    auto *table = static_cast<ctl_table *>(context);
    int status = ask_all(session);
    uint32_t seen = 0;
    while (status == CTL_GOOD && seen < VDC_MAX) {
        mts_msg message{};
        const int error = bus_client_receive(session->client, &message, QUIET_MS);
        if (error == EAGAIN) break;
        if (error != 0) return ctl_bus_failure(session->slot, "waiting for reports", error);
        if (!is_report(message)) continue;
        table->rows.push_back(report_row(session->slot, message));
        seen++;
    }
    return status;
}

static void print_time() {
    const auto seconds = static_cast<time_t>(host_clock_wall_seconds());
    char text[32];
    struct tm broken {};
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&seconds, &broken));
    printf("%s ", text);
}

/* The notice is in the byte order of the machine, which both ends share. */
static void print_table_notice(uint32_t slot, const mts_msg &message) {
    uint32_t words[2] = {};
    if (message.payload_size < sizeof words) return;
    memcpy(words, message.payload, sizeof words);
    for (uint32_t i = 0; i < words[1] && (i + 1) * 16 + sizeof words <= message.payload_size; i++) {
        uint32_t row[4];
        memcpy(row, message.payload + sizeof words + i * sizeof row, sizeof row);
        print_time();
        printf("slot %u VDC %u: IPv%c table %u (0x%x) %s, instances 0x%x\n", slot, words[0],
               row[1] == 1 ? '4' : '6', row[2], row[2], row[0] == 1 ? "is there" : "has gone", row[3]);
    }
}

static void print_event(uint32_t slot, const mts_msg &message) {
    if (message.opcode == CTL_OPC_TABLE_NOTICE) print_table_notice(slot, message);
    if (is_report(message)) {
        const std::vector<ctl_cell> row = report_row(slot, message);
        print_time();
        printf("slot %u VDC %s: unicast %s, multicast %s, sender %s\n", slot, row[1].text.c_str(),
               row[2].text.c_str(), row[3].text.c_str(), row[6].text == "yes" ? "up" : "not up");
    }
    fflush(stdout);
}

/* Prints what comes in from any slot until the time is over. */
static int follow(std::vector<ctl_session> *sessions, uint32_t seconds) {
    const uint64_t end = host_clock_monotonic_ns() + seconds * NS_PER_S;
    std::vector<pollfd> ready;
    for (const ctl_session &session : *sessions) ready.push_back({bus_client_fd(session.client), POLLIN, 0});
    while (seconds == 0 || host_clock_monotonic_ns() < end) {
        poll(ready.data(), ready.size(), QUIET_MS);
        for (const ctl_session &session : *sessions) {
            mts_msg message{};
            int error = 0;
            while ((error = bus_client_receive(session.client, &message, 0)) == 0)
                print_event(session.slot, message);
            if (error != EAGAIN) return ctl_bus_failure(session.slot, "watching", error);
        }
    }
    return CTL_GOOD;
}

static int watch(uint32_t seconds) {
    std::vector<ctl_session> sessions;
    int status = CTL_GOOD;
    for (uint32_t slot : ctl.slots) {
        ctl_session session;
        status = ctl_session_open(slot, &session);
        if (status == CTL_GOOD) sessions.push_back(session);
        if (status == CTL_GOOD) status = ask_all(&sessions.back());
        if (status != CTL_GOOD) break;
    }
    if (status == CTL_GOOD) status = follow(&sessions, seconds);
    for (ctl_session &session : sessions) ctl_session_close(&session);
    return status;
}

static int run(int argc, char **argv) {
    bool watching = false;
    uint32_t seconds = 0;
    const ctl_option rows[] = {ctl_flag("--watch", &watching), ctl_number("--seconds", &seconds, 1, 86400)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (!words.empty()) {
        ctl_error("usage: lcfwdctl status [--watch] [--seconds N]");
        return CTL_USAGE;
    }
    if (watching || seconds != 0) return watch(seconds);
    ctl_table table;
    table.columns = report_columns;
    const int status = ctl_for_each_slot(show, &table);
    if (status != CTL_UNREACHABLE || !table.rows.empty()) ctl_table_print(table);
    return status;
}

const ctl_command ctl_command_status = {"status", "[--watch] [--seconds N]",
                                        "state of the contexts, and watch the reports",
                                        "Shows the state of every context as its status report tells it: "
                                        "INITIALIZED before the first download, LOADING,\n"
                                        "ACTIVE; UPGRADING takes no routes. With --watch goes on and prints "
                                        "each report and table notice as it comes.\n\n"
                                        "  --watch          until interrupted\n"
                                        "  --seconds N      watch for N seconds\n\n"
                                        "Examples:\n"
                                        "  lcfwdctl status\n"
                                        "  lcfwdctl status --slot 1-4 --json\n"
                                        "  lcfwdctl status --watch\n",
                                        run};
