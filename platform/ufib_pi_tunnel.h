/* platform/ufib_pi_tunnel.h: accessors of tunnel adjacencies and of the 24 bytes of a rewrite, as in ufib_pi.h. A
 * library reads a tunnel's encapsulation through them, and fills a rewrite with them when it is asked for one that it
 * wrote before a restart. A null object, and an adjacency that is no tunnel, give 0 or false; a null rewrite: nothing.
 * IPv4 addresses are in host order. */
#pragma once

#include <cstdint>

struct ufib_platform_rewrite;

extern "C" {

/* What the encapsulation of a tunnel adjacency says. */
uint32_t ufib_pi_v4adj_tunnel_df(const void *adj); /* 1: do not fragment */
uint32_t ufib_pi_v4adj_tunnel_tos(const void *adj);
uint32_t ufib_pi_v4adj_tunnel_ttl(const void *adj);
uint32_t ufib_pi_v4adj_tunnel_sa(const void *adj); /* ends of the tunnel */
uint32_t ufib_pi_v4adj_tunnel_da(const void *adj);
bool ufib_pi_v4adj_is_tunnel_gre(const void *adj);
bool ufib_pi_v4adj_is_tunnel_sgrp(const void *adj);
bool ufib_pi_v4adj_is_tunnel_isatap(const void *adj);
bool ufib_pi_v4adj_is_tunnel_6to4(const void *adj);
bool ufib_pi_is_v4_tunnel_update(const void *adj); /* the tunnel manager has told its encapsulation */

/* The ends again, and the adjacencies of a tunnel interface. 0, or -1: no tunnel, or not told yet. */
int ufib_pi_v4_adj_get_tunnel_src(const void *adj, uint32_t *address);
int ufib_pi_v4_adj_get_tunnel_dest(const void *adj, uint32_t *address);
int ufib_pi_get_v4_tunnel_src(uint32_t vdc_id, uint32_t if_index, uint32_t *address);
int ufib_pi_get_v4_tunnel_dest(uint32_t vdc_id, uint32_t if_index, uint32_t *address);
void *ufib_pi_get_tunnel_adj(uint32_t vdc_id, uint32_t if_index);
uint32_t ufib_pi_get_tunnel_if_index(const void *adj);
void *ufib_pi_v4_adj_get_frm_if_idx_nh(uint32_t vdc_id, uint32_t if_index, uint32_t next_hop);

/* Filling a rewrite. encap and sgrp set the kind and keep the rest. */
void ufib_pi_rew_set_tunnel_encap_gre(ufib_platform_rewrite *rewrite);
void ufib_pi_rew_set_tunnel_encap_6to4(ufib_platform_rewrite *rewrite);
void ufib_pi_rew_set_tunnel_encap_isatap(ufib_platform_rewrite *rewrite);
void ufib_pi_rew_set_tunnel_sgrp(ufib_platform_rewrite *rewrite);
void ufib_pi_rew_set_tunnel_df_cfgd(ufib_platform_rewrite *rewrite, bool on); /* it was configured */
void ufib_pi_rew_set_tunnel_df(ufib_platform_rewrite *rewrite, bool on);
void ufib_pi_rew_set_tunnel_df_inner(ufib_platform_rewrite *rewrite,
                                     bool on); /* taken from the inner packet */
void ufib_pi_rew_set_tunnel_tos_cfgd(ufib_platform_rewrite *rewrite, bool on);
void ufib_pi_rew_set_tunnel_tos(ufib_platform_rewrite *rewrite, uint8_t tos);
void ufib_pi_rew_set_tunnel_tos_inner(ufib_platform_rewrite *rewrite, bool on);
void ufib_pi_rew_set_tunnel_ttl_cfgd(ufib_platform_rewrite *rewrite, bool on);
void ufib_pi_rew_set_tunnel_ttl(ufib_platform_rewrite *rewrite, uint8_t ttl);
void ufib_pi_rew_set_tunnel_ttl_inner(ufib_platform_rewrite *rewrite, bool on);
void ufib_pi_rew_set_tunnel_v4sa(ufib_platform_rewrite *rewrite, uint32_t address);
void ufib_pi_rew_set_tunnel_v4da(ufib_platform_rewrite *rewrite, uint32_t address);

/* An end that is told as IPv6: the ends of all known tunnels are IPv4, so the IPv4 address inside is kept: of a 6to4
 * (2002::/16), an ISATAP (..:5efe:a.b.c.d) or an IPv4-mapped address. 0, or -1 for any other: nothing is set. */
int ufib_pi_rew_set_tunnel_v6sa(ufib_platform_rewrite *rewrite, const uint8_t address[16]);
int ufib_pi_rew_set_tunnel_v6da(ufib_platform_rewrite *rewrite, const uint8_t address[16]);

void ufib_pi_rew_set_dmac(ufib_platform_rewrite *rewrite, const uint8_t mac[6]);
/* Of a plain rewrite alone: a tunnel's has no room for it, the source MAC comes from the interface. */
void ufib_pi_rew_set_smac(ufib_platform_rewrite *rewrite, const uint8_t mac[6]);
}
