#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/table.h"

#include "host/trace/bl_reader.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <unistd.h>

static constexpr uint64_t NS_PER_S = 1000000000;
static constexpr useconds_t FOLLOW_US = 200000;

struct trace_plan {
    uint32_t log = 1;
    uint32_t lines = 0; /* 0 = all */
    bool follow = false;
};

static void print_record(const bl_reader *reader, uint32_t slot, const bl_record &record) {
    char text[1024], when[32];
    bl_render(bl_reader_format(reader, record.event), &record, text, sizeof text);
    const auto seconds = static_cast<time_t>(record.wall_ns / NS_PER_S);
    struct tm broken {};
    strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", localtime_r(&seconds, &broken));
    const auto micros = static_cast<unsigned>(record.wall_ns % NS_PER_S / 1000);
    if (ctl.json)
        printf("{\"slot\": %u, \"vdc\": %u, \"time\": \"%s.%06u\", \"level\": %u, \"event\": %u, \"text\": "
               "%s}\n",
               slot, ctl.vdc, when, micros, record.level, record.event, ctl_json_text(text).c_str());
    else
        printf("%s.%06u  %u  %3u  %s\n", when, micros, record.level, record.event, text);
}

static void print_all(bl_reader *reader, uint32_t slot, const trace_plan &plan) {
    std::deque<bl_record> newest;
    bl_record record{};
    while (bl_reader_next(reader, &record)) {
        newest.push_back(record);
        if (plan.lines == 0) {
            print_record(reader, slot, record);
            newest.clear();
        } else if (newest.size() > plan.lines) {
            newest.pop_front();
        }
    }
    for (const bl_record &kept : newest) print_record(reader, slot, kept);
}

static int show(uint32_t slot, const trace_plan &plan) {
    ctl_use_root(slot);
    bl_reader *reader = nullptr;
    const int error = bl_reader_open(ctl.vdc, plan.log, &reader);
    if (error != 0) {
        ctl_error("slot %u: no trace of VDC %u, log %u below %s: %s", slot, ctl.vdc, plan.log,
                  ctl_root_text(slot).c_str(), strerror(error));
        return CTL_UNREACHABLE;
    }
    print_all(reader, slot, plan);
    bl_record record{};
    while (plan.follow) {
        while (bl_reader_next(reader, &record)) print_record(reader, slot, record);
        fflush(stdout);
        usleep(FOLLOW_US);
    }
    if (const uint64_t lost = bl_reader_lost(reader); lost != 0 && plan.lines == 0)
        ctl_error("slot %u: %llu older records have been overwritten", slot,
                  static_cast<unsigned long long>(lost));
    bl_reader_close(reader);
    return CTL_GOOD;
}

static int run(int argc, char **argv) {
    trace_plan plan;
    const ctl_option rows[] = {ctl_number("--log", &plan.log, 0, BL_LOG_MAX - 1),
                               ctl_number("--lines", &plan.lines, 1, UINT32_MAX),
                               ctl_flag("--follow", &plan.follow)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (!words.empty() || (plan.follow && ctl.slots.size() != 1)) {
        ctl_error("usage: lcfwdctl trace [--vdc ID] [--lines N] [--follow], one slot at a time to follow");
        return CTL_USAGE;
    }
    int worst = CTL_GOOD;
    for (uint32_t slot : ctl.slots) worst = ctl_worse(worst, show(slot, plan));
    return worst;
}

const ctl_command ctl_command_trace = {"trace", "[--lines N] [--follow] [--log ID]", "read the binary trace",
                                       "Prints the binary trace of a context as text: time, level, event "
                                       "number, text. The trace can be read while the\n"
                                       "process runs and after its end.\n\n"
                                       "  --lines N        the newest N records\n"
                                       "  --follow         go on with what comes\n"
                                       "  --log ID         which log (default 1)\n\n"
                                       "Examples:\n"
                                       "  lcfwdctl trace --lines 50\n"
                                       "  lcfwdctl trace --vdc 2 --follow\n",
                                       run};
