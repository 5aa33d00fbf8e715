/* Bytes that lie. Nothing crashes, what can be worked is worked, and the answer tells. */
#include "tests/ufib/ufib_rig.h"

#include <random>

struct hostile : ufib_family_test {
    size_t fixed(unsigned version) const { return version == 1 ? 27 : f.index == 0 ? 16 : 28; }
    size_t length_at(unsigned version) const { return version == 1 ? 21 : f.index == 0 ? 12 : 22; }
    size_t header(unsigned version) const { return version == 1 ? 17 : 20; }
    bytes record(unsigned version, const wire_route &route) const {
        return version == 1 ? wire_route_v1(route) : wire_route_v0(route);
    }
    /* Sends records as one batch that says 'count'; the answer. */
    std::string send_records(unsigned version, const std::vector<bytes> &records, unsigned count) {
        bytes payload = batch(f, version, {add(f, f.prefix)});
        payload.resize(header(version));
        set16(&payload, version == 1 ? 8 : 12, count);
        for (const bytes &one : records) put_bytes(&payload, one);
        fake_take();
        return send(f, version, payload);
    }
    bool good(unsigned version, const std::string &answer) const {
        return answer.substr(version == 1 ? 20 : 28, 2) == "01";
    }
    static std::string counts(const std::string &answer_v0) { return answer_v0.substr(16, 8); }
};
INSTANTIATE_TEST_SUITE_P(both, hostile, both_families, family_name);

/* A length that cannot be ends the walk: what came before stands, what comes behind is not reached. */
TEST_P(hostile, a_record_length_that_cannot_be_ends_the_walk) {
    for (const unsigned version : {0u, 1u}) {
        const bytes whole = record(version, add(f, f.prefix2));
        const size_t lengths[] = {0, 1, fixed(version) - 1, whole.size() * 2 + 1, 0xffff};
        for (const size_t length : lengths) {
            SCOPED_TRACE(testing::Message() << "version " << version << " length " << length);
            bytes lying = whole;
            set16(&lying, length_at(version), static_cast<unsigned>(length));
            const uint32_t before = stats(f).malformed_records;
            const std::string answer =
                send_records(version, {record(version, add(f, f.prefix)), lying, whole}, 3);
            EXPECT_FALSE(good(version, answer));
            EXPECT_EQ(fake_count(f.prefix_slot), 1u);
            EXPECT_EQ(stats(f).malformed_records, before + 1);
            if (version == 0) {
                EXPECT_EQ(counts(answer), "80020001") << "both records behind are refused";
            }
        }
    }
}

TEST_P(hostile, more_records_said_than_there_are) {
    EXPECT_FALSE(good(1, send_records(1, {record(1, add(f, f.prefix))}, 0xffff)));
    EXPECT_EQ(fake_count(f.prefix_slot), 1u);
    const std::string answer = send_records(0, {record(0, add(f, f.prefix))}, 9);
    EXPECT_EQ(counts(answer), "80080001");
    EXPECT_TRUE(good(1, send_records(1, {record(1, add(f, f.prefix)), bytes(3, 0xff)}, 1)))
        << "bytes behind the last record are nobody's";
}

/* Bad routes in a record whose own length is good: refused each by its own error, the next record is worked. */
struct bad_route {
    const char *name;
    void (*spoil)(bytes *record); /* a version 1 record with one next hop */
    uint32_t error;
};
static const bad_route bad_routes[] = {
    {"no next hop", [](bytes *r) { (*r)[3] = 0; }, E_ZERO_HOP_COUNT},
    {"more hops than elements", [](bytes *r) { (*r)[3] = 2; }, E_ROUTE_NHINFO_INVALID},
    {"65 hops", [](bytes *r) { (*r)[3] = 65; }, E_HOP_COUNT_EXCEEDED},
    {"array is longer than the record", [](bytes *r) { set16(r, 29, 0xffff); }, E_ROUTE_NHINFO_INVALID},
    {"array is shorter than its head", [](bytes *r) { set16(r, 29, 3); }, E_ROUTE_NHINFO_INVALID},
    {"element is longer than the array", [](bytes *r) { set16(r, 33, 0x7fff); }, E_ROUTE_NHINFO_INVALID},
    {"element is shorter than a next hop", [](bytes *r) { set16(r, 33, 34); }, E_ROUTE_NHINFO_INVALID},
    {"hop is shorter than its fixed part", [](bytes *r) { set16(r, 68, 34); }, E_ROUTE_NHINFO_INVALID},
    {"hop is longer than its element", [](bytes *r) { set16(r, 68, 40); }, E_ROUTE_NHINFO_INVALID},
    {"hop of another type", [](bytes *r) { set16(r, 31, 9); }, E_ROUTE_NHINFO_INVALID},
    {"interface 0", [](bytes *r) { (*r)[35] = (*r)[36] = (*r)[37] = (*r)[38] = 0; }, E_IDB_BAD_INT},
    {"mask too long", [](bytes *r) { (*r)[4] = 129; }, 0},
    {"table 0", [](bytes *r) { (*r)[23] = (*r)[24] = (*r)[25] = (*r)[26] = 0; }, E_INV_TABLE_ID},
};

TEST_P(hostile, a_bad_route_is_refused_and_the_next_is_worked) {
    for (const bad_route &row : bad_routes) {
        SCOPED_TRACE(row.name);
        bytes spoiled = record(1, add(f, f.prefix));
        row.spoil(&spoiled);
        const uint32_t error = row.error != 0 ? row.error : f.mask_len;
        const uint32_t before = errors(error);
        EXPECT_FALSE(good(1, send_records(1, {spoiled, record(1, add(f, f.prefix2))}, 2)));
        EXPECT_EQ(errors(error), before + 1);
        EXPECT_EQ(fake_count(f.prefix_slot), 1u);
        EXPECT_EQ(fake_entries("prefix").size(), 1u);
        EXPECT_EQ(ufib_vdc_get(1)->prefix_count, 1u);
    }
    EXPECT_TRUE(rig.log_has("add route failed for "));
    EXPECT_TRUE(rig.log_has("Failed to parse the route buffer for nh info"));
    EXPECT_TRUE(rig.log_has(std::string(f.name) + " route api error E_ZERO_HOP_COUNT"));
}

TEST_P(hostile, unknown_elements_are_skipped) {
    bytes odd = record(1, add(f, f.prefix));
    bytes element = bytes_from_hex("00ee 0003 aabbcc 0002 0004 0000001c"); /* unknown, then extended flags */
    put_bytes(&odd, element);
    set16(&odd, 21, static_cast<unsigned>(odd.size()));
    set16(&odd, 27, 3);
    set16(&odd, 29, static_cast<unsigned>(odd.size() - 27));
    EXPECT_TRUE(good(1, send_records(1, {odd}, 1)));
    EXPECT_TRUE(rig.log_has("unknown tlv type"));
    const auto records = rig.records("prefix_vdc_1");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records.begin()->second.substr(34), "00070000") << "the extended flags are route flags 0x700";
}

struct bad_hop_v0 {
    unsigned extra_len; /* as the entry says */
    size_t bytes_there; /* behind the entry */
    bool good;
};

TEST_P(hostile, an_extra_block_is_whole_or_none) {
    const unsigned block = f.index == 0 ? 16 : 28;
    const bad_hop_v0 rows[] = {{0, 0, true},
                               {1, 1, false},
                               {block - 1, block - 1, false},
                               {block, block, true},
                               {block + 4, block + 4, true},
                               {block, block - 1, false},
                               {0xffff, block, false},
                               {block, 0, false}};
    for (const bad_hop_v0 &row : rows) {
        SCOPED_TRACE(testing::Message() << row.extra_len << " of " << row.bytes_there);
        bytes one = record(0, add(f, f.prefix));
        set16(&one, one.size() - 4, row.extra_len);
        put_zeros(&one, row.bytes_there);
        set16(&one, length_at(0), static_cast<unsigned>(one.size()));
        const std::string answer = send_records(0, {one, record(0, add(f, f.prefix2))}, 2);
        EXPECT_EQ(counts(answer), row.good ? "80000002" : "80010001");
        EXPECT_EQ(good(0, answer), row.good);
    }
}

/* The converted form has no room for so many: refused whole, never cut short. */
TEST_P(hostile, sixty_four_hops_do_not_fit_version_0) {
    wire_route wide = add(f, f.prefix);
    wide.hops.assign(64, wide.hops[0]);
    const uint32_t before = errors(E_ROUTE_NHINFO_INVALID);
    const std::string answer = send_records(0, {record(0, wide), record(0, add(f, f.prefix2))}, 2);
    EXPECT_EQ(counts(answer), "80010001");
    EXPECT_EQ(errors(E_ROUTE_NHINFO_INVALID), before + 1);
    wide.hops.resize(65, wide.hops[0]);
    bytes removal = record(0, wide);
    removal[0] = f.remove;
    EXPECT_EQ(counts(send_records(0, {record(0, wide), removal}, 2)), "80020000");
    EXPECT_EQ(stats(f).route_add_failures, 2u);
    EXPECT_EQ(stats(f).route_delete_failures, 1u);
    EXPECT_EQ(fake_entries("prefix").size(), 1u);
}

TEST_P(hostile, an_accepted_batch_cut_anywhere_works_what_is_whole) {
    for (const unsigned version : {0u, 1u}) {
        wire_route rich = add(f, f.prefix2);
        rich.hops[0].xri = bytes(24, 0x11);
        rich.hops[0].labels = version == 1 ? std::vector<uint32_t>{100, 200} : std::vector<uint32_t>{};
        if (version == 1) rich.extended = 4;
        const std::vector<bytes> records = {record(version, add(f, f.prefix)), record(version, rich),
                                            record(version, add(f, f.prefix3))};
        bytes whole = batch(f, version, {add(f, f.prefix)});
        whole.resize(header(version));
        set16(&whole, version == 1 ? 8 : 12, 3);
        std::vector<size_t> ends;
        for (const bytes &one : records) {
            put_bytes(&whole, one);
            ends.push_back(whole.size());
        }
        for (size_t size = header(version); size < whole.size(); size++) {
            fake_take();
            const bytes cut(whole.begin(), whole.begin() + static_cast<long>(size));
            const std::string answer = send(f, version, cut);
            const size_t worked = static_cast<size_t>((size >= ends[0]) + (size >= ends[1]));
            EXPECT_FALSE(good(version, answer)) << size;
            EXPECT_EQ(fake_count(f.prefix_slot), worked) << size;
            if (version == 0) {
                EXPECT_EQ(counts(answer),
                          "800" + std::to_string(3 - worked) + "000" + std::to_string(worked));
            }
        }
        EXPECT_TRUE(good(version, send(f, version, whole)));
    }
}

/* Each byte of a good batch changed to each of a few values: no crash, an answer, and a model that is whole. */
TEST_P(hostile, any_byte_may_be_wrong) {
    for (const unsigned version : {0u, 1u}) {
        wire_route rich = add(f, f.prefix);
        rich.hops[0].xri = bytes(24, 0x22);
        const bytes whole = batch(f, version, {rich, add(f, f.prefix2), remove(f, f.prefix2)});
        for (size_t at = 0; at < whole.size(); at++)
            for (const uint8_t value : bytes{0x00, 0x01, 0x7f, 0x80, 0xff}) {
                bytes wrong = whole;
                wrong[at] = value;
                EXPECT_EQ(send(f, version, wrong).size(), version == 0 ? 40u : 34u) << at;
            }
    }
    EXPECT_TRUE(load(f, {add(f, f.prefix), remove(f, f.prefix)}));
}

TEST_P(hostile, noise_never_crashes) {
    std::mt19937 random(20240607 + f.index);
    for (unsigned i = 0; i < 2000; i++) {
        bytes noise = batch(f, i & 1, {add(f, f.prefix)});
        noise.resize(header(i & 1));
        const size_t size = random() % 200;
        for (size_t at = 0; at < size; at++) put8(&noise, random() % 3 == 0 ? random() & 255 : random() % 4);
        (void)send(f, i & 1, noise);
    }
}

/* ---- neighbour notices ---- */

TEST_P(hostile, neighbour_entries_that_lie_end_the_walk) {
    const bytes good_notice = wire_am_notice({{f.hop, ETH1, "020000000001"}, {f.hop2, ETH1, "020000000002"}});
    for (const unsigned length : {0u, 1u, 29u, 31u, 0xffffu}) {
        fake_take();
        bytes wrong = good_notice;
        set16(&wrong, 8 + 30, length);
        EXPECT_EQ(rig.dispatch(OPC_AM_NOTICE, wrong), 0);
        EXPECT_EQ(fake_count("insert_adj"), 1u) << length;
        EXPECT_EQ(fake_entries("adj").size(), 8u + 1) << "the one before stands, besides the globals";
    }
    for (size_t size = 8; size < good_notice.size(); size++) {
        fake_take();
        rig.dispatch(OPC_AM_NOTICE,
                     bytes(good_notice.begin(), good_notice.begin() + static_cast<long>(size)));
        EXPECT_EQ(fake_count("insert_adj"), size >= 38 ? 1u : 0u) << size;
    }
    bytes longer = wire_am_notice({{f.hop2, ETH2, "020000000003"}});
    put_zeros(&longer, 6);
    set16(&longer, 8, 36);
    fake_take();
    rig.dispatch(OPC_AM_NOTICE, longer);
    EXPECT_EQ(fake_count("insert_adj"), 1u) << "an entry may be longer than we know";
}
