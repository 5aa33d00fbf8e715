/* Stored records, byte by byte by hand: a restart of another version must be able to read them. Handles and IPv4
 * addresses are in the machine's order; TLV heads are in network order. */
#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "platform/lcfwd_platform.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"

#include <bit>

using record_map = std::map<std::string, std::string>;

static std::string hex(const std::string &spaced) { return hex_from_bytes(bytes_from_hex(spaced)); }
static record_map rows(const record_map &spaced) {
    record_map out;
    for (const auto &[key, value] : spaced) out[hex(key)] = hex(value);
    return out;
}

struct record_test : ufib_test {
    void SetUp() override {
        if (std::endian::native != std::endian::little)
            GTEST_SKIP() << "the rows are those of a little machine";
        start();
    }
};

TEST_F(record_test, globals_are_written_with_their_vdc) {
    EXPECT_EQ(rig.records("gladj_vdc_1"), rows({{"01", "03000000"},
                                                {"02", "04000000"},
                                                {"03", "05000000"},
                                                {"04", "06000000"},
                                                {"05", "07000000"},
                                                {"06", "08000000"},
                                                {"09", "09000000"},
                                                {"0a", "0a000000"}}));
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16", "", ETH1, 0x40)}));
    EXPECT_EQ(rig.records("gladj_vdc_1").at("07"), hex("0c000000"));
    ASSERT_TRUE(load(v4_family, {remove(v4_family, "10.1.0.0/16", 0x40)}));
    EXPECT_EQ(rig.records("gladj_vdc_1").count("07"), 0u) << "it comes and goes with its routes";
}

TEST_F(record_test, routes_and_next_hops) {
    wire_route direct = add(v4_family, "10.2.0.0/16", "192.0.2.9", ETH2, 0x01);
    direct.extended = 0x1c;
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16"), direct}, 9));
    ASSERT_TRUE(load(v6_family, {add(v6_family, "2001:db8:1::/48")}, 7));
    /* Low byte of the flags, holders, epoch, next handle, paths, type of the next object, all flags. */
    EXPECT_EQ(rig.records("prefix_vdc_1"),
              rows({{"0d000000", "00 01 09 0c000000 01 05 0001 000c 0001 0004 00000000"},
                    {"0e000000", "01 01 09 05000000 01 05 0001 000c 0001 0004 01070000"},
                    {"11000000", "00 01 07 10000000 01 06 0001 000c 0001 0004 00000000"}}));
    EXPECT_EQ(rig.records("dcsrif_vdc_1"), rows({{"0e000000", "0200011a"}}));
    EXPECT_EQ(rig.records("v4adj_vdc_1"), rows({{"0c000000", "00 0100011a 010200c0"}}));
    EXPECT_EQ(rig.records("v6adj_vdc_1"),
              rows({{"10000000", "00 0100011a fe800000000000000000000000000001"}}));
    EXPECT_EQ(rig.records("v4adj_tlv_vdc_1"), rows({{"0c000000", "0001 000a 0001 0002 00 00"}}));
    EXPECT_EQ(rig.records("v6adj_tlv_vdc_1"), rows({{"10000000", "0001 000a 0001 0002 00 00"}}));
    neighbour({"192.0.2.1", ETH1, "0200000000aa"});
    EXPECT_EQ(rig.records("v4adj_vdc_1").at("0c000000"), hex("01 0100011a 010200c0"))
        << "the manager holds it";
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16", "192.0.2.7")}, 10));
    EXPECT_EQ(rig.records("prefix_vdc_1").at("0d000000"),
              hex("00 01 0a 12000000 01 05 0001 000c 0001 0004 00000000"))
        << "written again under its handle";
    ASSERT_TRUE(load(v4_family, {remove(v4_family, "10.1.0.0/16"), remove(v4_family, "10.2.0.0/16", 1)}));
    ASSERT_TRUE(load(v6_family, {remove(v6_family, "2001:db8:1::/48")}));
    for (const char *file : {"prefix", "dcsrif", "v6adj", "v6adj_tlv"})
        EXPECT_TRUE(rig.records(std::string(file) + "_vdc_1").empty()) << file;
    EXPECT_EQ(rig.records("v4adj_vdc_1").size(), 1u) << "that of the neighbour";
}

/* A recursive next hop has no handle: its key is its address. */
TEST_F(record_test, recursive_next_hops) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.3.3.3/32", "", ETH1, 0x20)}, 9));
    ASSERT_TRUE(load(v6_family, {add(v6_family, "2001:db8:3::3/128", "", ETH1, 0x20)}, 9));
    const record_map seen = rig.records("prefix_rnh_vdc_1");
    ASSERT_EQ(seen.size(), 2u);
    const std::string v4 = seen.at(hex("01000000 0303030a 000000000000000000000000 20 000000"));
    const std::string v6 = seen.at(hex("01000080 20010db8000300000000000000000003 80 000000"));
    EXPECT_EQ(v4.substr(0, 24), hex("01 000000 0c000000 0c000000"));
    EXPECT_EQ(v6.substr(0, 24), hex("00 000000 0e000000 0e000000"));
    EXPECT_EQ(v4.substr(24, 63 * 8), std::string(63 * 8, '0'));
    EXPECT_EQ(v4.substr(528), hex("20 01 09 0c000000 01 05 0001 000c 0001 0004 20000000"));
    EXPECT_EQ(fake_entries("prefix").size(), 0u) << "and it is never in hardware";
    ASSERT_TRUE(load(v4_family, {remove(v4_family, "10.3.3.3/32", 0x20)}));
    EXPECT_EQ(rig.records("prefix_rnh_vdc_1").size(), 1u);
}

/* A database that does not open while its VDC goes keeps its records, which are not those of a later VDC. */
TEST_F(record_test, a_vdc_made_anew_begins_without_any) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    rig.stop();
    store_fault_set(STORE_FAULT_OPEN, 4, STORE_IO); /* "prefix" */
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(errors(E_PSS_FOPEN), 1u);
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.vdc(1);
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
    EXPECT_EQ(rig.records("gladj_vdc_1").size(), 8u);
    consistent = false; /* hardware keeps the entry whose record could not be read */
}

/* The library asks for the record of a table; its own bytes follow the flags. */
struct table_record : record_test {
    table_record() { fake.caps.table_pss_space_len = 5; }
};

TEST_F(table_record, carries_the_platforms_bytes) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.0.0/16")}));
    ufib_platform_table.get_table_pss_info = [](uint32_t handle, void *out) {
        *static_cast<uint8_t *>(out) = static_cast<uint8_t>(handle);
        return 0;
    };
    ufib_pi_pss_insert_table(ufib_pi_table_search(1, 1));
    lcfwd_pi_lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("ufib_table_vdc_1"),
              rows({{"01000000", "01000000 0002 0015 0001 0004 00000000 0002 0005 0b00000000"}}));
    ASSERT_TRUE(load(v4_family, {remove(v4_family, "10.1.0.0/16")}));
    rig.advance_seconds(6);
    EXPECT_TRUE(rig.records("ufib_table_vdc_1").empty());
}
