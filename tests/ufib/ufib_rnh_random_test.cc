/* Random graphs of recursive routes on the software engine, changed at random while walks are running, beside a
 * reference that resolves each route anew by itself. After each step every look-up leads to paths of the present
 * answer and never to nothing; at rest it is the answer itself. LCFWD_RNH_STEPS and LCFWD_RNH_SEED set other runs. */
#include "tests/ufib/vobj_rig.h"

#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_reader.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

constexpr unsigned RNHS = 10, DESTS = 30, PATHS = 80, DROP = 9999;
constexpr uint32_t SLOT = 9;

struct ref_row {
    unsigned number; /* of the RNH, or of the path of a plain hop */
    bool plain, backup;
};
using paths = std::vector<unsigned>;

struct rnh_random_test : vobj_test, testing::WithParamInterface<const family *> {
    rnh_random_test() : vobj_test(softfwd_library()) {
        now = GetParam();
        softfwd_config_get()->slot = SLOT;
        softfwd_config_get()->check_integrity = true;
        rig.options.slot = SLOT;
    }
    ~rnh_random_test() override {
        softfwd_reader_detach(reader);
        softfwd_fault_clear();
        softfwd_config_reset();
    }

    std::mt19937 random;
    softfwd_reader *reader = nullptr;
    std::map<unsigned, paths> rnhs; /* the reference: living RNHs, and routes */
    std::map<unsigned, std::vector<ref_row>> dests;
    bool refusals = false; /* groups may have a wrong size until their next change */

    unsigned pick(unsigned below) { return static_cast<unsigned>(random() % below); }

    /* ---- the reference ---- */

    paths resolve(const std::vector<ref_row> &rows) const {
        paths found[2];
        for (const ref_row &row : rows) {
            const auto alive = rnhs.find(row.number);
            if (row.plain)
                found[row.backup].push_back(row.number);
            else if (alive != rnhs.end())
                found[row.backup].insert(found[row.backup].end(), alive->second.begin(), alive->second.end());
        }
        paths out = found[0].empty() ? found[1] : found[0];
        std::stable_sort(out.begin(), out.end());
        if (out.size() > 64) out.resize(64);
        return out.empty() ? paths{DROP} : out;
    }

    /* ---- the engine ---- */

    unsigned path_number(uint32_t adj_handle) {
        softfwd_adj_info adj;
        if (softfwd_reader_adj_get(reader, adj_handle, &adj) != 0) return 8888; /* a path that is no more */
        if (adj.action == SOFTFWD_DROP && (adj.flags & SOFTFWD_ADJ_GLOBAL) != 0) return DROP;
        for (unsigned n = 0; n < PATHS; n++) {
            const bytes address = address_bytes(path(n));
            if (std::equal(address.begin(), address.end(), adj.next_hop)) return n;
        }
        return 7777;
    }
    paths engine_paths(unsigned n) {
        if (reader == nullptr && softfwd_reader_attach(SLOT, false, &reader) != 0) return {};
        const bytes address = address_bytes(dest(n).substr(0, dest(n).find('/')));
        softfwd_result result;
        softfwd_group_info group;
        paths out;
        if (softfwd_lookup(reader, v4() ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6, 1, f().table, address.data(),
                           &result) != 0 ||
            result.hop.action == SOFTFWD_NO_ROUTE ||
            softfwd_reader_group_get(reader, result.next_handle, &group) != 0)
            return out;
        for (unsigned i = 0; i < group.count; i++) out.push_back(path_number(group.members[i].adj_handle));
        return out;
    }
    std::string text(const paths &list) const {
        std::string out;
        for (const unsigned n : list) out += std::to_string(n) + " ";
        return out;
    }
    void check(bool at_rest) {
        for (const auto &[n, rows] : dests) {
            const paths want = resolve(rows), got = engine_paths(n);
            if (at_rest) {
                ASSERT_EQ(text(got), text(want)) << dest(n);
                continue;
            }
            ASSERT_FALSE(got.empty()) << dest(n) << " leads to nothing";
            for (const unsigned p : got)
                ASSERT_TRUE(std::count(want.begin(), want.end(), p) != 0)
                    << dest(n) << " has " << text(got) << "of " << text(want);
        }
        ASSERT_EQ(model_findings(rig, {.records = at_rest, .values = at_rest || !refusals}), "");
        char violation[200];
        ASSERT_EQ(softfwd_integrity_check(violation, sizeof violation), 0u) << violation;
        softfwd_counters counters;
        softfwd_counters_get(&counters);
        ASSERT_EQ(counters.violations, 0u) << "at a bracket";
    }

    /* ---- steps ---- */

    uint32_t table_of(unsigned n) const { return n < RNHS / 2 ? f().table : f().table + 7; }
    wire_route rnh_route(unsigned n, const paths &list) const {
        wire_route route = over(n, list);
        route.table_id = table_of(n);
        return route;
    }
    void rnh_set() {
        paths list;
        const unsigned count = pick(8) == 0 ? 1 + pick(64) : 1 + pick(4);
        while (list.size() < count)
            if (const unsigned p = pick(PATHS); std::count(list.begin(), list.end(), p) == 0)
                list.push_back(p);
        const unsigned n = pick(RNHS);
        ASSERT_TRUE(load1(rnh_route(n, list)));
        rnhs[n] = list;
    }
    void rnh_delete() {
        if (rnhs.empty()) return;
        const auto victim = std::next(rnhs.begin(), pick(static_cast<unsigned>(rnhs.size())));
        wire_route route = no_rnh(victim->first);
        route.table_id = table_of(victim->first);
        ASSERT_TRUE(load1(route));
        rnhs.erase(victim);
    }
    void dest_set() {
        std::vector<ref_row> rows;
        wire_route route = recursive(pick(DESTS), {});
        const unsigned count = pick(20) == 0 ? 20 : 1 + pick(3);
        for (unsigned i = 0; i < count; i++) {
            ref_row row = {pick(RNHS), i != 0 && pick(4) == 0, pick(3) == 0};
            if (row.plain) row.number = PATHS - 1 - pick(4);
            const uint8_t backup = row.backup ? BACKUP_HOP : 0;
            wire_hop hop = through(row.number, static_cast<uint8_t>(RECURSIVE_HOP | backup));
            hop.table_id = table_of(row.number);
            if (row.plain)
                hop = {.address = path(row.number), .if_index = ETH1, .flags = backup, .table_id = f().table};
            rows.push_back(row);
            route.hops.push_back(hop);
        }
        const auto n = static_cast<unsigned>(number_of(route.prefix));
        if (load1(route)) dests[n] = rows;
    }
    unsigned number_of(const std::string &prefix) const {
        for (unsigned n = 0; n < DESTS; n++)
            if (dest(n) == prefix) return n;
        return DESTS;
    }
    void dest_remove() {
        if (dests.empty()) return;
        const auto victim = std::next(dests.begin(), pick(static_cast<unsigned>(dests.size())));
        ASSERT_TRUE(load1(remove(f(), dest(victim->first))));
        dests.erase(victim);
    }
    void refuse_next() {
        softfwd_fault_nth(SOFTFWD_OP_INSERT_VOBJ, 1 + pick(2));
        refusals = true;
    }
    void restart() {
        softfwd_reader_detach(reader);
        reader = nullptr;
        softfwd_fault_clear();
        ASSERT_EQ(rig.restart(), 0);
    }
    void step() {
        const unsigned kind = pick(100);
        if (kind < 35)
            rnh_set();
        else if (kind < 43)
            rnh_delete();
        else if (kind < 65)
            dest_set();
        else if (kind < 72)
            dest_remove();
        else if (kind < 78)
            neighbour(
                {.address = path(pick(PATHS)), .if_index = ETH1, .mac = pick(2) == 0 ? "" : "020000000001"});
        else if (kind < 93)
            (void)ufib_dirty_vobjs_do_pfx_backwalk(1 + pick(4));
        else if (kind < 97)
            second();
        else if (kind < 99)
            refuse_next();
        else
            restart();
    }
    void rest() {
        softfwd_fault_clear();
        for (unsigned n = 0; refusals && n < RNHS; n++) {
            if (rnhs.count(n) == 0) continue;
            ASSERT_TRUE(load1(rnh_route(n, rnhs[n])));
        }
        refusals = false;
        settle();
        ASSERT_EQ(ufib_dirty_vobj_list.count + ufib_rnh_update_pending_list.count, 0u);
        check(true);
    }
};

TEST_P(rnh_random_test, look_ups_follow_the_reference) {
    const char *steps = std::getenv("LCFWD_RNH_STEPS"), *seed = std::getenv("LCFWD_RNH_SEED");
    const unsigned long seeds = seed != nullptr ? std::strtoul(seed, nullptr, 0) : 20240u;
    random.seed(static_cast<unsigned>(seeds));
    SCOPED_TRACE("LCFWD_RNH_SEED=" + std::to_string(seeds));
    const unsigned long count = steps != nullptr ? std::strtoul(steps, nullptr, 0) : 600;
    for (unsigned long i = 0; i < count; i++) {
        SCOPED_TRACE("step " + std::to_string(i));
        step();
        if (HasFatalFailure()) return;
        if (i % 25 == 24)
            rest();
        else
            check(false);
        if (HasFatalFailure()) return;
    }
    while (!dests.empty() || !rnhs.empty()) {
        if (pick(2) == 0)
            dest_remove();
        else
            rnh_delete();
        check(false);
        if (HasFatalFailure()) return;
    }
    settle();
    EXPECT_EQ(ufib_vobj_get_first(ufib_vdc_get(1)), nullptr);
    EXPECT_EQ(softfwd_group_count(), 0u);
    EXPECT_EQ(table()->rnh.prefix_count, 0u);
}

INSTANTIATE_TEST_SUITE_P(families, rnh_random_test, both_families, family_name);
