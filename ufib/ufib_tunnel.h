/* ufib/ufib_tunnel.h: adjacencies of tunnel interfaces: how their 24 bytes of rewrite are used, and the notices of the
 * tunnel manager that fill them. Addresses are IPv4. One thread. */
#pragma once

#include "ufib/ufib_adj.h"
#include "ufib/ufib_control_wire.h"

#include <cstddef>
#include <cstdint>

constexpr uint8_t UFIB_TUNNEL_GRE = 1;
constexpr uint8_t UFIB_TUNNEL_6TO4 = 2;
constexpr uint8_t UFIB_TUNNEL_ISATAP = 3;
constexpr uint8_t UFIB_TUNNEL_SGRP = 4; /* security group: set by libraries only */

/* Flags of the rewrite: what is set, what was configured, what is taken from the inner packet. */
constexpr uint8_t UFIB_TUNNEL_DF = 0x01;
constexpr uint8_t UFIB_TUNNEL_DF_CFGD = 0x02;
constexpr uint8_t UFIB_TUNNEL_DF_INNER = 0x04;
constexpr uint8_t UFIB_TUNNEL_TOS_CFGD = 0x08;
constexpr uint8_t UFIB_TUNNEL_TOS_INNER = 0x10;
constexpr uint8_t UFIB_TUNNEL_TTL_CFGD = 0x20;
constexpr uint8_t UFIB_TUNNEL_TTL_INNER = 0x40;

struct ufib_tunnel_rewrite { /* lies in ufib_platform_rewrite; host order */
    uint8_t type;            /* UFIB_TUNNEL_*; 0: not told yet */
    uint8_t flags;
    uint8_t tos;
    uint8_t ttl;
    uint8_t source[4]; /* a u32 */
    uint8_t destination[4];
    uint16_t word; /* of the notice */
    uint8_t mac[6];
    uint8_t reserved20[4];
};
static_assert(sizeof(ufib_tunnel_rewrite) == sizeof(ufib_platform_rewrite) &&
              offsetof(ufib_tunnel_rewrite, mac) == UFIB_REWRITE_DMAC);

/* Key and rewrite of a notice. rew: 0, or -1 with E_UNSUPPORTED_TUNNEL for a type outside 1 to 3; tos, ttl and the
 * word are taken for type 1 alone. */
[[nodiscard]] ufib_adj_key ufib_tm_to_v4key(const ufib_tunnel_msg &msg);
[[nodiscard]] int ufib_tm_to_v4rew(const ufib_tunnel_msg &msg, ufib_platform_rewrite *rewrite);

/* Adds or rewrites the adjacency of a tunnel, which the tunnel manager then holds; or gives it up: it is destroyed
 * when nobody else needs it, else it drops. 0, or -1 with ufib_errno: E_TM_INV_OPCODE, E_UNSUPPORTED_TUNNEL (also
 * for an interface that is no tunnel), E_TM_DEL_NOADJ, or the errors of creation; nothing has changed then. */
[[nodiscard]] int ufib_tunnel_update(ufib_vdc *vdc, const ufib_tunnel_msg &msg);

/* The adjacency of a tunnel interface: the one that the tunnel manager told, else its first. Null: none. */
[[nodiscard]] ufib_adj *ufib_get_tunnel_adj_from_ifindex(ufib_vdc *vdc, uint32_t if_index);
