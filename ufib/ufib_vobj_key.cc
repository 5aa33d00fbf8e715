/* Keys of virtual objects: what makes two recursive routes share one. */
#include "host/containers/djb_hash.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_vobj.h"

#include <cstring>

/* A hop tells its family by its mask: a route may have next hops of the other one. */
static const ufib_family &hop_family(const ufib_family &route, const nh_rec *hop) {
    if (hop->nh_len == ufib_v4.max_len) return ufib_v4;
    if (hop->nh_len == ufib_v6.max_len) return ufib_v6;
    return route;
}

/* Labels belong to recursive hops; a plain one has them on the adjacency that its prefix makes. */
static uint32_t row_label(const nh_rec *hop) {
    uint32_t segment = 0;
    if ((hop->flags & NH_SEGMENT) != 0) return ufib_nh_get_seg_id(hop, &segment) ? segment : 0;
    if ((hop->flags & NH_RNH) == 0) return 0;
    ufib_nh_labels labels;
    ufib_nh_get_labels(hop, &labels);
    return labels.count == 0 ? 0 : labels.label[0];
}

static int row_fill(const ufib_family &route, const nh_rec *hop, ufib_vobj_key_row *row) {
    const ufib_family &family = hop_family(route, hop);
    if (hop->nh_len > family.max_len) return -1;
    std::memcpy(row->address, hop->nh_address, family.addr_bytes);
    row->label = row_label(hop);
    row->table_id = wire_get(hop->table_id);
    row->active = (hop->flags & NH_BACKUP) == 0;
    row->is_rnh = (hop->flags & NH_RNH) != 0;
    row->is_v4 = family.index == ufib_v4.index;
    row->has_segment = (hop->flags & NH_SEGMENT) != 0;
    row->is_nve = (hop->flags & NH_NVE) != 0;
    row->mask_len = hop->nh_len;
    return 0;
}

int ufib_vobj_route_to_key(const ufib_family &family, uint32_t route_mask_len, const ufib_nh_list *hops,
                           ufib_vobj_key *key, ufib_vobj_hops *out) {
    std::memset(key, 0, sizeof *key);
    bool good = hops->count != 0;
    for (const nh_rec *hop = ufib_nh_first(hops); good && hop != nullptr; hop = ufib_nh_next(hops, hop)) {
        good = key->row_count < UFIB_VOBJ_ROWS_MAX && row_fill(family, hop, &key->rows[key->row_count]) == 0;
        if (good) out->hop[key->row_count++] = hop;
    }
    key->host = route_mask_len == family.max_len;
    if (!good) ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    return good ? 0 : -1;
}

uint32_t ufib_vobj_hash(const ufib_vobj_key *key) {
    const size_t unused = (UFIB_VOBJ_ROWS_MAX - key->row_count) * sizeof(ufib_vobj_key_row);
    return djb_hash(key, sizeof *key - unused);
}

static bool row_equal(const ufib_vobj_row &row, const ufib_vobj_key_row &key) {
    const auto flag = [&row](uint32_t bit) { return static_cast<uint32_t>((row.flags & bit) != 0); };
    return flag(UFIB_VOBJ_ROW_SEGMENT) == key.has_segment && row.label == key.label &&
           row.table_id == key.table_id && flag(UFIB_VOBJ_ROW_ACTIVE) == key.active &&
           flag(UFIB_VOBJ_ROW_RNH) == key.is_rnh && flag(UFIB_VOBJ_ROW_NVE) == key.is_nve &&
           flag(UFIB_VOBJ_ROW_V4) == key.is_v4 && row.mask_len == key.mask_len &&
           std::memcmp(row.address, key.address, key.is_v4 != 0 ? 4 : 16) == 0;
}

bool ufib_vobj_compare(const ufib_vobj *vobj, const ufib_vobj_key *key) {
    if (!ufib_obj_is_vobj(&vobj->obj) || vobj->row_count != key->row_count || vobj->host != key->host)
        return false;
    for (uint32_t i = 0; i < key->row_count; i++)
        if (!row_equal(ufib_vobj_rows(vobj)[i], key->rows[i])) return false;
    return true;
}

static bool any_row(const ufib_vobj *vobj, uint32_t flag) {
    for (uint32_t i = 0; i < vobj->row_count; i++)
        if ((ufib_vobj_rows(vobj)[i].flags & flag) != 0) return true;
    return false;
}

bool ufib_vobj_has_rnh(const ufib_vobj *vobj) { return any_row(vobj, UFIB_VOBJ_ROW_RNH); }
bool ufib_vobj_has_nve(const ufib_vobj *vobj) { return any_row(vobj, UFIB_VOBJ_ROW_NVE); }
bool ufib_vobj_rnh_has_nve(const ufib_vobj *vobj) {
    return ufib_vobj_has_nve(vobj) && ufib_vobj_has_rnh(vobj);
}

bool ufib_vobj_key_rnh_has_nve(const ufib_vobj_key *key) {
    uint32_t nve = 0, rnh = 0;
    for (uint32_t i = 0; i < key->row_count; i++) {
        nve |= key->rows[i].is_nve;
        rnh |= key->rows[i].is_rnh;
    }
    return nve != 0 && rnh != 0;
}

bool ufib_vobj_has_mpls_cnhs(const ufib_vobj *vobj) {
    for (uint32_t i = 0; i < vobj->cnh_count; i++)
        if (ufib_obj_type_of(vobj->cnhs[i].obj) == UFIB_OBJ_MPLS_ADJ) return true;
    return false;
}

void ufib_vobj_xri_save(ufib_vobj *vobj, const nh_xri *xri) {
    static_assert(sizeof vobj->xri == sizeof *xri);
    std::memcpy(vobj->xri, xri, sizeof vobj->xri);
    vobj->extra_flags |= UFIB_VOBJ_XRI_VALID;
}
