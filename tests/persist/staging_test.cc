#include "core/ufib_err.h"
#include "host/trace/syslog.h"
#include "persist/lcfwd_pss_culprit.h"
#include "persist/lcfwd_pss_record.h"
#include "tests/persist/pss_rig.h"

#include <cstring>

struct staging : pss_test {};

TEST_F(staging, hands_out_zeroed_blocks_until_the_last_byte) {
    uint8_t *first = static_cast<uint8_t *>(lcfwd_pss_buf_allocate(3));
    uint8_t *second = static_cast<uint8_t *>(lcfwd_pss_buf_allocate(100));
    ASSERT_EQ(second, first + 3) << "blocks are not aligned";
    std::memset(first, 0xff, 103);
    lcfwd_pss_staging_clear();
    uint8_t *again = static_cast<uint8_t *>(lcfwd_pss_buf_allocate(103));
    ASSERT_EQ(again, first);
    EXPECT_EQ(again[0] | again[102], 0);
    EXPECT_NE(lcfwd_pss_buf_allocate(102400 - 103), nullptr) << "exactly the room that is left";
    EXPECT_EQ(lcfwd_pss_staging.used, 102400u);
    EXPECT_EQ(lcfwd_pss_buf_allocate(1), nullptr);
    EXPECT_EQ(lcfwd_pss_staging.used, 102400u) << "a refusal changes nothing";
    EXPECT_NE(lcfwd_pss_buf_allocate(0), nullptr);
    lcfwd_pss_staging_clear();
    EXPECT_EQ(lcfwd_pss_buf_allocate(102401), nullptr);
    EXPECT_EQ(lcfwd_pss_buf_allocate(0xffffffff), nullptr);
    EXPECT_TRUE(rig.log_has("ERROR: request for a buf out of bounds "));
    EXPECT_TRUE(fake_take({"all_writes_ready"}).empty()) << "an allocation never commits";
}

TEST_F(staging, commits_when_the_biggest_record_might_not_fit_any_more) {
    for (const auto &[used, commits] : {std::pair{100552u, false}, {100553u, true}}) {
        lcfwd_flush_pending_pss_updates();
        const pss2_datum key = staged(4, 1);
        const pss2_datum value = staged(21, static_cast<int>(used & 0xff));
        ASSERT_NE(lcfwd_pss_buf_allocate(used - 25), nullptr);
        fake_take();
        const uint64_t sent = syslog_sent_count();
        EXPECT_EQ(lcfwd_pss_buf_store(LCFWD_PSS_PREFIX, 1, key, value), 1);
        EXPECT_EQ(fake_take({"all_writes_ready"}).size(), commits ? 1u : 0u) << used;
        EXPECT_EQ(lcfwd_pss_staging.used, commits ? 0u : used);
        EXPECT_EQ(syslog_sent_count() - sent, commits ? 1u : 0u);
        EXPECT_EQ(rig.log_has("Trigger PSS and hardware commit"), commits);
        EXPECT_EQ(rig.records("prefix_vdc_1").size(), commits ? 1u : 0u);
    }
    const syslog_sent *message = syslog_sent_get(0);
    EXPECT_EQ(message->kind, 1);
    EXPECT_EQ(message->node, 0xfe000001u);
    EXPECT_EQ(message->number, 52);
    EXPECT_STREQ(message->tag, "LCFWD_PSS_RUNNING_OUT_OF_SPACE");
    EXPECT_EQ(std::string(message->text).rfind("<<%LCFWD-", 0), 0u) << message->text;
    EXPECT_NE(std::string(message->text)
                  .find("-LCFWD_PSS_RUNNING_OUT_OF_SPACE>> PSS Global buffer running out of space"),
              std::string::npos);
}

TEST_F(staging, deletions_commit_at_the_same_margin) {
    ASSERT_NE(lcfwd_pss_buf_allocate(100549), nullptr);
    const uint32_t key = 7;
    EXPECT_EQ(lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {&key, 4}), 1);
    EXPECT_EQ(fake_take({"all_writes_ready"}).size(), 1u);
    ASSERT_NE(lcfwd_pss_buf_allocate(102400), nullptr);
    const uint32_t errors = ufib_errors[E_PSS_NO_MEM];
    EXPECT_EQ(lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {&key, 4}), 0) << "no room for the copy of the key";
    EXPECT_EQ(ufib_errors[E_PSS_NO_MEM], errors + 1);
    EXPECT_EQ(ufib_errno, 4390965u);
}

TEST_F(staging, record_without_room_says_which_block) {
    const struct {
        uint32_t left;
        const char *text;
    } cases[] = {{3, "Failed to allocate memory for key \n"},
                 {24, "Failed to allocate memory for value \n"},
                 {32, "Failed to allocate memory for PSS datum key \n"},
                 {40, "Failed to allocate memory for PSS datum value \n"}};
    for (const auto &c : cases) {
        lcfwd_pss_staging_clear();
        ASSERT_NE(lcfwd_pss_buf_allocate(102400 - c.left), nullptr);
        EXPECT_FALSE(rig.log_has(c.text));
        const uint32_t errors = ufib_errors[E_PSS_NO_MEM];
        lcfwd_pss_record record = {};
        EXPECT_EQ(lcfwd_pss_record_begin(LCFWD_PSS_PREFIX, 1, 4, 21, &record), 0);
        EXPECT_TRUE(rig.log_has(c.text));
        EXPECT_EQ(ufib_errors[E_PSS_NO_MEM], errors + 1);
    }
    lcfwd_pss_staging_clear();
    ASSERT_NE(lcfwd_pss_buf_allocate(102400 - 41), nullptr);
    lcfwd_pss_record record = {};
    EXPECT_EQ(lcfwd_pss_record_begin(LCFWD_PSS_PREFIX, 1, 4, 21, &record), 1);
    EXPECT_EQ(lcfwd_pss_staging.used, 102400u);
}

TEST_F(staging, record_is_stored_with_the_length_it_has_in_the_end) {
    lcfwd_pss_record record = {};
    ASSERT_EQ(lcfwd_pss_record_begin(LCFWD_PSS_PREFIX, 1, 4, 21, &record), 1);
    EXPECT_EQ(lcfwd_pss_staging.used, 41u) << "key, value and two descriptors of 8";
    std::memcpy(record.key, "\x01\x02\x03\x04", 4);
    std::memcpy(record.value, "\xaa\xbb", 2);
    record.value_size = 2;
    EXPECT_EQ(lcfwd_pss_record_store(&record), 1);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"01020304", "aabb"}}));
    EXPECT_EQ(lcfwd_pss_record_delete(LCFWD_PSS_PREFIX, 1, "\x01\x02\x03\x04", 4), 1);
    lcfwd_pss_buf_commit();
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

TEST_F(staging, culprit_is_the_largest_count_and_a_tie_names_the_later_kind) {
    const struct {
        const char *name;
        std::vector<std::pair<uint32_t, uint32_t>> adds, deletes;
        uint32_t kind, count;
        bool add;
    } cases[] = {
        {"one", {{4, 7}}, {{5, 6}}, 4, 7, true},
        {"deletes", {{4, 7}}, {{5, 8}}, 5, 8, false},
        {"tie", {{4, 7}, {9, 7}}, {}, 9, 7, true},
        {"tie_of_tables", {{4, 7}}, {{9, 7}}, 9, 7, false},
        {"tie_within_a_kind", {{4, 7}}, {{4, 7}}, 4, 7, true},
    };
    for (const auto &c : cases) {
        std::memset(lcfwd_pss_ops_add_count, 0, sizeof lcfwd_pss_ops_add_count);
        std::memset(lcfwd_pss_ops_del_count, 0, sizeof lcfwd_pss_ops_del_count);
        for (const auto &[kind, count] : c.adds) lcfwd_pss_ops_add_count[kind] = count;
        for (const auto &[kind, count] : c.deletes) lcfwd_pss_ops_del_count[kind] = count;
        const lcfwd_pss_culprit found = lcfwd_pss_culprit_find();
        EXPECT_EQ(found.kind, c.kind) << c.name;
        EXPECT_EQ(found.count, c.count) << c.name;
        EXPECT_EQ(found.add, c.add) << c.name;
    }
    lcfwd_pss_out_of_space_report();
    EXPECT_TRUE(
        rig.log_has("ERROR: PSS ops buf hog culprit most likely is pss_type=4 count=0x7, add_or_del=1"));
}
