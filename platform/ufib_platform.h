/* platform/ufib_platform.h: calls down to the platform library, one wrapper a slot. Callers never see the table: no
 * slot is null. Wrappers that also touch the model (they store the handle that comes back, journal it and trace it)
 * are declared here and defined in ufib/, beside the object they work on; the plain ones are defined here.
 * No wrapper retries; a failure comes back as a zero handle or a negative status, and the caller decides. */
#pragma once

#include "platform/ufib_platform_api.h"

struct ufib_table;
struct ufib_pfx;
struct ufib_adj;
struct ufib_ecmp;
struct ufib_vobj;

extern ufib_platform_api ufib_platform_table; /* bound at start-up; no slot is null after that */
extern ufib_platform_caps ufib_platform_sizes;

/* Bytes of the library's own behind each object. */
[[nodiscard]] inline uint32_t ufib_platform_table_space_len() { return ufib_platform_sizes.table_space_len; }
[[nodiscard]] inline uint32_t ufib_platform_v4prefix_space_len() {
    return ufib_platform_sizes.v4prefix_space_len;
}
[[nodiscard]] inline uint32_t ufib_platform_v6prefix_space_len() {
    return ufib_platform_sizes.v6prefix_space_len;
}
[[nodiscard]] inline uint32_t ufib_platform_v4adj_space_len() { return ufib_platform_sizes.v4adj_space_len; }
[[nodiscard]] inline uint32_t ufib_platform_v6adj_space_len() { return ufib_platform_sizes.v6adj_space_len; }
[[nodiscard]] inline uint32_t ufib_platform_vlan_space_len() { return ufib_platform_sizes.vlan_space_len; }
[[nodiscard]] inline uint32_t ufib_platform_peer_vlan_space_len() {
    return ufib_platform_sizes.peer_vlan_space_len;
}
[[nodiscard]] inline uint32_t ufib_platform_vobj_space_len() { return ufib_platform_sizes.vobj_space_len; }
[[nodiscard]] inline uint32_t ufib_platform_table_pss_space_len() {
    return ufib_platform_sizes.table_pss_space_len;
}

/* Stores a default in every slot. */
void ufib_platform_api_default_init(ufib_platform_api *api);

/* Zeroes table and sizes, stores the defaults, lets the chosen library fill them. */
void ufib_platform_bind(bool restart);

/* Tables. The wrapper picks the slot by family, stores the handle and traces a change. */
void ufib_platform_insert_table(ufib_table *table, uint32_t ha);
void ufib_platform_delete_table(
    ufib_table *table); /* no call for a handle of 0; the handle is 0 afterwards */

/* Prefixes of either family; the slot goes by the prefix's family. insert does nothing for a recursive next hop. */
void ufib_platform_insert_prefix(ufib_pfx *pfx, uint32_t ha);
bool ufib_platform_delete_prefix(ufib_pfx *pfx);   /* the handle is 0 afterwards; false: refused, it stays */
int ufib_platform_prefix_update_nh(ufib_pfx *pfx); /* below 0: refused, it points where it did */

/* Adjacencies of either family. insert installs, or rewrites in place under the same handle. False: refused; an entry
 * that stands goes on with what it had, under its handle (E_ADJ_HW_INSTALL, counted here). */
bool ufib_platform_insert_adj(ufib_adj *adj, uint32_t ha, uint32_t holder);
bool ufib_platform_delete_adj(ufib_adj *adj); /* the handle is 0 afterwards; false: refused, it stays */

/* The same by family, as they are named elsewhere. */
inline void ufib_platform_insert_v4_prefix(ufib_pfx *pfx, uint32_t ha) {
    ufib_platform_insert_prefix(pfx, ha);
}
inline void ufib_platform_insert_v6_prefix(ufib_pfx *pfx, uint32_t ha) {
    ufib_platform_insert_prefix(pfx, ha);
}
inline bool ufib_platform_delete_v4_prefix(ufib_pfx *pfx) { return ufib_platform_delete_prefix(pfx); }
inline bool ufib_platform_delete_v6_prefix(ufib_pfx *pfx) { return ufib_platform_delete_prefix(pfx); }
inline int ufib_platform_v4_prefix_update_nh(ufib_pfx *pfx) { return ufib_platform_prefix_update_nh(pfx); }
inline int ufib_platform_v6_prefix_update_nh(ufib_pfx *pfx) { return ufib_platform_prefix_update_nh(pfx); }
inline bool ufib_platform_insert_v4adj(ufib_adj *adj, uint32_t ha, uint32_t holder) {
    return ufib_platform_insert_adj(adj, ha, holder);
}
inline bool ufib_platform_insert_v6adj(ufib_adj *adj, uint32_t ha, uint32_t holder) {
    return ufib_platform_insert_adj(adj, ha, holder);
}
inline bool ufib_platform_delete_v4adj(ufib_adj *adj) { return ufib_platform_delete_adj(adj); }
inline bool ufib_platform_delete_v6adj(ufib_adj *adj) { return ufib_platform_delete_adj(adj); }

/* Groups of either family. insert installs, or writes anew under the same handle. False: refused; an entry that stands
 * goes on with what it had, under its handle. */
bool ufib_platform_insert_ecmp(ufib_ecmp *group, uint32_t ha, uint32_t holder);
bool ufib_platform_delete_ecmp(ufib_ecmp *group); /* the handle is 0 afterwards; false: refused, it stays */

/* Virtual objects. insert: an instance of the size that the object has paths; 0, with handle and size stored and the
 * record written, or -1. With a restart record the instance of the time before is attached. update: in place, 0 for an
 * object that is not there; one that is refused is counted and tried again later. delete: instance 0 old, 1 new, 2 both; the model's handles stay. fec: the view of labels. */
[[nodiscard]] int ufib_platform_insert_vobj(ufib_vobj *vobj, const ufib_ha_route *record);
int ufib_platform_update_vobj(ufib_vobj *vobj, uint32_t mode);
bool ufib_platform_delete_vobj(ufib_vobj *vobj, uint32_t instance); /* false: refused */
int ufib_platform_update_vobj_fec(ufib_vobj *vobj, uint32_t a, uint32_t b);
void ufib_platform_delete_vobj_fec(ufib_vobj *vobj, uint32_t instance);

/* Write bracket. A completed write batch commits the store as well, so that both stand or fall together:
 * one_write_ready commits when the library says that a batch completed, all_writes_ready always. */
int ufib_platform_one_write_ready();
int ufib_platform_all_writes_ready();

/* What this engine needs. */
[[nodiscard]] bool ufib_platform_table_required(uint32_t vdc_id, uint32_t table_id, uint32_t route_flags);
[[nodiscard]] inline bool ufib_platform_optimize_wildcard_table() {
    return ufib_platform_table.optimize_wildcard_table();
}
[[nodiscard]] inline bool ufib_platform_adj_required(uint32_t vdc_id, uint32_t if_index, uint32_t afi,
                                                     uint32_t a, uint32_t b) {
    return ufib_platform_table.adj_required(vdc_id, if_index, afi, a, b);
}
[[nodiscard]] inline bool ufib_platform_adj_del_am_lock(ufib_adj *adj) {
    return ufib_platform_table.adj_del_am_lock(adj);
}
[[nodiscard]] inline bool ufib_platform_host_ecmp_supported() {
    return ufib_platform_sizes.host_ecmp_supported != 0;
}
[[nodiscard]] inline uint32_t ufib_platform_table_get_inst_bmap(uint32_t vdc_id, uint32_t table_id) {
    return ufib_platform_table.table_get_inst_bmap(vdc_id, table_id);
}
