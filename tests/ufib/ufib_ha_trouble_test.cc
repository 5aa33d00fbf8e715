/* Restarts in trouble: memory that is short, a store or hardware that refuses, records that cannot be used. */
#include "tests/ufib/ha_routes.h"

#include "host/containers/heap.h"
#include "host/store/store_admin.h"
#include "persist/lcfwd_pss.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_fault.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_record.h"

#include <cstring>

class ufib_ha_trouble : public ha_routes_test {};
INSTANTIATE_TEST_SUITE_P(families, ufib_ha_trouble, both_families, family_name);

/* Memory that is short says nothing about a record: it comes back with the next restart. */
TEST_P(ufib_ha_trouble, a_restart_that_is_short_of_memory_loses_nothing_for_good) {
    wire_route group = add(f, prefix(f, 40)), recursive = add(f, prefix(f, 41));
    group.hops.push_back({.address = f.hop2, .if_index = ETH1});
    recursive.hops = {{.address = f.hop2, .flags = 0x01, .table_id = f.table}};
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0)), group, recursive}));
    const std::string before = ha_model_text();
    bool struck = true;
    for (uint32_t n = 2; struck; n++) {
        const uint32_t nth = n / 2;
        rig.stop();
        heap_fail_nth(nth, n % 2 != 0); /* once, or from then on */
        ASSERT_EQ(rig.start(), 0);
        struck = heap_fail_struck() != 0;
        heap_fail_nth(0, false);
        char text[160] = "";
        EXPECT_EQ(softfwd_integrity_check(text, sizeof text), 0u) << text << " after block " << nth;
        restart();
        ASSERT_EQ(ha_model_text(), before) << "after block " << nth;
    }
}

TEST_P(ufib_ha_trouble, a_store_that_does_not_open_is_there_the_next_time) {
    wire_route group = add(f, prefix(f, 40)), recursive = add(f, prefix(f, 41));
    group.hops.push_back({.address = f.hop2, .if_index = ETH1});
    recursive.hops = {{.address = f.hop2, .flags = 0x01, .table_id = f.table}};
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0)), group, recursive}));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    const std::string before = ha_model_text();
    /* Its databases do not open, or there is no memory to walk over them. */
    for (const store_fault_point point : {STORE_FAULT_WALK, STORE_FAULT_OPEN}) {
        bool struck = true;
        for (uint32_t nth = 1; struck; nth++) {
            rig.stop();
            store_fault_set(point, nth, point == STORE_FAULT_OPEN ? STORE_IO : STORE_NO_SPACE);
            const bool fatal = point == STORE_FAULT_OPEN && nth <= 2; /* the two of the process */
            EXPECT_EQ(rig.start(), fatal ? 69 : 0);
            struck = store_fault_struck(point) != 0;
            store_fault_set(point, 0, 0);
            char text[160] = "";
            EXPECT_EQ(softfwd_integrity_check(text, sizeof text), 0u)
                << text << " after " << point << " " << nth;
            EXPECT_EQ(lookup(f, address(f, 0)), "forward") << point << " " << nth;
            restart();
            EXPECT_EQ(ha_model_text(), before) << "after " << point << " " << nth;
        }
    }
    from_nothing(); /* globals were made anew, for want of the record of their handles */
}

TEST_P(ufib_ha_trouble, a_refusal_at_a_restart_leaves_nothing_that_leads_nowhere) {
    wire_route group = add(f, prefix(f, 40)), recursive = add(f, prefix(f, 41));
    group.hops.push_back({.address = f.hop2, .if_index = ETH1});
    recursive.hops = {{.address = f.hop2, .flags = 0x01, .table_id = f.table}};
    const std::vector<wire_route> routes = {add(f, prefix(f, 0)), group, recursive,
                                            add(f, prefix(f, 1), f.hop, ETH1, DROP)};
    for (int op = 0; op < SOFTFWD_OP_COUNT; op++) {
        bool struck = true;
        for (uint32_t nth = 1; struck; nth++) {
            from_nothing();
            ASSERT_TRUE(load(f, routes));
            const std::string before = ha_routes_text();
            softfwd_counters old = {}, now = {};
            softfwd_counters_get(&old);
            rig.stop();
            ASSERT_TRUE(softfwd_fault_nth(static_cast<softfwd_op>(op), nth, 1));
            ASSERT_EQ(rig.start(), 0);
            softfwd_counters_get(&now);
            softfwd_fault_clear();
            struck = now.failures != old.failures;
            const std::string where =
                std::string(softfwd_op_name(static_cast<uint8_t>(op))) + " " + std::to_string(nth);
            char text[160] = "";
            EXPECT_EQ(softfwd_integrity_check(text, sizeof text), 0u) << text << " " << where;
            EXPECT_TRUE(load(f, routes)) << where;
            EXPECT_EQ(ha_routes_text(), before) << where;
            EXPECT_EQ(softfwd_integrity_check(text, sizeof text), 0u) << text << " " << where;
            EXPECT_EQ(softfwd_prefix_count(f.index == 0 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6), 4u)
                << where;
        }
    }
    from_nothing();
}

TEST_P(ufib_ha_trouble, an_entry_that_cannot_be_put_right_goes) {
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0)), add(f, prefix(f, 1), f.hop2, ETH2)}));
    ufib_disable_pss = true;
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0), f.hop2, ETH2)}));
    rig.stop();
    const auto op = f.index == 0 ? SOFTFWD_OP_INSERT_V4_PREFIX : SOFTFWD_OP_INSERT_V6_PREFIX;
    ASSERT_TRUE(softfwd_fault_nth(op, 2, 1)); /* it is taken up, and written */
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(route(0), nullptr);
    EXPECT_NE(route(1), nullptr);
    EXPECT_EQ(lookup(f, address(f, 0)), "no route");
    EXPECT_EQ(model_findings(rig), "");
}

/* One damaged or unusable record beside good ones. */
TEST_P(ufib_ha_trouble, a_route_whose_next_object_is_nowhere_is_cleaned_out) {
    ASSERT_TRUE(load(f, sorts()));
    const uint32_t handle = route(1)->obj.handle;
    bytes value(UFIB_PREFIX_RECORD_SIZE);
    value[7] = 1;
    value[8] = static_cast<uint8_t>(ufib_families[f.index].adj_type);
    const uint32_t nowhere = 4711;
    std::memcpy(&value[3], &nowhere, sizeof nowhere);
    put(LCFWD_PSS_PREFIX, raw32(handle), value);
    restart();
    char line[64];
    std::snprintf(line, sizeof line, "PSS delete for key: %#x", handle);
    EXPECT_TRUE(rig.log_has(line));
    EXPECT_EQ(route(1), nullptr);
    EXPECT_NE(route(0), nullptr);
    EXPECT_EQ(stats(f).routes_recovered + 1, sorts().size());
    EXPECT_EQ(model_findings(rig), "");
    expect_clean_restart();
}

TEST_P(ufib_ha_trouble, records_that_cannot_be_are_deleted_and_the_rest_is_used) {
    ASSERT_TRUE(load(f, sorts()));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    const std::string before = ha_model_text();
    const bytes unknown = raw32(0x00ff00ff);
    put(LCFWD_PSS_PREFIX, unknown, bytes(UFIB_PREFIX_RECORD_SIZE)); /* no such entry in hardware */
    put(LCFWD_PSS_PREFIX, raw32(0x00ff01ff), bytes(3));             /* too short */
    put(LCFWD_PSS_PREFIX, raw32(0x00ff02ff),
        bytes{0, 1, 1, 0, 0, 0, 0, 65, 4});                                 /* more paths than there are */
    put(LCFWD_PSS_PREFIX, bytes(7, 0xee), bytes(UFIB_PREFIX_RECORD_SIZE));  /* a key of another size */
    put(LCFWD_PSS_PREFIX_RNH, bytes(24), bytes(UFIB_RNH_RECORD_SIZE));      /* table 0 */
    put(LCFWD_PSS_PREFIX_RNH, bytes(24, 1), bytes(264));                    /* without its prefix value */
    put(LCFWD_PSS_PREFIX_RNH, bytes(24, 200), bytes(UFIB_RNH_RECORD_SIZE)); /* a mask of 200 */
    put(adj_kind(), unknown, bytes(21, 1));                                 /* no such entry in hardware */
    put(adj_kind(), raw32(0x00ff03ff), bytes(2));
    put(LCFWD_PSS_MISC, raw32(adj_handle()), bytes(12, 0xff)); /* a kind that is none */
    put(LCFWD_PSS_MISC, unknown, raw32(adj_kind()));           /* cut short */
    for (const lcfwd_pss_kind beside : {LCFWD_PSS_DCSRIF, LCFWD_PSS_V4ADJ_TLV, LCFWD_PSS_V6ECMP_TLV})
        put(beside, unknown, bytes(10)); /* of a record that is gone */
    put(LCFWD_PSS_RPF, raw32(ETH1), bytes(1));
    put(LCFWD_PSS_UFIB_TABLE, raw32(f.table + 5), raw32(3)); /* a family that is none */
    put(LCFWD_PSS_UFIB_TABLE, raw32(f.table + 6), bytes(2));
    restart();
    EXPECT_EQ(ha_model_text(), before);
    EXPECT_EQ(model_findings(rig), "");
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->records_deleted, 17u) << rig.log_text();
    EXPECT_TRUE(rig.log_has("PSS delete for key: 0xff00ff"));
    EXPECT_TRUE(rig.log_has("Failed to get the table id for pfx_hw_idx: 0xff00ff, tbl-id: 0, tbl-type: "));
    expect_clean_restart();
}

TEST_P(ufib_ha_trouble, what_hardware_was_told_after_the_last_commit_is_undone) {
    ASSERT_TRUE(load(f, sorts()));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH2});
    EXPECT_EQ(lookup(f, address(f, 0)), "forward");
    /* The batch reaches hardware, and the process dies before the store is told. */
    const auto old = rig.records("prefix_vdc_1");
    ufib_disable_pss = true;
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0), f.hop2, ETH2), add(f, prefix(f, 2), f.hop2, ETH2)}));
    ufib_disable_pss = false;
    EXPECT_NE(lookup(f, address(f, 0)), "forward");
    EXPECT_EQ(rig.records("prefix_vdc_1"), old);
    restart();
    EXPECT_EQ(lookup(f, address(f, 0)), "forward");
    EXPECT_EQ(lookup(f, address(f, 2)), "forward");
    EXPECT_TRUE(rig.log_has("hardware follows the store"));
    EXPECT_TRUE(rig.log_has("recovery of vdc 1: 2 hardware entries follow the store, 0 records deleted"));
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->entries_repaired, 2u);
    EXPECT_EQ(model_findings(rig), "");
    expect_clean_restart();
}
