/* Accessors: tunnel adjacencies and rewrites. */
#include "platform/ufib_pi_tunnel.h"

#include "ufib/ufib_idb.h"
#include "ufib/ufib_tunnel.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

constexpr size_t REWRITE_SMAC = 8; /* of a plain rewrite, before the destination MAC */

static ufib_tunnel_rewrite tunnel_of(const ufib_platform_rewrite &rewrite) {
    ufib_tunnel_rewrite tunnel;
    std::memcpy(&tunnel, rewrite.bytes, sizeof tunnel);
    return tunnel;
}

/* All zero for what is no tunnel. */
static ufib_tunnel_rewrite tunnel_of(const void *object) {
    const auto *adj = static_cast<const ufib_adj *>(object);
    return adj == nullptr || adj->kind != UFIB_ADJ_TUNNEL ? ufib_tunnel_rewrite{} : tunnel_of(adj->rewrite);
}

template <typename change> static void rewrite_change(ufib_platform_rewrite *rewrite, change apply) {
    if (rewrite == nullptr) return;
    ufib_tunnel_rewrite tunnel = tunnel_of(*rewrite);
    apply(&tunnel);
    std::memcpy(rewrite->bytes, &tunnel, sizeof tunnel);
}

static void type_set(ufib_platform_rewrite *rewrite, uint8_t type) {
    rewrite_change(rewrite, [=](ufib_tunnel_rewrite *tunnel) { tunnel->type = type; });
}

static void flag_set(ufib_platform_rewrite *rewrite, uint8_t flag, bool on) {
    rewrite_change(rewrite, [=](ufib_tunnel_rewrite *tunnel) {
        tunnel->flags = static_cast<uint8_t>(on ? tunnel->flags | flag : tunnel->flags & ~flag);
    });
}

static uint32_t address_get(const uint8_t bytes[4]) {
    uint32_t address;
    std::memcpy(&address, bytes, sizeof address);
    return address;
}

/* The IPv4 address inside an IPv6 one: RFC 3056 2, RFC 5214 6.1, RFC 4291 2.5.5.2. */
static bool address_inside(const uint8_t address[16], uint32_t *out) {
    static constexpr uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    static constexpr uint8_t isatap[3] = {0, 0x5e, 0xfe}; /* before it 0x00 or 0x02: local or global */
    if (address[0] == 0x20 && address[1] == 0x02)
        *out = ufib_v4_addr(address + 2);
    else if (std::memcmp(address, mapped, sizeof mapped) == 0 ||
             ((address[8] & 0xfd) == 0 && std::memcmp(address + 9, isatap, sizeof isatap) == 0))
        *out = ufib_v4_addr(address + 12);
    else
        return false;
    return true;
}

extern "C" {

uint32_t ufib_pi_v4adj_tunnel_df(const void *adj) { return tunnel_of(adj).flags & UFIB_TUNNEL_DF; }
uint32_t ufib_pi_v4adj_tunnel_tos(const void *adj) { return tunnel_of(adj).tos; }
uint32_t ufib_pi_v4adj_tunnel_ttl(const void *adj) { return tunnel_of(adj).ttl; }
uint32_t ufib_pi_v4adj_tunnel_sa(const void *adj) { return address_get(tunnel_of(adj).source); }
uint32_t ufib_pi_v4adj_tunnel_da(const void *adj) { return address_get(tunnel_of(adj).destination); }
bool ufib_pi_v4adj_is_tunnel_gre(const void *adj) { return tunnel_of(adj).type == UFIB_TUNNEL_GRE; }
bool ufib_pi_v4adj_is_tunnel_sgrp(const void *adj) { return tunnel_of(adj).type == UFIB_TUNNEL_SGRP; }
bool ufib_pi_v4adj_is_tunnel_isatap(const void *adj) { return tunnel_of(adj).type == UFIB_TUNNEL_ISATAP; }
bool ufib_pi_v4adj_is_tunnel_6to4(const void *adj) { return tunnel_of(adj).type == UFIB_TUNNEL_6TO4; }
bool ufib_pi_is_v4_tunnel_update(const void *adj) { return tunnel_of(adj).type != 0; }

int ufib_pi_v4_adj_get_tunnel_src(const void *adj, uint32_t *address) {
    if (!ufib_pi_is_v4_tunnel_update(adj)) return -1;
    *address = ufib_pi_v4adj_tunnel_sa(adj);
    return 0;
}
int ufib_pi_v4_adj_get_tunnel_dest(const void *adj, uint32_t *address) {
    if (!ufib_pi_is_v4_tunnel_update(adj)) return -1;
    *address = ufib_pi_v4adj_tunnel_da(adj);
    return 0;
}
int ufib_pi_get_v4_tunnel_src(uint32_t vdc_id, uint32_t if_index, uint32_t *address) {
    return ufib_pi_v4_adj_get_tunnel_src(ufib_pi_get_tunnel_adj(vdc_id, if_index), address);
}
int ufib_pi_get_v4_tunnel_dest(uint32_t vdc_id, uint32_t if_index, uint32_t *address) {
    return ufib_pi_v4_adj_get_tunnel_dest(ufib_pi_get_tunnel_adj(vdc_id, if_index), address);
}

void *ufib_pi_get_tunnel_adj(uint32_t vdc_id, uint32_t if_index) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? nullptr : ufib_get_tunnel_adj_from_ifindex(vdc, if_index);
}
uint32_t ufib_pi_get_tunnel_if_index(const void *object) {
    const auto *adj = static_cast<const ufib_adj *>(object);
    return adj == nullptr || adj->kind != UFIB_ADJ_TUNNEL ? 0 : adj->key.if_index;
}
void *ufib_pi_v4_adj_get_frm_if_idx_nh(uint32_t vdc_id, uint32_t if_index, uint32_t next_hop) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_adj_key key = {if_index, {}};
    const wire_be<uint32_t> address = wire_put(next_hop);
    std::memcpy(key.address, address.raw, sizeof address.raw);
    return vdc == nullptr ? nullptr : ufib_adj_search(vdc, ufib_v4, key);
}

void ufib_pi_rew_set_tunnel_encap_gre(ufib_platform_rewrite *rewrite) { type_set(rewrite, UFIB_TUNNEL_GRE); }
void ufib_pi_rew_set_tunnel_encap_6to4(ufib_platform_rewrite *rewrite) {
    type_set(rewrite, UFIB_TUNNEL_6TO4);
}
void ufib_pi_rew_set_tunnel_encap_isatap(ufib_platform_rewrite *rewrite) {
    type_set(rewrite, UFIB_TUNNEL_ISATAP);
}
void ufib_pi_rew_set_tunnel_sgrp(ufib_platform_rewrite *rewrite) { type_set(rewrite, UFIB_TUNNEL_SGRP); }
void ufib_pi_rew_set_tunnel_df_cfgd(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_DF_CFGD, on);
}
void ufib_pi_rew_set_tunnel_df(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_DF, on);
}
void ufib_pi_rew_set_tunnel_df_inner(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_DF_INNER, on);
}
void ufib_pi_rew_set_tunnel_tos_cfgd(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_TOS_CFGD, on);
}
void ufib_pi_rew_set_tunnel_tos(ufib_platform_rewrite *rewrite, uint8_t tos) {
    rewrite_change(rewrite, [=](ufib_tunnel_rewrite *tunnel) { tunnel->tos = tos; });
}
void ufib_pi_rew_set_tunnel_tos_inner(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_TOS_INNER, on);
}
void ufib_pi_rew_set_tunnel_ttl_cfgd(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_TTL_CFGD, on);
}
void ufib_pi_rew_set_tunnel_ttl(ufib_platform_rewrite *rewrite, uint8_t ttl) {
    rewrite_change(rewrite, [=](ufib_tunnel_rewrite *tunnel) { tunnel->ttl = ttl; });
}
void ufib_pi_rew_set_tunnel_ttl_inner(ufib_platform_rewrite *rewrite, bool on) {
    flag_set(rewrite, UFIB_TUNNEL_TTL_INNER, on);
}
void ufib_pi_rew_set_tunnel_v4sa(ufib_platform_rewrite *rewrite, uint32_t address) {
    rewrite_change(
        rewrite, [=](ufib_tunnel_rewrite *tunnel) { std::memcpy(tunnel->source, &address, sizeof address); });
}
void ufib_pi_rew_set_tunnel_v4da(ufib_platform_rewrite *rewrite, uint32_t address) {
    rewrite_change(rewrite, [=](ufib_tunnel_rewrite *tunnel) {
        std::memcpy(tunnel->destination, &address, sizeof address);
    });
}

int ufib_pi_rew_set_tunnel_v6sa(ufib_platform_rewrite *rewrite, const uint8_t address[16]) {
    uint32_t inside;
    if (!address_inside(address, &inside)) return -1;
    ufib_pi_rew_set_tunnel_v4sa(rewrite, inside);
    return 0;
}
int ufib_pi_rew_set_tunnel_v6da(ufib_platform_rewrite *rewrite, const uint8_t address[16]) {
    uint32_t inside;
    if (!address_inside(address, &inside)) return -1;
    ufib_pi_rew_set_tunnel_v4da(rewrite, inside);
    return 0;
}

void ufib_pi_rew_set_dmac(ufib_platform_rewrite *rewrite, const uint8_t mac[6]) {
    if (rewrite != nullptr) std::memcpy(rewrite->bytes + UFIB_REWRITE_DMAC, mac, 6);
}
void ufib_pi_rew_set_smac(ufib_platform_rewrite *rewrite, const uint8_t mac[6]) {
    if (rewrite != nullptr && tunnel_of(*rewrite).type == 0)
        std::memcpy(rewrite->bytes + REWRITE_SMAC, mac, 6);
}
}
