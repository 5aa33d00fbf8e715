#include "host/containers/containers.h"
#include "host/containers/pt.h"
#include "host/containers/slab.h"
#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <vector>

class model_trie : public testing::Test {
protected:
    pt_attr *v4 = pt_attr_create(0, 1, 4);
    pt_attr *v6 = pt_attr_create(0, 1, 16);
    pt_root root{};
    slab *pool = slab_create("record", 24, 64);

    void TearDown() override {
        pt_attr_destroy(v4);
        pt_attr_destroy(v6);
        containers_reset();
    }
};

TEST_F(model_trie, finds_exact_and_covering_records) {
    const uint8_t ten[4] = {10, 0, 0, 0}, host[4] = {10, 1, 2, 3};
    int aggregate = 0; /* a record that lies in no slab */
    void *route = slab_calloc(pool);
    EXPECT_TRUE(pt_is_empty(&root));
    ASSERT_EQ(pt_add(v4, &root, ten, 8, &aggregate), 0);
    ASSERT_EQ(pt_add(v4, &root, host, 32, route), 0);
    EXPECT_EQ(pt_add(v4, &root, ten, 8, route), EEXIST);
    EXPECT_EQ(pt_count(&root), 2u);
    EXPECT_EQ(pt_lookup(v4, &root, ten, 8, true), &aggregate);
    EXPECT_EQ(pt_lookup(v4, &root, ten, 9, true), nullptr);
    EXPECT_EQ(pt_lookup(v4, &root, host, 32, false), route);
    pt_node found{};
    ASSERT_TRUE(pt_lookup_node(v4, &root, host, 31, false, &found));
    EXPECT_EQ(found.record, &aggregate);
    EXPECT_EQ(found.bits, 8u);
    EXPECT_EQ(std::memcmp(found.key, ten, 4), 0) << "the route's own key, not the one asked for";
    EXPECT_EQ(pt_delete(v4, &root, ten, 8), 0);
    EXPECT_EQ(pt_delete(v4, &root, ten, 8), ENOENT);
    EXPECT_FALSE(pt_lookup_node(v4, &root, host, 31, false, &found));
    EXPECT_EQ(pt_delete(v4, &root, host, 32), 0);
    EXPECT_TRUE(pt_is_empty(&root));
}

TEST_F(model_trie, refuses_what_no_trie_can_hold) {
    const uint8_t key[16] = {};
    EXPECT_EQ(pt_attr_create(0, 1, 0), nullptr);
    EXPECT_EQ(pt_attr_create(0, 1, 17), nullptr);
    EXPECT_EQ(pt_add(v4, &root, key, 33, pool), EINVAL);
    EXPECT_EQ(pt_add(v6, &root, key, 129, pool), EINVAL);
    EXPECT_EQ(pt_add(v4, &root, key, 8, nullptr), EINVAL);
    EXPECT_EQ(pt_delete(v4, &root, key, 33), ENOENT);
    EXPECT_EQ(pt_lookup(v4, &root, key, 33, false), nullptr);
    pt_node node{};
    EXPECT_FALSE(pt_get_first_node(&root, &node));
    EXPECT_FALSE(pt_get_next_node(&root, key, 0, &node));
    pt_fail_nth_add(2);
    EXPECT_EQ(pt_add(v4, &root, key, 8, pool), 0);
    EXPECT_EQ(pt_add(v4, &root, key, 9, pool), ENOMEM);
    EXPECT_EQ(pt_count(&root), 1u);
    EXPECT_EQ(pt_add(v4, &root, key, 9, pool), 0);
}

TEST_F(model_trie, keeps_each_record_through_a_walk_that_deletes) {
    prefix_source source{std::mt19937(test_seed()), 128};
    std::map<model_prefix, void *> want;
    std::vector<uint64_t> loose(3000); /* every other record lies outside the slabs */
    for (size_t i = 0; i < loose.size(); i++) {
        const model_prefix prefix = source.prefix();
        void *record = i % 2 == 0 ? static_cast<void *>(&loose[i]) : slab_calloc(pool);
        EXPECT_EQ(pt_lookup(v6, &root, prefix.bytes.data(), prefix.bits, true) != nullptr,
                  want.contains(prefix));
        if (pt_add(v6, &root, prefix.bytes.data(), prefix.bits, record) == 0) want[prefix] = record;
    }
    for (int pass = 0; pass < 2; pass++) {
        auto next = want.begin();
        pt_node node{};
        for (bool more = pt_get_first_node(&root, &node); more;
             more = pt_get_next_node(&root, node.key, node.bits, &node)) {
            ASSERT_NE(next, want.end());
            ASSERT_EQ(std::memcmp(node.key, next->first.bytes.data(), 16), 0);
            ASSERT_EQ(node.bits, next->first.bits);
            ASSERT_EQ(node.record, next->second);
            const bool drop = pass == 1 || source.below(2) == 0;
            if (drop) {
                ASSERT_EQ(pt_delete(v6, &root, node.key, node.bits), 0);
            }
            next = drop ? want.erase(next) : std::next(next);
        }
        ASSERT_EQ(next, want.end());
    }
    EXPECT_TRUE(pt_is_empty(&root));
}
