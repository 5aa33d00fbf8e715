#include "ufib/ufib_tunnel.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_pi_tunnel.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj_holder.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

ufib_adj_key ufib_tm_to_v4key(const ufib_tunnel_msg &msg) {
    ufib_adj_key key = {wire_get(msg.if_index), {}};
    std::memcpy(key.address, msg.next_hop, sizeof msg.next_hop);
    return key;
}

static int unsupported(uint32_t type) {
    ufib_err_raise(UFIB_ERR_ITEM, E_UNSUPPORTED_TUNNEL);
    UFIB_ERR("tunnel update with unsupported type %d", type);
    return -1;
}

int ufib_tm_to_v4rew(const ufib_tunnel_msg &msg, ufib_platform_rewrite *rewrite) {
    if (msg.type < UFIB_TUNNEL_GRE || msg.type > UFIB_TUNNEL_ISATAP) return unsupported(msg.type);
    ufib_tunnel_rewrite tunnel = {};
    tunnel.type = msg.type;
    tunnel.flags = msg.flags & UFIB_TUNNEL_DF;
    if (msg.type == UFIB_TUNNEL_GRE) {
        tunnel.tos = msg.tos;
        tunnel.ttl = msg.ttl;
        tunnel.word = wire_get(msg.word);
    }
    const uint32_t source = wire_get(msg.source), destination = wire_get(msg.destination);
    std::memcpy(tunnel.source, &source, sizeof source);
    std::memcpy(tunnel.destination, &destination, sizeof destination);
    std::memcpy(tunnel.mac, msg.mac, sizeof tunnel.mac);
    std::memcpy(rewrite->bytes, &tunnel, sizeof tunnel);
    return 0;
}

/* On an Ethernet port the bytes of a tunnel would be read as a MAC. */
static int tunnel_add(ufib_vdc *vdc, const ufib_tunnel_msg &msg) {
    const ufib_adj_key key = ufib_tm_to_v4key(msg);
    ufib_platform_rewrite rewrite;
    if (ufib_tm_to_v4rew(msg, &rewrite) != 0) return -1;
    if (!if_index_is_tunnel_intf(key.if_index)) return unsupported(msg.type);
    (void)ufib_adj_holder_join(vdc, ufib_v4, key, rewrite, 0, UFIB_ADJ_HELD_TUNNEL, false);
    return ufib_errno == 0 ? 0 : -1;
}

/* A tunnel cannot glean: what still points at it drops, and its old ends are not used again. */
static int tunnel_delete(ufib_vdc *vdc, const ufib_tunnel_msg &msg) {
    ufib_adj *adj = ufib_adj_search(vdc, ufib_v4, ufib_tm_to_v4key(msg));
    if (adj == nullptr || (adj->holders & UFIB_ADJ_HELD_TUNNEL) == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_TM_DEL_NOADJ);
        UFIB_ERR("destroying a non existing tunnel adj %s", ufib_addr_str(ufib_v4, msg.next_hop));
        return -1;
    }
    adj->rewrite = {};
    (void)ufib_adj_holder_leave(adj, UFIB_ADJ_HELD_TUNNEL, true);
    return 0;
}

/* After a restart every next hop of a tunnel knows the ends that hardware had for it; only the one that the manager told
 * keeps them, the others take what that one has. */
static void borrowed_ends_go(ufib_vdc *vdc, uint32_t if_index) {
    const ufib_idb *idb = ufib_idb_search(vdc, if_index);
    for (const ufib_family &family : ufib_families)
        for (ufib_adj *adj = idb == nullptr ? nullptr : ufib_adj_if_get_first(idb, family); adj != nullptr;
             adj = ufib_adj_if_get_next(adj))
            if ((adj->holders & UFIB_ADJ_HELD_TUNNEL) == 0 && ufib_pi_is_v4_tunnel_update(adj))
                adj->rewrite = {};
}

static int tunnel_operation(ufib_vdc *vdc, const ufib_tunnel_msg &msg) {
    if (msg.operation == UFIB_TUNNEL_ADD) return tunnel_add(vdc, msg);
    if (msg.operation == UFIB_TUNNEL_DELETE) return tunnel_delete(vdc, msg);
    ufib_err_raise(UFIB_ERR_ITEM, E_TM_INV_OPCODE);
    UFIB_ERR("tunnel update with invalid opcode %d", msg.operation);
    return -1;
}

int ufib_tunnel_update(ufib_vdc *vdc, const ufib_tunnel_msg &msg) {
    ufib_errno = 0;
    const int status = tunnel_operation(vdc, msg);
    if (status == 0) borrowed_ends_go(vdc, wire_get(msg.if_index));
    return status;
}

ufib_adj *ufib_get_tunnel_adj_from_ifindex(ufib_vdc *vdc, uint32_t if_index) {
    if (!if_index_is_tunnel_intf(if_index)) return nullptr;
    const ufib_idb *idb = ufib_idb_search(vdc, if_index);
    ufib_adj *first = idb == nullptr ? nullptr : ufib_adj_if_get_first(idb, ufib_v4);
    for (ufib_adj *adj = first; adj != nullptr; adj = ufib_adj_if_get_next(adj))
        if ((adj->holders & UFIB_ADJ_HELD_TUNNEL) != 0) return adj;
    return first;
}
