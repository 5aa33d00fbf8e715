#include "core/lcfwd_log.h"
#include "core/ufib_trace.h"
#include "persist/lcfwd_pss.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_reader.h"
#include "tests/diag/show_rig.h"
#include "ufib/ufib_adj.h"

#include <cstring>

struct counter_show : vobj_test {
    show_answer ask(uint32_t command, const std::vector<show_attr> &attrs = {}) {
        return show(&rig, command, attrs);
    }
    static ufib_vdc_stats *block() { return lcfwd_vdc_row(1)->ufib_stats; }
    static bool has(const show_answer &answer, const std::string &what) {
        return answer.text.find(what) != std::string::npos;
    }
};

TEST_F(counter_show, messages_are_counted_to_the_letter_for_each_vdc) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    neighbour({"192.0.2.1", ETH1, "020000000001"});
    EXPECT_EQ(ask(CMD_SHOW_MSG_CNTS).text, "VDC - 1 \n"
                                           "No of RPF update msgs                              : 0 \n"
                                           "V4 Consistency check msgs                          : 0 \n"
                                           "V6 Consistency check msgs                          : 0 \n"
                                           "No of IPSG msgs                                    : 0 \n"
                                           "No of SGRP msgs                                    : 0 \n"
                                           "No of Download Done msgs                           : 0 \n"
                                           "No of Adjacency update msgs                        : 1 \n"
                                           "No of Tunnel update msgs                           : 0 \n"
                                           "No of route update msgs processed                  : 1 \n"
                                           "No of v6route update msgs processed                : 0 \n");
    EXPECT_EQ(ask(CMD_SHOW_MSG_CNTS, {{CMD_ATTR_VALUE, be32(3)}}).text, "VDC - 3 not found \n");
    rig.vdc(3);
    EXPECT_EQ(times(ask(CMD_SHOW_MSG_CNTS, {{CMD_ATTR_VALUE, be32(0)}}).json, "\"vdc\":"), 2u);
    ufib_vdc_stats *blocks[] = {lcfwd_vdc_row(1)->ufib_stats, lcfwd_vdc_row(3)->ufib_stats};
    lcfwd_vdc_row(1)->ufib_stats = lcfwd_vdc_row(3)->ufib_stats = nullptr;
    EXPECT_EQ(ask(CMD_SHOW_MSG_CNTS, {{CMD_ATTR_VALUE, be32(0)}}).text, " No L3 Active VDC\n");
    lcfwd_vdc_row(1)->ufib_stats = blocks[0];
    lcfwd_vdc_row(3)->ufib_stats = blocks[1];
}

/* Whoever adds a counter finds it shown, and cleared by one clear. */
TEST_F(counter_show, every_counter_is_shown_once_and_has_one_clear) {
    static_assert(sizeof(ufib_vdc_stats) % sizeof(uint32_t) == 0);
    constexpr size_t words = sizeof(ufib_vdc_stats) / sizeof(uint32_t);
    uint32_t values[words];
    for (size_t i = 0; i < words; i++) values[i] = static_cast<uint32_t>(700000 + i);
    std::memcpy(block(), values, sizeof values);
    const std::string shown = ask(CMD_SHOW_INTERNAL_COUNTS).text + ask(CMD_SHOW_MSG_CNTS).text;
    for (const uint32_t value : values) EXPECT_EQ(times(shown, std::to_string(value)), 1u) << value - 700000;

    size_t cleared = 0;
    for (const uint32_t clear :
         {CMD_CLEAR_INTERNAL_COUNTS, CMD_CLEAR_CUMULATIVE_COUNTERS, CMD_CLEAR_MSG_CNTS}) {
        std::memcpy(block(), values, sizeof values);
        EXPECT_EQ(ask(clear).kind, CMD_ANSWER_OK);
        uint32_t after[words];
        std::memcpy(after, block(), sizeof after);
        for (const uint32_t value : after) cleared += value == 0 ? 1 : 0;
    }
    EXPECT_EQ(cleared, words);
}

TEST_F(counter_show, errors_are_told_by_number_and_name) {
    ufib_err_raise(UFIB_ERR_ITEM, E_VOBJ_HW_UPDATE);
    const show_answer before = ask(CMD_SHOW_INTERNAL_COUNTS);
    EXPECT_EQ(times(before.json, "\"code\":"), 108u) << "all but the number that is none";
    EXPECT_TRUE(has(before, "   108 E_VOBJ_HW_UPDATE             : 1\n"));
    EXPECT_TRUE(has(before, "E_VOBJ_HW_UPDATE (0x42006c)"));
    EXPECT_EQ(times(before.json, "\"kind\":"), 36u) << "kinds of records";
    ask(CMD_CLEAR_INTERNAL_COUNTS);
    EXPECT_TRUE(has(ask(CMD_SHOW_INTERNAL_COUNTS), "   108 E_VOBJ_HW_UPDATE             : 0\n"));
}

TEST_F(counter_show, switches_are_set_and_told) {
    const struct {
        uint32_t command;
        bool *state;
        const char *name;
    } rows[] = {
        {CMD_DISABLE_TRACING, &ufib_disable_tracing, "ufib_disable_tracing"},
        {CMD_ENABLE_RC_DEBUGS, &ufib_enable_rc_debugs, "ufib_enable_rc_debugs"},
        {CMD_UPDATE_FUNCSTATS, &ufib_update_funcstats, "ufib_update_funcstats"},
        {CMD_DISABLE_FUNCSTATS_TRACE, &ufib_disable_funcstats_tr, "ufib_disable_funcstats_tr"},
        {CMD_DISABLE_PSS, &ufib_disable_pss, "ufib_disable_pss"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(ask(row.command).text, std::string(row.name) + " is off\n");
        EXPECT_EQ(ask(row.command, {{CMD_ATTR_VALUE, be32(1)}}).text, std::string(row.name) + " is on\n");
        EXPECT_TRUE(*row.state);
        EXPECT_EQ(ask(row.command, {{CMD_ATTR_VALUE, be32(2)}}).code, 6);
        EXPECT_EQ(ask(row.command, {{CMD_ATTR_VALUE, {0}}}).code, 6);
        EXPECT_EQ(ask(row.command, {{CMD_ATTR_VALUE, be32(0)}}).json,
                  "{\"" + std::string(row.name) + "\":\"off\"}\n");
        EXPECT_FALSE(*row.state);
    }
    const show_answer bypass = ask(CMD_BYPASS_HARDWARE, {{CMD_ATTR_VALUE, be32(1)}});
    EXPECT_EQ(bypass.code, 7) << "this library has none, and does not even answer";
}

TEST_F(counter_show, function_times_stand_in_a_table) {
    ask(CMD_UPDATE_FUNCSTATS, {{CMD_ATTR_VALUE, be32(1)}});
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16"), add(v4_family, "10.2.0.0/16")}));
    const show_answer answer = ask(CMD_SHOW_FUNCSTATS);
    const std::string head = answer.text.substr(0, answer.text.find('\n'));
    size_t at = 0;
    for (const char *column : {"function name", "count", "usecs"}) {
        EXPECT_GE(head.find(column), at) << head;
        at = head.find(column);
    }
    EXPECT_TRUE(has(answer, "\nv4_bulk_route_update                        1 ")) << answer.text;
    EXPECT_TRUE(has(answer, "\n  v4_route_add                              2 "));
    EXPECT_TRUE(has(answer, "\n    get_create_v4_prefix                    2 "));
    EXPECT_TRUE(has(answer, "\n      v4ecmp_route_to_key "));
    EXPECT_EQ(times(answer.json, "\"usecs\":"), 31u);
    ask(CMD_UPDATE_FUNCSTATS, {{CMD_ATTR_VALUE, be32(0)}});
    ask(CMD_UPDATE_FUNCSTATS, {{CMD_ATTR_VALUE, be32(1)}});
    EXPECT_TRUE(has(ask(CMD_SHOW_FUNCSTATS), "\nv4_bulk_route_update                        0 "));
}

TEST_F(counter_show, trace_comes_as_text_the_newest_or_all_of_it) {
    for (uint32_t i = 0; i < 250; i++) UFIB_BL(1, UFIB_TR_UFDM_UP, 90000 + i);
    const show_answer all = ask(CMD_SHOW_TRACE);
    EXPECT_GE(all.pieces, 3u);
    EXPECT_EQ(times(all.text, "UFDM up, epoch 90"), 250u);
    const show_answer newest = ask(CMD_SHOW_TRACE, {{CMD_ATTR_LIMIT, be32(3)}});
    EXPECT_EQ(times(newest.json, "\"sequence\":"), 3u) << newest.text;
    EXPECT_TRUE(has(newest, "epoch 90247\n") && has(newest, "epoch 90249\n"));
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    const show_answer profile = ask(CMD_SHOW_TRACE_PROFILE);
    EXPECT_TRUE(has(profile, "Tracing: on"));
    EXPECT_TRUE(has(profile, "Level 2 keeps 5000 records"));
    EXPECT_TRUE(has(profile, "108 UFIB Error           history on   print off\n"));
    EXPECT_EQ(times(profile.json, "\"subtype\":"), 17u);
    EXPECT_TRUE(has(profile, "Bulk route update processing begin"));
    EXPECT_EQ(times(profile.text, "UFDM up"), 0u);
}

TEST_F(counter_show, restart_and_process_are_told) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    ASSERT_EQ(rig.restart(), 0);
    const show_answer restart = ask(CMD_SHOW_RESTART);
    EXPECT_TRUE(has(restart, "Started with recovery: yes")) << restart.text;
    EXPECT_TRUE(has(restart, "routes recovered: 1 v4, 0 v6"));
    EXPECT_TRUE(has(restart, "prefix_vdc_1                      1 "));
    const show_answer process = ask(CMD_SHOW_PROCESS);
    EXPECT_TRUE(has(process, "fib_q_mts_cmi                 203       7 ")) << process.text;
    EXPECT_TRUE(has(process, "lcfwd_report_timer         yes          300000\n"));
    EXPECT_TRUE(has(process, "prefix_vdc_1                          1 "));
    EXPECT_NE(process.json.find("\"name\":\"ufib idb allocator\",\"element_bytes\":"), std::string::npos);
    EXPECT_NE(process.json.find("\"bus\":{\"received\":"), std::string::npos);
}

/* ---- over the software engine ---- */

struct engine_show : counter_show {
    engine_show() {
        softfwd_config_reset();
        softfwd_config_get()->slot = 3;
        rig.options.library = softfwd_library();
    }
    ~engine_show() override { softfwd_config_reset(); }
};

TEST_F(engine_show, bypass_sends_packets_to_the_processor_and_statistics_count) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    neighbour({"192.0.2.1", ETH1, "020000000001"});
    softfwd_reader *reader = nullptr;
    ASSERT_EQ(softfwd_reader_attach(3, true, &reader), 0);
    const auto look = [&] {
        softfwd_result result;
        EXPECT_EQ(softfwd_lookup_v4(reader, 1, 1, 0x0a010203, &result), 0);
        return result.hop.action;
    };
    EXPECT_EQ(look(), SOFTFWD_FORWARD);
    EXPECT_EQ(ask(CMD_BYPASS_HARDWARE, {{CMD_ATTR_VALUE, be32(1)}}).text, "bypass hardware is on\n");
    EXPECT_EQ(look(), SOFTFWD_PUNT);
    EXPECT_EQ(ask(CMD_BYPASS_HARDWARE, {{CMD_ATTR_VALUE, be32(3)}}).code, 6);
    EXPECT_EQ(ask(CMD_BYPASS_HARDWARE, {{CMD_ATTR_VALUE, be32(0)}}).text, "bypass hardware is off\n");
    EXPECT_EQ(look(), SOFTFWD_FORWARD);

    const std::vector<show_attr> statistics = {{CMD_ATTR_STATISTICS, {}}, {CMD_ATTR_IF_INDEX, be32(ETH1)}};
    EXPECT_EQ(times(ask(CMD_SHOW_V4_ADJACENCY, statistics).json,
                    "\"packets\":2,\"bytes\":128,\"packets_since_clear\":2,\"bytes_since_clear\":128"),
              1u);
    EXPECT_EQ(ask(CMD_CLEAR_CUMULATIVE_COUNTERS, {statistics[0]}).kind, CMD_ANSWER_OK);
    EXPECT_EQ(times(ask(CMD_SHOW_V4_ADJACENCY, statistics).json,
                    "\"packets\":2,\"bytes\":128,\"packets_since_clear\":0,\"bytes_since_clear\":0"),
              1u);
    EXPECT_EQ(block()->family[0].route_adds, 1u) << "the clear was for the adjacencies";
    softfwd_reader_detach(reader);
}
