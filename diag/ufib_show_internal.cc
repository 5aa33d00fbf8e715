/* Counters of the unicast side: errors, routes, objects, store operations. */
#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "diag/show_params.h"
#include "diag/ufib_counters.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"
#include "persist/lcfwd_pss.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_stats.h"
#include "ufib/ufib_vdc.h"

#include <cstdio>
#include <cstring>

/* One line of its own, with a key for programs. */
static void line(cmd_handle *handle, const char *text, const char *key, uint32_t value) {
    char format[80];
    std::snprintf(format, sizeof format, "   %-40s : %%s\n", text);
    cmd_prt(handle, format, cmd_u32(value, key));
}

static void counters_print(cmd_handle *handle, const lcfwd_vdc_desc *vdc) {
    cmd_prt_decoration(handle, "Counters of the VDC:\n");
    cmd_prt_object_begin(handle, "counters");
    size_t count;
    const ufib_counter_row *rows = ufib_counter_rows(&count);
    for (size_t i = 0; i < count && vdc->ufib_stats != nullptr; i++)
        if (rows[i].belongs != UFIB_COUNTS_MESSAGES)
            line(handle, rows[i].text, rows[i].key, rows[i].of(*vdc->ufib_stats));
    if (vdc->mfib_stats != nullptr) {
        line(handle, "Multicast download starts", "mcast_download_starts", vdc->mfib_stats->download_starts);
        line(handle, "Multicast download ends", "mcast_download_ends", vdc->mfib_stats->download_ends);
    }
    cmd_prt_object_end(handle);
}

static void objects_print(cmd_handle *handle, const ufib_vdc *vdc) {
    cmd_prt_decoration(handle, "Objects of the VDC:\n");
    cmd_prt_object_begin(handle, "objects");
    line(handle, "Tables", "tables", vdc->table_count);
    line(handle, "Prefixes and recursive next hops", "prefixes", vdc->prefix_count);
    line(handle, "V4 adjacencies", "v4_adjacencies", vdc->adj_count[UFIB_STATS_V4]);
    line(handle, "V6 adjacencies", "v6_adjacencies", vdc->adj_count[UFIB_STATS_V6]);
    line(handle, "Groups", "groups", vdc->ecmp_count);
    line(handle, "Stale prefixes removed", "stale_prefixes_removed", vdc->stale_count);
    cmd_prt_object_end(handle);
}

/* Of all VDCs together. */
static void process_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Process:\n");
    cmd_prt_object_begin(handle, "process");
    line(handle, "Prefixes of all VDCs", "all_prefixes", total_prefix_count);
    line(handle, "Virtual objects to be moved", "vobjs_to_be_moved", ufib_dirty_vobj_list.count);
    line(handle, "Virtual objects to get RPF data", "vobjs_rpf_pending", ufib_vobj_rpf_list.count);
    line(handle, "Recursive next hops pending", "recursive_next_hops_pending",
         ufib_rnh_update_pending_list.count);
    line(handle, "Refused writes to try again: adjacencies", "adjacencies_to_retry", ufib_retry_adjs.count);
    line(handle, "Refused writes to try again: vobjs", "vobjs_to_retry", ufib_retry_vobjs.count);
    line(handle, "Refused removals to try again: groups", "groups_to_retry", ufib_retry_groups.count);
    line(handle, "Routes worked", "routes_worked", ufib_perf_route_count);
    line(handle, "Late V4 writes of the last batch: good", "v4_late_good", ufib_pfx_upd_cookie.good);
    line(handle, "Late V4 writes of the last batch: failed", "v4_late_failed", ufib_pfx_upd_cookie.failed);
    line(handle, "Late V6 writes of the last batch: good", "v6_late_good", ufib6_pfx_upd_cookie.good);
    line(handle, "Late V6 writes of the last batch: failed", "v6_late_failed", ufib6_pfx_upd_cookie.failed);
    line(handle, "Staging bytes in use", "staging_bytes", lcfwd_pss_staging.used);
    cmd_prt(handle, "   Error of the last operation              : %s (%#x)\n",
            cmd_text(ufib_err_str(ufib_errno & 0xffff), "last_error"),
            cmd_u32(ufib_errno, "last_error_number"));
    cmd_prt_object_end(handle);
}

static void errors_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Errors of all VDCs:\n");
    cmd_prt_list_begin(handle, "errors");
    for (uint32_t code = 0; code < UFIB_ERR_COUNT; code++) {
        if (std::strcmp(ufib_err_str(code), "unknown") == 0) continue;
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "   %3u %-28s : %u\n", cmd_u32(code, "code"), cmd_text(ufib_err_str(code), "name"),
                cmd_u32(ufib_errors[code], "count"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

/* Operations that wait for the end of the write bracket. */
static void operations_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Store operations in the buffer:\n");
    cmd_prt_list_begin(handle, "store_operations");
    for (uint32_t kind = 0; kind < LCFWD_PSS_KIND_COUNT; kind++) {
        if (lcfwd_get_pss_name(kind) == nullptr) continue;
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "   %2u %-22s : adds %u, deletes %u\n", cmd_u32(kind, "kind"),
                cmd_text(lcfwd_get_pss_name(kind), "name"), cmd_u32(lcfwd_pss_ops_add_count[kind], "adds"),
                cmd_u32(lcfwd_pss_ops_del_count[kind], "deletes"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

void ufib_show_internal_counts(cmd_handle *handle, uint32_t vdc_id) {
    const lcfwd_vdc_desc *row = lcfwd_vdc_row(vdc_id);
    if (row == nullptr) return;
    cmd_prt(handle, "UFIB Internal statistics, VDC %u: \n\n", cmd_u32(vdc_id, "vdc"));
    counters_print(handle, row);
    if (const ufib_vdc *vdc = ufib_vdc_get(vdc_id); vdc != nullptr) objects_print(handle, vdc);
    process_print(handle);
    errors_print(handle);
    operations_print(handle);
    cmd_prt_send(handle);
}

void ufib_clear_internal_counts(cmd_handle *handle, uint32_t vdc_id) {
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    ufib_counters_clear(vdc_id, UFIB_COUNTS_INTERNAL);
    if (ufib_vdc *vdc = ufib_vdc_get(vdc_id); vdc != nullptr) vdc->stale_count = 0;
    std::memset(ufib_errors, 0, sizeof ufib_errors);
    cmd_rsp_send_ok(handle);
}

void ufib_clear_cumulative_counters(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_params params;
    if (lcfwd_vdc_row(vdc_id) == nullptr ||
        !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_OTHER, &params))
        return;
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    if ((params.flags & UFIB_SHOW_STATISTICS) == 0)
        ufib_counters_clear(vdc_id, UFIB_COUNTS_CUMULATIVE);
    else if (vdc != nullptr)
        ufib_adj_stats_clear_all(vdc);
    cmd_rsp_send_ok(handle);
}
