/* tests/ufib/ufib_rig.h: a rig with the unicast domain on the recording platform, VDC 1 made, nothing sent yet; and
 * both families as rows, so that each case runs for both. */
#pragma once

#include "core/lcfwd_stats.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "tests/support/fake_platform.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check.h"
#include "ufib/ufib_vdc.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using lines = std::vector<std::string>;

constexpr uint32_t ETH1 = 0x1a010001; /* Ethernet interfaces of slot 1 */
constexpr uint32_t ETH2 = 0x1a010002;

struct family {
    const char *name;
    uint32_t index; /* of counters */
    uint32_t opcode;
    uint8_t add, remove; /* route opcodes */
    uint32_t err_opcode; /* number of a bad route opcode */
    uint32_t table, wildcard;
    const char *prefix, *prefix2, *prefix3; /* no two alike */
    const char *hop, *hop2;
    const char *handler;
    uint32_t afi;
    uint32_t drop, punt, glean; /* handles that the globals of VDC 1 get from the recording platform */
    const char *prefix_slot, *delete_slot, *table_slot;
    ufib_err_code null_payload, no_vdc, inactive, mask_len;
};

inline constexpr family v4_family = {"v4",
                                     0,
                                     OPC_V4_ROUTES,
                                     1,
                                     2,
                                     0x42000d,
                                     1,
                                     65534,
                                     "10.1.0.0/16",
                                     "10.2.0.0/16",
                                     "10.3.3.3/32",
                                     "192.0.2.1",
                                     "192.0.2.2",
                                     "ufib_ufdm_v4_route_update",
                                     1,
                                     3,
                                     4,
                                     5,
                                     "insert_v4_prefix",
                                     "delete_v4_prefix",
                                     "insert_v4_table",
                                     E_V4RTUP_NULL_PAYLOAD,
                                     E_V4RTUP_NO_VDC_CTXT,
                                     E_V4RTUP_VDC_INACTIVE,
                                     E_IPV4_MASK_LEN};
inline constexpr family v6_family = {"v6",
                                     1,
                                     OPC_V6_ROUTES,
                                     3,
                                     4,
                                     0x43000d,
                                     0x80000001,
                                     65535,
                                     "2001:db8:1::/48",
                                     "2001:db8:2::/48",
                                     "2001:db8:3::3/128",
                                     "fe80::1",
                                     "fe80::2",
                                     "ufib_ufdm_v6_route_update",
                                     2,
                                     6,
                                     7,
                                     8,
                                     "insert_v6_prefix",
                                     "delete_v6_prefix",
                                     "insert_v6_table",
                                     E_V6RTUP_NULL_PAYLOAD,
                                     E_V6RTUP_NO_VDC_CTXT,
                                     E_V6RTUP_VDC_INACTIVE,
                                     E_IPV6_MASK_LEN};

struct ufib_test : testing::Test {
    explicit ufib_test(const platform_library *library = fake_platform_library()) : rig(options(library)) {
        fake_platform_reset();
    }
    void SetUp() override { start(); }
    void TearDown() override {
        if (consistent) {
            rig.between_steps();
            EXPECT_EQ(model_findings(rig), "");
        }
    }

    static rig_options options(const platform_library *library) {
        rig_options out;
        out.library = library;
        out.ufib = ufib_domain();
        return out;
    }
    void start() {
        ASSERT_EQ(rig.start(), 0);
        rig.vdc(1);
        fake_take();
    }

    /* A route of the family's own table with one next hop. */
    static wire_route add(const family &f, const std::string &prefix, const std::string &hop = "",
                          uint32_t if_index = ETH1, uint8_t flags = 0) {
        wire_route route;
        route.prefix = prefix;
        route.table_id = f.table;
        route.flags = flags;
        route.hops = {{.address = hop.empty() ? f.hop : hop, .if_index = if_index}};
        return route;
    }
    static wire_route remove(const family &f, const std::string &prefix, uint8_t flags = 0) {
        wire_route route;
        route.prefix = prefix;
        route.table_id = f.table;
        route.flags = flags;
        route.remove = true;
        return route;
    }
    static bytes batch(const family &f, unsigned version, const std::vector<wire_route> &routes,
                       uint8_t flags = 0, uint8_t epoch = 1) {
        wire_batch out;
        out.routes = routes;
        out.flags = flags;
        out.epoch = epoch;
        out.table_id = f.table;
        return version == 0 ? wire_batch_v0(out) : wire_batch_v1(out);
    }

    /* The answer's bytes in hex; empty: none came. */
    std::string send(const family &f, unsigned version, const bytes &payload, uint16_t vdc = 1) {
        const auto answer = rig.send(f.opcode, payload, {.vdc = vdc, .version = version});
        return answer ? hex_from_bytes(answer->payload) : "";
    }
    /* True when the whole batch stood. */
    bool load(const family &f, const std::vector<wire_route> &routes, uint8_t epoch = 1) {
        const auto answer = rig.send(f.opcode, batch(f, 1, routes, 0, epoch));
        return answer && (answer->payload.at(10) & 1) != 0;
    }
    void neighbour(const wire_neighbour &row) { rig.send(OPC_AM_NOTICE, wire_am_notice({row})); }

    static uint32_t errors(uint32_t code) { return ufib_errors[code]; }
    static const ufib_family_stats &stats(const family &f, uint32_t vdc = 1) {
        return lcfwd_vdc_row(vdc)->ufib_stats->family[f.index];
    }

    lcfwd_rig rig;
    bool consistent =
        true; /* model, engine and store agree at the end; off where a test means to leave a flaw */
};

struct ufib_family_test : ufib_test, testing::WithParamInterface<const family *> {
    const family &f = *GetParam();
};

inline const auto both_families = testing::Values(&v4_family, &v6_family);
inline std::string family_name(const testing::TestParamInfo<const family *> &row) { return row.param->name; }
