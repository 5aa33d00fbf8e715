/* The two hardware instances of a virtual object, and what a changed path does to them. */
#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"
#include "ufib/ufib_vobj_private.h"

#include <utility>

static void fec_current(ufib_vobj *vobj) {
    if (vobj->fec != nullptr) vobj->fec->obj.handle = vobj->fec->new_handle;
}

static void instances_swap(ufib_vobj *vobj) {
    std::swap(vobj->old_handle, vobj->new_handle);
    std::swap(vobj->old_ls_count, vobj->new_ls_count);
    vobj->obj.handle = vobj->new_handle;
    if (vobj->fec == nullptr) return;
    std::swap(vobj->fec->old_handle, vobj->fec->new_handle);
    fec_current(vobj);
}

/* The slots of one instance, without a call to anybody. */
static void instance_forget(ufib_vobj *vobj, uint32_t instance) {
    if (instance == UFIB_VOBJ_NEW) {
        vobj->new_handle = 0;
        vobj->new_ls_count = 0;
        vobj->obj.handle = 0;
        if (vobj->fec != nullptr) vobj->fec->new_handle = 0;
        fec_current(vobj);
        return;
    }
    vobj->old_handle = 0;
    vobj->old_ls_count = 0;
    if (vobj->fec != nullptr) vobj->fec->old_handle = 0;
}

/* The record that stays is written before the other one goes: the store may commit between the two, and must not name
 * a handle that hardware has given to somebody else. */
bool ufib_vobj_clear_instance(ufib_vobj *vobj, uint32_t instance) {
    const uint32_t handle = instance == UFIB_VOBJ_NEW ? vobj->new_handle : vobj->old_handle;
    if (handle == 0) return true;
    if (!ufib_platform_delete_vobj(vobj, instance)) return false;
    if (vobj->fec != nullptr) ufib_platform_delete_vobj_fec(vobj, instance);
    instance_forget(vobj, instance);
    ufib_pss_insert_vobj(vobj);
    ufib_pss_delete_vobj_record(vobj->vdc_id, handle);
    return true;
}

/* Nothing leads to the old instance. While hardware keeps it, it is as at the end of a walk, which asks again: all stand
 * at the current one. */
static void old_instance_leaves(ufib_vobj *vobj) {
    ufib_remove_vobj_from_dirty_list(vobj);
    if (ufib_vobj_clear_instance(vobj, UFIB_VOBJ_OLD)) return;
    ufib_insert_vobj_in_dirty_list(vobj);
    vobj->flags |= UFIB_VOBJ_WALKING;
}

void ufib_clear_old_instances_all_vobj(ufib_vdc *vdc) {
    for (ufib_vobj *vobj = ufib_vobj_get_first(vdc); vobj != nullptr; vobj = ufib_vobj_get_next(vobj))
        old_instance_leaves(vobj);
    (void)ufib_platform_all_writes_ready();
}

/* The instance that is being left has the size that is needed again: it becomes the current one, and gets the paths of
 * now, since those it was made with may be gone. Prefixes that were moved go back with the walk turned round. When some
 * prefix was written with the other instance meanwhile, or the walk has no position left, only a whole walk from the
 * head brings all of them over. */
static void swap_back(ufib_vobj *vobj, bool in_place) {
    instances_swap(vobj);
    if (in_place) (void)ufib_platform_update_vobj(vobj, 0);
    ufib_pss_insert_vobj(vobj);
    const bool walking = (vobj->flags & UFIB_VOBJ_WALKING) != 0;
    if ((vobj->flags & UFIB_VOBJ_JOINED) != 0 || (walking && vobj->backwalk_cursor == nullptr)) {
        ufib_insert_vobj_in_dirty_list(vobj);
        ufib_vobj_walk_restart(vobj);
    } else if (walking) {
        vobj->flags ^= UFIB_VOBJ_REVERSED;
    } else {
        old_instance_leaves(vobj);
    }
}

/* The new instance becomes the old one, or, when prefixes still point at an older one, goes at once. False: hardware
 * keeps it. */
static bool make_room(ufib_vobj *vobj) {
    if (vobj->old_handle != 0) return ufib_vobj_clear_instance(vobj, UFIB_VOBJ_NEW);
    vobj->old_handle = vobj->new_handle;
    vobj->old_ls_count = vobj->new_ls_count;
    if (vobj->fec != nullptr) vobj->fec->old_handle = vobj->fec->new_handle;
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Set old handle to new handle %d, and old ls count to new %d\n",
                   static_cast<int>(vobj->old_handle), vobj->old_ls_count);
    instance_forget(vobj, UFIB_VOBJ_NEW);
    return true;
}

/* Hardware has no room for another instance: the old one serves on, with its old size. The route that led here stands. */
static void return_to_old(ufib_vobj *vobj) {
    ufib_errors[E_VOBJ_HW_INSTALL]++;
    instances_swap(vobj);
    instance_forget(vobj, UFIB_VOBJ_OLD);
    ufib_remove_vobj_from_dirty_list(vobj);
    ufib_pss_insert_vobj(vobj);
}

/* 1: both instances are in use and neither fits. */
static int resize(ufib_vobj *vobj, bool in_place) {
    if (vobj->old_handle != 0 && vobj->old_ls_count == vobj->cnh_count) {
        swap_back(vobj, in_place);
        return 0;
    }
    if ((vobj->flags & (UFIB_VOBJ_WALKING | UFIB_VOBJ_JOINED)) != 0) return 1;
    if (!make_room(vobj)) return 1;
    if (ufib_platform_insert_vobj(vobj, nullptr) == 0)
        ufib_insert_vobj_in_dirty_list(vobj);
    else
        return_to_old(vobj);
    (void)ufib_platform_one_write_ready();
    return 0;
}

/* The paths of before outlive the rewrite of the groups that lead to them, or stay as long as it is refused. */
struct held_paths {
    uint32_t count;
    ufib_obj *path[UFIB_VOBJ_CNHS_MAX];
};

static void paths_hold(const ufib_vobj *vobj, held_paths *held) {
    for (held->count = 0; held->count < vobj->cnh_count; held->count++) {
        held->path[held->count] = vobj->cnhs[held->count].obj;
        ufib_obj_hold(held->path[held->count]);
    }
}

static void paths_release(ufib_vobj *vobj, const held_paths &held, bool in_use) {
    for (uint32_t i = 0; i < held.count; i++)
        if (in_use)
            ufib_retry_vobj_keep(vobj, held.path[i]);
        else
            ufib_vobj_path_release(held.path[i]);
}

static void compute_in_place(ufib_vobj *vobj) {
    if (ufib_enable_rc_debugs) UFIB_TRACE("in place update: calling ufib_vobj_compute_cnhs\n");
    held_paths before;
    paths_hold(vobj, &before);
    bool changed;
    if (ufib_vobj_rnh_has_nve(vobj))
        ufib_vobj_compute_cnhs_rnh_has_nve(vobj, &changed);
    else
        ufib_vobj_compute_cnhs(vobj, &changed);
    const bool refused = changed && ufib_platform_update_vobj(vobj, 0) < 0;
    paths_release(vobj, before, refused);
}

int ufib_vobj_process_rnh_update(ufib_vobj *vobj, bool in_place) {
    if (in_place) compute_in_place(vobj);
    if (!ufib_vobj_has_mpls_cnhs(vobj)) ufib_insert_vobj_in_rpf_list(vobj);
    vobj->rpf_cursor = nullptr;
    int status = 0;
    if (vobj->new_ls_count != vobj->cnh_count)
        status = resize(vobj, in_place);
    else
        (void)ufib_platform_one_write_ready();
    (void)UFIB_VOBJ_BT_ADD_REC(vobj, UFIB_BT_UPDATE);
    return status;
}
