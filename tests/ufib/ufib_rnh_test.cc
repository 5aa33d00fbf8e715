/* What a changed path of a recursive next hop does to the groups and prefixes behind it. */
#include "tests/ufib/vobj_rig.h"

#include "core/lcfwd_log.h"
#include "ufib/ufib_hooks.h"

struct rnh_test : vobj_test, testing::WithParamInterface<const family *> {
    rnh_test() { now = GetParam(); }
    void TearDown() override {
        ufib_enable_rc_debugs = false;
        ufib_test::TearDown();
    }
    /* Prefixes 0 to count - 1 over RNH 0 with the given paths, at rest. */
    void stand(const std::vector<unsigned> &paths, unsigned count = 10) {
        ASSERT_TRUE(load1(over(0, paths)));
        load_many(0, count, {through(0)});
        settle();
        fake_take();
    }
    std::set<uint32_t> groups_in_use(unsigned count) const {
        std::set<uint32_t> out;
        for (unsigned n = 0; n < count; n++) out.insert(pointed_at(n));
        return out;
    }
};

TEST_P(rnh_test, same_count_is_one_write_and_no_prefix_is_touched) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    ASSERT_TRUE(load1(over(0, {1, 3})));
    EXPECT_EQ(vobj_calls().size(), 1u);
    settle();
    EXPECT_EQ(fake_count("update_prefix_nh"), 0u);
    EXPECT_EQ(pointed_at(0), before);
    EXPECT_EQ(paths_of(0), "1 3");
}

TEST_P(rnh_test, another_count_builds_beside_and_moves_the_prefixes) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    EXPECT_EQ(fake_count("insert_vobj"), 1u);
    EXPECT_EQ(fake_count("delete_vobj"), 0u);
    EXPECT_EQ(groups_in_use(10), std::set<uint32_t>{before}) << "they move in the walk, not now";
    EXPECT_EQ(rig.records("vobj_vdc_1").size(), 2u) << "one record an instance";
    fake_take();
    second();
    const lines calls = vobj_calls();
    ASSERT_EQ(calls.size(), 11u);
    EXPECT_EQ(calls.back(), "delete_vobj old " + std::to_string(before)) << "last of all";
    EXPECT_EQ(members_behind(9), 3u);
    EXPECT_EQ(rig.records("vobj_vdc_1").size(), 1u);
}

TEST_P(rnh_test, back_to_the_old_count_before_the_walk_drops_the_new_group) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    ASSERT_TRUE(load1(over(0, {1, 2})));
    EXPECT_EQ(vobj_of(0)->new_handle, before);
    EXPECT_EQ(ufib_dirty_vobj_list.count, 0u);
    settle();
    EXPECT_EQ(fake_count("insert_vobj"), 1u);
    EXPECT_EQ(fake_count("update_prefix_nh"), 0u);
}

TEST_P(rnh_test, back_to_the_old_count_during_the_walk_turns_it_round) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    EXPECT_EQ(ufib_dirty_vobjs_do_pfx_backwalk(4), 4u);
    EXPECT_EQ(groups_in_use(10).size(), 2u);
    fake_take();
    ASSERT_TRUE(load1(over(0, {2, 4})));
    EXPECT_EQ(fake_count("insert_vobj"), 0u) << "no third group";
    EXPECT_NE(vobj_of(0)->flags & UFIB_VOBJ_REVERSED, 0u);
    EXPECT_EQ(fake.entries[before].members.size(), 2u);
    settle();
    EXPECT_EQ(fake_count("update_prefix_nh"), 5u) << "the four that had moved, and the one it stood on";
    EXPECT_EQ(groups_in_use(10), std::set<uint32_t>{before});
    EXPECT_EQ(paths_of(0), "2 4");
}

TEST_P(rnh_test, a_walk_turned_round_twice_still_reaches_all) {
    stand({1, 2});
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(6);
    ASSERT_TRUE(load1(over(0, {1, 2})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(3);
    ASSERT_TRUE(load1(over(0, {1, 2, 4})));
    settle();
    EXPECT_EQ(groups_in_use(10), std::set<uint32_t>{vobj_of(0)->new_handle});
    EXPECT_EQ(members_behind(0), 3u);
}

TEST_P(rnh_test, a_third_size_during_the_walk_waits_until_it_has_ended) {
    stand({1, 2});
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(4);
    fake_take();
    ASSERT_TRUE(load1(over(0, {1, 2, 3, 4})));
    EXPECT_EQ(fake_count("insert_vobj"), 0u);
    EXPECT_EQ(ufib_rnh_update_pending_list.count, 1u);
    EXPECT_NE(rnh_of(0)->flags & UFIB_PFX_FLAG_PENDING, 0);
    settle();
    EXPECT_EQ(fake_count("insert_vobj third"), 0u);
    EXPECT_EQ(members_behind(0), 4u);
    EXPECT_EQ(ufib_rnh_update_pending_list.count, 0u);
    EXPECT_EQ(rnh_of(0)->flags & UFIB_PFX_FLAG_PENDING, 0);
}

/* The list in between was never built; what follows has the size of the standing group, so nothing else would write it. */
TEST_P(rnh_test, a_list_that_fits_the_standing_group_again_is_written_into_it) {
    stand({1, 2});
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(4);
    ASSERT_TRUE(load1(over(0, {4})));
    fake_take();
    ASSERT_TRUE(load1(over(0, {4, 5, 6})));
    EXPECT_GE(fake_count("update_vobj"), 1u);
    settle();
    EXPECT_EQ(members_behind(0), 3u);
}

TEST_P(rnh_test, a_third_size_before_the_walk_replaces_the_unused_group) {
    stand({1, 2});
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    ASSERT_TRUE(load1(over(0, {1, 2, 3, 4})));
    EXPECT_EQ(fake_count("delete_vobj new"), 1u);
    EXPECT_EQ(fake_entries("vobj").size(), 2u);
    settle();
    EXPECT_EQ(members_behind(0), 4u);
}

TEST_P(rnh_test, backups_serve_only_without_an_active_path) {
    ASSERT_TRUE(load(f(), {over(0, {1}), over(1, {2, 3})}));
    ASSERT_TRUE(load1(recursive(0, {through(0), through(1, RECURSIVE_HOP | BACKUP_HOP)})));
    EXPECT_EQ(paths_of(0), "1");
    ASSERT_TRUE(load1(no_rnh(0)));
    EXPECT_EQ(paths_of(0), "2 3");
    ASSERT_TRUE(load1(over(0, {4})));
    EXPECT_EQ(paths_of(0), "4");
    settle();
    EXPECT_EQ(members_behind(0), 1u);
}

TEST_P(rnh_test, without_a_living_rnh_prefixes_drop_and_wait) {
    stand({1, 2});
    ASSERT_TRUE(load1(no_rnh(0)));
    settle();
    EXPECT_EQ(paths_of(0), "drop");
    ASSERT_NE(rnh_of(0), nullptr) << "it stays for those who depend on it";
    EXPECT_NE(rnh_of(0)->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED, 0);
    ASSERT_TRUE(load1(over(0, {5})));
    settle();
    EXPECT_EQ(paths_of(0), "5");
}

TEST_P(rnh_test, a_refused_route_brings_no_rnh_to_life) {
    ASSERT_TRUE(load(f(), {over(1, {1}), recursive(0, {through(0), through(1)})}));
    fake.fail_all["insert_adj"] = 1;
    EXPECT_FALSE(load1(over(0, {2})));
    fake.fail_all.clear();
    ASSERT_TRUE(load1(over(1, {3})));
    EXPECT_EQ(paths_of(0), "3") << "and not a share of drops";
    ASSERT_TRUE(load1(remove(f(), dest(0))));
    EXPECT_EQ(rnh_of(0), nullptr) << "nothing holds it";
}

TEST_P(rnh_test, of_seventy_candidates_the_first_sixty_four_stay) {
    std::vector<unsigned> low, high;
    for (unsigned n = 0; n < 35; n++) {
        low.push_back(35 - n);
        high.push_back(100 + n);
    }
    ASSERT_TRUE(load(f(), {over(0, high), over(1, low)}));
    ASSERT_TRUE(load1(recursive(0, {through(0), through(1)})));
    std::string want;
    for (unsigned n = 1; n <= 35; n++) want += std::to_string(n) + " ";
    for (unsigned n = 100; n < 129; n++) want += std::to_string(n) + (n == 128 ? "" : " ");
    EXPECT_EQ(paths_of(0), want);
}

TEST_P(rnh_test, a_prefix_may_die_under_the_cursor) {
    for (const bool reversed : {false, true}) {
        stand({1, 2});
        ASSERT_TRUE(load1(over(0, {1, 2, 3})));
        (void)ufib_dirty_vobjs_do_pfx_backwalk(5);
        if (reversed) {
            ASSERT_TRUE(load1(over(0, {1, 2})));
        }
        (void)ufib_vobjs_pfxs_do_rpf_update(5);
        ASSERT_TRUE(load1(remove(f(), dest(5)))) << "both cursors stand on it";
        settle();
        for (const unsigned n : {0u, 4u, 6u, 9u}) EXPECT_EQ(members_behind(n), reversed ? 2u : 3u);
        ASSERT_TRUE(load1(recursive(5, {through(0)})));
    }
}

TEST_P(rnh_test, a_walk_whose_rest_dies_has_still_begun) {
    stand({1, 2}, 6);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(5);
    ASSERT_TRUE(load1(remove(f(), dest(5))));
    EXPECT_EQ(vobj_of(0)->backwalk_cursor, nullptr);
    ASSERT_TRUE(load1(over(0, {1, 2}))) << "all five stand at the group that is dropped now";
    EXPECT_EQ(fake_count("delete_vobj"), 0u);
    EXPECT_EQ(dangling(), "");
    settle();
    EXPECT_EQ(groups_in_use(5), std::set<uint32_t>{vobj_of(0)->new_handle});
}

TEST_P(rnh_test, a_prefix_that_joins_during_a_move_is_never_left_behind) {
    for (const bool walking : {false, true}) {
        stand({1, 2});
        ASSERT_TRUE(load1(over(0, {1, 2, 3})));
        if (walking) (void)ufib_dirty_vobjs_do_pfx_backwalk(4);
        ASSERT_TRUE(load1(recursive(50, {through(0)})));
        ASSERT_TRUE(load1(recursive(2, {through(0)}))) << "the same again is written with the new group, too";
        ASSERT_TRUE(load1(over(0, {1, 2}))) << "the new group is dropped, and both stand at it";
        EXPECT_EQ(dangling(), "");
        settle();
        EXPECT_EQ(members_behind(50), 2u);
        EXPECT_EQ(members_behind(2), 2u);
        ASSERT_TRUE(load1(over(0, {1, 2, 3})));
        ASSERT_TRUE(load1(recursive(51, {through(0)})));
        ASSERT_TRUE(load1(over(0, {1, 2, 3, 4}))) << "a third size may not drop it either";
        EXPECT_EQ(dangling(), "");
        EXPECT_EQ(ufib_rnh_update_pending_list.count, 1u);
        settle();
        EXPECT_EQ(members_behind(51), 4u);
    }
}

TEST_P(rnh_test, a_refused_group_leaves_the_old_one_with_paths_that_live) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    fake.fail_all["insert_vobj"] = 1;
    ASSERT_TRUE(load1(over(0, {2, 3, 4})));
    EXPECT_EQ(errors(E_VOBJ_HW_INSTALL), 1u);
    EXPECT_EQ(vobj_of(0)->new_handle, before);
    EXPECT_EQ(vobj_of(0)->new_ls_count, 2);
    EXPECT_EQ(ufib_dirty_vobj_list.count, 0u);
    EXPECT_EQ(dangling(), "") << "path 1 is gone";
    fake.fail_all.clear();
    ASSERT_TRUE(load1(over(0, {2, 3, 4})));
    settle();
    EXPECT_EQ(members_behind(0), 3u);
}

TEST_P(rnh_test, an_unused_group_that_cannot_go_leaves_the_one_in_use_alone) {
    stand({1, 2});
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    fake.fail_at["delete_vobj"] = 1;
    ASSERT_TRUE(load1(over(0, {1, 2})));
    ASSERT_TRUE(load1(over(0, {1, 2, 3, 4}))) << "there is no room for a third";
    EXPECT_EQ(dangling(), "");
    settle();
    EXPECT_EQ(groups_in_use(10).size(), 1u);
    EXPECT_EQ(members_behind(0), 4u);
}

TEST_P(rnh_test, a_refused_third_group_returns_to_the_first) {
    stand({1, 2});
    const uint32_t before = pointed_at(0);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    fake.fail_all["insert_vobj"] = 1;
    ASSERT_TRUE(load1(over(0, {1, 2, 3, 4})));
    EXPECT_EQ(vobj_of(0)->new_handle, before);
    EXPECT_EQ(fake_entries("vobj").size(), 1u);
    EXPECT_EQ(ufib_dirty_vobj_list.count, 0u);
}

TEST_P(rnh_test, a_firing_moves_five_thousand_prefixes_shared_between_the_groups) {
    ASSERT_TRUE(load(f(), {over(0, {1}), over(1, {1})}));
    load_many(0, 6000, {through(0)});
    load_many(6000, 6100, {through(1)});
    settle();
    ASSERT_TRUE(load(f(), {over(0, {1, 2}), over(1, {1, 2})}));
    fake_take();
    second();
    EXPECT_EQ(fake_count("update_prefix_nh"), 5000u);
    EXPECT_EQ(fake_count("update_prefix_rpf"), 5000u);
    EXPECT_EQ(ufib_dirty_vobj_list.count, 1u) << "the smaller one had its share";
    fake_take();
    second();
    EXPECT_EQ(fake_count("update_prefix_nh"), 1100u);
    EXPECT_EQ(ufib_dirty_vobj_list.count, 0u);
    second();
    second();
    EXPECT_FALSE(ufib_rnh_update_pending_list.count != 0 || ufib_vobj_rpf_list.count != 0);
}

TEST_P(rnh_test, more_dependents_than_a_call_may_take_go_on_from_the_timer) {
    ASSERT_TRUE(load(f(), {over(0, {1}), over(1, {9})}));
    std::vector<wire_route> routes;
    for (unsigned n = 0; n < 5200; n++) {
        wire_hop other = through(1);
        other.labels = {100 + n}; /* a key of its own; it takes no plain path */
        routes.push_back(recursive(n, {through(0), other}));
        if (routes.size() != 400) continue;
        ASSERT_TRUE(load(f(), routes));
        routes.clear();
    }
    ASSERT_TRUE(load(f(), {over(2, {1}), recursive(6000, {through(2)})}));
    settle();
    fake.fail_all["update_prefix_nh"] = 1;
    ASSERT_TRUE(load1(over(2, {1, 3}))) << "a move that gets nowhere, and may not hold up the others";
    fake_take();
    ASSERT_TRUE(load1(over(0, {2})));
    EXPECT_EQ(fake_count("update_vobj"), 5000u);
    EXPECT_NE(rnh_of(0)->rnh->cursor, nullptr);
    ASSERT_TRUE(load1(remove(f(), dest(199)))) << "rows are met newest first: the walk stands on this one";
    EXPECT_EQ(rnh_of(0)->rnh->cursor, &ufib_vobj_rows(vobj_of(198))[0].by_rnh);
    second();
    EXPECT_EQ(fake_count("update_vobj"), 5199u);
    fake.fail_all.clear();
    settle();
    for (const unsigned n : {0u, 198u, 200u, 5199u}) EXPECT_EQ(paths_of(n), "2");
    fake_take();
    for (const unsigned p : {3u, 4u}) ASSERT_TRUE(load1(over(0, {p}))) << "each route begins at the head";
    EXPECT_EQ(fake_count("update_vobj"), 10000u);
    settle();
    for (const unsigned n : {0u, 198u, 200u, 5199u}) EXPECT_EQ(paths_of(n), "4");
}

TEST_P(rnh_test, a_recursive_hop_of_a_recursive_next_hop_is_refused) {
    ASSERT_TRUE(load1(over(1, {1})));
    wire_route bad = over(0, {1});
    bad.hops = {through(1)};
    EXPECT_FALSE(load1(bad));
    bad.hops = {through(1, RECURSIVE_HOP | NVE_HOP)};
    EXPECT_FALSE(load1(bad));
    EXPECT_EQ(rnh_of(0), nullptr);
    EXPECT_EQ(errors(E_ROUTE_NHINFO_INVALID), 2u);
}

TEST_P(rnh_test, a_rewrite_of_a_neighbour_tells_the_groups_behind_it) {
    stand({1, 2}, 2);
    neighbour({.address = path(1), .if_index = ETH1, .mac = "020000000001"});
    EXPECT_GE(fake_count("update_vobj"), 1u);
}

/* Who follows a change in the detailed log finds each decision there. */
TEST_P(rnh_test, the_detailed_log_tells_what_a_change_does) {
    stand({1}, 2);
    ufib_enable_rc_debugs = true;
    ASSERT_TRUE(load1(over(0, {2})));
    const std::string family = v4() ? "v4" : "v6";
    for (const char *text : {"in place update", "in place update: calling ufib_vobj_compute_cnhs",
                             "nh obj of RNH is 1 adj", "num_cnhs_active:1, num_cnhs_backup:0"})
        EXPECT_TRUE(rig.log_has(text)) << text;
    EXPECT_FALSE(rig.log_has("Set old handle to new handle"));
    ASSERT_TRUE(load1(over(0, {2, 3})));
    EXPECT_TRUE(rig.log_has("Set old handle to new handle " + std::to_string(pointed_at(0)) +
                            ", and old ls count to new 1"));
    second();
    EXPECT_TRUE(rig.log_has("Pfx backwalk: num_dirty_vobjs:1, max_num_pfxs_per_vobj:5000"));
    ASSERT_TRUE(load1(recursive(5, {through(5)})));
    EXPECT_TRUE(rig.log_has("Mark dependency of vobj on this rnh, set " + family + "Prnh:"));
    ASSERT_TRUE(load1(no_rnh(0)));
    EXPECT_TRUE(rig.log_has("zero cnh: setting adj to " + family + " global drop adj"));
}

INSTANTIATE_TEST_SUITE_P(families, rnh_test, both_families, family_name);
