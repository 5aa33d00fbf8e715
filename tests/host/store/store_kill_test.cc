/* A process that ends in the middle of a batch: the next one finds all of it or nothing. */
#include "tests/host/child.h"
#include "tests/host/store/store_rig.h"

#include <csignal>
#include <cstring>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

static struct {
    uint32_t steps_left; /* until the process kills itself; 0 = never */
    bool *sealed;        /* shared with the parent */
} kill_plan;

static void kill_hook(store_step step, uint32_t) {
    if (step == STORE_STEP_SEALED) *kill_plan.sealed = true;
    if (kill_plan.steps_left != 0 && --kill_plan.steps_left == 0) raise(SIGKILL);
}

class store_kill : public store_rig {
protected:
    std::vector<store_records> before, after;
    bool *sealed = nullptr;

    void SetUp() override {
        store_rig::SetUp();
        void *shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        sealed = static_cast<bool *>(shared);
    }
    void TearDown() override {
        store_rig::TearDown();
        munmap(sealed, 4096);
    }
    /* Two databases with records of several classes. */
    void fill() {
        pss2_service *a = open(41, "prefix_vdc_1");
        pss2_service *b = open(44, "v4adj_vdc_1");
        for (uint32_t i = 0; i < 20; i++) {
            ASSERT_EQ(put(a, u32_key(i), std::string(21, 'a')), 0);
            ASSERT_EQ(put(b, u32_key(i), std::string(i * 50, 'b')), 0);
        }
        before = {all(a), all(b)};
    }
    /* Rewrites in place, moves between classes, deletes, comes back, comes new, needs new pages and a run. */
    int change() {
        pss2_service *a = open(41, "prefix_vdc_1");
        pss2_service *b = open(44, "v4adj_vdc_1");
        after = {all(a), all(b)};
        store_batch batch(queue());
        const auto put_both = [&](const std::string &key, const std::string &value) {
            EXPECT_EQ(batch.add(a, PSS2_OP_STORE, key, value), 0);
            EXPECT_EQ(batch.add(b, PSS2_OP_STORE, key, value), 0);
            after[0][key] = after[1][key] = value;
        };
        const auto drop_both = [&](const std::string &key) {
            EXPECT_EQ(batch.add(a, PSS2_OP_DELETE, key), 0);
            EXPECT_EQ(batch.add(b, PSS2_OP_DELETE, key), 0);
            after[0].erase(key);
            after[1].erase(key);
        };
        put_both(u32_key(1), std::string(21, 'c'));
        put_both(u32_key(2), std::string(700, 'd'));
        drop_both(u32_key(3));
        drop_both(u32_key(4));
        put_both(u32_key(4), std::string(30, 'e'));
        put_both(u32_key(1000), std::string(1848, 'f'));
        put_both(u32_key(1001), std::string(9000, 'g'));
        drop_both(u32_key(1001));
        put_both(u32_key(1002), std::string(8000, 'h'));
        return pss2_ops_exec(batch.ops);
    }
    template <typename Work> int die_at(uint32_t steps, Work work) {
        const int status = in_child([&] {
            kill_plan = {steps, sealed};
            store_step_hook_set(kill_hook);
            work();
            if (HasFailure()) _exit(1);
        });
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
        return status;
    }
    /* A slot that was half written is no damage. */
    void expect_no_damage(uint32_t steps) {
        for (const char *word : {"refused", "damaged", "repaired", "lost", "aside"})
            EXPECT_EQ(log.find(word), std::string::npos) << "step " << steps << ": " << log;
    }
    void expect_state(const std::vector<store_records> &wanted, uint32_t steps) {
        EXPECT_EQ(all(open(41, "prefix_vdc_1")), wanted[0]) << "killed at step " << steps;
        EXPECT_EQ(all(open(44, "v4adj_vdc_1")), wanted[1]) << "killed at step " << steps;
        expect_no_damage(steps);
    }
    void fresh() {
        store_reset();
        std::filesystem::remove_all(folder());
        start();
        fill();
        store_reset();
        host_root_set(root.c_str());
        *sealed = false;
    }
    void learn_after() {
        fresh();
        start();
        ASSERT_EQ(change(), 0);
    }
};

TEST_F(store_kill, at_every_step_of_a_batch_gives_all_or_nothing) {
    learn_after();
    uint32_t steps = 1;
    for (bool whole = false; !whole; steps++) {
        fresh();
        whole = WIFEXITED(die_at(steps, [&] { EXPECT_EQ(change(), 0); }));
        ASSERT_LT(steps, 1000u);
        start();
        EXPECT_TRUE(store_usable_state());
        expect_state(*sealed ? after : before, steps);
        if (HasFailure()) return;
    }
    EXPECT_GT(steps, 60u);
}

TEST_F(store_kill, again_during_the_recovery_still_gives_the_whole_batch) {
    learn_after();
    for (uint32_t first = 30; first < 90; first += 7) {
        for (uint32_t second = 1;; second++) {
            fresh();
            die_at(first, [&] { EXPECT_EQ(change(), 0); });
            const int status = die_at(second, [&] { EXPECT_TRUE(store_usable_state()); });
            start();
            expect_state(*sealed ? after : before, first * 1000 + second);
            if (HasFailure()) return;
            if (WIFEXITED(status)) break;
        }
    }
}

/* Batches that give all records of two databases the same number, killed from outside at any instruction. */
static void count_for_ever(pss2_service *a, pss2_service *b, char *area, volatile uint32_t *done) {
    for (uint32_t n = 1;; n++) {
        int status = 0;
        store_batch batch(pss2_ops_init(area, 40960, &status));
        std::string value = u32_key(n) + std::string(n * 37 % 300, 'x');
        for (uint32_t key = 0; key < 60; key++) {
            static_cast<void>(batch.add(key % 2 == 0 ? a : b, PSS2_OP_STORE, u32_key(key), value));
            static_cast<void>(
                batch.add(a, n % 2 == 0 ? PSS2_OP_STORE : PSS2_OP_DELETE, u32_key(key + 100), value));
        }
        if (pss2_ops_exec(batch.ops) != 0) _exit(1);
        *done = n;
    }
}

TEST_F(store_kill, at_any_instruction_gives_the_last_batch_or_the_one_before) {
    auto *done = reinterpret_cast<volatile uint32_t *>(sealed);
    uint32_t inside = 0;
    for (int round = 0; round < 60; round++) {
        *done = 0;
        const pid_t child = fork();
        if (child == 0) {
            pss2_service *a = open(41, "prefix_vdc_1");
            pss2_service *b = open(44, "v4adj_vdc_1");
            count_for_ever(a, b, area, done);
        }
        while (*done == 0) usleep(100);
        usleep(static_cast<useconds_t>(round * 131 % 3000));
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        start();
        const store_records a = all(open(41, "prefix_vdc_1"));
        const store_records b = all(open(44, "v4adj_vdc_1"));
        inside += store_replayed_operations() != 0;
        const uint32_t acknowledged = *done;
        uint32_t n = 0;
        std::memcpy(&n, a.at(u32_key(0)).data(), 4);
        EXPECT_TRUE(n == acknowledged || n == acknowledged + 1) << n << " " << acknowledged;
        const std::string value = a.at(u32_key(0));
        EXPECT_EQ(a.size(), n % 2 == 0 ? 90u : 30u);
        for (const auto &records : {a, b})
            for (const auto &[key, stored] : records) ASSERT_EQ(stored, value);
        expect_no_damage(n);
        store_reset();
        host_root_set(root.c_str());
    }
    EXPECT_GT(inside, 0u) << "no round has met a batch under way";
}
