/* Instances of virtual objects in the engine. */
#include "tests/softfwd/softfwd_rig.h"

struct vobj_entry_test : softfwd_rig {
    std::vector<fake_adj> adjs;
    fake_vobj vobj;
    static constexpr ufib_ha_route restart_record = {};

    void SetUp() override {
        start(0);
        for (uint32_t n = 0; n < 6; n++) adjs.push_back(adj(n + 1));
    }
    void paths(const std::vector<size_t> &list) {
        vobj.paths.clear();
        for (const size_t n : list) vobj.paths.push_back(&adjs[n]);
    }
    /* As the process keeps the handles: what stood as the new one becomes the old one. */
    bool instance(const std::vector<size_t> &list) {
        paths(list);
        vobj.old_handle = vobj.new_handle;
        vobj.new_handle = 0;
        const int handle = api.insert_vobj(&vobj, nullptr);
        if (handle <= 0) return false;
        vobj.handle = vobj.new_handle = static_cast<uint32_t>(handle);
        return true;
    }
    std::vector<uint32_t> members(uint32_t handle) {
        softfwd_group_info group;
        std::vector<uint32_t> out;
        if (reader == nullptr && softfwd_reader_attach(slot, false, &reader) != 0) return out;
        if (softfwd_reader_group_get(reader, handle, &group) != 0) return out;
        EXPECT_EQ(group.origin, SOFTFWD_GROUP_VOBJ);
        for (unsigned i = 0; i < group.count; i++) out.push_back(group.members[i].adj_handle);
        return out;
    }
    std::vector<uint32_t> handles(const std::vector<size_t> &list) const {
        std::vector<uint32_t> out;
        for (const size_t n : list) out.push_back(adjs[n].handle);
        return out;
    }
};

TEST_F(vobj_entry_test, an_instance_has_the_size_of_its_first_write) {
    ASSERT_TRUE(instance({0, 1, 2}));
    const std::vector<std::vector<size_t>> writes = {{3}, {1, 2, 3, 4}, {0, 4}};
    const std::vector<std::vector<size_t>> wants = {{3}, {1, 2, 3}, {0, 4}};
    for (size_t i = 0; i < writes.size(); i++) {
        paths(writes[i]);
        EXPECT_EQ(api.update_vobj(&vobj, 0), 0);
        EXPECT_EQ(members(vobj.new_handle), handles(wants[i])) << "no member of before is left behind";
        expect_integrity();
    }
    const uint64_t before = counters().writes;
    EXPECT_EQ(api.update_vobj(&vobj, 0), 0);
    EXPECT_EQ(counters().writes, before) << "nothing differs: nothing is written";
}

TEST_F(vobj_entry_test, two_instances_follow_a_change_and_a_third_is_refused) {
    ASSERT_TRUE(instance({0, 1}));
    ASSERT_TRUE(instance({0, 1, 2}));
    paths({1, 2, 3});
    EXPECT_EQ(api.update_vobj(&vobj, 0), 0);
    EXPECT_EQ(members(vobj.new_handle), handles({1, 2, 3}));
    EXPECT_EQ(members(vobj.old_handle), handles({1, 2})) << "prefixes still point at it";
    EXPECT_EQ(api.insert_vobj(&vobj, nullptr), -1);
    EXPECT_EQ(softfwd_group_count(), 2u);
    EXPECT_EQ(api.delete_vobj(&vobj, 0), 0);
    EXPECT_EQ(softfwd_group_count(), 1u);
    EXPECT_EQ(api.delete_vobj(&vobj, 0), -1) << "unknown by now";
    vobj.old_handle = 0;
    EXPECT_EQ(api.delete_vobj(&vobj, 2), 0);
    EXPECT_EQ(softfwd_group_count(), 0u);
    EXPECT_EQ(api.update_vobj(&vobj, 0), -1);
}

TEST_F(vobj_entry_test, refusals_leave_what_stood) {
    softfwd_fault_nth(SOFTFWD_OP_INSERT_VOBJ, 1);
    EXPECT_FALSE(instance({0}));
    ASSERT_TRUE(instance({0}));
    softfwd_fault_nth(SOFTFWD_OP_UPDATE_VOBJ, 1);
    paths({1});
    EXPECT_EQ(api.update_vobj(&vobj, 0), -1);
    EXPECT_EQ(members(vobj.new_handle), handles({0}));
    softfwd_fault_nth(SOFTFWD_OP_DELETE_VOBJ, 1);
    EXPECT_EQ(api.delete_vobj(&vobj, 1), -1);
    EXPECT_EQ(softfwd_group_count(), 1u);
}

TEST_F(vobj_entry_test, a_prefix_moves_between_instances) {
    ASSERT_TRUE(instance({0}));
    const uint32_t table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    fake_prefix pfx = prefix("10.0.0.0/8", nullptr);
    pfx.group = &vobj;
    ASSERT_NE(insert(table, &pfx), 0u);
    ASSERT_TRUE(instance({1}));
    EXPECT_EQ(lookup("10.1.1.1").next_handle, vobj.old_handle);
    EXPECT_EQ(api.update_v4prefix_nh(&pfx), 0);
    EXPECT_EQ(lookup("10.1.1.1").next_handle, vobj.new_handle);
    EXPECT_EQ(api.delete_vobj(&vobj, 0), 0);
    expect_integrity();
}

TEST_F(vobj_entry_test, a_restart_adopts_and_writes_only_for_another_size) {
    ASSERT_TRUE(instance({0, 1}));
    const uint32_t handle = vobj.new_handle;
    for (const auto &[list, attaches] : {std::pair{std::vector<size_t>{0, 1}, true}, {{0, 1, 2}, false}}) {
        restart();
        paths(list);
        const uint64_t before = counters().writes;
        const int got = api.insert_vobj(&vobj, &restart_record);
        EXPECT_EQ(got == static_cast<int>(handle), attaches);
        EXPECT_EQ(counters().writes == before, attaches);
        EXPECT_EQ(softfwd_group_count(), attaches ? 1u : 2u);
        EXPECT_EQ(softfwd_unclaimed_groups(nullptr, 0), 0u);
    }
}
