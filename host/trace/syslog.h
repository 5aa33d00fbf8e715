/* host/trace/syslog.h: messages to the supervisor's system log, and the capture buffer. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* A message of the catalogue. The text takes two values: the facility's name in upper case (%s), the severity
 * (%d). */
struct syslog_message {
    const char *tag;
    const char *text;
    int severity;
};

inline constexpr uint32_t SYSLOG_RING_MESSAGES = 64;

/* A message as it was sent. */
struct syslog_sent {
    uint64_t wall_ns;
    int kind;
    uint32_t node;
    int number;
    char tag[64];
    char text[256];
};

/* Sends a message in the name of sdwrap_sys_facility ("UNKNOWN" when none is set). The newest
 * SYSLOG_RING_MESSAGES are kept, and each goes to the debug history. 0, or EINVAL for a null message. */
int syslog_send_lc_message_to_sup(int kind, uint32_t node, int number, const syslog_message *message);

[[nodiscard]] uint64_t syslog_sent_count();                     /* ever */
[[nodiscard]] const syslog_sent *syslog_sent_get(uint32_t age); /* 0 the newest; null when not kept */

/* Makes the capture buffer of the process (zeroed); a second call gives the same one. Null without memory. */
[[nodiscard]] void *capture_init(uint32_t bytes);
