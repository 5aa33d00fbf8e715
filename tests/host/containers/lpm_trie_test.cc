#include "tests/host/containers/trie_rig.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

class trie_of_width : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(families, trie_of_width, testing::Values(32u, 128u));

static void one_change(trie_rig *rig, prefix_source *source, lpm_spot *spot, unsigned add_share) {
    const model_prefix prefix = source->prefix();
    const bool there = rig->model.routes.contains(prefix);
    lpm_spot *use = source->below(2) == 0 ? spot : nullptr;
    if (use != nullptr && source->below(2) == 0) {
        ASSERT_EQ(lpm_find(&rig->arena, &rig->trie, prefix.key(), prefix.bits, use) != 0, there);
    }
    if (source->below(10) < add_share) {
        const bool replace = source->below(2) == 0;
        ASSERT_EQ(rig->add(prefix, source->value(), replace, use), there && !replace ? EEXIST : 0);
    } else {
        ASSERT_EQ(rig->remove(prefix, use), there ? 0 : ENOENT);
    }
    const auto now = rig->model.routes.find(prefix);
    ASSERT_EQ(rig->exact(prefix), now == rig->model.routes.end() ? 0 : now->second);
}

TEST_P(trie_of_width, agrees_with_a_sorted_map_under_random_changes) {
    prefix_source source{std::mt19937(test_seed()), GetParam()};
    trie_rig rig;
    lpm_spot spot{};
    for (unsigned step = 0; step < 24000; step++) {
        const unsigned phase = step / 4000 % 3; /* filling, holding, emptying */
        ASSERT_NO_FATAL_FAILURE(one_change(&rig, &source, &spot,
                                           phase == 0   ? 8
                                           : phase == 1 ? 5
                                                        : 1))
            << step;
        if (step % 16 == 0) {
            ASSERT_NO_FATAL_FAILURE(rig.expect_lookups_equal_model(&source)) << step;
        }
        if (step % 16 == 1) {
            ASSERT_NO_FATAL_FAILURE(rig.expect_next_equals_model(source.prefix())) << step;
        }
        if (step % 1000 == 0) {
            ASSERT_NO_FATAL_FAILURE(rig.expect_walk_equals_model()) << step;
        }
    }
    while (!rig.model.routes.empty()) ASSERT_EQ(rig.remove(model_prefix(rig.model.routes.begin()->first)), 0);
    EXPECT_EQ(rig.trie.root, 0u);
    EXPECT_EQ(lpm_arena_used_bytes(&rig.arena), 0u);
}

TEST(lpm_trie, edges_of_lengths_and_values) {
    trie_rig rig;
    const lpm_key zero{0, 0}, ones{~0ull, ~0ull};
    EXPECT_EQ(lpm_add(&rig.arena, &rig.trie, zero, 0, 0, false, nullptr), EINVAL);
    EXPECT_EQ(lpm_add(&rig.arena, &rig.trie, zero, 129, 1, false, nullptr), EINVAL);
    EXPECT_EQ(lpm_exact(rig.arena.base, &rig.trie, zero, 129), 0u);
    EXPECT_EQ(lpm_delete(&rig.arena, &rig.trie, zero, 0, nullptr), ENOENT);
    EXPECT_EQ(lpm_match(rig.arena.base, &rig.trie, ones, nullptr), 0u);
    for (unsigned bits = 0; bits <= 128; bits++) /* one address, every length */
        ASSERT_EQ(lpm_add(&rig.arena, &rig.trie, ones, bits, bits + 1, false, nullptr), 0);
    for (unsigned bits = 0; bits <= 128; bits++) {
        unsigned found = 999;
        ASSERT_EQ(lpm_match_prefix(rig.arena.base, &rig.trie, ones, bits, &found), bits + 1);
        ASSERT_EQ(found, bits);
    }
    EXPECT_EQ(lpm_match(rig.arena.base, &rig.trie, zero, nullptr), 1u) << "the default route";
    EXPECT_EQ(lpm_match(rig.arena.base, &rig.trie, {~0ull, ~1ull}, nullptr), 128u);
    lpm_entry last{};
    EXPECT_FALSE(lpm_next(rig.arena.base, &rig.trie, ones, 128, &last));
}

TEST(lpm_trie, a_position_is_not_used_after_another_change) {
    trie_rig rig;
    lpm_trie other{};
    lpm_spot spot{};
    const lpm_key key = lpm_key_v4(0x0a010200);
    EXPECT_EQ(lpm_find(&rig.arena, &rig.trie, key, 24, &spot), 0u);
    ASSERT_EQ(lpm_add(&rig.arena, &rig.trie, lpm_key_v4(0x0a010000), 16, 7, false, nullptr), 0);
    ASSERT_EQ(lpm_add(&rig.arena, &rig.trie, key, 24, 8, false, &spot), 0);
    EXPECT_EQ(lpm_exact(rig.arena.base, &rig.trie, lpm_key_v4(0x0a010000), 16), 7u);
    EXPECT_EQ(lpm_add(&rig.arena, &other, key, 24, 9, false, &spot), 0) << "a position of another trie";
    EXPECT_EQ(lpm_exact(rig.arena.base, &rig.trie, key, 24), 8u);
    EXPECT_EQ(lpm_exact(rig.arena.base, &other, key, 24), 9u);
    EXPECT_EQ(lpm_find(&rig.arena, &rig.trie, key, 24, &spot), 8u);
    rig.trie = {}; /* an owner that lets go of its root */
    EXPECT_EQ(lpm_add(&rig.arena, &rig.trie, key, 24, 10, false, &spot), 0);
    EXPECT_EQ(lpm_exact(rig.arena.base, &rig.trie, key, 24), 10u);
}

/* --- a full arena --- */

struct small_arena {
    lpm_arena arena{};
    lpm_arena_head head{};
    std::vector<uint64_t> memory;
    uint32_t grow_to = 0; /* units */
    std::vector<std::pair<uint32_t, uint32_t>> held;

    static uint32_t grow(void *ctx, uint32_t units) {
        auto *self = static_cast<small_arena *>(ctx);
        return units <= self->grow_to ? self->grow_to : self->head.limit;
    }
    static void retire(void *ctx, uint32_t block, uint32_t units) {
        static_cast<small_arena *>(ctx)->held.emplace_back(block, units);
    }
    small_arena(size_t usable, size_t all, bool hold) : memory(all / 8) {
        const lpm_arena_hooks hooks{grow, hold ? retire : nullptr, this};
        EXPECT_EQ(lpm_arena_init(&arena, &head, memory.data(), usable, &hooks), 0);
    }
    void grace() {
        for (const auto &[block, units] : held) lpm_arena_free(&arena, block, units);
        held.clear();
    }
    small_arena(const small_arena &) = delete;
    small_arena &operator=(const small_arena &) = delete;
};

static unsigned fill(small_arena *rig, lpm_trie *trie, prefix_source *source, trie_model *model) {
    for (unsigned refused = 0; refused < 50;) {
        const model_prefix prefix = source->prefix();
        const uint32_t value = source->value();
        const int status = lpm_add(&rig->arena, trie, prefix.key(), prefix.bits, value, false, nullptr);
        if (status == ENOMEM) refused++;
        if (status == 0) model->routes[prefix] = value;
    }
    return trie->route_count;
}

TEST(lpm_arena, full_refuses_additions_whole_and_lets_every_route_go) {
    prefix_source source{std::mt19937(test_seed()), 128};
    for (const bool hold : {false, true}) {
        small_arena rig(LPM_ARENA_BYTES_MIN * 4, LPM_ARENA_BYTES_MIN * 4, hold);
        lpm_trie trie{};
        trie_model model;
        EXPECT_GT(fill(&rig, &trie, &source, &model), 20u);
        rig.grace();
        (void)fill(&rig, &trie, &source, &model);
        for (const auto &[prefix, value] : model.routes)
            ASSERT_EQ(lpm_exact(rig.arena.base, &trie, prefix.key(), prefix.bits), value);
        for (const auto &[prefix, value] : model.routes) {
            int status = lpm_delete(&rig.arena, &trie, prefix.key(), prefix.bits, nullptr);
            if (status == ENOMEM && hold) {
                rig.grace();
                status = lpm_delete(&rig.arena, &trie, prefix.key(), prefix.bits, nullptr);
            }
            ASSERT_EQ(status, 0);
        }
        rig.grace();
        EXPECT_EQ(trie.root, 0u);
        EXPECT_EQ(lpm_arena_used_bytes(&rig.arena), 0u);
        model.routes.clear();
        EXPECT_GT(fill(&rig, &trie, &source, &model), 20u) << "what was freed is used again";
    }
}

TEST(lpm_arena, grows_through_its_hook_and_refuses_bad_memory) {
    small_arena rig(LPM_ARENA_BYTES_MIN, LPM_ARENA_BYTES_MIN * 8, false);
    prefix_source source{std::mt19937(test_seed()), 32};
    lpm_trie trie{};
    trie_model model;
    const unsigned before = fill(&rig, &trie, &source, &model);
    rig.grow_to = LPM_ARENA_BYTES_MIN; /* units: eight times the bytes */
    EXPECT_GT(fill(&rig, &trie, &source, &model), before * 2);

    lpm_arena other{};
    EXPECT_EQ(lpm_arena_init(&other, &rig.head, rig.memory.data(), LPM_ARENA_BYTES_MIN - 1, nullptr), EINVAL);
    EXPECT_EQ(lpm_arena_attach(&other, &rig.head, rig.memory.data(), LPM_ARENA_BYTES_MIN, nullptr), EBADMSG)
        << "grew past what is mapped";
    lpm_arena_head head = rig.head;
    head.magic ^= 1;
    EXPECT_EQ(lpm_arena_attach(&other, &head, rig.memory.data(), rig.memory.size() * 8, nullptr), EBADMSG);
    head = rig.head;
    head.bump = head.limit + 1;
    EXPECT_EQ(lpm_arena_attach(&other, &head, rig.memory.data(), rig.memory.size() * 8, nullptr), EBADMSG);
}
