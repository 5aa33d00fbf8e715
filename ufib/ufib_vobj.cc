#include "ufib/ufib_vobj.h"

#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "host/containers/heap.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj_private.h"

#include <cstdlib>
#include <cstring>

static uint64_t vobj_id_counter;

static ufib_vobj *ufib_vobj_alloc(uint32_t rows) {
    auto *vobj = static_cast<ufib_vobj *>(heap_calloc(1, sizeof(ufib_vobj) + rows * sizeof(ufib_vobj_row)));
    const uint32_t space = ufib_platform_vobj_space_len();
    if (vobj != nullptr && space != 0) {
        vobj->platform_space = static_cast<uint8_t *>(heap_calloc(1, space));
        if (vobj->platform_space == nullptr) {
            std::free(vobj);
            vobj = nullptr;
        }
    }
    if (vobj == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_VOBJ_NOMEM);
        UFIB_ERR("failed to create vobj, no mem");
    }
    return vobj;
}

void ufib_vobj_free(ufib_vobj *vobj) {
    ufib_journal_forget(&vobj->obj);
    if (vobj->fec != nullptr) ufib_journal_forget(&vobj->fec->obj);
    std::free(vobj->cnhs);
    std::free(vobj->kept);
    std::free(vobj->platform_space);
    std::free(vobj->fec);
    std::free(vobj);
}

/* ---- rows ---- */

static uint32_t row_flags(const ufib_vobj_key_row &key) {
    return (key.active != 0 ? UFIB_VOBJ_ROW_ACTIVE : 0) | (key.is_rnh != 0 ? UFIB_VOBJ_ROW_RNH : 0) |
           (key.is_v4 != 0 ? UFIB_VOBJ_ROW_V4 : 0) | (key.has_segment != 0 ? UFIB_VOBJ_ROW_SEGMENT : 0) |
           (key.is_nve != 0 ? UFIB_VOBJ_ROW_NVE : 0);
}

/* The table that a row resolves in; made in software when no route has come for it yet. A table of the other family has
 * the same id, and a shared wildcard table may belong to another VDC: neither can hold a next hop of this one. */
static ufib_table *row_table(ufib_vdc *vdc, const ufib_vobj_key_row &key) {
    const ufib_family &family = key.is_v4 != 0 ? ufib_v4 : ufib_v6;
    const bool foreign = ufib_table_is_wildcard(key.table_id) && ufib_platform_optimize_wildcard_table();
    ufib_table *table =
        foreign ? nullptr : ufib_get_create_table(vdc, key.table_id, family.table_type, true, nullptr);
    if (table != nullptr && table->type == family.table_type) return table;
    UFIB_ERR("Unable to find/create table for RNH");
    if (ufib_errno == 0) ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    return nullptr;
}

/* A plain hop brings the adjacency that its prefix forwards to; a recursive one waits for a route. A prefix whose
 * adjacency was refused drops, and is no failure. */
static ufib_pfx *row_rnh(ufib_table *table, const ufib_vobj_key_row &key, const nh_rec *hop) {
    ufib_pfx *rnh = ufib_prefix_search(table, key.address, key.mask_len, true);
    if (rnh != nullptr) return rnh;
    const bool has_interface = hop != nullptr && wire_get(hop->if_index) != 0;
    rnh = ufib_rnh_create(table, key.address, key.mask_len, has_interface ? hop : nullptr);
    if (rnh == nullptr)
        UFIB_ERR("Unable to find/create %s RNH", ufib_table_family(table).name);
    else
        ufib_errno = 0;
    return rnh;
}

static int row_init(ufib_vdc *vdc, ufib_vobj *vobj, uint32_t index, const ufib_vobj_key_row &key,
                    const nh_rec *hop) {
    ufib_vobj_row &row = ufib_vobj_rows(vobj)[index];
    std::memcpy(row.address, key.address, sizeof row.address);
    row.vobj = vobj;
    row.label = key.label;
    row.flags = row_flags(key);
    row.table_id = key.table_id;
    row.mask_len = key.mask_len;
    ufib_table *table = row_table(vdc, key);
    if (table == nullptr) return -1;
    const nh_xri *xri = hop == nullptr ? nullptr : ufib_nh_get_xri(hop);
    if (xri != nullptr && (vobj->extra_flags & UFIB_VOBJ_XRI_VALID) == 0) ufib_vobj_xri_save(vobj, xri);
    ufib_pfx *rnh = row_rnh(table, key, hop);
    if (rnh == nullptr) return -1;
    dbly_linkage_insert_head(&rnh->rnh->dependents, &row.by_rnh);
    row.rnh = rnh;
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Mark dependency of vobj on this rnh, set %sPrnh:%p\n", ufib_table_family(table).name,
                   static_cast<void *>(rnh));
    return 0;
}

/* An RNH ends with its last row, unless a route confirms it. */
static void row_leave(ufib_vobj_row *row) {
    ufib_pfx *rnh = row->rnh;
    if (rnh == nullptr) return;
    row->rnh = nullptr;
    ufib_rnh_dependent_remove(rnh, &row->by_rnh);
    if (!ufib_prefix_has_dependents(rnh) && (rnh->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0)
        (void)ufib_prefix_destroy(rnh->table, rnh);
}

static void rows_leave(ufib_vobj *vobj) {
    for (uint32_t i = 0; i < vobj->row_count; i++) row_leave(&ufib_vobj_rows(vobj)[i]);
}

/* ---- life ---- */

/* A record of the time before a restart names both instances, whichever of them the prefix pointed at. */
static int handles_restore(ufib_vobj *vobj, const ufib_ha_route *record) {
    ufib_vobj_record stored;
    if (record == nullptr || !ufib_pss_get_vobj(vobj->vdc_id, record->next_handle, &stored)) return 0;
    vobj->old_handle = stored.old_handle;
    vobj->new_handle = stored.new_handle;
    vobj->old_ls_count = stored.old_ls_count;
    vobj->new_ls_count = stored.new_ls_count;
    vobj->obj.handle = stored.new_handle;
    vobj->extra_flags = stored.extra_flags & UFIB_VOBJ_XRI_VALID;
    std::memcpy(vobj->xri, stored.xri, sizeof vobj->xri);
    if (stored.fec_new_handle == 0 && stored.fec_old_handle == 0) return 0;
    return ufib_vobj_fec_attach(vobj, stored.fec_old_handle, stored.fec_new_handle);
}

/* On failure the rows that were done stay linked: the caller takes them back. */
static int ufib_vobj_init(ufib_vdc *vdc, ufib_vobj *vobj, const ufib_vobj_key *key,
                          const ufib_vobj_hops *hops, uint32_t hash, const ufib_ha_route *record) {
    vobj->obj.type_refs = UFIB_OBJ_VOBJ;
    vobj->row_count = key->row_count;
    vobj->host = key->host;
    vobj->vdc_id = vdc->desc->vdc_id;
    if (handles_restore(vobj, record) != 0) return -1;
    vobj->id = ++vobj_id_counter;
    vobj->hash = hash;
    for (uint32_t i = 0; i < key->row_count; i++)
        if (row_init(vdc, vobj, i, key->rows[i], hops->hop[i]) != 0) return -1;
    return 0;
}

/* Gives back what a vobj that never stood has taken, and keeps the error that stopped it. The records that a restart
 * found under its handles are not its own yet. */
static ufib_vobj *create_failed(ufib_vobj *vobj, bool inserted) {
    const uint32_t error = ufib_errno;
    vobj->old_handle = vobj->new_handle = 0;
    if (inserted)
        ufib_vobj_delete(vobj);
    else
        rows_leave(vobj);
    ufib_vobj_free(vobj);
    ufib_errno = error;
    return nullptr;
}

ufib_vobj *ufib_create_vobj(ufib_vdc *vdc, const ufib_vobj_key *key, const ufib_vobj_hops *hops,
                            uint32_t hash, const ufib_ha_route *record) {
    ufib_vobj *vobj = ufib_vobj_alloc(key->row_count);
    if (vobj == nullptr) return nullptr;
    if (ufib_vobj_init(vdc, vobj, key, hops, hash, record) != 0) return create_failed(vobj, false);
    if (ufib_vobj_insert(vdc, vobj) != 0) return create_failed(vobj, false);
    if (ufib_vobj_rnh_has_nve(vobj))
        ufib_vobj_compute_cnhs_rnh_has_nve(vobj, nullptr);
    else
        ufib_vobj_compute_cnhs(vobj, nullptr);
    if (vobj->cnh_count == 0 && ufib_errno != 0) return create_failed(vobj, true);
    if (vobj->cnh_count != 0 && ufib_platform_insert_vobj(vobj, record) == 0) {
        (void)UFIB_VOBJ_BT_ADD_REC(vobj, UFIB_BT_CREATE);
        return vobj;
    }
    ufib_err_raise(UFIB_ERR_ITEM, E_VOBJ_HW_INSTALL);
    return create_failed(vobj, true);
}

ufib_vobj *ufib_get_create_vobj(ufib_vdc *vdc, const ufib_vobj_key *key, const ufib_vobj_hops *hops,
                                const ufib_ha_route *record) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    uint32_t hash;
    ufib_vobj *vobj = ufib_vobj_search(vdc, key, &hash);
    if (vobj == nullptr) vobj = ufib_create_vobj(vdc, key, hops, hash, record);
    ufib_funcstats_end(UFIB_FS_VOBJ_GET_CREATE, &stamp);
    return vobj;
}

void ufib_vobj_delete(ufib_vobj *vobj) {
    ufib_pss_delete_vobj(vobj, UFIB_VOBJ_BOTH);
    ufib_remove_vobj_from_rpf_list(vobj);
    ufib_remove_vobj_from_dirty_list(vobj);
    rows_leave(vobj);
    ufib_vobj_cnhs_release(vobj);
    ufib_retry_vobj_done(vobj);
    ufib_vobj_remove(vobj);
}

/* Of two, one may be refused: the old one first, so that it is known which. */
static bool instances_leave(ufib_vobj *vobj) {
    if (!ufib_vobj_clear_instance(vobj, UFIB_VOBJ_OLD)) return false;
    ufib_remove_vobj_from_dirty_list(vobj);
    return ufib_platform_delete_vobj(vobj, UFIB_VOBJ_BOTH);
}

/* What hardware refuses to let go stays, with all that it leads to, and is asked again. */
void ufib_vobj_destroy(void *, ufib_obj *obj) {
    ufib_vobj *vobj = ufib_obj_to_vobj(obj);
    (void)UFIB_VOBJ_BT_ADD_REC(vobj, UFIB_BT_DESTROY);
    if (!instances_leave(vobj) && !ufib_vdc_is_dying(vobj->vdc_id)) {
        ufib_retry_vobj(vobj);
        return;
    }
    ufib_vobj_delete(vobj);
    ufib_vobj_free(vobj);
}

/* ---- process ---- */

static uint32_t path_count(const void *obj, uint32_t *handle) {
    const auto *vobj = static_cast<const ufib_vobj *>(obj);
    *handle = vobj->obj.handle;
    return vobj->cnh_count;
}

void ufib_vobj_init_types() {
    ufib_obj_size_set(UFIB_OBJ_VOBJ, sizeof(ufib_vobj)); /* without rows */
    ufib_obj_size_set(UFIB_OBJ_VOBJ_FEC, sizeof(ufib_vobj_fec));
    ufib_obj_register(UFIB_OBJ_VOBJ, ufib_vobj_destroy);
    ufib_obj_register(UFIB_OBJ_VOBJ_FEC, ufib_vobj_fec_destroy);
    ufib_path_count_register(UFIB_OBJ_VOBJ, path_count);
    ufib_rnh_init();
    ufib_dirty_vobj_timer_init();
}

void ufib_vobj_reset() {
    vobj_id_counter = 0;
    ufib_vobj_db_reset();
    ufib_dirty_reset();
    ufib_retry_reset();
    ufib_rnh_reset();
}
