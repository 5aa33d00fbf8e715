/* A long random life of the unicast model against a simple reference. The seed is printed and can be given:
 * LCFWD_RANDOM_SEED and LCFWD_RANDOM_OPERATIONS. */
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check.h"
#include "tests/ufib/ufib_random_guard.h"
#include "tests/ufib/ufib_random_probe.h"
#include "tests/ufib/ufib_random_reference.h"
#include "ufib/ufib_vdc.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

constexpr uint32_t SLOT = 3;
constexpr size_t ROUTES_MAX = 30; /* in a batch */
constexpr size_t PROBE_KEYS = 48;
constexpr uint8_t HOP_OF_FAILURES = 99; /* last byte of its address */
constexpr uint32_t HOPS = 72;           /* neighbours of a VDC and family, on three interfaces */
constexpr size_t V0_HOPS = 40;          /* that format has room for few more */
constexpr uint8_t WILDCARD_ROUTE = 0x80;
constexpr uint32_t OPC_CLEAR_FORWARDING = 74771;
constexpr size_t RECORDS_EVERY = 16; /* batches: the files are read that often */

static uint64_t number_of(const char *name, uint64_t otherwise) {
    const char *text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

static rig_options options_with_engine(bool shared_wildcards) {
    softfwd_config_reset();
    softfwd_config_get()->slot = SLOT;
    softfwd_config_get()->check_integrity = true;
    softfwd_config_get()->shared_wildcard_tables = shared_wildcards;
    softfwd_config_get()->caps.host_ecmp_supported = 1;
    softfwd_config_get()->ecmp_space_len = 24;
    rig_options options;
    options.library = guarded_softfwd_library();
    options.ufib = ufib_domain();
    options.slot = SLOT;
    return options;
}

struct random_route {
    ref_table table;
    ref_prefix prefix;
    ref_kind kind;
    ref_hops hops;
    bool remove;
    bool fails_late;
};

/* Outcomes of a route: counted as good, counted as bad, not counted. */
enum class outcome { good, bad, skipped };

/* The process, the reference and the random numbers that drive both. */
class random_life {
public:
    explicit random_life(uint64_t seed)
        : random_(seed), shared_(seed % 2 != 0), rig_(options_with_engine(shared_)) {}

    void start();
    void step();
    void finish();
    size_t operations = 0;

private:
    uint32_t pick(uint32_t below) { return static_cast<uint32_t>(random_() % below); }
    ref_address address(bool v6);
    ref_prefix prefix(bool v6);
    static ref_hop hop_at(bool v6, uint32_t n);
    ref_hop hop(bool v6) { return hop_at(v6, pick(pick(4) == 0 ? HOPS : 18)); }
    ref_hops hops(bool v6);
    ref_table table(uint32_t vdc, bool v6);
    probe_key key();
    random_route route(uint32_t vdc, bool v6, const std::vector<random_route> &before);

    outcome reference_route(const random_route &r, uint32_t vdc, bool version0 = false);
    void route_batch();
    void refused_route();
    bool send_routes(uint32_t vdc, bool v6, const std::vector<random_route> &routes);
    void table_emptied();
    void route_batch_answer(const std::optional<rig_message> &answer, bool version0, size_t good, size_t bad);
    void neighbours(bool all_of_interface);
    void interface_event();
    void stale_delete();
    void vdc_again(uint32_t vdc);
    void idle();
    void restart();

    void window_open(bool relaxed);
    void window_see(uint32_t vdc, bool v6);
    template <typename requests> void reference_goes(bool relaxed, requests work);
    void compare_keys();
    void compare();
    void compare_routes();
    void compare_flows(const ref_table &table, const ref_prefix &prefix, const ref_hops &hops);

    std::mt19937_64 random_;
    bool shared_; /* wildcard tables */
    lcfwd_rig rig_;
    ref_model reference_;
    std::unique_ptr<ufib_probe> probe_;
    std::vector<probe_key> keys_; /* what the probe looks up */
    std::shared_ptr<probe_valid> window_;
    bool relaxed_ = false;
    uint8_t epoch_ = 1;
    size_t batches_ = 0;
    softfwd_reader *reader_ = nullptr;
};

ref_address random_life::address(bool v6) {
    ref_address out = {};
    if (!v6) {
        out = {10, static_cast<uint8_t>(pick(3)), static_cast<uint8_t>(pick(4) << 4 | pick(2)),
               static_cast<uint8_t>(pick(4) << 6 | pick(2))};
        return out;
    }
    out = {0x20, 0x01, 0x0d, 0xb8, 0, static_cast<uint8_t>(pick(3)), static_cast<uint8_t>(pick(4)), 0};
    out[8] = static_cast<uint8_t>(pick(2) << 7);
    out[15] = static_cast<uint8_t>(pick(4));
    return out;
}

ref_prefix random_life::prefix(bool v6) {
    static constexpr unsigned lengths[2][7] = {{0, 8, 16, 20, 24, 30, 32}, {0, 32, 47, 56, 64, 127, 128}};
    ref_prefix out = {address(v6), lengths[v6 ? 1 : 0][pick(7)]};
    for (unsigned bit = out.bits; bit < 128; bit++)
        out.address[bit / 8] = static_cast<uint8_t>(out.address[bit / 8] & ~(0x80u >> bit % 8));
    return out;
}

ref_table random_life::table(uint32_t vdc, bool v6) {
    if (pick(12) == 0) return {shared_ ? 0 : vdc, v6, v6 ? 65535u : 65534u};
    return {vdc, v6, (v6 ? 0x80000001u : 1u) + 4 * pick(2)};
}

/* One mostly; a few; few that many share; now and then as many as there may be, or more. */
ref_hops random_life::hops(bool v6) {
    ref_hops out;
    const uint32_t what = pick(32), first = pick(2);
    const uint32_t count = what < 20 ? 1 : what < 28 ? 2 + pick(3) : what < 31 ? 2 : 1 + pick(70);
    while (what >= 28 && what < 31 && out.size() < count)
        out.push_back(hop_at(v6, first + 2 * static_cast<uint32_t>(out.size())));
    while (out.size() < count)
        if (const ref_hop one = hop_at(v6, pick(HOPS)); std::count(out.begin(), out.end(), one) == 0)
            out.push_back(count == 1 ? hop(v6) : one);
    return out;
}

ref_hop random_life::hop_at(bool v6, uint32_t n) {
    ref_hop out = {0x1a000001 + n % 3, {}};
    if (v6)
        out.address = {0xfe, 0x80};
    else
        out.address = {192, 0, 2};
    out.address[v6 ? 15 : 3] = static_cast<uint8_t>(1 + n / 3);
    return out;
}

probe_key random_life::key() {
    const bool v6 = pick(2) != 0;
    return {table(1 + pick(2), v6), address(v6)};
}

void random_life::start() {
    ASSERT_EQ(rig_.start(), 0);
    vdc_again(1);
    vdc_again(2);
    reference_.changed = [this](uint32_t vdc, bool v6) { window_see(vdc, v6); };
    for (size_t i = 0; i < PROBE_KEYS; i++) keys_.push_back(key());
    ASSERT_EQ(softfwd_reader_attach(SLOT, false, &reader_), 0);
    probe_ = std::make_unique<ufib_probe>(SLOT, keys_);
}

/* All results that may be seen from now until the work is done. Relaxed: writes become visible in another order than
 * they were asked for, so each covering route may be the longest one for a moment, and an old one may outlive changes
 * of its neighbour. */
void random_life::window_open(bool relaxed) {
    relaxed_ = relaxed;
    window_ = std::make_shared<probe_valid>(keys_.size());
    for (const uint32_t vdc : {0u, 1u, 2u})
        for (const bool v6 : {false, true}) window_see(vdc, v6);
}

void random_life::window_see(uint32_t vdc, bool v6) {
    for (size_t i = 0; i < keys_.size(); i++) {
        const probe_key &at = keys_[i];
        if (at.table.vdc != vdc || at.table.v6 != v6) continue;
        std::set<ref_result> &valid = (*window_)[i];
        valid.merge(reference_.lookup(at.table, at.address));
        if (!relaxed_) continue;
        valid.insert(ref_result{});
        reference_.covering(at.table, at.address, [&](const ref_result &result) { valid.insert(result); });
        for (const ref_result &known : std::vector<ref_result>(valid.begin(), valid.end()))
            if (const auto now = reference_.via(at.table, known.bits, known.hop); now) valid.insert(*now);
    }
}

/* The reference goes ahead of the process, so that the probe knows what may come. */
template <typename requests> void random_life::reference_goes(bool relaxed, requests work) {
    window_open(relaxed);
    work();
    probe_->publish(window_);
}

random_route random_life::route(uint32_t vdc, bool v6, const std::vector<random_route> &before) {
    static constexpr ref_kind kinds[] = {ref_kind::plain,    ref_kind::plain,      ref_kind::plain,
                                         ref_kind::plain,    ref_kind::plain,      ref_kind::plain,
                                         ref_kind::attached, ref_kind::drop,       ref_kind::local,
                                         ref_kind::direct,   ref_kind::never_stale};
    random_route out = {table(vdc, v6), prefix(v6), kinds[pick(11)], {}, pick(4) == 0, false};
    if (ref_is_wildcard(out.table)) out.kind = ref_kind::drop;
    out.hops = out.kind == ref_kind::plain ? hops(v6) : ref_hops{hop(v6)};
    if (softfwd_config_get()->async && !out.remove && !ref_is_wildcard(out.table) && pick(6) == 0) {
        out.fails_late = true;
        out.hops.resize(1);
        for (const random_route &other : before)
            if (other.prefix == out.prefix) out.fails_late = false; /* the fault goes by prefix alone */
        /* When in the batch it fails is the engine's business: nothing else may depend on its neighbour. */
        if (out.fails_late) out.hops[0].address[v6 ? 15 : 3] = HOP_OF_FAILURES;
    }
    /* And what is bound to fail is left alone in the rest of its batch. */
    for (const random_route &other : before)
        if (other.fails_late && other.prefix == out.prefix) return route(vdc, v6, before);
    return out;
}

static uint8_t flags_of(ref_kind kind) {
    switch (kind) {
    case ref_kind::attached: return 0x08;
    case ref_kind::drop: return 0x04;
    case ref_kind::local: return 0x02;
    case ref_kind::direct: return 0x01;
    case ref_kind::never_stale: return 0x40;
    default: return 0;
    }
}

static wire_route wire_of(const random_route &route) {
    wire_route out;
    out.prefix = ref_text(route.prefix.address, route.table.v6) + "/" + std::to_string(route.prefix.bits);
    for (const ref_hop &hop : route.hops)
        out.hops.push_back({.address = ref_text(hop.address, route.table.v6),
                            .if_index = hop.if_index,
                            .table_id = route.table.id});
    out.remove = route.remove;
    out.flags =
        static_cast<uint8_t>(flags_of(route.kind) | (ref_is_wildcard(route.table) ? WILDCARD_ROUTE : 0));
    out.table_id = route.table.id;
    return out;
}

/* Only the first VDC with the shared wildcard table has routes there; version 0 does not look whose the table is. */
outcome random_life::reference_route(const random_route &r, uint32_t vdc, bool version0) {
    uint32_t &owner = reference_.owner[r.table.v6 ? 1 : 0];
    if (r.table.vdc == 0 && owner == 0 && !r.remove) owner = vdc;
    if (r.table.vdc == 0 && owner != 0 && owner != vdc && !version0) return outcome::skipped;
    if (r.hops.size() > 64) return outcome::bad;
    if (r.remove) return reference_.remove(r.table, r.prefix) ? outcome::good : outcome::bad;
    if (r.fails_late) {
        reference_.add_fails_late(r.table, r.prefix, r.kind, r.hops);
        return outcome::bad;
    }
    (void)reference_.add(r.table, r.prefix, r.kind, r.hops, epoch_);
    return outcome::good;
}

void random_life::route_batch() {
    const bool v6 = pick(2) != 0, version0 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    softfwd_config_get()->async = pick(4) == 0;
    softfwd_config_get()->async_every = 1 + pick(40);
    std::vector<random_route> routes;
    const size_t count = 1 + pick(ROUTES_MAX);
    while (routes.size() < count) {
        random_route one = route(vdc, v6, routes);
        const bool wildcard = ref_is_wildcard(one.table);
        if (version0 && !routes.empty() && ref_is_wildcard(routes.front().table) != wildcard) continue;
        if (version0 && one.hops.size() > V0_HOPS) one.hops.resize(V0_HOPS);
        routes.push_back(one);
        if (version0) routes.back().table = routes.front().table;
    }
    wire_batch batch;
    batch.epoch = epoch_;
    batch.table_id = routes.front().table.id;
    size_t good = 0, bad = 0;
    reference_goes(softfwd_config_get()->async, [&] {
        for (const random_route &r : routes) {
            const outcome result = reference_route(r, vdc, version0);
            good += result == outcome::good;
            bad += result == outcome::bad;
        }
    });
    for (const random_route &r : routes) {
        batch.routes.push_back(wire_of(r));
        if (!r.fails_late) continue;
        ASSERT_TRUE(softfwd_fault_late_prefix(v6 ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4,
                                              r.prefix.address.data(), r.prefix.bits));
    }
    operations += routes.size();
    rig_send_options options;
    options.vdc = static_cast<uint16_t>(vdc);
    options.version = version0 ? 0 : 1;
    const auto answer = rig_.send(v6 ? OPC_V6_ROUTES : OPC_V4_ROUTES,
                                  version0 ? wire_batch_v0(batch) : wire_batch_v1(batch), options);
    softfwd_fault_clear();
    softfwd_config_get()->async = false;
    route_batch_answer(answer, version0, good, bad);
}

void random_life::route_batch_answer(const std::optional<rig_message> &answer, bool version0, size_t good,
                                     size_t bad) {
    ASSERT_TRUE(answer.has_value());
    const bytes &payload = answer->payload;
    ASSERT_EQ(payload.size(), version0 ? 20u : 17u);
    EXPECT_EQ(payload[version0 ? 14 : 10] & 1, bad == 0 ? 1 : 0);
    if (!version0) return;
    EXPECT_EQ((payload[8] & 0x7f) << 8 | payload[9], static_cast<int>(bad));
    EXPECT_EQ(payload[10] << 8 | payload[11], static_cast<int>(good));
}

/* Hardware may refuse a group or an adjacency; whether the route needs a new one, its answer tells. Refused, it leaves
 * the old route as it forwarded, and stands when it comes again. */
void random_life::refused_route() {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    random_route r = {{vdc, v6, v6 ? 0x80000001u : 1u}, prefix(v6), ref_kind::plain, hops(v6), false, false};
    if (r.hops.size() > 64) return;
    const ref_model before = reference_;
    reference_goes(false, [&] { (void)reference_route(r, vdc); });
    softfwd_fault_nth(pick(2) == 0 ? SOFTFWD_OP_INSERT_ECMP : SOFTFWD_OP_INSERT_ADJ, 1 + pick(2));
    const bool stands = send_routes(vdc, v6, {r});
    softfwd_fault_clear();
    if (stands) return;
    reference_ = before;
    compare_keys();
    reference_goes(false, [&] { (void)reference_route(r, vdc); });
    EXPECT_TRUE(send_routes(vdc, v6, {r}));
}

/* True when all stand. */
bool random_life::send_routes(uint32_t vdc, bool v6, const std::vector<random_route> &routes) {
    wire_batch batch;
    batch.epoch = epoch_;
    for (const random_route &r : routes) batch.routes.push_back(wire_of(r));
    operations += routes.size();
    const auto answer = rig_.send(v6 ? OPC_V6_ROUTES : OPC_V4_ROUTES, wire_batch_v1(batch),
                                  {.vdc = static_cast<uint16_t>(vdc)});
    return answer && (answer->payload.at(10) & 1) != 0;
}

/* An operator's request that empties a table: it stands for all the removals. */
static bytes clear_of(const ref_table &table) {
    bytes out;
    put32(&out, table.id);
    put_zeros(&out, 17);
    put8(&out, table.v6 ? 2 : 1);
    put_zeros(&out, 4);
    put8(&out, 1);
    return out;
}

/* A table without routes goes some seconds later, unless one comes in time. */
void random_life::table_emptied() {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    const ref_table emptied = {vdc, v6, (v6 ? 0x80000001u : 1u) + 4 * pick(2)};
    std::vector<random_route> routes;
    reference_.each_route([&](const ref_table &table, const ref_prefix &prefix, const ref_hops &) {
        if (table == emptied) routes.push_back({table, prefix, ref_kind::plain, {}, true, false});
    });
    if (routes.empty()) return;
    reference_goes(false, [&] {
        for (const random_route &r : routes) (void)reference_route(r, vdc);
    });
    if (pick(2) == 0)
        rig_.send(OPC_CLEAR_FORWARDING, clear_of(emptied), {.vdc = static_cast<uint16_t>(vdc)});
    else
        EXPECT_TRUE(send_routes(vdc, v6, routes));
    if (pick(2) == 0) idle();
}

/* Neighbours are learnt and lost, also such that no route uses; an interface that comes up brings all of its own. */
void random_life::neighbours(bool all_of_interface) {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    std::vector<wire_neighbour> notice;
    std::vector<std::pair<ref_hop, uint8_t>> changes; /* last byte of the MAC; 0: lost */
    const uint32_t interface = pick(3);
    for (uint32_t i = 0, count = all_of_interface ? HOPS / 3 : 1 + pick(6); i < count; i++) {
        if (all_of_interface)
            changes.push_back({hop_at(v6, 3 * i + interface), static_cast<uint8_t>(1 + pick(200))});
        else
            changes.push_back({hop(v6), static_cast<uint8_t>(pick(3) == 0 ? 0 : 1 + pick(200))});
        const auto &[neighbour, mac] = changes.back();
        char text[16];
        std::snprintf(text, sizeof text, "0200000000%02x", mac);
        notice.push_back({ref_text(neighbour.address, v6), neighbour.if_index, mac == 0 ? "" : text, 0});
    }
    reference_goes(false, [&] {
        for (const auto &[neighbour, mac] : changes) {
            if (mac == 0)
                reference_.unresolve(vdc, v6, neighbour);
            else
                reference_.resolve(vdc, v6, neighbour, {2, 0, 0, 0, 0, mac});
        }
    });
    operations += changes.size();
    rig_send_options options;
    options.vdc = static_cast<uint16_t>(vdc);
    rig_.send(OPC_AM_NOTICE, wire_am_notice(notice), options);
}

/* Down, or down and deleted: for the adjacencies it is the same. */
void random_life::interface_event() {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    const ref_hop any = hop(v6);
    reference_goes(false, [&] { reference_.interface_down(vdc, v6, any.if_index); });
    operations++;
    rig_send_options options;
    options.vdc = static_cast<uint16_t>(vdc);
    const uint8_t flags = pick(2) != 0 ? 0x80 : 0x90;
    rig_.send(OPC_AM_NOTICE, wire_am_notice({{ref_text(any.address, v6), any.if_index, "", flags}}), options);
}

void random_life::stale_delete() {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    const uint32_t id = pick(2) == 0 ? 0 : (v6 ? 0x80000001u : 1u) + 4 * pick(2);
    if (pick(2) != 0) epoch_++;
    const auto epoch = static_cast<uint8_t>(epoch_ - pick(2));
    reference_goes(false, [&] { reference_.stale_delete(vdc, v6, id, epoch); });
    operations++;
    rig_send_options options;
    options.vdc = static_cast<uint16_t>(vdc);
    rig_.send(OPC_STALE_DELETE, wire_stale_delete(v6 ? 2 : 1, id, epoch), options);
}

/* Deletes the VDC if there is one, and makes it; a download makes it ready for stale deletes. */
void random_life::vdc_again(uint32_t vdc) {
    const auto id = static_cast<uint16_t>(vdc);
    if (probe_ != nullptr) {
        reference_goes(true, [&] { reference_.vdc_delete(vdc); });
        rig_.send(OPC_VDC_DELETE, wire_vdc(id));
        EXPECT_EQ(model_findings(rig_), "");
    }
    operations++;
    rig_.vdc(id);
    for (uint32_t &owner : reference_.owner)
        if (shared_ && owner == 0) owner = vdc; /* a VDC is born with them */
    rig_send_options options;
    options.vdc = id;
    for (const uint8_t operation : {uint8_t{1}, uint8_t{2}})
        rig_.send(OPC_DOWNLOAD, wire_download(operation), options);
    rig_.take();
}

/* Tables that have lost their last route go. */
void random_life::idle() {
    rig_.advance_seconds(6);
    reference_.empty_wildcards_end();
}

/* What was written to the engine, but for tables without routes, which come and go. */
static uint64_t writes() {
    softfwd_counters counters;
    softfwd_counters_get(&counters);
    return counters.updates + counters.installs - counters.removals - softfwd_table_count();
}

/* The process dies and comes back; no look-up sees it, and no engine write, unless a table changes its VDC. */
void random_life::restart() {
    operations++;
    reference_goes(false, [] {});
    const uint64_t before = writes();
    ASSERT_EQ(rig_.restart(), 0);
    if (!shared_) {
        EXPECT_EQ(writes(), before);
    }
    reference_.restarted();
}

void random_life::compare_keys() {
    window_open(false);
    probe_->publish(window_);
    for (size_t i = 0; i < keys_.size(); i++)
        ASSERT_EQ(probe_wrong(keys_[i], probe_lookup(reader_, keys_[i]), (*window_)[i]), "");
}

void random_life::compare() {
    compare_keys();
    if (::testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(guard_finding(), "");
    const bool all = ++batches_ % RECORDS_EVERY == 0;
    ASSERT_EQ(model_findings(rig_, {.engine = true, .records = all}), "");
    if (all) compare_routes();
    rig_.take();
}

void random_life::compare_routes() {
    size_t count = 0;
    reference_.each_route([&](const ref_table &table, const ref_prefix &prefix, const ref_hops &hops) {
        const probe_key at = {table, prefix.address};
        const auto valid = reference_.lookup(table, prefix.address);
        EXPECT_EQ(probe_wrong(at, probe_lookup(reader_, at), valid), "");
        if (hops.size() > 1 && valid.begin()->bits == prefix.bits) compare_flows(table, prefix, hops);
        count++;
    });
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4) + softfwd_prefix_count(ADDRESS_FAMILY_V6), count);
}

/* The member that a flow takes is the path of that place in the route. */
void random_life::compare_flows(const ref_table &table, const ref_prefix &prefix, const ref_hops &hops) {
    softfwd_flow flow = {};
    std::copy(prefix.address.begin(), prefix.address.end(), flow.destination);
    for (uint16_t port = 0; port < 4; port++) {
        flow.source_port = port;
        softfwd_result found = {};
        ASSERT_EQ(softfwd_lookup_flow(reader_, table.v6 ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4, table.vdc,
                                      table.id, &flow, &found),
                  0);
        ASSERT_EQ(found.hop.members, hops.size());
        EXPECT_EQ(found.hop.if_index, hops[found.hop.member].if_index);
        EXPECT_TRUE(std::equal(found.next_hop, found.next_hop + (table.v6 ? 16 : 4),
                               hops[found.hop.member].address.begin()));
    }
}

void random_life::step() {
    switch (const uint32_t what = pick(100); what) {
    case 0: vdc_again(1 + pick(2)); break;
    case 1:
    case 2:
    case 3:
    case 4: stale_delete(); break;
    case 5:
    case 6:
    case 7: idle(); break;
    case 8:
    case 9:
    case 10:
    case 11:
    case 12: interface_event(); break;
    case 13: table_emptied(); break;
    case 14: neighbours(true); break;
    case 15: restart(); break;
    default:
        if (what < 20)
            refused_route();
        else if (what < 40)
            neighbours(false);
        else
            route_batch();
    }
    compare();
}

void random_life::finish() {
    EXPECT_EQ(probe_->finish(), "");
    EXPECT_GT(probe_->rounds, 0u);
    softfwd_counters counters;
    softfwd_counters_get(&counters);
    EXPECT_EQ(counters.violations + counters.space_overruns, 0u);
    std::printf("%zu operations, %zu routes at the end, %llu rounds of the probe\n", operations,
                reference_.route_count(), static_cast<unsigned long long>(probe_->rounds));
    softfwd_reader_detach(reader_);
    reference_.changed = [](uint32_t, bool) {};
    for (const uint16_t vdc : {uint16_t{1}, uint16_t{2}}) rig_.send(OPC_VDC_DELETE, wire_vdc(vdc));
    EXPECT_EQ(model_findings(rig_), "");
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4) + softfwd_prefix_count(ADDRESS_FAMILY_V6), 0u);
    EXPECT_EQ(softfwd_adjacency_count() + softfwd_group_count() + softfwd_table_count(), 0u);
}

TEST(ufib_random, engine_follows_the_reference_and_never_shows_what_was_not_valid) {
    const uint64_t seed = number_of("LCFWD_RANDOM_SEED", 20221);
    const uint64_t operations = number_of("LCFWD_RANDOM_OPERATIONS", 20000);
    std::printf("LCFWD_RANDOM_SEED=%llu LCFWD_RANDOM_OPERATIONS=%llu\n",
                static_cast<unsigned long long>(seed), static_cast<unsigned long long>(operations));
    RecordProperty("seed", std::to_string(seed));
    random_life life(seed);
    life.start();
    while (life.operations < operations && !::testing::Test::HasFailure()) life.step();
    life.finish();
}
