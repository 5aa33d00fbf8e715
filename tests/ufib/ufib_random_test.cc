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

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

constexpr uint32_t SLOT = 3;
constexpr size_t ROUTES_MAX = 30; /* in a batch */
constexpr size_t PROBE_KEYS = 48;
constexpr uint8_t HOP_OF_FAILURES = 99; /* last byte of its address */
constexpr size_t RECORDS_EVERY = 16;    /* batches: the files are read that often */

static uint64_t number_of(const char *name, uint64_t otherwise) {
    const char *text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

static rig_options options_with_engine() {
    softfwd_config_reset();
    softfwd_config_get()->slot = SLOT;
    softfwd_config_get()->check_integrity = true;
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
    ref_hop hop;
    bool remove;
    bool fails_late;
};

/* The process, the reference and the random numbers that drive both. */
class random_life {
public:
    explicit random_life(uint64_t seed) : random_(seed), rig_(options_with_engine()) {}

    void start();
    void step();
    void finish();
    size_t operations = 0;

private:
    uint32_t pick(uint32_t below) { return static_cast<uint32_t>(random_() % below); }
    ref_address address(bool v6);
    ref_prefix prefix(bool v6);
    ref_hop hop(bool v6);
    ref_table table(uint32_t vdc, bool v6) { return {vdc, v6, (v6 ? 0x80000001u : 1u) + 4 * pick(2)}; }
    probe_key key();
    random_route route(uint32_t vdc, bool v6, const std::vector<random_route> &before);

    void route_batch();
    void route_batch_answer(const std::optional<rig_message> &answer, bool version0, size_t good, size_t bad);
    void neighbours();
    void interface_event();
    void stale_delete();
    void vdc_again(uint32_t vdc);
    void idle() { rig_.advance_seconds(6); }

    void window_open(bool relaxed);
    void window_see();
    template <typename requests> void reference_goes(bool relaxed, requests work);
    void compare();
    void compare_routes();

    std::mt19937_64 random_;
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

ref_hop random_life::hop(bool v6) {
    ref_hop out = {0x1a000001 + pick(3), {}};
    if (v6)
        out.address = {0xfe, 0x80};
    else
        out.address = {192, 0, 2};
    out.address[v6 ? 15 : 3] = static_cast<uint8_t>(1 + pick(6));
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
    reference_.changed = [this] { window_see(); };
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
    window_see();
}

void random_life::window_see() {
    for (size_t i = 0; i < keys_.size(); i++) {
        const probe_key &at = keys_[i];
        std::set<ref_result> &valid = (*window_)[i];
        valid.insert(reference_.lookup(at.table, at.address));
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
    random_route out = {table(vdc, v6), prefix(v6), kinds[pick(11)], hop(v6), pick(4) == 0, false};
    if (softfwd_config_get()->async && !out.remove && pick(6) == 0) {
        out.fails_late = true;
        for (const random_route &other : before)
            if (other.prefix == out.prefix) out.fails_late = false; /* the fault goes by prefix alone */
        /* When in the batch it fails is the engine's business: nothing else may depend on its neighbour. */
        if (out.fails_late) out.hop.address[v6 ? 15 : 3] = HOP_OF_FAILURES;
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
    wire_hop hop;
    hop.address = ref_text(route.hop.address, route.table.v6);
    hop.if_index = route.hop.if_index;
    hop.table_id = route.table.id;
    out.hops = {hop};
    out.remove = route.remove;
    out.flags = flags_of(route.kind);
    out.table_id = route.table.id;
    return out;
}

void random_life::route_batch() {
    const bool v6 = pick(2) != 0, version0 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    softfwd_config_get()->async = pick(4) == 0;
    softfwd_config_get()->async_every = 1 + pick(40);
    std::vector<random_route> routes;
    const size_t count = 1 + pick(ROUTES_MAX);
    while (routes.size() < count) {
        routes.push_back(route(vdc, v6, routes));
        if (version0) routes.back().table = routes.front().table;
    }
    wire_batch batch;
    batch.epoch = epoch_;
    batch.table_id = routes.front().table.id;
    size_t good = 0, bad = 0;
    reference_goes(softfwd_config_get()->async, [&] {
        for (const random_route &r : routes) {
            bool done = false;
            if (r.remove)
                done = reference_.remove(r.table, r.prefix);
            else if (r.fails_late)
                reference_.add_fails_late(r.table, r.prefix, r.kind, r.hop);
            else
                done = reference_.add(r.table, r.prefix, r.kind, r.hop, epoch_);
            (done ? good : bad)++;
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

/* Neighbours are learnt and lost, also such that no route uses. */
void random_life::neighbours() {
    const bool v6 = pick(2) != 0;
    const uint32_t vdc = 1 + pick(2);
    std::vector<wire_neighbour> notice;
    std::vector<std::pair<ref_hop, uint8_t>> changes; /* last byte of the MAC; 0: lost */
    for (uint32_t left = 1 + pick(6); left > 0; left--) {
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
    const uint32_t id = pick(2) == 0 ? 0 : table(vdc, v6).id;
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
    rig_send_options options;
    options.vdc = id;
    for (const uint8_t operation : {uint8_t{1}, uint8_t{2}})
        rig_.send(OPC_DOWNLOAD, wire_download(operation), options);
    rig_.take();
}

void random_life::compare() {
    window_open(false);
    probe_->publish(window_);
    for (const probe_key &at : keys_)
        ASSERT_EQ(ref_text(probe_lookup(reader_, at)), ref_text(reference_.lookup(at.table, at.address)))
            << ref_text(at.address, at.table.v6) << " vdc " << at.table.vdc << " table " << at.table.id;
    ASSERT_EQ(guard_finding(), "");
    const bool all = ++batches_ % RECORDS_EVERY == 0;
    ASSERT_EQ(model_findings(rig_, {.engine = true, .records = all}), "");
    if (all) compare_routes();
    rig_.take();
}

void random_life::compare_routes() {
    size_t count = 0;
    reference_.each_route([&](const ref_table &table, const ref_prefix &prefix) {
        const probe_key at = {table, prefix.address};
        EXPECT_EQ(ref_text(probe_lookup(reader_, at)), ref_text(reference_.lookup(table, prefix.address)));
        count++;
    });
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4) + softfwd_prefix_count(ADDRESS_FAMILY_V6), count);
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
    default:
        if (what < 40)
            neighbours();
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
    EXPECT_EQ(counters.violations, 0u);
    std::printf("%zu operations, %zu routes at the end, %llu rounds of the probe\n", operations,
                reference_.route_count(), static_cast<unsigned long long>(probe_->rounds));
    softfwd_reader_detach(reader_);
    reference_.changed = [] {};
    for (const uint16_t vdc : {uint16_t{1}, uint16_t{2}}) rig_.send(OPC_VDC_DELETE, wire_vdc(vdc));
    EXPECT_EQ(model_findings(rig_), "");
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4) + softfwd_adjacency_count(), 0u);
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
