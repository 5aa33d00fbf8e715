/* Entries through the table of operations: what readers then look up, and what a full table refuses. */
#include "tests/softfwd/softfwd_rig.h"

#include <cstring>

struct entry : softfwd_rig {
    uint32_t table = 0;
    fake_adj next;
    fake_prefix pfx;

    /* A table with one prefix and its next hop. */
    void begin() {
        start(0);
        table = api.insert_v4_table(vdc, table_id, nullptr, 0);
        next = adj(1);
        pfx = prefix("10.0.0.0/8", &next);
        insert(table, &pfx);
    }
};

TEST_F(entry, the_longest_match_forwards_with_its_rewrite) {
    start(0);
    const uint32_t v4 = api.insert_v4_table(vdc, table_id, nullptr, 0);
    const uint32_t v6 = api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj first = adj(1), second = adj(2), third = adj(3, false);
    fake_prefix all = prefix("0.0.0.0/0", &first), wide = prefix("10.0.0.0/8", &second);
    fake_prefix host = prefix("10.1.2.3/32", &first), six = prefix("2001:db8::/32", &third);
    fake_prefix all6 = prefix("::/0", &third);
    for (fake_prefix *each : {&all, &wide, &host}) ASSERT_NE(insert(v4, each), 0u);
    for (fake_prefix *each : {&six, &all6}) ASSERT_NE(insert(v6, each), 0u);

    const struct {
        const char *address, *covering;
        uint32_t if_index;
        uint8_t bits;
    } rows[] = {{"10.1.2.3", "10.1.2.3", 1001, 32},      {"10.1.2.4", "10.0.0.0", 1002, 8},
                {"11.0.0.0", "0.0.0.0", 1001, 0},        {"255.255.255.255", "0.0.0.0", 1001, 0},
                {"2001:db8::1", "2001:db8::", 1003, 32}, {"3000::", "::", 1003, 0}};
    for (const auto &row : rows) {
        const softfwd_result result = lookup(row.address);
        EXPECT_EQ(result.hop.action, SOFTFWD_FORWARD) << row.address;
        EXPECT_EQ(result.hop.if_index, row.if_index) << row.address;
        EXPECT_EQ(result.hop.mask_len, row.bits) << row.address;
        uint8_t bytes[16] = {};
        address_family family;
        ASSERT_EQ(address_parse(row.covering, &family, bytes), 0);
        EXPECT_EQ(memcmp(result.prefix, bytes, 16), 0) << row.address;
    }
    const softfwd_result result = lookup("10.200.0.1");
    EXPECT_EQ(result.hop.prefix_handle, wide.handle);
    EXPECT_EQ(result.hop.adj_handle, second.handle);
    const uint8_t next_hop[16] = {10, 0, 0, 2};
    EXPECT_EQ(memcmp(result.next_hop, next_hop, 16), 0);
    EXPECT_EQ(memcmp(result.dmac, second.dmac.data(), 6), 0);
    EXPECT_EQ(memcmp(result.smac, second.smac.data(), 6), 0);
    EXPECT_EQ(lookup("10.1.2.3", 2).hop.action, SOFTFWD_NO_ROUTE) << "another table";
    EXPECT_EQ(lookup("10.1.2.3", 1, 2).hop.action, SOFTFWD_NO_ROUTE) << "another VDC";
    expect_integrity();
}

TEST_F(entry, actions_follow_the_adjacency_through_its_rewrites) {
    begin();
    const uint32_t handle = pfx.handle, adj_handle = next.handle;

    const struct {
        bool resolved, glean, drop, punt;
        uint32_t format;
        softfwd_action action;
    } rows[] = {
        {false, true, false, false, 1, SOFTFWD_GLEAN}, {false, false, true, false, 1, SOFTFWD_DROP},
        {false, false, false, true, 1, SOFTFWD_PUNT},  {false, false, false, false, 1, SOFTFWD_DROP},
        {false, false, false, false, 2, SOFTFWD_DROP}, {true, false, false, false, 1, SOFTFWD_FORWARD},
        {true, false, true, false, 1, SOFTFWD_DROP},   {true, false, false, false, 1, SOFTFWD_FORWARD}};
    for (const auto &row : rows) {
        next.resolved = row.resolved, next.glean = row.glean, next.drop = row.drop, next.punt = row.punt;
        next.format = row.format;
        EXPECT_EQ(insert(&next), adj_handle) << "rewritten in place";
        EXPECT_EQ(lookup("10.1.1.1").hop.action, row.action) << &row - rows;
    }
    next.resolved = false, next.format = 2, next.tunnel_type = 1;
    EXPECT_EQ(insert(&next), adj_handle);
    EXPECT_EQ(lookup("10.1.1.1").hop.action, SOFTFWD_FORWARD) << "a tunnel's next hop has no MAC";
    EXPECT_EQ(lookup("10.1.1.1").hop.prefix_handle, handle);
    pfx.next = nullptr;
    EXPECT_EQ(insert(table, &pfx), handle);
    EXPECT_EQ(lookup("10.1.1.1").hop.action, SOFTFWD_DROP) << "a prefix without a next object";
}

TEST_F(entry, updates_keep_the_handle_and_deletes_uncover_the_shorter_prefix) {
    start(0);
    table = api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj one = adj(1, false), two = adj(2, false);
    fake_prefix wide = prefix("2001:db8::/32", &one), narrow = prefix("2001:db8:1::/48", &two);
    insert(table, &wide);
    const uint32_t handle = insert(table, &narrow);
    EXPECT_EQ(lookup("2001:db8:1::9").hop.if_index, 1002u);
    narrow.next = &one;
    narrow.tagged = true, narrow.tag = 77;
    EXPECT_EQ(insert(table, &narrow), handle);
    EXPECT_EQ(lookup("2001:db8:1::9").hop.if_index, 1001u);
    narrow.next = &two;
    EXPECT_EQ(api.update_v6prefix_nh(&narrow), 0);
    EXPECT_EQ(lookup("2001:db8:1::9").hop.if_index, 1002u);
    ufib_ha_route route = {};
    api.ha_get_route(handle, &route);
    EXPECT_EQ(route.tag, 77);

    EXPECT_EQ(api.search_v6_prefix(table, &narrow), 0);
    EXPECT_EQ(remove(table, &narrow), 0);
    EXPECT_EQ(lookup("2001:db8:1::9").hop.prefix_handle, wide.handle);
    narrow.handle = handle;
    EXPECT_EQ(api.search_v6_prefix(table, &narrow), -1);
    EXPECT_EQ(api.delete_v6_prefix(table, &narrow), -1) << "gone already";
    EXPECT_EQ(counters().installs, 5u);
    EXPECT_EQ(counters().failures, 1u);
    expect_integrity();
}

TEST_F(entry, tables_are_named_by_vdc_id_and_family_and_take_their_routes_along) {
    start(0);
    table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    EXPECT_EQ(api.insert_v4_table(vdc, table_id, nullptr, 0), table);
    EXPECT_NE(api.insert_v6_table(vdc, table_id, nullptr, 0), table);
    EXPECT_NE(api.insert_v4_table(2, table_id, nullptr, 0), table);
    EXPECT_EQ(softfwd_table_count(), 3u);
    next = adj(1);
    fake_prefix a = prefix("10.0.0.0/8", &next), b = prefix("10.1.0.0/16", &next),
                c = prefix("10.0.0.0/8", &next);
    insert(table, &a), insert(table, &b);
    EXPECT_EQ(insert(table, &c), a.handle) << "a key without a handle finds its entry again";
    EXPECT_EQ(insert(999, &c), 0u) << "no such table";
    api.delete_v4_table(table);
    EXPECT_EQ(lookup("10.1.1.1").hop.action, SOFTFWD_NO_ROUTE);
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4), 0u);
    expect_integrity();
    softfwd_config_get()->shared_wildcard_tables = true;
    const uint32_t shared = api.insert_v4_table(1, 65535, nullptr, 0);
    EXPECT_EQ(api.insert_v4_table(2, 65535, nullptr, 0), shared);
    c.handle = 0;
    insert(shared, &c);
    EXPECT_EQ(lookup("10.1.1.1", 65535, 2).hop.action, SOFTFWD_FORWARD);
}

TEST_F(entry, a_thousand_small_tables_cost_little) {
    start(0);
    next = adj(1);
    for (uint32_t id = 1; id <= 1000; id++) {
        table = api.insert_v4_table(vdc, id, nullptr, 0);
        for (uint32_t i = 0; i < 100; i++) {
            pfx = prefix("0.0.0.0/24", &next);
            pfx.address = 0x0a000000 + (i << 8) + (id << 16);
            ASSERT_NE(insert(table, &pfx), 0u);
        }
        if (id % 10 == 0) (void)api.all_writes_ready();
    }
    EXPECT_EQ(lookup("11.33.5.1", 289).hop.mask_len, 24) << "10.0.0.0 + 289 << 16";
    softfwd_reader_stats stats;
    ASSERT_EQ(softfwd_reader_statistics(reader, &stats), 0);
    EXPECT_EQ(stats.v4_prefixes, 100000u);
    EXPECT_LT(stats.trie_bytes + stats.entry_bytes + stats.table_bytes, 70u * 100000);
    EXPECT_LT(stats.memory_bytes, 12u << 20);
    expect_integrity();
}

TEST_F(entry, full_tables_refuse_and_take_again_after_a_removal) {
    softfwd_config_get()->max_prefixes = 2;
    softfwd_config_get()->max_adjacencies = 1;
    softfwd_config_get()->max_tables = 1;
    start(0);
    table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    EXPECT_EQ(api.insert_v4_table(vdc, 2, nullptr, 0), 0u);
    fake_adj other;
    next = adj(1);
    EXPECT_EQ(insert(&other), 0u);
    fake_prefix a = prefix("10.0.0.0/8", &next), b = a, c = a;
    b.address += 1 << 24, c.address += 2 << 24;
    insert(table, &a), insert(table, &b);
    EXPECT_EQ(insert(table, &c), 0u);
    EXPECT_EQ(lookup("12.0.0.1").hop.action, SOFTFWD_NO_ROUTE);
    a.next = nullptr;
    EXPECT_EQ(insert(table, &a), a.handle) << "an update needs no room";
    EXPECT_EQ(remove(table, &b), 0);
    EXPECT_NE(insert(table, &c), 0u);
    softfwd_config_get()->max_prefixes = 3;
    EXPECT_NE(insert(table, &b), 0u) << "a limit may be raised at run time";
    EXPECT_EQ(counters().failures, 3u);
    expect_integrity();
}

TEST_F(entry, counters_are_deltas_and_survive_rewrites_and_restarts) {
    begin();
    fake_adj idle = adj(2);
    for (int i = 0; i < 3; i++) lookup("10.1.1.1");
    ufib_platform_stats rows[3] = {
        {&next, next.handle, 0, 0, 0}, {&idle, idle.handle, 0, 5, 5}, {nullptr, 99, 0, 5, 5}};
    ASSERT_EQ(api.adj_get_stats(rows, 3), 0);
    EXPECT_EQ(rows[0].packets, 3u);
    EXPECT_EQ(rows[0].bytes, 192u);
    EXPECT_EQ(rows[1].packets + rows[2].packets, 0u);
    next.dmac[0] = 6;
    insert(&next);
    lookup("10.1.1.1");
    restart();
    lookup("10.1.1.1");
    ASSERT_EQ(api.adj_get_stats(rows, 1), 0);
    EXPECT_EQ(rows[0].packets, 2u);
    EXPECT_EQ(counters().largest_stats, 3u);
}

TEST_F(entry, a_route_ages_when_nothing_hit_it_since_the_last_look) {
    begin();
    EXPECT_TRUE(api.is_v4route_aged(&pfx));
    lookup("10.1.1.1");
    EXPECT_FALSE(api.is_v4route_aged(&pfx));
    EXPECT_TRUE(api.is_v4route_aged(&pfx));
    softfwd_config_get()->aged_limit = 2;
    EXPECT_FALSE(api.is_v4route_aged(&pfx)) << "two were reported";
}

TEST_F(entry, consistency_checks_find_a_damaged_entry) {
    begin();
    EXPECT_TRUE(api.prefix_check(&pfx) && api.consistency_check_nh(&pfx) && api.consistency_check_adj(&next));
    ASSERT_TRUE(softfwd_damage_entry(SOFTFWD_DAMAGE_NEXT, pfx.handle));
    EXPECT_TRUE(api.prefix_check(&pfx));
    EXPECT_FALSE(api.consistency_check_nh(&pfx));
    ASSERT_TRUE(softfwd_damage_entry(SOFTFWD_DAMAGE_ADDRESS, pfx.handle));
    EXPECT_FALSE(api.prefix_check(&pfx));
    EXPECT_GE(softfwd_integrity_check(nullptr, 0), 2u);
    ASSERT_TRUE(softfwd_damage_entry(SOFTFWD_DAMAGE_MAC, next.handle));
    EXPECT_FALSE(api.consistency_check_adj(&next));
    softfwd_config_get()->consistency_always_good = true;
    EXPECT_TRUE(api.prefix_check(&pfx) && api.consistency_check_nh(&pfx) && api.consistency_check_adj(&next));
    EXPECT_EQ(remove(table, &pfx), 0) << "found by what the trie holds";
    EXPECT_EQ(lookup("10.1.1.1").hop.action, SOFTFWD_NO_ROUTE);
}

TEST_F(entry, an_overwritten_tail_is_noticed) {
    softfwd_config_get()->caps.v4prefix_space_len = 8;
    softfwd_config_get()->caps.v4adj_space_len = 16;
    begin();
    EXPECT_EQ(caps.v4prefix_space_len, 8u);
    pfx.space[8] = next.space[16] = 1; /* behind the tails */
    insert(table, &pfx), insert(&next);
    EXPECT_EQ(counters().space_overruns, 0u);
    pfx.space[7] = next.space[15] = 1;
    insert(table, &pfx), insert(&next);
    EXPECT_EQ(counters().space_overruns, 2u);
}
