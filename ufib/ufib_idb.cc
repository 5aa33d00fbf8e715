#include "ufib/ufib_idb.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "core/ufib_err.h"
#include "host/containers/heap.h"
#include "host/containers/slab.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_dpl.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

constexpr uint32_t IDB_PER_SLAB = 128;

static slab *idb_slab;
static ufib_dpl idb_delete_pending_list;

static int if_index_compare(const void *a, const void *b) {
    uint32_t left, right;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left == right ? 0 : left > right ? 1 : 2;
}

static ufib_idb *idb_of(ravl_node *node) { return ravl_object<ufib_idb>(node, offsetof(ufib_idb, by_index)); }

void ufib_idb_db_init(ufib_vdc *vdc) {
    (void)ravl_init(&vdc->idbs, sizeof(uint32_t), offsetof(ufib_idb, if_index) - offsetof(ufib_idb, by_index),
                    if_index_compare);
}

/* An interface without a MAC of its own may be a VLAN interface, which has it elsewhere. */
bool ufib_get_if_router_mac(uint32_t vdc_id, uint32_t if_index, uint8_t mac[6]) {
    if (ethpm_gldb_get_interface_router_mac(if_index, vdc_id, mac) == 0) return true;
    return if_index_get_type(if_index) == IF_TYPE_SVI &&
           svi_gldb_get_interface_router_mac(if_index, vdc_id, mac) == 0;
}

static void ufib_idb_init(ufib_idb *idb, uint32_t vdc_id, uint32_t if_index) {
    idb->if_index = if_index;
    idb->vdc_id = static_cast<uint16_t>(vdc_id);
    if (ufib_get_if_router_mac(vdc_id, if_index, idb->mac)) idb->mac_flags |= UFIB_IDB_MAC_KNOWN;
    for (ravl_tree &tree : idb->adjs) ufib_adj_tree_init(&tree);
    if (ufib_hook.te_local_db_init != nullptr) ufib_hook.te_local_db_init(idb);
}

static ufib_idb *ufib_idb_create(ufib_vdc *vdc, uint32_t if_index) {
    if (if_index == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_IDB_BAD_INT);
        UFIB_ERR("req to create idb with 0 if_index");
        return nullptr;
    }
    if (idb_slab == nullptr) idb_slab = slab_create("ufib idb allocator", sizeof(ufib_idb), IDB_PER_SLAB);
    auto *idb = idb_slab == nullptr ? nullptr : static_cast<ufib_idb *>(slab_calloc(idb_slab));
    if (idb == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_IDB_NOMEM);
        UFIB_ERR("idb create failed for if_index %x", if_index);
        return nullptr;
    }
    ufib_idb_init(idb, vdc->desc->vdc_id, if_index);
    (void)ravl_insert(&vdc->idbs, &idb->by_index);
    return idb;
}

ufib_idb *ufib_idb_search(ufib_vdc *vdc, uint32_t if_index) {
    return idb_of(ravl_lookup(&vdc->idbs, &if_index));
}

ufib_idb *ufib_get_create_idb(ufib_vdc *vdc, uint32_t if_index) {
    ufib_idb *idb = ufib_idb_search(vdc, if_index);
    return idb != nullptr ? idb : ufib_idb_create(vdc, if_index);
}

ufib_idb *ufib_idb_get_first(ufib_vdc *vdc) { return idb_of(ravl_first(&vdc->idbs)); }
ufib_idb *ufib_idb_get_next(const ufib_idb *idb) { return idb_of(ravl_next(&idb->by_index)); }
ufib_idb *ufib_idb_get_next_safe(ufib_vdc *vdc, uint32_t if_index) {
    return idb_of(ravl_next_from_key(&vdc->idbs, &if_index));
}

void ufib_idb_hold(ufib_idb *idb, uint32_t bit) { idb->holders |= static_cast<uint8_t>(1u << bit); }

void ufib_idb_release(ufib_idb *idb, uint32_t bit) {
    idb->holders &= static_cast<uint8_t>(~(1u << bit));
    if (idb->holders == 0) (void)ufib_idb_dpl_queue(idb);
}

bool ufib_idb_has_adjacencies(const ufib_idb *idb) {
    return !ravl_is_empty(&idb->adjs[0]) || !ravl_is_empty(&idb->adjs[1]);
}

static void ufib_idb_free(ufib_idb *idb) {
    if (idb_slab == nullptr) {
        UFIB_ERR("deleting idb with missing slab header");
        ufib_err_raise(UFIB_ERR_ITEM, E_VDC_DEL_IDB_NOSLAB);
        return;
    }
    slab_free(idb_slab, idb);
}

/* An engine that went on checking would drop for an interface that comes later under the same number. */
static void rpf_end(const ufib_idb *idb) {
    if ((idb->rpf_mode[0] | idb->rpf_mode[1]) == 0) return;
    (void)ufib_platform_update_intf_rpf(idb->vdc_id, idb->if_index, 0, 0);
}

void ufib_idb_destroy(ufib_vdc *vdc, ufib_idb *idb, bool force) {
    if (idb->holders != 0 && !force) return;
    rpf_end(idb);
    if (ufib_idb_has_adjacencies(idb)) ufib_err_raise(UFIB_ERR_ITEM, E_VDC_DEL_IDB_WITH_ADJ);
    ufib_pss_delete_rpf(idb);
    (void)ravl_delete(&vdc->idbs, &idb->by_index);
    ufib_idb_free(idb);
}

void ufib_idb_db_destroy(ufib_vdc *vdc) {
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_first(vdc))
        ufib_idb_destroy(vdc, idb, true);
}

int ufib_create_vdc_global_dummy_idb(ufib_vdc *vdc) {
    vdc->dummy_idb = static_cast<ufib_idb *>(heap_calloc(1, sizeof(ufib_idb)));
    if (vdc->dummy_idb == nullptr) return -1;
    vdc->dummy_idb->vdc_id = vdc->desc->vdc_id;
    return 0;
}

void ufib_delete_vdc_global_dummy_idb(ufib_vdc *vdc) {
    std::free(vdc->dummy_idb);
    vdc->dummy_idb = nullptr;
}

void ufib_idb_dpl_init() { (void)lcfwd_timer_make(LCFWD_TIMER_IDB_DPL, ufib_idb_dpl_timer_expired, nullptr); }

int ufib_idb_dpl_queue(const ufib_idb *idb) {
    if (ufib_dpl_queue(&idb_delete_pending_list, idb->vdc_id, idb->if_index) == 0) return 0;
    if (!ufib_idb_dpl_timer_running()) (void)ufib_idb_dpl_timer_start();
    return 1;
}

void ufib_idb_dpl_clear() {
    uint32_t vdc_id, if_index;
    while (ufib_dpl_dequeue(&idb_delete_pending_list, &vdc_id, &if_index)) {
        ufib_cur_vdc_id = vdc_id;
        ufib_vdc *vdc = ufib_vdc_get(vdc_id);
        ufib_idb *idb = vdc == nullptr ? nullptr : ufib_idb_search(vdc, if_index);
        if (idb != nullptr) ufib_idb_destroy(vdc, idb, false);
    }
    (void)ufib_platform_all_writes_ready(); /* no bracket follows a timer */
}

void ufib_idb_dpl_timer_expired(void *) { ufib_idb_dpl_clear(); }

void ufib_idb_reset() {
    ufib_dpl_reset(&idb_delete_pending_list);
    idb_slab = nullptr;
}
