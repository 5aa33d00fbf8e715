/* Groups: which member a flow takes, what moves when members change, and what a restart finds. */
#include "softfwd/softfwd_layout.h"
#include "tests/softfwd/softfwd_rig.h"

#include <cstring>
#include <map>
#include <random>

struct groups : softfwd_rig {
    uint32_t table = 0;
    std::vector<fake_adj> adjs; /* sixty-four, installed */
    fake_prefix pfx = prefix("10.0.0.0/8", nullptr);

    void begin() {
        start(0);
        table = api.insert_v4_table(vdc, table_id, nullptr, 0);
        for (uint32_t n = 1; n <= SOFTFWD_MEMBERS_MAX; n++) adjs.push_back(adj(n));
    }
    fake_group group(const std::vector<uint32_t> &members) {
        fake_group out;
        for (const uint32_t n : members) out.paths.push_back(&adjs[n]);
        insert_group(&out);
        return out;
    }
    fake_group group_of(uint32_t count) {
        std::vector<uint32_t> members;
        for (uint32_t n = 0; n < count; n++) members.push_back(n);
        return group(members);
    }
    uint32_t insert_group(fake_group *out, uint32_t ha = 0) {
        return out->handle = api.insert_ecmp(out, ha, 0);
    }
    uint32_t lead(fake_prefix *from, fake_group *to) {
        from->group = to;
        return insert(table, from);
    }
    static softfwd_flow flow(uint32_t n) {
        softfwd_flow out = {};
        out.destination[0] = 10, out.destination[3] = static_cast<uint8_t>(n);
        out.source[0] = 172, out.source[2] = static_cast<uint8_t>(n >> 16);
        out.source_port = static_cast<uint16_t>(n), out.destination_port = 443, out.protocol = 6;
        return out;
    }
    softfwd_result follow(const softfwd_flow &of) {
        if (reader == nullptr) (void)lookup("10.0.0.1");
        softfwd_result out;
        EXPECT_EQ(softfwd_lookup_flow(reader, ADDRESS_FAMILY_V4, vdc, table_id, &of, &out), 0);
        return out;
    }
    /* The interface of each of 'count' flows. */
    std::vector<uint32_t> spread(uint32_t count) {
        std::vector<uint32_t> out;
        for (uint32_t n = 0; n < count; n++) out.push_back(follow(flow(n)).hop.if_index);
        return out;
    }
};

TEST_F(groups, spread_flows_over_all_members_and_keep_each_flow_on_its_own) {
    begin();
    for (const uint32_t count : {1u, 2u, 3u, 17u, 64u}) {
        fake_group some = group_of(count);
        lead(&pfx, &some);
        const uint32_t flows = 200 * count;
        std::map<uint32_t, uint32_t> met;
        for (const uint32_t if_index : spread(flows)) met[if_index]++;
        ASSERT_EQ(met.size(), count);
        for (const auto &[if_index, times] : met) {
            EXPECT_GT(times, 120u) << if_index << " of " << count;
            EXPECT_LT(times, 290u) << if_index << " of " << count;
        }
        EXPECT_EQ(spread(50), spread(50));
        const softfwd_result result = follow(flow(1));
        EXPECT_EQ(result.hop.members, count);
        EXPECT_EQ(result.next_handle, some.handle);
        EXPECT_EQ(result.hop.adj_handle, adjs[result.hop.member].handle);
    }
    expect_integrity();
}

TEST_F(groups, a_member_that_stands_twice_gets_two_shares) {
    begin();
    fake_group weighted = group({0, 0, 1});
    lead(&pfx, &weighted);
    std::map<uint32_t, uint32_t> met;
    for (const uint32_t if_index : spread(3000)) met[if_index]++;
    EXPECT_NEAR(met[adjs[0].if_index], 2000, 200);
}

TEST_F(groups, a_changed_member_moves_only_its_own_flows) {
    begin();
    fake_group some = group({0, 1, 2, 3, 4, 5, 6, 7});
    lead(&pfx, &some);
    const std::vector<uint32_t> before = spread(2000);
    const struct {
        const char *name;
        std::vector<uint32_t> members;
        uint32_t gone, come; /* numbers of adjacencies; 99: none */
        bool in_place;
    } rows[] = {{"another in its place", {0, 1, 2, 20, 4, 5, 6, 7}, 3, 20, true},
                {"in another order", {7, 6, 5, 4, 3, 2, 1, 0}, 99, 99, true},
                {"sorted into another place", {0, 1, 2, 4, 5, 6, 7, 20}, 3, 20, true},
                {"a smaller group", {0, 1, 2, 4, 5, 6, 7}, 3, 99, false},
                {"a larger group", {0, 1, 2, 3, 4, 5, 6, 7, 20}, 99, 20, false}};
    for (const auto &row : rows) {
        fake_group changed = some;
        changed.paths.clear();
        for (const uint32_t n : row.members) changed.paths.push_back(&adjs[n]);
        if (!row.in_place) changed.handle = 0;
        insert_group(&changed);
        EXPECT_EQ(changed.handle == some.handle, row.in_place) << row.name;
        if (!row.in_place) lead(&pfx, &changed);
        const std::vector<uint32_t> after = spread(2000);
        uint32_t moved = 0;
        for (size_t i = 0; i < before.size(); i++) {
            if (before[i] == after[i]) continue;
            moved++;
            const bool from_gone = row.gone != 99 && before[i] == adjs[row.gone].if_index;
            const bool to_new = row.come != 99 && after[i] == adjs[row.come].if_index;
            EXPECT_TRUE(from_gone || to_new) << row.name << " flow " << i;
        }
        EXPECT_EQ(moved != 0, row.gone != 99 || row.come != 99) << row.name;
        EXPECT_EQ(lead(&pfx, &some), pfx.handle);
        insert_group(&some);
        if (!row.in_place) {
            EXPECT_EQ(api.delete_ecmp(&changed), 0);
        }
        EXPECT_EQ(spread(2000), before) << row.name;
        expect_integrity();
    }
}

TEST_F(groups, member_handles_lead_to_their_adjacencies) {
    begin();
    fake_group some = group({5, 9, 5});
    for (uint32_t i = 0; i < 3; i++)
        EXPECT_EQ(api.get_adj_base_handle(some.handle + i), some.paths[i]->handle);
    EXPECT_EQ(api.get_adj_base_handle(some.paths[0]->handle), some.paths[0]->handle);
    EXPECT_EQ(api.get_adj_base_handle(some.handle + 3), 0u);
    ufib_ha_route record = {};
    record.next_handle = some.handle;
    EXPECT_EQ(api.ecmp_get_adj_ha_handles(&record), 0);
    for (uint32_t i = 0; i < 3; i++) EXPECT_EQ(record.adj_handles[i], some.paths[i]->handle);
    EXPECT_EQ(record.adj_handles[3], 0u);
    record.next_handle = 4000;
    EXPECT_EQ(api.ecmp_get_adj_ha_handles(&record), -1);
    EXPECT_EQ(api.delete_ecmp(&some), 0);
    EXPECT_EQ(api.delete_ecmp(&some), -1);
    EXPECT_EQ(api.get_adj_base_handle(some.handle + 1), 0u);
}

TEST_F(groups, count_packets_by_member_and_by_adjacency) {
    begin();
    fake_group some = group({0, 1}), other = group({0, 1, 2});
    lead(&pfx, &some);
    (void)spread(100);
    softfwd_group_info info = {};
    ASSERT_EQ(softfwd_reader_group_get(reader, some.handle, &info), 0);
    uint64_t total = 0;
    for (uint32_t i = 0; i < info.count; i++) {
        softfwd_adj_info of = {};
        ASSERT_EQ(softfwd_reader_adj_get(reader, info.members[i].adj_handle, &of), 0);
        EXPECT_EQ(info.members[i].packets, of.packets);
        EXPECT_EQ(info.members[i].bytes, of.packets * 64);
        total += of.packets;
    }
    EXPECT_EQ(total, 101u) << "and the one of the attaching";
    ASSERT_EQ(softfwd_reader_group_get(reader, other.handle, &info), 0);
    for (uint32_t i = 0; i < info.count; i++) EXPECT_EQ(info.members[i].packets, 0u);
    info = {};
    ASSERT_EQ(softfwd_reader_group_next(reader, &info), 0);
    EXPECT_EQ(info.handle, some.handle);
    ASSERT_EQ(softfwd_reader_group_next(reader, &info), 0);
    EXPECT_EQ(info.handle, other.handle);
    EXPECT_EQ(softfwd_reader_group_next(reader, &info), ENOENT);
}

TEST_F(groups, refuse_when_full_or_told_to_and_tails_are_checked) {
    softfwd_config_get()->max_groups = 2;
    softfwd_config_get()->ecmp_space_len = 40;
    begin();
    EXPECT_EQ(api.ecmp_space_len(3), 52u);
    fake_group one = group_of(2), two = group_of(3), three = group_of(4);
    EXPECT_NE(two.handle, 0u);
    EXPECT_EQ(three.handle, 0u) << "full";
    softfwd_fault_handle(SOFTFWD_OP_INSERT_ECMP, one.handle);
    fake_group again = one;
    EXPECT_EQ(api.insert_ecmp(&again, 0, 0), 0u);
    softfwd_fault_clear();
    fake_group wider = one;
    wider.paths.push_back(&adjs[9]);
    softfwd_config_get()->ecmp_space_len = 0; /* its tail has another length */
    EXPECT_EQ(api.insert_ecmp(&wider, 0, 0), 0u) << "no more members than places";
    softfwd_config_get()->ecmp_space_len = 40;
    expect_integrity();
    one.space[47]++;
    EXPECT_EQ(api.delete_ecmp(&one), 0);
    EXPECT_EQ(counters().space_overruns, 1u);
    EXPECT_NE(insert_group(&three), 0u);
    EXPECT_EQ(softfwd_group_count(), 2u);
}

TEST_F(groups, come_back_after_a_restart_without_a_write) {
    begin();
    fake_group some = group_of(5), lost = group_of(7);
    lead(&pfx, &some);
    api.all_writes_ready();
    const std::vector<uint32_t> before = spread(300);
    const uint64_t digest = softfwd_image_digest();
    restart();
    const softfwd_counters start = counters();
    for (fake_adj &next : adjs) EXPECT_EQ(insert(&next, next.handle), next.handle);
    EXPECT_EQ(insert_group(&some, some.handle), some.handle);
    uint32_t handle = 0;
    EXPECT_EQ(softfwd_unclaimed_groups(&handle, 1), 1u);
    EXPECT_EQ(handle, lost.handle);
    fake_group other = group_of(4);
    other.handle = 0;
    const uint32_t writes = static_cast<uint32_t>(counters().writes - start.writes);
    EXPECT_EQ(writes, 1u) << "the new one";
    EXPECT_EQ(api.insert_ecmp(&other, some.handle, 0), some.handle);
    EXPECT_EQ(counters().content_differences, start.content_differences + 1);
    EXPECT_EQ(api.insert_ecmp(&other, 5000, 0), 0u) << "nothing stands there";
    EXPECT_EQ(spread(300), before);
    EXPECT_NE(softfwd_image_digest(), digest);
    expect_integrity();
}

/* Random groups come, change and go under prefixes, over brackets and take-overs; a map of members is the reference. */
TEST_F(groups, agree_with_a_plain_list_over_random_changes_and_restarts) {
    begin();
    std::mt19937 random(7);
    std::vector<fake_group> all(24);
    std::vector<fake_prefix> pfxs;
    for (uint32_t i = 0; i < all.size(); i++) {
        const std::string text = "10." + std::to_string(i) + ".0.0/16";
        pfxs.push_back(prefix(text.c_str(), &adjs[0]));
        insert(table, &pfxs[i]);
    }
    for (uint32_t round = 0; round < 3000; round++) {
        const auto at = static_cast<uint32_t>(random() % all.size());
        fake_group &old = all[at];
        fake_group made;
        for (auto i = 1 + random() % 64; i > 0; i--) made.paths.push_back(&adjs[random() % adjs.size()]);
        if (old.handle != 0 && random() % 3 == 0) {
            made.paths.resize(1 + random() % old.paths.size(), &adjs[0]);
            made.handle = old.handle;
            ASSERT_EQ(insert_group(&made), old.handle);
        } else {
            ASSERT_NE(insert_group(&made), 0u);
            lead(&pfxs[at], &made);
            if (old.handle != 0) {
                ASSERT_EQ(api.delete_ecmp(&old), 0);
            }
        }
        all[at] = made;
        pfxs[at].group = &all[at];
        if (round % 7 == 0) api.all_writes_ready();
        if (round % 500 == 499) restart();
        if (round % 50 == 0) expect_integrity();
    }
    api.all_writes_ready();
    expect_integrity();
    for (uint32_t at = 0; at < all.size(); at++) {
        if (all[at].handle == 0) continue;
        const softfwd_result result = lookup(("10." + std::to_string(at) + ".1.1").c_str());
        ASSERT_EQ(result.hop.members, all[at].paths.size());
        EXPECT_EQ(result.hop.adj_handle, all[at].paths[result.hop.member]->handle);
    }
}
