/* core/ufib_funcstats.h: how long measured functions take: calls and microseconds per function, off by
 * default (one test of a flag then). Row numbers are fixed: traces and shows name them. One thread. */
#pragma once

#include "core/lcfwd_log.h"
#include "host/system/system.h"

#include <cstdint>

constexpr uint32_t UFIB_FUNCSTATS_ROWS = 31;
constexpr uint32_t UFIB_FS_BULK_ROUTE = 0;
constexpr uint32_t UFIB_FS_HW_PSS_FLUSH = 1; /* a write bracket with its commit */
constexpr uint32_t UFIB_FS_ROUTE_ADD = 2;
constexpr uint32_t UFIB_FS_TRACE_ROUTE = 3;
constexpr uint32_t UFIB_FS_ROUTE_ERRORS = 4;
constexpr uint32_t UFIB_FS_PREFIX_GET_CREATE = 5;
constexpr uint32_t UFIB_FS_NEXT_OBJECT = 6;
constexpr uint32_t UFIB_FS_ECMP_KEY = 7;
constexpr uint32_t UFIB_FS_ECMP_GET_CREATE = 8;
constexpr uint32_t UFIB_FS_ADJ_GET_CREATE = 9;
constexpr uint32_t UFIB_FS_VOBJ_GET_CREATE = 10;
constexpr uint32_t UFIB_FS_RNH_UPDATE = 11;
constexpr uint32_t UFIB_FS_ROUTE_DELETE = 12;
constexpr uint32_t UFIB_FS_PSS_PREFIX = 13; /* a record, until it is queued */
constexpr uint32_t UFIB_FS_PSS_ADJ = 14;
constexpr uint32_t UFIB_FS_PSS_ECMP = 15;
constexpr uint32_t UFIB_FS_PLATFORM_TABLE = 16;
constexpr uint32_t UFIB_FS_PLATFORM_ADJ = 17;
constexpr uint32_t UFIB_FS_PLATFORM_PREFIX = 18; /* of both families, as of all that follow */
constexpr uint32_t UFIB_FS_PLATFORM_ECMP = 19;
constexpr uint32_t UFIB_FS_PLATFORM_VOBJ = 20;
constexpr uint32_t UFIB_FS_PLATFORM_PREFIX_DELETE = 21;
constexpr uint32_t UFIB_FS_PLATFORM_ADJ_DELETE = 22;
constexpr uint32_t UFIB_FS_PLATFORM_ECMP_DELETE = 23;
constexpr uint32_t UFIB_FS_AM_NOTIFICATION = 24; /* a whole notice */
constexpr uint32_t UFIB_FS_STALE_DELETE = 25;
constexpr uint32_t UFIB_FS_STATISTICS_POLL = 26;
constexpr uint32_t UFIB_FS_DIRTY_WALK = 27; /* a firing of the timer */
constexpr uint32_t UFIB_FS_LABEL_UPDATE = 28;
constexpr uint32_t UFIB_FS_PSS_COMMIT = 29;
constexpr uint32_t UFIB_FS_IDLE = 30;

struct ufib_funcstats_row {
    uint32_t calls;
    uint64_t microseconds;
};
extern ufib_funcstats_row ufib_prof_ar[UFIB_FUNCSTATS_ROWS];
extern uint64_t idle_timer; /* stamp: when the last batch ended */
extern bool begin;          /* the next batch is the first: no idle time to close */

/* Takes the cycle counter when measuring is on; else the stamp is 0. */
inline void ufib_funcstats_start(uint64_t *stamp) { *stamp = ufib_update_funcstats ? timer_get_cycles() : 0; }

void ufib_funcstats_add(uint32_t index, uint64_t stamp); /* an index out of range is ignored */

/* Adds one call; nothing when measuring was off at the start, or is now. */
inline void ufib_funcstats_end(uint32_t index, const uint64_t *stamp) {
    if (ufib_update_funcstats && *stamp != 0) ufib_funcstats_add(index, *stamp);
}

/* From here to the end of the block, however it is left. */
struct ufib_funcstats_block {
    explicit ufib_funcstats_block(uint32_t row) : index(row) { ufib_funcstats_start(&stamp); }
    ~ufib_funcstats_block() { ufib_funcstats_end(index, &stamp); }
    ufib_funcstats_block(const ufib_funcstats_block &) = delete;
    ufib_funcstats_block &operator=(const ufib_funcstats_block &) = delete;
    uint32_t index;
    uint64_t stamp;
};

void ufib_funcstats_output(); /* each row as a trace record of level 2 */
void ufib_funcstats_clear();
[[nodiscard]] const char *ufib_funcstats_name(uint32_t index); /* "" out of range */
