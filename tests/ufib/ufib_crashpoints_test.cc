/* A process that dies at any write of the engine or of the store, over a life that touches every sort of record. After
 * the restart model, records and engine agree; each batch that was answered is there, and of the one that was under way
 * nothing, all, or a beginning that ends between two routes (the store commits inside a batch at the end of each walk
 * over recursive dependents, and when its buffer is full). The rest of the life, sent again, ends as if nobody had died.
 *
 * The life runs in a forked copy of the process, which ends without a word; its tables and databases are shared memory.
 * Each death tried is one crash point. CRASHPOINTS_STEP=n tries every n-th only. */
#include "host/store/store_admin.h"
#include "platform/lcfwd_platform.h"
#include "softfwd/softfwd_check.h"
#include "tests/ufib/ha_rig.h"

#include <cstdlib>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr const char *MAC = "02000a000001";
static constexpr int DIED = 42, LIVED = 0;

/* ---- the plan ---- */

static uint32_t tried, failed;
static uint64_t writes_left;  /* until the process ends; 0: it lives */
static uint32_t commits_left; /* before they count */

static void write_done() {
    if (commits_left == 0 && writes_left != 0 && --writes_left == 0) _exit(DIED);
}
static void store_stepped(store_step step, uint32_t) {
    if (step == STORE_STEP_CLEARED && commits_left != 0) commits_left--;
    if (step != STORE_STEP_LOG_OP) write_done();
}

/* A call that wrote nothing leaves nothing to find. */
static uint64_t engine_writes() {
    softfwd_counters counters = {};
    softfwd_counters_get(&counters);
    return counters.writes + counters.brackets;
}

static ufib_platform_api engine;
template <auto slot, typename Result, typename... Args> static Result counted(Args... args) {
    const uint64_t before = engine_writes();
    if constexpr (std::is_void_v<Result>) {
        (engine.*slot)(args...);
        if (engine_writes() != before) write_done();
    } else {
        const Result result = (engine.*slot)(args...);
        if (engine_writes() != before) write_done();
        return result;
    }
}
template <auto slot, typename Result, typename... Args>
static void count_slot(ufib_platform_api *api, Result (*)(Args...)) {
    api->*slot = counted<slot, Result, Args...>;
}
template <auto... slots> static void count_slots(ufib_platform_api *api) {
    (count_slot<slots>(api, api->*slots), ...);
}

static void process_init(lcfwd_platform_api *api, int restart) {
    softfwd_library()->lcfwd_api_init(api, restart);
}
static void engine_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    softfwd_library()->ufib_api_init(api, caps, restart);
    engine = *api;
    using slot = ufib_platform_api;
    count_slots<&slot::insert_v4_table, &slot::insert_v6_table, &slot::delete_v4_table,
                &slot::delete_v6_table, &slot::insert_v4_prefix, &slot::insert_v6_prefix,
                &slot::delete_v4_prefix, &slot::delete_v6_prefix, &slot::update_v4prefix_nh,
                &slot::update_v6prefix_nh, &slot::insert_vobj, &slot::update_vobj, &slot::delete_vobj,
                &slot::insert_ecmp, &slot::delete_ecmp, &slot::insert_adj, &slot::delete_adj,
                &slot::update_v4prefix_rpf, &slot::update_v6prefix_rpf, &slot::update_intf_rpf,
                &slot::ha_clean_v4_pfx, &slot::ha_clean_v6_pfx, &slot::one_write_ready,
                &slot::all_writes_ready, &slot::vdc_init, &slot::vdc_delete>(api);
}
static void library_reset() { softfwd_library()->reset(); }
static const platform_library mortal_library = {"softfwd", process_init, engine_init, library_reset};

struct summary : testing::Environment {
    void TearDown() override { std::printf("crashpoints.tried %u\ncrashpoints.failed %u\n", tried, failed); }
};
[[maybe_unused]] static const auto *const printed = testing::AddGlobalTestEnvironment(new summary);

/* ---- the life ---- */

struct step {
    std::vector<wire_route> routes = {}; /* a batch; the rest is done beside it */
    std::vector<wire_neighbour> neighbours = {};
    uint32_t seconds = 0;
    uint8_t stale_epoch = 0;
    uint32_t opcode = 0; /* another message */
    bytes payload = {};
    uint8_t epoch = 1;
};

static constexpr uint32_t OPC_RPF = 74761;
static bytes rpf_notice(const family &f, uint8_t mode) {
    return bytes_from_hex("000000140000000100000008" + hex_from_bytes({mode, static_cast<uint8_t>(f.afi)}) +
                          "00001a010001");
}

class ufib_crashpoints : public ha_family_test {
protected:
    void SetUp() override {
        rig.options.library = &mortal_library;
        answered = static_cast<uint32_t *>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        ASSERT_NE(answered, MAP_FAILED);
        ha_family_test::SetUp();
    }
    void TearDown() override {
        ha_family_test::TearDown();
        munmap(answered, 4096);
    }

    std::string prefix(unsigned n) const {
        return f.index == 0 ? "30.0." + std::to_string(n) + ".0/24"
                            : "2001:db8:" + std::to_string(2000 + n) + "::/48";
    }
    wire_route to(unsigned n, const std::vector<std::string> &hops, uint8_t flags = 0) const {
        wire_route route = add(f, prefix(n), hops[0], ETH1, flags);
        route.hops.clear();
        for (const std::string &hop : hops) route.hops.push_back({.address = hop, .if_index = ETH1});
        return route;
    }
    wire_route gone(unsigned n) const { return remove(f, prefix(n)); }

    /* A recursive next hop by number, and a route over some of them. */
    std::string via(unsigned n) const {
        return (f.index == 0 ? "10.98.0." : "2001:db8:98::") + std::to_string(n + 1);
    }
    std::string via_prefix(unsigned n) const { return via(n) + (f.index == 0 ? "/32" : "/128"); }
    wire_route confirm(unsigned n, const std::vector<std::string> &hops) const {
        wire_route route = to(0, hops, 0x20);
        route.prefix = via_prefix(n);
        return route;
    }
    wire_route unconfirm(unsigned n) const { return remove(f, via_prefix(n), 0x20); }
    wire_route over(unsigned n, const std::vector<unsigned> &next_hops) const {
        wire_route route = to(n, {f.hop});
        route.hops.clear();
        for (const unsigned next : next_hops)
            route.hops.push_back({.address = via(next), .flags = 0x01, .table_id = f.table});
        return route;
    }
    std::string lonely() const { return f.index == 0 ? "192.0.2.9" : "fe80::9"; }
    std::string fresh() const { return f.index == 0 ? "192.0.2.77" : "fe80::77"; }

    std::vector<step> plain_life() const {
        const std::string a = f.hop, b = f.hop2, l = lonely();
        return {{.routes = {to(0, {a}), to(1, {a}), to(2, {a}), to(4, {l}), to(5, {a, b}), to(6, {a, b, l}),
                            to(7, {a}, 0x01), to(8, {a}, 0x04), to(9, {b}, 0x08)}},
                {.neighbours = {{.address = a, .if_index = ETH1, .mac = MAC},
                                {.address = b, .if_index = ETH1, .mac = MAC}}},
                {.routes = {to(0, {b}), gone(1), to(20, {a}), gone(4), to(21, {b, l}), to(5, {a}), gone(6),
                            to(1, {b}), gone(7), to(22, {fresh()}), to(8, {a}), to(9, {b, a})},
                 .epoch = 9},
                {.opcode = OPC_VDC_CREATE, .payload = wire_vdc(2)},
                {.opcode = OPC_RPF, .payload = rpf_notice(f, 3)},
                {.neighbours = {{.address = a, .if_index = ETH1}}},
                {.routes = {to(0, {a, b, l}), to(2, {a}), to(20, {a, b, l}, 0x01), gone(21)}, .epoch = 10},
                {.opcode = OPC_VDC_DELETE, .payload = wire_vdc(2)},
                {.opcode = OPC_RPF, .payload = rpf_notice(f, 1)},
                {.opcode = OPC_RPF, .payload = rpf_notice(f, 0)},
                {.stale_epoch = 10}};
    }
    std::vector<step> recursive_life() const {
        const std::string a = f.hop, b = f.hop2;
        return {{.routes = {confirm(0, {a}), confirm(1, {a}), confirm(2, {a}), over(10, {0}), over(11, {0}),
                            over(12, {0}), over(13, {1, 2}), to(14, {a})}},
                {.neighbours = {{.address = a, .if_index = ETH1, .mac = MAC},
                                {.address = b, .if_index = ETH1, .mac = MAC}}},
                {.routes = {confirm(0, {b}),    /* rewrites its group in place */
                            confirm(1, {a, b}), /* a second group of another size */
                            over(10, {0, 1}), over(14, {3}) /* nobody confirms it */, to(12, {b}),
                            confirm(2, {fresh()})},
                 .epoch = 9},
                {.seconds = 2},
                {.routes = {unconfirm(1), confirm(3, {lonely()}), gone(13), confirm(0, {a, b})}, .epoch = 9},
                {.routes = {confirm(0, {fresh()}), gone(11)}, .epoch = 9},
                {.seconds = 3},
                {.stale_epoch = 9},
                {.routes = {gone(10), gone(14), unconfirm(0), over(15, {0, 2})}, .epoch = 9},
                {.seconds = 2}};
    }

    bool take(const step &s) {
        if (s.opcode != 0) rig.send(s.opcode, s.payload);
        if (!s.neighbours.empty()) rig.send(OPC_AM_NOTICE, wire_am_notice(s.neighbours));
        if (s.stale_epoch != 0) {
            rig.send(OPC_DOWNLOAD, wire_download(1));
            rig.send(OPC_DOWNLOAD, wire_download(2));
            rig.send(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), 0, s.stale_epoch));
        }
        if (s.seconds != 0) rig.advance_seconds(s.seconds);
        return s.routes.empty() || load(f, s.routes, s.epoch);
    }

    /* States between which a death in a step may leave the routes: after each of its routes, the state before first. */
    std::vector<std::vector<std::string>> states_learn(const std::vector<step> &life) {
        std::vector<std::vector<std::string>> states;
        for (const step &s : life) {
            states.push_back({ha_routes_text()});
            if (s.routes.empty()) {
                EXPECT_TRUE(take(s));
            }
            for (const wire_route &route : s.routes) {
                EXPECT_TRUE(load(f, {route}, s.epoch)) << route.prefix;
                if (&route != &s.routes.back()) states.back().push_back(ha_routes_text());
            }
            states.back().push_back(ha_routes_text());
        }
        return states;
    }

    void begin_again() {
        from_nothing();
        for (const uint8_t operation : {uint8_t{1}, uint8_t{2}}) rig.send(75787, {operation});
        *answered = 0;
    }

    /* Runs work in a copy of the process, up to a write, counted from the n-th commit of the store on. True: it died
     * there. */
    template <typename Work> bool dies_in(uint64_t write, Work work, uint32_t commits = 0) {
        const pid_t copy = fork();
        if (copy == 0) {
            writes_left = write;
            commits_left = commits;
            store_step_hook_set(store_stepped);
            _exit(work() ? LIVED : 1);
        }
        int status = 0;
        EXPECT_EQ(waitpid(copy, &status, 0), copy);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        EXPECT_TRUE(code == LIVED || code == DIED) << "the copy ended with status " << status;
        return code == DIED;
    }
    bool life_dies(const std::vector<step> &life, uint64_t write) {
        return dies_in(write, [&] {
            for (const step &s : life) {
                if (!take(s)) return false;
                ++*answered;
            }
            return true;
        });
    }

    static std::string engine_findings() {
        char text[160];
        return softfwd_integrity_check(text, sizeof text) == 0 ? "" : std::string("engine: ") + text + "\n";
    }
    /* A context that is there takes a download; one that had its download of multicast has had it. */
    static std::string context_findings() {
        std::string out =
            lcfwd_vdc_row(1)->mfib_state == LCFWD_STATE_ACTIVE ? "" : "a download is forgotten\n";
        for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++)
            if (const lcfwd_vdc_desc *row = lcfwd_vdc_active_row(id); row != nullptr)
                if (row->ufib_state < LCFWD_STATE_INITIALIZED || row->mfib_state < LCFWD_STATE_INITIALIZED)
                    out += "vdc " + std::to_string(id) + " is in no state\n";
        return out;
    }
    /* What is wrong with the state that a restart made; "" when nothing. */
    std::string findings(const std::vector<std::string> &allowed) {
        std::string out = model_findings(rig) + engine_findings() + context_findings();
        const std::string routes = ha_routes_text();
        if (std::find(allowed.begin(), allowed.end(), routes) == allowed.end())
            out +=
                "routes:\n" + routes + "neither\n" + allowed.front() + "nor a state up to\n" + allowed.back();
        return out;
    }
    /* A second restart finds what the first one made and has nothing to do. */
    std::string restart_findings() {
        const std::string before = ha_model_text();
        const uint64_t old = writes();
        if (rig.restart() != 0) return "no second restart\n";
        std::string out;
        if (writes() != old) out += "the second restart wrote\n";
        const std::string now = ha_model_text();
        if (now != before) out += "the second restart changed\n" + before + "to\n" + now;
        return out;
    }
    std::string rest_findings(const std::vector<step> &life, const std::string &end) {
        for (size_t i = *answered; i < life.size(); i++)
            (void)take(life[i]); /* some routes may be gone already */
        rig.advance_seconds(3);
        std::string out = model_findings(rig) + engine_findings();
        if (ha_routes_text() != end) out += "in the end\n" + ha_routes_text() + "not\n" + end;
        return out;
    }
    void judge(const std::string &found, const std::string &where) {
        tried++;
        if (found.empty()) return;
        failed++;
        if (failures++ < 3) ADD_FAILURE() << where << ":\n" << found;
    }
    static uint64_t stride() {
        const char *text = std::getenv("CRASHPOINTS_STEP");
        return text == nullptr || std::atoi(text) < 1 ? 1 : static_cast<uint64_t>(std::atoi(text));
    }

    void every_death(const std::vector<step> &life) {
        const auto states = states_learn(life);
        const std::string end = states.back().back();
        uint64_t write = 1;
        for (;; write += stride()) {
            begin_again();
            const bool died = life_dies(life, write);
            ASSERT_EQ(rig.restart(), 0);
            const std::string where = "died at write " + std::to_string(write) + ", in step " +
                                      std::to_string(*answered) + " of the life";
            const auto &allowed = states[std::min<size_t>(*answered, life.size() - 1)];
            std::string found = findings(died ? allowed : std::vector<std::string>{end});
            if (found.empty()) found = restart_findings();
            if (found.empty()) found = rest_findings(life, end);
            judge(found, where);
            if (!died) break;
        }
        EXPECT_GT(write, 300u) << "a life has more writes than the plan sees";
    }

    /* Deaths of a life, at some distance from each other, and after each one deaths of the recovery, at every write. */
    void every_death_of_the_recovery(const std::vector<step> &life) {
        const auto states = states_learn(life);
        for (uint64_t write = 5;; write += 97 * stride()) {
            bool lives = false, again = true;
            for (uint64_t second = 1; again; second += stride()) {
                begin_again();
                lives = !life_dies(life, write);
                if (lives) break;
                rig.stop();
                again = dies_in(second, [&] { return rig.start() == 0; });
                ASSERT_EQ(rig.restart(), 0);
                std::string found = findings(states[*answered]);
                if (found.empty()) found = restart_findings();
                judge(found, "died at write " + std::to_string(write) + ", and of the recovery at " +
                                 std::to_string(second));
            }
            if (lives) break;
        }
        begin_again();
    }

    /* Routes in the order of their addresses, so that a beginning of the batch is a beginning of the text. */
    bytes many(unsigned version, unsigned first, unsigned count, uint8_t flags, bool gone = false) const {
        std::vector<wire_route> routes;
        char text[64];
        for (unsigned n = first; n < first + count; n++) {
            std::snprintf(text, sizeof text, f.index == 0 ? "40.%u.%u.0/24" : "2001:db8:%x%02x::/48",
                          f.index == 0 ? n / 256 : 0x40 + n / 256, n % 256);
            routes.push_back(gone ? remove(f, text)
                                  : add(f, text, "", ETH1, n % 2 == 0 ? flags : uint8_t{0}));
        }
        return batch(f, version, routes);
    }

    /* The write log of the engine is shorter than the take-over of what stands before the first of these batches. */
    struct large_batch {
        unsigned standing; /* routes before it */
        unsigned version, count;
        uint8_t flags;
        bool gone; /* takes away what stood */
        bool whole;
    };
    bytes large_begin(const large_batch &row) {
        begin_again();
        for (unsigned n = 0; n < row.standing; n += 2100)
            EXPECT_NE(send(f, 0, many(0, n, 2100, row.flags)), "");
        return many(row.version, row.gone ? 0 : row.standing, row.count, row.flags, row.gone);
    }
    /* False: it lived. */
    bool large_death(const large_batch &row, const std::string &before, const std::string &end,
                     uint64_t write, uint32_t commits) {
        const bytes message = large_begin(row);
        const bool died = dies_in(
            write, [&] { return !send(f, row.version, message).empty(); }, commits);
        EXPECT_EQ(rig.restart(), 0);
        const std::string now = ha_routes_text();
        const bool part = now != before && now != end;
        parts += part;
        std::string found = model_findings(rig) + engine_findings();
        if (row.gone ? !before.ends_with(now) : now.size() < before.size() || !end.starts_with(now))
            found += "not the beginning of the batch\n";
        if (part && row.whole) found += "a part of the batch\n";
        judge(found, "died at write " + std::to_string(write) + " after " + std::to_string(commits) +
                         " commits of a large batch");
        return died;
    }
    void deaths_of(const large_batch &row) {
        const bytes message = large_begin(row);
        const std::string before = ha_routes_text();
        EXPECT_NE(send(f, row.version, message), "");
        const std::string end = ha_routes_text();
        parts = 0;
        for (uint64_t write = 1; large_death(row, before, end, write, 0);) write += 331 * stride();
        /* A record and its entry must not be parted: what comes right after a commit is met one by one. */
        for (uint32_t commits = 1; large_death(row, before, end, 1, commits); commits++)
            for (uint64_t write = 2; write < 6; write++) (void)large_death(row, before, end, write, commits);
        EXPECT_EQ(parts == 0, row.whole) << "the batch has the wrong size";
        begin_again();
    }

    uint32_t parts = 0;
    uint32_t failures = 0;        /* of this test; not all are told */
    uint32_t *answered = nullptr; /* steps; shared with the copies */
};
INSTANTIATE_TEST_SUITE_P(families, ufib_crashpoints, both_families, family_name);

TEST_P(ufib_crashpoints, plain_routes_and_groups) { every_death(plain_life()); }
TEST_P(ufib_crashpoints, recursive_routes) { every_death(recursive_life()); }

TEST_P(ufib_crashpoints, deaths_of_the_recovery_itself) {
    every_death_of_the_recovery(plain_life());
    every_death_of_the_recovery(recursive_life());
}

TEST_P(ufib_crashpoints, a_batch_stands_as_a_whole_unless_the_buffer_is_too_small_for_it) {
    deaths_of({8400, 1, 500, 0, false, true});
    deaths_of(
        {0, 0, 2500, 0x01, false, false}); /* one or two records for a route, and commits in the middle */
    deaths_of({2100, 0, 2100, 0x01, true, true});
}
