/* ufib/ufib_stats.h: the counters of adjacencies: read from hardware in batches, added up in the model, and polled by
 * the supervisor. A poll of everything is long, so it is a walk that a timer drives, with so many objects a firing; it
 * keeps keys, never pointers, so adjacencies may come and go between two firings. One thread. */
#pragma once

#include "ufib/ufib_adj.h"
#include "ufib/ufib_stats_wire.h"

#include <cstdint>

constexpr uint32_t UFIB_STATS_READ = 30;       /* rows of one hardware read */
constexpr uint32_t UFIB_STATS_LISP_PATHS = 17; /* rows that one object adds at most */
constexpr uint32_t UFIB_STATS_FIRING = 16384;  /* objects of one firing */

/* ---- reading ---- */

/* Puts an object on the list of the next hardware read: adjacencies, and what the label and LISP sides have under
 * their hooks. With 'flush', or when the list is full, hardware is read, all totals grow and the list is empty. A read
 * that hardware refuses is logged; the totals stay as they are. 'object' null: flush only. No object may go between
 * this call and the flush. */
void ufib_adj_stats_add(ufib_obj *object, bool flush);

/* Reads one adjacency and gives its totals. 0; -1: there is none. first, next: the one with the lowest key, and the one
 * behind '*key', which may be gone; '*key' becomes its key. */
[[nodiscard]] int ufib_adj_stats_get(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                                     ufib_adj_totals *out);
[[nodiscard]] int ufib_adj_stats_get_next(ufib_vdc *vdc, const ufib_family &family, ufib_adj_key *key,
                                          ufib_adj_totals *out);
[[nodiscard]] inline int ufib_adj_stats_get_first(ufib_vdc *vdc, const ufib_family &family, ufib_adj_key *key,
                                                  ufib_adj_totals *out) {
    *key = {};
    return ufib_adj_stats_get_next(vdc, family, key, out);
}

/* Begins the counts since the last clear anew, of one adjacency or of all of a VDC; what hardware has counted so far
 * is read first. */
void ufib_adj_stats_clear(ufib_adj *adj);
void ufib_adj_stats_clear_all(ufib_vdc *vdc);

/* ---- polling ---- */

/* States of a poll; the walks follow each other in this order. */
enum ufib_stats_state : uint32_t {
    UFIB_STATS_IDLE = 1,
    UFIB_STATS_V4ADJ,
    UFIB_STATS_V6ADJ,
    UFIB_STATS_V4LISP,
    UFIB_STATS_V6LISP,
    UFIB_STATS_STATES
};

void ufib_stats_init();  /* makes the timer; all polls idle */
void ufib_stats_reset(); /* process teardown in tests */
