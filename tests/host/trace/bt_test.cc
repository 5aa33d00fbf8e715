/* Binary histories against a plain model: two instances in one order queue, each with few entries and short rings, so
 * that rings turn and entries make room all the time. */
#include "host/trace/bt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <random>
#include <string>
#include <vector>

constexpr uint32_t ENTRIES = 6, RECORDS = 3, KEY = 9, REC = 5;

static bool no_memory;
static void *take(size_t bytes) { return no_memory ? nullptr : std::malloc(bytes); }

static std::string key_of(unsigned n) { return "key-0000" + std::string(1, static_cast<char>('a' + n)); }
static std::string text_of(const void *bytes, size_t len) {
    return bytes == nullptr ? "" : std::string(static_cast<const char *>(bytes), len);
}

/* What an instance should hold: per key its records, recency and whether it is sticky. */
struct model_entry {
    std::list<std::string> records;
    unsigned used = 0;
    bool sticky = false;
};
struct model {
    std::map<std::string, model_entry> entries;
    std::vector<std::string> filters;
    bool enabled = true;
};
struct ordered {
    unsigned row;
    std::string key, rec;
    bool operator==(const ordered &) const = default;
};

struct bt_test : testing::Test {
    void SetUp() override {
        ASSERT_EQ(bt_init_rec_order_queue(&queue, 14), 0);
        for (unsigned row = 0; row < 2; row++) {
            ASSERT_EQ(bt_init(&desc[row], KEY, REC, ENTRIES, RECORDS, take, std::free), 0);
            ASSERT_EQ(bt_set_rec_order(&desc[row], &queue, 12 + row), 0);
        }
        ASSERT_EQ(bt_set_rec_order(&desc[0], &queue, 13), -1) << "it has an instance";
        ASSERT_EQ(bt_set_rec_order(&desc[0], &queue, 14), -1) << "no such row";
    }
    void TearDown() override {
        for (bt_desc &d : desc) bt_reset(&d);
    }

    void forget(unsigned row, const std::string &key) {
        wanted[row].entries.erase(key);
        std::erase_if(order, [&](const ordered &o) { return o.row == row && o.key == key; });
    }
    /* The entry of a key in the model, made at the cost of another when there is no room; null: all are sticky. */
    model_entry *entry(unsigned row, const std::string &key) {
        auto &entries = wanted[row].entries;
        if (entries.count(key) == 0 && entries.size() == ENTRIES) {
            auto worst = entries.end();
            for (auto it = entries.begin(); it != entries.end(); ++it)
                if (!it->second.sticky && (worst == entries.end() || it->second.used < worst->second.used))
                    worst = it;
            if (worst == entries.end()) return nullptr;
            forget(row, std::string(worst->first));
        }
        if (entries.count(key) == 0) entries[key].used = ++clock;
        return &entries[key];
    }
    void add(unsigned row, const std::string &key) {
        char rec[REC + 1];
        std::snprintf(rec, sizeof rec, "%05u", ++clock % 100000);
        model &m = wanted[row];
        int result = 0;
        const bool passes = m.filters.empty() || std::count(m.filters.begin(), m.filters.end(), key) != 0;
        if (m.enabled && passes) {
            model_entry *e = entry(row, key);
            result = e == nullptr ? -1 : 0;
            if (e != nullptr) {
                e->used = ++clock;
                e->records.push_back(rec);
                order.push_back({row, key, rec});
                if (e->records.size() > RECORDS) {
                    std::erase(order, ordered{row, key, e->records.front()});
                    e->records.pop_front();
                }
            }
        }
        ASSERT_EQ(bt_add_rec(&desc[row], key.data(), rec), result);
    }
    void sticky(unsigned row, const std::string &key, bool on) {
        auto &entries = wanted[row].entries;
        if (on) {
            model_entry *e = entry(row, key);
            if (e != nullptr) e->sticky = true;
            ASSERT_EQ(bt_sticky_add(&desc[row], key.data()), e == nullptr ? -1 : 0);
            return;
        }
        const auto it = entries.find(key);
        const bool is = it != entries.end() && it->second.sticky;
        ASSERT_EQ(bt_sticky_delete(&desc[row], key.data()), is ? 0 : -1);
        if (!is) return;
        it->second.sticky = false;
        it->second.used = ++clock;
        if (it->second.records.empty()) forget(row, key);
    }
    void filter(unsigned row, const std::string &key, bool on) {
        auto &f = wanted[row].filters;
        const bool is = std::count(f.begin(), f.end(), key) != 0;
        ASSERT_EQ((on ? bt_filter_add : bt_filter_delete)(&desc[row], key.data()), on || is ? 0 : -1);
        if (on && !is) f.push_back(key);
        if (!on) std::erase(f, key);
    }
    void step(unsigned dice, unsigned row, const std::string &key) {
        if (dice < 85)
            add(row, key);
        else if (dice < 91)
            sticky(row, key, dice < 88);
        else if (dice < 97)
            filter(row, key, dice < 93);
        else if (dice < 99)
            bt_enable(&desc[row], wanted[row].enabled = !wanted[row].enabled);
        else {
            ASSERT_EQ(bt_delete_all_entries(&desc[row]), static_cast<int>(wanted[row].entries.size()));
            wanted[row].entries.clear();
            std::erase_if(order, [&](const ordered &o) { return o.row == row; });
        }
    }
    void compare(unsigned row) {
        bt_pos pos = {}, inner = {};
        std::map<std::string, std::list<std::string>> seen;
        std::vector<std::string> stickies, filters;
        for (auto *e = bt_get_first_entry(&desc[row], &pos); e != nullptr;
             e = bt_get_next_entry(&desc[row], &pos)) {
            const std::string key = text_of(bt_entry_key(e), KEY);
            ASSERT_TRUE(seen.empty() || key > seen.rbegin()->first) << "in the order of keys";
            for (auto *r = bt_get_first_record(&desc[row], e, &inner); r != nullptr;
                 r = bt_get_next_record(&desc[row], e, &inner))
                seen[key].push_back(text_of(r, REC));
            (void)seen[key];
        }
        const model &m = wanted[row];
        ASSERT_EQ(seen.size(), m.entries.size());
        ASSERT_EQ(bt_get_num_entries(&desc[row]), m.entries.size());
        for (const auto &[key, e] : m.entries) ASSERT_EQ(seen[key], e.records);
        for (auto *k = bt_get_first_sticky(&desc[row], &pos); k != nullptr;
             k = bt_get_next_sticky(&desc[row], &pos))
            stickies.push_back(text_of(k, KEY));
        ASSERT_EQ(static_cast<long>(stickies.size()),
                  std::count_if(m.entries.begin(), m.entries.end(), [](auto &e) { return e.second.sticky; }));
        for (auto *k = bt_get_first_filter(&desc[row], &pos); k != nullptr;
             k = bt_get_next_filter(&desc[row], &pos))
            filters.push_back(text_of(k, KEY));
        ASSERT_EQ(filters, m.filters);
    }
    std::vector<ordered> queued() {
        std::vector<ordered> out;
        bt_pos pos = {};
        bt_ordered_rec rec;
        for (bool more = bt_get_first_rec_queue(&queue, &pos, &rec); more;
             more = bt_get_next_rec_queue(&queue, &pos, &rec))
            out.push_back({rec.desc == &desc[1] ? 1u : 0u, text_of(bt_entry_key(rec.entry), KEY),
                           text_of(rec.rec, REC)});
        return out;
    }

    bt_order_q queue;
    bt_desc desc[2];
    model wanted[2];
    std::vector<ordered> order;
    unsigned clock = 0;
};

TEST_F(bt_test, a_random_life_is_that_of_the_model) {
    std::minstd_rand random(7);
    const auto dice = [&](unsigned sides) { return static_cast<unsigned>(random() % sides); };
    bt_pos held = {};
    std::string
        last; /* record at which a walk was left some time ago: it goes on with the first younger one */
    for (unsigned i = 0; i < 20000; i++) {
        ASSERT_NO_FATAL_FAILURE(step(dice(100), dice(2), key_of(dice(11)))) << i;
        if (i % 7 != 0) continue;
        ASSERT_NO_FATAL_FAILURE(compare(i % 2)) << i;
        ASSERT_EQ(queued(), order) << i;
        const auto next = std::find_if(order.begin(), order.end(), [&](auto &o) { return o.rec > last; });
        bt_ordered_rec rec;
        const bool more = last.empty() ? bt_get_first_rec_queue(&queue, &held, &rec)
                                       : bt_get_next_rec_queue(&queue, &held, &rec);
        ASSERT_EQ(more, next != order.end()) << i;
        last = more ? next->rec : "";
        if (more) {
            ASSERT_EQ(text_of(rec.rec, REC), last) << i;
        }
    }
}

TEST_F(bt_test, refuses_what_cannot_be_kept_and_changes_nothing) {
    no_memory = true;
    EXPECT_EQ(bt_add_rec(&desc[0], key_of(0).data(), "12345"), -1);
    EXPECT_EQ(bt_filter_add(&desc[0], key_of(0).data()), -1);
    no_memory = false;
    EXPECT_EQ(bt_get_num_entries(&desc[0]), 0u);
    EXPECT_EQ(bt_add_rec(&desc[0], key_of(0).data(), "12345"), 0);
    EXPECT_EQ(bt_set_rec_order(&desc[0], &queue, 1), -1) << "it has records";
    for (unsigned i = 0; i < BT_FILTERS_MAX; i++) EXPECT_EQ(bt_filter_add(&desc[0], key_of(i).data()), 0);
    EXPECT_EQ(bt_filter_add(&desc[0], key_of(20).data()), -1);
    bt_desc bad;
    EXPECT_EQ(bt_init(&bad, 0, 1, 1, 1, take, std::free), -1);
    EXPECT_EQ(bt_init(&bad, BT_KEY_MAX + 1, 1, 1, 1, take, std::free), -1);
    EXPECT_EQ(bt_init(&bad, 1, 1, 1, 256, take, std::free), -1);
    EXPECT_EQ(bt_init(&bad, 1, 1, BT_ENTRIES_MAX + 1, 2, take, std::free), -1);
}

/* What comes back from a client may name anything. */
TEST_F(bt_test, a_damaged_place_ends_a_walk_at_most) {
    for (unsigned i = 0; i < 20; i++) add(i % 2, key_of(i % 5));
    std::minstd_rand random(3);
    for (unsigned i = 0; i < 3000; i++) {
        bt_pos pos;
        auto *bytes = reinterpret_cast<uint8_t *>(&pos);
        for (size_t at = 0; at < sizeof pos; at++) bytes[at] = static_cast<uint8_t>(random());
        if (i % 2 == 0) pos.row = 12 + i / 2 % 2;
        if (i % 4 < 2) pos.key_len = KEY;
        if (i % 3 == 0) pos.sequence = random() % 25;
        bt_ordered_rec rec;
        (void)bt_get_next_rec_queue(&queue, &pos, &rec);
        (void)bt_get_next_entry(&desc[0], &pos);
    }
}
