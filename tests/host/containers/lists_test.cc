#include "host/containers/dbly_linkage.h"
#include "host/containers/djb_hash.h"
#include "host/containers/sll.h"

#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <string>
#include <vector>

static std::deque<const sll_node *> nodes_of(const sll_list &list) {
    std::deque<const sll_node *> nodes;
    for (const sll_node *at = sll_first(&list); at != nullptr; at = sll_next(at)) nodes.push_back(at);
    return nodes;
}

TEST(sll, agrees_with_a_deque_under_random_changes) {
    std::mt19937 random(test_seed());
    queue fifo;
    queue_init(&fifo);
    std::vector<sll_node> nodes(20);
    std::deque<const sll_node *> want;
    for (unsigned step = 0; step < 4000; step++) {
        sll_node *node = &nodes[random() % nodes.size()];
        const auto at = std::find(want.begin(), want.end(), node);
        if (at == want.end()) {
            EXPECT_EQ(sll_unlink(&fifo.list, node), ENOENT);
            if (random() % 2 == 0) {
                sll_link_head(&fifo.list, node);
                want.push_front(node);
            } else {
                enqueue_tail(&fifo, node);
                want.push_back(node);
            }
        } else if (random() % 2 == 0) {
            EXPECT_EQ(sll_unlink(&fifo.list, node), 0);
            want.erase(at);
        } else {
            EXPECT_EQ(peek_head(&fifo), want.front());
            EXPECT_EQ(dequeue_head(&fifo), want.front());
            want.pop_front();
        }
        ASSERT_EQ(nodes_of(fifo.list), want);
        ASSERT_EQ(queue_count(&fifo), want.size());
    }
    while (!want.empty()) {
        EXPECT_EQ(dequeue_head(&fifo), want.front());
        want.pop_front();
    }
    EXPECT_EQ(dequeue_head(&fifo), nullptr);
    EXPECT_TRUE(sll_is_empty(&fifo.list));
}

struct dl_rig {
    dl_list lists[2];
    std::deque<dl_node *> want[2];

    void expect_equal(unsigned i) const {
        std::deque<dl_node *> seen, back;
        for (dl_node *at = dbly_linkage_first(&lists[i]); at != nullptr; at = dbly_linkage_next(at))
            seen.push_back(at);
        for (dl_node *at = dbly_linkage_last(&lists[i]); at != nullptr; at = dbly_linkage_prev(at))
            back.push_front(at);
        ASSERT_EQ(seen, want[i]);
        ASSERT_EQ(back, want[i]);
        ASSERT_EQ(lists[i].count, want[i].size());
    }
    void put(unsigned i, dl_node *node, unsigned how) {
        if (how == 0) {
            dbly_linkage_insert_head(&lists[i], node);
            want[i].push_front(node);
        } else if (how == 1 || want[i].empty()) {
            dbly_linkage_insert_tail(&lists[i], node);
            want[i].push_back(node);
        } else {
            dbly_linkage_insert_after(&lists[i], want[i].front(), node);
            want[i].insert(want[i].begin() + 1, node);
        }
    }
};

TEST(dbly_linkage, agrees_with_deques_under_random_changes) {
    std::mt19937 random(test_seed());
    dl_rig rig{};
    std::vector<dl_node> nodes(24);
    for (unsigned step = 0; step < 6000; step++) {
        dl_node *node = &nodes[random() % nodes.size()];
        if (node->owner == nullptr) {
            rig.put(static_cast<unsigned>(random() % 2), node, static_cast<unsigned>(random() % 3));
        } else if (random() % 4 == 0) {
            const unsigned i = node->owner == &rig.lists[1];
            EXPECT_EQ(dbly_linkage_pop_head(&rig.lists[i]), rig.want[i].front());
            rig.want[i].pop_front();
        } else {
            const unsigned i = dbly_linkage_is_on(&rig.lists[1], node);
            dbly_linkage_remove(&rig.lists[i], node);
            std::erase(rig.want[i], node);
        }
        ASSERT_NO_FATAL_FAILURE(rig.expect_equal(0));
        ASSERT_NO_FATAL_FAILURE(rig.expect_equal(1));
    }
}

static void tell_log(const char *text) { (void)std::fprintf(stderr, "log: %s\n", text); }

TEST(dbly_linkage_death, a_node_on_the_wrong_list_is_fatal_and_named) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    dl_list list{}, other{};
    dl_node node{}, loose{};
    dbly_linkage_insert_tail(&list, &node);
    EXPECT_DEATH(dbly_linkage_remove(&other, &node), "fatal: list 0x[0-9a-f]+: removal of node 0x[0-9a-f]+");
    EXPECT_DEATH(dbly_linkage_remove(&list, &loose), "removal of node");
    EXPECT_DEATH(dbly_linkage_insert_head(&other, &node), "insertion of node");
    EXPECT_DEATH(dbly_linkage_insert_after(&other, &node, &loose), "insertion behind of node");
    EXPECT_DEATH(
        {
            dbly_linkage_fault_hook_set(tell_log);
            dbly_linkage_remove(&list, &loose);
        },
        "log: fatal: list");
}

TEST(djb_hash, is_the_byte_hash_on_unsigned_bytes) {
    EXPECT_EQ(djb_hash("", 0), 5381u);
    EXPECT_EQ(djb_hash("a", 1), 177670u);
    const uint8_t high[2] = {0xff, 0x80};
    EXPECT_EQ(djb_hash(high, 2), (5381u * 33 + 255) * 33 + 128);
    EXPECT_EQ(djb_hash("abcdefghijkl", 12), djb_hash("abcdefghijk", 11) * 33 + 'l');
}
