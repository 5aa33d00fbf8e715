/* codec/eltm.h: port parameters of line cards, and what is switched on for a port or a VDC. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltm_lc_port_param_chg_req {
    uint32_t if_index;
    uint8_t tag97;
};
static_assert(sizeof(eltm_lc_port_param_chg_req) == 8);
extern const tlvu_tbl eltm_lc_port_param_chg_req_tbl;

/* Members: eltm_lc_port_param_chg_req. */
struct eltm_lc_port_param_chg_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltm_lc_port_param_chg_req_msg) == 4);
extern const tlvu_tbl eltm_lc_port_param_chg_req_msg_tbl;

struct eltm_lc_port_param_chg_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltm_lc_port_param_chg_rsp) == 8);
extern const tlvu_tbl eltm_lc_port_param_chg_rsp_tbl;

/* Members: eltm_lc_port_param_chg_rsp. */
struct eltm_lc_port_param_chg_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltm_lc_port_param_chg_rsp_msg) == 4);
extern const tlvu_tbl eltm_lc_port_param_chg_rsp_msg_tbl;

struct eltm_otv_feature_info {
    uint32_t if_index;
    uint32_t tag15;
    uint32_t tag18;
    uint32_t tag11;
    uint8_t tag79;
    uint8_t tag80;
    uint32_t tag3;
    uint16_t tag12;
};
static_assert(sizeof(eltm_otv_feature_info) == 28);
extern const tlvu_tbl eltm_otv_feature_info_tbl;

struct eltm_vdc_feature {
    uint8_t tag86;
    uint8_t tag87;
    uint16_t tag88;
    uint32_t tag89;
    uint32_t tag98;
};
static_assert(sizeof(eltm_vdc_feature) == 12);
extern const tlvu_tbl eltm_vdc_feature_tbl;
