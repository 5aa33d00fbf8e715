/* Readers beside a writer that changes tables, is killed, or starts anew. */
#include "softfwd/softfwd_reader_private.h"
#include "tests/host/child.h"
#include "tests/softfwd/softfwd_rig.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <random>

struct reading : softfwd_rig {};

TEST_F(reading, attaching_says_what_is_missing) {
    EXPECT_EQ(softfwd_reader_attach(slot, false, &reader), ENOENT);
    start(0);
    std::vector<softfwd_reader *> all(SOFTFWD_READERS_MAX);
    for (softfwd_reader *&one : all) ASSERT_EQ(softfwd_reader_attach(slot, false, &one), 0);
    EXPECT_EQ(softfwd_reader_attach(slot, false, &reader), EAGAIN);
    softfwd_reader_stats stats;
    ASSERT_EQ(softfwd_reader_statistics(all[0], &stats), 0);
    EXPECT_EQ(stats.readers, SOFTFWD_READERS_MAX);
    EXPECT_EQ(stats.generation, 1u);
    for (softfwd_reader *one : all) softfwd_reader_detach(one);
    ASSERT_EQ(softfwd_reader_attach(slot, false, &reader), 0);
    stop();
    EXPECT_EQ(lookup("10.0.0.1").hop.action, SOFTFWD_NO_ROUTE) << "the tables outlive the writer";
}

TEST_F(reading, many_look_ups_agree_with_single_ones) {
    start(0);
    const uint32_t v4 = api.insert_v4_table(vdc, table_id, nullptr, 0);
    const uint32_t v6 = api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj next = adj(1), next6 = adj(2, false);
    std::mt19937 random(42);
    for (int i = 0; i < 500; i++) {
        fake_prefix pfx = prefix("0.0.0.0/0", &next), six = prefix("2000::/0", &next6);
        pfx.bits = static_cast<uint32_t>(random() % 33);
        pfx.address = pfx.bits == 0 ? 0 : static_cast<uint32_t>(random()) & ~uint32_t{0} << (32 - pfx.bits);
        ASSERT_NE(insert(v4, &pfx), 0u);
        six.bits = static_cast<uint32_t>(8 * (random() % 5));
        for (unsigned b = 0; b < 16; b++)
            six.address6[b] = b < six.bits / 8 ? static_cast<uint8_t>(random() % 4) : 0;
        ASSERT_NE(insert(v6, &six), 0u);
    }
    lookup("0.0.0.0");
    uint32_t addresses[777];
    uint8_t addresses6[777][16];
    for (size_t i = 0; i < 777; i++) {
        addresses[i] = static_cast<uint32_t>(random());
        for (uint8_t &byte : addresses6[i]) byte = static_cast<uint8_t>(random() % 4);
    }
    softfwd_hop hops[777], hops6[777];
    ASSERT_EQ(softfwd_lookup_v4_many(reader, vdc, table_id, addresses, hops, 777), 0);
    ASSERT_EQ(softfwd_lookup_v6_many(reader, vdc, table6_id, addresses6, hops6, 777), 0);
    for (size_t i = 0; i < 777; i++) {
        softfwd_result one, one6;
        ASSERT_EQ(softfwd_lookup_v4(reader, vdc, table_id, addresses[i], &one), 0);
        ASSERT_EQ(softfwd_lookup_v6(reader, vdc, table6_id, addresses6[i], &one6), 0);
        ASSERT_EQ(memcmp(&one.hop, &hops[i], sizeof one.hop), 0) << addresses[i];
        ASSERT_EQ(memcmp(&one6.hop, &hops6[i], sizeof one6.hop), 0) << i;
    }
    ASSERT_EQ(softfwd_lookup_v4_many(reader, vdc, 99, addresses, hops, 777), 0);
    EXPECT_EQ(hops[776].action, SOFTFWD_NO_ROUTE);
}

TEST_F(reading, inspection_lists_tables_prefixes_in_order_and_adjacencies) {
    start(0);
    const uint32_t table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    (void)api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj one = adj(1), two = adj(2);
    std::vector<fake_prefix> model = {prefix("10.1.0.0/16", &one), prefix("10.0.0.0/8", &two),
                                      prefix("10.0.0.0/16", &one), prefix("0.0.0.0/0", &two)};
    for (fake_prefix &pfx : model) insert(table, &pfx);
    lookup("10.1.1.1");
    softfwd_table_info tables = {};
    int count = 0;
    for (; softfwd_reader_table_next(reader, &tables) == 0; count++) {
    }
    EXPECT_EQ(count, 2);
    EXPECT_EQ(tables.table_id, table6_id);
    softfwd_table_info found = {};
    ASSERT_EQ(softfwd_reader_table_find(reader, ADDRESS_FAMILY_V4, vdc, table_id, &found), 0);
    EXPECT_EQ(found.route_count, 4u);
    std::string order;
    softfwd_prefix_info at = {};
    while (softfwd_reader_prefix_next(reader, found.handle, &at) == 0) {
        uint32_t address;
        memcpy(&address, at.address, 4);
        order += ip_prefix_str(__builtin_bswap32(address), at.mask_len) + std::string(at.hit ? "! " : " ");
    }
    EXPECT_EQ(order, "0.0.0.0/0 10.0.0.0/8 10.0.0.0/16 10.1.0.0/16! ");
    softfwd_adj_info adj_at = {};
    ASSERT_EQ(softfwd_reader_adj_next(reader, &adj_at), 0);
    EXPECT_EQ(adj_at.if_index, 1001u);
    EXPECT_EQ(adj_at.packets, 1u);
    ASSERT_EQ(softfwd_reader_adj_next(reader, &adj_at), 0);
    EXPECT_EQ(softfwd_reader_adj_next(reader, &adj_at), ENOENT);
    EXPECT_EQ(softfwd_reader_adj_get(reader, 77, &adj_at), ENOENT);
}

TEST_F(reading, what_a_reader_may_hold_is_not_used_again_unless_the_reader_is_dead) {
    start(0);
    const uint32_t table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    fake_adj next = adj(1);
    fake_prefix pfx = prefix("10.0.0.0/8", &next), other = prefix("11.0.0.0/8", &next);
    const uint32_t handle = insert(table, &pfx);
    lookup("10.0.0.1");
    ASSERT_TRUE(softfwd_enter(reader));
    remove(table, &pfx);
    (void)api.all_writes_ready();
    EXPECT_NE(insert(table, &other), handle);
    EXPECT_GT(counters().grace_delays, 0u);
    softfwd_leave(reader);
    remove(table, &other);
    (void)api.all_writes_ready();
    (void)api.all_writes_ready();
    const uint32_t reused = insert(table, &other);
    EXPECT_LE(reused, 2u) << "both entries are free again";

    const int status = in_child([] {
        softfwd_reader *dying = nullptr;
        if (softfwd_reader_attach(slot, false, &dying) == 0 && softfwd_enter(dying)) kill(getpid(), SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    remove(table, &other);
    (void)api.all_writes_ready();
    EXPECT_EQ(insert(table, &other), reused);
}

TEST_F(reading, new_tables_send_their_readers_away) {
    start(0);
    lookup("10.0.0.1");
    stop(), start(0);
    softfwd_result result;
    EXPECT_EQ(softfwd_lookup_v4(reader, vdc, table_id, 1, &result), ESTALE);
    softfwd_adj_info at = {};
    EXPECT_EQ(softfwd_reader_adj_next(reader, &at), ESTALE);
    softfwd_table_info tables = {};
    EXPECT_EQ(softfwd_reader_table_next(reader, &tables), ESTALE);
    EXPECT_EQ(lookup("10.0.0.1").hop.action, SOFTFWD_NO_ROUTE);
}

/* The writer's changes for the kill test: a /16 that stands for ever, /24s below it that come, go and swap between two
 * next hops, and next hops whose two MACs always end in the same byte. */
struct killing : softfwd_rig {
    std::vector<fake_adj> adjs;
    std::vector<fake_group> kept; /* of adjacencies 1 and 2: two to point at, one that comes and goes */
    std::vector<fake_prefix> model;
    uint32_t table = 0;

    void model_build() {
        adjs.assign(3, fake_adj{});
        for (uint32_t i = 0; i < 3; i++) {
            adjs[i].if_index = 1000 + i, adjs[i].address = 0x0a000000 + i;
            adjs[i].resolved = adjs[i].has_smac = true;
        }
        model.assign(257, prefix("20.1.0.0/16", &adjs[0]));
        for (uint32_t i = 0; i < 256; i++)
            model[i].address += i << 8, model[i].bits = 24, model[i].next = &adjs[1];
        kept.assign(3, fake_group{});
        for (fake_group &group : kept) group.paths = {&adjs[1], &adjs[2]};
    }

    /* Takes over what the killed writer left, as a restarted process does from its records. */
    void adopt() {
        if (softfwd_reader_attach(slot, false, &reader) != 0) _exit(2);
        softfwd_adj_info at = {};
        while (softfwd_reader_adj_next(reader, &at) == 0) {
            fake_adj *next = &adjs[at.if_index - 1000];
            if (insert(next, at.handle) == 0) _exit(3);
        }
        softfwd_group_info group = {};
        for (fake_group &of : kept)
            if (softfwd_reader_group_next(reader, &group) == 0)
                of.handle = api.insert_ecmp(&of, group.handle, 0);
        if (kept[1].handle == 0 || softfwd_unclaimed_groups(nullptr, 0) != 0) _exit(6);
        softfwd_table_info info = {};
        softfwd_prefix_info route = {};
        if (softfwd_reader_table_next(reader, &info) == 0)
            while (softfwd_reader_prefix_next(reader, info.handle, &route) == 0) {
                fake_prefix *pfx = route.mask_len == 16 ? &model[256] : &model[route.address[2]];
                if (insert(info.handle, pfx, route.handle) != route.handle) _exit(4);
            }
        char text[200];
        if (softfwd_integrity_check(text, sizeof text) != 0) fprintf(stderr, "%s\n", text), _exit(5);
    }

    void change(std::mt19937 *random) {
        const uint32_t pick = static_cast<uint32_t>((*random)() % 340);
        if (pick >= 300) {
            fake_group *group = &kept[pick % 3];
            if (pick % 3 == 2 && group->handle != 0) {
                (void)api.delete_ecmp(group);
                group->handle = 0;
                return;
            }
            for (fake_adj *&path : group->paths) path = &adjs[1 + (*random)() % 2];
            group->handle = api.insert_ecmp(group, 0, 0);
            return;
        }
        if (pick >= 256) {
            fake_adj *next = &adjs[pick % 3];
            next->dmac[5] = next->smac[5] = static_cast<uint8_t>((*random)());
            insert(next);
            return;
        }
        fake_prefix *pfx = &model[pick];
        pfx->next = &adjs[1 + (*random)() % 2];
        pfx->group = (*random)() % 2 == 0 ? nullptr : &kept[(*random)() % 2];
        if (pfx->handle != 0 && (*random)() % 2 != 0)
            remove(table, pfx);
        else
            insert(table, pfx);
        (void)api.one_write_ready();
    }

    [[noreturn]] void writer_run(unsigned seed) {
        start(1);
        model_build();
        adopt();
        table = api.insert_v4_table(vdc, table_id, nullptr, 0);
        for (fake_adj &next : adjs) insert(&next);
        insert(table, &model[256]);
        std::mt19937 random(seed);
        for (;;) change(&random);
    }

    /* One look-up: what it may be at any instant. */
    static bool result_good(const softfwd_result &result) {
        const softfwd_hop &hop = result.hop;
        if (hop.action != SOFTFWD_FORWARD || result.dmac[5] != result.smac[5]) return false;
        if (hop.if_index != 1000u + result.next_hop[3]) return false;
        return hop.mask_len == 16 ? hop.if_index == 1000 : hop.mask_len == 24 && hop.if_index != 1000;
    }
};

TEST_F(killing, readers_never_see_a_broken_table_while_writers_die_at_random) {
    start(1);
    model_build();
    table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    for (fake_adj &next : adjs) insert(&next);
    for (uint32_t i = 0; i < 2; i++) kept[i].handle = api.insert_ecmp(&kept[i], 0, 0);
    insert(table, &model[256]);
    stop();
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    softfwd_reader *watcher = nullptr;
    ASSERT_EQ(softfwd_reader_attach(slot, true, &watcher), 0);
    uint32_t looked = 0;
    for (unsigned round = 0; round < 25; round++) {
        const pid_t child = fork();
        if (child == 0) writer_run(seed + round);
        const uint32_t until = looked + 200000 + static_cast<uint32_t>(random() % 400000);
        for (; looked < until; looked++) {
            softfwd_result result;
            ASSERT_EQ(softfwd_lookup_v4(watcher, vdc, table_id, 0x14010000 + (looked & 0xffff), &result), 0);
            if (!result_good(result)) ADD_FAILURE() << "seed " << seed << " round " << round, looked = until;
        }
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "seed " << seed << " exit " << WEXITSTATUS(status);
    }
    softfwd_reader_stats stats;
    ASSERT_EQ(softfwd_reader_statistics(watcher, &stats), 0);
    EXPECT_GT(stats.generation, 5u) << "a busy machine may start some writers too late";
    EXPECT_GT(stats.counters.writes, 1000u);
    softfwd_reader_detach(watcher);
    start(1);
    expect_integrity();
    EXPECT_EQ(softfwd_adjacency_count(), 3u) << "seed " << seed;
    EXPECT_EQ(softfwd_group_count() | 1, 3u) << "seed " << seed;
}
