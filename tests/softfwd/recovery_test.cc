/* A process that takes over the tables of an earlier one, and tables that cannot be taken over. */
#include "softfwd/softfwd_reader_private.h"
#include "tests/softfwd/softfwd_rig.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>

struct recovery : softfwd_rig {
    uint32_t table = 0, table6 = 0;
    fake_adj next, next6, extra;
    fake_prefix wide, narrow, six;

    void load() {
        start(0);
        process_api.vdc_init(vdc, false);
        table = api.insert_v4_table(vdc, table_id, nullptr, 0);
        table6 = api.insert_v6_table(vdc, table6_id, nullptr, 0);
        next = adj(1), next6 = adj(2, false), extra = adj(3);
        wide = prefix("10.0.0.0/8", &next), narrow = prefix("10.1.0.0/16", &extra),
        six = prefix("2001:db8::/33", &next6);
        insert(table, &wide), insert(table, &narrow), insert(table6, &six);
        (void)api.all_writes_ready();
    }

    /* Overwrites bytes of the file of tables while no writer runs. */
    template <typename value> void patch(uint64_t offset, value bytes) {
        std::fstream file(path(""), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(reinterpret_cast<const char *>(&bytes), sizeof bytes);
    }
};

TEST_F(recovery, adopting_everything_writes_nothing) {
    load();
    const uint64_t digest = softfwd_image_digest();
    restart();
    EXPECT_TRUE(said.empty());
    EXPECT_EQ(softfwd_image_digest(), digest);
    EXPECT_EQ(softfwd_unclaimed_prefixes(nullptr, 0), 3u);
    const softfwd_counters before = counters();
    EXPECT_EQ(api.insert_v4_table(vdc, table_id, nullptr, 0), table);
    EXPECT_EQ(api.insert_v6_table(vdc, table6_id, nullptr, table6), table6);
    for (fake_adj *one : {&next, &next6}) {
        const uint32_t ha = one->handle;
        one->handle = 0;
        EXPECT_EQ(insert(one, ha), ha);
    }
    for (fake_prefix *one : {&wide, &six}) {
        const uint32_t ha = one->handle;
        one->handle = 0;
        EXPECT_EQ(insert(one->v4 ? table : table6, one, ha), ha);
    }
    api.restart_recovery_end();
    const softfwd_counters after = counters();
    EXPECT_EQ(after.writes, before.writes);
    EXPECT_EQ(after.installs, before.installs);
    EXPECT_EQ(after.reattaches, before.reattaches + 6);
    EXPECT_EQ(after.key_differences + after.content_differences, 0u);
    EXPECT_EQ(softfwd_image_digest(), digest);
    uint32_t handle = 0;
    EXPECT_EQ(softfwd_unclaimed_prefixes(&handle, 1), 1u);
    EXPECT_EQ(handle, narrow.handle);
    EXPECT_EQ(softfwd_unclaimed_adjacencies(&handle, 1), 1u);
    EXPECT_EQ(handle, extra.handle);
    EXPECT_EQ(said.back(), "after the recovery 1 prefixes, 0 groups and 1 adjacencies have no model");
    uint32_t vdcs = 0;
    EXPECT_EQ(process_api.get_active_vdcs(&vdcs), 0);
    EXPECT_EQ(vdcs, 1u << vdc);
    EXPECT_EQ(lookup("10.1.0.1").hop.if_index, 1003u) << "what nobody claimed forwards on";
}

TEST_F(recovery, a_difference_is_logged_and_not_repaired) {
    load();
    restart();
    const uint32_t from = softfwd_log_sequence() + 1, ha = narrow.handle, adj_ha = next.handle;
    narrow.handle = 0, narrow.next = &next, narrow.bits = 17;
    EXPECT_EQ(insert(table, &narrow, ha), ha);
    next.handle = 0, next.resolved = false, next.glean = true;
    EXPECT_EQ(insert(&next, adj_ha), adj_ha);
    fake_adj stranger;
    EXPECT_EQ(insert(&stranger, 99), 0u) << "a record without an entry";
    EXPECT_EQ(insert(table, &narrow, 99), 0u);
    EXPECT_EQ(api.insert_v4_table(vdc, 5, nullptr, 3), 0u);
    softfwd_log_entry log[8];
    ASSERT_EQ(softfwd_log_read(from, log, 8), 5u);
    EXPECT_EQ(log[0].difference, SOFTFWD_DIFFERS_KEY | SOFTFWD_DIFFERS_CONTENT);
    EXPECT_EQ(log[1].difference, SOFTFWD_DIFFERS_CONTENT);
    for (int i = 2; i < 5; i++) EXPECT_EQ(log[i].effect, SOFTFWD_EFFECT_FAILURE) << i;
    EXPECT_EQ(lookup("10.1.0.1").hop.if_index, 1003u);
    EXPECT_EQ(lookup("10.2.0.1").hop.action, SOFTFWD_FORWARD);
}

TEST_F(recovery, a_handle_tells_its_route_and_rewrite) {
    load();
    ASSERT_TRUE(softfwd_damage_entry(SOFTFWD_DAMAGE_HOST_BITS, narrow.handle));
    restart();
    ufib_ha_route route = {};
    api.ha_get_route(narrow.handle, &route);
    EXPECT_EQ(route.family_flags, UFIB_HA_IPV4);
    EXPECT_EQ(route.table_id, table_id);
    EXPECT_EQ(route.table_handle, table);
    EXPECT_EQ(route.mask_len, 16);
    const uint8_t v4[16] = {10, 1, 0x80};
    EXPECT_EQ(memcmp(route.address, v4, 16), 0) << "as it stands, bits behind the mask included";
    route = {};
    api.ha_get_route(six.handle, &route);
    EXPECT_EQ(route.family_flags, 0);
    EXPECT_EQ(route.mask_len, 33);
    EXPECT_EQ(memcmp(route.address, six.address6.data(), 16), 0);
    const ufib_ha_route untouched = route;
    api.ha_get_route(1234, &route);
    EXPECT_EQ(memcmp(&route, &untouched, sizeof route), 0);

    ufib_platform_rewrite rewrite = {};
    ASSERT_EQ(api.get_rewrite_info(next.handle, &rewrite), 0);
    EXPECT_EQ(memcmp(rewrite.bytes + UFIB_REWRITE_DMAC, next.dmac.data(), 6), 0);
    EXPECT_EQ(api.get_rewrite_info(99, &rewrite), -1);
    EXPECT_EQ(api.get_adj_base_handle(next.handle), next.handle);
    EXPECT_EQ(api.get_adj_base_handle(99), 0u);

    api.ha_clean_v4_pfx(narrow.handle, 16, 0x0a010000);
    api.ha_clean_v6_pfx(six.handle, 33, six.address6.data());
    EXPECT_EQ(lookup("10.1.0.1").hop.mask_len, 8);
    EXPECT_EQ(lookup("2001:db8::1").hop.action, SOFTFWD_NO_ROUTE);
    expect_integrity();
}

TEST_F(recovery, the_bytes_stored_with_a_table_lead_back_to_it) {
    softfwd_config_get()->caps.table_pss_space_len = 8;
    load();
    uint8_t stored[9] = {};
    stored[8] = 0x77;
    ASSERT_EQ(api.get_table_pss_info(table6, stored), 0);
    EXPECT_EQ(stored[8], 0x77);
    restart();
    EXPECT_EQ(api.get_table_ha_handle(stored), table6);
    api.delete_v6_table(table6);
    EXPECT_EQ(api.get_table_ha_handle(stored), 0u);
}

TEST_F(recovery, old_handles_stay_unknown_when_reuse_is_off) {
    softfwd_config_get()->never_reuse_handles = true;
    load();
    const uint32_t handle = narrow.handle, adj_handle = extra.handle;
    remove(table, &narrow);
    EXPECT_EQ(api.delete_adj(&extra), 0);
    (void)api.all_writes_ready(), (void)api.all_writes_ready();
    narrow.next = &next;
    EXPECT_GT(insert(table, &narrow), handle);
    remove(table, &narrow);
    restart();
    narrow.handle = 0;
    EXPECT_GT(insert(table, &narrow), handle + 1);
    EXPECT_EQ(api.get_adj_base_handle(adj_handle), 0u);
    EXPECT_GT(adj(9).handle, adj_handle);
}

TEST_F(recovery, tables_that_cannot_be_used_are_said_and_replaced_by_empty_ones) {
    const struct {
        const char *name, *says;
        uint64_t offset;
        uint32_t bytes;
    } rows[] = {{"magic", "not tables", offsetof(softfwd_header, magic), 0},
                {"version", "another version", offsetof(softfwd_header, layout), 99},
                {"size", "another size", offsetof(softfwd_header, file_bytes), 4096},
                {"division", "another division", offsetof(softfwd_header, regions), 1},
                {"marks", "damaged marks", offsetof(softfwd_header, prefix_bump), 0xffffffff},
                {"bucket", "damaged list", SOFTFWD_HEADER_ROOM, 60000},
                {"trie", "damaged trie", offsetof(softfwd_header, arena), 0}};
    for (const auto &row : rows) {
        load();
        lookup("10.1.0.1");
        stop();
        patch(row.offset, row.bytes);
        said.clear();
        start(1);
        ASSERT_EQ(said.size(), 1u) << row.name;
        EXPECT_NE(said[0].find(row.says), std::string::npos) << row.name << ": " << said[0];
        EXPECT_TRUE(softfwd_is_open()) << row.name;
        EXPECT_EQ(lookup("10.1.0.1").hop.action, SOFTFWD_NO_ROUTE) << row.name;
        EXPECT_NE(api.insert_v4_table(vdc, table_id, nullptr, 0), 0u) << row.name;
        expect_integrity();
        softfwd_reader_detach(reader), reader = nullptr;
        stop();
        said.clear();
    }
}

TEST_F(recovery, lost_side_files_are_made_anew_and_readers_attach_again) {
    load();
    lookup("10.1.0.1");
    for (const char *suffix : {"_readers", "_counters"}) {
        stop();
        ASSERT_TRUE(std::filesystem::remove(path(suffix)));
        start(1);
        softfwd_result result;
        EXPECT_NE(softfwd_lookup_v4(reader, vdc, table_id, 1, &result), 0) << suffix;
        EXPECT_EQ(lookup("10.1.0.1").hop.if_index, 1003u) << suffix;
        ufib_platform_stats row = {&extra, extra.handle, 0, 0, 0};
        ASSERT_EQ(api.adj_get_stats(&row, 1), 0);
        EXPECT_GT(row.packets, 0u) << suffix;
    }
    stop();
    for (const char *suffix : {"", "_readers", "_counters"}) std::filesystem::remove(path(suffix));
    start(1);
    EXPECT_NE(said.back().find("no tables"), std::string::npos);
    EXPECT_TRUE(softfwd_is_open());
}

TEST_F(recovery, tables_of_a_living_writer_are_left_alone) {
    load();
    stop();
    const int fd = open(path("").c_str(), O_RDWR);
    ASSERT_TRUE(softfwd_file_lock(fd, 0));
    for (const int mode : {0, 1}) {
        start(mode);
        EXPECT_NE(said.back().find("another process serves them"), std::string::npos);
        EXPECT_EQ(api.insert_v4_table(vdc, 9, nullptr, 0), 0u) << "every entry is refused";
        EXPECT_EQ(api.insert_adj(&next, 0, 1), 0u);
        EXPECT_EQ(insert(table, &wide), 0u);
        EXPECT_EQ(api.delete_v4_prefix(table, &wide), -1);
        EXPECT_EQ(api.one_write_ready() + api.all_writes_ready(), 0);
        stop();
    }
    close(fd);
    start(1);
    EXPECT_EQ(lookup("10.1.0.1").hop.if_index, 1003u);
}

TEST_F(recovery, a_reader_that_stands_still_keeps_its_memory_over_the_take_over) {
    load();
    lookup("10.1.0.1");
    const uint32_t handle = narrow.handle;
    ASSERT_TRUE(softfwd_enter(reader));
    remove(table, &narrow);
    restart();
    EXPECT_NE(said.back().find("stands still"), std::string::npos);
    narrow.handle = 0;
    EXPECT_NE(insert(table, &narrow), handle);
    softfwd_leave(reader);
    expect_integrity();
    restart();
    fake_prefix other = prefix("11.0.0.0/8", &next);
    EXPECT_EQ(insert(table, &other), handle);
}

/* Random inserts, updates and deletes with restarts in between, against a list that is searched from end to end. */
struct random_changes : softfwd_rig {
    std::vector<fake_adj> hops;
    std::vector<fake_prefix> model;
    std::mt19937 random;

    static bool covers(const fake_prefix &pfx, uint32_t address) {
        return pfx.handle != 0 && (pfx.bits == 0 || (pfx.address ^ address) >> (32 - pfx.bits) == 0);
    }
    const fake_prefix *best_match(uint32_t address) const {
        const fake_prefix *best = nullptr;
        for (const fake_prefix &pfx : model)
            if (covers(pfx, address) && (best == nullptr || pfx.bits > best->bits)) best = &pfx;
        return best;
    }
    void model_build() {
        for (uint32_t i = 0; i < 4; i++) hops.push_back(adj(i));
        for (uint32_t i = 0; i < 300; i++) {
            fake_prefix pfx = prefix("0.0.0.0/0", &hops[0]);
            pfx.bits = i % 33;
            pfx.address =
                pfx.bits == 0 ? 0 : (i * 0x9e3779b9u) & 0xc3ffffff & ~uint32_t{0} << (32 - pfx.bits);
            const auto same = [&](const fake_prefix &p) {
                return p.bits == pfx.bits && p.address == pfx.address;
            };
            if (std::none_of(model.begin(), model.end(), same)) model.push_back(pfx);
        }
    }
    bool change(uint32_t table) {
        fake_prefix *pfx = &model[random() % model.size()];
        pfx->next = &hops[random() % 4];
        if (pfx->handle != 0 && random() % 2 == 0) return remove(table, pfx) == 0;
        return insert(table, pfx) != 0;
    }
};

TEST_F(random_changes, agree_with_a_plain_list_over_restarts) {
    const unsigned seed = std::random_device{}();
    random.seed(seed);
    start(0);
    const uint32_t table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    model_build();
    for (uint32_t step = 1; step <= 5000; step++) {
        ASSERT_TRUE(change(table)) << "seed " << seed;
        (void)api.one_write_ready();
        if (step % 1000 == 0) restart();
        const uint32_t address = model[random() % model.size()].address ^ static_cast<uint32_t>(random() % 8);
        const fake_prefix *best = best_match(address);
        const softfwd_result result = lookup(ip_address_str(address));
        ASSERT_EQ(result.hop.prefix_handle, best != nullptr ? best->handle : 0) << "seed " << seed;
        ASSERT_EQ(result.hop.adj_handle, best != nullptr ? best->next->handle : 0) << "seed " << seed;
    }
    expect_integrity();
}
