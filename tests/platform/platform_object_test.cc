/* What the wrappers do around a slot, and accessors, over the whole process with the recording platform. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "host/bus/bus_local.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_pi_label.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_label_list.h"
#include "ufib/ufib_prefix.h"

#include <cerrno>
#include <cstring>

struct platform_object : ufib_family_test {
    void TearDown() override {
        ufib_update_funcstats = false;
        ufib_enable_rc_debugs = false;
        ufib_funcstats_clear();
    }
    static uint32_t calls(uint32_t row) { return ufib_prof_ar[row].calls; }
};
INSTANTIATE_TEST_SUITE_P(both, platform_object, both_families, family_name);

TEST_P(platform_object, each_kind_of_write_is_measured_in_its_own_row_for_both_families) {
    ufib_update_funcstats = true;
    ufib_funcstats_clear();
    wire_route elsewhere = add(f, f.prefix2); /* makes a table */
    elsewhere.table_id = 77;
    ASSERT_TRUE(load(f, {add(f, f.prefix), elsewhere}));
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_TABLE), fake_count(f.table_slot));
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_ADJ), fake_count("insert_adj"));
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_PREFIX), 2u);
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_ECMP), 0u);
    for (const uint32_t row : {UFIB_FS_ROUTE_ADD, UFIB_FS_TRACE_ROUTE, UFIB_FS_ROUTE_ERRORS,
                               UFIB_FS_PSS_PREFIX, UFIB_FS_ADJ_GET_CREATE})
        EXPECT_EQ(calls(row), 2u) << ufib_funcstats_name(row);
    EXPECT_EQ(calls(UFIB_FS_PSS_ADJ), fake_count("insert_adj"));
    EXPECT_EQ(calls(UFIB_FS_HW_PSS_FLUSH), fake_count("all_writes_ready"));
    EXPECT_EQ(calls(UFIB_FS_PSS_COMMIT), fake_count("all_writes_ready"));
    wire_route two = add(f, f.prefix);
    two.hops.push_back({.address = f.hop2, .if_index = ETH2});
    ASSERT_TRUE(load(f, {two}));
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_ECMP), 1u);
    EXPECT_EQ(calls(UFIB_FS_PSS_ECMP), 1u);
    EXPECT_EQ(rig.dispatch(OPC_AM_NOTICE, wire_am_notice({{f.hop, ETH1}})), 0);
    EXPECT_EQ(calls(UFIB_FS_AM_NOTIFICATION), 1u);
    ufib_dirty_vobj_timer_handler(nullptr);
    EXPECT_EQ(calls(UFIB_FS_DIRTY_WALK), 1u);
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_PREFIX_DELETE), 1u);
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_ECMP_DELETE), 1u);
    EXPECT_EQ(calls(UFIB_FS_PLATFORM_ADJ_DELETE), fake_count("delete_adj"));
    EXPECT_EQ(calls(UFIB_FS_ROUTE_DELETE), 1u);
}

/* The detailed log tells each delete; without the switch a route writes no text. */
TEST_P(platform_object, detailed_log_tells_deletes_and_answers_that_could_not_be_sent) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2)}));
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_FALSE(rig.log_has("Route opcode "));
    ufib_enable_rc_debugs = true;
    ASSERT_TRUE(load(f, {remove(f, f.prefix2)}));
    EXPECT_TRUE(rig.log_has(std::string("prefix ") + f.prefix2)) << rig.log_text();
    EXPECT_TRUE(rig.log_has("Resp msg:"));

    mts_local_hook_set([](void *, const mts_msg *) { return ENOBUFS; }, nullptr);
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix)}));
    mts_local_hook_set(nullptr, nullptr);
    const std::string text =
        std::string(f.handler) + ": mts_send_response failed, errno: " + std::to_string(ENOBUFS);
    const std::string log = rig.log_text();
    const size_t first = log.find(text);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find(text, first + 1), std::string::npos) << "once as an error, once in the detailed log";
}

TEST_P(platform_object, first_prefix_of_a_table_at_hand) {
    ASSERT_TRUE(load(f, {add(f, f.prefix2), add(f, f.prefix)}));
    const auto first_node = f.index == 0 ? ufib_pi_v4prefix_get_first_node : ufib_pi_v6prefix_get_first_node;
    const auto other = f.index == 0 ? ufib_pi_v6prefix_get_first_node : ufib_pi_v4prefix_get_first_node;
    void *table = ufib_pi_table_search(1, f.table);
    void *first = first_node(table);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first,
              f.index == 0 ? ufib_pi_v4prefix_get_first(1, f.table) : ufib_pi_v6prefix_get_first(1, f.table));
    EXPECT_EQ(other(table), nullptr);
    EXPECT_EQ(first_node(nullptr), nullptr);
}

static lines link_local_calls;

TEST_F(ufib_test, link_local_routes_are_told_again_by_interface) {
    ASSERT_TRUE(load(v6_family, {add(v6_family, "fe80::1/128", "fe80::9", ETH2),
                                 add(v6_family, "2001:db8::/32"), add(v6_family, "fec0::/10")}));
    void *link_local =
        ufib_pi_v6prefix_get_next_from_key(1, v6_family.table, address_bytes("fe80::").data(), 128);
    void *global = ufib_pi_v6prefix_get_first(1, v6_family.table);
    EXPECT_EQ(ufib_pi_v6pfx_get_nll_intf(link_local), 0u);
    EXPECT_EQ(ufib_pi_v6pfx_get_nll_intf(global), ETH1);
    EXPECT_EQ(ufib_pi_v6pfx_get_nll_intf(nullptr), 0u);

    link_local_calls.clear();
    ufib_platform_table.update_link_local_route = [](uint32_t vdc, uint32_t if_index, bool is_add) {
        link_local_calls.push_back(std::to_string(vdc) + " " + std::to_string(if_index) +
                                   (is_add ? " +" : " -"));
    };
    ufib_pi_update_link_local_routes(1, true);
    ufib_pi_update_link_local_routes(1, false);
    ufib_pi_update_link_local_routes(2, true);
    const std::string row = "1 " + std::to_string(ETH2);
    EXPECT_EQ(link_local_calls, (lines{row + " +", row + " -"}));
}

TEST_F(ufib_test, a_subinterface_is_known_by_its_name) {
    uint32_t line = 0;
    const std::string rows = "interface 0x1a010002 Ethernet1/1.5\n";
    ASSERT_EQ(interfaces_parse(rows.data(), rows.size(), &line), 0);
    ASSERT_TRUE(load(
        v4_family, {add(v4_family, v4_family.prefix), add(v4_family, v4_family.prefix2, "192.0.2.2", ETH2)}));
    EXPECT_FALSE(ufib_pi_v4adj_is_subinterface(ufib_pi_v4adj_if_get_first(1, ETH1)));
    EXPECT_TRUE(ufib_pi_v4adj_is_subinterface(ufib_pi_v4adj_if_get_first(1, ETH2)));
    EXPECT_FALSE(ufib_pi_v4adj_is_subinterface(nullptr));
}

static lines labels_told;

/* The library gives its results at the end of the batch: all of them bad. */
static void fail_first_prefix_late() {
    void *v4 = ufib_pi_v4prefix_get_first(1, v4_family.table);
    void *v6 = ufib_pi_v6prefix_get_first(1, v6_family.table);
    if (v4 != nullptr) {
        ufib_pi_upd_pfx_retval(static_cast<uint32_t>(ufib_pi_pfx_cookie_add(v4)), -5);
        ufib_pi_cookie_proc_set();
    }
    if (v6 != nullptr) {
        ufib6_pi_upd_pfx_retval(static_cast<uint32_t>(ufib6_pi_pfx_cookie_add(v6)), -5);
        ufib6_pi_cookie_proc_set();
    }
    fake.on_all_writes = nullptr;
}

TEST_P(platform_object, labels_of_a_prefix_that_failed_late_are_told_to_drop) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    void *first =
        f.index == 0 ? ufib_pi_v4prefix_get_first(1, f.table) : ufib_pi_v6prefix_get_first(1, f.table);
    ASSERT_NE(first, nullptr);
    auto *pfx = static_cast<ufib_pfx *>(first);
    ufib_label_node label = {};
    label.value = 100;
    ufib_prefix_label_list_add(pfx, &label);
    pfx->holders |= UFIB_HOLDER_FEC;
    labels_told.clear();
    ufib_hook.fec_prefix_update = [](ufib_vdc *, ufib_obj *next, ufib_label_node *bound) {
        labels_told.push_back(std::to_string(bound->value) + " to " + std::to_string(next->handle));
    };
    fake.on_all_writes = fail_first_prefix_late;
    EXPECT_FALSE(load(f, {add(f, f.prefix, f.hop2)}));
    EXPECT_EQ(errors(E_PFX_HW_INSTALL), 1u);
    ASSERT_EQ(labels_told.size(), 2u) << "the new next hop, then its end";
    EXPECT_EQ(labels_told.back(), "100 to " + std::to_string(f.drop));
    ufib_hook = {};
    ufib_prefix_label_list_delete(ufib_vdc_get(1), pfx, 100, false);
    pfx->holders = 0;
}

TEST_P(platform_object, a_refused_rewrite_counts_once) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = "020000000001"});
    ASSERT_EQ(errors(E_ADJ_HW_INSTALL), 0u);
    fake.fail_at["insert_adj"] = 1;
    neighbour({.address = f.hop, .if_index = ETH1});
    EXPECT_EQ(errors(E_ADJ_HW_INSTALL), 1u);
}

/* Entries that move to another handle at each write. */
static uint32_t next_handle;
static uint32_t moving_insert(uint32_t, void *, uint32_t, bool) { return ++next_handle; }

TEST_P(platform_object, a_prefix_that_moves_to_another_handle_leaves_no_record_behind) {
    next_handle = 5000;
    ufib_platform_table.insert_v4_prefix = moving_insert;
    ufib_platform_table.insert_v6_prefix = moving_insert;
    for (const std::string hop : {f.hop, f.hop2}) ASSERT_TRUE(load(f, {add(f, f.prefix, hop, ETH1, 1)}));
    const auto records = rig.records("prefix_vdc_1");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records.begin()->first, "8a130000") << "5002 in the machine's order";
    EXPECT_EQ(rig.records("dcsrif_vdc_1").size(), 1u);
}

TEST_P(platform_object, bytes_of_the_platform_about_a_table_may_be_many) {
    ufib_platform_sizes.table_pss_space_len = 3000;
    ufib_platform_table.get_table_pss_info = [](uint32_t, void *out) {
        std::memset(out, 0x5a, 3000);
        return 0;
    };
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_pi_pss_insert_table(ufib_pi_table_search(1, f.table));
    ASSERT_TRUE(load(f, {add(f, f.prefix2)})); /* its end writes the store */
    std::string own;
    for (const auto &[key, value] : rig.records("ufib_table_vdc_1"))
        if (value.find("5a5a") != std::string::npos) own = value;
    EXPECT_EQ(own.size(), 2 * (4 + 4 + 8 + 4 + 3000u));
}
