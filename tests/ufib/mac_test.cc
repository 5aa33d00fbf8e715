/* Source MACs: the VDC's, an interface's own, and what a change rewrites. */
#include "tests/ufib/control_rig.h"

#include "host/interfaces/interfaces.h"
#include "ufib/ufib_hooks.h"

static bytes static_mac(uint32_t if_index, const std::string &mac) {
    bytes out;
    put32(&out, if_index);
    put_bytes(&out, bytes_from_hex(mac));
    return out;
}

struct mac_test : control_test {};
INSTANTIATE_TEST_SUITE_P(both, mac_test, both_families, family_name);

TEST_P(mac_test, the_router_mac_reaches_store_interfaces_without_their_own_and_globals) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, f.hop, ETH1), add(f, f.prefix2, f.hop2, ETH2)}));
    rig.send(OPC_STATIC_MAC, static_mac(ETH2, "020000000002"));
    const uint32_t handle = adj(f.hop)->obj.handle;
    control.smacs.clear();
    fake_take();
    rig.send(OPC_ROUTER_MAC, bytes_from_hex("0200000000aa"));
    EXPECT_EQ(control.smacs, lines(9, "0200000000aa")) << "one adjacency, eight globals, not the other port";
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
    EXPECT_EQ(fake_take({"insert_v", "all_writes_ready"}), (lines{"all_writes_ready"}));
    EXPECT_EQ(rig.records("vdc").at("0100").substr(24, 12), "0200000000aa");
}

TEST_P(mac_test, a_static_mac_rewrites_the_adjacencies_of_its_interface_alone) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, f.hop, ETH1), add(f, f.prefix2, f.hop2, ETH2)}));
    rig.send(OPC_ROUTER_MAC, bytes_from_hex("0200000000aa"));
    control.smacs.clear();
    rig.send(OPC_STATIC_MAC, static_mac(ETH1, "020000000001"));
    EXPECT_EQ(control.smacs, (lines{"020000000001"}));
    rig.send(OPC_STATIC_MAC, static_mac(ETH1, "0200000000aa")); /* the VDC's: no longer its own */
    rig.send(OPC_STATIC_MAC, static_mac(ETH1, "000000000000")); /* nothing left to take away */
    EXPECT_EQ(control.smacs, (lines{"020000000001", "0200000000aa"}));
    EXPECT_EQ(idb()->mac_flags & UFIB_IDB_MAC_KNOWN, 0);
    rig.send(OPC_STATIC_MAC, static_mac(0, "020000000001"));
    EXPECT_EQ(errors(E_IDB_BAD_INT), 1u);
}

TEST_P(mac_test, a_static_mac_is_told_to_the_multicast_side_and_kept_for_later_adjacencies) {
    static std::string told;
    told.clear();
    ufib_hook.mcast_static_if_mac = [](lcfwd_vdc_desc *vdc, uint32_t if_index, const uint8_t mac[6]) {
        told = std::to_string(vdc->vdc_id) + " " + std::to_string(if_index & 15) + " " + mac_text(mac);
    };
    rig.send(OPC_STATIC_MAC, static_mac(ETH1, "020000000001"));
    EXPECT_EQ(told, "1 1 020000000001");
    control.smacs.clear();
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    EXPECT_EQ(control.smacs, (lines{"020000000001"}));
}

TEST_P(mac_test, short_messages_change_nothing) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    control.smacs.clear();
    for (const uint32_t opcode : {OPC_ROUTER_MAC, OPC_STATIC_MAC}) {
        const bytes whole =
            opcode == OPC_ROUTER_MAC ? bytes_from_hex("0200000000aa") : static_mac(ETH1, "020000000001");
        for (size_t size = 0; size < whole.size(); size++)
            EXPECT_EQ(rig.dispatch(opcode, bytes(whole.begin(), whole.begin() + static_cast<long>(size))),
                      16);
        EXPECT_EQ(rig.dispatch(opcode, whole, {.vdc = 9}), 16);
        EXPECT_EQ(rig.dispatch(opcode, whole, {.vdc = 2}), 0) << "not active";
    }
    EXPECT_EQ(control.smacs, lines{});
}
