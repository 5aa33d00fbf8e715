/* Accessors: adjacencies. */
#include "core/lcfwd_vdc.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_pi_tunnel.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

static const ufib_adj *adj_of(const void *adj) { return static_cast<const ufib_adj *>(adj); }

static bool has_flag(const void *adj, uint32_t flag) {
    return adj != nullptr && (adj_of(adj)->flags & flag) != 0;
}
static bool held_by(const void *adj, uint8_t holder) {
    return adj != nullptr && (adj_of(adj)->holders & holder) != 0;
}

static int source_mac(const void *object, uint8_t mac[6]) {
    if (object == nullptr) return -1;
    const ufib_adj *adj = adj_of(object);
    if (adj->idb != nullptr && (adj->idb->mac_flags & UFIB_IDB_MAC_KNOWN) != 0) {
        std::memcpy(mac, adj->idb->mac, sizeof adj->idb->mac);
        return 0;
    }
    return lcfwd_vdc_router_mac(ufib_adj_vdc_id(adj), mac);
}

static int destination_mac(const void *object, uint8_t mac[6]) {
    if (object == nullptr) return -1;
    if (!has_flag(object, UFIB_ADJ_RESOLVED) && !ufib_pi_is_v4_tunnel_update(object)) return -1;
    std::memcpy(mac, adj_of(object)->rewrite.bytes + UFIB_REWRITE_DMAC, 6);
    return 0;
}

static void *first_adj(uint32_t vdc_id, const ufib_family &family) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? nullptr : ufib_adj_get_first(vdc, family);
}

static void *if_first(uint32_t vdc_id, uint32_t if_index, const ufib_family &family) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    const ufib_idb *idb = vdc == nullptr ? nullptr : ufib_idb_search(vdc, if_index);
    return idb == nullptr ? nullptr : ufib_adj_if_get_first(idb, family);
}

extern "C" {

uint32_t ufib_pi_obj_get_hh(const void *obj) {
    return ufib_obj_get_hardware_handle(static_cast<const ufib_obj *>(obj));
}
uint32_t ufib_pi_adj_get_hh(const void *adj) { return ufib_pi_obj_get_hh(adj); }
uint32_t ufib_pi_adj_get_handle(const void *adj) { return ufib_pi_obj_get_hh(adj); }
void ufib_pi_adj_set_handle(void *adj, uint32_t handle) {
    ufib_obj_set_hardware_handle(static_cast<ufib_obj *>(adj), handle);
}
uint32_t ufib_pi_adj_get_format(const void *adj) { return adj == nullptr ? 0 : adj_of(adj)->kind; }
bool ufib_pi_adj_held_by_pbr(const void *adj) { return held_by(adj, UFIB_ADJ_HELD_PBR); }
bool ufib_pi_adj_held_by_wccp(const void *adj) { return held_by(adj, UFIB_ADJ_HELD_WCCP); }
bool ufib_pi_adj_is_tunnel(const void *adj) { return adj != nullptr && adj_of(adj)->kind == UFIB_ADJ_TUNNEL; }
bool ufib_pi_adj_is_global(const void *adj) {
    if (adj == nullptr || adj_of(adj)->idb == nullptr) return false;
    const ufib_vdc *vdc = ufib_vdc_get(adj_of(adj)->idb->vdc_id);
    return vdc != nullptr && adj_of(adj)->idb == vdc->dummy_idb;
}
uint32_t ufib_pi_adj_get_acl_refcount(const void *adj) {
    return adj == nullptr ? 0 : uint32_t{adj_of(adj)->pbr_count} + adj_of(adj)->wccp_count;
}
bool ufib_pi_adj_is_v4(const void *adj) {
    return adj != nullptr && ufib_adj_family(adj_of(adj)).index == UFIB_STATS_V4;
}
bool ufib_pi_adj_is_peer_gw(const void *adj) { return has_flag(adj, UFIB_ADJ_PEER_GW); }
void *ufib_pi_adj_get_platform_space(void *adj) {
    return adj == nullptr ? nullptr : ufib_adj_platform_space(static_cast<ufib_adj *>(adj));
}

static uint32_t if_index_of(const void *adj) { return adj == nullptr ? 0 : adj_of(adj)->key.if_index; }
static uint32_t vdc_id_of(const void *adj) { return adj == nullptr ? 0 : ufib_adj_vdc_id(adj_of(adj)); }
static void *next_adj(const void *adj) { return adj == nullptr ? nullptr : ufib_adj_get_next(adj_of(adj)); }

void *ufib_pi_v4adj_get_platform_space(void *adj) { return ufib_pi_adj_get_platform_space(adj); }
uint32_t ufib_pi_v4adj_get_if_index(const void *adj) { return if_index_of(adj); }
bool ufib_pi_v4adj_is_glean(const void *adj) { return has_flag(adj, UFIB_ADJ_GLEAN); }
bool ufib_pi_v4adj_is_mcast_src(const void *adj) { return has_flag(adj, UFIB_ADJ_MCAST_SRC); }
bool ufib_pi_v4adj_is_punt(const void *adj) { return has_flag(adj, UFIB_ADJ_PUNT); }
bool ufib_pi_v4adj_is_drop(const void *adj) { return has_flag(adj, UFIB_ADJ_DROP); }
bool ufib_pi_v4adj_is_attach(const void *adj) { return has_flag(adj, UFIB_ADJ_ATTACHED); }
bool ufib_pi_v4adj_is_resolved(const void *adj) { return has_flag(adj, UFIB_ADJ_RESOLVED); }
bool ufib_pi_v4adj_is_nve(const void *adj) { return has_flag(adj, UFIB_ADJ_NVE); }
bool ufib_pi_v4adj_is_recir(const void *adj) { return has_flag(adj, UFIB_ADJ_RECIRCULATE); }
int ufib_pi_v4adj_get_smac(const void *adj, uint8_t mac[6]) { return source_mac(adj, mac); }
int ufib_pi_v4adj_get_dmac(const void *adj, uint8_t mac[6]) { return destination_mac(adj, mac); }
uint32_t ufib_pi_v4adj_get_vdc_id(const void *adj) { return vdc_id_of(adj); }
uint32_t ufib_pi_v4adj_get_nh_addr(const void *adj) {
    return adj == nullptr ? 0 : ufib_v4_addr(adj_of(adj)->key.address);
}
void *ufib_pi_v4adj_get_first(uint32_t vdc_id) { return first_adj(vdc_id, ufib_v4); }
void *ufib_pi_v4adj_get_next(const void *adj) { return next_adj(adj); }
void *ufib_pi_v4adj_get_from_ifindex(uint32_t vdc_id, uint32_t if_index) {
    return if_first(vdc_id, if_index, ufib_v4);
}
void *ufib_pi_v4adj_if_get_first(uint32_t vdc_id, uint32_t if_index) {
    return if_first(vdc_id, if_index, ufib_v4);
}
void *ufib_pi_v4adj_if_get_next(const void *adj) {
    return adj == nullptr ? nullptr : ufib_adj_if_get_next(adj_of(adj));
}

void *ufib_pi_v6adj_get_platform_space(void *adj) { return ufib_pi_adj_get_platform_space(adj); }
uint32_t ufib_pi_v6adj_get_if_index(const void *adj) { return if_index_of(adj); }
bool ufib_pi_v6adj_is_glean(const void *adj) { return has_flag(adj, UFIB_ADJ_GLEAN); }
bool ufib_pi_v6adj_is_mcast_src(const void *adj) { return has_flag(adj, UFIB_ADJ_MCAST_SRC); }
bool ufib_pi_v6adj_is_punt(const void *adj) { return has_flag(adj, UFIB_ADJ_PUNT); }
bool ufib_pi_v6adj_is_drop(const void *adj) { return has_flag(adj, UFIB_ADJ_DROP); }
bool ufib_pi_v6adj_is_attach(const void *adj) { return has_flag(adj, UFIB_ADJ_ATTACHED); }
bool ufib_pi_v6adj_is_resolved(const void *adj) { return has_flag(adj, UFIB_ADJ_RESOLVED); }
int ufib_pi_v6adj_get_smac(const void *adj, uint8_t mac[6]) { return source_mac(adj, mac); }
int ufib_pi_v6adj_get_dmac(const void *adj, uint8_t mac[6]) { return destination_mac(adj, mac); }
uint32_t ufib_pi_v6adj_get_vdc_id(const void *adj) { return vdc_id_of(adj); }
void ufib_pi_v6adj_get_nh_addr(const void *adj, uint8_t address[16]) {
    if (adj == nullptr)
        std::memset(address, 0, 16);
    else
        std::memcpy(address, adj_of(adj)->key.address, 16);
}
void *ufib_pi_v6adj_get_first(uint32_t vdc_id) { return first_adj(vdc_id, ufib_v6); }
void *ufib_pi_v6adj_get_next(const void *adj) { return next_adj(adj); }
void *ufib_pi_v6adj_get_from_ifindex(uint32_t vdc_id, uint32_t if_index) {
    return if_first(vdc_id, if_index, ufib_v6);
}
}
