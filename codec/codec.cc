#include "codec/codec.h"

#include "codec/codec_row.h"
#include "core/lcfwd_log.h"

/* The tags stand in no message but inside the set's own element. */
static constexpr tlvu_row bmp4096_rows[] = {codec_value(0, 4, 0), codec_array(1, 1, 4, 512), codec_closing};
constexpr tlvu_tbl bmp4096_tbl = {516, "bmp4096_t", nullptr, 0, bmp4096_rows};
static_assert(codec_layout_is<bmp4096>(bmp4096_tbl, {offsetof(bmp4096, size), offsetof(bmp4096, bits)}));

const tlvu_tbl *const codec_tables[CODEC_TABLES] = {
    &eltmc_intf_type_tbl,
    &eltmc_tableid_vpnid_map_tbl,
    &eltmc_tableid_vpnid_map_msg_tbl,
    &eltmc_intf_tableid_upd_tbl,
    &eltmc_intf_tableid_upd_msg_tbl,
    &eltm_lc_port_param_chg_req_tbl,
    &eltm_lc_port_param_chg_req_msg_tbl,
    &eltm_lc_port_param_chg_rsp_tbl,
    &eltm_lc_port_param_chg_rsp_msg_tbl,
    &eltmc_intf_create_req_tbl,
    &eltmc_intf_create_req_msg_tbl,
    &eltm_otv_feature_info_tbl,
    &eltm_vdc_feature_tbl,
    &eltmc_intf_create_rsp_tbl,
    &eltmc_intf_create_rsp_msg_tbl,
    &eltmc_intf_delete_req_tbl,
    &eltmc_intf_delete_req_msg_tbl,
    &eltmc_intf_delete_rsp_tbl,
    &eltmc_intf_delete_rsp_msg_tbl,
    &eltmc_mtu_write_req_tbl,
    &eltmc_mtu_write_req_msg_tbl,
    &eltmc_mtu_write_rsp_tbl,
    &eltmc_mtu_write_rsp_msg_tbl,
    &eltmc_mtu_free_req_tbl,
    &eltmc_mtu_free_req_msg_tbl,
    &eltmc_mtu_free_rsp_tbl,
    &eltmc_mtu_free_rsp_msg_tbl,
    &eltmc_vlan_create_req_tbl,
    &eltmc_vlan_create_req_msg_tbl,
    &eltmc_vlan_create_rsp_tbl,
    &eltmc_vlan_create_rsp_msg_tbl,
    &eltmc_vlan_delete_req_tbl,
    &eltmc_vlan_delete_req_msg_tbl,
    &eltmc_vlan_delete_rsp_tbl,
    &eltmc_vlan_delete_rsp_msg_tbl,
    &eltmc_intf_up_req_tbl,
    &eltmc_intf_up_req_msg_tbl,
    &eltmc_intf_up_rsp_tbl,
    &eltmc_intf_up_rsp_msg_tbl,
    &eltmc_intf_down_req_tbl,
    &eltmc_intf_down_req_msg_tbl,
    &eltmc_intf_down_rsp_tbl,
    &eltmc_intf_down_rsp_msg_tbl,
    &eltmc_intf_update_req_tbl,
    &eltmc_intf_update_req_msg_tbl,
    &eltmc_intf_update_rsp_tbl,
    &eltmc_intf_update_rsp_msg_tbl,
    &eltmc_pc_mem_upd_req_tbl,
    &eltmc_pc_mem_upd_req_msg_tbl,
    &eltmc_pc_mem_upd_rsp_tbl,
    &eltmc_pc_mem_upd_rsp_msg_tbl,
    &eltmc_logi_intf_state_req_tbl,
    &eltmc_logi_intf_state_req_msg_tbl,
    &eltmc_logi_intf_state_rsp_tbl,
    &eltmc_logi_intf_state_rsp_msg_tbl,
    &eltmc_svi_info_req_tbl,
    &eltmc_svi_info_req_msg_tbl,
    &eltmc_svi_info_rsp_tbl,
    &eltmc_svi_info_rsp_msg_tbl,
    &eltmc_upgrade_msg_tbl,
    &eltmcd_intf_create_req_tbl,
    &eltmcd_intf_create_req_msg_tbl,
    &eltmcd_vlan_create_req_tbl,
    &eltmcd_vlan_create_req_msg_tbl,
    &eltmcd_port_create_req_tbl,
    &eltmcd_port_create_req_msg_tbl,
    &eltmcd_svi_create_req_tbl,
    &eltmcd_svi_create_req_msg_tbl,
    &eltmc_frr_bit_set_msg_tbl,
};

static void write_error(const char *function, const char *line) {
    lcfwd_log_write(LCFWD_LOG_ERROR, 1, function, __LINE__, "%s", line);
}

/* The sink is set here and not at start-up: a platform library may convert before anything of ours has
 * started. */
static int failed(const char *function, int status) {
    tlvu_error_sink_set(write_error);
    tlvu_error_print("%s: ERR 0x%x\n", function, static_cast<uint32_t>(status));
    return status;
}

int codec_to_tlv(const tlvu_tbl *table, const char *function, const void *object, uint8_t *out, uint32_t room,
                 uint32_t *used) {
    const int status = tlvu_table_convert_struct_to_tlv(table, object, out, room, used);
    return status == TLVU_OK ? TLVU_OK : failed(function, status);
}

int codec_to_struct(const tlvu_tbl *table, const char *function, const uint8_t *in, uint32_t length,
                    void *object, uint32_t room) {
    const int status = tlvu_table_convert_tlv_to_struct(table, in, length, object, room);
    return status == TLVU_OK ? TLVU_OK : failed(function, status);
}

uint32_t codec_member_size(const tlvu_tbl *table) {
    for (const tlvu_row *row = table->rows; row->tag != -1; row++)
        if (row->kind == TLVU_LIST) return row->elem_size;
    return 0;
}
