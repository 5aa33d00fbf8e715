/* Clear requests: which routes and adjacencies go, which stay, and what the answer says. */
#include "tests/ufib/control_rig.h"

#include "ufib/ufib_prefix.h"

constexpr uint8_t ALL = 1, DELETE = 2, FAILED = 8;

static bytes clear_request(const family &f, uint32_t key, const std::string &address, uint8_t mask_len,
                           uint8_t flags) {
    bytes out;
    put32(&out, key);
    put_bytes(&out, address_field(address));
    put8(&out, mask_len);
    put8(&out, f.afi);
    put32(&out, 0xa5a5a5a5);
    put8(&out, flags);
    return out;
}

struct clear_test : control_test {
    std::string address(const char *prefix) const {
        return std::string(prefix).substr(0, std::string(prefix).find('/'));
    }
    uint8_t mask(const char *prefix) const {
        return static_cast<uint8_t>(
            std::stoul(std::string(prefix).substr(std::string(prefix).find('/') + 1)));
    }
    /* The answer is the request, with flag 8 when it failed. */
    void expect_clear(uint32_t opcode, bytes request, bool good) {
        const std::string answer = ask(opcode, request);
        if (!good) request.at(26) |= FAILED;
        EXPECT_EQ(answer, hex_from_bytes(request));
    }
    bool stands(const char *prefix) {
        ufib_table *table = ufib_table_search(ufib_vdc_get(1), f.table);
        return ufib_prefix_search(table, address_bytes(address(prefix)).data(), mask(prefix), false) !=
               nullptr;
    }
};
INSTANTIATE_TEST_SUITE_P(both, clear_test, both_families, family_name);

TEST_P(clear_test, one_route_or_a_whole_table) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2), add(f, f.prefix3)}));
    fake_take();
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, f.table, address(f.prefix), mask(f.prefix), 0), true);
    EXPECT_FALSE(stands(f.prefix));
    EXPECT_TRUE(stands(f.prefix2));
    EXPECT_EQ(calls({"one_w", "all_w"}), (lines{"one_write_ready", "all_writes_ready"}));
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, f.table, address(f.prefix), mask(f.prefix), 0), false);
    EXPECT_TRUE(rig.log_has("Prefix not found in prefix database"));
    EXPECT_TRUE(rig.log_has(f.index == 0 ? "Error deleting  v4 FIB entry" : "Error deleting v6 FIB entry"));
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, f.table, address(f.prefix2), 0, ALL), true);
    EXPECT_FALSE(stands(f.prefix2));
    EXPECT_FALSE(stands(f.prefix3));
    EXPECT_TRUE(fake_entries("prefix").empty());
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

TEST_P(clear_test, a_route_that_others_hold_stays) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_table *table = ufib_table_search(ufib_vdc_get(1), f.table);
    ufib_pfx *pfx = ufib_prefix_get_first(&table->main);
    pfx->holders |= UFIB_HOLDER_SGRP;
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, f.table, address(f.prefix), mask(f.prefix), 0), true);
    EXPECT_TRUE(stands(f.prefix));
    EXPECT_EQ(pfx->holders, UFIB_HOLDER_SGRP);
    EXPECT_EQ(errors(E_DEL_PFX_LOCKED), 1u);
}

TEST_P(clear_test, requests_that_name_nothing) {
    const family &other = f.index == 0 ? v6_family : v4_family;
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, 77, address(f.prefix), mask(f.prefix), 0), false);
    EXPECT_TRUE(rig.log_has("Could not fetch the table object"));
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, 77, address(f.prefix), 0, ALL), true);
    expect_clear(OPC_CLEAR_ROUTE, clear_request(other, f.table, address(other.prefix), 8, 0), false);
    expect_clear(OPC_CLEAR_ROUTE, clear_request(f, f.table, address(f.prefix), 200, 0), false);
    bytes bad_afi = clear_request(f, f.table, address(f.prefix), mask(f.prefix), 0);
    bad_afi.at(21) = 3;
    expect_clear(OPC_CLEAR_ROUTE, bad_afi, false);
    expect_clear(OPC_CLEAR_ADJ, bad_afi, false);
    EXPECT_EQ(errors(E_BAD_AFI), 2u);
    EXPECT_TRUE(stands(f.prefix));
}

TEST_P(clear_test, adjacencies_by_interface_and_next_hop) {
    neighbour({f.hop, ETH1, "020000000001"});
    neighbour({f.hop2, ETH1, "020000000002"});
    neighbour({f.hop, ETH2, "020000000003"});
    expect_clear(OPC_CLEAR_ADJ, clear_request(f, ETH1, f.hop, 0, 0), true);
    EXPECT_EQ(adj(f.hop, ETH1)->flags & UFIB_ADJ_RESOLVED, 0u);
    EXPECT_NE(adj(f.hop, ETH2)->flags & UFIB_ADJ_RESOLVED, 0u);
    expect_clear(OPC_CLEAR_ADJ, clear_request(f, 0, f.hop, 0, DELETE), true);
    EXPECT_EQ(adj(f.hop, ETH1), nullptr);
    EXPECT_EQ(adj(f.hop, ETH2), nullptr);
    EXPECT_NE(adj(f.hop2, ETH1), nullptr);
    expect_clear(OPC_CLEAR_ADJ, clear_request(f, ETH2, f.hop2, 0, DELETE), false);
    expect_clear(OPC_CLEAR_ADJ, clear_request(f, ETH1, f.hop, 8, DELETE), true);
    EXPECT_EQ(adj(f.hop2, ETH1), nullptr) << "the same first eight bits";
}

TEST_P(clear_test, an_adjacency_that_a_route_uses_stays_and_keeps_am) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    neighbour({f.hop, ETH1, "020000000001"});
    neighbour({f.hop2, ETH2, "020000000002"});
    expect_clear(OPC_CLEAR_ADJ, clear_request(f, 0, f.hop, 0, ALL | DELETE), true);
    ASSERT_NE(adj(f.hop), nullptr);
    EXPECT_EQ(adj(f.hop)->holders, UFIB_ADJ_HELD_AM);
    EXPECT_EQ(ufib_obj_refs(&adj(f.hop)->obj), 2u);
    EXPECT_EQ(adj(f.hop2, ETH2), nullptr);
    EXPECT_EQ(fake_entries("adj").size(), 9u) << "the globals are nobody's to clear";
}

TEST_P(clear_test, short_requests_and_bad_vdcs_are_not_answered) {
    const bytes whole = clear_request(f, f.table, address(f.prefix), mask(f.prefix), 0);
    for (const uint32_t opcode : {OPC_CLEAR_ROUTE, OPC_CLEAR_ADJ}) {
        for (size_t size = 0; size < whole.size(); size++)
            EXPECT_EQ(rig.dispatch(opcode, bytes(whole.begin(), whole.begin() + static_cast<long>(size))),
                      16);
        EXPECT_EQ(rig.dispatch(opcode, whole, {.vdc = 6}), 16);
        EXPECT_EQ(rig.dispatch(opcode, whole, {.vdc = 2}), 0);
    }
}
