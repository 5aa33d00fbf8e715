/* The store against std::map, on random work. */
#include "tests/host/store/store_rig.h"

#include <random>

struct model_run {
    std::mt19937 random;
    std::vector<pss2_service *> services;
    std::vector<store_records> models;
};

static uint32_t draw(model_run *run, uint32_t below) { return static_cast<uint32_t>(run->random() % below); }

static std::string random_key(model_run *run) {
    const uint32_t n = draw(run, 3000);
    /* Keys that are beginnings of others, and of several lengths. */
    if (n < 40) return std::string(n % 8 + 1, 'a');
    if (n < 100) return std::string(64, static_cast<char>(n));
    return u32_key(n * 0x01000193u);
}

static std::string random_value(model_run *run) {
    static const uint32_t lengths[] = {0,   1,   9,   21,   21,   21,   21,   22,   24,
                                       100, 120, 500, 1292, 1848, 4064, 4080, 9000, 40000};
    const uint32_t sixteenth = draw(run, 16);
    const uint32_t len = lengths[sixteenth < 12 ? sixteenth : draw(run, 18)];
    return std::string(len, static_cast<char>(run->random()));
}

class store_model : public store_rig, public ::testing::WithParamInterface<uint32_t> {
protected:
    model_run run;

    void reopen() {
        start();
        run.services.clear();
        for (int i = 0; i < 3; i++)
            run.services.push_back(open(40 + i, "kind" + std::to_string(i) + "_vdc_1"));
    }
    void batch() {
        store_batch b(queue());
        std::vector<store_records> wanted = run.models;
        const uint32_t count = 1 + draw(&run, 300);
        for (uint32_t i = 0; i < count; i++) {
            const uint32_t at = draw(&run, 3);
            const std::string key = random_key(&run), value = random_value(&run);
            const bool stores = draw(&run, 5) < 3;
            ASSERT_EQ(b.add(run.services[at], stores ? PSS2_OP_STORE : PSS2_OP_DELETE, key, value), 0);
            if (stores)
                wanted[at][key] = value;
            else
                wanted[at].erase(key);
        }
        ASSERT_EQ(pss2_ops_exec(b.ops), 0);
        run.models = wanted;
    }
    void one() {
        const uint32_t at = draw(&run, 3);
        const std::string key = random_key(&run), value = random_value(&run);
        if (draw(&run, 3) == 0) {
            EXPECT_EQ(drop(run.services[at], key), run.models[at].erase(key) != 0 ? 0 : STORE_ABSENT);
        } else {
            EXPECT_EQ(put(run.services[at], key, value), 0);
            run.models[at][key] = value;
        }
    }
    /* Some steps of a walk: the next key is always the model's upper bound of the last. */
    void walk_on() {
        const uint32_t at = draw(&run, 3);
        std::string last = cursor_key(run.services[at]);
        bool first = draw(&run, 10) == 0 || last == "(none)";
        for (uint32_t i = 0; i < 20; i++, first = false) {
            const int code = pss2_move2location(run.services[at], 1, first ? PSS2_FIRST : PSS2_NEXT);
            const auto wanted = first ? run.models[at].begin() : run.models[at].upper_bound(last);
            ASSERT_EQ(code, wanted == run.models[at].end() ? STORE_ABSENT : 0);
            if (code != 0) return;
            last = cursor_key(run.services[at]);
            ASSERT_EQ(last, wanted->first);
            pss2_datum value{};
            ASSERT_EQ(pss2_getvalue(run.services[at], &value), 0);
            ASSERT_EQ(text(value), wanted->second);
        }
    }
    void compare() {
        for (uint32_t i = 0; i < 3; i++) {
            ASSERT_EQ(all(run.services[i]), run.models[i]);
            store_file_info info;
            ASSERT_EQ(file_records(file("kind" + std::to_string(i) + "_vdc_1"), &info), run.models[i]);
            ASSERT_EQ(info.refused, 0u);
            for (const auto &[key, value] : run.models[i]) ASSERT_EQ(get(run.services[i], key), value);
        }
    }
};

TEST_P(store_model, agrees_with_a_map_through_batches_walks_and_restarts) {
    run.random.seed(GetParam());
    run.models.resize(3);
    reopen();
    for (int step = 0; step < 400 && !HasFatalFailure(); step++) {
        const uint32_t what = draw(&run, 20);
        if (what < 8)
            batch();
        else if (what < 14)
            one();
        else if (what < 19)
            walk_on();
        else
            reopen();
        if (step % 50 == 49) compare();
    }
    reopen();
    compare();
    EXPECT_EQ(log, "");
}

INSTANTIATE_TEST_SUITE_P(seeds, store_model, ::testing::Values(1, 2, 3, 20240611));

TEST_F(store_rig, a_table_of_routes_costs_under_56_bytes_a_record) {
    pss2_service *service = open(41, "prefix_vdc_1");
    constexpr uint32_t records = 730000;
    const std::string value(21, 'v');
    for (uint32_t done = 0; done < records;) {
        store_batch b(queue());
        for (uint32_t i = 0; i < 5000; i++)
            ASSERT_EQ(b.add(service, PSS2_OP_STORE, u32_key(++done), value), 0);
        ASSERT_EQ(pss2_ops_exec(b.ops), 0);
        store_memory memory;
        ASSERT_EQ(store_memory_get(41, &memory), 0);
        if (done >= 100000) {
            ASSERT_LT(memory.file_bytes + memory.private_bytes, uint64_t{done} * 56);
        }
    }
    /* A whole walk over it, with half of it deleted on the way, stays in order and sees each that is left. */
    uint32_t seen = 0;
    for (int code = pss2_move2location(service, 1, PSS2_FIRST); code == 0;
         code = pss2_move2location(service, 1, PSS2_NEXT), seen++)
        if (seen % 64 == 0) {
            ASSERT_EQ(drop(service, cursor_key(service)), 0);
        }
    EXPECT_EQ(seen, records);
    store_memory memory;
    ASSERT_EQ(store_memory_get(41, &memory), 0);
    EXPECT_LT(memory.private_bytes, uint64_t{records} * 10);
}
