/* The virtual objects of a VDC, by the hash of their keys and then by comparison. */
#include "core/lcfwd_log.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_dbel.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"
#include "ufib/ufib_vobj_private.h"

static ufib_dbel_kind vobj_dbels = {.name = "vobj",
                                    .slab_name = "ufib vobj allocator",
                                    .err_slab = E_VOBJ_SLAB_CREATE,
                                    .err_alloc = E_VOBJ_SLAB_ALLOC,
                                    .pool = nullptr};

static ufib_vobj *vobj_of(sll_node *node) {
    return node == nullptr ? nullptr
                           : reinterpret_cast<ufib_vobj *>(reinterpret_cast<uint8_t *>(node) -
                                                           offsetof(ufib_vobj, by_hash));
}
static ufib_vobj *first_of(const ufib_dbel *dbel) {
    return dbel == nullptr ? nullptr : vobj_of(sll_first(&dbel->objects));
}

void ufib_vobj_db_init(ufib_vdc *vdc) { ufib_dbel_tree_init(&vdc->vobjs); }

ufib_vobj *ufib_vobj_search(ufib_vdc *vdc, const ufib_vobj_key *key, uint32_t *hash) {
    const uint32_t wanted = ufib_vobj_hash(key);
    if (hash != nullptr) *hash = wanted;
    ufib_vobj *vobj = first_of(ufib_dbel_search(&vdc->vobjs, wanted));
    while (vobj != nullptr && !ufib_vobj_compare(vobj, key)) vobj = vobj_of(sll_next(&vobj->by_hash));
    return vobj;
}

int ufib_vobj_insert(ufib_vdc *vdc, ufib_vobj *vobj) {
    bool is_new;
    if (ufib_dbel_link(&vobj_dbels, &vdc->vobjs, vobj->hash, &vobj->by_hash, &is_new) != 0) return -1;
    if (is_new && ufib_enable_rc_debugs) UFIB_TRACE("%s insert new vobj", __func__);
    return 0;
}

void ufib_vobj_remove(ufib_vobj *vobj) {
    if (ufib_vdc *vdc = ufib_vdc_get(vobj->vdc_id); vdc != nullptr)
        (void)ufib_dbel_unlink(&vobj_dbels, &vdc->vobjs, vobj->hash, &vobj->by_hash);
}

ufib_vobj *ufib_vobj_get_first(const ufib_vdc *vdc) { return first_of(ufib_dbel_get_first(&vdc->vobjs)); }

ufib_vobj *ufib_vobj_get_next(const ufib_vobj *vobj) {
    if (ufib_vobj *next = vobj_of(sll_next(&vobj->by_hash)); next != nullptr) return next;
    const ufib_vdc *vdc = ufib_vdc_get(vobj->vdc_id);
    const ufib_dbel *dbel = vdc == nullptr ? nullptr : ufib_dbel_search(&vdc->vobjs, vobj->hash);
    return dbel == nullptr ? nullptr : first_of(ufib_dbel_get_next(dbel));
}

ufib_vobj *ufib_vobj_resume(const ufib_vdc *vdc, uint32_t hash, uint32_t passed) {
    return vobj_of(ufib_dbel_resume(&vdc->vobjs, hash, passed));
}

/* Prefixes are gone by now; what is left was held by labels, whose view of it goes first. */
void ufib_vobj_db_destroy(ufib_vdc *vdc) {
    while (ufib_vobj *vobj = ufib_vobj_get_first(vdc)) {
        if (vobj->fec != nullptr) ufib_platform_delete_vobj_fec(vobj, UFIB_VOBJ_BOTH);
        ufib_vobj_destroy(nullptr, &vobj->obj);
    }
}

/* Buckets lie in a slab, which goes as a whole. */
void ufib_vobj_db_forget(ufib_vdc *vdc) {
    for (ufib_vobj *vobj = ufib_vobj_get_first(vdc), *next; vobj != nullptr; vobj = next) {
        next = ufib_vobj_get_next(vobj);
        ufib_vobj_free(vobj);
    }
}

void ufib_vobj_db_reset() { vobj_dbels.pool = nullptr; }
