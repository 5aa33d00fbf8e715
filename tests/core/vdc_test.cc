#include "core/lcfwd_export.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_vdc.h"
#include "host/interfaces/l3vm.h"
#include "host/store/store.h"
#include "host/system/system.h"
#include "persist/lcfwd_pss_vdc.h"
#include "tests/core/core_rig.h"

#include <cstring>

struct vdc : core_test {
    vdc() {
        EXPECT_EQ(rig.start(), 0);
        fake_take();
        fake_domains.log.clear();
    }
};

/* Reports as "vdc ufib/mfib". */
static lines report_lines(const std::vector<rig_message> &messages) {
    lines out;
    for (const rig_message &message : messages) {
        if (message.opcode != OPC_REPORT) continue;
        out.push_back(std::to_string((message.node >> 16 & 255) + 1) + " " +
                      std::to_string(message.payload.at(3)) + "/" + std::to_string(message.payload.at(4)));
    }
    return out;
}

TEST_F(vdc, creation_goes_down_to_the_platform_first_and_reports_last) {
    EXPECT_EQ(rig.dispatch(OPC_VDC_CREATE, wire_vdc(3)), 0);
    EXPECT_EQ(fake_domains.log, (lines{"ufib vdc_create 3", "mfib vdc_create 3", "lfib vdc_create 3"}))
        << "the row is not active yet";
    EXPECT_EQ(fake_take(), (lines{"vdc_init 3", "pss_buf_commit"})) << "what creation stored is committed";
    EXPECT_EQ(report_lines(rig.take()), (lines{"3 4/0", "3 4/4"}));
    EXPECT_TRUE(rig.log_has("Received notification to create vdc : 3"));
    EXPECT_TRUE(rig.log_has("created VDC 3, restart FALSE"));
    EXPECT_TRUE(l3vm_fsrv_sdb_attached(3));
    EXPECT_EQ(sysmgr_vdc_ctxt_get(), 0u);
}

TEST_F(vdc, second_creation_does_nothing) {
    rig.vdc(3);
    lcfwd_state_change(lcfwd_vdc_row(3), LCFWD_STATE_ACTIVE, true);
    rig.take();
    fake_domains.log.clear();
    EXPECT_EQ(rig.dispatch(OPC_VDC_CREATE, wire_vdc(3)), 0);
    EXPECT_TRUE(fake_domains.log.empty());
    EXPECT_TRUE(rig.take().empty());
    EXPECT_EQ(lcfwd_vdc_row(3)->ufib_state, LCFWD_STATE_ACTIVE);
}

TEST_F(vdc, deletion_takes_labels_first_and_leaves_nothing) {
    rig.vdc(3);
    fake_take();
    fake_domains.log.clear();
    ASSERT_EQ(rig.records("vdc").size(), 1u);
    EXPECT_EQ(rig.dispatch(OPC_VDC_DELETE, wire_vdc(3)), 0);
    EXPECT_EQ(fake_domains.log,
              (lines{"lfib vdc_delete 3 active", "mfib vdc_delete 3 active", "ufib vdc_delete 3 active"}));
    EXPECT_EQ(report_lines(rig.take()), (lines{"3 0/4", "3 0/0"})) << "the last reports";
    EXPECT_EQ(fake_take({"vdc_delete"}), lines{"vdc_delete 3"});
    EXPECT_TRUE(rig.records("vdc").empty());
    EXPECT_EQ(lcfwd_vdc_active_row(3), nullptr);
    EXPECT_EQ(lcfwd_vdc_row(3)->vdc_id, 0);
    EXPECT_EQ(vlan_bd_sdb_closes(), 1u);
    EXPECT_FALSE(l3vm_fsrv_sdb_attached(3));
    EXPECT_TRUE(rig.log_has("Deleted VDC 3"));
    fake_domains.log.clear();
    EXPECT_EQ(rig.dispatch(OPC_VDC_DELETE, wire_vdc(3)), 0) << "a second one does nothing";
    EXPECT_TRUE(fake_domains.log.empty());
}

TEST_F(vdc, deletion_of_one_that_is_being_deleted_does_nothing) {
    rig.vdc(3);
    lcfwd_vdc_row(3)->flags |= LCFWD_VDC_DELETING;
    fake_domains.log.clear();
    rig.dispatch(OPC_VDC_DELETE, wire_vdc(3));
    EXPECT_TRUE(fake_domains.log.empty());
    EXPECT_NE(lcfwd_vdc_active_row(3), nullptr);
}

TEST_F(vdc, ids_0_and_6_are_refused_everywhere) {
    for (uint16_t id : std::initializer_list<uint16_t>{0, 6, 0xffff}) {
        EXPECT_EQ(rig.dispatch(OPC_VDC_CREATE, wire_vdc(id)), 0);
        EXPECT_EQ(rig.dispatch(OPC_VDC_DELETE, wire_vdc(id)), 0);
        EXPECT_EQ(lcfwd_vdc_row(id), nullptr);
        EXPECT_EQ(lcfwd_vdc_active_row(id), nullptr);
        EXPECT_FALSE(lcfwd_state_is_upgrade(id));
        uint8_t mac[6];
        EXPECT_EQ(lcfwd_vdc_router_mac(id, mac), -1);
        lcfwd_vdc_info info;
        EXPECT_EQ(lcfwd_pss_get_vdc_info(id, &info), 0);
        EXPECT_EQ(lcfwd_ha_get_vdc_info(id, &info), -1);
    }
    EXPECT_TRUE(fake_domains.log.empty());
}

TEST_F(vdc, short_messages_are_as_good_as_none) {
    for (const bytes &payload : {bytes{}, bytes{1}}) {
        EXPECT_EQ(rig.dispatch(OPC_VDC_CREATE, payload), 16);
        EXPECT_EQ(rig.dispatch(OPC_VDC_DELETE, payload), 16);
    }
    EXPECT_TRUE(rig.log_has("lcfwd_fu_vdc_create - null payload"));
    EXPECT_TRUE(rig.log_has("lcfwd_fu_vdc_delete - null payload"));
    EXPECT_TRUE(rig.take().empty());
}

TEST_F(vdc, information_record_has_its_24_bytes_in_place) {
    rig.vdc(2);
    lcfwd_vdc_desc *row = lcfwd_vdc_row(2);
    std::memcpy(row->mac, "\x00\x11\x22\x33\x44\x55", 6);
    row->router_mac = 0x01020304;
    lcfwd_state_change(row, LCFWD_STATE_LOADING, false);
    const std::string value = "020001000400000005000000001122334455000004030201";
    EXPECT_EQ(rig.records("vdc"), (std::map<std::string, std::string>{{"0200", value}}));
    bytes out(24);
    EXPECT_EQ(lcfwd_ha_get_vdc_info(2, out.data()), 0);
    EXPECT_EQ(hex_from_bytes(out), value);
}

TEST_F(vdc, restart_restores_states_mac_and_field_and_reports_them) {
    rig.vdc(2);
    rig.vdc(5);
    lcfwd_vdc_desc *row = lcfwd_vdc_row(2);
    std::memcpy(row->mac, "\x00\x11\x22\x33\x44\x55", 6);
    row->router_mac = 7;
    lcfwd_state_change(row, LCFWD_STATE_ACTIVE, true);
    lcfwd_state_change(row, LCFWD_STATE_LOADING, false);
    lcfwd_state_change(lcfwd_vdc_row(5), LCFWD_STATE_LOADING, true);
    row->ufdm_epoch = 9;
    rig.stop();
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(report_lines(rig.take()), (lines{"2 6/0", "2 6/5", "5 5/0", "5 5/4"}));
    row = lcfwd_vdc_row(2);
    EXPECT_EQ(row->ufib_state, 6u);
    EXPECT_EQ(row->mfib_state, 5u);
    EXPECT_EQ(row->router_mac, 7u);
    EXPECT_EQ(row->ufdm_epoch, 0u) << "the sender must say again that it is up";
    uint8_t mac[6] = {};
    EXPECT_EQ(lcfwd_vdc_router_mac(2, mac), 0);
    EXPECT_EQ(mac[5], 0x55);
    EXPECT_EQ(lcfwd_vdc_router_mac(5, mac), -1) << "none is known";
}

TEST_F(vdc, records_that_cannot_be_are_removed_at_restart) {
    rig.vdc(2);
    const struct {
        bytes key, value;
    } bad[] = {{{9, 0}, bytes(24)}, {{3, 0}, bytes(23)}, {{4}, bytes(24)}, {{0, 0}, bytes(24)}};
    for (const auto &record : bad) {
        const pss2_datum key = {record.key.data(), static_cast<uint32_t>(record.key.size())};
        const pss2_datum value = {record.value.data(), static_cast<uint32_t>(record.value.size())};
        ASSERT_EQ(fu_vdc_pss_store(0, 30, &key, &value), 0);
    }
    rig.stop();
    ASSERT_EQ(rig.start(), 0);
    EXPECT_NE(lcfwd_vdc_active_row(2), nullptr);
    EXPECT_EQ(lcfwd_vdc_active_row(3), nullptr);
    EXPECT_EQ(rig.records("vdc").size(), 1u);
}

TEST_F(vdc, system_services_that_fail_are_logged_only) {
    host_system.vdc_ctxt_fails = true;
    rig.vdc(1);
    EXPECT_NE(lcfwd_vdc_active_row(1), nullptr);
    EXPECT_TRUE(rig.log_has("sysmgr_set_vdc_ctxt failed"));
    EXPECT_TRUE(rig.log_has("l3vm_fsrv_sdb_init failed"));
}

TEST_F(vdc, holder_locks_are_released_by_their_bit) {
    const bool want[] = {false, true, true, true, false, true, false};
    for (uint32_t i = 0; i < LCFWD_ROUTE_HOLDERS; i++) {
        EXPECT_EQ(vdc_del_rel_route_holder_lock[i].enabled, want[i]) << i;
        EXPECT_EQ(vdc_del_rel_route_holder_lock[i].index, i);
    }
}

/* On some cards a VDC exists only while the card has ports in it. */
TEST_F(vdc, line_cards_make_and_remove_their_vdc) {
    for (const auto &[card, follows] : {std::pair{124, true}, {128, true}, {135, true}, {125, false}}) {
        const bytes notice = wire_line_card(7, 4, 99, static_cast<uint32_t>(card));
        const auto inserted = rig.send(OPC_LC_INSERTED, notice);
        EXPECT_EQ(lcfwd_vdc_active_row(4) != nullptr, follows) << card;
        ASSERT_TRUE(inserted.has_value());
        /* array of two elements: the notice, and a status of 0 */
        EXPECT_EQ(hex_from_bytes(inserted->payload),
                  "0002001c0001000c" + hex_from_bytes(notice) + "0002000400000000");
        const auto removed = rig.send(OPC_LC_REMOVED, notice);
        EXPECT_EQ(lcfwd_vdc_active_row(4), nullptr) << card;
        ASSERT_TRUE(removed.has_value());
        EXPECT_EQ(removed->payload, inserted->payload);
    }
    EXPECT_TRUE(rig.log_has("Received IM_IF_VDC_BIND for slot 7: vdc_id 4: module_type 99: sw_card_id 124"));
    EXPECT_TRUE(
        rig.log_has("Received VMM_LAST_PORT_REMOVED for slot 7: vdc_id 4: module_type 99: sw_card_id 135"));
    size_t replies = 0;
    const std::string log = rig.log_text();
    for (size_t at = 0; (at = log.find("reply to LC insert", at)) != std::string::npos; at++) replies++;
    EXPECT_EQ(replies, 8u) << "one line for both kinds of answer";
    EXPECT_EQ(rig.dispatch(OPC_LC_INSERTED, bytes(11)), 16);
    EXPECT_EQ(rig.dispatch(OPC_LC_REMOVED, {}), 16);
    EXPECT_TRUE(rig.log_has("lcfwd_fu_lc_removed - payload parsing failed"));
}
