/* Accessors: virtual objects. */
#include "platform/ufib_pi.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vobj.h"

static const ufib_vobj *vobj_of(const void *vobj) { return static_cast<const ufib_vobj *>(vobj); }
static const ufib_vobj_fec *fec_of(const void *fec) { return static_cast<const ufib_vobj_fec *>(fec); }
static const ufib_cnh *cnh_of(const void *cnh) { return static_cast<const ufib_cnh *>(cnh); }

static void *cnh_at(const void *vobj, uint32_t index) {
    return vobj == nullptr || index >= vobj_of(vobj)->cnh_count ? nullptr : &vobj_of(vobj)->cnhs[index];
}

static void *prefix_cnh_adj(const void *pfx, uint32_t index) {
    const void *vobj = ufib_pi_is_nh_obj_vobj(pfx) ? ufib_pi_prefix_get_next_obj(pfx) : nullptr;
    return ufib_pi_vobj_cnh_get_adj(cnh_at(vobj, index));
}

extern "C" {

void *ufib_pi_get_vobj_pltfm_space(void *vobj) {
    return vobj == nullptr ? nullptr : static_cast<ufib_vobj *>(vobj)->platform_space;
}

bool ufib_pi_is_nh_obj_vobj(const void *pfx) {
    return ufib_obj_is_vobj(static_cast<const ufib_obj *>(ufib_pi_prefix_get_next_obj(pfx)));
}

void ufib_pi_vobj_get_nhcount_params(const void *vobj, ufib_pi_nhcount_params *out) {
    *out = {};
    if (vobj == nullptr) return;
    *out = {vobj_of(vobj)->old_handle, vobj_of(vobj)->new_handle, vobj_of(vobj)->old_ls_count,
            vobj_of(vobj)->new_ls_count, vobj_of(vobj)->cnh_count};
}

void ufib_pi_vobj_fec_get_nhcount_params(const void *fec, ufib_pi_nhcount_params *out) {
    ufib_pi_vobj_get_nhcount_params(fec == nullptr ? nullptr : fec_of(fec)->vobj, out);
    if (fec == nullptr) return;
    out->old_handle = fec_of(fec)->old_handle;
    out->new_handle = fec_of(fec)->new_handle;
}

uint32_t ufib_pi_vobj_fec_get_cur_hw_handle(const void *fec) {
    return fec == nullptr ? 0 : fec_of(fec)->new_handle;
}
uint32_t ufib_pi_vobj_fec_get_old_hw_handle(const void *fec) {
    return fec == nullptr ? 0 : fec_of(fec)->old_handle;
}
void *ufib_pi_vobj_fec_get_vobj(const void *fec) { return fec == nullptr ? nullptr : fec_of(fec)->vobj; }

uint64_t ufib_pi_vobj_get_id(const void *vobj) { return vobj == nullptr ? 0 : vobj_of(vobj)->id; }
uint32_t ufib_pi_vobj_get_vdc_id(const void *vobj) { return vobj == nullptr ? 0 : vobj_of(vobj)->vdc_id; }

uint32_t ufib_pi_vobj_get_num_cnhs(const void *vobj) {
    return vobj == nullptr ? 0 : vobj_of(vobj)->cnh_count;
}
void *ufib_pi_vobj_get_first_cnh(const void *vobj) { return cnh_at(vobj, 0); }
void *ufib_pi_vobj_get_next_cnh(const void *vobj, const void *cnh) {
    if (vobj == nullptr || cnh == nullptr) return nullptr;
    return cnh_at(vobj, static_cast<uint32_t>(cnh_of(cnh) - vobj_of(vobj)->cnhs) + 1);
}
void *ufib_pi_vobj_get_cnh_at_idx(const void *vobj, uint32_t index) { return cnh_at(vobj, index); }

void *ufib_pi_vobj_cnh_get_adj(const void *cnh) { return cnh == nullptr ? nullptr : cnh_of(cnh)->obj; }
uint32_t ufib_pi_vobj_cnh_get_label(const void *cnh) { return cnh == nullptr ? 0 : cnh_of(cnh)->label; }
uint32_t ufib_pi_vobj_cnh_get_te_if_index(const void *cnh) {
    return cnh == nullptr ? 0 : cnh_of(cnh)->te_if_index;
}
bool ufib_pi_is_vobj_cnh_seg(const void *cnh) {
    return cnh != nullptr && (cnh_of(cnh)->flags & UFIB_CNH_SEGMENT) != 0;
}

void *ufib_pi_v4pfx_get_first_cnh_adj(const void *pfx, uint32_t *position) {
    *position = 0;
    return prefix_cnh_adj(pfx, 0);
}
void *ufib_pi_v4pfx_get_next_cnh_adj(const void *pfx, uint32_t *position) {
    return prefix_cnh_adj(pfx, ++*position);
}
void *ufib_pi_v6pfx_get_first_cnh_adj(const void *pfx, uint32_t *position) {
    return ufib_pi_v4pfx_get_first_cnh_adj(pfx, position);
}
void *ufib_pi_v6pfx_get_next_cnh_adj(const void *pfx, uint32_t *position) {
    return ufib_pi_v4pfx_get_next_cnh_adj(pfx, position);
}
}
