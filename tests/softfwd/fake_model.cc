#include "tests/softfwd/fake_model.h"

#include "platform/ufib_pi.h"
#include "platform/ufib_pi_rpf.h"
#include "platform/ufib_pi_tunnel.h"
#include "platform/ufib_platform_api.h"

#include <algorithm>
#include <cstring>

fake_cookie fake_cookie_v4, fake_cookie_v6;
fake_adj *fake_tunnel;
fake_adj *fake_tunnel_v6;

static const fake_prefix *prefix(const void *pfx) { return static_cast<const fake_prefix *>(pfx); }
static const fake_adj *adjacency(const void *adj) { return static_cast<const fake_adj *>(adj); }

static const fake_group *group_of(const void *group) { return static_cast<const fake_group *>(group); }
static void *path_at(const void *group, uint32_t position) {
    return position < group_of(group)->paths.size() ? group_of(group)->paths[position] : nullptr;
}

static int cookie_add(fake_cookie *cookie, void *pfx) {
    const auto at = std::find(cookie->entries.begin(), cookie->entries.end(), pfx);
    if (at != cookie->entries.end()) return static_cast<int>(at - cookie->entries.begin());
    if (cookie->entries.size() == 30) return -1;
    cookie->entries.push_back(pfx);
    cookie->results.push_back(1);
    return static_cast<int>(cookie->entries.size()) - 1;
}

static void *cookie_get(const fake_cookie &cookie, uint32_t index) {
    return index < cookie.entries.size() ? cookie.entries[index] : nullptr;
}

static void cookie_result(fake_cookie *cookie, uint32_t index, int result) {
    if (index < cookie->results.size()) cookie->results[index] = result < 0 ? -1 : 0;
}

static int mac_get(const std::array<uint8_t, 6> &from, bool known, uint8_t mac[6]) {
    if (known) memcpy(mac, from.data(), 6);
    return known ? 0 : -1;
}

extern "C" {

int ufib_pi_pfx_cookie_add(void *pfx) { return cookie_add(&fake_cookie_v4, pfx); }
void *ufib_pi_cookie_pfx_get(uint32_t index) { return cookie_get(fake_cookie_v4, index); }
void ufib_pi_upd_pfx_retval(uint32_t index, int result) { cookie_result(&fake_cookie_v4, index, result); }
void ufib_pi_cookie_proc_set() { fake_cookie_v4.processed = true; }
int ufib6_pi_pfx_cookie_add(void *pfx) { return cookie_add(&fake_cookie_v6, pfx); }
int ufib6_pi_pfx_cookie_del(void *pfx) {
    std::replace(fake_cookie_v6.entries.begin(), fake_cookie_v6.entries.end(), pfx,
                 static_cast<void *>(nullptr));
    return 0;
}
void *ufib6_pi_cookie_pfx_get(uint32_t index) { return cookie_get(fake_cookie_v6, index); }
void ufib6_pi_upd_pfx_retval(uint32_t index, int result) { cookie_result(&fake_cookie_v6, index, result); }
void ufib6_pi_cookie_proc_set() { fake_cookie_v6.processed = true; }

bool ufib_pi_v4prefix_is_local(const void *pfx) { return prefix(pfx)->local; }
bool ufib_pi_v4prefix_is_direct(const void *pfx) { return prefix(pfx)->direct; }
bool ufib_pi_v4prefix_is_attached(const void *) { return false; }
bool ufib_pi_v4prefix_is_ldb(const void *) { return false; }
bool ufib_pi_v4prefix_is_drop(const void *pfx) {
    return prefix(pfx)->next != nullptr && prefix(pfx)->next->drop;
}
void *ufib_pi_v4prefix_get_platform_space(void *pfx) { return static_cast<fake_prefix *>(pfx)->space; }
uint32_t ufib_pi_v4prefix_get_prefix(const void *pfx) { return prefix(pfx)->address; }
uint32_t ufib_pi_v4prefix_get_prefix_len(const void *pfx) { return prefix(pfx)->bits; }
uint32_t ufib_pi_v4prefix_get_handle(const void *pfx) { return prefix(pfx)->handle; }

bool ufib_pi_v6prefix_is_local(const void *pfx) { return prefix(pfx)->local; }
bool ufib_pi_v6prefix_is_direct(const void *pfx) { return prefix(pfx)->direct; }
bool ufib_pi_v6prefix_is_attached(const void *) { return false; }
bool ufib_pi_v6prefix_is_ldb(const void *) { return false; }
bool ufib_pi_v6prefix_is_drop(const void *pfx) { return ufib_pi_v4prefix_is_drop(pfx); }
void *ufib_pi_v6prefix_get_platform_space(void *pfx) { return static_cast<fake_prefix *>(pfx)->space; }
void ufib_pi_v6prefix_get_prefix(const void *pfx, uint8_t address[16]) {
    memcpy(address, prefix(pfx)->address6.data(), 16);
}
uint32_t ufib_pi_v6prefix_get_prefix_len(const void *pfx) { return prefix(pfx)->bits; }
uint32_t ufib_pi_v6prefix_get_handle(const void *pfx) { return prefix(pfx)->handle; }

uint32_t ufib_pi_prefix_get_adj_handle(const void *pfx) {
    if (prefix(pfx)->group != nullptr) return prefix(pfx)->group->handle;
    return prefix(pfx)->next != nullptr ? prefix(pfx)->next->handle : 0;
}
int ufib_pi_prefix_get_sgt(const void *pfx, uint16_t *tag) {
    if (!prefix(pfx)->tagged) return -1;
    *tag = prefix(pfx)->tag;
    return 0;
}
uint32_t ufib_pi_prefix_get_table_handle(const void *pfx) { return prefix(pfx)->table_handle; }
bool ufib_pi_is_v4_prefix(const void *obj) { return prefix(obj)->v4; }

uint32_t ufib_pi_adj_get_handle(const void *adj) { return adjacency(adj)->handle; }
uint32_t ufib_pi_adj_get_format(const void *adj) { return adjacency(adj)->format; }
bool ufib_pi_adj_is_v4(const void *adj) { return adjacency(adj)->v4; }
bool ufib_pi_adj_is_global(const void *adj) { return adjacency(adj)->global; }
bool ufib_pi_adj_is_peer_gw(const void *) { return false; }
void *ufib_pi_adj_get_platform_space(void *adj) { return static_cast<fake_adj *>(adj)->space; }

uint32_t ufib_pi_v4adj_get_if_index(const void *adj) { return adjacency(adj)->if_index; }
bool ufib_pi_v4adj_is_glean(const void *adj) { return adjacency(adj)->glean; }
bool ufib_pi_v4adj_is_mcast_src(const void *) { return false; }
bool ufib_pi_v4adj_is_punt(const void *adj) { return adjacency(adj)->punt; }
bool ufib_pi_v4adj_is_drop(const void *adj) { return adjacency(adj)->drop; }
bool ufib_pi_v4adj_is_attach(const void *) { return false; }
bool ufib_pi_v4adj_is_resolved(const void *adj) { return adjacency(adj)->resolved; }
bool ufib_pi_v4adj_is_nve(const void *) { return false; }
bool ufib_pi_v4adj_is_recir(const void *) { return false; }
int ufib_pi_v4adj_get_smac(const void *adj, uint8_t mac[6]) {
    return mac_get(adjacency(adj)->smac, adjacency(adj)->has_smac, mac);
}
int ufib_pi_v4adj_get_dmac(const void *adj, uint8_t mac[6]) {
    return mac_get(adjacency(adj)->dmac, adjacency(adj)->resolved, mac);
}
uint32_t ufib_pi_v4adj_get_vdc_id(const void *adj) { return adjacency(adj)->vdc_id; }
uint32_t ufib_pi_v4adj_get_nh_addr(const void *adj) { return adjacency(adj)->address; }

uint32_t ufib_pi_v6adj_get_if_index(const void *adj) { return adjacency(adj)->if_index; }
bool ufib_pi_v6adj_is_glean(const void *adj) { return adjacency(adj)->glean; }
bool ufib_pi_v6adj_is_mcast_src(const void *) { return false; }
bool ufib_pi_v6adj_is_punt(const void *adj) { return adjacency(adj)->punt; }
bool ufib_pi_v6adj_is_drop(const void *adj) { return adjacency(adj)->drop; }
bool ufib_pi_v6adj_is_attach(const void *) { return false; }
bool ufib_pi_v6adj_is_resolved(const void *adj) { return adjacency(adj)->resolved; }
int ufib_pi_v6adj_get_smac(const void *adj, uint8_t mac[6]) { return ufib_pi_v4adj_get_smac(adj, mac); }
int ufib_pi_v6adj_get_dmac(const void *adj, uint8_t mac[6]) { return ufib_pi_v4adj_get_dmac(adj, mac); }
uint32_t ufib_pi_v6adj_get_vdc_id(const void *adj) { return adjacency(adj)->vdc_id; }
void ufib_pi_v6adj_get_nh_addr(const void *adj, uint8_t address[16]) {
    memcpy(address, adjacency(adj)->address6.data(), 16);
}

uint32_t ufib_pi_obj_get_hh(const void *group) { return group_of(group)->handle; }
uint32_t ufib_pi_ecmp_get_nhcount(const void *group) {
    return static_cast<uint32_t>(group_of(group)->paths.size());
}
void *ufib_pi_ecmp_get_first(const void *group, uint32_t *position) { return path_at(group, *position = 0); }
void *ufib_pi_ecmp_get_next(const void *group, uint32_t *position) { return path_at(group, ++*position); }
void *ufib_pi_ecmp_get_platform_space(void *group) { return static_cast<fake_group *>(group)->space; }
uint32_t ufib_pi_ecmp_get_vdc_id(const void *group) { return group_of(group)->vdc_id; }

static const fake_vobj *vobj_of(const void *vobj) { return static_cast<const fake_vobj *>(vobj); }
uint64_t ufib_pi_vobj_get_id(const void *vobj) { return vobj_of(vobj)->id; }
uint32_t ufib_pi_vobj_get_vdc_id(const void *vobj) { return vobj_of(vobj)->vdc_id; }
uint32_t ufib_pi_vobj_get_num_cnhs(const void *vobj) {
    return static_cast<uint32_t>(vobj_of(vobj)->paths.size());
}
void *ufib_pi_vobj_get_cnh_at_idx(const void *vobj, uint32_t index) { return vobj_of(vobj)->paths.at(index); }
void *ufib_pi_vobj_cnh_get_adj(const void *cnh) { return const_cast<void *>(cnh); }
uint32_t ufib_pi_vobj_cnh_get_label(const void *) { return 0; }
void *ufib_pi_get_vobj_pltfm_space(void *vobj) { return static_cast<fake_vobj *>(vobj)->space; }
void *ufib_pi_vobj_fec_get_vobj(const void *fec) { return const_cast<void *>(fec); }
void ufib_pi_vobj_get_nhcount_params(const void *vobj, ufib_pi_nhcount_params *out) {
    const fake_vobj *from = vobj_of(vobj);
    *out = {from->old_handle, from->new_handle, from->old_count, from->new_count,
            ufib_pi_vobj_get_num_cnhs(vobj)};
}
void *ufib_pi_prefix_get_next_obj(const void *) { return nullptr; }
bool ufib_pi_is_nh_obj_vobj(const void *) { return false; }

uint32_t ufib_pi_v4pfx_get_if_for_rpf(const void *pfx) { return prefix(pfx)->attached; }
uint32_t ufib_pi_v6pfx_get_if_for_rpf(const void *pfx) { return prefix(pfx)->attached; }

static uint8_t tunnel_type(const void *adj) {
    return adj == nullptr ? uint8_t{0} : adjacency(adj)->tunnel_type;
}
bool ufib_pi_is_v4_tunnel_update(const void *adj) { return tunnel_type(adj) != 0; }
bool ufib_pi_v4adj_is_tunnel_gre(const void *adj) { return tunnel_type(adj) == 1; }
bool ufib_pi_v4adj_is_tunnel_6to4(const void *adj) { return tunnel_type(adj) == 2; }
bool ufib_pi_v4adj_is_tunnel_isatap(const void *adj) { return tunnel_type(adj) == 3; }
bool ufib_pi_v4adj_is_tunnel_sgrp(const void *adj) { return tunnel_type(adj) == 4; }
uint32_t ufib_pi_v4adj_tunnel_df(const void *) { return 0; }
uint32_t ufib_pi_v4adj_tunnel_tos(const void *) { return 0; }
uint32_t ufib_pi_v4adj_tunnel_ttl(const void *adj) { return adj == nullptr ? 0 : 64; }
uint32_t ufib_pi_v4adj_tunnel_sa(const void *adj) {
    return adj == nullptr ? 0 : adjacency(adj)->tunnel_source;
}
uint32_t ufib_pi_v4adj_tunnel_da(const void *adj) {
    return adj == nullptr ? 0 : adjacency(adj)->tunnel_destination;
}
void *ufib_pi_get_tunnel_adj(uint32_t, uint32_t) { return fake_tunnel; }
void *ufib_pi_v4adj_if_get_first(uint32_t, uint32_t) { return nullptr; }
void *ufib_pi_v4adj_if_get_next(const void *) { return nullptr; }
void *ufib_pi_v6adj_get_from_ifindex(uint32_t, uint32_t) { return fake_tunnel_v6; }
void *ufib_pi_v6adj_get_next(const void *) { return nullptr; }

/* Byte 0 is the kind, 4 the destination: this model's own layout. */
void ufib_pi_rew_set_tunnel_encap_gre(ufib_platform_rewrite *rewrite) { rewrite->bytes[0] = 1; }
void ufib_pi_rew_set_tunnel_encap_6to4(ufib_platform_rewrite *rewrite) { rewrite->bytes[0] = 2; }
void ufib_pi_rew_set_tunnel_encap_isatap(ufib_platform_rewrite *rewrite) { rewrite->bytes[0] = 3; }
void ufib_pi_rew_set_tunnel_sgrp(ufib_platform_rewrite *rewrite) { rewrite->bytes[0] = 4; }
void ufib_pi_rew_set_tunnel_df(ufib_platform_rewrite *, bool) {}
void ufib_pi_rew_set_tunnel_tos(ufib_platform_rewrite *, uint8_t) {}
void ufib_pi_rew_set_tunnel_ttl(ufib_platform_rewrite *, uint8_t) {}
void ufib_pi_rew_set_tunnel_v4sa(ufib_platform_rewrite *, uint32_t) {}
void ufib_pi_rew_set_tunnel_v4da(ufib_platform_rewrite *rewrite, uint32_t address) {
    memcpy(rewrite->bytes + 4, &address, sizeof address);
}
void ufib_pi_rew_set_dmac(ufib_platform_rewrite *rewrite, const uint8_t mac[6]) {
    memcpy(rewrite->bytes + UFIB_REWRITE_DMAC, mac, 6);
}

bool ufib_pi_table_is_wildcard(uint32_t table_id) { return table_id == 65534 || table_id == 65535; }
}
