/* Reverse-path notices: mode, hold, record and engine of an interface go together. */
#include "tests/ufib/control_rig.h"

struct rpf_row {
    uint8_t mode;
    unsigned afi;
    uint32_t if_index;
};

static bytes rpf(uint32_t operation, const std::vector<rpf_row> &rows) {
    bytes out;
    put32(&out, static_cast<uint32_t>(12 + rows.size() * 8));
    put32(&out, operation);
    put32(&out, static_cast<uint32_t>(rows.size() * 8));
    for (const rpf_row &row : rows) {
        put8(&out, row.mode);
        put8(&out, row.afi);
        put16(&out, 0);
        put32(&out, row.if_index);
    }
    return out;
}

struct rpf_test : control_test {
    uint8_t bit() const { return static_cast<uint8_t>(4u << f.index); }
    std::string modes(unsigned mode) const {
        return f.index == 0 ? std::to_string(mode) + " 0" : "0 " + std::to_string(mode);
    }
    std::string record(unsigned mode) const {
        return f.index == 0 ? "0" + std::to_string(mode) + "00" : "000" + std::to_string(mode);
    }
};
INSTANTIATE_TEST_SUITE_P(both, rpf_test, both_families, family_name);

TEST_P(rpf_test, set_and_clear_reach_engine_store_and_hold) {
    rig.send(OPC_RPF, rpf(1, {{3, f.afi, ETH1}}));
    ASSERT_NE(idb(), nullptr);
    EXPECT_EQ(idb()->holders, bit());
    EXPECT_TRUE(ufib_idb_is_rpf_mode_strict(idb()->rpf_mode[f.index]));
    EXPECT_EQ(calls({"update_intf", "one_w", "all_w"}),
              (lines{"update_intf_rpf 1 0x1a010001 " + modes(3), "one_write_ready", "all_writes_ready"}));
    EXPECT_EQ(rig.records("rpf_vdc_1"), (std::map<std::string, std::string>{{"0100011a", record(3)}}));

    rig.send(OPC_RPF, rpf(2, {{3, f.afi, ETH1}}));
    EXPECT_EQ(idb()->holders, 0);
    EXPECT_EQ(calls({"update_intf"}), (lines{"update_intf_rpf 1 0x1a010001 0 0"}));
    rig.advance_seconds(6);
    EXPECT_EQ(idb(), nullptr);
    EXPECT_TRUE(rig.records("rpf_vdc_1").empty()) << "the record outlives its interface";
}

TEST_P(rpf_test, a_set_within_five_seconds_keeps_the_interface) {
    rig.send(OPC_RPF, rpf(1, {{1, f.afi, ETH1}}));
    rig.send(OPC_RPF, rpf(2, {{0, f.afi, ETH1}}));
    rig.advance_seconds(3);
    rig.send(OPC_RPF, rpf(1, {{2, f.afi, ETH1}}));
    rig.advance_seconds(10);
    ASSERT_NE(idb(), nullptr);
    EXPECT_TRUE(ufib_idb_is_rpf_mode_loose(idb()->rpf_mode[f.index]));
    EXPECT_EQ(rig.records("rpf_vdc_1").at("0100011a"), record(2));
}

TEST_P(rpf_test, a_deleted_interface_is_checked_no_more) {
    rig.send(OPC_RPF, rpf(1, {{3, f.afi, ETH1}}));
    ASSERT_EQ(rig.dispatch(OPC_AM_NOTICE, wire_am_notice({{f.hop, ETH1, "", 0x10}})), 0);
    fake_take();
    rig.advance_seconds(6);
    EXPECT_EQ(idb(), nullptr);
    EXPECT_EQ(calls({"update_intf", "all_w"}),
              (lines{"update_intf_rpf 1 0x1a010001 0 0", "all_writes_ready"}));
    EXPECT_TRUE(rig.records("rpf_vdc_1").empty());
}

TEST_P(rpf_test, a_refused_mode_leaves_what_was) {
    rig.send(OPC_RPF, rpf(1, {{1, f.afi, ETH1}}));
    control.refuse_rpf = true;
    rig.send(OPC_RPF, rpf(1, {{3, f.afi, ETH1}}));
    EXPECT_EQ(errors(E_RPF_API), 1u);
    EXPECT_EQ(idb()->rpf_mode[f.index], 1);
    EXPECT_EQ(idb()->holders, bit());
    EXPECT_EQ(rig.records("rpf_vdc_1").at("0100011a"), record(1));
    rig.send(OPC_RPF, rpf(1, {{3, f.afi, ETH2}}));
    rig.advance_seconds(6);
    EXPECT_EQ(idb(ETH2), nullptr) << "nobody holds it";
}

TEST_P(rpf_test, bad_notices_are_counted_and_complete_records_of_short_ones_are_worked) {
    const bytes two = rpf(1, {{1, f.afi, ETH1}, {1, f.afi, ETH2}});
    struct {
        bytes payload;
        size_t interfaces;
    } const rows[] = {{rpf(3, {{1, f.afi, ETH1}}), 0},
                      {rpf(1, {{1, 3, ETH1}}), 0},
                      {rpf(1, {{4, f.afi, ETH1}}), 0},
                      {bytes(two.begin(), two.end() - 1), 1}};
    size_t errors_wanted = 0, made = 0;
    for (const auto &row : rows) {
        rig.send(OPC_RPF, row.payload);
        EXPECT_EQ(errors(E_RPF_API), ++errors_wanted);
        made += row.interfaces;
        EXPECT_EQ(idb(ETH1) != nullptr, made != 0);
        EXPECT_EQ(idb(ETH2), nullptr);
    }
    for (size_t size = 0; size < 12; size++)
        EXPECT_EQ(rig.dispatch(OPC_RPF, bytes(two.begin(), two.begin() + static_cast<long>(size))), 16);
    rig.send(OPC_RPF, rpf(2, {{0, f.afi, ETH2}}));
    EXPECT_EQ(idb(ETH2), nullptr) << "clearing makes no interface";
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->rpf_updates, 5u);
}
