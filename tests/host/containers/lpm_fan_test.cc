/* Tables large and dense enough for a fan as their root. */
#include "host/containers/lpm_trie_private.h"
#include "tests/host/containers/trie_rig.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr uint32_t FAN_AT = 65536;

/* IPv4 routes all over the address space, of all lengths; some whole regions have one route alone. */
static model_prefix wide_prefix(prefix_source *source) {
    std::array<uint8_t, 16> bytes{};
    for (unsigned i = 0; i < 4; i++) bytes[i] = static_cast<uint8_t>(source->random());
    if (source->below(4) == 0) bytes[0] = bytes[1] = 10;
    const unsigned dice = source->below(20);
    return model_cut(bytes, dice < 2    ? source->below(19)
                            : dice < 17 ? 18 + source->below(7)
                                        : 25 + source->below(8));
}

static bool has_fan(const lpm_trie &trie) { return lpm_slot_kind(trie.root) == LPM_FAN; }

static void fill_to(trie_rig *rig, prefix_source *source, uint32_t count) {
    while (rig->trie.route_count < count)
        ASSERT_NE(rig->add(wide_prefix(source), source->value(), false), ENOMEM);
}

static void expect_equal(const trie_rig &rig, prefix_source *source) {
    ASSERT_NO_FATAL_FAILURE(rig.expect_walk_equals_model());
    for (unsigned i = 0; i < 3000; i++) {
        ASSERT_NO_FATAL_FAILURE(rig.expect_lookups_equal_model(source));
        ASSERT_NO_FATAL_FAILURE(rig.expect_next_equals_model(wide_prefix(source)));
        const auto bytes = wide_prefix(source).bytes;
        const uint32_t address = static_cast<uint32_t>(lpm_key_load(bytes.data(), 32).hi >> 32);
        uint32_t many = 0;
        lpm_match_v4_many(rig.arena.base, &rig.trie, &address, &many, 1);
        ASSERT_EQ(lpm_match_v4(rig.arena.base, &rig.trie, address), rig.model.match(bytes, 32).first);
        ASSERT_EQ(many, rig.model.match(bytes, 32).first);
    }
}

TEST(lpm_fan, takes_over_in_one_addition_and_stays_right_until_empty) {
    prefix_source source{std::mt19937(test_seed()), 32};
    trie_rig rig;
    fill_to(&rig, &source, FAN_AT - 1);
    EXPECT_FALSE(has_fan(rig.trie));
    fill_to(&rig, &source, FAN_AT);
    ASSERT_TRUE(has_fan(rig.trie));
    ASSERT_NO_FATAL_FAILURE(expect_equal(rig, &source));
    for (unsigned i = 0; i < 30000; i++) {
        const model_prefix prefix = wide_prefix(&source);
        const bool there = rig.model.routes.contains(prefix);
        if (source.below(2) == 0) {
            ASSERT_EQ(rig.add(prefix, source.value(), false), there ? EEXIST : 0);
        } else {
            ASSERT_EQ(rig.remove(prefix), there ? 0 : ENOENT);
        }
    }
    ASSERT_NO_FATAL_FAILURE(expect_equal(rig, &source));
    unsigned n = 0;
    for (auto at = rig.model.routes.begin(); at != rig.model.routes.end(); n++) {
        const model_prefix prefix = at->first;
        at = n % 5 == 0 ? std::next(at) : rig.model.routes.erase(at);
        if (n % 5 == 0) continue;
        ASSERT_EQ(lpm_delete(&rig.arena, &rig.trie, prefix.key(), prefix.bits, nullptr), 0);
    }
    ASSERT_NO_FATAL_FAILURE(expect_equal(rig, &source));
    while (!rig.model.routes.empty()) ASSERT_EQ(rig.remove(model_prefix(rig.model.routes.begin()->first)), 0);
    EXPECT_EQ(rig.trie.root, 0u);
    EXPECT_EQ(lpm_arena_used_bytes(&rig.arena), 0u);
}

TEST(lpm_fan, is_not_taken_without_room_or_need) {
    prefix_source source{std::mt19937(test_seed()), 32};
    std::vector<uint64_t> memory((3 << 20) / 8);
    lpm_arena arena{};
    lpm_arena_head head{};
    ASSERT_EQ(lpm_arena_init(&arena, &head, memory.data(), 1600 << 10, nullptr), 0);
    lpm_trie full{};
    while (full.route_count < FAN_AT + 10) {
        const model_prefix prefix = wide_prefix(&source);
        ASSERT_NE(lpm_add(&arena, &full, prefix.key(), prefix.bits, 1, true, nullptr), ENOMEM);
    }
    EXPECT_FALSE(has_fan(full)) << "the arena has no megabyte left";
    ASSERT_EQ(lpm_arena_init(&arena, &head, memory.data(), 3 << 20, nullptr), 0);
    lpm_trie narrow{};
    for (uint32_t i = 0; i < FAN_AT + 10; i++)
        ASSERT_EQ(lpm_add(&arena, &narrow, lpm_key_v4(0x0a000000 + i), 32, 1, false, nullptr), 0);
    EXPECT_FALSE(has_fan(narrow)) << "few of its slots would be used";
}

struct fan_segment {
    lpm_arena_head head;
    lpm_trie trie;
    alignas(8) uint8_t memory[6 << 20];
    std::atomic<bool> begun; /* a busy machine may start the writer late */
};

class shared_fan : public testing::Test {
protected:
    prefix_source source{std::mt19937(test_seed()), 32};
    fan_segment *segment = nullptr;
    lpm_arena arena{};
    trie_model model;
    model_prefix last{}; /* the addition that brings the fan */

    void SetUp() override {
        void *at =
            mmap(nullptr, sizeof(fan_segment), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(at, MAP_FAILED);
        segment = static_cast<fan_segment *>(at);
        ASSERT_EQ(lpm_arena_init(&arena, &segment->head, segment->memory, sizeof segment->memory, nullptr),
                  0);
        while (segment->trie.route_count < FAN_AT - 1) {
            const model_prefix prefix = wide_prefix(&source);
            ASSERT_EQ(lpm_add(&arena, &segment->trie, prefix.key(), prefix.bits, 7, true, nullptr), 0);
            model.routes[prefix] = 7;
        }
        do {
            last = wide_prefix(&source);
        } while (model.routes.contains(last));
    }
    void TearDown() override { munmap(segment, sizeof *segment); }

    int add_last() { return lpm_add(&arena, &segment->trie, last.key(), last.bits, 7, false, nullptr); }

    int rebuild(lpm_rebuild *rebuild, lpm_arena *again) {
        if (lpm_arena_attach(again, &segment->head, segment->memory, sizeof segment->memory, nullptr) != 0)
            return -1;
        if (lpm_rebuild_begin(rebuild, again) != 0) return -1;
        return lpm_rebuild_mark(rebuild, &segment->trie);
    }

    void kill_writer_after(unsigned microseconds) {
        segment->begun = false;
        const pid_t writer = fork();
        ASSERT_GE(writer, 0);
        if (writer == 0) {
            segment->begun = true;
            (void)add_last();
            pause();
        }
        while (!segment->begun) usleep(20);
        usleep(microseconds);
        ASSERT_EQ(kill(writer, SIGKILL), 0);
        ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
    }

    void expect_whole_after_recovery() {
        const uint32_t more = lpm_exact(segment->memory, &segment->trie, last.key(), last.bits) != 0 ? 1 : 0;
        lpm_arena again{};
        lpm_rebuild marks;
        ASSERT_EQ(rebuild(&marks, &again), 0);
        lpm_rebuild_end(&marks);
        ASSERT_EQ(segment->trie.route_count, FAN_AT - 1 + more);
        ASSERT_EQ(lpm_arena_used_bytes(&again), lpm_trie_bytes(segment->memory, &segment->trie));
        for (const auto &[prefix, value] : model.routes)
            ASSERT_EQ(lpm_exact(segment->memory, &segment->trie, prefix.key(), prefix.bits), value);
    }
};

TEST_F(shared_fan, survives_a_kill_in_the_middle_of_the_change) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(segment);
    const std::vector<uint8_t> before(bytes, bytes + sizeof *segment);
    unsigned came_through = 0;
    for (unsigned round = 0; round < 24; round++) {
        std::memcpy(segment->memory, before.data() + offsetof(fan_segment, memory), sizeof segment->memory);
        std::memcpy(&segment->head, before.data(), offsetof(fan_segment, memory));
        ASSERT_NO_FATAL_FAILURE(kill_writer_after(100 * round + source.below(100)));
        came_through += has_fan(segment->trie) ? 1 : 0;
        ASSERT_NO_FATAL_FAILURE(expect_whole_after_recovery()) << "round " << round;
    }
    EXPECT_GT(came_through, 0u);
}

TEST_F(shared_fan, damaged_is_sound_or_refused_but_never_followed_out_of_the_arena) {
    ASSERT_EQ(add_last(), 0);
    ASSERT_TRUE(has_fan(segment->trie));
    auto *words = reinterpret_cast<uint32_t *>(segment->memory);
    unsigned refused = 0;
    for (unsigned round = 0; round < 60; round++) {
        const size_t word = source.random() % (segment->head.bump * 2);
        const uint32_t old = words[word];
        words[word] = static_cast<uint32_t>(source.random());
        lpm_arena again{};
        lpm_rebuild marks;
        refused += rebuild(&marks, &again) != 0 ? 1 : 0;
        lpm_rebuild_cancel(&marks);
        words[word] = old;
    }
    EXPECT_GT(refused, 0u);
}
