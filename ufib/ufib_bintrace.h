/* ufib/ufib_bintrace.h: what happened to each object, kept by key beyond the object's life: the histories of the unicast
 * model, and the set-up that histories of other domains share. Keys and records are packed, numbers big-endian, so that
 * keys walk in the order of their numbers. A history knows no VDC: two VDCs with one table id share their entries.
 * One thread. */
#pragma once

#include "core/wire.h"
#include "host/trace/bt.h"
#include "ufib/ufib_prefix.h"

#include <cstdint>

struct ufib_adj;
struct ufib_ecmp;
struct ufib_vobj;

enum ufib_bt_operation : uint32_t { UFIB_BT_CREATE = 0, UFIB_BT_UPDATE = 1, UFIB_BT_DESTROY = 2 };

/* ---- keys and records; 'address' is 4 or 16 bytes and comes last, so that one structure serves both families ---- */

struct ufib_bt_pfx_key {
    uint8_t mask_len;
    wire_be<uint32_t> table_id;
    uint8_t address[16];
};
struct ufib_bt_pfx_head {
    wire_be<uint32_t> kind; /* object type, as in every record */
    wire_be<uint32_t> time; /* seconds since 1970, as in every record */
    wire_be<uint32_t> handle;
    wire_be<uint32_t> next_handle; /* of a tunnel: of the object behind it */
    wire_be<uint32_t> next_type;   /* 0 without a next object, and so the handle */
    wire_be<uint32_t> path_count;
    wire_be<uint32_t> operation;
};
struct ufib_bt_pfx_record {
    ufib_bt_pfx_head head;
    wire_be<uint32_t> one;
};
struct ufib_bt_rnh_record { /* the handle is 0: recursive next hops are not in hardware */
    ufib_bt_pfx_head head;
    wire_be<uint32_t> dependents; /* rows of virtual objects */
    uint8_t flags;                /* UFIB_PFX_FLAG_* */
    uint8_t holders;
};
struct ufib_bt_adj_record { /* by handle */
    uint8_t kind;
    wire_be<uint32_t> time;
    wire_be<uint32_t> if_index;
    wire_be<uint32_t> flags; /* UFIB_ADJ_* */
    uint8_t mac[6];
    uint8_t operation;
    uint8_t holders; /* UFIB_ADJ_HELD_* */
    uint8_t pbr_count;
    uint8_t wccp_count;
    uint8_t address[16];
};
struct ufib_bt_vobj_record { /* by id, 8 bytes */
    wire_be<uint32_t> kind;
    wire_be<uint32_t> time;
    wire_be<uint32_t> operation;
    wire_be<uint32_t> new_handle; /* the instance in use */
    wire_be<uint32_t> old_handle; /* the one that is being left; 0: none */
    wire_be<uint32_t> fec_handle; /* of the view for labels; 0: none */
    wire_be<uint32_t> row_count;
    wire_be<uint32_t> cnh_count;
    wire_be<uint32_t> first_cnh; /* handle */
    wire_be<uint32_t> prefix_count;
    wire_be<uint32_t> references;
    wire_be<uint32_t> flags; /* UFIB_VOBJ_* */
    wire_be<uint16_t> vdc_id;
    uint8_t new_ls_count;
    uint8_t old_ls_count;
    uint8_t host;
};
struct ufib_bt_ecmp_member {
    wire_be<uint32_t> if_index;
    wire_be<uint32_t> handle; /* of the adjacency */
    uint8_t address[16];
};
struct ufib_bt_ecmp_record { /* by handle */
    wire_be<uint32_t> kind;
    wire_be<uint32_t> time;
    wire_be<uint32_t> path_count;
    wire_be<uint32_t> operation;
    uint8_t afi;
    uint8_t holders; /* UFIB_ECMP_HELD_* */
    wire_be<uint16_t> vdc_id;
    ufib_bt_ecmp_member members[64];
};
static_assert(sizeof(ufib_bt_pfx_key) == 9 + 12 && sizeof(ufib_bt_adj_record) == 27 + 12);
static_assert(sizeof(ufib_bt_pfx_record) == 32 && sizeof(ufib_bt_rnh_record) == 34);
static_assert(sizeof(ufib_bt_vobj_record) == 53 && sizeof(ufib_bt_ecmp_record) == 1556);

/* ---- instances ---- */

extern bt_desc ufib_adj_v4_global;
extern bt_desc ufib_adj_v6_global;
extern bt_desc ufib_pfx_v4_global;
extern bt_desc ufib_pfx_v6_global;
extern bt_desc ufib_rnh_v4_global;
extern bt_desc ufib_rnh_v6_global;
extern bt_desc ufib_vobj_global;
extern bt_desc ufib_ecmp_global;

/* The records of the histories that have a row in it, by arrival. */
extern bt_order_q rec_order_q;

constexpr uint32_t UFIB_BINTRACE_ORDER_ROWS = 14;
constexpr uint32_t UFIB_BINTRACE_UNORDERED = UINT32_MAX;

/* How an instance is set up; each domain has a table of its own. */
struct ufib_bintrace_row {
    bt_desc *desc;
    void (*init)();
    const char *header; /* log line, with the sizes of key and record; null: none */
    uint32_t max_entries;
    uint32_t records;
    uint32_t key_len;
    uint32_t rec_len;
    uint32_t order_row; /* of rec_order_q; or UFIB_BINTRACE_UNORDERED */
};

/* Sets an instance up, empty and enabled. A failure, which only a wrong row can cause, is logged. */
void ufib_bintrace_setup(const ufib_bintrace_row &row);

void ufib_adj_bintrace_init();
void ufib_v6_adj_bintrace_init();
void ufib_pfx_bintrace_init();
void ufib_v6_pfx_bintrace_init();
void ufib_v4_rnh_bintrace_init();
void ufib_v6_rnh_bintrace_init();
void ufib_vobj_bintrace_init();
void ufib_ecmp_bintrace_init();
void ufib_bintrace_init(); /* the queue, then all of them */
void ufib_bintrace_reset();

/* ---- one record; 0, or -1: no object, or no room (nothing is recorded) ---- */

int ufib_bt_add_prefix(bt_desc *desc, const ufib_pfx *pfx, uint32_t operation);
int ufib_bt_add_rnh(bt_desc *desc, const ufib_pfx *pfx, uint32_t operation);
int ufib_bt_add_adj(bt_desc *desc, const ufib_adj *adj, uint32_t operation);
int UFIB_VOBJ_BT_ADD_REC(const ufib_vobj *vobj, uint32_t operation);
int UFIB_ECMP_BT_ADD_REC(const ufib_ecmp *group, uint32_t operation);

inline int UFIB_V4_PFX_BT_ADD_REC(const ufib_pfx *pfx, uint32_t operation) {
    return ufib_bt_add_prefix(&ufib_pfx_v4_global, pfx, operation);
}
inline int UFIB_V6_PFX_BT_ADD_REC(const ufib_pfx *pfx, uint32_t operation) {
    return ufib_bt_add_prefix(&ufib_pfx_v6_global, pfx, operation);
}
inline int UFIB_V4_RNH_BT_ADD_REC(const ufib_pfx *pfx, uint32_t operation) {
    return ufib_bt_add_rnh(&ufib_rnh_v4_global, pfx, operation);
}
inline int UFIB_V6_RNH_BT_ADD_REC(const ufib_pfx *pfx, uint32_t operation) {
    return ufib_bt_add_rnh(&ufib_rnh_v6_global, pfx, operation);
}
inline int UFIB_V4_ADJ_BT_ADD_REC(const ufib_adj *adj, uint32_t operation) {
    return ufib_bt_add_adj(&ufib_adj_v4_global, adj, operation);
}
inline int UFIB_V6_ADJ_BT_ADD_REC(const ufib_adj *adj, uint32_t operation) {
    return ufib_bt_add_adj(&ufib_adj_v6_global, adj, operation);
}

/* The call of the object's family, and for prefixes of its trie. */
void ufib_bt_prefix(const ufib_pfx *pfx, uint32_t operation);
void ufib_bt_adj(const ufib_adj *adj, uint32_t operation);
