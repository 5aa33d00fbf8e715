#include "core/lcfwd_db.h"
#include "core/lcfwd_export.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_log_file.h"
#include "core/lcfwd_mts.h"
#include "core/ufib_err.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "host/engine/engine.h"
#include "host/store/store.h"
#include "host/trace/history.h"
#include "host/trace/sdwrap.h"
#include "tests/core/core_rig.h"

#include <cstring>
#include <filesystem>
#include <fstream>

struct log_targets : core_test {
    log_targets() { EXPECT_EQ(rig.start(), 0); }
    std::string file() const { return rig.root + "/var/sysmgr/tmp_logs/lcfwd_log.txt"; }
};

static lines history(uint32_t uuid, uint32_t instance, const std::string &having) {
    lines out;
    history_reader *reader = nullptr;
    if (history_reader_open(uuid, instance, &reader) != 0) return out;
    history_event event;
    while (history_reader_next(reader, &event)) {
        const std::string text(event.text, event.length);
        if (text.find(having) != std::string::npos) out.push_back(text.c_str());
    }
    history_reader_close(reader);
    return out;
}

TEST_F(log_targets, line_has_date_microseconds_and_text) {
    setenv("TZ", "UTC", 1);
    tzset();
    rig.clock.wall_ns = 1700000000000042000;
    LCFWD_ERR("hello %d", 7);
    const std::string log = rig.log_text();
    EXPECT_NE(log.find("\n[11/14/2023 22:13:20.42] hello 7\n"), std::string::npos)
        << log.substr(log.size() - 60);
}

TEST_F(log_targets, each_subtype_has_its_form_in_the_history) {
    for (uint32_t subtype : {102u, 103u, 104u, 108u, 109u, 111u, 114u}) {
        sdwrap_hist_set_event_subtype(0x730000, subtype, true);
        lcfwd_log_write(subtype, 1, "walk", 12, "mark%u", subtype);
    }
    EXPECT_EQ(history(SDWRAP_MAIN_UUID, SDWRAP_MAIN_INSTANCE, "mark"),
              (lines{"ERROR: mark102", "walk(12):TRACE: mark103", "TRACE: mark104", "walk(12):ERROR: mark108",
                     "walk(12):TRACE: mark109", "walk(12):ERROR: mark111", "walk(12):ERROR: mark114"}));
}

TEST_F(log_targets, only_errors_go_to_the_history_at_first) {
    for (uint32_t subtype = 99; subtype <= 115; subtype++) {
        const bool error = subtype == 102 || subtype == 108 || subtype == 111 || subtype == 114;
        EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730000, subtype), error) << subtype;
    }
    EXPECT_STREQ(sdwrap_dbg_name(99), "High Availability");
    EXPECT_STREQ(sdwrap_dbg_name(115), "MFIB OTV Trace");
    EXPECT_STREQ(sdwrap_dbg_name(116), "") << "the service is told of 17 elements";
}

TEST_F(log_targets, instances_are_kept_under_the_uuid_of_the_service) {
    lcfwd_log_write(104, 1, "f", 1, "general");
    lcfwd_log_write(108, 3, "f", 1, "domain three");
    lcfwd_log_write(111, 4, "f", 1, "domain four");
    EXPECT_EQ(history(378, 1, "general"), lines{"general"});
    EXPECT_EQ(history(378, 3, "domain"), lines{"domain three"});
    EXPECT_EQ(history(378, 4, "domain"), lines{"domain four"});
    rig.stop();
    rig.options.library_mode = true;
    ASSERT_EQ(rig.start(), 0);
    lcfwd_log_write(104, 1, "f", 1, "from the library");
    EXPECT_EQ(history(652, 1, "from the library"), lines{"from the library"});
    EXPECT_TRUE(history(378, 1, "from the library").empty());
}

TEST_F(log_targets, exit_line_lacks_its_backslash_in_the_file_only) {
    lcfwd_on_exit(3);
    EXPECT_TRUE(rig.log_has("): Exiting ...n\n"));
    EXPECT_EQ(history(378, 1, "): Exiting ...\n").size(), 1u);
    EXPECT_TRUE(history(378, 1, "...n").empty());
}

TEST_F(log_targets, debug_service_gets_its_keys_where_there_is_a_store_for_them) {
    EXPECT_EQ(sdwrap_dbg_store_key(), nullptr);
    EXPECT_EQ(sdwrap_sys_store_key(), nullptr);
    rig.stop();
    rig.prepare();
    fu_debug_store_present_set(true);
    ASSERT_EQ(rig.start(), 0);
    for (const pss2_datum *key : {sdwrap_dbg_store_key(), sdwrap_sys_store_key()}) {
        ASSERT_NE(key, nullptr);
        ASSERT_EQ(key->len, 8u);
        uint32_t words[2];
        std::memcpy(words, key->p, sizeof words);
        EXPECT_EQ(words[0], 1u);
        EXPECT_EQ(words[1], 0x64000001u);
    }
}

TEST_F(log_targets, debug_output_follows_the_elements_switch) {
    static lines printed;
    printed.clear();
    sdwrap_set_buginf_sink([](void *, const char *text) { printed.push_back(text); }, nullptr);
    UFIB_TRACE("off");
    ASSERT_EQ(sdwrap_dbg_set(109, true), 0);
    UFIB_TRACE("on %d", 1);
    EXPECT_EQ(printed, lines{"on 1"});
}

TEST_F(log_targets, file_that_cannot_be_written_leaves_the_others_working) {
    lcfwd_log_file_close();
    std::filesystem::remove_all(rig.root + "/var/sysmgr/tmp_logs");
    std::ofstream(rig.root + "/var/sysmgr/tmp_logs") << "a file where the directory should be";
    LCFWD_ERR("only history");
    EXPECT_EQ(lcfwd_log_fp, nullptr);
    EXPECT_EQ(history(378, 1, "only history").size(), 1u);
    testing::internal::CaptureStderr();
    lcfwd_log_check();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot write the text log " + file()),
              std::string::npos);
    std::filesystem::remove(rig.root + "/var/sysmgr/tmp_logs");
    LCFWD_ERR("written again");
    EXPECT_TRUE(rig.log_has("written again")) << "the directory is made again";
}

TEST_F(log_targets, switch_turns_the_file_off) {
    lcfwd_flog_disable = true;
    LCFWD_ERR("unseen");
    EXPECT_FALSE(rig.log_has("unseen"));
    EXPECT_EQ(history(378, 1, "unseen").size(), 1u);
}

TEST_F(log_targets, rotates_one_byte_after_25_mib_and_keeps_two_generations) {
    lcfwd_log_file_close();
    LCFWD_ERR("probe");
    const auto before = std::filesystem::file_size(file());
    LCFWD_ERR("probe");
    const auto line = std::filesystem::file_size(file()) - before;
    lcfwd_log_file_close();
    std::filesystem::resize_file(file(), 26214400 - line);
    LCFWD_ERR("probe");
    EXPECT_EQ(std::filesystem::file_size(file()), 26214400u) << "exactly full: not yet";
    EXPECT_FALSE(std::filesystem::exists(file() + ".0"));
    LCFWD_ERR("probe");
    EXPECT_EQ(std::filesystem::file_size(file() + ".0"), 26214400u + line) << "after the line is written";
    EXPECT_FALSE(std::filesystem::exists(file()));
    LCFWD_ERR("first of the next");
    lcfwd_log_file_close();
    std::filesystem::resize_file(file(), 26214400);
    LCFWD_ERR("second rotation");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(rig.root + "/var/sysmgr/tmp_logs"), {}), 1)
        << "the older generation is overwritten";
}

TEST_F(log_targets, log_survives_a_restart) {
    LCFWD_ERR("before");
    ASSERT_EQ(rig.restart(), 0);
    EXPECT_TRUE(rig.log_has("before"));
}

TEST_F(log_targets, long_lines_are_cut_to_the_buffers) {
    const std::string text(5000, 'x');
    LCFWD_ERR("%s", text.c_str());
    EXPECT_TRUE(rig.log_has(std::string(1023, 'x')));
    EXPECT_FALSE(rig.log_has(std::string(1024, 'x')));
    EXPECT_EQ(history(378, 1, "xxxx").back().size(), 511u);
    EXPECT_EQ(history(SDWRAP_MAIN_UUID, SDWRAP_MAIN_INSTANCE, "xxxx").back().size(), 511u);
}

TEST(errors, have_their_names_numbers_and_counters) {
    std::string names;
    for (uint32_t code : {0u, 1u, 13u, 22u, 23u, 24u, 56u, 82u, 98u, 108u, 109u, 0xffffffffu})
        names += ufib_err_str(code) + std::string(" ");
    EXPECT_EQ(names,
              "E_SUCCESS E_PARTIAL E_ROUTE_INV_OPCODE E_ADJ_HW_INSTALL unknown E_ECMP_NOMEM E_PSS_SAVE "
              "E_V4RTUP_NO_VDC_CTXT E_ROUTE_NHINFO_INVALID E_VOBJ_HW_UPDATE unknown unknown ");
    const uint32_t before = ufib_errors[E_V4RTUP_NO_VDC_CTXT];
    EXPECT_EQ(ufib_err_raise(UFIB_ERR_REQUEST, E_V4RTUP_NO_VDC_CTXT), 4390994u);
    EXPECT_EQ(ufib_errno, 4390994u);
    EXPECT_EQ(ufib_errors[E_V4RTUP_NO_VDC_CTXT], before + 1);
    EXPECT_EQ(ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_INV_OPCODE), 0x42000du);
    EXPECT_EQ(ufib_err_raise(UFIB_ERR_LOCKED, E_DEL_PFX_LOCKED), 0x41003eu);
    ufib_errno = 0;
}

struct function_timers : core_test {
    function_timers() {
        EXPECT_EQ(rig.start(), 0);
        rig.vdc(1);
        ufib_cur_vdc_id = 1;
        EXPECT_EQ(bl_reg_trace_formats(1, ufib_trace_formats, UFIB_TR_COUNT), 0);
        EXPECT_EQ(bl_open(1, 1, 1, ufib_trace_levels, UFIB_TRACE_LEVELS), 0);
    }
};

TEST_F(function_timers, count_only_when_switched_on) {
    uint64_t stamp = 0;
    ufib_funcstats_start(&stamp);
    host_manual_clock_advance(&rig.clock, 5000);
    ufib_funcstats_end(4, &stamp);
    EXPECT_EQ(ufib_prof_ar[4].calls, 0u);
    ufib_update_funcstats = true;
    for (int i = 0; i < 3; i++) {
        ufib_funcstats_start(&stamp);
        host_manual_clock_advance(&rig.clock, 7000);
        ufib_funcstats_end(4, &stamp);
        ufib_funcstats_end(UFIB_FUNCSTATS_ROWS, &stamp); /* out of range: ignored */
    }
    EXPECT_EQ(ufib_prof_ar[4].calls, 3u);
    EXPECT_EQ(ufib_prof_ar[4].microseconds, 21u);
    ufib_funcstats_output();
    EXPECT_EQ(rig.traces(1, "v4_route_errors"), lines{"v4_route_errors             21 usecs over 3 calls"});
    const size_t traced = rig.traces(1).size();
    ufib_disable_funcstats_tr = true;
    ufib_funcstats_output();
    EXPECT_EQ(rig.traces(1).size(), traced);
    begin = false;
    idle_timer = 5;
    ufib_funcstats_clear();
    EXPECT_EQ(ufib_prof_ar[4].calls, 0u);
    EXPECT_EQ(idle_timer, 0u);
    EXPECT_TRUE(begin);
    EXPECT_STREQ(ufib_funcstats_name(0), "v4_bulk_route_update");
    EXPECT_STREQ(ufib_funcstats_name(31), "");
}

TEST_F(function_timers, trace_can_be_switched_off_and_follows_the_vdc_in_work) {
    UFIB_BL(1, UFIB_TR_STALE_PREFIX, 3u, 4u);
    ufib_disable_tracing = true;
    UFIB_BL(1, UFIB_TR_STALE_PREFIX, 5u, 6u);
    EXPECT_EQ(rig.traces(1, "stale"), lines{"stale prefix - prefix epoch 3 current epoch 4"});
    ufib_disable_tracing = false;
    UFIB_BL(1, UFIB_TR_V4_PREFIX_INSTALLED, bl_ipv4(0x0a010200, 24), 0x77u);
    EXPECT_EQ(rig.traces(1, "installed"), lines{"installed v4 prefix 10.1.2.0/24 in hardware @0x77"});
    ufib_cur_vdc_id = 2; /* has no log */
    UFIB_BL(1, UFIB_TR_STALE_PREFIX, 7u, 8u);
    EXPECT_EQ(rig.traces(1, "stale").size(), 1u);
}
