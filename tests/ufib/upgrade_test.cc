/* Upgrades of line cards, opcodes that nobody serves, and the state in which updates are refused. */
#include "tests/ufib/control_rig.h"

#include "core/lcfwd_report.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"

#include <cstring>

static bytes upgrade(unsigned operation, unsigned slot) {
    bytes out;
    put16(&out, operation);
    put16(&out, slot);
    put32(&out, 1); /* versions of the images */
    put32(&out, 2);
    return out;
}

struct upgrade_test : control_test {
    uint32_t state() const { return lcfwd_vdc_row(1)->ufib_state; }
};
INSTANTIATE_TEST_SUITE_P(v4, upgrade_test, testing::Values(&v4_family));

TEST_P(upgrade_test, of_this_card_refuses_updates_from_begin_to_end) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    fake_take();
    EXPECT_EQ(ask(OPC_LC_UPGRADE, upgrade(1, my_slot)), "00000000");
    EXPECT_EQ(state(), LCFWD_STATE_UPGRADING);
    EXPECT_EQ(calls({"process_upgrade"}), (lines{"process_upgrade_begin"}));
    EXPECT_FALSE(load(f, {add(f, f.prefix2)}));
    EXPECT_EQ(ask(OPC_AGED, bytes_from_hex("0000000101")), "") << "refused like other updates";

    interface_row row = {};
    row.if_index = ETH1;
    row.type = IF_TYPE_ETHERNET;
    row.has_mac = true;
    row.mac[0] = 2;
    row.mac[5] = 0x77;
    std::snprintf(row.name, sizeof row.name, "Ethernet1/1");
    interfaces_set(&row);
    control.smacs.clear();
    EXPECT_EQ(ask(OPC_LC_UPGRADE, upgrade(2, my_slot)), "00000000");
    EXPECT_EQ(state(), LCFWD_STATE_ACTIVE);
    EXPECT_EQ(control.smacs, (lines{"020000000077"})) << "the database spoke while nobody listened";
    EXPECT_EQ(calls({"process_upgrade"}), (lines{"process_upgrade_end"}));
    EXPECT_TRUE(load(f, {add(f, f.prefix2)}));
}

TEST_P(upgrade_test, of_another_card_reaches_the_platform_alone) {
    const uint32_t before = state();
    EXPECT_EQ(ask(OPC_LC_UPGRADE, upgrade(1, my_slot + 1)), "00000000");
    EXPECT_EQ(ask(OPC_LC_UPGRADE, upgrade(2, my_slot + 1)), "00000000");
    EXPECT_EQ(calls({"process_upgrade"}), (lines{"process_upgrade_begin", "process_upgrade_end"}));
    EXPECT_EQ(state(), before);
    EXPECT_EQ(ask(OPC_LC_UPGRADE, upgrade(3, my_slot)), "00000005");
    EXPECT_EQ(state(), before);
    EXPECT_EQ(rig.dispatch(OPC_LC_UPGRADE, bytes(3)), 16);
    EXPECT_EQ(rig.dispatch(OPC_SAL_LC_UPGRADE, bytes(8)), 0);
}

/* Messages whose contents are the library's. */
TEST_P(upgrade_test, the_library_gets_what_is_its_own) {
    fake_take();
    EXPECT_EQ(rig.dispatch(73751, bytes_from_hex("00001267")), 0);
    EXPECT_EQ(fake_take({"pervpn"}), (lines{"pervpn_ilm_base 4711"}));
    rig.stop();
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(fake_take({"pervpn"}), (lines{"pervpn_ilm_base 4711"})) << "and again after a restart";
    EXPECT_EQ(rig.dispatch(73751, bytes(3)), 16);

    EXPECT_EQ(ask(77849, bytes{7}), "reject") << "no library that knows peers";
    ufib_platform_table.nve_peer_get_mac_counters = [](const void *request, void *answer, size_t room) {
        const auto *in = static_cast<const uint8_t *>(request);
        std::memcpy(answer, in, 3);
        return in[0] == 8 ? static_cast<int>(room) + 1 : in[UFIB_NVE_REQUEST_BYTES - 1] + 3;
    };
    EXPECT_EQ(ask(77849, bytes{7, 9}), "070900") << "zero behind what came";
    EXPECT_EQ(ask(77849, bytes{8}), "reject") << "more than there is room for";
    EXPECT_EQ(rig.dispatch(77849, {}), 16);
}

TEST_P(upgrade_test, opcodes_that_nobody_serves_are_rejected) {
    for (const uint32_t opcode : {30724u, 71683u, 77834u}) {
        EXPECT_EQ(ask(opcode, bytes(8)), "reject") << opcode;
        EXPECT_EQ(rig.dispatch(opcode, {}), 16) << opcode;
    }
}
