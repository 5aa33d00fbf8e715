/* Rewrites that hardware refuses: what they leave stands and is safe, and they are tried again until they are taken. */
#include "platform/ufib_platform.h"
#include "tests/ufib/vobj_rig.h"
#include "ufib/ufib_retry.h"

struct retry_test : vobj_test, testing::WithParamInterface<const family *> {
    retry_test() { now = GetParam(); }
    void TearDown() override {
        fake.fail_all.clear();
        second();
        settle();
        EXPECT_FALSE(ufib_retry_is_waiting());
        EXPECT_EQ(dangling(), "");
        ufib_test::TearDown();
    }
    void neighbour(const char *mac) {
        fake_take();
        ASSERT_EQ(rig.dispatch(OPC_AM_NOTICE, wire_am_notice({{f().hop, ETH1, mac}})), 0);
    }
    void stand() {
        ASSERT_TRUE(load1(over(0, {1, 2})));
        load_many(0, 10, {through(0)});
        settle();
    }
};
INSTANTIATE_TEST_SUITE_P(both, retry_test, both_families, family_name);

TEST_P(retry_test, a_neighbour_that_leaves_is_told_until_hardware_listens) {
    ASSERT_TRUE(load(f(), {add(f(), f().prefix)}));
    neighbour("0200000000aa");
    const ufib_adj *adj = ufib_adj_get_first(ufib_vdc_get(1), ufib_families[f().index]);
    fake.fail_all["insert_adj"] = 1;
    neighbour("");
    EXPECT_EQ(adj->flags & (UFIB_ADJ_RESOLVED | UFIB_ADJ_GLEAN), UFIB_ADJ_GLEAN);
    for (const uint32_t attempts : {1u, 2u, 3u}) {
        EXPECT_EQ(errors(E_ADJ_HW_INSTALL), attempts);
        second();
    }
    fake.fail_all.clear();
    fake_take();
    second();
    second();
    EXPECT_EQ(fake_count("insert_adj"), 1u) << "once it is taken it is over";
    neighbour("0200000000aa");
    for (const char *mac : {"0200000000bb", "0200000000cc", ""}) {
        fake.fail_all["insert_adj"] = 1;
        neighbour(mac);
        EXPECT_EQ((adj->flags & UFIB_ADJ_RESOLVED) != 0, mac[0] != 0);
        EXPECT_EQ(ufib_obj_refs(&adj->obj), mac[0] != 0 ? 2u : 1u) << "the manager holds it once";
        fake.fail_all.clear();
        second();
        EXPECT_FALSE(ufib_retry_is_waiting());
        const std::string &entry = fake.entries[adj->obj.handle].content;
        EXPECT_NE(entry.find(mac[0] != 0 ? std::string(" mac ") + mac : " glean"), std::string::npos)
            << entry;
    }
    fake.fail_all["insert_adj"] = 1;
    ASSERT_EQ(rig.dispatch(74760, bytes_from_hex("0200000000ff")), 0);
    EXPECT_EQ(ufib_retry_adjs.count, 9u) << "a router MAC concerns the globals too";
    ASSERT_TRUE(load(f(), {remove(f(), f().prefix)}));
    EXPECT_EQ(ufib_retry_adjs.count, 8u) << "one that dies waits no more";
}

TEST_P(retry_test, paths_that_a_refused_group_leads_to_live_on) {
    stand();
    fake.fail_all["update_vobj"] = 1;
    for (const auto &paths : {std::vector<unsigned>{2, 3}, {3, 4}, {4, 5, 6}}) {
        ASSERT_TRUE(load1(over(0, paths)));
        EXPECT_EQ(dangling(), "") << "path 1 stays, though no route uses it";
    }
    EXPECT_GE(errors(E_VOBJ_HW_UPDATE), 3u);
    fake.fail_all.clear();
    second();
    EXPECT_EQ(dangling(), "");
    EXPECT_FALSE(ufib_retry_is_waiting());
    settle();
    EXPECT_EQ(paths_of(9), "4 5 6");
    EXPECT_EQ(fake_entries("adj").size(), 8u + 3u) << "and the paths of before have gone";
    fake.fail_all["update_vobj"] = 1;
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    for (unsigned n = 0; n < 10; n++) ASSERT_TRUE(load1(remove(f(), dest(n))));
    ASSERT_TRUE(load1(no_rnh(0)));
    EXPECT_EQ(fake_entries("adj").size(), 8u) << "with the object goes what it kept";
}

TEST_P(retry_test, what_waits_for_its_removal_waits_through_rewrites) {
    stand();
    ASSERT_TRUE(load(f(), {add(f(), f().prefix, path(7)), add(f(), f().prefix2, path(8), ETH1, 0x40)}));
    fake.fail_all = {{"delete_adj", 1}, {"delete_vobj", 1}};
    ASSERT_TRUE(load(f(), {remove(f(), f().prefix), remove(f(), f().prefix2)}));
    for (unsigned n = 0; n < 10; n++) ASSERT_TRUE(load1(remove(f(), dest(n))));
    EXPECT_EQ(dangling(), "") << "the recirculating one stays, too";
    ASSERT_EQ(rig.restart(), 0);
    fake.fail_all.clear();
    ASSERT_EQ(rig.dispatch(74760, bytes_from_hex("0200000000ff")), 0);
    ASSERT_TRUE(load1(over(0, {2, 3})));
    second();
    EXPECT_EQ(fake_entries("vobj").size(), 0u);
    EXPECT_EQ(fake_entries("adj").size(), 8u + 2u);
}

TEST_P(retry_test, a_group_that_neither_goes_nor_can_be_written_is_not_lost) {
    wire_route route = add(f(), f().prefix, path(1));
    route.hops.push_back({.address = path(2), .if_index = ETH1});
    ASSERT_TRUE(load1(route));
    for (const char *slot : {"insert_ecmp", "insert_adj"}) {
        fake.fail_all = {{"delete_ecmp", 1}, {slot, 1}};
        ASSERT_TRUE(load1(remove(f(), f().prefix)));
        EXPECT_EQ(fake_entries("ecmp").size(), 1u);
        EXPECT_FALSE(load1(route)) << "nobody knows where it leads";
        fake.fail_all.clear();
        ASSERT_TRUE(load1(route));
        EXPECT_EQ(dangling(), "");
    }
    fake.fail_all = {{"delete_ecmp", 1}};
    ASSERT_TRUE(load1(remove(f(), f().prefix)));
    fake.fail_all.clear();
    second();
    EXPECT_EQ(fake_entries("ecmp").size() + ufib_vdc_get(1)->ecmp_count, 0u);
}

static std::string stubborn;
static int (*update_nh)(void *);
static int stubborn_update(void *pfx) {
    return ufib_pfx_str(static_cast<const ufib_pfx *>(pfx)) == stubborn ? -1 : update_nh(pfx);
}

TEST_P(retry_test, a_prefix_that_cannot_leave_an_instance_keeps_it_alive) {
    stand();
    const uint32_t before = pointed_at(3);
    update_nh = ufib_platform_table.update_v4prefix_nh; /* the same for both families */
    ufib_platform_table.update_v4prefix_nh = ufib_platform_table.update_v6prefix_nh = stubborn_update;
    stubborn = dest(3);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    for (int i = 0; i < 3; i++) second();
    EXPECT_EQ(vobj_of(3)->old_handle, before) << "the walk has not ended";
    EXPECT_EQ(fake.entries.count(before), 1u);
    EXPECT_TRUE(rig.log_has("prefix " + stubborn + " cannot leave the old instance of its vobj"));
    stubborn.clear();
    second();
    EXPECT_EQ(vobj_of(3)->old_handle, 0u);
    EXPECT_NE(pointed_at(3), before);
}
