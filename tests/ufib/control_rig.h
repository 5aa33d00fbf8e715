/* tests/ufib/control_rig.h: the recording platform with the slots that control messages reach, and their messages, put
 * together byte by byte. */
#pragma once

#include "core/lcfwd_db.h"
#include "platform/ufib_pi.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"

#include <set>

constexpr uint32_t TUNNEL1 = 0x22000001;

constexpr uint32_t OPC_ROUTER_MAC = 74760;
constexpr uint32_t OPC_RPF = 74761;
constexpr uint32_t OPC_TUNNEL = 74764;
constexpr uint32_t OPC_CLEAR_ROUTE = 74771;
constexpr uint32_t OPC_CLEAR_ADJ = 74772;
constexpr uint32_t OPC_STATIC_MAC = 74773;
constexpr uint32_t OPC_AGED = 77843;
constexpr uint32_t OPC_LC_UPGRADE = 596;
constexpr uint32_t OPC_SAL_LC_UPGRADE = 60433;

struct control_state {
    std::set<std::string> used; /* prefixes that are not aged */
    bool refuse_rpf;
    std::vector<std::string> smacs; /* of each adjacency write */
};
inline control_state control;

inline std::string mac_text(const uint8_t mac[6]) { return hex_from_bytes(bytes(mac, mac + 6)); }

inline uint32_t (*fake_insert_adj)(void *, uint32_t, uint32_t);
inline uint32_t control_insert_adj(void *adj, uint32_t ha, uint32_t holder) {
    uint8_t mac[6];
    const bool v4 = ufib_pi_adj_is_v4(adj);
    const int known = v4 ? ufib_pi_v4adj_get_smac(adj, mac) : ufib_pi_v6adj_get_smac(adj, mac);
    control.smacs.push_back(known == 0 ? mac_text(mac) : "none");
    return fake_insert_adj(adj, ha, holder);
}

inline int control_update_intf_rpf(uint32_t vdc_id, uint32_t if_index, uint8_t v4, uint8_t v6) {
    char text[64];
    std::snprintf(text, sizeof text, "update_intf_rpf %u 0x%x %u %u", vdc_id, if_index, v4, v6);
    fake.log.push_back(text);
    return control.refuse_rpf ? -1 : 0;
}
inline int control_update_tunnel(uint32_t vdc_id, uint32_t if_index) {
    char text[64];
    std::snprintf(text, sizeof text, "update_tunnel %u 0x%x", vdc_id, if_index);
    fake.log.push_back(text);
    return 1;
}
inline bool control_is_v4route_aged(void *pfx) {
    const uint32_t address = ufib_pi_v4prefix_get_prefix(pfx);
    return control.used.count(std::to_string(address >> 16 & 255)) == 0;
}
inline bool control_is_v6route_aged(void *pfx) {
    uint8_t address[16];
    ufib_pi_v6prefix_get_prefix(pfx, address);
    return control.used.count(std::to_string(address[5])) == 0;
}
inline void control_upgrade_begin() { fake.log.push_back("process_upgrade_begin"); }
inline void control_upgrade_end() { fake.log.push_back("process_upgrade_end"); }

inline void control_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    fake_platform_library()->ufib_api_init(api, caps, restart);
    fake_insert_adj = api->insert_adj;
    api->insert_adj = control_insert_adj;
    api->update_intf_rpf = control_update_intf_rpf;
    api->update_tunnel = control_update_tunnel;
    api->is_v4route_aged = control_is_v4route_aged;
    api->is_v6route_aged = control_is_v6route_aged;
    api->process_upgrade_begin = control_upgrade_begin;
    api->process_upgrade_end = control_upgrade_end;
}

inline const platform_library *control_library() {
    static const platform_library library = {"control", fake_platform_library()->lcfwd_api_init,
                                             control_api_init, nullptr};
    return &library;
}

struct control_test : ufib_test, testing::WithParamInterface<const family *> {
    control_test() : ufib_test(control_library()) { control = {}; }
    const family &f = *GetParam();

    lines calls(const std::vector<std::string> &names) { return fake_take(names); }
    /* The answer in hex; empty: none. */
    std::string ask(uint32_t opcode, const bytes &payload, uint16_t vdc = 1) {
        const auto answer = rig.send(opcode, payload, {.vdc = vdc});
        return answer ? (answer->reject ? "reject" : hex_from_bytes(answer->payload)) : "";
    }
    ufib_adj *adj(const std::string &hop, uint32_t if_index = ETH1) {
        ufib_adj_key key = {if_index, {}};
        const bytes address = address_bytes(hop);
        std::copy(address.begin(), address.end(), key.address);
        return ufib_adj_search(ufib_vdc_get(1), ufib_families[f.index], key);
    }
    ufib_idb *idb(uint32_t if_index = ETH1) { return ufib_idb_search(ufib_vdc_get(1), if_index); }
};

inline bytes address_field(const std::string &text) { /* 16 bytes */
    bytes out = address_bytes(text);
    out.resize(16);
    return out;
}
