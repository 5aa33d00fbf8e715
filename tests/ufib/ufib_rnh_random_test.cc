/* Random graphs of recursive routes on the software engine, changed at random while walks are running, beside a
 * reference that resolves each route anew by itself. A thread looks up all the while and meets paths of the old or the
 * new answer, never anything else; at rest the engine holds the answer itself. LCFWD_RNH_STEPS and LCFWD_RNH_SEED set
 * other runs. */
#include "tests/ufib/ufib_random_probe.h"
#include "tests/ufib/vobj_rig.h"

#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_reader.h"
#include "ufib/ufib_retry.h"

#include <algorithm>
#include <cstdio>
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

struct rnh_graph { /* living RNHs and routes */
    std::map<unsigned, paths> rnhs;
    std::map<unsigned, std::vector<ref_row>> dests;
    std::set<unsigned> resolved; /* paths with a MAC */
};

struct rnh_random_test : vobj_test, testing::WithParamInterface<const family *> {
    rnh_random_test() : vobj_test(softfwd_library()) {
        now = GetParam();
        softfwd_config_get()->slot = SLOT;
        softfwd_config_get()->check_integrity = true;
        softfwd_config_get()->say = [](const char *) {}; /* a restart tells of what had left already */
        rig.options.slot = SLOT;
    }
    ~rnh_random_test() override {
        softfwd_reader_detach(reader);
        softfwd_fault_clear();
        softfwd_config_reset();
    }

    std::mt19937 random;
    softfwd_reader *reader = nullptr;
    std::unique_ptr<ufib_probe> probe;
    rnh_graph graph;
    std::map<unsigned, paths> &rnhs = graph.rnhs;
    std::map<unsigned, std::vector<ref_row>> &dests = graph.dests;
    bool refusals = false; /* groups may have a wrong size until their next change */
    bool hostile = false;  /* hardware refuses anything: until it listens, old paths and objects stay */

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

    ref_address ref_of(const std::string &text) const {
        ref_address out = {};
        const bytes address = address_bytes(text);
        std::copy(address.begin(), address.end(), out.begin());
        return out;
    }
    ref_result result_of(unsigned path_number) const {
        const unsigned bits = v4() ? 24 : 64;
        if (path_number == DROP) return {ref_action::drop, bits, {}, {}};
        const ref_hop hop = {ETH1, ref_of(path(path_number))};
        if (graph.resolved.count(path_number) == 0) return {ref_action::glean, bits, hop, {}};
        return {ref_action::forward, bits, hop, {2, 0, 0, 0, 0, 1}};
    }
    void results_add(probe_valid *valid) const {
        for (unsigned n = 0; n < DESTS; n++) {
            const auto found = dests.find(n);
            if (found == dests.end()) (*valid)[n].insert(ref_result{});
            for (const unsigned p : found == dests.end() ? paths{} : resolve(found->second))
                (*valid)[n].insert(result_of(p));
        }
    }
    /* The reference goes ahead, so that the probe knows what may come; and back, when the request is refused. */
    template <typename change, typename request> bool go(change work, request send_it) {
        const rnh_graph before = graph;
        auto valid = std::make_shared<probe_valid>(DESTS);
        results_add(valid.get());
        work();
        results_add(valid.get());
        if (probe != nullptr) probe->publish(valid);
        const bool stands = send_it();
        if (!stands) graph = before;
        return stands;
    }
    void probe_start() {
        std::vector<probe_key> keys;
        for (unsigned n = 0; n < DESTS; n++)
            keys.push_back({{1, !v4(), f().table}, ref_of(dest(n).substr(0, dest(n).find('/')))});
        probe = std::make_unique<ufib_probe>(SLOT, keys);
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
        auto valid = std::make_shared<probe_valid>(DESTS);
        results_add(valid.get());
        if (probe != nullptr) probe->publish(valid);
        for (const auto &[n, rows] : dests) {
            const paths want = resolve(rows), got = engine_paths(n);
            if (at_rest) {
                ASSERT_EQ(text(got), text(want)) << dest(n);
                continue;
            }
            ASSERT_FALSE(got.empty()) << dest(n) << " leads to nothing";
            if (hostile) continue;
            for (const unsigned p : got)
                ASSERT_TRUE(std::count(want.begin(), want.end(), p) != 0)
                    << dest(n) << " has " << text(got) << "of " << text(want);
        }
        ASSERT_EQ(
            model_findings(
                rig, {.records = at_rest, .values = at_rest || !refusals, .orphans = hostile && !at_rest}),
            "");
        char violation[200];
        ASSERT_EQ(softfwd_integrity_check(violation, sizeof violation), 0u) << violation;
        softfwd_counters counters;
        softfwd_counters_get(&counters);
        ASSERT_EQ(counters.violations, 0u) << "at a bracket";
    }

    /* ---- steps ---- */

    /* The last ones lie in a table that never gets a route. */
    uint32_t table_of(unsigned n) const { return f().table + (n < RNHS / 2 ? 0 : n < RNHS ? 7 : 8); }
    wire_route rnh_route(unsigned n, const paths &list) const {
        wire_route route = over(n, list);
        route.table_id = table_of(n);
        return route;
    }
    void rnh_set() {
        paths list;
        const unsigned count = pick(8) == 0 ? 1 + pick(70) : 1 + pick(4);
        while (list.size() < count)
            if (const unsigned p = pick(PATHS); std::count(list.begin(), list.end(), p) == 0)
                list.push_back(p);
        const unsigned n = pick(RNHS);
        const bool stands = go([&] { rnhs[n] = list; }, [&] { return load1(rnh_route(n, list)); });
        EXPECT_TRUE(stands == (count <= 64) || (hostile && !stands));
    }
    void rnh_delete() {
        if (rnhs.empty()) return;
        const auto victim = std::next(rnhs.begin(), pick(static_cast<unsigned>(rnhs.size())));
        wire_route route = no_rnh(victim->first);
        route.table_id = table_of(victim->first);
        EXPECT_TRUE(go([&] { rnhs.erase(victim); }, [&] { return load1(route); }));
    }
    wire_route dest_route(unsigned n, const std::vector<ref_row> &rows) const {
        wire_route route = recursive(n, {});
        for (const ref_row &row : rows) {
            const uint8_t backup = row.backup ? BACKUP_HOP : 0;
            wire_hop hop = through(row.number, static_cast<uint8_t>(RECURSIVE_HOP | backup));
            hop.table_id = table_of(row.number);
            if (row.plain)
                hop = {.address = path(row.number), .if_index = ETH1, .flags = backup, .table_id = f().table};
            route.hops.push_back(hop);
        }
        return route;
    }
    void dest_set() {
        std::vector<ref_row> rows;
        const unsigned n = pick(DESTS);
        const unsigned count = pick(20) == 0 ? 20 : 1 + pick(3);
        for (unsigned i = 0; i < count; i++) {
            ref_row row = {pick(RNHS + 1), i != 0 && pick(4) == 0, pick(3) == 0};
            if (row.plain) row.number = PATHS - 1 - pick(4);
            rows.push_back(row);
        }
        wire_route route = dest_route(n, rows);
        const bool wrong_table = pick(15) == 0; /* of the other family */
        if (wrong_table) route.hops.back().table_id = other().table;
        const bool stands = go([&] { dests[n] = rows; }, [&] { return load1(route); });
        EXPECT_FALSE(stands && wrong_table && (route.hops.back().flags & RECURSIVE_HOP) != 0);
    }
    const family &other() const { return v4() ? v6_family : v4_family; }
    void dest_remove() {
        if (dests.empty()) return;
        const auto victim = std::next(dests.begin(), pick(static_cast<unsigned>(dests.size())));
        const wire_route route = remove(f(), dest(victim->first));
        EXPECT_TRUE(go([&] { dests.erase(victim); }, [&] { return load1(route); }));
    }
    void neighbour_change() {
        const unsigned n = pick(PATHS);
        const bool resolve_it = pick(2) != 0;
        (void)go([&] { resolve_it ? (void)graph.resolved.insert(n) : (void)graph.resolved.erase(n); },
                 [&] {
                     neighbour(
                         {.address = path(n), .if_index = ETH1, .mac = resolve_it ? "020000000001" : ""});
                     return true;
                 });
    }
    void refuse_next() {
        static constexpr softfwd_op any[] = {
            SOFTFWD_OP_INSERT_VOBJ, SOFTFWD_OP_UPDATE_VOBJ,  SOFTFWD_OP_DELETE_VOBJ,
            SOFTFWD_OP_INSERT_ADJ,  SOFTFWD_OP_DELETE_ADJ,   SOFTFWD_OP_INSERT_ECMP,
            SOFTFWD_OP_DELETE_ECMP, SOFTFWD_OP_UPDATE_V4_NH, SOFTFWD_OP_UPDATE_V6_NH};
        if (hostile) softfwd_fault_clear();
        softfwd_fault_nth(any[hostile ? pick(std::size(any)) : 0], 1 + pick(2), hostile ? 1 + pick(5) : 1);
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
            neighbour_change();
        else if (kind < 93)
            (void)ufib_dirty_vobjs_do_pfx_backwalk(1 + pick(4));
        else if (kind < 97)
            second();
        else if (kind < 99)
            refuse_next();
        else
            restart();
    }
    /* A plain hop whose adjacency was refused drops as long as the object of its route lives. */
    void routes_again() {
        for (const auto &[n, rows] : dests) ASSERT_TRUE(load1(remove(f(), dest(n))));
        for (int i = 0; ufib_retry_is_waiting() && i < 60; i++) second();
        ASSERT_FALSE(ufib_retry_is_waiting());
        for (const auto &[n, rows] : dests) ASSERT_TRUE(load1(dest_route(n, rows)));
    }
    void rest() {
        softfwd_fault_clear();
        for (unsigned n = 0; refusals && n < RNHS; n++) {
            if (rnhs.count(n) == 0) continue;
            ASSERT_TRUE(load1(rnh_route(n, rnhs[n])));
        }
        refusals = false;
        if (hostile) routes_again();
        settle();
        ASSERT_EQ(ufib_dirty_vobj_list.count + ufib_rnh_update_pending_list.count, 0u);
        check(true);
    }
    void steps(unsigned long count) {
        for (unsigned long i = 0; i < count && !HasFatalFailure(); i++) {
            SCOPED_TRACE("step " + std::to_string(i));
            step();
            if (HasFatalFailure()) return;
            if (i % 25 == 24)
                rest();
            else
                check(false);
        }
        while ((!dests.empty() || !rnhs.empty()) && !HasFatalFailure()) {
            if (pick(2) == 0)
                dest_remove();
            else
                rnh_delete();
            check(false);
        }
    }
    void live_and_die() {
        const char *wanted = std::getenv("LCFWD_RNH_STEPS"), *seed = std::getenv("LCFWD_RNH_SEED");
        const unsigned long seeds = seed != nullptr ? std::strtoul(seed, nullptr, 0) : 20240u;
        random.seed(static_cast<unsigned>(seeds));
        SCOPED_TRACE("LCFWD_RNH_SEED=" + std::to_string(seeds));
        std::printf("LCFWD_RNH_SEED=%lu\n", seeds);
        ASSERT_TRUE(load(other(), {add(other(), other().prefix)}));
        steps(wanted != nullptr ? std::strtoul(wanted, nullptr, 0) : 600);
        if (HasFatalFailure()) return;
        rest();
        EXPECT_EQ(ufib_vobj_get_first(ufib_vdc_get(1)), nullptr);
        EXPECT_EQ(softfwd_group_count(), 0u);
        EXPECT_EQ(table()->rnh.prefix_count, 0u);
    }
};

TEST_P(rnh_random_test, look_ups_follow_the_reference) {
    probe_start();
    live_and_die();
    EXPECT_EQ(probe->finish(), "");
    EXPECT_GT(probe->rounds, 0u);
}

TEST_P(rnh_random_test, hardware_that_refuses_anything_gets_there_as_well) {
    hostile = true;
    live_and_die();
}

TEST_P(rnh_random_test, each_number_of_paths_gets_a_group_of_its_size) {
    paths list;
    dests[0] = {{0, false, false}};
    ASSERT_TRUE(load(f(), {over(0, {1}), recursive(0, {through(0)})}));
    for (unsigned count = 1; count <= 70; count++) {
        list.push_back(count);
        ASSERT_EQ(load1(over(0, list)), count <= 64) << count;
        if (count <= 64) rnhs[0] = list;
        settle();
        check(true);
    }
}

INSTANTIATE_TEST_SUITE_P(families, rnh_random_test, both_families, family_name);
