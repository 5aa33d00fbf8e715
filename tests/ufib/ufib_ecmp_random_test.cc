/* Routes of one to 64 paths come, change and go at random in the software engine, which refuses some of the writes;
 * maps of hops say what each flow may get, and the model checker compares everything else. */
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_reader.h"
#include "tests/support/model_check.h"
#include "tests/ufib/ufib_rig.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

constexpr uint32_t HOPS = 70, PREFIXES = 60, STEPS = 1500;

class ecmp_random : public ufib_family_test {
public:
    ecmp_random() {
        rig.options.library = softfwd_library();
        softfwd_config_reset();
        softfwd_config_get()->slot = static_cast<int>(rig.options.slot);
        softfwd_config_get()->check_integrity = true;
        softfwd_config_get()->ecmp_space_len = 24;
        softfwd_config_get()->say = [](const char *) {};
    }
    ~ecmp_random() override {
        softfwd_fault_clear();
        softfwd_config_reset();
    }

    std::string hop_address(uint32_t n) const {
        return (f.index == 0 ? "192.0.2." : "fe80::") + std::to_string(n + 1);
    }
    static uint32_t hop_interface(uint32_t n) { return ETH1 + n % 5; }
    std::string prefix(uint32_t n) const {
        return f.index == 0 ? "10.0." + std::to_string(n) + ".0/24"
                            : "2001:db8:" + std::to_string(n) + "::/48";
    }
    uint32_t pick(uint32_t below) { return static_cast<uint32_t>(random() % below); }

    void route_change(uint32_t n) {
        if (pick(4) == 0) {
            const bool there = routes.erase(n) != 0;
            EXPECT_EQ(load(f, {remove(f, prefix(n))}), there);
            return;
        }
        std::vector<uint32_t> hops(HOPS);
        for (uint32_t i = 0; i < HOPS; i++) hops[i] = i;
        std::shuffle(hops.begin(), hops.end(), random);
        hops.resize(pick(3) == 0 ? 1 + pick(64) : 1 + pick(3));
        if (pick(2) == 0) hops = {pick(4), 4 + pick(4)}; /* shared by many */
        wire_route route = add(f, prefix(n));
        route.hops.clear();
        for (const uint32_t hop : hops)
            route.hops.push_back({.address = hop_address(hop), .if_index = hop_interface(hop)});
        const uint32_t refusal = pick(40);
        if (refusal == 0) softfwd_fault_nth(SOFTFWD_OP_INSERT_ECMP, 1);
        if (refusal == 1) softfwd_fault_nth(SOFTFWD_OP_INSERT_ADJ, 1 + pick(3));
        if (load(f, {route})) routes[n] = hops; /* else it keeps what it had */
        softfwd_fault_clear();
    }
    void neighbour_change(uint32_t n) {
        const bool resolve = resolved.count(n) == 0;
        if (resolve)
            resolved.insert(n);
        else
            resolved.erase(n);
        neighbour(
            {.address = hop_address(n), .if_index = hop_interface(n), .mac = resolve ? "020000000001" : ""});
    }

    /* Some flows of a prefix. */
    void flows_check(uint32_t n) {
        softfwd_flow flow = {};
        address_family family;
        std::string address = prefix(n);
        address.resize(address.find('/'));
        ASSERT_EQ(address_parse(address.c_str(), &family, flow.destination), 0);
        const auto found = routes.find(n);
        for (uint16_t port = 0; port < 8; port++) {
            flow.source_port = port;
            softfwd_result result;
            ASSERT_EQ(softfwd_lookup_flow(reader, family, 1, f.table, &flow, &result), 0);
            if (found == routes.end()) {
                ASSERT_EQ(result.hop.action, SOFTFWD_NO_ROUTE) << prefix(n);
                continue;
            }
            const std::vector<uint32_t> &hops = found->second;
            ASSERT_EQ(result.hop.members, hops.size() == 1 ? 0 : hops.size()) << prefix(n);
            const uint32_t hop = hops[result.hop.member];
            const std::string wanted = hex_from_bytes(address_bytes(hop_address(hop)));
            const bytes got(result.next_hop, result.next_hop + (f.index == 0 ? 4 : 16));
            ASSERT_EQ(hex_from_bytes(got), wanted) << prefix(n);
            ASSERT_EQ(result.hop.action, resolved.count(hop) != 0 ? SOFTFWD_FORWARD : SOFTFWD_GLEAN) << hop;
        }
    }
    void all_check() {
        for (uint32_t n = 0; n < PREFIXES; n++) flows_check(n);
        ASSERT_EQ(model_findings(rig), "");
        softfwd_counters counters;
        softfwd_counters_get(&counters);
        ASSERT_EQ(counters.violations + counters.space_overruns, 0u);
    }

    unsigned seed = std::random_device{}();
    std::mt19937 random{seed};
    softfwd_reader *reader = nullptr;
    std::map<uint32_t, std::vector<uint32_t>> routes;
    std::set<uint32_t> resolved;
};
INSTANTIATE_TEST_SUITE_P(families, ecmp_random, both_families, family_name);

TEST_P(ecmp_random, flows_follow_the_routes_through_changes_and_refusals) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_EQ(softfwd_reader_attach(rig.options.slot, false, &reader), 0);
    for (uint32_t step = 0; step < STEPS && !HasFatalFailure(); step++) {
        if (pick(5) == 0)
            neighbour_change(pick(HOPS));
        else
            route_change(pick(PREFIXES));
        if (step % 250 == 249) all_check();
    }
    for (uint32_t n = 0; n < PREFIXES; n++) EXPECT_EQ(load(f, {remove(f, prefix(n))}), routes.erase(n) != 0);
    all_check();
    EXPECT_EQ(softfwd_group_count(), 0u);
    softfwd_reader_detach(reader);
}
