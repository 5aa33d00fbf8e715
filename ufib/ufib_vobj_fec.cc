/* The view of a virtual object that labels forward to. */
#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "host/containers/heap.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_vobj.h"

#include <cstdlib>

int ufib_vobj_fec_attach(ufib_vobj *vobj, uint32_t old_handle, uint32_t new_handle) {
    auto *fec = static_cast<ufib_vobj_fec *>(heap_calloc(1, sizeof(ufib_vobj_fec)));
    if (fec == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_VOBJ_NOMEM);
        UFIB_ERR("memory alloc error while alloc'ing vobj_fec\n");
        return -1;
    }
    fec->obj.type_refs = UFIB_OBJ_VOBJ_FEC;
    fec->obj.handle = new_handle;
    fec->old_handle = old_handle;
    fec->new_handle = new_handle;
    fec->vobj = vobj;
    vobj->fec = fec;
    ufib_obj_hold(&vobj->obj);
    return 0;
}

ufib_vobj_fec *ufib_vobj_fec_paths_add(ufib_vobj *vobj) {
    if (vobj->fec != nullptr) return vobj->fec;
    if (ufib_vobj_fec_attach(vobj, 0, 0) != 0) return nullptr;
    (void)ufib_platform_update_vobj_fec(vobj, 0, 0);
    ufib_pss_insert_vobj(vobj);
    return vobj->fec;
}

void ufib_vobj_fec_destroy(void *argument, ufib_obj *obj) {
    auto *fec = reinterpret_cast<ufib_vobj_fec *>(obj);
    ufib_vobj *vobj = fec->vobj;
    ufib_platform_delete_vobj_fec(vobj, UFIB_VOBJ_BOTH);
    vobj->fec = nullptr;
    ufib_pss_insert_vobj(vobj);
    (void)ufib_platform_all_writes_ready();
    ufib_obj_drop(&vobj->obj);
    if (ufib_obj_refs(&vobj->obj) == 0) ufib_vobj_destroy(argument, &vobj->obj);
    ufib_journal_forget(obj);
    std::free(fec);
}
