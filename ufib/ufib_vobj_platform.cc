/* The platform wrappers of virtual objects: they keep the handles that come back. Deleting leaves the model's handles:
 * who deletes an instance knows when to forget it. */
#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "core/ufib_funcstats.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_vobj.h"

static bool handle_valid(uint32_t handle) { return handle != 0 && handle != UINT32_MAX; }

/* A restart may find the group with another size than the paths of now need. The library then gave a second instance,
 * and the one that was found is the old one. */
static void instance_taken(ufib_vobj *vobj, uint32_t handle) {
    if (vobj->new_handle == handle) return; /* attached, with the size that it has */
    if (vobj->new_handle != 0) {
        vobj->old_handle = vobj->new_handle;
        vobj->old_ls_count = vobj->new_ls_count;
    }
    vobj->new_handle = handle;
    vobj->new_ls_count = static_cast<uint8_t>(vobj->cnh_count);
}

int ufib_platform_insert_vobj(ufib_vobj *vobj, const ufib_ha_route *record) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const auto handle = static_cast<uint32_t>(ufib_platform_table.insert_vobj(vobj, record));
    ufib_funcstats_end(UFIB_FS_PLATFORM_VOBJ, &stamp);
    if (!handle_valid(handle)) return -1;
    instance_taken(vobj, handle);
    vobj->obj.handle = handle;
    ufib_journal_log(UFIB_JOURNAL_HW_NEW, &vobj->obj, nullptr);
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Inserted vobj in hw %d paths @%08x", static_cast<int>(vobj->cnh_count), handle);
    if (vobj->fec != nullptr && record == nullptr) (void)ufib_platform_update_vobj_fec(vobj, 0, 0);
    ufib_pss_insert_vobj(vobj);
    return 0;
}

/* No journal entry: one route may rewrite thousands, and its deferred deletes need the room. */
int ufib_platform_update_vobj(ufib_vobj *vobj, uint32_t mode) {
    if (vobj->obj.handle == 0) return 0;
    const int status = ufib_platform_table.update_vobj(vobj, mode);
    if (status >= 0) {
        ufib_retry_vobj_written(vobj);
    } else {
        ufib_errors[E_VOBJ_HW_UPDATE]++; /* the route that led here stands all the same */
        ufib_retry_vobj(vobj);
    }
    return status;
}

bool ufib_platform_delete_vobj(ufib_vobj *vobj, uint32_t instance) {
    if (vobj->old_handle == 0 && vobj->new_handle == 0) return true;
    if (ufib_platform_table.delete_vobj(vobj, instance) < 0) return false;
    ufib_journal_log(UFIB_JOURNAL_HW_DELETED, &vobj->obj, nullptr);
    return true;
}

int ufib_platform_update_vobj_fec(ufib_vobj *vobj, uint32_t, uint32_t) {
    ufib_vobj_fec *fec = vobj->fec;
    if (fec == nullptr) return -1;
    const auto handle = static_cast<uint32_t>(ufib_platform_table.update_vobj_fec(fec));
    if (!handle_valid(handle)) return -1;
    fec->new_handle = handle;
    fec->obj.handle = handle;
    return 0;
}

void ufib_platform_delete_vobj_fec(ufib_vobj *vobj, uint32_t instance) {
    const ufib_vobj_fec *fec = vobj->fec;
    if (fec == nullptr || (fec->old_handle == 0 && fec->new_handle == 0)) return;
    ufib_platform_table.delete_vobj_fec(vobj->fec, instance);
}
