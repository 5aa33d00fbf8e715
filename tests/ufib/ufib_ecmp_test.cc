/* Groups of direct next hops: shared by key, made and destroyed with their paths, recorded byte by byte. */
#include "host/containers/slab.h"
#include "platform/ufib_platform.h"
#include "tests/support/model_check.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"

#include <cstring>

class ecmp : public ufib_family_test {
public:
    /* Hop 'n' of the family, on one of two interfaces. */
    wire_hop hop(uint32_t n) const {
        const std::string address =
            f.index == 0 ? "192.0.2." + std::to_string(n) : "fe80::" + std::to_string(n);
        return {.address = address, .if_index = n % 2 == 0 ? ETH2 : ETH1};
    }
    wire_route route(const std::string &prefix, const std::vector<uint32_t> &hops, uint8_t flags = 0) const {
        wire_route out = add(f, prefix, "", ETH1, flags);
        out.hops.clear();
        for (const uint32_t n : hops) out.hops.push_back(hop(n));
        return out;
    }
    static std::vector<uint32_t> first(uint32_t count) {
        std::vector<uint32_t> out;
        for (uint32_t n = 1; n <= count; n++) out.push_back(n);
        return out;
    }
    static uint32_t groups() { return ufib_vdc_get(1)->ecmp_count; }
    static uint32_t adjacencies() { return ufib_vdc_get(1)->adj_count[0] + ufib_vdc_get(1)->adj_count[1]; }
    std::string file(const char *kind) const { return std::string(f.name) + kind + "_vdc_1"; }
    void TearDown() override { EXPECT_EQ(model_findings(rig), ""); }

    /* The only group. */
    static ufib_ecmp *only() { return ufib_ecmp_get_first(ufib_vdc_get(1)); }
};
INSTANTIATE_TEST_SUITE_P(families, ecmp, both_families, family_name);

TEST_P(ecmp, is_shared_by_routes_with_the_same_hops_in_the_same_order) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2}), route(f.prefix2, {1, 2})}));
    EXPECT_EQ(groups(), 1u);
    EXPECT_EQ(ufib_obj_refs(&only()->obj), 2u);
    EXPECT_EQ(fake_count("insert_ecmp"), 1u);
    ASSERT_TRUE(load(f, {route(f.prefix2, {2, 1})}));
    EXPECT_EQ(groups(), 2u) << "another order is another group";
    EXPECT_EQ(adjacencies(), 2u);
    EXPECT_EQ(model_findings(rig), "");
    ASSERT_TRUE(load(f, {remove(f, f.prefix), remove(f, f.prefix2)}));
    EXPECT_EQ(groups(), 0u);
    EXPECT_EQ(adjacencies(), 0u);
}

TEST_P(ecmp, two_equal_hops_are_one_path_but_count_in_a_longer_route) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 1})}));
    EXPECT_EQ(groups(), 0u);
    ASSERT_TRUE(load(f, {route(f.prefix2, {1, 1, 2})}));
    ASSERT_EQ(groups(), 1u);
    EXPECT_EQ(only()->linked, 3u);
    EXPECT_EQ(adjacencies(), 2u);
}

TEST_P(ecmp, a_host_route_takes_the_first_hop_unless_the_platform_shares_load_for_hosts) {
    ASSERT_TRUE(load(f, {route(f.prefix3, {1, 2})}));
    EXPECT_EQ(groups(), 0u);
    EXPECT_EQ(adjacencies(), 1u);
    rig.stop();
    fake.caps.host_ecmp_supported = 1;
    ASSERT_EQ(rig.start(LCFWD_START_COLD), 0);
    rig.vdc(1);
    ASSERT_TRUE(load(f, {route(f.prefix3, {1, 2})}));
    EXPECT_EQ(groups(), 1u);
}

TEST_P(ecmp, takes_up_to_64_paths_and_refuses_65) {
    for (const uint32_t count : {2u, 3u, 63u, 64u}) {
        ASSERT_TRUE(load(f, {route(f.prefix, first(count))})) << count;
        ASSERT_EQ(groups(), 1u);
        EXPECT_EQ(only()->linked, count);
        EXPECT_EQ(model_findings(rig), "") << count;
    }
    EXPECT_FALSE(load(f, {route(f.prefix, first(65))}));
    ASSERT_EQ(groups(), 1u) << "the old one stays";
    EXPECT_EQ(only()->linked, 64u);
}

TEST_P(ecmp, changes_of_the_path_count_make_before_they_break) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1})}));
    fake_take();
    const lines told = {"insert_adj", "delete_adj", "insert_ecmp", "delete_ecmp", f.prefix_slot};
    const auto verbs = [&] {
        lines out;
        for (const std::string &line : fake_take(told)) out.push_back(line.substr(0, line.find(' ')));
        return out;
    };
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    EXPECT_EQ(verbs(), (lines{"insert_adj", "insert_ecmp", f.prefix_slot}));
    ASSERT_TRUE(load(f, {route(f.prefix, {3, 4})}));
    EXPECT_EQ(verbs(), (lines{"insert_adj", "insert_adj", "insert_ecmp", f.prefix_slot, "delete_adj",
                              "delete_adj", "delete_ecmp"}));
    ASSERT_TRUE(load(f, {route(f.prefix, {3})}));
    EXPECT_EQ(verbs(), (lines{f.prefix_slot, "delete_adj", "delete_ecmp"}));
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
}

TEST_P(ecmp, its_paths_go_before_it_and_its_records_with_it) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    EXPECT_EQ(rig.records(file("ecmp")).size(), 1u);
    EXPECT_EQ(rig.records(file("ecmp_tlv")).size(), 1u);
    fake_take();
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    lines verbs;
    for (const std::string &line : fake_take({"delete_"})) verbs.push_back(line.substr(0, line.find(' ')));
    EXPECT_EQ(verbs, (lines{f.delete_slot, "delete_adj", "delete_adj", "delete_ecmp"}));
    EXPECT_TRUE(rig.records(file("ecmp")).empty());
    EXPECT_TRUE(rig.records(file("ecmp_tlv")).empty());
}

/* The bytes, by hand. */
TEST_P(ecmp, records_hold_the_whole_key) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    const auto records = rig.records(file("ecmp"));
    ASSERT_EQ(records.size(), 1u);
    bytes value = bytes_from_hex("00000000 02000000");
    const std::vector<const char *> hops[] = {
        {"0100011a 010200c0", "0200011a 020200c0"},
        {"0100011a fe800000000000000000000000000001", "0200011a fe800000000000000000000000000002"}};
    for (const char *hop_bytes : hops[f.index]) put_bytes(&value, bytes_from_hex(hop_bytes));
    put_zeros(&value, (f.index == 0 ? 524u : 1292u) - value.size());
    EXPECT_EQ(records.begin()->second, hex_from_bytes(value));
    uint8_t handle[4];
    std::memcpy(handle, &only()->obj.handle, sizeof handle);
    EXPECT_EQ(records.begin()->first, hex_from_bytes({handle[0], handle[1], handle[2], handle[3]}));
    EXPECT_EQ(rig.records(file("ecmp_tlv")).begin()->second, hex_from_bytes({0, 1, 0, 10, 0, 1, 0, 2, 0, 0}));
    const std::string prefix = rig.records("prefix_vdc_1").begin()->second;
    EXPECT_EQ(prefix.substr(14, 4), "0204") << "two paths, type 4";
}

TEST_P(ecmp, hashes_and_compares_only_the_paths_it_has) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2}), route(f.prefix2, {1, 2, 3})}));
    EXPECT_EQ(groups(), 2u);
    const ufib_family &family = ufib_families[f.index];
    ufib_ecmp_key key;
    ufib_ecmp_ecmp_to_key(only(), &key);
    const uint32_t hash = ufib_ecmp_hash(family, key);
    key.entries[key.count * ufib_ecmp_entry_bytes(family)] ^= 1; /* the first byte behind */
    EXPECT_EQ(ufib_ecmp_hash(family, key), hash);
    key.entries[key.count * ufib_ecmp_entry_bytes(family) - 1] ^= 1; /* the last one of the last path */
    EXPECT_NE(ufib_ecmp_hash(family, key), hash);
    EXPECT_EQ(ufib_ecmp_search(ufib_vdc_get(1), family, key, nullptr), nullptr);
}

/* What is refused, and what is left then. */
struct refusal {
    const char *name, *slot;
    int nth;
    ufib_err_code error;
};
static const refusal refusals[] = {
    {"first path", "insert_adj", 1, E_ADJ_HW_INSTALL},
    {"second path", "insert_adj", 2, E_ADJ_HW_INSTALL},
    {"group", "insert_ecmp", 1, E_ECMP_HW_INSTALL},
};

TEST_P(ecmp, a_refusal_leaves_nothing_of_a_new_group_and_the_old_next_hop_in_place) {
    for (const refusal &row : refusals) {
        const uint32_t counted = errors(row.error);
        fake.fail_at[row.slot] = row.nth;
        EXPECT_FALSE(load(f, {route(f.prefix, {1, 2})})) << row.name;
        EXPECT_EQ(errors(row.error), counted + 1) << row.name;
        EXPECT_EQ(groups() + adjacencies(), 0u) << row.name;
        EXPECT_EQ(ufib_vdc_get(1)->prefix_count, 0u) << row.name;
        fake.fail_at.clear();
        ASSERT_TRUE(load(f, {route(f.prefix, {9})}));
        fake.fail_at[row.slot] = row.nth;
        EXPECT_FALSE(load(f, {route(f.prefix, {1, 2})})) << row.name;
        EXPECT_EQ(groups(), 0u) << row.name;
        EXPECT_EQ(adjacencies(), 1u) << row.name;
        fake.fail_at.clear();
        ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
        EXPECT_EQ(model_findings(rig), "") << row.name;
    }
}

TEST_P(ecmp, a_refused_prefix_takes_its_new_group_along) {
    fake.fail_at[f.prefix_slot] = 1;
    EXPECT_FALSE(load(f, {route(f.prefix, {1, 2})}));
    EXPECT_EQ(groups() + adjacencies(), 0u);
}

TEST_P(ecmp, no_memory_for_a_bucket_is_an_error_of_the_route) {
    const uint32_t counted = errors(E_ECMP_SLAB_ALLOC);
    slab_fail_nth("ufib ecmp allocator", 1);
    EXPECT_FALSE(load(f, {route(f.prefix, {1, 2})}));
    EXPECT_EQ(errors(E_ECMP_SLAB_ALLOC), counted + 1);
    EXPECT_EQ(groups() + adjacencies(), 0u);
    EXPECT_TRUE(rig.log_has("failed to alloc ecmp dbel, hash "));
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
}

TEST_P(ecmp, policy_routing_keeps_group_and_paths_and_their_records) {
    ufib_vdc *vdc = ufib_vdc_get(1);
    const ufib_family &family = ufib_families[f.index];
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    ufib_ecmp_key key;
    ufib_ecmp_ecmp_to_key(only(), &key);
    ASSERT_EQ(ufib_pbr_ecmp_add(family, vdc, key, 0), only());
    ASSERT_EQ(ufib_pbr_ecmp_add(family, vdc, key, 0), only());
    EXPECT_EQ(only()->pbr_count, 2u);
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    ASSERT_EQ(groups(), 1u) << "no route is left, but policy routing";
    EXPECT_EQ(adjacencies(), 2u);
    EXPECT_EQ(rig.records(file("ecmp_tlv")).begin()->second, hex_from_bytes({0, 1, 0, 10, 0, 1, 0, 2, 2, 0}));
    EXPECT_EQ(rig.records(file("ecmp")).begin()->second.substr(0, 2), "02");
    EXPECT_EQ(model_findings(rig), "");
    EXPECT_EQ(ufib_pbr_ecmp_del(family, vdc, key), 0);
    EXPECT_EQ(groups(), 1u);
    EXPECT_EQ(ufib_pbr_ecmp_del(family, vdc, key), 0);
    EXPECT_EQ(ufib_pbr_ecmp_del(family, vdc, key), -1);
    EXPECT_EQ(groups() + adjacencies(), 0u);
    ASSERT_TRUE(load(f, {route(f.prefix, {1})})); /* commits */
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
}

TEST_P(ecmp, dies_with_its_vdc_whoever_holds_it) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    ufib_ecmp_key key;
    ufib_ecmp_ecmp_to_key(only(), &key);
    ASSERT_NE(ufib_pbr_ecmp_add(ufib_families[f.index], ufib_vdc_get(1), key, 0), nullptr);
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    EXPECT_EQ(fake_entries("ecmp").size(), 0u);
    EXPECT_EQ(fake_entries("adj").size(), 0u);
}

TEST_P(ecmp, a_resolved_neighbour_rewrites_the_path_and_not_the_group) {
    ASSERT_TRUE(load(f, {route(f.prefix, {1, 2})}));
    fake_take();
    neighbour({.address = hop(1).address, .if_index = ETH1, .mac = "020000000001"});
    EXPECT_EQ(fake_count("insert_adj"), 1u);
    EXPECT_EQ(fake_count("insert_ecmp"), 0u);
}

/* A label side that keeps what it is told: a child group, a tunnel with labels of its own on interface 0x20. */
constexpr uint32_t TUNNEL = 0x20;
static struct {
    ufib_obj child;
    ufib_ecmp *group;
    ufib_ecmp_labels labels;
    bool refuse, tunnel_gone;
} label_side;

static ufib_obj *child_make(ufib_vdc *, ufib_ecmp *group, const ufib_ecmp_labels *labels,
                            const ufib_ha_route *) {
    if (label_side.refuse) return nullptr;
    if (label_side.group == nullptr) ufib_obj_hold(&group->obj);
    label_side.group = group;
    label_side.labels = *labels;
    return &label_side.child;
}
static void tunnel_labels(ufib_vdc *, uint32_t if_index, ufib_nh_labels *stack, uint32_t *adj_key_id) {
    if (if_index != TUNNEL) return;
    stack->label[stack->count++] = 500;
    *adj_key_id = 9;
}
static int tunnel_out(ufib_vdc *, uint32_t if_index, ufib_adj_key *key) {
    if (if_index != TUNNEL) return 0;
    key->if_index = ETH2;
    return label_side.tunnel_gone ? -1 : 0;
}

class ecmp_labels : public ecmp {
public:
    void SetUp() override {
        ecmp::SetUp();
        label_side = {};
        label_side.child = {UFIB_OBJ_MPLS_ECMP, 7777, nullptr};
        ufib_hook.te_labels = tunnel_labels;
        ufib_hook.te_out = tunnel_out;
    }
    void TearDown() override {
        ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
        if (label_side.group != nullptr) {
            ufib_obj_drop(&label_side.group->obj);
            ufib_obj_delete(nullptr, &label_side.group->obj);
            (void)ufib_platform_all_writes_ready();
        }
        EXPECT_EQ(groups() + adjacencies(), 0u);
        ecmp::TearDown();
    }
};
INSTANTIATE_TEST_SUITE_P(families, ecmp_labels, both_families, family_name);

TEST_P(ecmp_labels, go_to_the_child_group_which_stands_in_hardware_in_its_place) {
    ufib_hook.get_create_ecmp_child = child_make;
    wire_route labelled = route(f.prefix, {1, 2, 3});
    labelled.hops[0].labels = {3, 3, 100, 101}; /* implicit null in front */
    labelled.hops[1].labels = {200};
    labelled.hops[2].labels = {201, 202, 203, 204, 205};
    labelled.hops[2].if_index = TUNNEL;
    ASSERT_TRUE(load(f, {labelled}));
    EXPECT_EQ(fake_count("insert_ecmp"), 0u);
    ASSERT_NE(label_side.group, nullptr);
    EXPECT_EQ(label_side.group->linked, 3u);
    EXPECT_EQ(ufib_adj_search(ufib_vdc_get(1), ufib_families[f.index], {TUNNEL, {}}), nullptr);
    const ufib_ecmp_labels &told = label_side.labels;
    EXPECT_EQ(told.path[0].count, 2u);
    EXPECT_EQ(told.path[0].label[0], 100u);
    EXPECT_EQ(told.size_code[0], 4u) << "two labels";
    EXPECT_EQ(told.path[1].label[0], 200u);
    EXPECT_EQ(told.size_code[1], 0u);
    EXPECT_EQ(told.path[2].count, 6u);
    EXPECT_EQ(told.path[2].label[0], 500u) << "the tunnel's own first";
    EXPECT_EQ(told.path[2].label[5], 205u);
    EXPECT_EQ(told.adj_key_id[2], 9u);
    ASSERT_TRUE(load(f, {labelled}));
    EXPECT_EQ(groups(), 1u);
}

TEST_P(ecmp_labels, a_failing_child_takes_the_group_along) {
    ufib_hook.get_create_ecmp_child = child_make;
    label_side.refuse = true;
    ASSERT_TRUE(load(f, {route(f.prefix, {9})}));
    wire_route labelled = route(f.prefix, {1, 2});
    labelled.hops[0].labels = {100};
    EXPECT_FALSE(load(f, {labelled}));
    EXPECT_TRUE(rig.log_has("Failed to create the MPLS ECMP"));
    EXPECT_EQ(groups(), 0u);
    EXPECT_EQ(adjacencies(), 1u);
}

TEST_P(ecmp_labels, without_a_label_side_forward_by_address_and_leave_lost_tunnels_out) {
    label_side.tunnel_gone = true;
    wire_route lost = route(f.prefix, {1, 2, 4});
    lost.hops[0].labels = {100};
    lost.hops[1].if_index = TUNNEL;
    ASSERT_TRUE(load(f, {lost}));
    ASSERT_EQ(groups(), 1u);
    EXPECT_EQ(only()->linked, 2u);
    EXPECT_EQ(only()->key->count, 3u);
    EXPECT_TRUE(rig.log_has("Tunnel should exist as it is created during prior processsing"));
    EXPECT_EQ(model_findings(rig), "");
}
