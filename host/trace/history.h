/* host/trace/history.h: a history of texts in a bounded ring of bytes; the oldest texts make room for the
 * newest. A ring lies in a file "/dev/shm/lctrace_hist_<uuid>_<instance>" (or in private memory when the file
 * cannot be had), readable by other processes while it is written; a ring of the same size goes on after a
 * restart. Units: bytes. One writer. */
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t HISTORY_TEXT_MAX = 1024; /* longer texts are cut */

struct history_ring;
struct history_reader;

struct history_event {
    uint64_t wall_ns; /* since 1970 */
    uint32_t family;
    uint32_t length; /* of 'text', without the NUL */
    char text[HISTORY_TEXT_MAX + 1];
};

/* Opens a ring that holds 'bytes' of events (rounded up to 8; at least 4096). 0, EINVAL or ENOMEM. */
[[nodiscard]] int history_open(uint32_t uuid, uint32_t instance, uint32_t bytes, history_ring **out);
void history_close(history_ring *ring); /* null is allowed; the file stays */

/* Adds a text. False: there is no memory for the file to grow, the text is lost. */
bool history_add(history_ring *ring, uint32_t family, const char *text, size_t length);

/* Opens a ring's file for reading, from any process. 0, an errno, or EBADMSG when it is no history file. */
[[nodiscard]] int history_reader_open(uint32_t uuid, uint32_t instance, history_reader **out);
void history_reader_close(history_reader *reader);

/* The next event, oldest first. False: none now; a later call may find more. */
[[nodiscard]] bool history_reader_next(history_reader *reader, history_event *out);
[[nodiscard]] uint64_t history_reader_skips(const history_reader *reader); /* times the writer overtook us */
