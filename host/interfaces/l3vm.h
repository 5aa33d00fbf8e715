/* host/interfaces/l3vm.h: VRF contexts and VLAN data of a VDC, and the system database they are said to lie
 * in. The VDC is the one of sysmgr_set_vdc_ctxt() unless a call names it. One thread. */
#pragma once

#include "host/interfaces/interfaces.h"

struct mts_msg;

struct l3vm_context_info {
    uint32_t vdc_id;
    uint32_t ipv4_table; /* 0: none */
    uint32_t ipv6_table;
    char name[IF_NAME_MAX];
};

/* Adds a context, or replaces the one of that VDC and name. */
void l3vm_context_set(const l3vm_context_info *context);

/* Attaches this process to, and detaches it from, the database of the VDC in context. 0, or ENXIO without
 * one. */
[[nodiscard]] int l3vm_fsrv_sdb_init();
int l3vm_fsrv_sdb_close();
[[nodiscard]] bool l3vm_fsrv_sdb_attached(uint32_t vdc_id);

/* The context behind the one named 'after' (null: the first), in the order of names; the name need not exist
 * any more. 0; ENOENT at the end; ENXIO without a VDC in context. '*out' is unchanged on failure. */
[[nodiscard]] int l3vm_get_next_context_info(const char *after, l3vm_context_info *out);

/* The table id of a context. 'family': 1 IPv4, 2 IPv6. 'topology': "base" is the only one. 0: none. */
[[nodiscard]] uint32_t l3vm_context_get_table_id(const char *name, uint32_t family, const char *topology);

/* The bridge domain of a VLAN. 0 or ENOENT. */
[[nodiscard]] int vlan_get_bd(uint32_t vdc_id, uint32_t vlan, uint32_t *bridge_domain);
void vlan_set_bd(uint32_t vdc_id, uint32_t vlan, uint32_t bridge_domain);
/* Closes the bridge-domain database of a VDC: its rows are forgotten. */
void vlan_close_bd_sdb(uint32_t vdc_id);
[[nodiscard]] uint32_t vlan_bd_sdb_closes();

/* The system database looks at a message. FSRV_SDB_CONSUMED: it was a change notice (opcodes below); the file
 * of interfaces_load() is read again, if there was one, and a bad file leaves the table as it was (counted).
 * Otherwise 0. */
inline constexpr int FSRV_SDB_CONSUMED = 0x41270002;
inline constexpr uint32_t FSRV_OPC_SDB_CHANGE = 185;
inline constexpr uint32_t FSRV_OPC_SDB_READY = 1530;
[[nodiscard]] int fsrv_sdb_process_msg(uint32_t queue, mts_msg *message);

struct fsrv_counters {
    uint32_t notices;
    uint32_t reloads;
    uint32_t failed_reloads;
};
[[nodiscard]] const fsrv_counters *fsrv_counters_get();
