/* What the label side sees of prefixes and next hops, before it is there: its hooks are the test's. */
#include "tests/ufib/control_rig.h"

#include "platform/ufib_pi_label.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_label_list.h"
#include "ufib/ufib_nh_key.h"
#include "ufib/ufib_prefix.h"

static lines told;

static void fec_update(ufib_vdc *, ufib_obj *next, ufib_label_node *label) {
    told.push_back("label " + std::to_string(label->value) + " to " + std::to_string(next->handle));
}

struct label_test : control_test {
    void SetUp() override {
        control_test::SetUp();
        told.clear();
        ufib_hook.fec_prefix_update = fec_update;
    }
    ufib_pfx *first_prefix() {
        return ufib_prefix_get_first(&ufib_table_search(ufib_vdc_get(1), f.table)->main);
    }
};
INSTANTIATE_TEST_SUITE_P(both, label_test, both_families, family_name);

TEST_P(label_test, labels_follow_the_next_object_and_keep_a_deleted_route_at_drop) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_pfx *pfx = first_prefix();
    ufib_label_node labels[3] = {{}, {}, {}};
    for (uint32_t i = 0; i < 3; i++) {
        labels[i].value = 100 + i;
        ufib_prefix_label_list_add(pfx, &labels[i]);
    }
    pfx->holders |= UFIB_HOLDER_FEC;
    uint32_t values[2] = {}, count = 0;
    ufib_prefix_get_labels(pfx, values, 2, &count);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(values[0], 102u);
    EXPECT_EQ(ufib_pi_label_get_value(ufib_pi_v4prefix_get_label_next(ufib_pi_v4prefix_get_label_first(pfx))),
              101u);
    ufib_prefix_label_list_delete(ufib_vdc_get(1), pfx, 101, true);
    EXPECT_EQ(ufib_prefix_label_list_find(pfx, 101), nullptr);
    ufib_prefix_label_list_delete(ufib_vdc_get(1), pfx, 101, true);
    EXPECT_TRUE(rig.log_has("Label not found in prefix label list"));

    ASSERT_TRUE(load(f, {add(f, f.prefix, f.hop2)}));
    const std::string to = " to " + std::to_string(adj(f.hop2)->obj.handle);
    EXPECT_EQ(told, (lines{"label 102" + to, "label 100" + to}));

    told.clear();
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    const std::string drop = " to " + std::to_string(f.drop);
    EXPECT_EQ(told, (lines{"label 102" + drop, "label 100" + drop}));
    EXPECT_EQ(first_prefix(), pfx);
    EXPECT_EQ(pfx->obj.handle, 0u);
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    EXPECT_EQ(first_prefix(), pfx) << "a later add uses it again";
    EXPECT_NE(pfx->obj.handle, 0u);

    static ufib_pfx *dropped;
    ufib_hook.label_prefix_delete = [](ufib_vdc *, ufib_pfx *last) { dropped = last; };
    ufib_prefix_label_list_delete(ufib_vdc_get(1), pfx, 100, true);
    EXPECT_EQ(dropped, nullptr);
    ufib_prefix_label_list_delete(ufib_vdc_get(1), pfx, 102, true);
    EXPECT_EQ(dropped, pfx);
    dropped = nullptr;
    pfx->holders &= static_cast<uint8_t>(~UFIB_HOLDER_FEC);
    ASSERT_TRUE(load(f, {add(f, f.prefix)})); /* and its record says so */
}

TEST_P(label_test, a_next_hop_over_a_tunnel_resolves_to_the_way_out_or_to_nothing) {
    static constexpr uint32_t TE = 0x22000007;
    static bool has_way;
    static uint32_t null_tunnels;
    static ufib_mpls_info seen;
    has_way = true;
    null_tunnels = 0;
    ufib_hook.te_is_te_interface = [](ufib_vdc *, uint32_t if_index) { return if_index == TE; };
    ufib_hook.te_get_out_if_index = [](ufib_vdc *, uint32_t, ufib_adj_key *out) {
        if (!has_way) return -1;
        *out = {ETH2, {9, 9, 9, 9}};
        return 0;
    };
    ufib_hook.te_create_null_tunnel = [](ufib_vdc *, uint32_t) { null_tunnels++; };
    ufib_hook.adj_actions = [](ufib_vdc *, ufib_obj *parent, const ufib_mpls_info *info, uint32_t) {
        if (info != nullptr) seen = *info;
        return parent;
    };
    wire_route route = add(f, f.prefix, f.hop, TE);
    route.hops[0].labels = {17, 18};
    ASSERT_TRUE(load(f, {route}));
    const auto *next = reinterpret_cast<const ufib_adj *>(first_prefix()->obj.next);
    EXPECT_EQ(next->key.if_index, ETH2);
    EXPECT_TRUE(seen.active);
    EXPECT_EQ(seen.te_if_index, TE);
    EXPECT_EQ(seen.if_index, ETH2);
    EXPECT_EQ(seen.label_count, 2u);

    has_way = false;
    ASSERT_TRUE(load(f, {add(f, f.prefix2, f.hop, TE)}));
    EXPECT_EQ(null_tunnels, 1u);
    EXPECT_TRUE(rig.log_has("Te node not found for if index 0x22000007"));
}

TEST_P(label_test, extra_route_information_stays_with_the_adjacency) {
    wire_route route = add(f, f.prefix);
    route.hops[0].xri = bytes(24, 0x5a);
    ASSERT_TRUE(load(f, {route, add(f, f.prefix2, f.hop2)}));
    ASSERT_NE(ufib_adj_xri(adj(f.hop)), nullptr);
    EXPECT_EQ(ufib_adj_xri(adj(f.hop))->word2[3], 0x5a);
    EXPECT_EQ(ufib_adj_xri(adj(f.hop2)), nullptr);
    route.hops[0].xri = bytes(24, 0x6b);
    ASSERT_TRUE(load(f, {route}));
    EXPECT_EQ(ufib_adj_xri(adj(f.hop))->address[0], 0x6b);
}
