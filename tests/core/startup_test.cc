#include "core/lcfwd_db.h"
#include "core/lcfwd_exit.h"
#include "core/lcfwd_memory.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_vdc.h"
#include "host/bus/bus.h"
#include "host/command/command.h"
#include "host/engine/engine.h"
#include "host/interfaces/im.h"
#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/system/mtrack.h"
#include "host/system/system.h"
#include "host/timer/active_timer.h"
#include "host/trace/sdwrap.h"
#include "persist/lcfwd_pss_vdc.h"
#include "tests/core/core_rig.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <unistd.h>

struct startup : core_test {};

/* A supervisor of processes tells by the code what to look at; each cause must keep its own. */
static const uint32_t other_bind_options[3] = {1, 16, 1};
static const struct exit_case {
    const char *name;
    int code;
    void (*arrange)();
} exit_cases[] = {
    {"bus_not_started", 64, [] { mts_reset(); }},
    {"sap_taken", 64, [] { EXPECT_GT(mts_bind(4, 207, other_bind_options, "somebody else"), 0); }},
    {"no_room_for_options", 65,
     [] {
         const int64_t other = mts_bind(4, 5, other_bind_options, "somebody else");
         for (uint32_t opcode = 1; mts_options_set(static_cast<uint32_t>(other), opcode, 1) == 0;) opcode++;
     }},
    {"selector_init", 66, [] { fu_fault_set(FU_FAULT_SELECT_INIT, 1); }},
    {"selector_add", 66, [] { fu_fault_set(FU_FAULT_SELECT_ADD, 1); }},
    {"framework", 69, [] { fu_fault_set(FU_FAULT_GLOBAL, 1); }},
    {"debug_service", 70, [] { sdwrap_faults.dbg_init = 1; }},
    {"syslog_service", 71, [] { sdwrap_faults.sys_init = 1; }},
    {"timer_library", 73, [] { active_timer_fail_nth(1); }},
    {"eighth_timer_set", 73, [] { active_timer_fail_nth(9); }},
    {"condition_queue", 74, [] { fu_fault_set(FU_FAULT_CQ_INIT, 1); }},
    {"framework_defaults", 76, [] { fu_fault_set(FU_FAULT_DEFAULT_ARG, 1); }},
    {"capture_buffer", 85, [] { sdwrap_faults.capture_init = true; }},
    {"command_service", 69, [] { cmd_fail_next_init(5); }},
    {"interface_manager", 69, [] { im_fail_next_init(5); }},
    {"holder_locks", 87, [] { vdc_del_rel_route_holder_lock_size = 6; }},
    {"vdc_database", 69, [] { store_fault_set(STORE_FAULT_OPEN, 1, STORE_IO); }},
    {"generic_database", 69, [] { store_fault_set(STORE_FAULT_OPEN, 2, STORE_IO); }},
    {"operations_buffer", 69, [] { store_fault_set(STORE_FAULT_INIT, 1, STORE_IO); }},
};

TEST_F(startup, each_failing_step_ends_the_process_with_its_code) {
    for (const exit_case &c : exit_cases) {
        rig.prepare();
        c.arrange();
        EXPECT_EQ(rig.start(), c.code) << c.name;
        EXPECT_EQ(rig.exits, std::vector<int>{c.code}) << c.name;
        rig.stop();
        rig.exits.clear();
    }
    EXPECT_EQ(rig.start(), 0) << "nothing of a failed start is left";
    EXPECT_TRUE(rig.exits.empty());
}

TEST_F(startup, another_instance_on_the_same_root_is_refused_with_words) {
    rig.prepare();
    /* A lock on another description of the file is what another process would hold. */
    const int other = open((rig.root + "/dev/shm/lcfwd_redo").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(rig.start(), 69);
    const std::string words = testing::internal::GetCapturedStderr();
    EXPECT_NE(words.find("another instance runs on the root directory " + rig.root), std::string::npos)
        << words;
    EXPECT_NE(words.find("--root"), std::string::npos);
    EXPECT_EQ(fib_q_mts_sys, 0u) << "refused before anything is bound";
    rig.stop();
    close(other);
    EXPECT_EQ(rig.start(), 0);
}

TEST_F(startup, exit_tells_code_cause_and_log) {
    ASSERT_EQ(rig.start(), 0);
    lcfwd_exit_function_set(nullptr);
    EXPECT_EXIT(lcfwd_exit(73), testing::ExitedWithCode(73),
                "exit code 73 \\(timers\\); the log .*lcfwd_log.txt");
}

TEST_F(startup, survives_what_it_can_do_without) {
    rig.prepare();
    fake_domains.pss_init_result = -1;
    fu_fault_set(FU_FAULT_ASCII_GEN, 22);
    mtrack_fail_next_init();
    host_system.platform_info_fails = true;
    EXPECT_EQ(rig.start(), 0);
    EXPECT_EQ(max_slots, 0u);
    EXPECT_TRUE(rig.log_has("(Error) ufib_pss_init failed"));
    EXPECT_TRUE(rig.log_has("(Error) mfib_pss_init failed"));
    EXPECT_TRUE(rig.log_has("in adding ascii gen info"));
    EXPECT_TRUE(rig.log_has("mtrack_init failed"));
}

TEST_F(startup, cold_start_takes_its_steps_in_order) {
    ASSERT_EQ(rig.start(), 0);
    EXPECT_FALSE(lcfwd_restart);
    EXPECT_EQ(fake_domains.log,
              (lines{"ufib pss_init", "mfib pss_init", "ufib init", "mfib init", "lfib init"}));
    EXPECT_EQ(fake.restarts, 0u);
    const std::string log = rig.log_text();
    size_t at = 0;
    for (const char *text :
         {"registered", "Added queue fib_q_mts_sys", "Added queue fib_q_mts_cmi", "LCFWD: MTU FU init DONE",
          "LCFWD: restart:0", "sdwrap_dbg_init successful", "sdwrap_sys_init successful",
          "opened service vdc (0000001e)", "opened service generic (0000001f)", "lcfwd_services init succ"}) {
        const size_t found = log.find(text, at);
        ASSERT_NE(found, std::string::npos) << text;
        at = found;
    }
    EXPECT_EQ(fu_global_get()->arg.sap_count, 6u);
    EXPECT_EQ(fu_global_get()->arg.saps[6], 203u);
    EXPECT_EQ(fu_global_get()->arg.flags & 42u, 42u);
    EXPECT_EQ(fu_global_get()->arg.name, nullptr);
    EXPECT_EQ(my_slot, 3u);
    EXPECT_EQ(max_slots, 18u);
}

TEST_F(startup, restart_recovers_between_the_platforms_start_and_end) {
    ASSERT_EQ(rig.start(), 0);
    rig.vdc(2);
    ASSERT_EQ(lcfwd_pss_insert_pervpn_ilm_base(4711), 1);
    rig.stop();
    fake_take();
    fake_domains.log.clear();
    ASSERT_EQ(rig.start(), 0);
    EXPECT_TRUE(lcfwd_restart);
    EXPECT_EQ(fake_domains.log,
              (lines{"ufib pss_init", "mfib pss_init", "ufib init restart", "mfib init", "lfib init restart",
                     "ufib vdc_create 2 restart", "mfib vdc_create 2 restart", "lfib vdc_create 2 restart",
                     "ufib restart_recovery", "mfib restart_recovery", "lfib restart_recovery"}));
    EXPECT_EQ(fake_take({"vdc_init", "pervpn", "restart_recovery"}),
              (lines{"vdc_init 2 restart", "pervpn_ilm_base 4711", "restart_recovery_start",
                     "restart_recovery_end"}));
    EXPECT_EQ(fake.restarts, 1u);
    EXPECT_TRUE(rig.log_has("FIB restart - Non ISSU"));
}

TEST_F(startup, messages_that_come_during_recovery_wait) {
    ASSERT_EQ(rig.start(), 0);
    rig.vdc(2);
    rig.stop();
    rig.prepare();
    ASSERT_EQ(rig.start(), 0);
    rig.inject(OPC_VDC_CREATE, wire_vdc(4));
    EXPECT_EQ(lcfwd_vdc_active_row(4), nullptr);
    rig.run();
    EXPECT_NE(lcfwd_vdc_active_row(4), nullptr);
}

TEST_F(startup, forced_cold_start_forgets_what_survived) {
    ASSERT_EQ(rig.start(), 0);
    rig.vdc(2);
    rig.stop();
    ASSERT_EQ(rig.start(LCFWD_START_COLD), 0);
    EXPECT_FALSE(lcfwd_restart);
    EXPECT_EQ(lcfwd_vdc_active_row(2), nullptr);
    EXPECT_TRUE(rig.records("vdc").empty());
}

TEST_F(startup, upgrade_restart_reads_stored_state_back_even_without_any) {
    rig.prepare();
    host_system.upgrade_restart = true;
    ASSERT_EQ(rig.start(), 0);
    EXPECT_TRUE(lcfwd_restart);
    EXPECT_EQ(fake.restarts, 1u);
    EXPECT_NE(std::find(fake_domains.log.begin(), fake_domains.log.end(), "mfib init restart"),
              fake_domains.log.end());
}

TEST_F(startup, restores_configuration_only_on_a_cold_start_of_an_active_instance_that_has_one) {
    const struct {
        const char *name;
        bool config;
        int state, result;
        const char *log;
    } cases[] = {{"none", false, 4, 0, nullptr},
                 {"standby", true, 2, 0, nullptr},
                 {"restored", true, 4, 0, "restored config"},
                 {"failed", true, 1, 3, "failed to restore config"}};
    for (const auto &c : cases) {
        rig.prepare();
        std::filesystem::remove(rig.root + "/var/sysmgr/tmp_logs/lcfwd_log.txt");
        fu_startup_config_present_set(c.config);
        fu_fsm_state_set(c.state);
        fake_domains.config_restore_result = c.result;
        fake_domains.log.clear();
        ASSERT_EQ(rig.start(LCFWD_START_COLD), 0) << c.name;
        EXPECT_EQ(fake_domains.log.back() == "mfib config_restore", c.log != nullptr) << c.name;
        EXPECT_TRUE(c.log == nullptr || rig.log_has(c.log)) << c.name;
        rig.stop();
    }
}

TEST_F(startup, library_mode_leaves_framework_and_reports_to_the_host) {
    rig.options.library_mode = true;
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(fu_global_get()->opcodes, nullptr);
    rig.advance_seconds(301);
    lcfwd_vdc_create(1, false);
    EXPECT_TRUE(rig.take().empty());
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_state, 0u);
    EXPECT_TRUE(rig.log_has("created VDC 1, restart FALSE, but report fib state at L3_Ready"));
}

TEST_F(startup, own_name_is_given_to_the_framework_for_service_type_3) {
    rig.prepare();
    host_system.service_type = 3;
    ASSERT_EQ(rig.start(), 0);
    ASSERT_NE(fu_global_get()->arg.name, nullptr);
    EXPECT_STREQ(fu_global_get()->arg.name, "lcfwd");
    EXPECT_EQ(fu_global_get()->arg.flags2 & 8u, 8u);
}

TEST_F(startup, fixed_priority_is_asked_for_with_two_bytes) {
    const std::string path = rig.root + "/proc/self/fixed_prio";
    ASSERT_EQ(rig.start(), 0);
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(text, std::string("1\0", 2));
    rig.stop();
    std::filesystem::remove_all(rig.root + "/proc");
    ASSERT_EQ(rig.start(), 0) << "its absence is survived";
    EXPECT_TRUE(rig.log_has("Unable to open file /proc/self/fixed_prio"));
}

TEST_F(startup, card_decides_the_bound_of_multicast_entries) {
    for (const auto &[card, known] :
         {std::pair{0x6a, true}, {0xec, true}, {0x82, true}, {0x83, false}, {0, false}}) {
        rig.prepare();
        host_system.card_id = card;
        ASSERT_EQ(rig.start(), 0);
        uint32_t low = 9;
        uint32_t high = 9;
        EXPECT_EQ(cli_get_dynamic_integer_range("<mcast-ent>", &low, &high) == 0, known) << card;
        EXPECT_EQ(low, known ? 0u : 9u);
        EXPECT_EQ(high, known ? 8000u : 9u);
        rig.stop();
    }
}

TEST_F(startup, memory_types_have_the_names_that_accounting_knows) {
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(__lcfwd_mem_type_t_find("LCFWD_MEM_fu_fsm_event_pair_t"), 0);
    EXPECT_EQ(__lcfwd_mem_type_t_find("LCFWD_MEM_pss_datum_t"), 3);
    EXPECT_EQ(__lcfwd_mem_type_t_find("LCFWD_MEM_none"), -1);
    EXPECT_EQ(__lcfwd_mem_type_t_find(nullptr), -1);
    lcfwd_mem_type_t type = LCFWD_MEM_capture;
    EXPECT_TRUE(__lcfwd_mem_type_t_str2enum("LCFWD_MEM_fu_sb3_frame_t", &type));
    EXPECT_EQ(type, LCFWD_MEM_fu_sb3_frame_t);
    EXPECT_FALSE(__lcfwd_mem_type_t_str2enum("", &type));
    ASSERT_NE(mtrack_account_get(4), nullptr);
    EXPECT_STREQ(mtrack_account_get(4)->name, "LCFWD_MEM_fu_sb3_frame_t");
}
