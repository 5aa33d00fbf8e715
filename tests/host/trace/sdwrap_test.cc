#include "host/trace/sdwrap.h"

#include "host/bus/bus.h"
#include "host/trace/syslog.h"
#include "tests/host/trace/trace_rig.h"

#include <cerrno>

static constexpr sdwrap_dbg_elem elements[] = {{99, "High Availability"}, {100, "FSM"}, {102, "Error"}};
static constexpr uint32_t FAMILY = 0x730000;

class sdwrap : public trace_rig {
protected:
    void SetUp() override {
        trace_rig::SetUp();
        const auto sink = [](void *ctx, const char *text) { *static_cast<std::string *>(ctx) += text; };
        sdwrap_set_buginf_sink(sink, &printed);
        ASSERT_EQ(sdwrap_dbg_init(1, "name", "title", std::size(elements), elements), 0);
    }
    int message(uint32_t opcode, std::vector<uint8_t> payload) {
        mts_msg m{};
        m.opcode = opcode;
        m.payload = payload.empty() ? nullptr : payload.data();
        m.payload_size = static_cast<uint32_t>(payload.size());
        return sdwrap_process_msg(1, &m);
    }
    std::string printed;
};

TEST_F(sdwrap, events_go_to_the_history_of_their_name_and_others_are_counted) {
    ASSERT_EQ(sdwrap_hist_init(0x80000), 0);
    ASSERT_EQ(sdwrap_hist_init_for_uuid(115, 0x10000), 0);
    ASSERT_EQ(sdwrap_hist_init_for_uuid_inst(378, 1, 0x100000), 0);
    ASSERT_EQ(sdwrap_hist_init_for_uuid_inst(378, 1, 0x100000), 0);
    sdwrap_hist_event(FAMILY, 4, "main and more");
    sdwrap_hist_event(FAMILY, 9, "main"); /* a length beyond the text */
    sdwrap_his_log_event_for_uuid_inst(115, FAMILY, 0, 0, 3, "uuid");
    sdwrap_his_log_event_for_uuid_inst(378, FAMILY, 1, 0, 8, "instance");
    sdwrap_his_log_event_for_uuid_inst(378, FAMILY, 2, 0, 4, "none");
    sdwrap_his_log_event_for_uuid_inst(652, FAMILY, 1, 0, 4, "none");
    EXPECT_EQ(read_history(SDWRAP_MAIN_UUID, SDWRAP_MAIN_INSTANCE), (texts{"main", "main"}));
    EXPECT_EQ(read_history(115, 0), (texts{"uui"}));
    EXPECT_EQ(read_history(378, 1), (texts{"instance"}));
    EXPECT_EQ(sdwrap_counters_get()->events, 4u);
    EXPECT_EQ(sdwrap_counters_get()->dropped, 2u);
}

TEST_F(sdwrap, debug_lines_on_standard_error_are_lines) {
    sdwrap_set_buginf_sink(nullptr, nullptr);
    testing::internal::CaptureStderr();
    buginf("%s", "one");
    buginf("two\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\ntwo\n");
}

TEST_F(sdwrap, the_table_of_histories_has_an_end) {
    int status = 0;
    uint32_t made = 0;
    while ((status = sdwrap_hist_init_for_uuid_inst(7, made, 4096)) == 0) made++;
    EXPECT_EQ(status, ENOSPC);
    EXPECT_EQ(made, SDWRAP_INSTANCES_MAX - 1); /* the debug lines have one */
}

TEST_F(sdwrap, switch_messages_are_consumed_and_only_good_ones_act) {
    sdwrap_hist_set_event_subtype(FAMILY, 102, true);
    EXPECT_TRUE(sdwrap_hist_event_subtype_check(FAMILY, 102));
    EXPECT_FALSE(sdwrap_hist_event_subtype_check(FAMILY + 1, 102));
    EXPECT_FALSE(sdwrap_chk_int(100));

    EXPECT_EQ(message(74767, {0, 0, 0, 100, 0, 0, 0, 1}), 1);
    EXPECT_EQ(message(SDWRAP_OPC_DEBUG_SWITCH, {0, 0, 0, 100, 0, 0, 0, 1}), 0);
    EXPECT_TRUE(sdwrap_chk_int(100));
    EXPECT_EQ(message(SDWRAP_OPC_DEBUG_SWITCH, {0, 0, 0, 100, 0, 0, 0, 0}), 0);
    EXPECT_FALSE(sdwrap_chk_int(100));
    EXPECT_EQ(message(SDWRAP_OPC_HISTORY_SWITCH, {0, 0, 0, 102, 0, 0, 0, 0}), 0);
    EXPECT_FALSE(sdwrap_hist_event_subtype_check(FAMILY, 102));

    EXPECT_EQ(message(SDWRAP_OPC_DEBUG_SWITCH, {}), 0);
    EXPECT_EQ(message(SDWRAP_OPC_DEBUG_SWITCH, {0, 0, 0, 100, 0, 0, 0}), 0);
    EXPECT_EQ(message(SDWRAP_OPC_DEBUG_SWITCH, {0, 0, 0, 101, 0, 0, 0, 1}), 0); /* no such element */
    EXPECT_EQ(sdwrap_counters_get()->messages, 6u);
    EXPECT_EQ(sdwrap_counters_get()->bad_messages, 3u);
}

TEST_F(sdwrap, debug_lines_go_to_the_sink_and_to_their_history) {
    buginf("%s %d\n", "line", 1);
    EXPECT_EQ(printed, "line 1\n");
    EXPECT_EQ(read_history(SDWRAP_DEBUG_UUID, SDWRAP_DEBUG_INSTANCE), (texts{"line 1\n"}));
    EXPECT_EQ(sdwrap_dbg_set(98, true), ENOENT);
    EXPECT_STREQ(sdwrap_dbg_name(102), "Error");
    EXPECT_STREQ(sdwrap_dbg_name(98), "");
}

TEST_F(sdwrap, start_up_needs_a_facility_and_captures_once) {
    EXPECT_EQ(sdwrap_sys_init_helper(1, "name", "title", 2128), EINVAL);
    sdwrap_faults.hist_init = 7;
    EXPECT_EQ(sdwrap_hist_init(0x80000), 7);
    void *capture = capture_init(32768);
    EXPECT_NE(capture, nullptr);
    EXPECT_EQ(capture_init(32768), capture);
}

TEST_F(sdwrap, messages_to_the_supervisor_are_kept_with_the_facility_in_upper_case) {
    static const syslog_message message{"PSS_FULL", "<<%%%s-%d-PSS_FULL>> no space", 3};
    const sdwrap_facility facility{"lcfwd"};
    EXPECT_EQ(syslog_send_lc_message_to_sup(1, 2, 3, nullptr), EINVAL);
    EXPECT_EQ(syslog_sent_get(0), nullptr);
    sdwrap_sys_facility = &facility;
    EXPECT_EQ(syslog_send_lc_message_to_sup(1, 0xfe000001, 52, &message), 0);
    ASSERT_NE(syslog_sent_get(0), nullptr);
    EXPECT_STREQ(syslog_sent_get(0)->text, "<<%LCFWD-3-PSS_FULL>> no space");
    EXPECT_STREQ(syslog_sent_get(0)->tag, "PSS_FULL");
    EXPECT_EQ(syslog_sent_get(0)->node, 0xfe000001u);
    for (uint32_t i = 0; i < SYSLOG_RING_MESSAGES; i++) syslog_send_lc_message_to_sup(1, i, 52, &message);
    EXPECT_EQ(syslog_sent_get(0)->node, SYSLOG_RING_MESSAGES - 1);
    EXPECT_EQ(syslog_sent_get(SYSLOG_RING_MESSAGES - 1)->node, 0u);
    EXPECT_EQ(syslog_sent_get(SYSLOG_RING_MESSAGES), nullptr);
    sdwrap_sys_facility = nullptr;
}
