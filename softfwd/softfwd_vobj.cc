#include "softfwd/softfwd_vobj.h"

#include "platform/ufib_pi.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_space.h"
#include "softfwd/softfwd_takeover.h"

constexpr uint32_t INSTANCE_OLD = 0, INSTANCE_NEW = 1, INSTANCE_BOTH = 2;

static softfwd_space space_of(void *vobj) {
    return {ufib_pi_get_vobj_pltfm_space(vobj), softfwd_config_get()->caps.vobj_space_len};
}

softfwd_group_plan softfwd_vobj_plan(const void *vobj) {
    softfwd_group_plan plan = {};
    plan.origin = SOFTFWD_GROUP_VOBJ;
    plan.id = ufib_pi_vobj_get_id(vobj);
    plan.vdc_id = ufib_pi_vobj_get_vdc_id(vobj);
    const uint32_t count = ufib_pi_vobj_get_num_cnhs(vobj);
    for (; plan.count < count && plan.count < SOFTFWD_MEMBERS_MAX; plan.count++) {
        const void *cnh = ufib_pi_vobj_get_cnh_at_idx(vobj, plan.count);
        plan.adjs[plan.count] = ufib_pi_adj_get_handle(ufib_pi_vobj_cnh_get_adj(cnh));
        plan.labels[plan.count] = ufib_pi_vobj_cnh_get_label(cnh);
    }
    return plan;
}

/* ---- insert ---- */

static int refuse(uint32_t handle) {
    softfwd_note(SOFTFWD_OP_INSERT_VOBJ, SOFTFWD_EFFECT_FAILURE, handle);
    return -1;
}

static int instance_new(void *vobj, const softfwd_group_plan *plan, bool first) {
    if (first) softfwd_space_fill(space_of(vobj));
    const uint32_t handle = softfwd_group_install(plan);
    if (handle == 0) return refuse(0);
    softfwd_note(SOFTFWD_OP_INSERT_VOBJ, SOFTFWD_EFFECT_INSTALL, handle);
    return static_cast<int>(handle);
}

static void instance_adopt(uint32_t handle, const softfwd_group_plan *plan) {
    softfwd_adj_claim(handle);
    softfwd_note_reattach(SOFTFWD_OP_INSERT_VOBJ, handle,
                          softfwd_group_difference(softfwd_group_of(handle), plan));
}

static int vobj_adopt(void *vobj, const softfwd_group_plan *plan, const ufib_pi_nhcount_params &params) {
    const softfwd_group *current = softfwd_group_of(params.new_handle);
    const bool old = softfwd_group_of(params.old_handle) != nullptr;
    softfwd_space_fill(space_of(vobj));
    if (old) instance_adopt(params.old_handle, plan);
    if (current == nullptr) return instance_new(vobj, plan, false);
    instance_adopt(params.new_handle, plan);
    if (current->size != plan->count && !old) return instance_new(vobj, plan, false);
    return static_cast<int>(params.new_handle);
}

int softfwd_insert_vobj(void *vobj, const ufib_ha_route *record) {
    if (!softfwd_state.open || vobj == nullptr) return -1;
    softfwd_state.head->counters.calls[SOFTFWD_OP_INSERT_VOBJ]++;
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    if (!softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_INSERT_VOBJ, params.new_handle))
        return refuse(params.new_handle);
    const softfwd_group_plan plan = softfwd_vobj_plan(vobj);
    if (record != nullptr) return vobj_adopt(vobj, &plan, params);
    const bool old = softfwd_group_of(params.old_handle) != nullptr;
    if (old && softfwd_group_of(params.new_handle) != nullptr) return refuse(params.new_handle);
    return instance_new(vobj, &plan, !old);
}

/* ---- update and delete ---- */

static bool instance_write(uint32_t handle, const softfwd_group_plan *plan) {
    const softfwd_group *group = softfwd_group_of(handle);
    if (group == nullptr) return true;
    if (softfwd_group_difference(group, plan) == 0) return true;
    const bool written = softfwd_group_rewrite(handle, plan);
    softfwd_note(SOFTFWD_OP_UPDATE_VOBJ, written ? SOFTFWD_EFFECT_UPDATE : SOFTFWD_EFFECT_FAILURE, handle);
    return written;
}

int softfwd_update_vobj(void *vobj, uint32_t) {
    if (!softfwd_state.open || vobj == nullptr) return -1;
    softfwd_state.head->counters.calls[SOFTFWD_OP_UPDATE_VOBJ]++;
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    const bool refused =
        !softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_UPDATE_VOBJ, params.new_handle);
    if (refused || softfwd_group_of(params.new_handle) == nullptr) {
        softfwd_note(SOFTFWD_OP_UPDATE_VOBJ, SOFTFWD_EFFECT_FAILURE, params.new_handle);
        return -1;
    }
    softfwd_space_check(space_of(vobj));
    const softfwd_group_plan plan = softfwd_vobj_plan(vobj);
    const bool current = instance_write(params.new_handle, &plan);
    const bool old = instance_write(params.old_handle, &plan);
    return current && old ? 0 : -1;
}

static bool instance_remove(uint32_t handle) {
    if (handle == 0) return true;
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_DELETE_VOBJ, handle);
    const bool removed = !refused && softfwd_group_remove(handle);
    softfwd_note(SOFTFWD_OP_DELETE_VOBJ, removed ? SOFTFWD_EFFECT_REMOVE : SOFTFWD_EFFECT_FAILURE, handle);
    return removed;
}

int softfwd_delete_vobj(void *vobj, uint32_t instance) {
    if (!softfwd_state.open || vobj == nullptr || instance > INSTANCE_BOTH) return -1;
    softfwd_state.head->counters.calls[SOFTFWD_OP_DELETE_VOBJ]++;
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    softfwd_space_check(space_of(vobj));
    const bool old = instance == INSTANCE_NEW || instance_remove(params.old_handle);
    const bool current = instance == INSTANCE_OLD || instance_remove(params.new_handle);
    return old && current ? 0 : -1;
}

int softfwd_update_vobj_fec(void *fec) {
    if (!softfwd_state.open || fec == nullptr) return -1;
    const uint32_t handle = ufib_pi_obj_get_hh(ufib_pi_vobj_fec_get_vobj(fec));
    return softfwd_group_of(handle) == nullptr ? -1 : static_cast<int>(handle);
}
