#include "ufib/ufib_rnh.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "core/ufib_funcstats.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vobj.h"

dl_list ufib_rnh_update_pending_list;

static ufib_vobj_row *row_of(dl_node *node) {
    return dl_object<ufib_vobj_row>(node, offsetof(ufib_vobj_row, by_rnh));
}

void ufib_rnh_dependent_remove(ufib_pfx *rnh, dl_node *node) {
    if (rnh->rnh->cursor == node) rnh->rnh->cursor = dbly_linkage_next(node);
    dbly_linkage_remove(&rnh->rnh->dependents, node);
}

static void pending_state(ufib_pfx *rnh, bool pending) {
    dl_node *node = &rnh->rnh->pending;
    const bool listed = dbly_linkage_is_on(&ufib_rnh_update_pending_list, node);
    if (pending) {
        if (!listed) dbly_linkage_insert_tail(&ufib_rnh_update_pending_list, node);
        rnh->flags |= UFIB_PFX_FLAG_PENDING;
    } else {
        if (listed) dbly_linkage_remove(&ufib_rnh_update_pending_list, node);
        rnh->flags &= static_cast<uint8_t>(~UFIB_PFX_FLAG_PENDING);
    }
    ufib_pss_insert_prefix(rnh);
    if (pending) (void)ufib_dirty_vobj_timer_start();
}

/* One slice of a walk over the dependents; true when it, or an earlier slice of the same walk, left something undone.
 * The one that stops a walk is met again, so the next walk begins at the head. */
static bool dependents_walk(ufib_rnh *state, bool in_place) {
    uint32_t left = UFIB_RNH_WALK;
    while (state->cursor != nullptr && left-- != 0) {
        dl_node *node = state->cursor;
        state->cursor = dbly_linkage_next(node);
        if (ufib_vobj_process_rnh_update(row_of(node)->vobj, in_place) == 0) continue;
        state->blocked = true;
        if (!in_place) state->cursor = nullptr;
    }
    return state->blocked || state->cursor != nullptr;
}

static void process_update(ufib_pfx *rnh, bool in_place, const ufib_ha_route *record) {
    if (record != nullptr) {
        pending_state(rnh, (record->family_flags & UFIB_HA_RNH_PENDING) != 0);
        return;
    }
    ufib_rnh *state = rnh->rnh;
    const bool resumed = state->cursor != nullptr && !in_place;
    if (!resumed) {
        state->cursor = dbly_linkage_first(&state->dependents);
        state->blocked = false;
    }
    if (ufib_enable_rc_debugs)
        UFIB_TRACE(in_place || resumed ? "in place update\n" : "not in place update\n");
    const bool walks = state->cursor != nullptr;
    pending_state(rnh, walks && dependents_walk(state, in_place || resumed));
    /* The record of the RNH stands with those of the objects that it changed, or with none of them. */
    if (walks) (void)ufib_platform_all_writes_ready();
}

/* The family is the prefix's own; callers that know no better may say the same. */
void ufib_process_rnh_update(ufib_pfx *rnh, bool, bool in_place, const ufib_ha_route *record) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    process_update(rnh, in_place, record);
    ufib_funcstats_end(UFIB_FS_RNH_UPDATE, &stamp);
}

void ufib_rnh_reset() { dbly_linkage_init(&ufib_rnh_update_pending_list); }
