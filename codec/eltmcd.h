/* codec/eltmcd.h: the download forms, which carry what a client request grew to. */
#pragma once

#include "codec/bmp4096.h"
#include "codec/eltmc_intf.h"
#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmcd_intf_create_req {
    uint32_t if_index;
    uint32_t tag3;
    uint8_t tag4;
    uint8_t tag56;
    uint32_t tag36;
    uint8_t tag39;
    uint8_t tag40;
    uint16_t tag41;
    uint32_t tag24;
    uint8_t tag31;
    uint8_t tag42;
    uint8_t tag43;
    uint16_t tag44;
    uint32_t tag25;
    uint8_t tag26;
    uint8_t tag27;
    uint8_t tag28;
    uint8_t tag29;
    uint8_t tag30;
    uint8_t tag45;
    uint32_t tag62;
    uint16_t tag12;
    uint8_t tag66;
    uint8_t tag67;
    uint8_t tag68;
    uint8_t tag84;
    uint8_t tag81;
    uint16_t tag92;
    eltmc_intf_type tag93;
    uint8_t unused[132]; /* no field: neither sent nor cleared */
    uint32_t tag96;
    uint32_t tag104;
    uint16_t tag105;
    uint8_t tag97;
};
static_assert(sizeof(eltmcd_intf_create_req) == 204);
extern const tlvu_tbl eltmcd_intf_create_req_tbl;

/* Members: eltmcd_intf_create_req. */
struct eltmcd_intf_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmcd_intf_create_req_msg) == 4);
extern const tlvu_tbl eltmcd_intf_create_req_msg_tbl;

struct eltmcd_vlan_create_req {
    uint32_t tag10;
    uint16_t tag12;
    uint8_t tag4;
    uint32_t tag13;
    uint32_t tag47;
    uint32_t tag48;
    uint8_t tag49;
    uint8_t tag50;
    uint8_t tag51;
    uint8_t tag52;
    uint8_t tag53;
    uint8_t tag54;
    uint8_t tag55;
    uint32_t tag24;
    uint32_t tag25;
    eltmcd_intf_create_req tag35;
    uint32_t tag69;
    uint8_t tag70;
    uint8_t tag71;
    uint16_t tag72;
    uint8_t tag73;
    uint16_t tag74[16];
    uint8_t tag75;
    uint8_t tag82;
    uint8_t tag65;
    uint32_t tag90;
    uint8_t tag85;
    uint8_t tag103;
};
static_assert(sizeof(eltmcd_vlan_create_req) == 296);
extern const tlvu_tbl eltmcd_vlan_create_req_tbl;

/* Members: eltmcd_vlan_create_req. */
struct eltmcd_vlan_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmcd_vlan_create_req_msg) == 4);
extern const tlvu_tbl eltmcd_vlan_create_req_msg_tbl;

struct eltmcd_port_create_req {
    uint32_t if_index;
    uint32_t tag22;
    uint32_t tag23;
    uint16_t tag32;
    bmp4096 tag33;
    uint8_t tag37;
    uint32_t tag38[8];
    uint32_t tag91[8];
    uint8_t tag77;
    uint32_t tag78[16];
    eltmcd_intf_create_req tag34;
};
static_assert(sizeof(eltmcd_port_create_req) == 872);
extern const tlvu_tbl eltmcd_port_create_req_tbl;

/* Members: eltmcd_port_create_req. */
struct eltmcd_port_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmcd_port_create_req_msg) == 4);
extern const tlvu_tbl eltmcd_port_create_req_msg_tbl;

struct eltmcd_svi_create_req {
    uint32_t if_index;
    uint8_t tag56;
    uint8_t tag39;
    uint8_t tag42;
};
static_assert(sizeof(eltmcd_svi_create_req) == 8);
extern const tlvu_tbl eltmcd_svi_create_req_tbl;

/* Members: eltmcd_svi_create_req. */
struct eltmcd_svi_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmcd_svi_create_req_msg) == 4);
extern const tlvu_tbl eltmcd_svi_create_req_msg_tbl;
