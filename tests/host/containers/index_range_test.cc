#include "host/containers/index_range.h"

#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

/* The lowest run of 'count' numbers that is free in the model. */
static uint32_t lowest_run(const std::set<uint32_t> &taken, uint32_t low, uint32_t high, uint32_t count) {
    for (uint32_t start = low; start + count - 1 <= high; start++) {
        uint32_t n = 0;
        while (n < count && !taken.contains(start + n)) n++;
        if (n == count) return start;
    }
    return INDEX_RANGE_NONE;
}

class number_ranges : public testing::TestWithParam<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(sizes, number_ranges, testing::Values(1u, 63u, 64u, 65u, 300u));

TEST_P(number_ranges, agree_with_a_set_under_random_changes) {
    std::mt19937 random(test_seed());
    const uint32_t low = 7, high = low + GetParam() - 1;
    index_range *range = index_range_init(low, high, 1, 512);
    ASSERT_NE(range, nullptr);
    std::set<uint32_t> taken;
    for (unsigned step = 0; step < 3000; step++) {
        const auto count = static_cast<uint32_t>(random() % (step % 50 == 0 ? 70 : 4) + 1);
        const auto index = static_cast<uint32_t>(low - 2 + random() % (GetParam() + 4));
        bool inside = index >= low && index <= high && count <= high - index + 1, all = true, none = true;
        for (uint32_t i = index; inside && i < index + count; i++) (taken.contains(i) ? none : all) = false;
        switch (random() % 3) {
        case 0: {
            const uint32_t got = index_range_alloc_blk(range, count);
            ASSERT_EQ(got, lowest_run(taken, low, high, count));
            for (uint32_t i = 0; got != INDEX_RANGE_NONE && i < count; i++) taken.insert(got + i);
            break;
        }
        case 1:
            ASSERT_EQ(index_range_re_alloc_blk(range, index, count), !inside ? EINVAL : none ? 0 : EEXIST);
            for (uint32_t i = index; inside && none && i < index + count; i++) taken.insert(i);
            break;
        default:
            ASSERT_EQ(index_range_free_blk(range, index, count), !inside ? EINVAL : all ? 0 : ENOENT);
            for (uint32_t i = index; inside && all && i < index + count; i++) taken.erase(i);
        }
        ASSERT_EQ(index_range_in_use(range), taken.size());
    }
    index_range_destroy(range);
}

TEST(index_range, fills_a_large_range_and_keeps_its_step) {
    index_range *range = index_range_init(1, 65532, 1, 512);
    for (uint32_t want = 1; want <= 65532; want++) ASSERT_EQ(index_range_alloc_blk(range, 1), want);
    EXPECT_EQ(index_range_alloc_blk(range, 1), INDEX_RANGE_NONE);
    EXPECT_EQ(index_range_free_blk(range, 40000, 2), 0);
    EXPECT_EQ(index_range_alloc_blk(range, 2), 40000u);
    index_range_destroy(range);
    range = index_range_init(100, 200, 10, 1);
    EXPECT_EQ(index_range_alloc_blk(range, 2), 100u);
    EXPECT_EQ(index_range_alloc_blk(range, 1), 120u);
    EXPECT_EQ(index_range_free_blk(range, 115, 1), EINVAL) << "between two numbers";
    EXPECT_EQ(index_range_alloc_blk(range, 9), INDEX_RANGE_NONE);
    index_range_destroy(range);
    EXPECT_EQ(index_range_init(2, 1, 1, 1), nullptr);
    EXPECT_EQ(index_range_init(1, 2, 0, 1), nullptr);
    index_range_destroy(nullptr);
}
