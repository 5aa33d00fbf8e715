/* How the process came up and what it found. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_stats.h"
#include "core/lcfwd_vdc.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"
#include "host/engine/engine.h"
#include "host/store/store_admin.h"
#include "host/system/system.h"
#include "persist/lcfwd_pss_kind.h"
#include "ufib/ufib_vdc.h"

static void start_print(cmd_handle *handle) {
    cmd_prt(handle,
            "Started with recovery: %s   stored state was found: %s   upgrade: %s   as a library: %s\n",
            cmd_bool(lcfwd_restart, "recovery"), cmd_bool(!fu_is_stateless_restart(), "stored_state"),
            cmd_bool(sysmgr_is_upgrade_restart(), "upgrade"), cmd_bool(is_lcfwd_lib, "library"));
    cmd_prt(handle, "Slot: %u   state of the process: %d   asked to end: %s\n", cmd_u32(my_slot, "slot"),
            cmd_u32(static_cast<uint32_t>(fu_fsm_state()), "fsm_state"),
            cmd_bool(application_is_healthy == 0, "asked_to_end"));
    cmd_prt(handle, "Operations finished from the redo log: %u\n",
            cmd_u32(store_replayed_operations(), "replayed_operations"));
}

static void vdc_print(cmd_handle *handle, uint32_t vdc_id) {
    const lcfwd_vdc_desc *row = lcfwd_vdc_active_row(vdc_id);
    if (row == nullptr) return;
    static const ufib_vdc_stats none = {};
    const ufib_vdc_stats &stats = row->ufib_stats == nullptr ? none : *row->ufib_stats;
    const ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "VDC %u: ufib %s, mfib %s, epoch %u\n", cmd_u32(vdc_id, "vdc"),
            cmd_text(lcfwd_state_name(row->ufib_state), "ufib_state"),
            cmd_text(lcfwd_state_name(row->mfib_state), "mfib_state"), cmd_u32(row->ufdm_epoch, "epoch"));
    cmd_prt(handle,
            "   routes recovered: %u v4, %u v6   records given up: %u   entries repaired: %u   stale "
            "prefixes removed: %u\n",
            cmd_u32(stats.family[UFIB_STATS_V4].routes_recovered, "v4_routes_recovered"),
            cmd_u32(stats.family[UFIB_STATS_V6].routes_recovered, "v6_routes_recovered"),
            cmd_u32(stats.records_deleted, "records_given_up"),
            cmd_u32(stats.entries_repaired, "entries_repaired"),
            cmd_u32(vdc == nullptr ? 0 : vdc->stale_count, "stale_prefixes_removed"));
    cmd_prt_row_end(handle);
}

static void database_print(cmd_handle *handle, uint32_t vdc_id, uint32_t kind) {
    store_open_report report;
    if (store_open_report_get(lcfwd_pss_service_id(kind, vdc_id), &report) != 0) return;
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%-24s %10u %8u %8u %6u %9u  %s%s\n",
            cmd_text(lcfwd_pss_file_name(kind, vdc_id), "database"), cmd_u32(report.records, "records"),
            cmd_u32(report.records_refused, "records_refused"),
            cmd_u32(report.pages_refused, "pages_refused"), cmd_u32(report.pages_lost, "pages_lost"),
            cmd_u32(report.pages_repaired, "pages_repaired"),
            cmd_text(report.header_repaired ? "header repaired " : "", "header"),
            cmd_text(report.set_aside ? "set aside" : "", "file"));
    cmd_prt_row_end(handle);
}

void ufib_show_restart_be(cmd_handle *handle, uint32_t vdc_id) {
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    start_print(handle);
    cmd_prt_list_begin(handle, "vdcs");
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) vdc_print(handle, id);
    cmd_prt_list_end(handle);
    cmd_prt_decoration(handle, "Databases of the VDC when they were opened:\n"
                               "                            records  refused    pages   lost  repaired\n");
    cmd_prt_list_begin(handle, "databases");
    for (uint32_t kind = 0; kind < LCFWD_PSS_KIND_COUNT; kind++) database_print(handle, vdc_id, kind);
    cmd_prt_list_end(handle);
    cmd_prt_send(handle);
}
