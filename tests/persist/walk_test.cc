#include "persist/lcfwd_pss_walk.h"

#include "core/lcfwd_vdc.h"
#include "persist/lcfwd_pss_vdc.h"
#include "tests/persist/pss_rig.h"

struct walks : pss_test {
    static void store(uint32_t kind, uint32_t vdc_id, const std::string &key) {
        const pss2_datum datum = {key.data(), static_cast<uint32_t>(key.size())};
        EXPECT_EQ(lcfwd_pss_store(kind, vdc_id, datum, datum), 1);
    }
};

static std::string text(const pss2_datum &datum) {
    return std::string(static_cast<const char *>(datum.p), datum.len);
}

TEST_F(walks, go_in_key_order_and_survive_deletion_and_commits_on_the_way) {
    for (const char *key : {"bbbb", "aaaa", "dddd", "cccc", "eeee"}) store(LCFWD_PSS_PREFIX, 1, key);
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_PREFIX, 1);
    lines seen;
    pss2_datum key;
    for (bool more = lcfwd_pss_get_first_key(service, &key); more;
         more = lcfwd_pss_get_next_key(service, &key)) {
        const std::string present = text(key);
        seen.push_back(present);
        pss2_datum value;
        ASSERT_TRUE(lcfwd_pss_get_value(service, &value));
        EXPECT_EQ(text(value), present);
        if (present == "bbbb") lcfwd_pss_delete(LCFWD_PSS_PREFIX, 1, {"bbbb", 4});
        if (present == "cccc") {
            lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {"dddd", 4});
            lcfwd_pss_buf_commit();
        }
    }
    EXPECT_EQ(seen, (lines{"aaaa", "bbbb", "cccc", "eeee"}));
    EXPECT_FALSE(lcfwd_pss_get_first_key(lcfwd_pss_service(LCFWD_PSS_VOBJ, 1), &key)) << "an empty one";
}

TEST_F(walks, without_memory_are_told_from_those_over_nothing) {
    store(LCFWD_PSS_PREFIX, 1, "aaaa");
    pss2_datum key;
    store_fault_set(STORE_FAULT_WALK, 1, STORE_NO_SPACE);
    EXPECT_FALSE(lcfwd_pss_get_first_key(lcfwd_pss_service(LCFWD_PSS_PREFIX, 1), &key));
    EXPECT_TRUE(lcfwd_pss_walk_failed());
    EXPECT_TRUE(rig.log_has("walk over service 41 failed with 0x"));
    EXPECT_FALSE(lcfwd_pss_get_first_key(lcfwd_pss_service(LCFWD_PSS_VOBJ, 1), &key));
    EXPECT_FALSE(lcfwd_pss_walk_failed());
    store_fault_set(STORE_FAULT_WALK, 1, STORE_NO_SPACE);
    uint32_t count = 0;
    uint16_t ids[LCFWD_VDC_MAX] = {};
    EXPECT_EQ(lcfwd_pss_get_active_vdcs(&count, ids), 1);
    EXPECT_TRUE(count == 1 && ids[0] == 1) << "asked for one by one";
}

TEST_F(walks, find_a_key_or_say_which_service_misses_it) {
    store(LCFWD_PSS_PREFIX, 1, "bbbb");
    store(LCFWD_PSS_PREFIX, 1, "cccc");
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_PREFIX, 1);
    pss2_datum found;
    ASSERT_TRUE(lcfwd_pss_get_key(service, {"bbbb", 4}, &found));
    EXPECT_EQ(text(found), "bbbb");
    ASSERT_TRUE(lcfwd_pss_get_next_key(service, &found)) << "the walk goes on from there";
    EXPECT_EQ(text(found), "cccc");
    EXPECT_FALSE(lcfwd_pss_get_key(service, {"xxxx", 4}, &found));
    EXPECT_TRUE(rig.log_has("key missing for service 41"));
    pss2_datum value;
    EXPECT_TRUE(lcfwd_pss_fetch(service, {"cccc", 4}, &value));
    EXPECT_FALSE(lcfwd_pss_fetch(service, {"xxxx", 4}, &value));
}

TEST_F(walks, adjacency_keys_are_counted_and_listed_over_all_active_vdcs) {
    rig.vdc(3);
    rig.vdc(4);
    store(LCFWD_PSS_V4ADJ, 1, "1111");
    store(LCFWD_PSS_V4ADJ, 1, "2222");
    store(LCFWD_PSS_V6ADJ, 3, "3333");
    store(LCFWD_PSS_V4ADJ, 4, "4444");
    store(LCFWD_PSS_PREFIX, 1, "none");
    lcfwd_vdc_row(4)->flags = 0;
    EXPECT_EQ(lcfwd_get_adj_pss_num_keys(), 3u);
    lines seen;
    const uint32_t visited = lcfwd_iterate_adj_pss_keys(
        [](uint32_t kind, uint32_t vdc_id, const pss2_datum &key, void *ctx) {
            static_cast<lines *>(ctx)->push_back(std::to_string(kind) + " " + std::to_string(vdc_id) + " " +
                                                 text(key));
            EXPECT_EQ(lcfwd_pss_delete(kind, vdc_id, key), 1);
        },
        &seen);
    EXPECT_EQ(visited, 3u);
    EXPECT_EQ(seen, (lines{"4 1 1111", "4 1 2222", "6 3 3333"}));
    EXPECT_EQ(lcfwd_get_adj_pss_num_keys(), 0u);
}
