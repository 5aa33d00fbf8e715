#include "core/ufib_funcstats.h"

#include "core/ufib_trace.h"

#include <cstring>

ufib_funcstats_row ufib_prof_ar[UFIB_FUNCSTATS_ROWS];
uint64_t idle_timer;
bool begin = true;

static const char *const row_names[UFIB_FUNCSTATS_ROWS] = {
    "v4_bulk_route_update",
    "hw_pss_flush",
    "v4_route_add",
    "trace_v4_route",
    "v4_route_errors",
    "get_create_v4_prefix",
    "v4prefix_get_create_next",
    "v4ecmp_route_to_key",
    "get_create_v4_ecmp",
    "get_create_v4_adj",
    "get_create_vobj",
    "v4_rnh_update",
    "v4_route_delete",
    "pss_insert_prefix",
    "pss_insert_adj",
    "pss_insert_ecmp",
    "hw_insert_table",
    "hw_insert_adj",
    "hw_insert_prefix",
    "hw_insert_ecmp",
    "hw_insert_vobj",
    "hw_delete_prefix",
    "hw_delete_adj",
    "hw_delete_ecmp",
    "am_notification",
    "stale_delete",
    "statistics_poll",
    "dirty_vobj_walk",
    "label_update",
    "pss_commit",
    "idle",
};

/* Rows that have a trace event of their own; the others are only shown. */
static constexpr uint32_t traced_rows = 22;
static_assert(UFIB_TR_FUNCSTATS + traced_rows == 220);

void ufib_funcstats_add(uint32_t index, uint64_t stamp) {
    if (index >= UFIB_FUNCSTATS_ROWS) return;
    ufib_prof_ar[index].calls++;
    ufib_prof_ar[index].microseconds += timer_diff_cycle_in_usec(stamp, timer_get_cycles());
}

void ufib_funcstats_output() {
    if (ufib_disable_funcstats_tr) return;
    for (uint32_t row = 0; row < traced_rows; row++) {
        UFIB_BL(2, UFIB_TR_FUNCSTATS + row, ufib_prof_ar[row].microseconds, ufib_prof_ar[row].calls);
    }
}

void ufib_funcstats_clear() {
    std::memset(ufib_prof_ar, 0, sizeof ufib_prof_ar);
    idle_timer = 0;
    begin = true;
}

const char *ufib_funcstats_name(uint32_t index) {
    return index < UFIB_FUNCSTATS_ROWS ? row_names[index] : "";
}
