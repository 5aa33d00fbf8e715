/* Route batches: each check of the header, in its order, and the answer byte for byte. */
#include "core/lcfwd_db.h"
#include "host/bus/bus_local.h"
#include "host/containers/heap.h"
#include "tests/ufib/ufib_rig.h"

static constexpr const char *V1_HEAD = "aabbccdd"; /* length: comes back unread */
static constexpr const char *V1_TAIL = "01020304 09 07";

/* A version 1 header by hand, then routes. */
static bytes v1(const char *batch_size, const char *count, const char *flags, const bytes &records = {}) {
    bytes out = bytes_from_hex(std::string(V1_HEAD) + batch_size + count + flags + V1_TAIL);
    put_bytes(&out, records);
    return out;
}
static bytes v0(const char *table, const char *batch_size, const char *count, const char *flags,
                const bytes &records = {}) {
    bytes out =
        bytes_from_hex(std::string("a1a2 09 a3") + table + batch_size + count + flags + "07 01020304");
    put_bytes(&out, records);
    return out;
}

static std::string spaced(const std::string &hex) { return hex_from_bytes(bytes_from_hex(hex)); }

/* What is around a batch. */
enum : unsigned { STOPPED = 1, UPGRADE = 2, NOT_REQUIRED = 4 };

struct header_case {
    const char *name; /* what goes wrong if it fails */
    unsigned version, around;
    uint16_t vdc;
    const char *sizes[3]; /* batch_size, count, flags */
    unsigned good, bad;   /* records of each kind */
    const char *nack, *ack, *flags;
    uint32_t error; /* code that is counted once, or 0 */
    const char *log;
};

static const header_case header_cases[] = {
    {"v1 worked batch reports no counts",
     1,
     0,
     1,
     {"00000050", "0002", "00"},
     2,
     0,
     "8000",
     "0000",
     "01",
     0,
     ""},
    {"v1 one bad record fails the batch without counts",
     1,
     0,
     1,
     {"00000050", "0002", "00"},
     1,
     1,
     "8000",
     "0000",
     "00",
     E_DEL_NOPFX,
     "bulk route update failed, error:E_DEL_NOPFX"},
    {"v1 request's result bit is not taken over",
     1,
     0,
     1,
     {"00000050", "0002", "05"},
     1,
     1,
     "8000",
     "0000",
     "04",
     E_DEL_NOPFX,
     ""},
    {"v1 other flags come back", 1, 0, 1, {"00000050", "0001", "80"}, 1, 0, "8000", "0000", "81", 0, ""},
    {"v1 count 0 is refused",
     1,
     0,
     1,
     {"00000050", "0000", "00"},
     0,
     0,
     "8000",
     "0000",
     "00",
     E_ZERO_ROUTE_CNT,
     ""},
    {"v1 count 0 is refused whatever the flags",
     1,
     0,
     1,
     {"00000050", "0000", "02"},
     0,
     0,
     "8000",
     "0000",
     "02",
     E_ZERO_ROUTE_CNT,
     ""},
    {"v1 size 0 is refused whole",
     1,
     0,
     1,
     {"00000000", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_ZERO_BULK_SZ,
     ""},
    {"v1 the stop switch comes before the VDC",
     1,
     STOPPED,
     9,
     {"00000050", "0002", "00"},
     2,
     0,
     "8000",
     "0002",
     "01",
     0,
     "ERROR: lcfwd_stop_update is on"},
    {"v1 VDC 0 is none",
     1,
     0,
     0,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_V4RTUP_NO_VDC_CTXT,
     "failed to set vdc ctxt"},
    {"v1 VDC 6 is none",
     1,
     0,
     6,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_V4RTUP_NO_VDC_CTXT,
     ""},
    {"v1 inactive VDC",
     1,
     0,
     3,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_V4RTUP_VDC_INACTIVE,
     "vdc inactive"},
    {"v1 upgrade refuses",
     1,
     UPGRADE,
     1,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     0,
     "LC_UPGRADE: drop message"},
    {"v1 a table that is not required is skipped route by route",
     1,
     NOT_REQUIRED,
     1,
     {"00000050", "0002", "00"},
     1,
     1,
     "8000",
     "0000",
     "01",
     0,
     ""},

    {"v0 worked batch counts", 0, 0, 1, {"00000050", "0002", "00"}, 2, 0, "8000", "0002", "01", 0, ""},
    {"v0 counts what failed",
     0,
     0,
     1,
     {"00000050", "0003", "00"},
     2,
     1,
     "8001",
     "0002",
     "00",
     E_DEL_NOPFX,
     "bulk route update failed, error:"},
    {"v0 VDC comes before the stop switch",
     0,
     STOPPED,
     9,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_V4RTUP_NO_VDC_CTXT,
     "failed to set vdc ctxt"},
    {"v0 inactive VDC comes before the stop switch",
     0,
     STOPPED,
     3,
     {"00000050", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_V4RTUP_VDC_INACTIVE,
     "vdc inactive"},
    {"v0 stop switch comes before the upgrade",
     0,
     STOPPED | UPGRADE,
     1,
     {"00000050", "0002", "00"},
     2,
     0,
     "8000",
     "0002",
     "01",
     0,
     "ERROR: lcfwd_stop_update is on"},
    {"v0 a table that is not required is taken unread",
     0,
     NOT_REQUIRED | UPGRADE,
     1,
     {"00000000", "0002", "00"},
     0,
     2,
     "8000",
     "0002",
     "01",
     0,
     ""},
    {"v0 upgrade comes before the header's rules",
     0,
     UPGRADE,
     1,
     {"00000000", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     0,
     "LC_UPGRADE: drop message"},
    {"v0 size 0 is refused",
     0,
     0,
     1,
     {"00000000", "0002", "00"},
     2,
     0,
     "8002",
     "0000",
     "00",
     E_ZERO_BULK_SZ,
     "route update hdr error E_ZERO_BULK_SZ"},
    {"v0 count 0 is refused",
     0,
     0,
     1,
     {"00000050", "0000", "00"},
     0,
     0,
     "8000",
     "0000",
     "00",
     E_ZERO_ROUTE_CNT,
     "route update hdr error E_ZERO_ROUTE_CNT"},
    {"v0 any flag lets an empty batch pass",
     0,
     0,
     1,
     {"00000000", "0000", "80"},
     0,
     0,
     "8000",
     "0000",
     "81",
     0,
     ""},
};

struct channel_header : ufib_test, testing::WithParamInterface<std::tuple<const family *, size_t>> {
    const family &f = *std::get<0>(GetParam());
    const header_case &row = header_cases[std::get<1>(GetParam())];

    /* Adds that must stand, then deletes of what is not there. */
    bytes records() const {
        std::vector<wire_route> routes;
        for (unsigned i = 0; i < row.good; i++) routes.push_back(add(f, i == 0 ? f.prefix : f.prefix2));
        for (unsigned i = 0; i < row.bad; i++) routes.push_back(remove(f, f.prefix3));
        bytes out;
        for (const wire_route &route : routes)
            put_bytes(&out, row.version == 0 ? wire_route_v0(route) : wire_route_v1(route));
        return out;
    }
    void arrange() const {
        lcfwd_stop_update = (row.around & STOPPED) != 0;
        if ((row.around & UPGRADE) != 0) lcfwd_vdc_row(1)->ufib_state = LCFWD_STATE_UPGRADING;
        if ((row.around & NOT_REQUIRED) != 0) fake.tables_not_required[f.table] = true;
    }
    std::string table() const { return f.table == 1 ? "00000001" : "80000001"; }
    uint32_t error() const {
        if (row.error == E_V4RTUP_NO_VDC_CTXT) return f.no_vdc;
        return row.error == E_V4RTUP_VDC_INACTIVE ? f.inactive : row.error;
    }
};

TEST_P(channel_header, decides_the_answer) {
    SCOPED_TRACE(row.name);
    arrange();
    const uint32_t before = errors(error());
    std::string want;
    bytes payload;
    if (row.version == 1) {
        payload = v1(row.sizes[0], row.sizes[1], row.sizes[2], records());
        want = std::string(V1_HEAD) + row.nack + row.ack + row.sizes[1] + row.flags + V1_TAIL;
    } else {
        payload = v0(table().c_str(), row.sizes[0], row.sizes[1], row.sizes[2], records());
        want = "a1a2 09 a3" + table() + row.nack + row.ack + row.sizes[1] + row.flags + "07 01020304";
    }
    EXPECT_EQ(send(f, row.version, payload, row.vdc), spaced(want));
    EXPECT_EQ(errors(error()) - before, row.error == 0 ? errors(0) - before : 1u);
    EXPECT_TRUE(rig.log_has(row.log)) << row.log << "\n" << rig.log_text();
    const bool worked = row.around == 0 && row.vdc == 1;
    EXPECT_EQ(fake_count(f.prefix_slot), worked && row.error != E_ZERO_BULK_SZ ? row.good : 0);
    lcfwd_stop_update = false;
}

INSTANTIATE_TEST_SUITE_P(rows, channel_header,
                         testing::Combine(testing::Values(&v4_family, &v6_family),
                                          testing::Range(size_t{0}, std::size(header_cases))),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param)->name) + "_" +
                                    std::to_string(std::get<1>(row.param));
                         });

struct channel : ufib_family_test {};
INSTANTIATE_TEST_SUITE_P(both, channel, both_families, family_name);

TEST_P(channel, all_header_errors_count_and_the_last_stands) {
    const bytes payload = v0("00000000", "00000000", "0000", "00");
    EXPECT_EQ(send(f, 0, payload), spaced("a1a2 09 a3 00000000 8000 0000 0000 00 07 01020304"));
    EXPECT_EQ(errors(E_INV_TABLE_ID), 1u);
    EXPECT_EQ(errors(E_ZERO_BULK_SZ), 1u);
    EXPECT_EQ(errors(E_ZERO_ROUTE_CNT), 1u);
    EXPECT_TRUE(rig.log_has("hdr error E_ZERO_ROUTE_CNT"));
    EXPECT_EQ(send(f, 0, v0("00000000", "00000000", "0000", "40")),
              spaced("a1a2 09 a3 00000000 8000 0000 0000 40 07 01020304"))
        << "flags do not make up for a missing table";
    (void)send(f, 1, v1("00000000", "0000", "00"));
    EXPECT_EQ(errors(E_ZERO_BULK_SZ), 2u);
    EXPECT_EQ(errors(E_ZERO_ROUTE_CNT), 2u);
}

TEST_P(channel, the_version_is_its_low_byte) {
    const bytes payload =
        v0(f.table == 1 ? "00000001" : "80000001", "00000010", "0001", "00", wire_route_v0(add(f, f.prefix)));
    EXPECT_EQ(send(f, 0x100, payload).size(), 40u);
    EXPECT_EQ(send(f, 0x102, batch(f, 1, {add(f, f.prefix2)})).size(), 34u);
}

TEST_P(channel, a_vdc_that_found_no_memory_for_its_model_is_inactive) {
    heap_fail_nth(1, false);
    rig.send(OPC_VDC_CREATE, wire_vdc(2));
    heap_fail_nth(0, false);
    ASSERT_EQ(ufib_vdc_get(2), nullptr);
    for (const unsigned version : {0u, 1u}) {
        const std::string answer = send(f, version, batch(f, version, {add(f, f.prefix)}, 0), 2);
        EXPECT_EQ(answer.substr(version == 0 ? 28 : 20, 2), "00");
    }
    EXPECT_EQ(errors(f.inactive), 2u);
}

TEST_P(channel, a_payload_shorter_than_its_header_is_none) {
    for (const unsigned version : {0u, 1u}) {
        const bytes whole = batch(f, version, {});
        for (size_t size = 0; size < whole.size(); size++) {
            const bytes cut(whole.begin(), whole.begin() + static_cast<long>(size));
            EXPECT_EQ(rig.dispatch(f.opcode, cut, {.version = version}), 16) << size;
            EXPECT_TRUE(rig.take().empty());
        }
    }
    EXPECT_EQ(errors(f.null_payload), 20u) << "version 0 counts it";
    EXPECT_TRUE(rig.log_has("Null Payload"));
    EXPECT_TRUE(rig.log_has(std::string("ERROR: ") + f.handler + " - null payload"));
}

TEST_P(channel, a_batch_raises_the_counters_of_its_vdc) {
    const bytes payload =
        batch(f, 0, {add(f, f.prefix), remove(f, f.prefix3), add(f, f.prefix2), remove(f, f.prefix)});
    (void)send(f, 0, payload);
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix)}));
    EXPECT_EQ(stats(f).batches, 2u);
    EXPECT_EQ(stats(f).batches_succeeded, 1u);
    EXPECT_EQ(stats(f).batches_failed, 1u);
    EXPECT_EQ(stats(f).route_adds, 3u);
    EXPECT_EQ(stats(f).route_deletes, 2u);
    EXPECT_EQ(stats(f).route_add_failures, 0u);
    EXPECT_EQ(stats(f).route_delete_failures, 1u);
}

/* Each opcode of a record, whether the batch fails by it, and what is counted. */
TEST_P(channel, record_opcodes_of_the_other_kind_are_counted_and_no_failure) {
    for (const unsigned version : {0u, 1u})
        for (const uint8_t opcode : bytes{0, 1, 2, 3, 4, 5, 255}) {
            if (opcode == f.add || opcode == f.remove) continue;
            wire_route odd = add(f, f.prefix);
            odd.opcode = opcode;
            const uint32_t before = errors(E_ROUTE_INV_OPCODE);
            fake_take();
            const std::string answer = send(f, version, batch(f, version, {odd, add(f, f.prefix2)}));
            EXPECT_EQ(answer.substr(version == 0 ? 28 : 20, 2), "01") << int{opcode};
            if (version == 0) {
                EXPECT_EQ(answer.substr(16, 8), "80000001");
            }
            EXPECT_EQ(errors(E_ROUTE_INV_OPCODE), before + 1);
            EXPECT_EQ(ufib_errno & 0xffff, 0u) << "the good record behind it";
            EXPECT_EQ(fake_count("one_write_ready"), 2u) << "the bracket runs for it, too";
        }
    wire_route odd = add(f, f.prefix);
    odd.opcode = 9;
    (void)send(f, 1, batch(f, 1, {odd}));
    EXPECT_EQ(ufib_errno, f.err_opcode);
}

TEST_P(channel, the_end_of_a_table_reports_all_tables_of_the_family) {
    fake_take();
    wire_route in_7 = add(f, f.prefix);
    in_7.table_id = 7;
    ASSERT_TRUE(load(f, {in_7, add(f, f.prefix2)}));
    rig.take();
    (void)send(f, 0, v0(f.table == 1 ? "00000001" : "80000001", "00000000", "0000", "02"));
    const auto notices = rig.take(0x1300f);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].node, 0xfe000000u);
    EXPECT_EQ(notices[0].sap, 190u);
    EXPECT_FALSE(notices[0].response);
    /* In the machine's order: VDC, rows; kind, family, table, instances. The wildcard table is left out. */
    const std::string table = f.table == 1 ? "01000000" : "01000080";
    const std::string afi = f.afi == 1 ? "01000000" : "02000000";
    const std::string row_7 = "01000000" + afi + "07000000 01000000";
    const std::string row_t = "01000000" + afi + table + "01000000";
    EXPECT_EQ(hex_from_bytes(notices[0].payload),
              spaced("01000000 02000000" + (f.table == 1 ? row_t + row_7 : row_7 + row_t)));
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix)}, 2));
    EXPECT_EQ(rig.take(0x1300f).size(), 1u);
}

/* The worked example of a batch and its answer, byte for byte, so that the builders cannot agree with a wrong
 * layout. */
TEST_F(ufib_test, golden_version_1_batch) {
    const bytes v4 = bytes_from_hex("0000005b 0000004a 0001 00 01020304 01 07"
                                    "01 00 00 01 10 0a010000000000000000000000000000 004a 00000001 0001 002f"
                                    "0001 0027 1a010001 c0000201000000000000000000000000 00000001"
                                    "20 00 00 00 0000000000 0027 0000 0004");
    EXPECT_EQ(hex_from_bytes(batch(v4_family, 1, {add(v4_family, v4_family.prefix)})), hex_from_bytes(v4));
    EXPECT_EQ(send(v4_family, 1, v4), spaced("0000005b 8000 0000 0001 01 01020304 01 07"));
    EXPECT_EQ(fake_take({"insert_v4_prefix", "insert_adj"}),
              (lines{"insert_adj 192.0.2.1 if 0x1a010001 glean ha 0 new = 12",
                     "insert_v4_prefix table 11 10.1.0.0/16 to 12 ha 0 new = 13"}));
}

TEST_F(ufib_test, golden_version_0_batches) {
    const bytes v4 = bytes_from_hex("0000 01 00 00000001 0000002c 0001 00 07 01020304"
                                    "01 00 00 00 01 10 0000 0a010000 002c 0000"
                                    "1a010001 c0000201 0010 0000 00000000 05060708 00000009 0000000a");
    EXPECT_EQ(send(v4_family, 0, v4), spaced("0000 01 00 00000001 8000 0001 0001 01 07 01020304"));
    const bytes v6 = bytes_from_hex("0000 01 00 80000001 00000034 0001 00 07 01020304"
                                    "03 00 00 00 01 30 20010db8000100000000000000000000 0034 00000000"
                                    "1a010001 fe800000000000000000000000000001 0000 0000");
    EXPECT_EQ(send(v6_family, 0, v6), spaced("0000 01 00 80000001 8000 0001 0001 01 07 01020304"));
    EXPECT_EQ(fake_take({"insert_v4_prefix", "insert_v6_prefix"}),
              (lines{"insert_v4_prefix table 11 10.1.0.0/16 to 12 ha 0 new = 13",
                     "insert_v6_prefix table 14 2001:db8:1::/48 to 15 ha 0 new = 16"}));
}

TEST_P(channel, an_answer_that_cannot_be_sent_is_counted) {
    const auto refuse = [](void *, const mts_msg *) { return 105; };
    mts_local_hook_set(refuse, nullptr);
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix)}));
    mts_local_hook_set(nullptr, nullptr);
    EXPECT_EQ(errors(f.index == 0 ? E_V4RTUP_MTS_SEND : E_V6RTUP_MTS_SEND), 1u);
    EXPECT_TRUE(rig.log_has(std::string(f.handler) + ": mts_send_response failed, errno: 105"));
    EXPECT_EQ(fake_count(f.prefix_slot), 1u) << "the routes stand all the same";
}

TEST_P(channel, the_bracket_of_a_batch_is_traced_and_measured) {
    (void)send(f, 1, batch(f, 1, {add(f, f.prefix), add(f, f.prefix2)}));
    lines seen = rig.traces(1);
    EXPECT_FALSE(seen.empty());
    EXPECT_EQ(fake_take({"one_write_ready", "all_writes_ready"}),
              (lines{"one_write_ready", "one_write_ready", "all_writes_ready"}));
}
