/* Every failure once: each write and removal of the forwarding library, each operation of the store, each allocation of
 * a scenario fails, first the n-th alone, then all from the n-th on, for each n. After each request the model, the
 * engine and the records agree, and the answer tells of the failure; with the failure gone, the same requests
 * succeed. */
#include "host/containers/heap.h"
#include "host/containers/pt.h"
#include "host/containers/slab.h"
#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/timer/active_timer.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check.h"
#include "ufib/ufib_vdc.h"

#include <gtest/gtest.h>

constexpr uint32_t SLOT = 3;
constexpr uint32_t NTH_MAX = 400; /* no fault of the scenario comes later */

/* ---- what fails ---- */

struct fault {
    const char *name;
    int what; /* the operation of the engine, or the point of the store */
    const char *slab_name;
    int code;                                          /* of the store */
    void (*set)(const fault &, uint32_t nth, bool on); /* nth 0: off */
    uint64_t (*struck)(const fault &);                 /* how often so far; null: not told */
    bool quiet = false; /* a route may stand all the same: what failed is tried again, or was not its own */
};

static void platform_set(const fault &f, uint32_t nth, bool on) {
    softfwd_fault_clear();
    if (nth == 0) return;
    ASSERT_TRUE(softfwd_fault_nth(static_cast<softfwd_op>(f.what), nth, on ? UINT32_MAX : 1));
}
static uint64_t platform_struck(const fault &) {
    softfwd_counters counters;
    softfwd_counters_get(&counters);
    return counters.failures;
}

static void slab_set(const fault &f, uint32_t nth, bool on) {
    ASSERT_EQ(slab_fail_nth(f.slab_name, nth, on), 0);
}
static uint64_t slab_struck(const fault &) {
    uint64_t failures = 0;
    for (const slab *pool = slab_first(); pool != nullptr; pool = pool->next) failures += pool->failures;
    return failures;
}

static void trie_set(const fault &, uint32_t nth, bool on) { pt_fail_nth_add(nth, on); }

static void heap_set(const fault &, uint32_t nth, bool on) { heap_fail_nth(nth, on); }
static uint64_t heap_struck(const fault &) { return heap_fail_struck(); }

static void store_set(const fault &f, uint32_t nth, bool on) {
    store_fault_set(static_cast<store_fault_point>(f.what), nth, f.code, on);
}

static uint64_t store_struck(const fault &f) {
    return store_fault_struck(static_cast<store_fault_point>(f.what));
}

static const fault faults[] = {
    {"insert_v4_table", SOFTFWD_OP_INSERT_V4_TABLE, "", 0, platform_set, platform_struck},
    {"insert_v6_table", SOFTFWD_OP_INSERT_V6_TABLE, "", 0, platform_set, platform_struck},
    {"insert_v4_prefix", SOFTFWD_OP_INSERT_V4_PREFIX, "", 0, platform_set, platform_struck},
    {"insert_v6_prefix", SOFTFWD_OP_INSERT_V6_PREFIX, "", 0, platform_set, platform_struck},
    {"insert_adj", SOFTFWD_OP_INSERT_ADJ, "", 0, platform_set, platform_struck},
    {"insert_ecmp", SOFTFWD_OP_INSERT_ECMP, "", 0, platform_set, platform_struck},
    {"insert_vobj", SOFTFWD_OP_INSERT_VOBJ, "", 0, platform_set, platform_struck, true},
    {"update_vobj", SOFTFWD_OP_UPDATE_VOBJ, "", 0, platform_set, platform_struck, true},
    {"update_v4_nh", SOFTFWD_OP_UPDATE_V4_NH, "", 0, platform_set, platform_struck, true},
    {"update_v6_nh", SOFTFWD_OP_UPDATE_V6_NH, "", 0, platform_set, platform_struck, true},
    {"delete_v4_prefix", SOFTFWD_OP_DELETE_V4_PREFIX, "", 0, platform_set, platform_struck},
    {"delete_v6_prefix", SOFTFWD_OP_DELETE_V6_PREFIX, "", 0, platform_set, platform_struck},
    {"delete_adj", SOFTFWD_OP_DELETE_ADJ, "", 0, platform_set, platform_struck, true},
    {"delete_ecmp", SOFTFWD_OP_DELETE_ECMP, "", 0, platform_set, platform_struck, true},
    {"delete_vobj", SOFTFWD_OP_DELETE_VOBJ, "", 0, platform_set, platform_struck, true},
    {"single_blocks", 0, "", 0, heap_set, heap_struck, true},
    {"v4_prefix_memory", 0, "ufib v4prefix", 0, slab_set, slab_struck},
    {"v6_prefix_memory", 0, "ufib v6prefix", 0, slab_set, slab_struck},
    {"v4_adj_memory", 0, "ufib v4adj", 0, slab_set, slab_struck},
    {"v6_adj_memory", 0, "ufib v6adj", 0, slab_set, slab_struck},
    {"group_memory", 0, "ufib ecmp allocator", 0, slab_set, slab_struck},
    {"vobj_bucket_memory", 0, "ufib vobj allocator", 0, slab_set, slab_struck},
    {"interface_memory", 0, "ufib idb allocator", 0, slab_set, slab_struck},
    {"table_memory", 0, "ufib table", 0, slab_set, slab_struck},
    {"trie_memory", 0, "", 0, trie_set, nullptr},
    {"store_add", STORE_FAULT_ADD, "", STORE_NO_SPACE, store_set, store_struck},
    {"store_buffer_full", STORE_FAULT_ADD, "", STORE_OPS_FULL, store_set, store_struck},
    {"store_add_db", STORE_FAULT_ADD_DB, "", STORE_CLOSED, store_set, store_struck},
    {"store_exec", STORE_FAULT_EXEC, "", STORE_IO, store_set, store_struck},
    {"store_init", STORE_FAULT_INIT, "", STORE_BAD_ARGUMENT, store_set, store_struck},
    {"store_grow", STORE_FAULT_GROW, "", STORE_NO_SPACE, store_set, store_struck},
};

static void PrintTo(const fault &f, std::ostream *out) { *out << f.name; }

static bool is_store(const fault &f) { return f.set == store_set; }

/* ---- the scenario ---- */

constexpr uint32_t TIME = 0; /* no message: 'version' seconds pass */

struct request {
    const char *name;
    uint32_t opcode;
    uint32_t version;
    bytes payload;
    bool repeatable; /* succeeds also when a part of it has been done */
};

static wire_hop hop(const char *address, uint32_t port) {
    wire_hop out;
    out.address = address;
    out.if_index = 0x1a000000 + port;
    return out;
}

static wire_route route(const char *prefix, std::vector<wire_hop> hops, uint8_t flags = 0) {
    wire_route out;
    out.prefix = prefix;
    out.hops = std::move(hops);
    out.flags = flags;
    out.table_id = std::string(prefix).find(':') != std::string::npos ? 0x80000001 : 1;
    return out;
}

static wire_route gone(const char *prefix, uint8_t flags = 0) {
    wire_route out = route(prefix, {}, flags);
    out.remove = true;
    return out;
}

constexpr uint8_t WILDCARD_DROP = 0x84;
constexpr uint8_t RECURSIVE_ROUTE = 0x20; /* the route is a recursive next hop */

static wire_hop through(const char *address) {
    wire_hop out = hop(address, 0);
    out.if_index = 0;
    out.flags = 0x01;
    if (std::string(address).find(':') != std::string::npos) out.table_id = 0x80000001;
    return out;
}

static request batch(const char *name, const std::vector<wire_route> &routes, uint32_t version, uint8_t epoch,
                     bool repeatable = true) {
    wire_batch out;
    out.routes = routes;
    out.epoch = epoch;
    out.table_id = routes.front().table_id;
    const bool v6 = routes.front().prefix.find(':') != std::string::npos;
    return {name, v6 ? OPC_V6_ROUTES : OPC_V4_ROUTES, version,
            version == 0 ? wire_batch_v0(out) : wire_batch_v1(out), repeatable};
}

static std::vector<request> scenario_make() {
    const wire_hop a4 = hop("192.0.2.1", 1), b4 = hop("192.0.2.2", 1), c4 = hop("192.0.2.3", 2);
    const wire_hop a6 = hop("fe80::1", 1), b6 = hop("fe80::2", 1), c6 = hop("fe80::3", 2);
    wire_route other_table = route("10.9.0.0/16", {c4});
    other_table.table_id = 7;
    wire_hop tagged4 = hop("192.0.2.4", 4);
    tagged4.xri = bytes(24, 0x11);
    const std::string mac = "020000000001";
    return {
        batch("add_v4",
              {route("10.1.0.0/16", {a4}), route("10.2.0.0/16", {a4}), route("10.3.0.0/16", {b4}, 0x08),
               route("10.4.0.0/16", {a4}, 0x04), route("10.5.0.0/16", {a4}, 0x02),
               route("10.6.0.0/16", {a4}, 0x01), route("10.7.0.0/16", {a4}, 0x40),
               route("10.8.0.0/16", {a4, c4}), other_table},
              1, 1),
        batch("add_v6",
              {route("2001:db8:1::/48", {a6}), route("2001:db8:2::/48", {b6}, 0x08),
               route("2001:db8:3::/48", {a6}, 0x01), route("2001:db8:4::/48", {a6, c6})},
              0, 1),
        {"resolve", OPC_AM_NOTICE, 1,
         wire_am_notice({{"192.0.2.1", 0x1a000001, mac},
                         {"192.0.2.2", 0x1a000001, mac},
                         {"192.0.2.9", 0x1a000005, mac},
                         {"fe80::1", 0x1a000001, mac}}),
         false},
        batch("change_v4",
              {route("10.1.0.0/16", {b4}), route("10.2.0.0/16", {c4}), route("10.3.0.0/16", {a4}),
               route("10.6.0.0/16", {c4}), route("10.8.0.0/16", {b4, c4})},
              0, 2),
        batch(
            "change_v6",
            {route("2001:db8:1::/48", {b6}), route("2001:db8:3::/48", {b6}), route("2001:db8:4::/48", {c6})},
            1, 2),
        batch("recurse_v4",
              {route("198.51.100.1/32", {a4, c4}, RECURSIVE_ROUTE),
               route("198.51.100.2/32", {b4}, RECURSIVE_ROUTE),
               route("10.20.0.0/16", {through("198.51.100.1")}),
               route("10.21.0.0/16", {through("198.51.100.1"), through("198.51.100.2")}),
               route("10.22.0.0/16", {through("198.51.100.9")}), route("10.23.0.0/16", {tagged4})},
              1, 2),
        batch("recurse_v6",
              {route("2001:db8:f::1/128", {a6}, RECURSIVE_ROUTE),
               route("2001:db8:20::/48", {through("2001:db8:f::1")})},
              1, 2),
        batch("resize_v4",
              {route("198.51.100.1/32", {b4}, RECURSIVE_ROUTE),
               route("198.51.100.2/32", {a4, c4}, RECURSIVE_ROUTE)},
              1, 2),
        batch("resize_v6", {route("2001:db8:f::1/128", {b6, c6}, RECURSIVE_ROUTE)}, 1, 2),
        {"walks", TIME, 2, {}, false},
        batch("repoint_v4",
              {route("10.20.0.0/16", {through("198.51.100.2")}), route("10.21.0.0/16", {a4, c4})}, 1, 2),
        {"unresolve", OPC_AM_NOTICE, 1,
         wire_am_notice({{"192.0.2.1", 0x1a000001}, {"192.0.2.9", 0x1a000005}, {"fe80::1", 0x1a000001}}),
         false},
        {"interface_down", OPC_AM_NOTICE, 1,
         wire_am_notice({{"192.0.2.2", 0x1a000001, "", 0x80}, {"fe80::2", 0x1a000001, "", 0x90}}), false},
        batch("delete_v4", {gone("10.1.0.0/16"), gone("10.7.0.0/16"), gone("10.8.0.0/16")}, 1, 2, false),
        batch("forget_v4", {gone("198.51.100.2/32", RECURSIVE_ROUTE), gone("10.22.0.0/16")}, 1, 2, false),
        {"stale_v4", OPC_STALE_DELETE, 1, wire_stale_delete(1, 0, 2), false},
        {"stale_v6", OPC_STALE_DELETE, 1, wire_stale_delete(2, 0, 3), false},
        {"pending_ends", TIME, 6, {}, false},
        batch("wildcard_v4", {route("10.10.0.0/16", {a4}, WILDCARD_DROP)}, 1,
              2), /* another VDC takes it over */
        {"vdc_delete", OPC_VDC_DELETE, 1, wire_vdc(1), false},
        {"vdc_create", OPC_VDC_CREATE, 1, wire_vdc(1), false},
    };
}

/* ---- the walk through it ---- */

class fault_walk {
public:
    fault_walk(const fault &f, uint32_t nth, bool on) : fault_(f), nth_(nth), on_(on), rig_(options()) {}

    /* True when the fault has struck, or may have. */
    bool run();

private:
    static rig_options options() {
        softfwd_config_reset();
        softfwd_config_get()->slot = SLOT;
        softfwd_config_get()->shared_wildcard_tables = true;
        rig_options out;
        out.library = softfwd_library();
        out.ufib = ufib_domain();
        out.slot = SLOT;
        return out;
    }
    void set(bool armed) { fault_.set(fault_, armed ? nth_ : 0, armed && on_); }
    bool send(const request &r); /* false: the answer tells of a failure */
    void vdc_make();
    void answer_check(const request &r, bool good, bool struck);
    void request_under_fault(const request &r);
    void again_without_fault();

    const fault &fault_;
    uint32_t nth_;
    bool on_;
    lcfwd_rig rig_;
    std::vector<request> scenario_ = scenario_make();
    bool struck_ = false;
};

/* Ready for stale deletes, which wait for the end of a download. */
void fault_walk::vdc_make() {
    rig_.vdc(1);
    for (const uint8_t operation : {uint8_t{1}, uint8_t{2}})
        rig_.send(OPC_DOWNLOAD, wire_download(operation));
}

bool fault_walk::send(const request &r) {
    if (r.opcode == TIME) {
        rig_.advance_seconds(r.version);
        return true;
    }
    rig_send_options options;
    options.version = r.version;
    const auto answer = rig_.send(r.opcode, r.payload, options);
    if (r.opcode != OPC_V4_ROUTES && r.opcode != OPC_V6_ROUTES) return true;
    EXPECT_TRUE(answer.has_value());
    return answer && (answer->payload.at(r.version == 0 ? 14 : 10) & 1) != 0;
}

/* A refused record is answered as a failed route, though the route stands; a commit comes after the answer is made. */
void fault_walk::answer_check(const request &r, bool good, bool struck) {
    if (r.opcode != OPC_V4_ROUTES && r.opcode != OPC_V6_ROUTES) return;
    if (is_store(fault_) || fault_.quiet) {
        EXPECT_TRUE(good || struck || struck_); /* a buffer that could not be made anew is missing later */
    } else if (!struck_ || r.repeatable) {      /* what it deletes is there */
        EXPECT_EQ(good, !struck);
    }
}

void fault_walk::request_under_fault(const request &r) {
    const uint64_t before = fault_.struck == nullptr ? 0 : fault_.struck(fault_);
    const bool good = send(r);
    const bool struck = fault_.struck == nullptr ? !good : fault_.struck(fault_) != before;
    answer_check(r, good, struck);
    struck_ = struck_ || struck;
    const model_check_options checks = {
        .engine = true, .records = !is_store(fault_), .values = false, .orphans = true};
    EXPECT_EQ(model_findings(rig_, checks), "");
    if (good || !r.repeatable || on_) return;
    set(false);
    EXPECT_TRUE(send(r)) << "once more";
    EXPECT_EQ(model_findings(rig_, checks), "") << "once more";
}

void fault_walk::again_without_fault() {
    set(false);
    rig_.send(OPC_VDC_DELETE,
              wire_vdc(1)); /* its last bracket makes a missing buffer of the store anew, too */
    vdc_make();
    for (const request &r : scenario_) {
        SCOPED_TRACE(std::string("again ") + r.name);
        EXPECT_TRUE(send(r));
        EXPECT_EQ(model_findings(rig_, {.engine = true, .records = false, .orphans = true}), "");
    }
    for (const uint16_t vdc : {uint16_t{1}, uint16_t{2}}) rig_.send(OPC_VDC_DELETE, wire_vdc(vdc));
    rig_.advance_seconds(6);
    EXPECT_EQ(model_findings(rig_), "");
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4) + softfwd_prefix_count(ADDRESS_FAMILY_V6), 0u);
    EXPECT_EQ(softfwd_adjacency_count(), 0u);
    EXPECT_EQ(softfwd_table_count(), 0u);
    EXPECT_EQ(softfwd_integrity_check(nullptr, 0), 0u);
}

bool fault_walk::run() {
    EXPECT_EQ(rig_.start(), 0);
    vdc_make();
    rig_.vdc(2);
    set(true);
    for (const request &r : scenario_) {
        SCOPED_TRACE(r.name);
        /* With its VDC the model of an entry goes, whatever hardware says: what it refuses to remove then is its own. */
        if (r.opcode == OPC_VDC_DELETE && std::string(fault_.name).rfind("delete_", 0) == 0) set(false);
        request_under_fault(r);
    }
    again_without_fault();
    return struck_;
}

class ufib_fault : public ::testing::TestWithParam<fault> {};

TEST_P(ufib_fault, leaves_model_engine_and_records_consistent) {
    for (const bool on : {false, true}) {
        for (uint32_t nth = 1; nth <= NTH_MAX; nth++) {
            SCOPED_TRACE((on ? "from the n-th on, n = " : "the n-th, n = ") + std::to_string(nth));
            fault_walk walk(GetParam(), nth, on);
            if (!walk.run() || HasFailure()) {
                std::printf("%s, %s: %u calls\n", GetParam().name, on ? "from each on" : "each", nth - 1);
                break;
            }
            ASSERT_LT(nth, NTH_MAX) << "the scenario has more calls than the test asks for";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(each, ufib_fault, ::testing::ValuesIn(faults),
                         [](const auto &row) { return std::string(row.param.name); });

/* A timer that cannot be made ends the start with a code, or is missing; the routes do not mind. */
TEST(ufib_fault_at_start, timers_that_cannot_be_made) {
    uint32_t failed_starts = 0;
    for (int nth = 1; nth <= 24; nth++) {
        SCOPED_TRACE("the n-th, n = " + std::to_string(nth));
        rig_options options;
        options.library = softfwd_library();
        options.ufib = ufib_domain();
        softfwd_config_reset();
        softfwd_config_get()->slot = static_cast<int>(options.slot);
        lcfwd_rig rig(options);
        rig.prepare();
        active_timer_fail_nth(nth);
        const int code = rig.start();
        active_timer_fail_nth(0);
        if (code != 0 || !rig.exits.empty()) {
            failed_starts++;
            continue;
        }
        rig.vdc(1);
        for (const request &r : scenario_make()) {
            if (r.opcode == TIME) continue;
            rig_send_options send_options;
            send_options.version = r.version;
            (void)rig.send(r.opcode, r.payload, send_options);
        }
        rig.advance_seconds(6);
        EXPECT_EQ(model_findings(rig), "");
    }
    EXPECT_GT(failed_starts, 0u);
}
