/* Tries in memory that other processes see: kills at any instruction, recovery, damage, readers without locks. */
#include "tests/host/containers/trie_model.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <deque>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr size_t SHARED_BYTES = 4 << 20;
static constexpr unsigned TRIES = 3;

struct shared_segment {
    lpm_arena_head head;
    lpm_trie tries[TRIES];
    std::atomic<uint32_t> done; /* changes that the writer has behind it */
    alignas(8) uint8_t memory[SHARED_BYTES];
};

/* A list of changes that can be replayed, so that a reader knows the state before and after each. */
struct change {
    unsigned trie;
    model_prefix prefix;
    uint32_t value; /* 0: remove */
};

static std::vector<change> make_changes(unsigned seed, size_t count) {
    prefix_source v4{std::mt19937(seed), 32}, v6{std::mt19937(seed + 1), 128};
    std::vector<change> changes;
    std::vector<std::pair<unsigned, model_prefix>> there;
    while (changes.size() < count) {
        const unsigned trie = v4.below(TRIES);
        prefix_source *source = trie == 0 ? &v4 : &v6;
        if (!there.empty() && v4.below(3) == 0) {
            const size_t pick = v4.below(static_cast<unsigned>(there.size()));
            changes.push_back({there[pick].first, there[pick].second, 0});
            there.erase(there.begin() + static_cast<std::ptrdiff_t>(pick));
            continue;
        }
        changes.push_back({trie, source->prefix(), source->value()});
        const std::pair<unsigned, model_prefix> entry{trie, changes.back().prefix};
        if (std::find(there.begin(), there.end(), entry) == there.end()) there.push_back(entry);
    }
    return changes;
}

struct shared_models {
    trie_model tries[TRIES];
    void apply(const change &c) {
        if (c.value == 0)
            tries[c.trie].routes.erase(c.prefix);
        else
            tries[c.trie].routes[c.prefix] = c.value;
    }
};

class shared_trie : public testing::Test {
protected:
    shared_segment *segment = nullptr;
    lpm_arena arena{};
    shared_models model;

    void SetUp() override {
        void *at =
            mmap(nullptr, sizeof(shared_segment), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(at, MAP_FAILED);
        segment = static_cast<shared_segment *>(at);
        ASSERT_EQ(lpm_arena_init(&arena, &segment->head, segment->memory, SHARED_BYTES, nullptr), 0);
    }
    void TearDown() override { munmap(segment, sizeof *segment); }

    void write(const change &c) {
        lpm_trie *trie = &segment->tries[c.trie];
        if (c.value == 0)
            (void)lpm_delete(&arena, trie, c.prefix.key(), c.prefix.bits, nullptr);
        else
            (void)lpm_add(&arena, trie, c.prefix.key(), c.prefix.bits, c.value, true, nullptr);
    }

    /* The route of 'c' is as before it or as after it; every other route of the model is as it was. */
    bool holds_before_or_after(const change &c) const {
        for (unsigned t = 0; t < TRIES; t++)
            for (const auto &[prefix, value] : model.tries[t].routes) {
                if (t == c.trie && prefix == c.prefix) continue;
                if (lpm_exact(segment->memory, &segment->tries[t], prefix.key(), prefix.bits) != value)
                    return false;
            }
        const auto old = model.tries[c.trie].routes.find(c.prefix);
        const uint32_t before = old == model.tries[c.trie].routes.end() ? 0 : old->second;
        const uint32_t now =
            lpm_exact(segment->memory, &segment->tries[c.trie], c.prefix.key(), c.prefix.bits);
        return now == before || now == c.value;
    }

    bool walk_equals_model() const {
        for (unsigned t = 0; t < TRIES; t++) {
            lpm_entry entry{};
            bool more = lpm_first(segment->memory, &segment->tries[t], &entry);
            for (const auto &[prefix, value] : model.tries[t].routes) {
                if (!more || entry.value != value || entry.bits != prefix.bits) return false;
                more = lpm_next(segment->memory, &segment->tries[t], entry.key, entry.bits, &entry);
            }
            if (more) return false;
        }
        return true;
    }

    void recover() {
        ASSERT_EQ(lpm_arena_attach(&arena, &segment->head, segment->memory, SHARED_BYTES, nullptr), 0);
        lpm_rebuild rebuild;
        ASSERT_EQ(lpm_rebuild_begin(&rebuild, &arena), 0);
        for (lpm_trie &trie : segment->tries) ASSERT_EQ(lpm_rebuild_mark(&rebuild, &trie), 0);
        lpm_rebuild_end(&rebuild);
        uint64_t live = 0;
        for (unsigned t = 0; t < TRIES; t++) {
            live += lpm_trie_bytes(segment->memory, &segment->tries[t]);
            ASSERT_EQ(segment->tries[t].route_count, model.tries[t].routes.size());
        }
        ASSERT_EQ(lpm_arena_used_bytes(&arena), live) << "what the dead writer left behind is free again";
    }
};

/* The writer runs one machine instruction at a time; between any two of them it might be killed. */
TEST_F(shared_trie, is_whole_after_every_single_instruction_of_the_writer) {
    const std::vector<change> changes = make_changes(test_seed(), 160);
    const size_t first = changes.size() - 40;
    for (size_t i = 0; i < first; i++) {
        write(changes[i]);
        model.apply(changes[i]);
    }
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(3);
        (void)raise(SIGSTOP);
        for (size_t i = first; i < changes.size(); i++) {
            write(changes[i]);
            segment->done.fetch_add(1);
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    if (!WIFSTOPPED(status)) GTEST_SKIP() << "this system lets nobody step a process";
    uint64_t steps = 0;
    size_t known = 0;
    bool good = true;
    while (ptrace(PTRACE_SINGLESTEP, writer, nullptr, nullptr) == 0 &&
           waitpid(writer, &status, 0) == writer && WIFSTOPPED(status)) {
        for (; known < segment->done.load(); known++) model.apply(changes[first + known]);
        if (known < 40 && good && !holds_before_or_after(changes[first + known])) {
            good = false;
            ADD_FAILURE() << "change " << known << " at instruction " << steps;
        }
        steps++;
    }
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    for (; known < 40; known++) model.apply(changes[first + known]);
    EXPECT_TRUE(walk_equals_model());
    EXPECT_GT(steps, 40u * 100u);
}

/* Real kills at random times; each new writer recovers what the last one left and goes on. */
TEST_F(shared_trie, survives_kills_and_goes_on_from_what_is_there) {
    const unsigned seed = test_seed();
    std::mt19937 random(seed);
    const std::vector<change> changes = make_changes(seed, 60000);
    size_t done = 0;
    for (unsigned round = 0; round < 40 && done < changes.size(); round++) {
        segment->done.store(static_cast<uint32_t>(done));
        const pid_t writer = fork();
        ASSERT_GE(writer, 0);
        if (writer == 0) {
            for (size_t i = done; i < changes.size(); i++) {
                write(changes[i]);
                segment->done.fetch_add(1);
            }
            pause();
        }
        while (segment->done.load() == done) usleep(50); /* a busy machine may start it late */
        usleep(static_cast<useconds_t>(random() % 2000));
        ASSERT_EQ(kill(writer, SIGKILL), 0);
        ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
        for (; done < segment->done.load(); done++) model.apply(changes[done]);
        if (done < changes.size() && !walk_equals_model()) model.apply(changes[done++]);
        { ASSERT_TRUE(walk_equals_model()) << "round " << round << " change " << done; }
        ASSERT_NO_FATAL_FAILURE(recover()) << "round " << round;
    }
    EXPECT_GT(done, 100u);
}

/* Recovery of damaged memory says so or finds it sound; it never reads past the arena or runs for ever. */
TEST(shared_trie_damage, is_refused_and_never_followed) {
    std::mt19937 random(test_seed());
    const size_t bytes = 256 * 1024;
    std::vector<uint64_t> memory(bytes / 8);
    lpm_arena_head head{};
    lpm_arena arena{};
    ASSERT_EQ(lpm_arena_init(&arena, &head, memory.data(), bytes, nullptr), 0);
    lpm_trie trie{};
    prefix_source source{std::mt19937(random()), 128};
    for (unsigned i = 0; i < 400; i++) {
        const model_prefix prefix = source.prefix();
        ASSERT_EQ(lpm_add(&arena, &trie, prefix.key(), prefix.bits, i + 1, true, nullptr), 0);
    }
    unsigned refused = 0;
    for (unsigned round = 0; round < 3000; round++) {
        std::vector<uint64_t> copy = memory;
        lpm_arena_head copy_head = head;
        lpm_trie damaged = trie;
        for (unsigned n = 0; n <= round % 3; n++) copy[random() % head.bump] ^= uint64_t{1} << random() % 64;
        if (round % 5 == 0) damaged.root = static_cast<uint32_t>(random());
        lpm_arena other{};
        ASSERT_EQ(lpm_arena_attach(&other, &copy_head, copy.data(), bytes, nullptr), 0);
        lpm_rebuild rebuild;
        ASSERT_EQ(lpm_rebuild_begin(&rebuild, &other), 0);
        if (lpm_rebuild_mark(&rebuild, &damaged) != 0) refused++;
        lpm_rebuild_cancel(&rebuild);
    }
    EXPECT_GT(refused, 500u);
}

/* --- readers beside the writer --- */

struct grace_queue {
    lpm_arena *arena;
    const std::atomic<uint64_t> *reader_turns;
    struct held {
        uint32_t block, units;
        uint64_t since;
    };
    std::deque<held> blocks;
    uint64_t freed = 0;

    static void retire(void *ctx, uint32_t block, uint32_t units) {
        auto *queue = static_cast<grace_queue *>(ctx);
        queue->blocks.push_back({block, units, queue->reader_turns->load()});
    }
    /* A block is free when the reader has begun a turn after it was retired. */
    void collect() {
        while (!blocks.empty() && reader_turns->load() > blocks.front().since + 1) {
            std::memset(arena->base + uint64_t{blocks.front().block} * 8, 0xee, blocks.front().units * 8);
            lpm_arena_free(arena, blocks.front().block, blocks.front().units);
            blocks.pop_front();
            freed++;
        }
    }
};

TEST_F(shared_trie, readers_see_standing_routes_through_all_changes_around_them) {
    prefix_source source{std::mt19937(test_seed()), 32};
    std::atomic<uint64_t> turns{0}, wrong{0};
    std::atomic<bool> stop{false};
    grace_queue queue{&arena, &turns, {}, 0};
    const lpm_arena_hooks hooks{nullptr, grace_queue::retire, &queue};
    ASSERT_EQ(lpm_arena_init(&arena, &segment->head, segment->memory, SHARED_BYTES, &hooks), 0);
    lpm_trie *trie = &segment->tries[0];
    std::vector<uint32_t> standing;
    while (standing.size() < 500) { /* host routes, so that longest match finds exactly them */
        const auto address = source.address();
        const lpm_key key = lpm_key_load(address.data(), 32);
        if (lpm_add(&arena, trie, key, 32, static_cast<uint32_t>(key.hi >> 32) | 1, false, nullptr) == 0)
            standing.push_back(static_cast<uint32_t>(key.hi >> 32));
    }
    std::thread reader([&] {
        while (!stop.load()) {
            for (const uint32_t address : standing)
                if (lpm_match_v4(arena.base, trie, address) != (address | 1)) wrong++;
            turns++;
        }
    });
    for (unsigned i = 0; i < 60000; i++) {
        const model_prefix prefix = source.prefix();
        if (prefix.bits == 32) continue;
        if (source.below(2) == 0)
            (void)lpm_add(&arena, trie, prefix.key(), prefix.bits, source.value(), true, nullptr);
        else
            (void)lpm_delete(&arena, trie, prefix.key(), prefix.bits, nullptr);
        queue.collect();
        while (queue.blocks.size() > 2000) {
            std::this_thread::yield();
            queue.collect();
        }
    }
    stop = true;
    reader.join();
    EXPECT_EQ(wrong.load(), 0u);
    EXPECT_GT(queue.freed, 1000u);
}
