#include "ufib/ufib_vdc.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_stats.h"
#include "core/ufib_trace.h"
#include "host/containers/heap.h"
#include "host/system/system.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_stats.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vobj.h"

#include <cstdlib>

ufib_hooks ufib_hook;

ufib_vdc *ufib_vdc_get(uint32_t vdc_id) {
    const lcfwd_vdc_desc *row = lcfwd_vdc_row(vdc_id);
    return row == nullptr ? nullptr : row->ufib;
}

bool ufib_vdc_is_dying(uint32_t vdc_id) {
    const lcfwd_vdc_desc *row = lcfwd_vdc_row(vdc_id);
    return row != nullptr && (row->flags & LCFWD_VDC_DELETING) != 0;
}

void ufib_walk_step(ufib_walk_budget *budget) {
    if (--budget->left != 0) return;
    budget->left = budget->size;
    lcfwd_update_and_send_heartbeat(0);
    if (tsp_should_sched_yield()) tsp_sched_yield();
}

static void destroy_table(void *, ufib_obj *obj) {
    (void)ufib_table_destroy(reinterpret_cast<ufib_table *>(obj));
}
static void destroy_prefix(void *, ufib_obj *obj) {
    auto *pfx = reinterpret_cast<ufib_pfx *>(obj);
    (void)ufib_prefix_destroy(pfx->table, pfx);
}
static void destroy_adj(void *argument, ufib_obj *obj) {
    (void)ufib_adj_destroy(argument, reinterpret_cast<ufib_adj *>(obj), false);
}

void ufib_init(bool restart) {
    ufib_platform_bind(restart);
    ufib_obj_size_init();
    ufib_obj_register(UFIB_OBJ_TABLE, destroy_table);
    ufib_obj_register(UFIB_OBJ_V4PREFIX, destroy_prefix);
    ufib_obj_register(UFIB_OBJ_V6PREFIX, destroy_prefix);
    ufib_obj_register(UFIB_OBJ_V4ADJ, destroy_adj);
    ufib_obj_register(UFIB_OBJ_V6ADJ, destroy_adj);
    ufib_ecmp_init();
    ufib_vobj_init_types();
    ufib_bintrace_init();
    if (bl_reg_trace_formats(UFIB_TRACE_LOG, ufib_trace_formats, UFIB_TR_COUNT) != 0)
        UFIB_ERR("bl_reg_trace_formats failed");
    ufib_table_dpl_init();
    ufib_idb_dpl_init();
    ufib_stats_init();
}

/* The globals come back under the handles that hardware knows them by. Those made on first use come back only if
 * they were there. Hardware that has lost its tables gets them anew: nothing works without them. One for which there is
 * no memory now stands where it stood. */
static void ufib_pss_restore_global_adjs(ufib_vdc *vdc) {
    if (ufib_create_vdc_global_dummy_idb(vdc) != 0) return;
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++) {
        const bool on_first_use = kind == UFIB_GLOBAL_RECIRCULATE || kind == UFIB_GLOBAL_NVE_IF_DOWN;
        const uint32_t handle = ufib_pss_get_global_adj(kind, vdc->desc->vdc_id);
        ufib_errno = 0;
        if (handle != 0 && ufib_adj_create_global(vdc, kind, handle) != nullptr) continue;
        if ((ufib_errno & 0xffff) == E_ADJ_NOMEM) continue;
        if (!on_first_use) (void)ufib_adj_create_global(vdc, kind, 0);
    }
}

void ufib_vdc_create(lcfwd_vdc_desc *row, bool restart) {
    row->ufib = static_cast<ufib_vdc *>(heap_calloc(1, sizeof(ufib_vdc)));
    row->ufib_stats = static_cast<ufib_vdc_stats *>(heap_calloc(1, sizeof(ufib_vdc_stats)));
    if (row->ufib == nullptr) {
        UFIB_ERR("no memory for the model of vdc %d", row->vdc_id);
        return;
    }
    ufib_vdc *vdc = row->ufib;
    vdc->desc = row;
    ufib_cur_vdc_id = row->vdc_id;
    if (bl_open(row->vdc_id, UFIB_TRACE_LOG, 1, ufib_trace_levels, UFIB_TRACE_LEVELS) != 0)
        UFIB_ERR("bl_open failed for vdc %d", row->vdc_id);
    ufib_table_db_init(vdc);
    ufib_idb_db_init(vdc);
    ufib_ecmp_db_init(vdc);
    ufib_vobj_db_init(vdc);
    ufib_create_wildcard_tables(vdc);
    ufib_journal_init(UFIB_JOURNAL_ENTRIES);
    (void)ufib_pss_open_files(row);
    /* A database that did not open outlives its VDC; so do all when the VDC's own record was lost. */
    if (!restart) ufib_pss_empty_files(row);
    (void)ufib_platform_vdc_init(row->vdc_id, restart);
    if (restart)
        ufib_pss_restore_global_adjs(vdc);
    else
        ufib_create_global_adjs(vdc);
}

/* The counters are there also where memory for the model was not. */
static void counters_release(lcfwd_vdc_desc *row) {
    std::free(row->ufib_stats);
    row->ufib_stats = nullptr;
}

void ufib_vdc_delete(lcfwd_vdc_desc *row) {
    ufib_vdc *vdc = row->ufib;
    if (vdc == nullptr) return counters_release(row);
    ufib_cur_vdc_id = row->vdc_id;
    ufib_prefix_db_destroy(vdc);
    ufib_table_db_destroy(vdc);
    /* A virtual object without a route keeps its recursive next hops, and so their tables, until it goes itself. */
    ufib_vobj_db_destroy(vdc);
    ufib_table_db_destroy(vdc);
    ufib_ecmp_db_destroy(vdc);
    ufib_adj_db_destroy(vdc);
    ufib_idb_db_destroy(vdc);
    ufib_consistency_forget(vdc);
    (void)ufib_platform_all_writes_ready();
    ufib_pss_close_files(row);
    (void)ufib_platform_vdc_delete(row->vdc_id);
    (void)bl_close(row->vdc_id, UFIB_TRACE_LOG);
    counters_release(row);
    std::free(vdc);
    row->ufib = nullptr;
}

/* Objects lie in slabs and tries, which the host services release as a whole; what does not is freed here. */
static void vdc_forget(lcfwd_vdc_desc *row) {
    ufib_vdc *vdc = row->ufib;
    if (vdc == nullptr) return counters_release(row);
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb))
        for (const ufib_family &family : ufib_families)
            for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;
                 adj = ufib_adj_if_get_next(adj))
                std::free(adj->xri);
    ravl_iterator iterator;
    for (ufib_table *table = ufib_table_get_first(row->vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(row->vdc_id, &iterator)) {
        for (pt_node node = {};
             table->rnh.prefix_count != 0 && pt_get_next_node(&table->rnh.trie, node.key, node.bits, &node);)
            std::free(static_cast<ufib_pfx *>(node.record)->rnh);
        std::free(table->main.per_length);
        std::free(table->rnh.per_length);
        pt_attr_destroy(table->attr);
    }
    ufib_vobj_db_forget(vdc);
    ufib_ecmp_db_forget(vdc);
    ufib_delete_vdc_global_dummy_idb(vdc);
    counters_release(row);
    std::free(vdc);
    row->ufib = nullptr;
}

static void ufib_reset() {
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) vdc_forget(lcfwd_vdc_row(id));
    ufib_bintrace_reset();
    ufib_cookie_reset();
    ufib_ha_reset();
    ufib_table_dpl_reset();
    ufib_idb_reset();
    ufib_vobj_reset();
    ufib_ecmp_reset();
    ufib_adj_reset();
    ufib_prefix_reset();
    ufib_pss_reset();
    ufib_stats_reset();
    ufib_consistency_reset();
    ufib_obj_reset();
    ufib_hook = {};
}

const lcfwd_domain *ufib_domain() {
    static constexpr lcfwd_domain domain = {
        .name = "ufib",
        .pss_init = nullptr,
        .init = ufib_init,
        .vdc_create = ufib_vdc_create,
        .vdc_delete = ufib_vdc_delete,
        .restart_recovery = ufib_ha_restart_recovery,
        .config_restore = nullptr,
        .reset = ufib_reset,
    };
    return &domain;
}
