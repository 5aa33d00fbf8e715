#include "ufib/ufib_dirty.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "core/ufib_funcstats.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vobj.h"

dl_list ufib_dirty_vobj_list;
dl_list ufib_vobj_rpf_list;

/* ---- lists ---- */

void ufib_insert_vobj_in_dirty_list(ufib_vobj *vobj) {
    if (!dbly_linkage_is_on(&ufib_dirty_vobj_list, &vobj->by_dirty)) {
        dbly_linkage_insert_tail(&ufib_dirty_vobj_list, &vobj->by_dirty);
        vobj->flags |= UFIB_VOBJ_DIRTY;
    }
    (void)ufib_dirty_vobj_timer_start();
}

void ufib_remove_vobj_from_dirty_list(ufib_vobj *vobj) {
    if (dbly_linkage_is_on(&ufib_dirty_vobj_list, &vobj->by_dirty))
        dbly_linkage_remove(&ufib_dirty_vobj_list, &vobj->by_dirty);
    vobj->flags &= ~UFIB_VOBJ_MOVE_FLAGS;
    vobj->backwalk_cursor = nullptr;
}

void ufib_vobj_walk_restart(ufib_vobj *vobj) {
    vobj->flags &= ~(UFIB_VOBJ_WALKING | UFIB_VOBJ_REVERSED);
    vobj->backwalk_cursor = nullptr;
}

void ufib_insert_vobj_in_rpf_list(ufib_vobj *vobj) {
    if (!dbly_linkage_is_on(&ufib_vobj_rpf_list, &vobj->by_rpf))
        dbly_linkage_insert_tail(&ufib_vobj_rpf_list, &vobj->by_rpf);
    (void)ufib_dirty_vobj_timer_start();
}

void ufib_remove_vobj_from_rpf_list(ufib_vobj *vobj) {
    if (dbly_linkage_is_on(&ufib_vobj_rpf_list, &vobj->by_rpf))
        dbly_linkage_remove(&ufib_vobj_rpf_list, &vobj->by_rpf);
    vobj->rpf_cursor = nullptr;
}

/* ---- walks ---- */

static ufib_pfx *prefix_of(dl_node *node) { return dl_object<ufib_pfx>(node, offsetof(ufib_pfx, by_vobj)); }

static uint32_t share_of(uint32_t budget, uint32_t vobjs) {
    const uint32_t share = vobjs == 0 ? 0 : budget / vobjs;
    return share == 0 ? 1 : share;
}

/* False: refused. The record follows hardware: a restart must know which instance the entry leads to. */
static bool prefix_move(ufib_pfx *pfx) {
    lcfwd_pss_make_room();
    if (ufib_platform_prefix_update_nh(pfx) < 0) return false;
    ufib_pss_insert_prefix(pfx);
    (void)ufib_platform_one_write_ready();
    if (pfx->labels != nullptr && ufib_hook.labels_follow_vobj != nullptr) ufib_hook.labels_follow_vobj(pfx);
    return true;
}

static dl_node *walk_next(const ufib_vobj *vobj, const dl_node *node) {
    return (vobj->flags & UFIB_VOBJ_REVERSED) != 0 ? dbly_linkage_prev(node) : dbly_linkage_next(node);
}

/* A prefix that hardware does not let go is met again at the end of the walk, which does not end before: the instance
 * that it still leads to stays. */
static void walk_put_off(ufib_vobj *vobj, dl_node *node) {
    UFIB_ERR("prefix %s cannot leave the old instance of its vobj", ufib_pfx_str(prefix_of(node)));
    dl_node *next = walk_next(vobj, node);
    if (next == nullptr) return;
    vobj->backwalk_cursor = next;
    if (vobj->rpf_cursor == node) vobj->rpf_cursor = dbly_linkage_next(node);
    dbly_linkage_remove(&vobj->prefixes, node);
    if ((vobj->flags & UFIB_VOBJ_REVERSED) != 0)
        dbly_linkage_insert_head(&vobj->prefixes, node);
    else
        dbly_linkage_insert_tail(&vobj->prefixes, node);
}

/* Hardware has all of the share before anything is freed. */
static uint32_t vobj_backwalk(ufib_vobj *vobj, uint32_t share) {
    ufib_cur_vdc_id = vobj->vdc_id; /* traces belong there */
    if ((vobj->flags & UFIB_VOBJ_WALKING) == 0) {
        vobj->flags |= UFIB_VOBJ_WALKING;
        vobj->backwalk_cursor = dbly_linkage_first(&vobj->prefixes);
    }
    uint32_t done = 0;
    for (; done < share && vobj->backwalk_cursor != nullptr; done++) {
        dl_node *node = vobj->backwalk_cursor;
        if (!prefix_move(prefix_of(node))) {
            walk_put_off(vobj, node);
            break;
        }
        vobj->backwalk_cursor = walk_next(vobj, node);
    }
    (void)ufib_platform_all_writes_ready();
    if (vobj->backwalk_cursor != nullptr) return done;
    if (ufib_vobj_clear_instance(vobj, UFIB_VOBJ_OLD)) ufib_remove_vobj_from_dirty_list(vobj);
    (void)UFIB_VOBJ_BT_ADD_REC(vobj, UFIB_BT_UPDATE);
    return done;
}

uint32_t ufib_dirty_vobjs_do_pfx_backwalk(uint32_t budget) {
    const uint32_t share = share_of(budget, ufib_dirty_vobj_list.count);
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Pfx backwalk: num_dirty_vobjs:%d, max_num_pfxs_per_vobj:%d\n",
                   static_cast<int>(ufib_dirty_vobj_list.count), static_cast<int>(share));
    const uint32_t before = ufib_dirty_vobj_list.count;
    uint32_t done = 0;
    dl_node *next;
    for (dl_node *node = dbly_linkage_first(&ufib_dirty_vobj_list); node != nullptr && done < budget;
         node = next) {
        next = dbly_linkage_next(node);
        done += vobj_backwalk(dl_object<ufib_vobj>(node, offsetof(ufib_vobj, by_dirty)), share);
    }
    if (ufib_dirty_vobj_list.count != before)
        (void)ufib_platform_all_writes_ready(); /* instances have gone */
    return done;
}

static void prefix_rpf(ufib_pfx *pfx) {
    (void)(ufib_prefix_family(pfx).index == ufib_v4.index ? ufib_platform_update_v4prefix_rpf(pfx)
                                                          : ufib_platform_update_v6prefix_rpf(pfx));
    (void)ufib_platform_one_write_ready();
}

static uint32_t vobj_rpf_walk(ufib_vobj *vobj, uint32_t share) {
    ufib_cur_vdc_id = vobj->vdc_id;
    if (vobj->rpf_cursor == nullptr) vobj->rpf_cursor = dbly_linkage_first(&vobj->prefixes);
    uint32_t done = 0;
    for (; done < share && vobj->rpf_cursor != nullptr; done++) {
        dl_node *node = vobj->rpf_cursor;
        vobj->rpf_cursor = dbly_linkage_next(node);
        prefix_rpf(prefix_of(node));
    }
    if (vobj->rpf_cursor == nullptr) ufib_remove_vobj_from_rpf_list(vobj);
    return done;
}

uint32_t ufib_vobjs_pfxs_do_rpf_update(uint32_t budget) {
    const uint32_t share = share_of(budget, ufib_vobj_rpf_list.count);
    uint32_t done = 0;
    dl_node *next;
    for (dl_node *node = dbly_linkage_first(&ufib_vobj_rpf_list); node != nullptr && done < budget;
         node = next) {
        next = dbly_linkage_next(node);
        done += vobj_rpf_walk(dl_object<ufib_vobj>(node, offsetof(ufib_vobj, by_rpf)), share);
    }
    (void)ufib_platform_all_writes_ready();
    return done;
}

/* ---- timer ---- */

/* Passes over a list until the budget is used, or a pass neither did a prefix nor finished a vobj. How many prefixes. */
static uint32_t spend(uint32_t budget, const dl_list *list, uint32_t (*pass)(uint32_t budget)) {
    uint32_t left = budget;
    while (left != 0 && list->head != nullptr) {
        const uint32_t before = list->count;
        const uint32_t done = pass(left);
        if (done == 0 && list->count == before) break;
        left -= done < left ? done : left;
    }
    return budget - left;
}

static void pending_take_up() {
    if (ufib_rnh_update_pending_list.head == nullptr) return;
    dl_node *next;
    for (dl_node *node = dbly_linkage_first(&ufib_rnh_update_pending_list); node != nullptr; node = next) {
        next = dbly_linkage_next(node);
        ufib_pfx *rnh = dl_object<ufib_rnh>(node, offsetof(ufib_rnh, pending))->prefix;
        ufib_cur_vdc_id = rnh->table->vdc_id;
        ufib_process_rnh_update(rnh, ufib_prefix_family(rnh).index == ufib_v4.index, false, nullptr);
    }
    (void)ufib_platform_all_writes_ready();
}

static bool work_left() {
    return ufib_dirty_vobj_list.count + ufib_vobj_rpf_list.count + ufib_rnh_update_pending_list.count != 0 ||
           ufib_retry_is_waiting();
}

/* While prefixes move and no dirty vobj was finished, updates of RNHs would only pile up behind them. A walk that
 * hardware holds up does not hold up what others wait for. */
void ufib_dirty_vobj_timer_handler(void *) {
    const ufib_funcstats_block measure(UFIB_FS_DIRTY_WALK);
    if (!work_left()) {
        ufib_dirty_vobj_timer_stop();
        return;
    }
    ufib_retry_work();
    const uint32_t dirty = ufib_dirty_vobj_list.count;
    const uint32_t moved =
        spend(UFIB_BACKWALK_BUDGET, &ufib_dirty_vobj_list, ufib_dirty_vobjs_do_pfx_backwalk);
    (void)spend(UFIB_RPF_BUDGET, &ufib_vobj_rpf_list, ufib_vobjs_pfxs_do_rpf_update);
    if (moved == 0 || ufib_dirty_vobj_list.count != dirty) pending_take_up();
    if (work_left())
        (void)ufib_dirty_vobj_timer_start();
    else
        ufib_dirty_vobj_timer_stop();
}

void ufib_dirty_vobj_timer_init() {
    if (lcfwd_timer_make(LCFWD_TIMER_DIRTY_VOBJ, ufib_dirty_vobj_timer_handler, nullptr) != 0)
        UFIB_ERR("ufib_dirty_vobj_timer_init failed");
}

void ufib_dirty_reset() {
    dbly_linkage_init(&ufib_dirty_vobj_list);
    dbly_linkage_init(&ufib_vobj_rpf_list);
}
