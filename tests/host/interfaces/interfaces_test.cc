#include "host/interfaces/interfaces.h"

#include "host/bus/bus.h"
#include "host/interfaces/l3vm.h"
#include "host/system/system.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>

class interfaces : public testing::Test {
protected:
    void TearDown() override {
        interfaces_reset();
        host_system_reset();
    }
    static int parse(const std::string &text, uint32_t *line = nullptr) {
        return interfaces_parse(text.data(), text.size(), line);
    }
    static std::string name_of(uint32_t if_index) {
        char name[IF_NAME_MAX];
        if_index_to_name(if_index, name, sizeof name);
        return name;
    }
};

struct rule_case {
    const char *name;
    uint32_t if_index;
    int type;
};

static const rule_case rule_cases[] = {
    {"mgmt0", 0x01000000, 1},
    {"Vlan100", 0x09000064, 9},
    {"port-channel4096", 0x16001000, 22},
    {"Null0", 0x17000000, 23},
    {"Overlay1", 0x18000001, 24},
    {"Ethernet3/48", 0x1a030030, 26},
    {"Ethernet255/65535", 0x1affffff, 26},
    {"Tunnel16777215", 0x22ffffff, 34},
    {"inband1", 0x15000001, 21},
};

TEST_F(interfaces, without_a_table_names_indexes_and_types_follow_the_rule) {
    for (const rule_case &row : rule_cases) {
        uint32_t if_index = 0;
        EXPECT_EQ(vsh_interface_name_to_ifindex(row.name, &if_index), 0) << row.name;
        EXPECT_EQ(if_index, row.if_index) << row.name;
        EXPECT_EQ(if_index_get_type(row.if_index), row.type) << row.name;
        EXPECT_EQ(name_of(row.if_index), row.name);
        EXPECT_EQ(if_index_is_tunnel_intf(row.if_index), row.type == 34) << row.name;
    }
    for (const char *name :
         {"", "Null", "Vlan", "Vlan1x", "Vlan-1", "Vlan16777216", "Ethernet1", "Ethernet1/", "Ethernet256/1",
          "Ethernet1/65536", "vlan1", "Tunnel99999999999999999999"}) {
        uint32_t if_index = 7;
        EXPECT_EQ(vsh_interface_name_to_ifindex(name, &if_index), ENOENT) << name;
        EXPECT_EQ(if_index, 7u) << name;
    }
    EXPECT_EQ(if_index_get_type(5), -1);
    EXPECT_EQ(name_of(0x44000005), "if_index 0x44000005");
    EXPECT_EQ(if_index_get_type(if_index_eth_inband_get_priority_hi()), 21);
}

TEST_F(interfaces, a_file_overrides_the_rule_for_what_it_names) {
    ASSERT_EQ(parse("# a comment\n"
                    "\n"
                    "interface 0x1a030030 uplink mac 02:00:00:00:0A:ff # to the core\n"
                    "interface 300 odd type 34 vdc 2 mac 02:00:00:00:00:01\r\n"
                    "interface 0x09000064 Vlan100 mac 02:00:00:00:00:09\n"
                    "  interface 0x2c000001 unknown"),
              0);
    EXPECT_EQ(interfaces_count(), 4u);
    EXPECT_EQ(name_of(0x1a030030), "uplink");
    EXPECT_EQ(if_index_get_type(0x1a030030), 26);
    EXPECT_TRUE(if_index_is_tunnel_intf(300));
    EXPECT_EQ(if_index_get_type(0x2c000001), -1);
    uint32_t if_index;
    EXPECT_EQ(vsh_interface_name_to_ifindex("odd", &if_index), 0);
    EXPECT_EQ(if_index, 300u);
}

TEST_F(interfaces, router_macs_are_known_by_kind_and_context) {
    ASSERT_EQ(parse("interface 0x1a010001 Ethernet1/1 mac 02:00:00:00:0a:ff\n"
                    "interface 0x1a010002 Ethernet1/2 vdc 2 mac 02:00:00:00:00:02\n"
                    "interface 0x1a010003 Ethernet1/3\n"
                    "interface 0x09000064 Vlan100 mac 02:00:00:00:00:09\n"),
              0);
    uint8_t mac[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(ethpm_gldb_get_interface_router_mac(0x1a010003, 1, mac), ENOENT);
    EXPECT_EQ(ethpm_gldb_get_interface_router_mac(0x1a010002, 1, mac), ENOENT);
    EXPECT_EQ(ethpm_gldb_get_interface_router_mac(0x09000064, 1, mac), ENOENT);
    EXPECT_EQ(svi_gldb_get_interface_router_mac(0x1a010001, 1, mac), ENOENT);
    EXPECT_EQ(mac[0], 9);
    EXPECT_EQ(ethpm_gldb_get_interface_router_mac(0x1a010002, 2, mac), 0);
    EXPECT_EQ(mac[5], 2);
    EXPECT_EQ(ethpm_gldb_get_interface_router_mac(0x1a010001, 5, mac), 0);
    EXPECT_EQ(mac[4], 0x0a);
    EXPECT_EQ(svi_gldb_get_interface_router_mac(0x09000064, 1, mac), 0);
    EXPECT_EQ(mac[5], 9);
}

TEST_F(interfaces, null0_is_of_type_23_whatever_the_table_calls_so) {
    uint32_t if_index;
    ASSERT_EQ(parse("interface 0x1a010001 Null0\n"), 0);
    ASSERT_EQ(vsh_interface_name_to_ifindex("Null0", &if_index), 0);
    EXPECT_EQ(if_index, 0x17000000u);
    ASSERT_EQ(parse("interface 77 Null0 type 23\n"), 0);
    ASSERT_EQ(vsh_interface_name_to_ifindex("Null0", &if_index), 0);
    EXPECT_EQ(if_index, 77u);
}

TEST_F(interfaces, one_bad_row_refuses_the_file_and_is_named) {
    ASSERT_EQ(parse("interface 1 kept type 9\n"), 0);
    std::istringstream rows(
        "interface;interface 1;interface 0 zero;interface 1x name;interface -1 name;"
        "interface 4294967296 name;interface 1 n type;interface 1 n type 256;"
        "interface 1 n mac 02:00:00:00:00;interface 1 n mac 02-00-00-00-00-01;"
        "interface 1 n mac 0g:00:00:00:00:01;interface 1 n colour 3;context 0 name;context 1;"
        "context 1 n ipv5 1;context 1 n ipv4;bridge-domain 1 2;bridge-domain 1 4096 5;"
        "bridge-domain 1 2 3 4;word;interface 1 " +
        std::string(IF_NAME_MAX, 'n'));
    for (std::string row; std::getline(rows, row, ';');) {
        uint32_t line = 0;
        EXPECT_EQ(parse("interface 2 other type 9\n# comment\n" + row + "\n", &line), EBADMSG) << row;
        EXPECT_EQ(line, 3u) << row;
        EXPECT_EQ(interfaces_count(), 1u) << row;
    }
    EXPECT_NE(interfaces_find(1), nullptr);
    EXPECT_EQ(interfaces_load("/no/such/file", nullptr), ENOENT);
    EXPECT_EQ(interfaces_load("/tmp", nullptr), EISDIR);
    EXPECT_EQ(interfaces_count(), 1u);
}

/* The contexts of the VDC in context, as "name=ipv4,ipv6". */
static std::string contexts() {
    std::string out;
    l3vm_context_info context;
    std::string after;
    for (const char *from = nullptr; l3vm_get_next_context_info(from, &context) == 0; from = after.c_str()) {
        out += std::string(context.name) + "=" + std::to_string(context.ipv4_table) + "," +
               std::to_string(context.ipv6_table) + " ";
        after = context.name;
    }
    return out;
}

TEST_F(interfaces, contexts_belong_to_the_vdc_in_context) {
    ASSERT_EQ(
        parse("context 2 red ipv4 10 ipv6 0x8000000a\ncontext 2 blue ipv4 11\ncontext 3 green ipv6 12\n"), 0);
    l3vm_context_info context;
    EXPECT_EQ(l3vm_get_next_context_info(nullptr, &context), ENXIO);
    EXPECT_EQ(l3vm_context_get_table_id("red", 1, "base"), 0u);
    ASSERT_EQ(sysmgr_set_vdc_ctxt(2), 0);
    EXPECT_EQ(contexts(), "blue=11,0 red=10,2147483658 ");
    EXPECT_EQ(l3vm_get_next_context_info("green", &context), 0); /* a name that is not there */
    EXPECT_STREQ(context.name, "red");
    EXPECT_EQ(l3vm_context_get_table_id("red", 1, "base"), 10u);
    EXPECT_EQ(l3vm_context_get_table_id("red", 2, "base"), 0x8000000au);
    EXPECT_EQ(l3vm_context_get_table_id("red", 3, "base"), 0u);
    EXPECT_EQ(l3vm_context_get_table_id("red", 1, "other"), 0u);
    EXPECT_EQ(l3vm_context_get_table_id("default", 1, "base"), 0u);
    ASSERT_EQ(sysmgr_set_vdc_ctxt(1), 0);
    EXPECT_EQ(contexts(), "default=1,2147483649 ");
    EXPECT_EQ(l3vm_context_get_table_id("default", 2, "base"), 0x80000001u);
}

TEST_F(interfaces, bridge_domains_leave_with_their_vdc) {
    ASSERT_EQ(parse("bridge-domain 1 10 100\nbridge-domain 2 10 200\n"), 0);
    vlan_set_bd(1, 10, 101);
    uint32_t bd = 0;
    EXPECT_EQ(vlan_get_bd(1, 10, &bd), 0);
    EXPECT_EQ(bd, 101u);
    vlan_close_bd_sdb(1);
    EXPECT_EQ(vlan_get_bd(1, 10, &bd), ENOENT);
    EXPECT_EQ(vlan_get_bd(2, 10, &bd), 0);
    EXPECT_EQ(bd, 200u);
    EXPECT_EQ(vlan_bd_sdb_closes(), 1u);
}

static int notice(uint32_t opcode) {
    mts_msg message{};
    message.opcode = opcode;
    return fsrv_sdb_process_msg(1, &message);
}

TEST_F(interfaces, a_change_notice_reads_the_file_again_and_a_bad_file_changes_nothing) {
    char path[] = "/tmp/lcfwd_interfaces_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(notice(FSRV_OPC_SDB_CHANGE), FSRV_SDB_CONSUMED); /* no file yet */
    std::ofstream(path) << "interface 300 one type 9\n";
    ASSERT_EQ(interfaces_load(path, nullptr), 0);
    std::ofstream(path) << "interface 300 two type 34\n";
    EXPECT_EQ(notice(74767), 0);
    EXPECT_EQ(name_of(300), "one");
    EXPECT_EQ(notice(FSRV_OPC_SDB_READY), FSRV_SDB_CONSUMED);
    EXPECT_EQ(name_of(300), "two");
    std::ofstream(path) << "interface";
    EXPECT_EQ(notice(FSRV_OPC_SDB_CHANGE), FSRV_SDB_CONSUMED);
    EXPECT_EQ(name_of(300), "two");
    EXPECT_EQ(fsrv_counters_get()->notices, 3u);
    EXPECT_EQ(fsrv_counters_get()->reloads, 1u);
    EXPECT_EQ(fsrv_counters_get()->failed_reloads, 1u);
    unlink(path);
}
