/* tests/ufib/ha_routes.h: routes of every sort for tests of restarts, and records put beside those of the process. */
#pragma once

#include "persist/lcfwd_pss.h"
#include "tests/ufib/ha_rig.h"

#include <cstring>

inline constexpr uint8_t DIRECT = 0x01, LOCAL = 0x02, DROP = 0x04, ATTACHED = 0x08, LDB = 0x10,
                         NEVER_STALE = 0x40, WILDCARD = 0x80;
inline constexpr const char *MAC = "02000a000001";

/* Prefix number n of a family. */
inline std::string prefix(const family &f, unsigned n) {
    return f.index == 0 ? "20." + std::to_string(n / 256) + "." + std::to_string(n % 256) + ".0/24"
                        : "2001:db8:" + std::to_string(1000 + n) + "::/48";
}
inline std::string address(const family &f, unsigned n) {
    const std::string text = prefix(f, n);
    const std::string net = text.substr(0, text.find('/'));
    return f.index == 0 ? net.substr(0, net.size() - 1) + "9" : net + "9";
}

class ha_routes_test : public ha_family_test {
protected:
    /* One route of each sort over two neighbours. */
    std::vector<wire_route> sorts() {
        std::vector<wire_route> routes;
        for (unsigned n = 0; n < 3; n++) routes.push_back(add(f, prefix(f, n)));
        const uint8_t flags[] = {DIRECT, LOCAL, DROP, ATTACHED, LDB, NEVER_STALE, WILDCARD, DROP | LOCAL};
        unsigned n = 10;
        for (const uint8_t flag : flags) routes.push_back(add(f, prefix(f, n++), f.hop2, ETH2, flag));
        routes.push_back(add(f, f.prefix3));
        routes.push_back(add(f, f.index == 0 ? "0.0.0.0/0" : "::/0"));
        wire_route twice = add(f, prefix(f, 30));
        twice.hops.push_back(twice.hops[0]);
        routes.push_back(twice);
        wire_route extended = add(f, prefix(f, 31));
        extended.extended = 0x14;
        routes.push_back(extended);
        wire_route other = add(f, prefix(f, 0), f.hop2, ETH2);
        other.table_id = f.table + 76;
        routes.push_back(other);
        return routes;
    }
    pss2_service *file(lcfwd_pss_kind kind) { return lcfwd_pss_service(kind, 1); }
    void put(lcfwd_pss_kind kind, const bytes &key, const bytes &value) {
        const pss2_datum k = {key.data(), static_cast<uint32_t>(key.size())};
        const pss2_datum v = {value.data(), static_cast<uint32_t>(value.size())};
        ASSERT_EQ(pss2_store(file(kind), &k, &v), STORE_OK);
    }
    static bytes raw32(uint32_t number) {
        bytes out(sizeof number);
        std::memcpy(out.data(), &number, sizeof number);
        return out;
    }
    ufib_pfx *route(unsigned n) {
        const bytes raw = address_bytes(prefix(f, n).substr(0, prefix(f, n).find('/')));
        ufib_table *table = ufib_table_search(ufib_vdc_get(1), f.table);
        return table == nullptr ? nullptr
                                : ufib_prefix_search(table, raw.data(), f.index == 0 ? 24 : 48, false);
    }
    uint32_t adj_handle() {
        ufib_adj *adj = ufib_adj_get_first(ufib_vdc_get(1), ufib_families[f.index]);
        return adj == nullptr ? 0 : adj->obj.handle;
    }
    lcfwd_pss_kind adj_kind() const { return ufib_families[f.index].pss_adj; }
    void restart() { ASSERT_EQ(rig.restart(), 0); }
};
