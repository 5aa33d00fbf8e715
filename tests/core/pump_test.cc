#include "core/lcfwd_db.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_opcodes.h"
#include "core/lcfwd_pump.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_vdc.h"
#include "host/interfaces/l3vm.h"
#include "host/trace/sdwrap.h"
#include "tests/core/core_rig.h"

#include <cstdlib>

struct pump : core_test {
    pump() { EXPECT_EQ(rig.start(), 0); }
};

static int handler_status;
static int handler_calls;
static int status_handler(fu_event *, fu_event_node **) {
    handler_calls++;
    return handler_status;
}

/* Puts a handler into the row of an opcode that has none. */
static void row_handler_set(uint32_t opcode, fu_handler active) {
    mts_row *row = nullptr;
    ASSERT_EQ(fu_hashtable_find(fu_global_get()->opcodes, opcode, &row), 0);
    row->active = active;
}

TEST_F(pump, rejects_an_opcode_of_no_table_so_that_its_sender_stops_waiting) {
    const auto answer = rig.send(999999, {1, 2}, {.sap = 200});
    ASSERT_TRUE(answer.has_value());
    EXPECT_TRUE(answer->reject);
    EXPECT_EQ(rig.dispatch(999999, {1}, {.sap = 200}), 0);
    EXPECT_TRUE(rig.log_has("(Warning) unexpected mts msg (opcode - 999999)"));
    EXPECT_EQ(rig.dispatch(0xffffffff, {1}, {.sap = 200}), 0);
    EXPECT_TRUE(rig.log_has("(opcode - -1)"));
}

TEST_F(pump, drops_a_row_without_handler_with_success_and_no_answer) {
    EXPECT_EQ(rig.dispatch(74763, {1, 2, 3}), 0);
    EXPECT_TRUE(rig.take().empty());
}

TEST_F(pump, takes_the_handlers_status_and_reads_declined_as_success) {
    row_handler_set(74763, status_handler);
    for (const auto &[from_handler, reaches_engine] : {std::pair{0, 0}, {16, 16}, {21, 0}, {15, 15}}) {
        handler_status = from_handler;
        EXPECT_EQ(rig.dispatch(74763, {1}), reaches_engine);
    }
}

TEST_F(pump, uses_the_standby_column_unless_the_state_is_1_4_or_5) {
    row_handler_set(74763, status_handler);
    handler_status = 16;
    for (const auto &[state, want] : {std::pair{1, 16}, {4, 16}, {5, 16}, {2, 0}, {3, 0}, {0, 0}}) {
        fu_fsm_state_set(state);
        EXPECT_EQ(rig.dispatch(74763, {1}), want) << state;
    }
}

TEST_F(pump, swallows_the_two_known_responses_and_warns_of_others) {
    for (uint32_t opcode : {0x11c4fu, 0x1300eu}) {
        EXPECT_EQ(rig.dispatch(opcode, {1}, {.sap = 200, .request = false, .response = true}), 0);
    }
    EXPECT_FALSE(rig.log_has("(Warning) unexpected mts msg"));
    EXPECT_EQ(rig.dispatch(0x1300f, {1}, {.sap = 200, .request = false, .response = true}), 0);
    EXPECT_TRUE(rig.log_has("(Warning) unexpected mts msg (opcode - 77839)"));
    EXPECT_TRUE(rig.take().empty()) << "a response is never answered";
}

TEST_F(pump, gives_every_message_of_the_pd_queue_to_the_library) {
    fake_take();
    EXPECT_EQ(rig.dispatch(77833, {1, 2, 3, 4}), 0);
    fake.fail_all["mts_msg_handler"] = 1;
    EXPECT_EQ(rig.dispatch(555, {1}, {.sap = 202}), 5)
        << "its result goes to the engine, whatever the opcode";
    EXPECT_EQ(fake_take(), (lines{"mts_msg_handler", "mts_msg_handler"}));
}

TEST_F(pump, lets_debug_and_database_services_look_first) {
    EXPECT_EQ(rig.dispatch(1360, bytes_from_hex("0000006d 00000001")), 0);
    EXPECT_TRUE(sdwrap_chk_int(109));
    EXPECT_EQ(rig.dispatch(FSRV_OPC_SDB_CHANGE, {1}), FSRV_SDB_CONSUMED);
}

TEST_F(pump, runs_a_due_timer_before_it_receives_the_message_that_is_ready) {
    row_handler_set(74763, status_handler);
    handler_status = 0;
    handler_calls = 0;
    static int calls_at_expiry;
    calls_at_expiry = -1;
    ASSERT_EQ(lcfwd_timer_make(
                  LCFWD_TIMER_IDB_DPL, [](void *) { calls_at_expiry = handler_calls; }, nullptr),
              0);
    ASSERT_EQ(ufib_idb_dpl_timer_start(), 0);
    host_manual_clock_advance(&rig.clock, 5000000000);
    rig.send(74763, {1});
    EXPECT_EQ(calls_at_expiry, 0);
    EXPECT_EQ(handler_calls, 1);
}

TEST_F(pump, error_of_the_selector_goes_to_the_engine_in_words) {
    lcfwd_report_timer_stop(); /* nothing to wait for: the transport refuses to wait for ever */
    fu_event event;
    EXPECT_EQ(lcfwd_dequeue(&event), 0x41c00023);
    EXPECT_TRUE(
        rig.log_has("lcfwd_dequeue: fu_priority_select error SYSERR_FU_xx: 0x41c00023, err_num (35)"));
}

TEST_F(pump, refuses_a_source_that_is_no_queue) {
    fu_event event;
    fu_src source = {};
    EXPECT_EQ(lcfwd_get_data_from_queue(nullptr, &event), 15);
    EXPECT_EQ(lcfwd_get_data_from_queue(&source, nullptr), 15);
    for (int id : {0, 8, -1}) {
        source.id = id;
        EXPECT_EQ(lcfwd_get_data_from_queue(&source, &event), 16) << id;
    }
    source.id = 3;
    source.handle = fib_q_mts_ucast;
    EXPECT_EQ(lcfwd_get_data_from_queue(&source, &event), 16) << "nothing to receive";
    EXPECT_TRUE(rig.log_has("in mts recv"));
}

TEST_F(pump, demux_goes_by_kind_and_category) {
    const struct {
        uint32_t kind, category;
        int want;
    } cases[] = {{0, 4, 0}, {0, 11, 0}, {0, 2, 16}, {0, 0, 16}, {0, 12, 16}, {1, 2, 0}, {5, 2, 0}};
    for (const auto &c : cases) {
        fu_event event = {};
        event.kind = c.kind;
        event.category = c.category;
        fu_event_node *out = reinterpret_cast<fu_event_node *>(&event);
        EXPECT_EQ(lcfwd_demux(&event, &out), c.want) << c.kind << " " << c.category;
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(fu_counters_get()->cleanups_done, 1u);
}

struct local_message {
    explicit local_message(uint32_t opcode) : message{} {
        message.opcode = opcode;
        message.queue = fib_q_mts_ucast;
        wrap.message = &message;
        event = {};
        event.message = &message;
        event.wrapper = &wrap;
        event.queue = fib_q_mts_ucast;
    }
    mts_msg message;
    fu_mts_wrap wrap = {};
    fu_event event;
};

TEST_F(pump, standby_holds_no_model_and_takes_no_message) {
    for (uint32_t category : {FU_EVENT_CAT_STDBY_MTS, FU_EVENT_CAT_STDBY_WRAP}) {
        local_message known(74767);
        known.event.category = category;
        fu_event_node *out = nullptr;
        EXPECT_EQ(lcfwd_demux(&known.event, &out), 0);
        EXPECT_TRUE(rig.log_has("of event cat " + std::to_string(category)));
        local_message unknown(999999);
        unknown.event.category = category;
        EXPECT_EQ(lcfwd_demux(&unknown.event, &out), 0);
    }
    EXPECT_TRUE(rig.log_has("(Warning) unexpected msg "));
    EXPECT_TRUE(rig.take().empty()) << "an unknown opcode is only logged, not rejected";
}

TEST_F(pump, standby_shows_an_unwrapped_message_to_the_debug_service_twice) {
    bytes payload = bytes_from_hex("0000006d 00000001");
    for (const auto &[category, text] :
         {std::pair{FU_EVENT_CAT_STDBY_MTS, false}, {FU_EVENT_CAT_STDBY_WRAP, true}}) {
        local_message debug(1360);
        debug.message.payload = payload.data();
        debug.message.payload_size = static_cast<uint32_t>(payload.size());
        debug.event.category = category;
        fu_event_node *out = nullptr;
        EXPECT_EQ(lcfwd_demux(&debug.event, &out), 0);
        EXPECT_EQ(rig.log_has("msg consumed by sdwrap_process msg"), text) << "the first look consumes it";
    }
}

TEST_F(pump, entry_check_accepts_only_its_own_opcode_in_a_message) {
    local_message good(74767);
    fu_event_node *out = nullptr;
    int status = 99;
    lcfwd_mts_handler_init(&good.event, &out, nullptr, 74767); /* nothing to tell, nothing happens */
    const struct {
        const char *name;
        fu_event *event;
        fu_event_node **out;
        uint32_t category, opcode;
        int want;
    } cases[] = {
        {"active", &good.event, &out, 1, 74767, 0},      {"standby", &good.event, &out, 5, 74767, 0},
        {"wrapped", &good.event, &out, 6, 74767, 0},     {"no_event", nullptr, &out, 1, 74767, 15},
        {"no_out", &good.event, nullptr, 1, 74767, 15},  {"opcode_0", &good.event, &out, 1, 0, 15},
        {"category_2", &good.event, &out, 2, 74767, 15}, {"other_opcode", &good.event, &out, 1, 74768, 15},
        {"other_wrapped", &good.event, &out, 6, 1, 15},
    };
    for (const auto &c : cases) {
        good.event.category = c.category;
        out = reinterpret_cast<fu_event_node *>(&good);
        status = 99;
        lcfwd_mts_handler_init(c.event, c.out, &status, c.opcode);
        EXPECT_EQ(status, c.want) << c.name;
        const bool readable = c.event != nullptr && c.out != nullptr && c.opcode != 0;
        EXPECT_EQ(out == nullptr, readable) << c.name;
    }
}

TEST_F(pump, context_check_takes_the_low_16_bits_of_the_sender) {
    local_message any(1);
    const struct {
        uint32_t sender, vdc;
    } cases[] = {{1, 1}, {5, 5}, {0x70003, 3}, {0, 0}, {6, 0}, {0x10000, 0}, {0xffff, 0}};
    for (const auto &c : cases) {
        any.message.source_vdc = c.sender;
        ufib_cur_vdc_id = 77;
        lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(&any.message);
        EXPECT_EQ(vdc, c.vdc == 0 ? nullptr : &lcfwd_vdc_desc_table[c.vdc]) << c.sender;
        EXPECT_EQ(ufib_cur_vdc_id, c.vdc == 0 ? 77 : c.vdc) << c.sender;
    }
}

TEST_F(pump, frees_follow_up_events_and_names_categories_it_does_not_know) {
    fu_event_node *list = nullptr;
    for (uint32_t category : {1u, 2u, 4u, 5u, 6u, 11u, 9u}) {
        auto *node = static_cast<fu_event_node *>(std::calloc(1, sizeof(fu_event_node)));
        node->event.category = category;
        node->next = list;
        list = node;
    }
    lcfwd_free_demux_list(list);
    EXPECT_TRUE(rig.log_has("Not handling event category 9"));
    EXPECT_FALSE(rig.log_has("Not handling event category 11"));
}

TEST_F(pump, heartbeat_reaches_the_system_manager_unless_this_is_a_library) {
    lcfwd_update_and_send_heartbeat(0);
    EXPECT_EQ(fu_counters_get()->heartbeats, 1u);
    is_lcfwd_lib = true;
    lcfwd_update_and_send_heartbeat(0);
    EXPECT_EQ(fu_counters_get()->heartbeats, 1u);
}
