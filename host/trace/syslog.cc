#include "host/trace/syslog.h"

#include "host/timer/clock.h"
#include "host/trace/sdwrap.h"
#include "host/trace/trace_state.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

struct syslog_state {
    syslog_sent ring[SYSLOG_RING_MESSAGES];
    uint64_t count;
    void *capture;
};

static syslog_state state;

void syslog_reset() {
    std::free(state.capture);
    state = {};
}

static void upper_facility(char *out, size_t size) {
    const char *name = sdwrap_sys_facility == nullptr ? "unknown" : sdwrap_sys_facility->name;
    size_t used = 0;
    for (; name[used] != '\0' && used + 1 < size; used++)
        out[used] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[used])));
    out[used] = '\0';
}

int syslog_send_lc_message_to_sup(int kind, uint32_t node, int number, const syslog_message *message) {
    if (message == nullptr) return EINVAL;
    char facility[32];
    upper_facility(facility, sizeof facility);
    syslog_sent *sent = &state.ring[state.count++ % SYSLOG_RING_MESSAGES];
    sent->wall_ns = host_clock_wall_ns();
    sent->kind = kind;
    sent->node = node;
    sent->number = number;
    std::snprintf(sent->tag, sizeof sent->tag, "%s", message->tag);
    std::snprintf(sent->text, sizeof sent->text, message->text, facility, message->severity);
    char line[sizeof sent->text + 1];
    std::snprintf(line, sizeof line, "%s\n", sent->text);
    sdwrap_debug_line(line);
    return 0;
}

uint64_t syslog_sent_count() { return state.count; }

const syslog_sent *syslog_sent_get(uint32_t age) {
    if (age >= SYSLOG_RING_MESSAGES || age >= state.count) return nullptr;
    return &state.ring[(state.count - 1 - age) % SYSLOG_RING_MESSAGES];
}

void *capture_init(uint32_t bytes) {
    if (sdwrap_faults.capture_init) return nullptr;
    if (state.capture == nullptr) state.capture = std::calloc(1, bytes == 0 ? 1 : bytes);
    return state.capture;
}
