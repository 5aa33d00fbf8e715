#include "ufib/ufib_nh_key.h"

#include "core/lcfwd_log.h"
#include "host/containers/heap.h"
#include "host/interfaces/interfaces.h"
#include "ufib/ufib_hooks.h"

#include <cstdlib>
#include <cstring>

static bool is_te_interface(ufib_vdc *vdc, uint32_t if_index) {
    return ufib_hook.te_is_te_interface != nullptr && ufib_hook.te_is_te_interface(vdc, if_index);
}

/* The tunnel's way out, unless it is a master tunnel, which stands for itself. */
static void te_resolve(ufib_vdc *vdc, ufib_nh_key *out) {
    const uint32_t te_if_index = out->key.if_index;
    out->has_mpls = true;
    out->mpls.active = true;
    out->mpls.te_if_index = te_if_index;
    out->mpls.master_tunnel =
        ufib_hook.te_is_master_tunnel != nullptr && ufib_hook.te_is_master_tunnel(vdc, te_if_index);
    if (out->mpls.master_tunnel) return;
    if (ufib_hook.te_get_out_if_index != nullptr &&
        ufib_hook.te_get_out_if_index(vdc, te_if_index, &out->key) == 0)
        return;
    UFIB_ERR("Te node not found for if index 0x%x", te_if_index);
    if (ufib_hook.te_create_null_tunnel != nullptr) ufib_hook.te_create_null_tunnel(vdc, te_if_index);
    out->key = {};
    (void)vsh_interface_name_to_ifindex("Null0", &out->key.if_index);
}

void ufib_adj_nhinfo_to_key(ufib_vdc *vdc, const ufib_family &family, const nh_rec *nh, ufib_nh_key *out) {
    *out = {};
    out->key.if_index = wire_get(nh->if_index);
    std::memcpy(out->key.address, nh->nh_address, family.addr_bytes);
    ufib_nh_get_labels(nh, &out->labels);
    out->has_mpls = out->labels.count != 0;
    out->mpls.labels = out->labels.label;
    out->mpls.label_count = out->labels.count;
    out->mpls.operation = nh->label_op;
    if (is_te_interface(vdc, out->key.if_index)) te_resolve(vdc, out);
    out->mpls.if_index = out->key.if_index;
    std::memcpy(out->mpls.next_hop, out->key.address, sizeof out->mpls.next_hop);
}

struct xri_block { /* what ufib_adj::xri points at */
    uint32_t length;
    nh_xri info;
};

static uint8_t *ufib_adj_xri_alloc() {
    auto *block = static_cast<xri_block *>(heap_calloc(1, sizeof(xri_block)));
    if (block == nullptr) {
        UFIB_ERR("no memory for extra route information");
        return nullptr;
    }
    block->length = sizeof(nh_xri);
    return reinterpret_cast<uint8_t *>(block);
}

void ufib_adj_xri_save(ufib_adj *adj, const nh_xri *xri) {
    if (adj->xri == nullptr) adj->xri = ufib_adj_xri_alloc();
    if (adj->xri != nullptr) reinterpret_cast<xri_block *>(adj->xri)->info = *xri;
}

const nh_xri *ufib_adj_xri(const ufib_adj *adj) {
    return adj->xri == nullptr ? nullptr : &reinterpret_cast<const xri_block *>(adj->xri)->info;
}
