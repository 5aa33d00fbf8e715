#include "host/containers/ravl.h"

#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <vector>

struct tree_object {
    uint64_t before;
    ravl_node node;
    uint8_t gap[3];
    uint8_t key[4];
};
static constexpr uint32_t KEY_OFFSET = offsetof(tree_object, key) - offsetof(tree_object, node);

static uint32_t key_value(const void *key) {
    const auto *bytes = static_cast<const uint8_t *>(key);
    return static_cast<uint32_t>(bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3]);
}
static void key_set(uint8_t key[4], uint32_t value) {
    for (int i = 0; i < 4; i++) key[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}
/* The other way round than memcmp(), so that a tree that ignores its comparator is noticed. */
static int compare_descending(const void *a, const void *b) {
    const uint32_t left = key_value(a), right = key_value(b);
    return left == right ? 0 : left < right ? 1 : 2;
}
static uint32_t object_key(ravl_node *node) {
    return key_value(ravl_object<tree_object>(node, offsetof(tree_object, node))->key);
}

/* Height within the AVL bounds, links back, order: what makes the tree a tree. */
static int32_t check_subtree(const ravl_node *node, const ravl_node *parent) {
    if (node == nullptr) return 0;
    { EXPECT_EQ(node->parent, parent); }
    const int32_t left = check_subtree(node->left, node), right = check_subtree(node->right, node);
    EXPECT_LE(std::abs(left - right), 1);
    EXPECT_EQ(node->height, std::max(left, right) + 1);
    return node->height;
}

class tree_order : public testing::TestWithParam<ravl_compare> {};
INSTANTIATE_TEST_SUITE_P(comparators, tree_order,
                         testing::Values(ravl_compare{nullptr}, &compare_descending));

TEST_P(tree_order, agrees_with_a_sorted_map_under_random_changes) {
    std::mt19937 random(test_seed());
    const bool descending = GetParam() != nullptr;
    ravl_tree tree;
    ASSERT_EQ(ravl_init(&tree, 4, KEY_OFFSET, GetParam()), 0);
    std::vector<tree_object> objects(600);
    std::map<uint32_t, tree_object *> want;
    for (unsigned step = 0; step < 20000; step++) {
        tree_object &object = objects[random() % objects.size()];
        const auto key = static_cast<uint32_t>(&object - objects.data()) * 7;
        uint8_t probe[4];
        key_set(probe, key);
        ASSERT_EQ(ravl_lookup(&tree, probe), want.contains(key) ? &object.node : nullptr);
        if (random() % 5 < (step / 4000 % 2 == 0 ? 4u : 1u)) {
            if (!want.contains(key)) key_set(object.key, key);
            { ASSERT_EQ(ravl_insert(&tree, &object.node), want.contains(key) ? EEXIST : 0); }
            want[key] = &object;
        } else {
            ASSERT_EQ(ravl_delete(&tree, &object.node), want.erase(key) != 0 ? 0 : ENOENT);
        }
        if (step % 500 != 0) continue;
        (void)check_subtree(tree.root, nullptr);
        std::vector<uint32_t> keys, seen;
        for (const auto &[k, o] : want) keys.push_back(k);
        if (descending) std::reverse(keys.begin(), keys.end());
        for (ravl_node *node = ravl_first(&tree); node != nullptr; node = ravl_next(node))
            seen.push_back(object_key(node));
        ASSERT_EQ(seen, keys);
        ASSERT_EQ(tree.count, keys.size());
    }
}

TEST(ravl, iterators_hold_a_key_and_survive_removals) {
    ravl_tree tree;
    ASSERT_EQ(ravl_init(&tree, 4, KEY_OFFSET, nullptr), 0);
    EXPECT_TRUE(ravl_is_empty(&tree));
    std::vector<tree_object> objects(100);
    for (uint32_t i = 0; i < objects.size(); i++) {
        key_set(objects[i].key, i * 2);
        ASSERT_EQ(ravl_insert(&tree, &objects[i].node), 0);
    }
    ravl_iterator iterator{}, saved{};
    uint32_t expected = 0;
    for (ravl_node *node = ravl_iterator_first(&iterator, &tree); node != nullptr;
         node = ravl_iterator_next(&iterator)) {
        ASSERT_EQ(object_key(node), expected);
        if (expected == 50) saved = iterator;
        { ASSERT_EQ(ravl_delete(&tree, node), 0); }
        expected += 2;
    }
    EXPECT_EQ(expected, 200u);
    EXPECT_TRUE(ravl_is_empty(&tree));
    for (uint32_t i : {10u, 26u, 30u}) ASSERT_EQ(ravl_insert(&tree, &objects[i].node), 0);
    EXPECT_EQ(object_key(ravl_iterator_next(&saved)), 52u) << "a copy goes on behind its own key";
    uint8_t between[4];
    key_set(between, 53);
    EXPECT_EQ(object_key(ravl_next_from_key(&tree, between)), 60u);
}

TEST(ravl, refuses_equal_keys_strangers_and_bad_sizes) {
    ravl_tree tree;
    EXPECT_EQ(ravl_init(&tree, 0, 0, nullptr), EINVAL);
    EXPECT_EQ(ravl_init(&tree, RAVL_KEY_BYTES_MAX + 1, 0, nullptr), EINVAL);
    ASSERT_EQ(ravl_init(&tree, 4, KEY_OFFSET, nullptr), 0);
    tree_object a{}, twin{}, stranger{};
    key_set(stranger.key, 9);
    ASSERT_EQ(ravl_insert(&tree, &a.node), 0);
    EXPECT_EQ(ravl_insert(&tree, &twin.node), EEXIST);
    EXPECT_EQ(ravl_delete(&tree, &twin.node), ENOENT) << "equal key, another object";
    EXPECT_EQ(ravl_delete(&tree, &stranger.node), ENOENT);
    EXPECT_EQ(ravl_object<tree_object>(nullptr, 8), nullptr);
    EXPECT_EQ(tree.count, 1u);
}
