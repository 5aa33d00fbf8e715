#include "ufib/ufib_mac.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_upcalls.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

constexpr uint8_t NO_MAC[6] = {};

/* By key, since nothing promises that an adjacency outlives the write of its neighbour. */
static void rewrite_adjs(ufib_idb *idb, const ufib_family &family, ufib_walk_budget *budget) {
    for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;) {
        uint8_t address[16];
        std::memcpy(address, adj->key.address, sizeof address);
        ufib_adj_rewrite(adj);
        (void)ufib_platform_one_write_ready();
        ufib_walk_step(budget);
        adj = ufib_adj_if_get_next_safe(idb, family, address);
    }
}

static void rewrite_interface(ufib_idb *idb) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (const ufib_family &family : ufib_families) rewrite_adjs(idb, family, &budget);
}

void ufib_update_router_mac(ufib_vdc *vdc, const uint8_t mac[6]) {
    std::memcpy(vdc->desc->mac, mac, sizeof vdc->desc->mac);
    (void)lcfwd_pss_insert_vdc_info(vdc->desc);
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb))
        if ((idb->mac_flags & UFIB_IDB_MAC_KNOWN) == 0) rewrite_interface(idb);
    ufib_rewrite_global_adjs(vdc);
}

void ufib_idb_update_static_if_mac(ufib_vdc *vdc, uint32_t if_index, uint32_t operation,
                                   const uint8_t mac[6]) {
    ufib_idb *idb = ufib_get_create_idb(vdc, if_index);
    if (idb == nullptr) return;
    if (operation == UFIB_STATIC_MAC_ADD) {
        idb->mac_flags |= UFIB_IDB_MAC_KNOWN;
        std::memcpy(idb->mac, mac, sizeof idb->mac);
    } else {
        if ((idb->mac_flags & UFIB_IDB_MAC_KNOWN) == 0) return;
        idb->mac_flags &= static_cast<uint8_t>(~UFIB_IDB_MAC_KNOWN);
    }
    rewrite_interface(idb);
}

void ufib_update_static_if_mac(ufib_vdc *vdc, uint32_t if_index, const uint8_t mac[6]) {
    const bool none = std::memcmp(mac, NO_MAC, sizeof NO_MAC) == 0 ||
                      std::memcmp(mac, vdc->desc->mac, sizeof vdc->desc->mac) == 0;
    ufib_idb_update_static_if_mac(vdc, if_index, none ? UFIB_STATIC_MAC_REMOVE : UFIB_STATIC_MAC_ADD, mac);
}

/* The MAC of nobody stands for "not known", which takes the interface's own away. */
void ufib_update_if_macs_from_gsdb(ufib_vdc *vdc) {
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb)) {
        uint8_t mac[6] = {};
        if (!ufib_get_if_router_mac(vdc->desc->vdc_id, idb->if_index, mac)) std::memset(mac, 0, sizeof mac);
        ufib_update_static_if_mac(vdc, idb->if_index, mac);
    }
}
