/* softfwd/softfwd_grace.h: when may what was removed be used again? For softfwd/ only.
 *
 * A reader writes the epoch into its place before a look-up and 0 after it. Whatever the writer takes out of the
 * tables is queued with the epoch of that moment; it is free once every reader that is inside a look-up began it in a
 * later epoch. The writer raises the epoch at brackets only, so the route path pays for one queue entry. A reader
 * that died inside a look-up is known by its dropped lock and does not count. */
#pragma once

#include <cstddef>
#include <cstdint>

struct softfwd_engine;

enum softfwd_garbage : uint32_t {
    SOFTFWD_GARBAGE_BLOCK,  /* of the arena */
    SOFTFWD_GARBAGE_PREFIX, /* an entry */
    SOFTFWD_GARBAGE_RECORD, /* of an adjacency */
    SOFTFWD_GARBAGE_ADJ,    /* a handle with its last record */
    SOFTFWD_GARBAGE_TABLE,
    SOFTFWD_GARBAGE_GROUP_RECORD, /* with its units */
    SOFTFWD_GARBAGE_GROUP         /* the handles of a group with its last record */
};

struct softfwd_garbage_item {
    uint64_t epoch;
    uint32_t index;
    uint32_t kind_units; /* kind in the upper 8 bits, units of a block below */
};

/* A ring that doubles when it is full: in the long run no memory is asked for. */
struct softfwd_grace {
    softfwd_garbage_item *items; /* owned */
    uint32_t capacity;           /* a power of two, or 0 */
    uint32_t first;
    uint32_t count;
};

/* Queues an object. Without memory for the queue the object is lost until the next start, never reused too early. */
void softfwd_grace_retire(softfwd_garbage kind, uint32_t index, uint32_t units);

/* Ends an epoch and frees what no reader can hold any more. */
void softfwd_grace_run();

/* At a take-over: waits until no reader is inside a look-up that began before now, at most 'timeout_ms'. False when
 * one still is. */
[[nodiscard]] bool softfwd_grace_wait(uint32_t timeout_ms);

void softfwd_grace_reset();

/* The smallest epoch at which a living reader is inside a look-up; UINT64_MAX for none. */
[[nodiscard]] uint64_t softfwd_oldest_reader();
