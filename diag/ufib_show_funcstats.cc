/* Function timers as operators see them. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_funcstats.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"

#include <cstdio>

/* How deep a function is measured inside others. */
static constexpr uint8_t depths[UFIB_FUNCSTATS_ROWS] = {0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 2, 1, 2, 2, 2,
                                                        2, 2, 2, 2, 2, 2, 2, 2, 0, 0, 0, 0, 0, 0, 0};
static constexpr int NAME_COLUMN = 34;

static void row_print(cmd_handle *handle, uint32_t row) {
    const int indent = 2 * depths[row];
    char format[48];
    std::snprintf(format, sizeof format, "%*s%%-%ds %%10u %%14llu\n", indent, "", NAME_COLUMN - indent);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, format, cmd_text(ufib_funcstats_name(row), "name"),
            cmd_u32(ufib_prof_ar[row].calls, "count"), cmd_u64(ufib_prof_ar[row].microseconds, "usecs"));
    cmd_prt_row_end(handle);
}

void ufib_funcstats_show(cmd_handle *handle, uint32_t vdc_id) {
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    char head[80];
    std::snprintf(head, sizeof head, "%-*s %10s %14s\n", NAME_COLUMN, "function name", "count", "usecs");
    cmd_prt_decoration(handle, head);
    cmd_prt_list_begin(handle, "functions");
    for (uint32_t row = 0; row < UFIB_FUNCSTATS_ROWS; row++) row_print(handle, row);
    cmd_prt_list_end(handle);
    cmd_prt(handle, "Measuring is %s\n", cmd_text(ufib_update_funcstats ? "on" : "off", "measuring"));
    cmd_prt_send(handle);
}
