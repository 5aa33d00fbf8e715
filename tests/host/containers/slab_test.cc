#include "host/containers/containers.h"
#include "host/containers/slab.h"

#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

class slabs : public testing::Test {
protected:
    void TearDown() override { containers_reset(); }
};

TEST_F(slabs, give_zeroed_aligned_objects_of_their_own) {
    std::mt19937 random(test_seed());
    slab *small = slab_create("small", 13, 5), *large = slab_create("large", 3000, 7);
    std::set<uint8_t *> out;
    for (unsigned step = 0; step < 3000; step++) {
        slab *pool = random() % 2 == 0 ? small : large;
        auto *object = static_cast<uint8_t *>(slab_calloc(pool));
        ASSERT_NE(object, nullptr);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(object) % 8, 0u);
        ASSERT_TRUE(std::all_of(object, object + pool->element_bytes, [](uint8_t b) { return b == 0; }));
        ASSERT_TRUE(out.insert(object).second) << "given out twice";
        ASSERT_EQ(slab_address(slab_number(object)), object);
        std::memset(object, 0xa5, pool->element_bytes);
        if (random() % 3 != 0) {
            out.erase(object);
            slab_free(pool, object);
        }
    }
    EXPECT_EQ(small->element_bytes, 16u);
    EXPECT_EQ(small->in_use + large->in_use, out.size());
    EXPECT_EQ(slab_total_in_use(), out.size());
    EXPECT_GE(slab_total_bytes(), uint64_t{small->in_use} * 16 + uint64_t{large->in_use} * 3000);
    slab_free(small, nullptr);
}

TEST_F(slabs, keep_their_chunks_for_the_next_objects) {
    slab *pool = slab_create("kept", 64, 100);
    std::vector<void *> objects;
    for (int i = 0; i < 1000; i++) objects.push_back(slab_calloc(pool));
    const uint64_t bytes = slab_bytes(pool);
    EXPECT_EQ(pool->capacity, 1000u);
    for (int round = 0; round < 3; round++) {
        for (void *object : objects) slab_free(pool, object);
        EXPECT_EQ(pool->in_use, 0u);
        for (void *&object : objects) object = slab_calloc(pool);
    }
    EXPECT_EQ(slab_bytes(pool), bytes);
}

TEST_F(slabs, fail_on_demand_by_name_once) {
    EXPECT_EQ(slab_fail_nth("later", 2), 0);
    slab *pool = slab_create("later", 8, 4), *other = slab_create("other", 8, 4);
    EXPECT_NE(slab_calloc(pool), nullptr);
    EXPECT_NE(slab_calloc(other), nullptr);
    EXPECT_EQ(slab_calloc(pool), nullptr);
    EXPECT_NE(slab_calloc(pool), nullptr);
    EXPECT_EQ(pool->failures, 1u);
    EXPECT_EQ(pool->in_use, 2u);
    EXPECT_EQ(slab_fail_nth("other", 1), 0);
    EXPECT_EQ(slab_fail_nth("other", 0), 0) << "switched off again";
    EXPECT_NE(slab_calloc(other), nullptr);
    EXPECT_EQ(slab_create("none", 0, 4), nullptr);
    EXPECT_EQ(slab_create("none", 8, 0), nullptr);
}

TEST_F(slabs, are_listed_and_forgotten_together) {
    slab *a = slab_create("a", 8, 4), *b = slab_create("b", 8, 4);
    EXPECT_EQ(slab_find("a"), a);
    EXPECT_EQ(slab_first(), b);
    EXPECT_EQ(b->next, a);
    auto *object = static_cast<uint64_t *>(slab_calloc(a));
    *object = 77;
    slab_release_all();
    EXPECT_EQ(slab_first(), nullptr);
    EXPECT_EQ(slab_find("a"), nullptr);
    EXPECT_EQ(slab_total_in_use(), 0u);
    slab *again = slab_create("a", 8, 4);
    EXPECT_EQ(*static_cast<uint64_t *>(slab_calloc(again)), 0u) << "memory of a former life is zeroed, too";
    int outside = 0;
    EXPECT_EQ(slab_number(&outside), 0u);
}
