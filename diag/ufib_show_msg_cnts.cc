/* Messages of a VDC by kind. */
#include "core/lcfwd_vdc.h"
#include "diag/show_value.h"
#include "diag/ufib_counters.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"

#include <cstdio>

/* The block of a VDC whose unicast side is up; null: there is none. */
static ufib_vdc_stats *active_stats(uint32_t vdc_id) {
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_active_row(vdc_id);
    return vdc == nullptr ? nullptr : vdc->ufib_stats;
}

static void counts_print(cmd_handle *handle, uint32_t vdc_id, ufib_vdc_stats *stats) {
    size_t count;
    const ufib_counter_row *rows = ufib_counter_rows(&count);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "VDC - %d \n", cmd_u32(vdc_id, "vdc"));
    for (size_t i = 0; i < count; i++) {
        if (rows[i].belongs != UFIB_COUNTS_MESSAGES) continue;
        char format[80];
        std::snprintf(format, sizeof format, "%-50s : %%s \n", rows[i].text);
        cmd_prt(handle, format, cmd_u32(rows[i].of(*stats), rows[i].key));
    }
    cmd_prt_row_end(handle);
}

static void counts_of_all(cmd_handle *handle) {
    bool any = false;
    cmd_prt_list_begin(handle, "vdcs");
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        ufib_vdc_stats *stats = active_stats(id);
        if (stats == nullptr) continue;
        counts_print(handle, id, stats);
        any = true;
    }
    cmd_prt_list_end(handle);
    if (!any) cmd_prt(handle, " No L3 Active VDC\n");
}

void ufib_show_msg_cnts_be(cmd_handle *handle, uint32_t vdc_id) {
    show_value asked;
    if (lcfwd_vdc_row(vdc_id) == nullptr || !show_get_value(handle, &asked)) return;
    const uint32_t wanted = asked.given ? asked.value : vdc_id;
    ufib_vdc_stats *stats = active_stats(wanted);
    if (wanted == 0) {
        counts_of_all(handle);
    } else if (stats == nullptr) {
        cmd_prt(handle, "VDC - %d not found \n", cmd_u32(wanted, "vdc_not_found"));
    } else {
        cmd_prt_list_begin(handle, "vdcs");
        counts_print(handle, wanted, stats);
        cmd_prt_list_end(handle);
    }
    cmd_prt_send(handle);
}

void ufib_clear_msg_cnts_be(cmd_handle *handle, uint32_t vdc_id) {
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    ufib_counters_clear(vdc_id, UFIB_COUNTS_MESSAGES);
    cmd_rsp_send_ok(handle);
}
