/* Tables beside their routes: deletion while prefixes remain, the platform's forced form, what the system has
 * configured; and the records of interfaces, by their users and the MACs that the system's database tells. */
#include "tests/ufib/control_rig.h"

#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_mac.h"
#include "ufib/ufib_prefix.h"

struct table_test : control_test {
    ufib_vdc *vdc() const { return ufib_vdc_get(1); }
    ufib_table *table() const { return ufib_table_search(vdc(), f.table); }
    void configure(const std::string &rows) {
        uint32_t line = 0;
        ASSERT_EQ(interfaces_parse(rows.data(), rows.size(), &line), 0) << line;
    }
};
INSTANTIATE_TEST_SUITE_P(both, table_test, both_families, family_name);

TEST_P(table_test, with_prefixes_is_marked_and_passed_by_until_it_is_emptied) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    EXPECT_EQ(ufib_table_destroy(table()), 0);
    EXPECT_TRUE(rig.log_has(f.index == 0 ? "deleting table 0x1 " : "deleting table 0x80000001 "));
    EXPECT_EQ(table()->flags, 0x80);
    EXPECT_NE(table()->obj.handle, 0u);
    ravl_iterator all, good;
    uint32_t tables = 0, good_tables = 0;
    for (ufib_table *at = ufib_table_get_first(1, &all); at != nullptr; at = ufib_table_get_next(1, &all))
        tables++;
    (void)ufib_table_get_first(1, &good);
    while (ufib_table_get_next_good(1, &good) != nullptr) good_tables++;
    EXPECT_EQ(tables, 3u);
    EXPECT_EQ(good_tables, f.index == 0 ? 2u : 1u)
        << "behind the first one, which is the table itself for IPv4";
    EXPECT_EQ(ufib_table_get_first(0, &all), nullptr);
    EXPECT_EQ(ufib_table_get_first(6, &all), nullptr);
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    rig.advance_seconds(6);
    EXPECT_EQ(table(), nullptr);
}

TEST_P(table_test, a_library_may_destroy_one_with_its_routes) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2, f.hop2)}));
    fake_take();
    ufib_pi_table_destroy(1, f.table);
    EXPECT_EQ(fake_count(f.delete_slot), 2u);
    EXPECT_EQ(table(), nullptr);
    EXPECT_EQ(vdc()->table_count, 2u);
    EXPECT_EQ(vdc()->prefix_count, 0u);
    ufib_pi_table_destroy(1, f.table);
    ufib_pi_table_destroy(4, f.table);
    rig.advance_seconds(6); /* its entry of the waiting list finds nothing */
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

TEST_P(table_test, a_walk_over_prefixes_ends_with_the_bracket) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2)}));
    fake_take();
    uint32_t visits = 0;
    ufib_pt_walk(
        &table()->main, [](ufib_pfx *, void *count) { (*static_cast<uint32_t *>(count))++; }, &visits);
    EXPECT_EQ(visits, 2u);
    EXPECT_EQ(fake_take({"all_writes_ready"}).size(), 1u);
}

TEST_P(table_test, ids_of_the_system_are_listed_whether_they_are_here_or_not) {
    configure("context 1 blue ipv4 7 ipv6 0x80000007\ncontext 1 default ipv4 1 ipv6 0x80000001\n"
              "context 2 red ipv4 9 ipv6 0x80000009\n");
    const bool v4 = f.index == 0;
    const uint32_t high = v4 ? 0 : 0x80000000;
    EXPECT_EQ(ufib_table_vdc_get_first_table_id(1, v4), high + 7);
    EXPECT_EQ(ufib_table_vdc_get_next_table_id(1, v4, high + 7), high + 1);
    EXPECT_EQ(ufib_table_vdc_get_next_table_id(1, v4, high + 1), 0u);
    EXPECT_EQ(ufib_table_vdc_get_next_table_id(1, v4, 0), 0u);
}

/* ---- interfaces ---- */

TEST_P(table_test, an_interface_waits_when_its_last_user_leaves_and_stays_when_one_returns) {
    ufib_idb *record = ufib_get_create_idb(vdc(), ETH1);
    const uint32_t adj_bit = UFIB_IDB_V4_ADJ + f.index, rpf_bit = UFIB_IDB_V4_RPF + f.index;
    ufib_idb_hold(record, adj_bit);
    ufib_idb_hold(record, rpf_bit);
    ufib_idb_release(record, adj_bit);
    rig.advance_seconds(6);
    ASSERT_EQ(idb(), record) << "the other user holds it";
    ufib_idb_release(record, rpf_bit);
    ufib_idb_hold(record, adj_bit);
    rig.advance_seconds(6);
    ASSERT_EQ(idb(), record) << "it came back in time";
    record->holders = 0;
    ufib_idb_release(record, rpf_bit); /* a bit that is not set queues it all the same */
    rig.advance_ms(4900);
    EXPECT_EQ(idb(), record);
    rig.advance_ms(200);
    EXPECT_EQ(idb(), nullptr);
}

TEST_P(table_test, macs_follow_the_systems_database) {
    constexpr uint32_t VLAN7 = 0x09000007;
    configure("interface 0x1a010001 Ethernet1/1 mac 02:00:00:00:00:01\n"
              "interface 0x09000007 Vlan7 mac 02:00:00:00:00:07\n");
    ASSERT_TRUE(
        load(f, {add(f, f.prefix), add(f, f.prefix2, f.hop2, VLAN7), add(f, f.prefix3, f.hop, ETH2)}));
    EXPECT_EQ(mac_text(idb()->mac), "020000000001");
    EXPECT_EQ(mac_text(idb(VLAN7)->mac), "020000000007");
    EXPECT_EQ(idb(ETH2)->mac_flags, 0);
    configure("interface 0x1a010002 Ethernet1/2 mac 02:00:00:00:00:02\n"
              "interface 0x09000007 Vlan7 mac 02:00:00:00:00:77\n");
    control.smacs.clear();
    const uint32_t handle = adj(f.hop)->obj.handle;
    ufib_update_if_macs_from_gsdb(vdc());
    EXPECT_EQ(idb()->mac_flags, 0) << "it has none of its own any more";
    EXPECT_EQ(mac_text(idb(ETH2)->mac), "020000000002");
    EXPECT_EQ(mac_text(idb(VLAN7)->mac), "020000000077");
    EXPECT_EQ(control.smacs.size(), 3u) << "each adjacency is written again";
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
}

TEST_P(table_test, an_adjacency_goes_when_nobody_needs_it) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_adj *next = adj(f.hop);
    EXPECT_FALSE(ufib_adj_destroy_ok(next)) << "a route points at it";
    next->pbr_count = 2;
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(adj(f.hop), next) << "policy routing counts beside the references";
    next->pbr_count = 0;
    next->wccp_count = 1;
    EXPECT_EQ(ufib_adj_destroy(nullptr, next, false), 0);
    next->wccp_count = 0;
    EXPECT_FALSE(ufib_is_global_adj(next->obj.handle, vdc()));
    EXPECT_EQ(ufib_adj_destroy(nullptr, next, false), 1);
    (void)ufib_platform_all_writes_ready();
    for (const uint32_t handle : {f.drop, f.punt, f.glean}) EXPECT_TRUE(ufib_is_global_adj(handle, vdc()));
    EXPECT_FALSE(
        ufib_is_global_adj(vdc()->global_adj[ufib_families[f.index].global_mcast_src]->obj.handle, vdc()));
    EXPECT_EQ(ufib_adj_create_global(vdc(), 0, 0), nullptr);
    EXPECT_EQ(ufib_adj_create_global(vdc(), 11, 0), nullptr);
}
