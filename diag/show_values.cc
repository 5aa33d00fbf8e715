#include "diag/show_values.h"

#include "host/address/address.h"
#include "host/interfaces/interfaces.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_tunnel.h"

#include <cstdio>
#include <cstring>

static constexpr size_t TEXT_MAX = 192;

static char *text_buffer() {
    static char buffers[4][TEXT_MAX];
    static uint32_t next;
    return buffers[next++ % 4];
}

cmd_arg show_address(const ufib_family &family, const uint8_t *address, const char *key) {
    return family.index == UFIB_STATS_V4 ? cmd_ipv4(ufib_v4_addr(address), key) : cmd_ipv6(address, key);
}

cmd_arg show_prefix(const ufib_family &family, const uint8_t *address, uint32_t mask_len, const char *key) {
    const auto bits = static_cast<uint8_t>(mask_len);
    return family.index == UFIB_STATS_V4 ? cmd_ipv4_net(ufib_v4_addr(address), bits, key)
                                         : cmd_ipv6_net(address, bits, key);
}

cmd_arg show_interface(uint32_t if_index, const char *key) {
    char *name = text_buffer();
    if_index_to_name(if_index, name, TEXT_MAX);
    return cmd_text(name, key);
}

const char *show_adj_state(const ufib_adj *adj) {
    static constexpr struct {
        uint32_t flag;
        const char *name;
    } states[] = {
        {UFIB_ADJ_DROP, "drop"},
        {UFIB_ADJ_PUNT, "punt"},
        {UFIB_ADJ_MCAST_SRC, "multicast source"},
        {UFIB_ADJ_RECIRCULATE, "recirculate"},
        {UFIB_ADJ_GLEAN, "glean"},
        {UFIB_ADJ_RESOLVED, "resolved"},
    };
    for (const auto &state : states)
        if ((adj->flags & state.flag) != 0) return state.name;
    ufib_tunnel_rewrite tunnel;
    std::memcpy(&tunnel, &adj->rewrite, sizeof tunnel);
    return adj->kind == UFIB_ADJ_TUNNEL && tunnel.type != 0 ? "tunnel" : "unresolved";
}

static uint32_t tunnel_end(const uint8_t bytes[4]) {
    uint32_t address;
    std::memcpy(&address, bytes, sizeof address);
    return address;
}

cmd_arg show_adj_rewrite(const ufib_adj *adj, const char *key) {
    if (adj->kind == UFIB_ADJ_TUNNEL) {
        ufib_tunnel_rewrite tunnel;
        std::memcpy(&tunnel, &adj->rewrite, sizeof tunnel);
        char *text = text_buffer();
        std::snprintf(text, TEXT_MAX, "%s -> %s", ip_address_str(tunnel_end(tunnel.source)),
                      ip_address_str(tunnel_end(tunnel.destination)));
        return cmd_text(tunnel.type == 0 ? "" : text, key);
    }
    const bool known = (adj->flags & UFIB_ADJ_RESOLVED) != 0;
    return known ? cmd_mac(adj->rewrite.bytes + UFIB_REWRITE_DMAC, key) : cmd_text("", key);
}

const char *show_bits(uint32_t bits, const char *const *names, uint32_t count) {
    char *text = text_buffer();
    size_t used = 0;
    text[0] = '\0';
    for (uint32_t bit = 0; bit < count; bit++) {
        if ((bits & 1u << bit) == 0 || names[bit] == nullptr) continue;
        const int added =
            std::snprintf(text + used, TEXT_MAX - used, "%s%s", used == 0 ? "" : ",", names[bit]);
        if (added < 0 || static_cast<size_t>(added) >= TEXT_MAX - used) break;
        used += static_cast<size_t>(added);
    }
    return used == 0 ? "none" : text;
}
