/* How prefixes die, or are kept in software for those who still hold them. */
#include "core/lcfwd_log.h"
#include "host/system/system.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_label_list.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vdc.h"

int ufib_hw_index_cards[UFIB_HW_INDEX_CARDS];

static bool card_keeps_hw_index(int card_id) {
    for (const int listed : ufib_hw_index_cards)
        if (listed != 0 && listed == card_id) return true;
    return false;
}

static void prefix_out_of_trie(ufib_table *table, ufib_pfx *pfx) {
    const int status =
        pt_delete(table->attr, &ufib_prefix_side(pfx)->trie, ufib_pfx_address(pfx), pfx->mask_len);
    if (status == 0) return;
    if (ufib_prefix_is_rnh(pfx) && ufib_prefix_family(pfx).index == UFIB_STATS_V4)
        UFIB_ERR("pt delete failed for rnh 0x%x/%d table 0x%x, ret_val: %d",
                 ufib_v4_addr(ufib_pfx_address(pfx)), pfx->mask_len, table->table_id, status);
    else if (ufib_prefix_is_rnh(pfx))
        UFIB_ERR("pt delete failed for rnh %s table 0x%x, ret_val: %d", ufib_pfx_str(pfx), table->table_id,
                 status);
    else
        UFIB_ERR("pt delete failed for %s table 0x%x, ret_val: %d", ufib_pfx_str(pfx), table->table_id,
                 status);
}

/* Nobody may hold it, unless its VDC is being deleted: that releases the holders that do not outlive a VDC. */
static uint8_t ufib_prefix_destroy_holder_locks(const ufib_table *table, ufib_pfx *pfx) {
    if (ufib_vdc_is_dying(table->vdc_id))
        for (const lcfwd_holder_lock_row &row : vdc_del_rel_route_holder_lock)
            if (row.enabled) pfx->holders &= static_cast<uint8_t>(~(1u << row.index));
    return pfx->holders;
}

/* An attached next hop that was dropping for want of a neighbour leaves that state with its prefix. */
static void clear_attached_drop(ufib_vdc *vdc, ufib_obj *next) {
    if (next == nullptr || !ufib_obj_is_adj(next)) return;
    auto *adj = reinterpret_cast<ufib_adj *>(next);
    constexpr uint32_t dropping = UFIB_ADJ_ATTACHED | UFIB_ADJ_DROP;
    if ((adj->flags & dropping) != dropping || (adj->flags & UFIB_ADJ_RESOLVED) != 0) return;
    if (adj == ufib_adj_get_global(vdc, ufib_adj_family(adj).global_mcast_src)) return;
    ufib_adj_init_dyn(adj, nullptr, 0);
    ufib_adj_reinstall(adj);
}

/* True when a card of the fixed list says that an entry without a handle still has an index. */
static bool hw_index_remains(ufib_pfx *pfx) {
    if (!card_keeps_hw_index(pfm_get_sw_card_id_from_module(card_get_slot_num()))) return false;
    return ufib_prefix_family(pfx).index == 0 ? ufib_platform_get_hw_index_before_del(pfx) != 0
                                              : ufib_platform_get_v6_hw_index_before_del(pfx) != 0;
}

static void prefix_delete_records(ufib_pfx *pfx) {
    if (pfx->map_cache != 0) return;
    if (pfx->obj.handle == 0 && !(ufib_prefix_is_rnh(pfx) && !ufib_prefix_has_dependents(pfx))) return;
    ufib_pss_delete_prefix(pfx);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0) ufib_pss_delete_dcsrif(pfx);
}

/* Hardware goes on forwarding by the entry: what it leads to may not go, and the route is there to be deleted again. */
static void prefix_stays(ufib_pfx *pfx, ufib_obj *old) {
    ufib_prefix_link_next_obj(pfx, old, true);
    ufib_pss_insert_prefix(pfx);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0) ufib_pss_insert_dcsrif(pfx);
    ufib_err_raise(UFIB_ERR_ITEM, E_PFX_HW_INSTALL);
    UFIB_ERR("removal of prefix %s refused", ufib_pfx_str(pfx));
}

/* A result that comes late speaks of an entry that is no more. */
static void prefix_gone(ufib_pfx *pfx) {
    pfx->obj.handle = 0;
    ufib_cookie_forget(ufib_prefix_family(pfx), pfx);
}

/* The old next object keeps one reference until the hardware entry that points at it is gone. */
bool ufib_prefix_destroy_and_hold_in_sw(ufib_table *table, ufib_pfx *pfx) {
    ufib_vdc *vdc = ufib_vdc_get(table->vdc_id);
    if (vdc == nullptr) {
        UFIB_ERR("%s: Unable to get vdb from vdc id: %d\n", __func__, table->vdc_id);
        return true;
    }
    ufib_bt_prefix(pfx, UFIB_BT_DESTROY);
    ufib_obj *old = pfx->obj.next;
    clear_attached_drop(vdc, old);
    if (old != nullptr) ufib_obj_hold(old);
    ufib_prefix_unlink_next_obj(pfx, true);
    const ufib_family &family = ufib_table_family(table);
    ufib_adj *global = ufib_adj_get_global(
        vdc, (pfx->holders & UFIB_HOLDER_MCAST_SRC) != 0 ? family.global_mcast_src : family.global_drop);
    ufib_obj_link_objects(&pfx->obj.next, global == nullptr ? nullptr : &global->obj);
    prefix_delete_records(pfx);
    const bool gone = !(pfx->obj.handle != 0 || hw_index_remains(pfx)) || ufib_platform_delete_prefix(pfx);
    const bool stays = !gone && pfx->obj.handle != 0 && !ufib_vdc_is_dying(table->vdc_id);
    if (stays)
        prefix_stays(pfx, old);
    else
        prefix_gone(pfx);
    if (old == nullptr) return !stays;
    ufib_obj_drop(old);
    ufib_obj_delete(nullptr, old);
    return !stays;
}

/* An RNH that others still resolve through stays, marked and dropping, until the last of them goes. */
static int rnh_keep_for_dependents(ufib_pfx *pfx) {
    pfx->flags |= UFIB_PFX_FLAG_RNH_DELETE_MARKED;
    pfx->route_flags |= ROUTE_DROP;
    ufib_pss_insert_prefix(pfx);
    ufib_process_rnh_update(pfx, ufib_prefix_family(pfx).index == 0, true, nullptr);
    return 1;
}

static void prefix_leave(ufib_table *table, ufib_pfx *pfx) {
    prefix_out_of_trie(table, pfx);
    if (pfx->rnh != nullptr && pfx->rnh->pending.owner != nullptr)
        dbly_linkage_remove(pfx->rnh->pending.owner, &pfx->rnh->pending);
    ufib_prefix_uncount(pfx);
    ufib_prefix_unlink_next_obj(pfx, true);
    if (ufib_table_is_empty(table)) (void)ufib_table_dpl_queue(table);
    ufib_prefix_free(pfx);
}

int ufib_prefix_destroy(ufib_table *table, ufib_pfx *pfx) {
    if (pfx->holders != 0 && ufib_prefix_destroy_holder_locks(table, pfx) != 0) {
        /* A restart must not bring back the holder that has just left. */
        if (pfx->obj.handle != 0) ufib_pss_insert_prefix(pfx);
        ufib_err_raise(UFIB_ERR_LOCKED, E_DEL_PFX_LOCKED);
        return 0;
    }
    if (pfx->map_cache != 0 && ufib_hook.lisp_prefix_deleted != nullptr) ufib_hook.lisp_prefix_deleted(pfx);
    if (!ufib_prefix_destroy_and_hold_in_sw(table, pfx)) return 0;
    if (ufib_prefix_has_dependents(pfx)) return rnh_keep_for_dependents(pfx);
    prefix_leave(table, pfx);
    return 1;
}

void ufib_prefix_delete(ufib_table *table, ufib_pfx *pfx) { prefix_leave(table, pfx); }

/* The library has taken the entry out by itself. A label keeps the prefix, at drop. */
void ufib_prefix_rollback(ufib_table *table, ufib_pfx *pfx) {
    if (ufib_hook.ipsg_destroy != nullptr) ufib_hook.ipsg_destroy(pfx);
    const bool labelled = pfx->labels != nullptr || (pfx->holders & UFIB_HOLDER_FEC) != 0;
    if (!labelled) ufib_bt_prefix(pfx, UFIB_BT_DESTROY);
    pfx->obj.handle = 0;
    if (labelled) {
        pfx->holders = UFIB_HOLDER_FEC;
        (void)ufib_prefix_destroy_and_hold_in_sw(table, pfx);
        if (ufib_vdc *vdc = ufib_vdc_get(table->vdc_id); vdc != nullptr) ufib_prefix_update_labels(vdc, pfx);
        return;
    }
    ufib_prefix_unlink_next_obj(pfx, true);
    prefix_leave(table, pfx);
}
