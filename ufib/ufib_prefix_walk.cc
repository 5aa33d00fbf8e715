/* Walks over the tries of a table: the routes, then the recursive next hops. They delete what they stand on and go on
 * from its key; every 512 objects they send a heartbeat and let other tasks run. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

#include <initializer_list>

/* Calls visit(pfx) for each prefix of a trie; the visit may destroy it. */
template <typename visitor>
static void side_walk(const ufib_table_side *side, ufib_walk_budget *budget, visitor visit) {
    pt_node node;
    if (!pt_get_first_node(&side->trie, &node)) return;
    do {
        visit(static_cast<ufib_pfx *>(node.record));
        if (budget != nullptr) ufib_walk_step(budget);
    } while (pt_get_next_node(&side->trie, node.key, node.bits, &node));
}

void ufib_pt_walk(const ufib_table_side *side, void (*visit)(ufib_pfx *pfx, void *argument), void *argument) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    side_walk(side, &budget, [&](ufib_pfx *pfx) { visit(pfx, argument); });
    (void)ufib_platform_all_writes_ready();
}

static void guard_destroy(ufib_pfx *pfx) {
    if (ufib_hook.ipsg_destroy != nullptr) ufib_hook.ipsg_destroy(pfx);
}

/* An RNH that no route confirms is nobody's to delete: it belongs to those that resolve through it, may be the only way to
 * a plain next hop of theirs, and goes with the last of them. */
static bool belongs_to_dependents(const ufib_pfx *pfx) {
    return pfx->holders == 0 && ufib_prefix_has_dependents(pfx);
}

static void walk_destroy(ufib_table *table, ufib_pfx *pfx) {
    (void)ufib_prefix_destroy(table, pfx);
    (void)ufib_platform_one_write_ready();
}

static void destroy_with_holders_cleared(ufib_table *table, ufib_pfx *pfx, uint8_t holders) {
    lcfwd_pss_make_room();
    pfx->holders &= static_cast<uint8_t>(~holders);
    guard_destroy(pfx);
    walk_destroy(table, pfx);
}

/* Here the guard sees the holders of before. */
static void destroy_stale(ufib_table *table, ufib_pfx *pfx) {
    lcfwd_pss_make_room();
    guard_destroy(pfx);
    pfx->holders &= static_cast<uint8_t>(~UFIB_HOLDER_UFDM);
    walk_destroy(table, pfx);
}

void ufib_destroy_table_prefixes(ufib_table *table) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (const ufib_table_side *side : {&table->main, &table->rnh})
        side_walk(side, &budget, [&](ufib_pfx *pfx) {
            if (belongs_to_dependents(pfx)) return;
            const uint8_t lisp = pfx->map_cache != 0 ? UFIB_HOLDER_LISP : uint8_t{0};
            destroy_with_holders_cleared(table, pfx, UFIB_HOLDERS_ROUTE | lisp);
        });
    (void)ufib_platform_all_writes_ready();
}

/* Labels and multicast sources outlive their VDC's routes, but not the adjacencies that are torn down next. */
void ufib_destroy_table_prefixes_unlocked(ufib_table *table) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (const ufib_table_side *side : {&table->main, &table->rnh})
        side_walk(side, &budget,
                  [&](ufib_pfx *pfx) { destroy_with_holders_cleared(table, pfx, uint8_t{0xff}); });
    (void)ufib_platform_all_writes_ready();
}

void ufib_prefix_db_destroy(ufib_vdc *vdc) {
    ravl_iterator iterator;
    const uint32_t vdc_id = vdc->desc->vdc_id;
    for (ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator)) {
        if (ufib_table_is_wildcard(table->table_id) && ufib_platform_optimize_wildcard_table()) continue;
        ufib_destroy_table_prefixes(table);
    }
}

void ufib_delete_stale_prefixes(ufib_table *table, uint8_t epoch) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    ufib_vdc *vdc = ufib_vdc_get(table->vdc_id);
    for (const ufib_table_side *side : {&table->main, &table->rnh})
        side_walk(side, &budget, [&](ufib_pfx *pfx) {
            if (pfx->map_cache != 0 || pfx->epoch == epoch || (pfx->route_flags & ROUTE_NEVER_STALE) != 0)
                return;
            if (belongs_to_dependents(pfx)) return;
            UFIB_BL(1, UFIB_TR_STALE_PREFIX, pfx->epoch, epoch);
            if (vdc != nullptr) vdc->stale_count++;
            destroy_stale(table, pfx);
        });
    (void)ufib_platform_all_writes_ready();
    ufib_funcstats_end(UFIB_FS_STALE_DELETE, &stamp);
}

/* Wildcard tables hold prefixes that drop. Others have no business there, but a sender can put them there: they drop now. */
static void prefix_move(ufib_table *table, ufib_pfx *pfx, ufib_vdc *target, uint16_t old_vdc_id) {
    if (pfx->obj.next == nullptr) return;
    const ufib_family &family = ufib_table_family(table);
    lcfwd_pss_make_room();
    table->vdc_id = old_vdc_id; /* the record lies under the VDC that wrote it */
    ufib_pss_delete_prefix(pfx);
    table->vdc_id = target->desc->vdc_id;
    ufib_obj *old = pfx->obj.next;
    const uint32_t flags = ufib_obj_is_adj(old) ? reinterpret_cast<const ufib_adj *>(old)->flags : 0;
    if ((flags & UFIB_ADJ_DROP) == 0) {
        UFIB_ERR("%s: invalid adj type flags (%x) in table 0x%x", family.name, flags, table->table_id);
        pfx->route_flags |= ROUTE_DROP; /* by which a restart knows */
    }
    ufib_adj *drop = ufib_adj_get_global(target, family.global_drop);
    ufib_obj_hold(old); /* hardware still points at it */
    ufib_prefix_link_next_obj(pfx, drop == nullptr ? nullptr : &drop->obj, true);
    ufib_platform_insert_prefix(pfx, 0);
    const bool stands = pfx->obj.handle != 0 || ufib_prefix_is_rnh(pfx);
    if (stands) ufib_pss_insert_prefix(pfx);
    ufib_bt_prefix(pfx, UFIB_BT_UPDATE);
    ufib_obj_drop(old);
    ufib_obj_delete(nullptr, old);
    if (stands) return;
    ufib_err_raise(UFIB_ERR_ITEM, E_PFX_HW_INSTALL); /* a refused rewrite takes the entry away */
    ufib_prefix_rollback(table, pfx);
}

void ufib_prefixes_move_vdc(ufib_table *table, ufib_vdc *target) {
    ufib_vdc *source = ufib_vdc_get(table->vdc_id);
    const uint16_t old_vdc_id = table->vdc_id;
    table->vdc_id = target->desc->vdc_id;
    const uint32_t count = table->main.prefix_count + table->rnh.prefix_count;
    if (source != nullptr) source->prefix_count -= count;
    target->prefix_count += count;
    for (const ufib_table_side *side : {&table->main, &table->rnh})
        side_walk(side, nullptr, [&](ufib_pfx *pfx) { prefix_move(table, pfx, target, old_vdc_id); });
}
