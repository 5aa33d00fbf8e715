/* The small messages of the unicast channel: download bracket, up, stale delete, the re-entries of a reload, the
 * question for a table id, interrupts; and which VDC a wildcard route belongs to. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_pump.h"
#include "core/lcfwd_report.h"
#include "host/bus/bus_local.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"

#include <cstring>

constexpr uint32_t UCAST_SAP = 200;

static uint32_t &state(uint32_t vdc = 1) { return lcfwd_vdc_row(vdc)->ufib_state; }

/* ---- download bracket and up ---- */

struct download_case {
    const char *name;
    uint32_t from;
    uint8_t operation;
    uint32_t to;
    const char *trace, *log;
};
static const download_case download_cases[] = {
    {"start moves INITIALIZED to LOADING", 4, 1, 5, "", ""},
    {"a second start only traces", 5, 1, 5, "UFDM download commence in state LOADING", ""},
    {"start before INITIALIZED only traces", 0, 1, 0, "UFDM download commence in state NOT-READY", ""},
    {"end moves LOADING to 6", 5, 2, 6, "", ""},
    {"end without start only traces", 4, 2, 4, "UFDM download end in state INITIALIZED", ""},
    {"end in 6 only traces", 6, 2, 6, "UFDM download end in state ", ""},
    {"an upgrade ignores it", 2, 1, 2, "LC_UPGRADE: drop message", ""},
    {"another operation is said", 4, 3, 4, "", "invalid download opcode"},
};

TEST_F(ufib_test, download_bracket) {
    for (const download_case &row : download_cases) {
        SCOPED_TRACE(row.name);
        state() = row.from;
        const size_t traces = rig.traces(1, row.trace).size();
        rig.take();
        EXPECT_EQ(rig.dispatch(OPC_DOWNLOAD, wire_download(row.operation), {.version = 0}), 0);
        EXPECT_EQ(state(), row.to);
        if (*row.trace != 0) {
            EXPECT_EQ(rig.traces(1, row.trace).size(), traces + 1);
        }
        EXPECT_TRUE(rig.log_has(row.log));
        EXPECT_EQ(rig.take(OPC_REPORT).size(), row.from == row.to ? 0u : 1u) << "a change is reported";
    }
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->downloads, std::size(download_cases) - 1);
}

TEST_F(ufib_test, small_messages_check_payload_and_vdc) {
    struct {
        uint32_t opcode;
        bytes whole;
        const char *handler, *null_text, *vdc_text;
        int inactive; /* status for a VDC that is not there */
    } const rows[] = {
        {OPC_DOWNLOAD, wire_download(1), "ufib_fu_ufdm_download", "ERROR: %s - null payload",
         "ERROR: %s - failed to set vdc ctxt", 0},
        {OPC_UP, wire_up(5), "ufib_fu_ufdm_up", "%s - NULL payload", "%s - failed to set vdc ctxt", 16},
        {OPC_STALE_DELETE, wire_stale_delete(1, 0, 1), "ufib_fu_delete_stale_routes",
         "ERROR: %s - null payload", "ERROR: %s - failed to set vdc ctxt", 0},
        {OPC_AM_NOTICE, wire_am_notice({}), "ufib_fu_am_notification", "ERROR: %s - null payload",
         "ERROR: %s - failed to set vdc ctxt", 0},
    };
    for (const auto &row : rows) {
        char text[100];
        for (size_t size = 0; size < row.whole.size(); size++) {
            const bytes cut(row.whole.begin(), row.whole.begin() + static_cast<long>(size));
            EXPECT_EQ(rig.dispatch(row.opcode, cut), 16) << row.handler << size;
        }
        std::snprintf(text, sizeof text, row.null_text, row.handler);
        EXPECT_TRUE(rig.log_has(text)) << text;
        for (const uint16_t vdc : {uint16_t{0}, uint16_t{6}})
            EXPECT_EQ(rig.dispatch(row.opcode, row.whole, {.vdc = vdc}), 16);
        std::snprintf(text, sizeof text, row.vdc_text, row.handler);
        EXPECT_TRUE(rig.log_has(text)) << text;
        EXPECT_EQ(rig.dispatch(row.opcode, row.whole, {.vdc = 2}), row.inactive) << row.handler;
    }
    EXPECT_EQ(lcfwd_vdc_row(2)->ufdm_epoch, 5u) << "the epoch is kept before the VDC is there";
}

TEST_F(ufib_test, up_keeps_the_epoch_and_reports) {
    rig.take();
    EXPECT_EQ(rig.dispatch(OPC_UP, wire_up(9)), 0);
    EXPECT_EQ(lcfwd_vdc_row(1)->ufdm_epoch, 9u);
    EXPECT_EQ(rig.take(OPC_REPORT).size(), 1u);
    EXPECT_EQ(rig.traces(1, "UFDM up, epoch 9").size(), 1u);
}

/* ---- stale delete ---- */

struct stale_case {
    const char *name;
    uint32_t state;
    uint8_t afi_of[2]; /* family byte in the runs for v4 and v6 */
    uint32_t table;    /* 0 all, 1 the family's own, 2 one that is not there */
    uint8_t epoch;
    size_t gone; /* of the five routes below */
};
static const stale_case stale_cases[] = {
    {"all tables of the family", 6, {1, 2}, 0, 5, 3},
    {"one table", 6, {1, 2}, 1, 5, 2},
    {"one table goes by its own family", 6, {2, 1}, 1, 5, 2},
    {"no such table", 6, {1, 2}, 2, 5, 0},
    {"the other family", 6, {2, 1}, 0, 5, 0},
    {"no family", 6, {0, 0}, 0, 5, 0},
    {"family 3", 6, {3, 3}, 0, 5, 0},
    {"before state 6", 5, {1, 2}, 0, 5, 0},
    {"an epoch that nothing has", 6, {1, 2}, 0, 77, 4},
    {"an upgrade", 2, {1, 2}, 0, 5, 0},
};

struct control : ufib_family_test {
    /* Epoch 4: two routes in the family's table, one in table 7. Epoch 5: one. Never stale: one of epoch 4. */
    void routes() {
        wire_route elsewhere = add(f, f.prefix2);
        elsewhere.table_id = 7;
        ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2), elsewhere}, 4));
        ASSERT_TRUE(load(f, {add(f, f.prefix3)}, 5));
        ASSERT_TRUE(load(f, {add(f, f.index == 0 ? "10.9.0.0/16" : "2001:db8:9::/48", "", ETH1, 0x40)}, 4));
    }
};
INSTANTIATE_TEST_SUITE_P(both, control, both_families, family_name);

TEST_P(control, stale_delete_removes_the_routes_of_other_epochs) {
    for (const stale_case &row : stale_cases) {
        SCOPED_TRACE(row.name);
        routes();
        fake_take();
        state() = row.state;
        const uint32_t table = row.table == 1 ? f.table : row.table == 2 ? 99 : 0;
        EXPECT_EQ(rig.dispatch(OPC_STALE_DELETE, wire_stale_delete(row.afi_of[f.index], table, row.epoch)),
                  0);
        EXPECT_EQ(fake_count(f.delete_slot), row.gone);
        EXPECT_EQ(fake_entries("prefix").size(), 5 - row.gone);
        if (row.gone != 0) {
            EXPECT_GE(fake_count("all_writes_ready"), 1u);
        }
    }
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->stale_deletes, std::size(stale_cases));
    EXPECT_FALSE(rig.traces(1, "stale prefix - prefix epoch 4 current epoch 5").empty());
}

/* The guard's object goes with what the sender holds, while the prefix still says so. */
TEST_P(control, stale_delete_asks_the_source_guard_first) {
    static std::vector<uint8_t> seen;
    seen.clear();
    ufib_hook.ipsg_destroy = [](ufib_pfx *pfx) { seen.push_back(pfx->holders); };
    ASSERT_TRUE(load(f, {add(f, f.prefix)}, 4));
    state() = 6;
    rig.dispatch(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), 0, 5));
    EXPECT_EQ(seen, std::vector<uint8_t>{UFIB_HOLDER_UFDM});
}

TEST_P(control, stale_delete_of_a_table_that_is_not_required_is_nothing) {
    routes();
    state() = 6;
    fake.tables_not_required[f.table] = true;
    EXPECT_EQ(rig.dispatch(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), f.table, 5)), 0);
    EXPECT_EQ(fake_entries("prefix").size(), 5u);
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->stale_deletes, 0u);
}

/* A walk gives way after each 512 objects, and deletes what it stands on. */
TEST_P(control, stale_delete_of_many_routes_sends_heartbeats) {
    std::vector<wire_route> many;
    for (unsigned i = 0; i < 1100; i++) {
        char text[40];
        std::snprintf(text, sizeof text, f.index == 0 ? "10.%u.%u.0/24" : "2001:db8:%x:%x::/64", i / 256,
                      i % 256);
        many.push_back(add(f, text));
        if (many.size() < 100) continue;
        ASSERT_TRUE(load(f, many, 1));
        many.clear();
    }
    state() = 6;
    const uint64_t before = fu_counters_get()->heartbeats;
    rig.dispatch(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), 0, 2));
    EXPECT_EQ(fake_entries("prefix").size(), 0u);
    EXPECT_GE(fu_counters_get()->heartbeats - before, 2u);
}

/* ---- reload ---- */

struct reload : ufib_family_test {
    /* Runs the handler of the re-entry on a message; its status and its answer in hex ("" for none). */
    std::pair<int, std::string> run(const bytes &payload, uint16_t vdc = 1) {
        const uint32_t opcode = f.index == 0 ? UFIB_OPC_V4_ROUTE_DOWNLOAD : UFIB_OPC_V6_ROUTE_DOWNLOAD;
        rig.inject(opcode, payload, {.vdc = vdc, .version = 0, .sap = UCAST_SAP});
        fu_event event;
        fu_fsm_event_init(&event);
        EXPECT_EQ(lcfwd_dequeue(&event), 0);
        fu_event_node *out = nullptr;
        const int status = (f.index == 0 ? ufib_v4_route_download : ufib_v6_route_download)(&event, &out);
        fu_mts_drop(event.message);
        std::string answer;
        for (const rig_message &message : rig.take())
            if (message.response) answer = hex_from_bytes(message.payload);
        return {status, answer};
    }
    std::string signed_with_slot(const std::string &answer) const {
        uint32_t slot;
        const bytes raw = bytes_from_hex(answer.substr(32));
        std::memcpy(&slot, raw.data(), sizeof slot);
        EXPECT_EQ(slot, my_slot);
        return answer.substr(0, 32);
    }
    std::string head() const { return f.table == 1 ? "a1a201a300000001" : "a1a201a380000001"; }
};
INSTANTIATE_TEST_SUITE_P(both, reload, both_families, family_name);

TEST_P(reload, answers_with_the_slot_in_place_of_the_transaction) {
    auto [status, answer] = run(batch(f, 0, {add(f, f.prefix), remove(f, f.prefix3)}));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(signed_with_slot(answer), head() + "80010001000200" + "07");
    std::tie(status, answer) = run(batch(f, 0, {}));
    EXPECT_EQ(signed_with_slot(answer), head() + "80000000000001" + "07")
        << "an empty batch is no error here";
    EXPECT_EQ(fake_count(f.prefix_slot), 1u);
}

TEST_P(reload, is_quiet_where_nobody_waits) {
    EXPECT_EQ(run(batch(f, 0, {add(f, f.prefix)}), 3), std::pair(0, std::string())) << "inactive";
    state() = LCFWD_STATE_UPGRADING;
    EXPECT_EQ(run(batch(f, 0, {add(f, f.prefix)})), std::pair(0, std::string()));
    EXPECT_EQ(rig.traces(1, "LC_UPGRADE: drop message").size(), 1u);
    EXPECT_EQ(rig.traces(1, "Bulk route update processing begin: 1").size(), 1u);
    lcfwd_stop_update = true;
    EXPECT_EQ(signed_with_slot(run(batch(f, 0, {add(f, f.prefix)})).second), head() + "8000000100010107")
        << "the stop switch comes before the upgrade";
    lcfwd_stop_update = false;
    state() = LCFWD_STATE_ACTIVE;
    EXPECT_EQ(run(bytes(19)), std::pair(16, std::string()));
    EXPECT_EQ(signed_with_slot(run(batch(f, 0, {add(f, f.prefix)}), 9).second), head() + "8001000000010007");
    fake.table_required = false;
    EXPECT_EQ(signed_with_slot(run(batch(f, 0, {add(f, f.prefix)})).second), head() + "8000000100010107");
    EXPECT_EQ(fake_count(f.prefix_slot), 0u);
}

/* ---- wildcard tables ---- */

TEST_P(control, wildcard_routes_go_to_the_wildcard_table) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, 0x80)}));
    (void)send(f, 0, batch(f, 0, {add(f, f.prefix2, "", ETH1, 0x80)}));
    const std::string table = f.index == 0 ? "table 1 " : "table 2 "; /* their handles */
    const lines seen = fake_take({f.prefix_slot});
    ASSERT_EQ(seen.size(), 2u);
    for (const std::string &line : seen) EXPECT_NE(line.find(table), std::string::npos) << line;
    issd_to_non_pic = true;
    EXPECT_EQ(send(f, 0, batch(f, 0, {add(f, f.prefix3, "", ETH1, 0x80)})).substr(16), "8000000000010107"
                                                                                       "01020304")
        << "the image that is being left does not know that table";
    issd_to_non_pic = false;
    EXPECT_TRUE(load(f, {remove(f, f.prefix, 0x80), remove(f, f.prefix2, 0x80)}));
    EXPECT_EQ(fake_entries("prefix").size(), 0u);
}

/* Where wildcard tables are shared the first VDC alone holds their routes, and they outlive it. */
TEST_P(control, a_shared_wildcard_table_belongs_to_the_first_vdc_and_moves_on) {
    fake.optimize_wildcard = true;
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, 0x84)}));
    rig.vdc(2);
    fake_take();
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix2, "", ETH1, 0x84)}), 2);
    EXPECT_EQ(fake_count(f.prefix_slot), 0u) << "version 1 skips it in another VDC";
    const ufib_table *table = ufib_table_search(ufib_vdc_get(2), f.wildcard);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->vdc_id, 1u) << "found from any VDC";
    ufib_pi_pss_insert_table(const_cast<ufib_table *>(table));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    table = ufib_table_search(ufib_vdc_get(2), f.wildcard);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->vdc_id, 2u);
    EXPECT_EQ(table->main.prefix_count, 1u);
    EXPECT_EQ(fake_entries("prefix").size(), 1u);
    EXPECT_EQ(rig.records("prefix_vdc_2").size(), 1u) << "its record moves along";
    EXPECT_EQ(rig.records("ufib_table_vdc_2").size(), 1u) << "and the table's own";
    EXPECT_EQ(ufib_vdc_get(2)->prefix_count, 1u);
    rig.send(OPC_VDC_DELETE, wire_vdc(2));
    EXPECT_EQ(fake_entries("prefix").size(), 0u) << "with the last VDC it goes";
    EXPECT_EQ(fake_entries("table").size(), 0u);
}

TEST_P(control, a_shared_wildcard_table_that_moves_drops_whatever_was_put_there) {
    fake.optimize_wildcard = true;
    rig.vdc(2);
    wire_route group = add(f, f.prefix, "", ETH1, 0x80), recursive = add(f, f.prefix2, "", 0, 0x80);
    group.hops.push_back({.address = f.hop2, .if_index = ETH1});
    recursive.hops[0].flags = 0x01;
    recursive.hops[0].table_id = f.table;
    ASSERT_TRUE(load(f, {group, recursive, add(f, f.prefix3, "", ETH1, 0x80)}));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    ufib_table *table = ufib_table_search(ufib_vdc_get(2), f.wildcard);
    const ufib_adj *drop = ufib_vdc_get(2)->global_adj[ufib_families[f.index].global_drop];
    EXPECT_EQ(ufib_obj_refs(&drop->obj), 4u) << "its own, and three prefixes";
    EXPECT_EQ(table->main.prefix_count, 3u);
    EXPECT_TRUE(rig.log_has(std::string(f.name) + ": invalid adj type flags (0) in table"));
}

/* The model's owner of the table decides what its routes point at, whoever sends them, in whatever order VDCs come and
 * go: nothing may lead to another VDC, which may end. */
TEST_P(control, routes_of_a_shared_wildcard_table_belong_to_its_vdc) {
    const auto expect_owner = [&](uint16_t owner, uint16_t other) {
        ufib_table *table = ufib_table_search(ufib_vdc_get(other), f.wildcard);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->vdc_id, owner);
        const ufib_obj &drop = ufib_vdc_get(owner)->global_adj[ufib_families[f.index].global_drop]->obj;
        EXPECT_EQ(ufib_obj_refs(&drop), 1 + table->main.prefix_count);
        EXPECT_EQ(rig.records("prefix_vdc_" + std::to_string(owner)).size(), table->main.prefix_count);
        EXPECT_TRUE(rig.records("prefix_vdc_" + std::to_string(other)).empty());
        EXPECT_EQ(rig.records("ufib_table_vdc_" + std::to_string(owner)).size(), 1u);
        EXPECT_TRUE(rig.records("ufib_table_vdc_" + std::to_string(other)).empty());
    };
    fake.optimize_wildcard = true;
    rig.vdc(2);
    const std::string answer = send(f, 0, batch(f, 0, {add(f, f.prefix, "", ETH1, 0x84)}), 2);
    EXPECT_EQ(answer.substr(28, 2), "01") << "that format does not look whose the table is";
    ufib_pi_pss_insert_table(ufib_table_search(ufib_vdc_get(1), f.wildcard));
    (void)ufib_platform_all_writes_ready();
    expect_owner(1, 2);
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix2, "", ETH1, 0x80)}), 2);
    rig.vdc(1);
    EXPECT_EQ(ufib_table_search(ufib_vdc_get(1), f.wildcard)->vdc_id, 2u);
    ASSERT_EQ(rig.restart(), 0);
    expect_owner(1, 2); /* the first VDC that comes back has it */
    const std::vector<std::string> entries = fake_entries("prefix");
    ASSERT_EQ(rig.restart(), 0);
    expect_owner(1, 2);
    EXPECT_EQ(fake_entries("prefix"), entries);
    EXPECT_TRUE(load(f, {remove(f, f.prefix, 0x84), remove(f, f.prefix2, 0x80)}));
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

/* ---- table id question, interrupts ---- */

static struct {
    uint32_t token, opcode, node, sap;
    bytes question;
    const char *reply; /* hex; null: no answer comes */
    bool reject;
} question;

static int answer_question(void *, const mts_msg *message) {
    question.opcode = message->opcode;
    question.node = message->destination.node;
    question.sap = message->destination.sap;
    question.question.assign(message->payload, message->payload + message->payload_size);
    if (question.reply == nullptr) return 0;
    bytes payload = bytes_from_hex(question.reply);
    mts_msg answer = {};
    answer.opcode = message->opcode;
    answer.destination.sap = UCAST_SAP;
    answer.token = message->token;
    answer.flags = static_cast<uint8_t>(MTS_FLAG_RESPONSE | (question.reject ? MTS_FLAG_REJECT : 0));
    answer.payload = payload.empty() ? nullptr : payload.data();
    answer.payload_size = static_cast<uint32_t>(payload.size());
    return mts_local_inject(&answer);
}

TEST_F(ufib_test, table_id_question) {
    mts_local_hook_set(answer_question, nullptr);
    struct {
        const char *reply;
        bool reject;
        uint32_t result;
        const char *log;
    } const rows[] = {
        {"00000000 80000012", false, 0x80000012, ""},
        {"00000000 00000012 ffff", false, 0x12, ""},
        {"", true, 0, "MTS reject in ufib_ufdm_get_tableid"},
        {"", false, 0, "MTS NULL payload"},
        {"00000000 000000", false, 0, "MTS NULL payload"},
        {nullptr, false, 0, "MTS recieve failed in ufib_ufdm_get_tableid"},
    };
    for (const auto &row : rows) {
        question.reply = row.reply;
        question.reject = row.reject;
        EXPECT_EQ(ufib_ufdm_get_tableid(0x01020304), row.result);
        EXPECT_TRUE(rig.log_has(row.log)) << row.log;
    }
    EXPECT_EQ(question.opcode, 461u);
    EXPECT_EQ(question.node, 0xfe000001u);
    EXPECT_EQ(question.sap, 196u);
    EXPECT_EQ(hex_from_bytes(question.question).substr(8, 8), "01020304");
    EXPECT_EQ(question.question.size(), 20u);
    mts_local_hook_set([](void *, const mts_msg *) { return 113; }, nullptr);
    EXPECT_EQ(ufib_ufdm_get_tableid(1), 0u);
    EXPECT_TRUE(rig.log_has("MTS send failed in ufib_ufdm_get_tableid"));
}

TEST_F(ufib_test, interrupt_message_is_logged_only) {
    const auto run = [&](const bytes &payload) {
        rig.inject(77833, payload, {.sap = UCAST_SAP});
        fu_event event;
        fu_fsm_event_init(&event);
        EXPECT_EQ(lcfwd_dequeue(&event), 0);
        fu_event_node *out = nullptr;
        const int status = ufib_fu_l3_msg_handler(&event, &out);
        fu_mts_drop(event.message);
        return status;
    };
    EXPECT_EQ(run(bytes_from_hex("0000cafe 01")), 0);
    EXPECT_TRUE(rig.log_has("ufib_fu_l3_msg_handler - L3 interrupt msg cafe"));
    EXPECT_EQ(run({0, 0, 1}), 16);
    EXPECT_TRUE(rig.log_has("ERROR: ufib_fu_l3_msg_handler - null payload"));
}
