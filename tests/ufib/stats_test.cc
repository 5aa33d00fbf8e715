/* Statistics polls: what the engine counted, added up, in bounded slices, to whoever asked. */
#include "core/lcfwd_vdc.h"
#include "host/bus/bus_local.h"
#include "tests/ufib/check_rig.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_stats_names.h"

constexpr uint32_t OPC_POLL = 74753;
constexpr uint32_t TUNNEL_IF = 0x22000001;

static std::string hex32(uint32_t value) {
    bytes out;
    put32(&out, value);
    return hex_from_bytes(out);
}
static std::string hex64(uint64_t value) {
    return hex32(static_cast<uint32_t>(value >> 32)) + hex32(static_cast<uint32_t>(value));
}

struct statistics : check_test {
    void SetUp() override {
        check_test::SetUp();
        rig.send(OPC_DOWNLOAD, wire_download(1));
        rig.send(OPC_DOWNLOAD, wire_download(2));
        ASSERT_EQ(lcfwd_vdc_row(1)->ufib_state, 6u);
    }
    bytes poll(uint8_t type, uint8_t afi) const { return {1, 2, 3, 4, type, afi, 0x55, 0x67}; }
    bytes poll_key(uint8_t type, uint8_t afi, uint32_t if_index, const std::string &hop = "") const {
        bytes out = poll(type, afi);
        put32(&out, if_index);
        put_bytes(&out, hop.empty() ? bytes(16) : address_bytes(hop));
        out.resize(28);
        return out;
    }
    lines ask_poll(const bytes &payload) { return ask(OPC_POLL, payload, 3); }
    std::string said(uint8_t type, uint8_t afi, bool started, uint32_t objects) const {
        const bytes head = {1, 2, 3, 4, type, afi, 0x55, static_cast<uint8_t>(started ? 0x67 : 0x66)};
        return hex_from_bytes(head) + hex32(objects);
    }
    std::string head(uint8_t type, uint8_t afi, uint32_t rows, bool last, uint32_t objects) const {
        bytes out;
        put32(&out, 16 + 56 * rows);
        put_bytes(&out, {type, afi, 0x55, 0x67});
        put16(&out, rows);
        put8(&out, last);
        put8(&out, 3); /* the slot */
        put32(&out, objects);
        return hex_from_bytes(out);
    }
    std::string row(const std::string &hop, uint64_t packets, uint64_t octets, uint64_t since,
                    uint64_t since_bytes, uint32_t if_index = ETH1) const {
        return std::string(f.index == 0 ? "05" : "06") + "000000" + hex32(if_index) + address_hex(hop) +
               hex64(packets) + hex64(octets) + hex64(since) + hex64(since_bytes);
    }
    void packets(const std::string &hop, uint64_t count, uint64_t size) {
        softfwd_count_packets(0, adj(hop.c_str())->obj.handle, count, size);
    }
    uint8_t afi() const { return static_cast<uint8_t>(f.afi); }
    void neighbours(unsigned from, unsigned count) {
        std::vector<wire_neighbour> rows;
        for (unsigned i = from; i < from + count; i++) {
            char text[40];
            std::snprintf(text, sizeof text, f.index == 0 ? "10.%u.%u.1" : "fe80::%x:%x", i / 250, i % 250);
            rows.push_back({text, ETH1, "0200000000aa"});
        }
        rig.send(OPC_AM_NOTICE, wire_am_notice(rows));
    }
    static softfwd_counters counters() {
        softfwd_counters out;
        softfwd_counters_get(&out);
        return out;
    }
};
INSTANTIATE_TEST_SUITE_P(both, statistics, both_families, family_name);

TEST_P(statistics, add_up_over_polls_and_begin_anew_when_cleared) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2, f.hop2)}));
    packets(f.hop, 5, 500);
    EXPECT_EQ(ask_poll(poll(1, afi())),
              (lines{said(1, afi(), true, 2),
                     head(1, afi(), 2, true, 2) + row(f.hop, 5, 500, 5, 500) + row(f.hop2, 0, 0, 0, 0)}));
    packets(f.hop, 1, 64);
    packets(f.hop2, uint64_t{1} << 40, uint64_t{1} << 50);
    ufib_adj_stats_clear(adj(f.hop));
    packets(f.hop, 2, 128);
    EXPECT_EQ(ask_poll(poll(1, 0)),
              (lines{said(1, 0, true, 2), head(1, 0, 2, true, 2) + row(f.hop, 8, 692, 2, 128) +
                                              row(f.hop2, uint64_t{1} << 40, uint64_t{1} << 50,
                                                  uint64_t{1} << 40, uint64_t{1} << 50)}));
    EXPECT_EQ(ask_poll(poll_key(1, afi(), ETH1, f.hop)),
              (lines{said(1, afi(), true, 1), head(1, afi(), 1, true, 1) + row(f.hop, 8, 692, 2, 128)}));
    ufib_adj_totals totals;
    ufib_adj_key key;
    ASSERT_EQ(ufib_adj_stats_get_first(vdc(), af(), &key, &totals), 0);
    EXPECT_EQ(totals.packets, 8u);
    ASSERT_EQ(ufib_adj_stats_get_next(vdc(), af(), &key, &totals), 0);
    EXPECT_EQ(totals.packets, uint64_t{1} << 40);
    EXPECT_EQ(ufib_adj_stats_get_next(vdc(), af(), &key, &totals), -1);
    ufib_adj_stats_clear_all(vdc());
    EXPECT_EQ(adj(f.hop2)->totals.packets_since_clear, 0u);
    const std::string other = said(1, static_cast<uint8_t>(3 - f.afi), true, 0);
    EXPECT_EQ(ask_poll(poll(1, static_cast<uint8_t>(3 - f.afi))).at(0), other) << "the other family has none";
}

TEST_P(statistics, that_cannot_start_are_answered_at_once) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    bytes half = poll_key(3, 1, ETH1, f.hop);
    half.resize(27);
    const struct {
        const char *name;
        bytes payload;
        uint32_t version;
    } rows[] = {{"an old version", poll(1, afi()), 2},
                {"no family", poll(1, 3), 3},
                {"no such type", poll(8, afi()), 3},
                {"nothing has this type", poll(2, afi()), 3},
                {"labels, without a label side", poll(5, afi()), 3},
                {"LISP, without one", poll(7, afi()), 3},
                {"an unknown interface", poll_key(1, afi(), ETH2, f.hop), 3},
                {"an unknown next hop", poll_key(1, afi(), ETH1, f.hop2), 3},
                {"a tunnel without an interface", poll(3, afi()), 3},
                {"half a key", half, 3}};
    for (const auto &each : rows) {
        bytes head(each.payload.begin(), each.payload.begin() + 8);
        head[7] &= 0xfe;
        EXPECT_EQ(ask(OPC_POLL, each.payload, each.version), lines{hex_from_bytes(head) + hex32(0)})
            << each.name;
    }
    for (size_t size = 0; size < 8; size++) EXPECT_TRUE(ask(OPC_POLL, bytes(size), 3, 16).empty()) << size;
    lcfwd_vdc_row(1)->ufib_state = 5;
    EXPECT_EQ(ask_poll(poll(1, afi())), lines{said(1, afi(), false, 0)}) << "a download is under way";
    lcfwd_vdc_row(1)->ufib_state = 6;
}

TEST_P(statistics, of_a_tunnel_are_those_of_its_interface) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", TUNNEL_IF), add(f, f.prefix2)}));
    consistent = false; /* nobody has told where the tunnel ends */
    softfwd_count_packets(0, adj(f.hop, TUNNEL_IF)->obj.handle, 7, 700);
    const bytes message = poll_key(3, afi(), TUNNEL_IF);
    if (f.index != 0) {
        EXPECT_EQ(ask_poll(message), lines{said(3, afi(), false, 0)}) << "IPv6 tunnels are not counted";
        return;
    }
    EXPECT_EQ(ask_poll(message),
              (lines{said(3, 1, true, 1), head(3, 1, 1, true, 1) + row(f.hop, 7, 700, 7, 700, TUNNEL_IF)}));
}

TEST_P(statistics, are_read_thirty_at_a_time_and_a_refused_read_keeps_the_totals) {
    neighbours(0, 31);
    const uint64_t before = counters().calls[SOFTFWD_OP_ADJ_STATS];
    lines out = ask_poll(poll(1, afi()));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1].substr(0, 32), head(1, afi(), 31, true, 31));
    EXPECT_EQ(counters().calls[SOFTFWD_OP_ADJ_STATS] - before, 2u);
    EXPECT_EQ(counters().largest_stats, 30u);
    ASSERT_TRUE(softfwd_fault_nth(SOFTFWD_OP_ADJ_STATS, 1));
    out = ask_poll(poll(1, afi()));
    EXPECT_EQ(out.at(1).substr(0, 32), head(1, afi(), 1, true, 31)) << "thirty are missing this time";
    EXPECT_TRUE(rig.log_has("fail to read stats from hw"));
}

TEST_P(statistics, of_many_objects_come_slice_by_slice) {
    for (unsigned i = 0; i < 5; i++) neighbours(i * 3300, 3300);
    const uint32_t all = vdc()->adj_count[f.index];
    lines out = ask_poll(poll(1, afi()));
    EXPECT_EQ(out.at(0), said(1, afi(), true, all));
    EXPECT_EQ(out.size(), 1u + 17);
    EXPECT_EQ(out.back().substr(0, 32), head(1, afi(), 384, false, 16384));
    EXPECT_EQ(ask_poll(poll(1, afi())), lines{said(1, afi(), false, 0)}) << "one at a time";
    const char *const visited_last = f.index == 0 ? "10.65.133.1" : "fe80::41:85";
    ASSERT_NE(adj(visited_last), nullptr);
    neighbour({visited_last, ETH1});
    ASSERT_EQ(adj(visited_last), nullptr);
    rig.advance_seconds(5);
    out = answers(OPC_POLL);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].substr(0, 32), head(1, afi(), all - 16384, true, all)) << "from the key that is gone";
    rig.advance_seconds(10);
    EXPECT_TRUE(answers(OPC_POLL).empty());

    ask_poll(poll(1, afi()));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.take();
    rig.advance_seconds(5);
    out = answers(OPC_POLL);
    ASSERT_EQ(out.size(), 1u) << "a VDC that goes ends its poll";
    EXPECT_EQ(out[0].substr(0, 32), head(1, afi(), 0, true, 16384));
}

/* A poller that does not read gets everything later; one that is gone gets nothing, and the next poll may start. */
static int connection_error;

TEST_P(statistics, wait_for_a_poller_that_is_slow) {
    for (unsigned i = 0; i < 2; i++) neighbours(i * 1500, 1500);
    mts_local_hook_set(
        [](void *, const mts_msg *message) { return message->payload_size > 12 ? connection_error : 0; },
        nullptr);
    connection_error = ENOBUFS;
    EXPECT_EQ(ask_poll(poll(1, afi())), lines{said(1, afi(), true, 3000)});
    rig.advance_seconds(5);
    EXPECT_TRUE(answers(OPC_POLL).empty());
    connection_error = 0;
    rig.advance_seconds(5);
    size_t rows = 0;
    const lines out = answers(OPC_POLL);
    for (const std::string &reply : out) rows += (reply.size() / 2 - 16) / 56;
    EXPECT_EQ(rows, 3000u);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(out.back().substr(20, 2), "01") << "the last of them";
    connection_error = EHOSTUNREACH;
    ask_poll(poll(1, afi()));
    connection_error = 0;
    EXPECT_EQ(ask_poll(poll(1, afi())).at(0), said(1, afi(), true, 3000));
    connection_error = ENOBUFS;
    ask_poll(poll(1, afi()));
    rig.advance_seconds(50);
    EXPECT_EQ(ask_poll(poll(1, afi())), lines{said(1, afi(), false, 0)}) << "it may read again";
    rig.advance_seconds(5);
    connection_error = 0;
    EXPECT_EQ(ask_poll(poll(1, afi())).at(0), said(1, afi(), true, 3000)) << "a minute is enough";
    mts_local_hook_set(nullptr, nullptr);
}

/* Another subsystem's object with more paths than are left in the list. */
static ufib_obj lisp_object = {UFIB_OBJ_LISP_ENCAP, 100, nullptr};
static uint32_t lisp_rows;

TEST_P(statistics, of_an_object_with_many_paths_pass_the_list_by_them) {
    neighbours(0, 29);
    lisp_rows = 0;
    ufib_hook.stats_lisp_next = [](ufib_vdc *, uint32_t, uint64_t *position) {
        return (*position)++ == 0 ? &lisp_object : nullptr;
    };
    ufib_hook.stats_lisp_paths = [](const ufib_obj *) { return 40u; };
    ufib_hook.stats_count = [](ufib_obj *, uint32_t path, uint64_t, uint64_t, ufib_stats_row *out) {
        lisp_rows += path;
        out->path = static_cast<uint8_t>(path);
    };
    const lines out = ask_poll(poll(1, afi()));
    EXPECT_EQ(counters().largest_stats, 29u + 17);
    EXPECT_EQ(out.at(1).substr(0, 32), head(1, afi(), 29 + 17, true, 30));
    EXPECT_EQ(lisp_rows, 16u * 17 / 2);
}
