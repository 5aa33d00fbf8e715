#include "host/bus/bus_local.h"
#include "host/engine/engine.h"
#include "host/store/store_admin.h"
#include "host/system/root.h"
#include "host/timer/active_timer.h"
#include "host/timer/clock.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

static constexpr uint32_t SAP = 200;

/* A small process over the engine: it writes down what happens. */
struct process {
    fu_sel selector;
    uint32_t queue;
    std::vector<std::string> events;
    int dequeue_status, demux_status;
    uint64_t busy_ns;
    host_manual_clock clock;
    mts_msg *held;
    std::vector<std::string> log;
};
static process proc;

static int dequeue(fu_event *event) {
    if (proc.dequeue_status != 0) return proc.dequeue_status;
    const timeval none = {0, 0};
    uint32_t error = 0;
    active_timer_process_expired_timers(0, 0);
    const fu_src *source = fu_priority_select(&proc.selector, &none, &error);
    if (source == nullptr) return 16;
    event->category = FU_EVENT_CAT_MTS;
    event->queue = source->handle;
    return fu_mts_recv(source->handle, &event->message, 1, 0) == 0 ? 0 : 16;
}

static int demux(fu_event *event, fu_event_node **out) {
    proc.events.push_back(std::to_string(mts_opc_get(event->message)));
    *out = new fu_event_node{};
    host_manual_clock_advance(&proc.clock, proc.busy_ns);
    if (mts_opc_get(event->message) == 99 && fu_fsm_context_set_out_flag(nullptr, 1, event->message) == 0)
        proc.held = event->message;
    return proc.demux_status;
}

static void free_list(fu_event_node *list) {
    proc.events.push_back("free");
    delete list;
}

static int handler_a(fu_event *, fu_event_node **) { return 0; }
static int handler_b(fu_event *, fu_event_node **) { return 1; }

struct engine : testing::Test {
    std::string root;
    mts_row rows[3] = {};
    fu_init_arg arg = {};

    void SetUp() override {
        char folder[] = "/tmp/lcfwd-engine-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        root = folder;
        host_root_set(folder);
        proc = {};
        host_manual_clock_set(&proc.clock);
        mts_config config;
        config.transport = MTS_TRANSPORT_LOCAL;
        ASSERT_EQ(mts_start(&config), 0);
        const uint32_t options[3] = {1, 4096, 378};
        proc.queue = static_cast<uint32_t>(mts_bind(4, SAP, options, "test"));
        rows[0] = {74767, 5, 3, handler_a, nullptr, {}};
        rows[1] = rows[2] = {77843, 5, 3, handler_b, nullptr, {}};
        EXPECT_EQ(fu_global_initialize_default_arg(&arg), 0);
        arg.dequeue = dequeue;
        arg.demux = demux;
        arg.free_demux_list = free_list;
        arg.rows = rows;
        arg.row_count = 3;
    }
    void start() {
        ASSERT_EQ(fu_global_initialize(&arg), 0);
        ASSERT_EQ(fu_priority_select_init(&proc.selector, 0), 0);
        ASSERT_EQ(
            fu_priority_select_add_queue(&proc.selector, FU_SOURCE_MTS, 7, proc.queue, nullptr, nullptr, 3),
            0);
    }
    void TearDown() override {
        fu_reset();
        mts_reset();
        active_timer_reset();
        store_reset();
        host_clock_reset();
        host_root_set(nullptr);
        std::filesystem::remove_all(root);
    }
    static void inject(uint32_t opcode) {
        mts_msg message = {};
        message.opcode = opcode;
        message.destination.sap = SAP;
        ASSERT_EQ(mts_local_inject(&message), 0);
    }
};

TEST_F(engine, opcode_table_names_what_is_unknown) {
    mts_row *row = nullptr;
    EXPECT_EQ(fu_hashtable_find(fu_global_get()->opcodes, 74767, &row), FU_ENOTABLE);
    start();
    EXPECT_EQ(fu_hashtable_find(fu_global_get()->opcodes, 77844, &row), FU_ENOTFOUND);
}

TEST_F(engine, start_refuses_unlike_rows_of_one_opcode_and_missing_callbacks) {
    rows[2].active = handler_a;
    EXPECT_EQ(fu_global_initialize(&arg), FU_ESTART);
    rows[2].active = handler_b;
    arg.demux = nullptr;
    EXPECT_EQ(fu_global_initialize(&arg), FU_EINVAL);
    arg.demux = demux;
    fu_fault_set(FU_FAULT_GLOBAL, 5);
    EXPECT_EQ(fu_global_initialize(&arg), 5);
}

TEST_F(engine, cold_start_removes_what_a_dead_run_left) {
    const std::string file = root + "/dev/shm/lcfwd_left_1";
    std::filesystem::create_directories(root + "/dev/shm");
    ASSERT_TRUE(std::ofstream(file) << "not a database");
    EXPECT_EQ(fu_global_initialize(&arg), 0);
    EXPECT_TRUE(fu_is_stateless_restart());
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(engine, a_restart_finds_what_its_services_stored) {
    fu_pss_service_arg service;
    fu_global_pss_service_default_arg(&service);
    service.id = 2;
    ASSERT_EQ(fu_pss_service_arg_uri_set(&service, "saved_config"), 0);
    ASSERT_EQ(fu_init_arg_add_pss_service(&arg, &service), 0);
    ASSERT_EQ(fu_global_initialize(&arg), 0);
    const pss2_datum key = {"key", 3};
    ASSERT_EQ(fu_vdc_pss_store(1, 2, &key, &key), 0) << "the service is open";
    fu_reset();
    store_reset();
    ASSERT_EQ(fu_global_initialize(&arg), 0);
    EXPECT_FALSE(fu_is_stateless_restart());
    EXPECT_EQ(fu_vdc_pss_delete(1, 2, &key), 0);
}

TEST_F(engine, a_step_serves_one_message_and_frees_what_came_of_it) {
    start();
    inject(1);
    inject(2);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_EQ(proc.events, (std::vector<std::string>{"1", "free"}));
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_FALSE(fu_fsm_step()) << "nothing is left";
    EXPECT_EQ(proc.events, (std::vector<std::string>{"1", "free", "2", "free"}));
}

TEST_F(engine, a_step_without_message_runs_the_timers_that_are_due) {
    start();
    const active_timer_attr attr = {1, 1};
    ASSERT_EQ(active_timer_init(&attr), 0);
    active_timer *timer = active_timer_create(
        active_timer_new_set_init(1), 9, [](void *) { proc.events.emplace_back("timer"); }, nullptr);
    active_timer_start(timer, 5, 0, 0, 0);
    EXPECT_FALSE(fu_fsm_step());
    host_manual_clock_advance(&proc.clock, 5'000'000'000);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_FALSE(fu_fsm_step());
    EXPECT_EQ(proc.events, (std::vector<std::string>{"timer"}));
}

TEST_F(engine, failures_are_counted_thinned_out_in_the_log_and_survived) {
    start();
    fu_log_set([](const char *line) { proc.log.emplace_back(line); });
    proc.demux_status = 16;
    for (int i = 0; i < 10; i++) inject(1);
    while (fu_fsm_step()) {
    }
    EXPECT_EQ(fu_counters_get()->demux_failures, 10u);
    EXPECT_EQ(proc.log.size(), 4u) << "the 1st, 2nd, 4th and 8th";
    proc.demux_status = 0;
    proc.dequeue_status = 16;
    inject(2);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_EQ(fu_counters_get()->dequeue_failures, 1u);
    proc.dequeue_status = 0;
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_EQ(proc.events.back(), "free");
}

TEST_F(engine, a_held_request_can_be_answered_after_later_messages) {
    start();
    inject(99);
    inject(5);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_TRUE(fu_fsm_step());
    ASSERT_NE(proc.held, nullptr);
    EXPECT_EQ(mts_opc_get(proc.held), 99u);
    EXPECT_EQ(fu_mts_send_response(proc.queue, "ok", 2, proc.held, 0), 0);
    fu_mts_drop(proc.held);
    mts_msg answer;
    std::vector<uint8_t> payload;
    ASSERT_TRUE(mts_local_take(&answer, &payload));
    EXPECT_EQ(answer.opcode, 99u);
}

TEST_F(engine, watchdog_sees_a_turn_without_heartbeat) {
    start();
    fu_watchdog_set(1'000'000'000);
    proc.busy_ns = 900'000'000;
    inject(1);
    EXPECT_TRUE(fu_fsm_step());
    host_manual_clock_advance(&proc.clock, 60'000'000'000); /* idle */
    inject(1);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_EQ(fu_counters_get()->watchdog_late, 0u);
    proc.busy_ns = 1'100'000'000;
    inject(1);
    EXPECT_TRUE(fu_fsm_step());
    EXPECT_EQ(fu_counters_get()->watchdog_late, 1u);
    fu_sysmgr_update_and_send_heartbeat(0);
    EXPECT_EQ(fu_counters_get()->heartbeats, 1u);
}

TEST_F(engine, a_stop_request_from_a_signal_ends_the_loop) {
    start();
    signal(SIGALRM, [](int) { fu_fsm_stop(); });
    const itimerval soon = {{0, 0}, {0, 20'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    proc.dequeue_status = 0;
    fu_fsm_engine();
    EXPECT_TRUE(fu_fsm_stop_requested());
    EXPECT_FALSE(fu_fsm_step());
    signal(SIGALRM, SIG_DFL);
}
