/* softfwd/softfwd_log.h: what the engine was asked to do and did: a bounded ring of operations and counters. Both lie
 * in the shared segment, so other processes read them too (softfwd_reader.h). Appending takes two stores. */
#pragma once

#include <cstddef>
#include <cstdint>

enum softfwd_op : uint8_t {
    SOFTFWD_OP_INSERT_V4_TABLE,
    SOFTFWD_OP_INSERT_V6_TABLE,
    SOFTFWD_OP_DELETE_V4_TABLE,
    SOFTFWD_OP_DELETE_V6_TABLE,
    SOFTFWD_OP_INSERT_V4_PREFIX,
    SOFTFWD_OP_INSERT_V6_PREFIX,
    SOFTFWD_OP_DELETE_V4_PREFIX,
    SOFTFWD_OP_DELETE_V6_PREFIX,
    SOFTFWD_OP_UPDATE_V4_NH,
    SOFTFWD_OP_UPDATE_V6_NH,
    SOFTFWD_OP_INSERT_ADJ,
    SOFTFWD_OP_DELETE_ADJ,
    SOFTFWD_OP_CLEAN_V4_PREFIX, /* removal at recovery of an entry that has no model */
    SOFTFWD_OP_CLEAN_V6_PREFIX,
    SOFTFWD_OP_ADJ_STATS,
    SOFTFWD_OP_INSERT_ECMP,
    SOFTFWD_OP_DELETE_ECMP,
    SOFTFWD_OP_INSERT_VOBJ,
    SOFTFWD_OP_UPDATE_VOBJ,
    SOFTFWD_OP_DELETE_VOBJ,
    SOFTFWD_OP_INSERT_VOBJ_FEC,
    SOFTFWD_OP_UPDATE_VOBJ_FEC,
    SOFTFWD_OP_DELETE_VOBJ_FEC,
    SOFTFWD_OP_UPDATE_INTF_RPF, /* its handle is the interface */
    SOFTFWD_OP_COUNT
};

enum softfwd_effect : uint8_t {
    SOFTFWD_EFFECT_INSTALL = 1, /* a new entry was written */
    SOFTFWD_EFFECT_UPDATE,      /* an entry was rewritten under its handle */
    SOFTFWD_EFFECT_REATTACH,    /* an entry was adopted; nothing was written */
    SOFTFWD_EFFECT_REMOVE,      /* an entry was removed */
    SOFTFWD_EFFECT_PENDING,     /* the write waits for its completion */
    SOFTFWD_EFFECT_FAILURE      /* refused, or failed late */
};

/* How an adopted entry differs from the model (softfwd_log_entry::difference). */
inline constexpr uint8_t SOFTFWD_DIFFERS_KEY = 1;     /* address, mask, table, next hop or interface */
inline constexpr uint8_t SOFTFWD_DIFFERS_CONTENT = 2; /* next object, flags, tag, action or rewrite */

struct softfwd_log_entry {
    uint32_t sequence; /* from 1, one an operation; wraps */
    uint32_t bracket;
    uint32_t handle;
    uint8_t op;     /* softfwd_op */
    uint8_t effect; /* softfwd_effect */
    uint8_t difference;
    uint8_t pad;
};
static_assert(sizeof(softfwd_log_entry) == 16);

inline constexpr uint32_t SOFTFWD_LOG_ENTRIES = 8192;

/* Over the segment's life; kept over restarts of the process. */
struct softfwd_counters {
    uint64_t writes; /* changes of the tables: installs, updates, removals */
    uint64_t installs;
    uint64_t updates;
    uint64_t removals;
    uint64_t reattaches;
    uint64_t failures;
    uint64_t late_failures;       /* of these, those that came through the cookies */
    uint64_t key_differences;     /* adopted entries that are not what the model says */
    uint64_t content_differences; /* adopted entries with another content */
    uint64_t brackets;
    uint64_t violations;     /* found by the integrity check at brackets */
    uint64_t space_overruns; /* overwritten tails of model objects */
    uint64_t grace_delays;   /* times that a removal had to wait for a reader */
    uint64_t largest_stats;  /* rows of the largest statistics read so far */
    uint64_t calls[SOFTFWD_OP_COUNT];
};

/* Of the running engine; zeros when it is not open. */
void softfwd_counters_get(softfwd_counters *out);
[[nodiscard]] uint32_t softfwd_log_sequence(); /* of the newest entry; 0 when there is none */

/* Copies entries with sequence 'from' and later, oldest first, to 'out' (at most 'max'; older ones may be lost).
 * Returns their number. */
[[nodiscard]] size_t softfwd_log_read(uint32_t from, softfwd_log_entry *out, size_t max);

/* Names for show output; "?" when out of range. */
[[nodiscard]] const char *softfwd_op_name(uint8_t op);
[[nodiscard]] const char *softfwd_effect_name(uint8_t effect);
