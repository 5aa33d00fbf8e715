/* ufib/ufib_pss.h: the unicast side of the store: each object with a hardware handle has a record in a database of its
 * VDC, written at each change and committed with the hardware batch. Writing needs room in staging; a record that
 * finds none is missed, logged and counted (E_PSS_NO_MEM). One thread; no allocation. */
#pragma once

#include "core/lcfwd_vdc.h"

#include <cstdint>

struct ufib_adj;
struct ufib_ecmp;
struct ufib_idb;
struct ufib_pfx;
struct ufib_table;

/* Opens the databases of a VDC, in their fixed order; the first failure (logged) stops. 1 or 0. */
int ufib_pss_open_files(lcfwd_vdc_desc *vdc);
/* For a VDC that begins anew: drops the records of an earlier life. */
void ufib_pss_empty_files(lcfwd_vdc_desc *vdc);
[[nodiscard]] bool ufib_pss_all_open(const lcfwd_vdc_desc *vdc);
void ufib_pss_close_files(lcfwd_vdc_desc *vdc); /* and destroys them, flushing what is queued first */

/* Prefixes of either family; a recursive next hop goes to "prefix_rnh". A route without a handle: E_PFX_NO_HA_HANDLE,
 * nothing written. */
void ufib_pss_insert_prefix(const ufib_pfx *pfx);
void ufib_pss_delete_prefix(const ufib_pfx *pfx);
void ufib_pss_rnh_key(const ufib_pfx *pfx, uint8_t *out); /* of its record: a ufib_rnh_record_key */
void ufib_pss_insert_dcsrif(const ufib_pfx *pfx);         /* the attached interface of a direct route */
void ufib_pss_delete_dcsrif(const ufib_pfx *pfx);

/* The "prefix" value, UFIB_PREFIX_RECORD_SIZE bytes. */
void ufib_ha_get_prefix_pss_info(const ufib_pfx *pfx, uint8_t *value);
inline void ufib_ha_get_v4prefix_pss_info(const ufib_pfx *pfx, uint8_t *value) {
    ufib_ha_get_prefix_pss_info(pfx, value);
}
inline void ufib_ha_get_v6prefix_pss_info(const ufib_pfx *pfx, uint8_t *value) {
    ufib_ha_get_prefix_pss_info(pfx, value);
}

/* Adjacencies, with the record of their counts beside. */
void ufib_pss_insert_adj(const ufib_adj *adj);
void ufib_pss_insert_adj_tlv(const ufib_adj *adj); /* the counts alone */
inline void ufib_pss_insert_v4_adj_tlv(const ufib_adj *adj) { ufib_pss_insert_adj_tlv(adj); }
inline void ufib_pss_insert_v6_adj_tlv(const ufib_adj *adj) { ufib_pss_insert_adj_tlv(adj); }
/* The value of that record, ufib_pss_v4adj_tlv_vsize bytes. */
void ufib_ha_get_adj_tlv_pss_info(const ufib_adj *adj, uint8_t *value);
inline void ufib_ha_get_v4adj_tlv_pss_info(const ufib_adj *adj, uint8_t *value) {
    ufib_ha_get_adj_tlv_pss_info(adj, value);
}
inline void ufib_ha_get_v6adj_tlv_pss_info(const ufib_adj *adj, uint8_t *value) {
    ufib_ha_get_adj_tlv_pss_info(adj, value);
}
void ufib_pss_delete_adj(const ufib_adj *adj);
void ufib_pss_insert_global_adj(const ufib_adj *adj, uint32_t kind, uint32_t vdc_id);
void ufib_pss_delete_global_adj(uint32_t kind, uint32_t vdc_id);
/* The handle that a global adjacency had; 0: no record. */
[[nodiscard]] uint32_t ufib_pss_get_global_adj(uint32_t kind, uint32_t vdc_id);

/* Groups, with the record of their counts beside. A null handle: E_ECMP_NO_HA_HANDLE, nothing written. */
void ufib_pss_insert_ecmp(const ufib_ecmp *group);
void ufib_pss_insert_ecmp_tlv(const ufib_ecmp *group);
void ufib_pss_delete_ecmp(const ufib_ecmp *group);

void ufib_pss_insert_table(ufib_table *table); /* on the platform's request */
void ufib_pss_delete_table(const ufib_table *table);
[[nodiscard]] uint32_t ufib_get_table_pss_space_len();

void ufib_pss_insert_rpf(const ufib_idb *idb);
void ufib_pss_delete_rpf(const ufib_idb *idb);

/* How many paths the next object of a prefix has, and its handle, as records keep them. */
void ufib_next_obj_record_info(const ufib_pfx *pfx, uint32_t *handle, uint32_t *path_count);
using ufib_path_count_fn = uint32_t (*)(const void *obj, uint32_t *handle);
/* For next objects of later subsystems; adjacencies count 1. */
void ufib_path_count_register(uint32_t type, ufib_path_count_fn count);
void ufib_pss_reset();
