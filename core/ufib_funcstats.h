/* core/ufib_funcstats.h: how long measured functions take: calls and microseconds per function, off by
 * default (one test of a flag then). Row numbers are fixed: traces and shows name them. One thread. */
#pragma once

#include <cstdint>

constexpr uint32_t UFIB_FUNCSTATS_ROWS = 31;
constexpr uint32_t UFIB_FS_BULK_ROUTE = 0;
constexpr uint32_t UFIB_FS_ROUTE_ADD = 2;
constexpr uint32_t UFIB_FS_PREFIX_GET_CREATE = 5;
constexpr uint32_t UFIB_FS_NEXT_OBJECT = 6;
constexpr uint32_t UFIB_FS_ECMP_KEY = 7;
constexpr uint32_t UFIB_FS_ECMP_GET_CREATE = 8;
constexpr uint32_t UFIB_FS_VOBJ_GET_CREATE = 10;
constexpr uint32_t UFIB_FS_RNH_UPDATE = 11;
constexpr uint32_t UFIB_FS_ROUTE_DELETE = 12;
constexpr uint32_t UFIB_FS_PLATFORM_TABLE = 16;
constexpr uint32_t UFIB_FS_PLATFORM_ADJ = 17;
constexpr uint32_t UFIB_FS_PLATFORM_PREFIX = 18; /* of both families, as of all that follow */
constexpr uint32_t UFIB_FS_PLATFORM_ECMP = 19;
constexpr uint32_t UFIB_FS_PLATFORM_VOBJ = 20;
constexpr uint32_t UFIB_FS_PLATFORM_PREFIX_DELETE = 21;
constexpr uint32_t UFIB_FS_PLATFORM_ADJ_DELETE = 22;
constexpr uint32_t UFIB_FS_PLATFORM_ECMP_DELETE = 23;
constexpr uint32_t UFIB_FS_STALE_DELETE = 25;
constexpr uint32_t UFIB_FS_IDLE = 30;

struct ufib_funcstats_row {
    uint32_t calls;
    uint64_t microseconds;
};
extern ufib_funcstats_row ufib_prof_ar[UFIB_FUNCSTATS_ROWS];
extern uint64_t idle_timer; /* stamp: when the last batch ended */
extern bool begin;          /* the next batch is the first: no idle time to close */

void ufib_funcstats_start(uint64_t *stamp); /* takes the cycle counter, when measuring is on */
void ufib_funcstats_end(uint32_t index,
                        const uint64_t *stamp); /* adds one call; an index out of range is ignored */
void ufib_funcstats_output();                   /* each row as a trace record of level 2 */
void ufib_funcstats_clear();
[[nodiscard]] const char *ufib_funcstats_name(uint32_t index); /* "" out of range */
