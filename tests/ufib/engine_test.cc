/* Routes over the software engine, read where a data plane reads them; and without any library. */
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_reader.h"
#include "tests/ufib/ufib_rig.h"

#include <arpa/inet.h>
#include <cstring>
#include <map>
#include <random>

constexpr uint32_t SLOT = 3;

struct engine : ufib_family_test {
    engine() {
        softfwd_config_reset();
        softfwd_config_get()->slot = SLOT;
        softfwd_config_get()->check_integrity = true;
        rig.options.library = softfwd_library();
    }
    ~engine() override { softfwd_config_reset(); }

    size_t bits() const { return f.index == 0 ? 32 : 128; }
    std::string text(const bytes &address) const {
        char out[INET6_ADDRSTRLEN];
        return inet_ntop(f.index == 0 ? AF_INET : AF_INET6, address.data(), out, sizeof out);
    }
};
INSTANTIATE_TEST_SUITE_P(both, engine, both_families, family_name);

using bit_string = std::string; /* an address or prefix as '0' and '1' */

static bit_string bits_of(const bytes &address) {
    bit_string out;
    for (const uint8_t byte : address)
        for (int bit = 7; bit >= 0; bit--) out += (byte >> bit & 1) != 0 ? '1' : '0';
    return out;
}

/* Tries each length from the longest. */
static uint32_t slow_match(const std::map<bit_string, uint32_t> &routes, const bit_string &address,
                           size_t *length) {
    for (size_t len = address.size() + 1; len-- > 0;)
        if (const auto found = routes.find(address.substr(0, len)); found != routes.end()) {
            *length = len;
            return found->second;
        }
    return 0;
}

TEST_P(engine, looks_up_as_a_slow_longest_match_does) {
    std::mt19937 random(4711 + f.index);
    std::map<bit_string, uint32_t> model; /* prefix to interface */
    const size_t width = bits() / 8;
    for (unsigned round = 0; round < 40; round++) {
        std::vector<wire_route> routes;
        for (unsigned i = 0; i < 50; i++) {
            bytes address(width);
            /* Few values, so that prefixes lie in each other and come again. */
            for (uint8_t &byte : address)
                byte = static_cast<uint8_t>(random() % 3 == 0 ? random() & 0xe0 : 0x40);
            const size_t length = random() % (bits() + 1);
            const bit_string key = bits_of(address).substr(0, length);
            for (size_t bit = length; bit < bits(); bit++)
                address[bit / 8] &= static_cast<uint8_t>(~(0x80u >> bit % 8));
            const std::string prefix = text(address) + "/" + std::to_string(length);
            if (random() % 3 == 0 && model.erase(key) != 0) {
                routes.push_back(remove(f, prefix));
                continue;
            }
            model[key] = static_cast<uint32_t>(ETH1 + random() % 6);
            routes.push_back(add(f, prefix, f.hop, model[key]));
        }
        ASSERT_TRUE(load(f, routes));
    }
    softfwd_reader *reader = nullptr;
    ASSERT_EQ(softfwd_reader_attach(SLOT, false, &reader), 0);
    for (unsigned i = 0; i < 4000; i++) {
        bytes address(width);
        for (uint8_t &byte : address) byte = static_cast<uint8_t>(random() % 3 == 0 ? random() : 0x40);
        size_t length = 0;
        const uint32_t want = slow_match(model, bits_of(address), &length);
        softfwd_result result;
        ASSERT_EQ(softfwd_lookup(reader, f.index == 0 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6, 1, f.table,
                                 address.data(), &result),
                  0);
        ASSERT_EQ(result.hop.action, want == 0 ? SOFTFWD_NO_ROUTE : SOFTFWD_GLEAN) << text(address);
        if (want == 0) continue;
        ASSERT_EQ(result.hop.if_index, want) << text(address);
        ASSERT_EQ(result.hop.mask_len, length) << text(address);
    }
    softfwd_reader_detach(reader);
}

/* What a packet gets, by the flags of its route and the state of its next hop. */
TEST_P(engine, does_what_the_flags_say) {
    struct {
        uint8_t flags;
        bool resolved;
        softfwd_action action;
    } const rows[] = {{0x00, false, SOFTFWD_GLEAN}, {0x00, true, SOFTFWD_FORWARD},
                      {0x04, true, SOFTFWD_DROP},   {0x02, true, SOFTFWD_PUNT},
                      {0x01, true, SOFTFWD_GLEAN},  {0x08, false, SOFTFWD_DROP},
                      {0x08, true, SOFTFWD_FORWARD}};
    for (const auto &row : rows) {
        ASSERT_TRUE(load(f, {add(f, f.prefix3, "", ETH1, row.flags)}));
        if (row.resolved) neighbour({f.hop, ETH1, "0200000000aa"});
        softfwd_reader *reader = nullptr;
        ASSERT_EQ(softfwd_reader_attach(SLOT, false, &reader), 0);
        softfwd_result result;
        const std::string word = f.prefix3;
        const bytes address = address_bytes(word.substr(0, word.find('/')));
        const address_family family = f.index == 0 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
        ASSERT_EQ(softfwd_lookup(reader, family, 1, f.table, address.data(), &result), 0);
        EXPECT_EQ(result.hop.action, row.action) << int{row.flags} << softfwd_action_name(result.hop.action);
        if (row.action == SOFTFWD_FORWARD) {
            EXPECT_EQ(hex_from_bytes(bytes(result.dmac, result.dmac + 6)), "0200000000aa");
            EXPECT_EQ(bytes(result.next_hop, result.next_hop + address.size()), address_bytes(f.hop));
        }
        softfwd_reader_detach(reader);
        ASSERT_TRUE(load(f, {remove(f, f.prefix3, row.flags)}));
        neighbour({f.hop, ETH1});
    }
}

/* ---- no library: nothing can be programmed, everything fails cleanly ---- */

struct no_library : ufib_family_test {
    no_library() { rig.options.library = nullptr; }
};
INSTANTIATE_TEST_SUITE_P(both, no_library, both_families, family_name);

TEST_P(no_library, every_table_adjacency_and_route_is_refused) {
    std::vector<wire_route> routes;
    for (const uint8_t flags : bytes{0x00, 0x01, 0x02, 0x04, 0x08, 0x20, 0x40, 0x80})
        routes.push_back(add(f, f.prefix, "", ETH1, flags));
    EXPECT_GE(errors(E_TABLE_HW_INSTALL), 2u) << "the wildcard tables";
    EXPECT_GE(errors(E_ADJ_HW_INSTALL), 8u) << "the globals";
    const uint32_t tables = errors(E_TABLE_HW_INSTALL);
    EXPECT_EQ(send(f, 0, batch(f, 0, routes)).substr(16, 8), "80080000");
    EXPECT_EQ(errors(E_TABLE_HW_INSTALL), tables + 8);
    EXPECT_EQ(ufib_vdc_get(1)->prefix_count, 0u);
    neighbour({f.hop, ETH1, "0200000000aa"});
    neighbour({f.hop, ETH1, "", 0x10});
    EXPECT_EQ(ufib_vdc_get(1)->adj_count[f.index], 0u);
    EXPECT_EQ(send(f, 0, batch(f, 0, {remove(f, f.prefix)})).substr(16, 8), "80010000");
    lcfwd_vdc_row(1)->ufib_state = LCFWD_STATE_ACTIVE;
    EXPECT_EQ(rig.dispatch(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), 0, 9)), 0);
    rig.advance_seconds(6);
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    EXPECT_EQ(ufib_vdc_get(1), nullptr);
}
