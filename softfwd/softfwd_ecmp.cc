#include "softfwd/softfwd_ecmp.h"

#include "platform/ufib_pi.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_space.h"
#include "softfwd/softfwd_takeover.h"

static softfwd_space space_of(void *group) {
    const uint32_t paths = ufib_pi_ecmp_get_nhcount(group);
    return {ufib_pi_ecmp_get_platform_space(group), softfwd_ecmp_space_len(static_cast<uint8_t>(paths))};
}

softfwd_group_plan softfwd_ecmp_plan(const void *group, uint32_t holder) {
    softfwd_group_plan plan = {};
    plan.origin = SOFTFWD_GROUP_ECMP;
    plan.vdc_id = ufib_pi_ecmp_get_vdc_id(group);
    plan.holder = static_cast<uint8_t>(holder);
    uint32_t position;
    for (const void *adj = ufib_pi_ecmp_get_first(group, &position);
         adj != nullptr && plan.count < SOFTFWD_MEMBERS_MAX; adj = ufib_pi_ecmp_get_next(group, &position))
        plan.adjs[plan.count++] = ufib_pi_adj_get_handle(adj);
    return plan;
}

static uint32_t ecmp_note(softfwd_effect good, uint32_t handle, uint32_t asked) {
    const bool refused = handle == 0;
    softfwd_note(SOFTFWD_OP_INSERT_ECMP, refused ? SOFTFWD_EFFECT_FAILURE : good, refused ? asked : handle);
    return handle;
}

static uint32_t ecmp_adopt(void *group, const softfwd_group_plan *plan, uint32_t ha) {
    const softfwd_group *entry = softfwd_group_of(ha);
    if (entry == nullptr) return ecmp_note(SOFTFWD_EFFECT_REATTACH, 0, ha);
    softfwd_adj_claim(ha);
    softfwd_space_fill(space_of(group));
    softfwd_note_reattach(SOFTFWD_OP_INSERT_ECMP, ha, softfwd_group_difference(entry, plan));
    return ha;
}

uint32_t softfwd_insert_ecmp(void *group, uint32_t ha, uint32_t holder) {
    if (!softfwd_state.open || group == nullptr) return 0;
    softfwd_state.head->counters.calls[SOFTFWD_OP_INSERT_ECMP]++;
    const uint32_t standing = ufib_pi_obj_get_hh(group);
    const uint32_t asked = ha != 0 ? ha : standing;
    if (!softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_INSERT_ECMP, asked))
        return ecmp_note(SOFTFWD_EFFECT_INSTALL, 0, asked);
    const softfwd_group_plan plan = softfwd_ecmp_plan(group, holder);
    if (ha != 0) return ecmp_adopt(group, &plan, ha);
    const softfwd_group *entry = softfwd_group_of(standing);
    if (entry == nullptr) {
        softfwd_space_fill(space_of(group));
        return ecmp_note(SOFTFWD_EFFECT_INSTALL, softfwd_group_install(&plan), 0);
    }
    softfwd_space_check(space_of(group));
    const bool written = plan.count <= entry->size && softfwd_group_rewrite(standing, &plan);
    return ecmp_note(SOFTFWD_EFFECT_UPDATE, written ? standing : 0, standing);
}

int softfwd_delete_ecmp(void *group) {
    if (!softfwd_state.open || group == nullptr) return -1;
    softfwd_state.head->counters.calls[SOFTFWD_OP_DELETE_ECMP]++;
    const uint32_t handle = ufib_pi_obj_get_hh(group);
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_DELETE_ECMP, handle);
    const bool removed = !refused && softfwd_group_remove(handle);
    if (removed) softfwd_space_check(space_of(group));
    softfwd_note(SOFTFWD_OP_DELETE_ECMP, removed ? SOFTFWD_EFFECT_REMOVE : SOFTFWD_EFFECT_FAILURE, handle);
    return removed ? 0 : -1;
}

uint32_t softfwd_ecmp_space_len(uint8_t paths) {
    const uint32_t base = softfwd_config_get()->ecmp_space_len;
    return base == 0 ? 0 : base + 4u * paths;
}

int softfwd_ecmp_get_adj_ha_handles(ufib_ha_route *record) {
    if (!softfwd_state.open || record == nullptr) return -1;
    const softfwd_group *group = softfwd_group_of(record->next_handle);
    if (group == nullptr) {
        const uint32_t adj = softfwd_base_handle(record->next_handle);
        record->adj_handles[0] = adj != 0 ? adj : record->adj_handles[0];
        return adj != 0 ? 0 : -1;
    }
    for (uint32_t i = 0; i < group->count; i++) record->adj_handles[i] = softfwd_group_adjs(group)[i];
    return 0;
}
