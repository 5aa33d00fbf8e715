/* tests/host/containers/trie_rig.h: a trie in an arena of its own, beside its model. */
#pragma once

#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

struct trie_rig {
    lpm_arena arena{};
    lpm_trie trie{};
    trie_model model;

    trie_rig() { EXPECT_EQ(lpm_arena_private_create(&arena, LPM_ARENA_BYTES_MAX), 0); }
    ~trie_rig() { lpm_arena_private_destroy(&arena); }
    trie_rig(const trie_rig &) = delete;
    trie_rig &operator=(const trie_rig &) = delete;

    int add(const model_prefix &prefix, uint32_t value, bool replace, lpm_spot *spot = nullptr) {
        const int status = lpm_add(&arena, &trie, prefix.key(), prefix.bits, value, replace, spot);
        if (status == 0) model.routes[prefix] = value;
        return status;
    }
    int remove(const model_prefix &prefix, lpm_spot *spot = nullptr) {
        const int status = lpm_delete(&arena, &trie, prefix.key(), prefix.bits, spot);
        if (status == 0) model.routes.erase(prefix);
        return status;
    }
    uint32_t exact(const model_prefix &prefix) const {
        return lpm_exact(arena.base, &trie, prefix.key(), prefix.bits);
    }

    void expect_walk_equals_model() const {
        lpm_entry entry{};
        bool more = lpm_first(arena.base, &trie, &entry);
        for (const auto &[prefix, value] : model.routes) {
            ASSERT_TRUE(more);
            model_prefix seen{{}, entry.bits};
            lpm_key_store(entry.key, seen.bytes.data(), 16);
            ASSERT_EQ(seen, prefix);
            ASSERT_EQ(entry.value, value);
            more = lpm_next(arena.base, &trie, entry.key, entry.bits, &entry);
        }
        ASSERT_FALSE(more);
        ASSERT_EQ(trie.route_count, model.routes.size());
        ASSERT_EQ(lpm_trie_bytes(arena.base, &trie), lpm_arena_used_bytes(&arena))
            << "blocks lost or freed twice";
    }

    void expect_lookups_equal_model(prefix_source *source) const {
        const auto address = source->address();
        const lpm_key key = lpm_key_load(address.data(), source->width);
        const auto want = model.match(address, source->width);
        unsigned bits = 0;
        ASSERT_EQ(lpm_match(arena.base, &trie, key, &bits), want.first);
        ASSERT_EQ(bits, want.second);
        if (source->width == 32) {
            ASSERT_EQ(lpm_match_v4(arena.base, &trie, static_cast<uint32_t>(key.hi >> 32)), want.first);
        }
        const unsigned max_bits = source->below(source->width + 1);
        const auto covering = model.match(address, max_bits);
        bits = 0;
        ASSERT_EQ(lpm_match_prefix(arena.base, &trie, key, max_bits, &bits), covering.first) << max_bits;
        ASSERT_EQ(bits, covering.second);
    }

    /* next() from any place, of the trie or not. */
    void expect_next_equals_model(const model_prefix &from) const {
        lpm_entry entry{};
        const auto want = model.routes.upper_bound(from);
        ASSERT_EQ(lpm_next(arena.base, &trie, from.key(), from.bits, &entry), want != model.routes.end());
        if (want == model.routes.end()) return;
        model_prefix seen{{}, entry.bits};
        lpm_key_store(entry.key, seen.bytes.data(), 16);
        ASSERT_EQ(seen, want->first);
    }
};
