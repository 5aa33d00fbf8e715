#include "core/lcfwd_db.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_stats.h"
#include "core/lcfwd_timer.h"
#include "host/bus/bus_local.h"
#include "host/system/system.h"
#include "host/trace/bl.h"
#include "tests/core/core_rig.h"

#include "core/ufib_trace.h"
#include <cerrno>

struct report : core_test {
    report() {
        EXPECT_EQ(rig.start(), 0);
        EXPECT_EQ(bl_reg_trace_formats(1, ufib_trace_formats, UFIB_TR_COUNT), 0);
        rig.vdc(2);
        EXPECT_EQ(bl_open(2, 1, 1, ufib_trace_levels, UFIB_TRACE_LEVELS), 0);
        row = lcfwd_vdc_row(2);
    }
    lcfwd_vdc_desc *row;
};

static const struct {
    uint32_t ufib, mfib, epoch;
    const char *want;
} report_cases[] = {{0, 0, 0, "0000030000080000"}, {4, 0, 0, "0000030400a80000"},
                    {4, 4, 0, "0000030404f80000"}, {5, 4, 1, "0000030504f00000"},
                    {6, 5, 1, "0000030605d00000"}, {6, 6, 200, "0000030606c00000"},
                    {2, 3, 1, "0000030203000000"}};

TEST_F(report, bytes_and_address_are_those_that_the_supervisor_reads) {
    for (const auto &c : report_cases) {
        row->ufib_state = c.ufib;
        row->mfib_state = c.mfib;
        row->ufdm_epoch = c.epoch;
        lcfwd_send_report(row);
        const auto sent = rig.take();
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].opcode, OPC_REPORT);
        EXPECT_EQ(sent[0].node, 0xfe010001u) << "the supervisor of VDC 2";
        EXPECT_EQ(sent[0].vdc, 2u);
        EXPECT_EQ(hex_from_bytes(sent[0].payload), c.want);
    }
    EXPECT_EQ(rig.traces(2, "report").back(),
              "report ufib state UPGRADING mfib state EXITED flags 0x0 to (M/U)FDM");
}

TEST_F(report, change_to_the_present_state_tells_nobody) {
    const auto before = rig.records("vdc");
    row->router_mac = 99;
    lcfwd_state_change(row, LCFWD_STATE_INITIALIZED, true);
    lcfwd_state_change(row, LCFWD_STATE_INITIALIZED, false);
    EXPECT_TRUE(rig.take().empty());
    EXPECT_EQ(rig.records("vdc"), before) << "and writes no record";
}

TEST_F(report, is_sent_for_active_vdcs_only_and_every_300_seconds) {
    rig.vdc(5);
    lcfwd_send_report(nullptr);
    lcfwd_send_report(lcfwd_vdc_row(1));
    EXPECT_TRUE(rig.take().empty());
    rig.advance_seconds(299);
    EXPECT_TRUE(rig.take().empty());
    rig.advance_seconds(1);
    EXPECT_EQ(rig.take(OPC_REPORT).size(), 2u);
    rig.advance_seconds(300);
    EXPECT_EQ(rig.take(OPC_REPORT).size(), 2u) << "the callback starts the timer again";
}

TEST_F(report, failing_send_is_logged_and_forgotten) {
    mts_local_hook_set([](void *, const mts_msg *) { return ENOBUFS; }, nullptr);
    lcfwd_send_report(row);
    mts_local_hook_set(nullptr, nullptr);
    EXPECT_TRUE(rig.log_has("lcfwd_send_report: mts_send failed, errno:"));
}

TEST_F(report, state_names) {
    std::string names;
    for (uint32_t state = 0; state < 8; state++) names += lcfwd_state_name(state) + std::string(" ");
    EXPECT_EQ(names, "NOT-READY RESTARTING UPGRADING EXITED INITIALIZED LOADING ACTIVE UNKNOWN ");
    row->ufib_state = LCFWD_STATE_UPGRADING;
    EXPECT_TRUE(lcfwd_state_is_upgrade(2));
}

/* Both download brackets: which states they move, which they only note. */
TEST_F(report, download_moves_4_to_5_to_6_and_only_traces_otherwise) {
    const struct {
        bool unicast;
        uint32_t state;
        uint8_t operation;
        uint32_t want;
        const char *trace;
    } cases[] = {
        {true, 4, 1, 5, "report"},
        {true, 5, 1, 5, "UFDM download commence in state LOADING"},
        {true, 5, 2, 6, "report"},
        {true, 4, 2, 4, "UFDM download end in state INITIALIZED"},
        {true, 6, 1, 6, "UFDM download commence in state ACTIVE"},
        {false, 4, 1, 5, "report"},
        {false, 6, 1, 6, "MFDM download commence in state ACTIVE"},
        {false, 5, 2, 6, "report"},
        {false, 4, 2, 4, "MFDM download end in state INITIALIZED"},
    };
    ufib_vdc_stats ufib_stats = {};
    mfib_vdc_stats mfib_stats = {};
    row->ufib_stats = &ufib_stats;
    row->mfib_stats = &mfib_stats;
    for (const auto &c : cases) {
        uint32_t &state = c.unicast ? row->ufib_state : row->mfib_state;
        state = c.state;
        const size_t traces = rig.traces(2, c.trace).size();
        if (c.unicast)
            lcfwd_ufdm_download(row, wire_download(c.operation).data());
        else
            EXPECT_EQ(rig.dispatch(OPC_MFDM_DOWNLOAD, wire_mfdm_download(c.operation), {.vdc = 2}), 0);
        EXPECT_EQ(state, c.want) << c.trace;
        EXPECT_EQ(rig.take(OPC_REPORT).size(), c.want == c.state ? 0u : 1u);
        EXPECT_EQ(rig.traces(2, c.trace).size(), traces + 1) << c.trace;
    }
    EXPECT_EQ(ufib_stats.downloads, 5u);
    EXPECT_EQ(mfib_stats.download_starts, 2u);
    EXPECT_EQ(mfib_stats.download_ends, 2u);
    row->ufib_stats = nullptr;
    row->mfib_stats = nullptr;
    lcfwd_ufdm_download(row, wire_download(3).data());
    EXPECT_TRUE(rig.log_has("invalid download opcode"));
    EXPECT_TRUE(rig.log_has("MTS_OPC_MFDM_DOWNLOAD with MFDM_DNLD_COMMENCE"));
    EXPECT_TRUE(rig.log_has("MTS_OPC_MFDM_DOWNLOAD with MFDM_DNLD_END"));
}

TEST_F(report, multicast_messages_check_payload_and_context) {
    EXPECT_EQ(rig.dispatch(OPC_MFDM_DOWNLOAD, {}, {.vdc = 2}), 16);
    EXPECT_EQ(rig.dispatch(OPC_MFDM_DOWNLOAD, {1}, {.vdc = 6}), 16);
    EXPECT_EQ(rig.dispatch(OPC_MFDM_DOWNLOAD, {1}, {.vdc = 3}), 0) << "not active: nothing to do";
    EXPECT_EQ(rig.dispatch(OPC_MFDM_DOWNLOAD, {9}, {.vdc = 2}), 0);
    EXPECT_EQ(rig.dispatch(OPC_MFDM_UP, {}, {.vdc = 0}), 16);
    EXPECT_TRUE(rig.log_has("mfib_fu_mfdm_download - null payload"));
    EXPECT_TRUE(rig.log_has("mfib_fu_mfdm_download - failed to set vdc ctxt"));
    EXPECT_TRUE(rig.take(OPC_REPORT).empty());
    EXPECT_EQ(rig.dispatch(OPC_MFDM_UP, {}, {.vdc = 2}), 0);
    EXPECT_EQ(rig.take(OPC_REPORT).size(), 1u);
    EXPECT_EQ(rig.traces(2, "MFDM up").size(), 1u);
}

TEST_F(report, up_of_the_unicast_sender_is_traced_with_its_epoch) {
    row->ufdm_epoch = 17;
    lcfwd_ufdm_up(row);
    EXPECT_EQ(rig.traces(2, "UFDM up"), lines{"UFDM up, epoch 17"});
    EXPECT_EQ(rig.take(OPC_REPORT).size(), 1u);
}

TEST_F(report, status_request_is_answered_by_a_report_in_every_state) {
    for (uint32_t state : {2u, 4u, 6u}) {
        row->ufib_state = state;
        EXPECT_EQ(rig.dispatch(OPC_STATUS_REQUEST, {1}, {.vdc = 2}), 0);
        EXPECT_EQ(rig.take(OPC_REPORT).size(), 1u);
    }
    EXPECT_EQ(rig.dispatch(OPC_STATUS_REQUEST, {1}, {.vdc = 9}), 16);
}

TEST_F(report, feature_notices_are_taken_and_bad_ones_survived) {
    EXPECT_EQ(rig.dispatch(OPC_FEATURE_SET, bytes_from_hex("00000007 00000003")), 0);
    EXPECT_TRUE(rig.log_has("feature set 7 status 3"));
    EXPECT_EQ(rig.dispatch(OPC_FEATURE_SET, bytes(7)), 0);
    EXPECT_EQ(host_system_counters_get()->bad_feature_notices, 1u);
    EXPECT_EQ(rig.dispatch(OPC_FEATURE_SET, {}), 16);
}

TEST_F(report, host_process_starts_the_timer_when_it_is_ready) {
    rig.stop();
    rig.options.library_mode = true;
    ASSERT_EQ(rig.start(), 0);
    EXPECT_FALSE(lcfwd_report_timer_running());
    lcfwd_report_start_timers();
    EXPECT_TRUE(lcfwd_report_timer_running());
}
