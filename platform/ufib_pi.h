/* platform/ufib_pi.h: accessors by which the platform library reads the unicast model without knowing its layouts.
 * All objects are opaque and borrowed for the call; a null object gives 0, false or null. Handles are the library's
 * own u32 values. IPv4 addresses are in host order, IPv6 addresses in network order (16 bytes). Walks keep no state:
 * the caller passes the last object and gets the next, null at the end. C linkage, so that a library loaded at run
 * time finds them by name. Everything runs on the process's one thread. */
#pragma once

#include <cstdint>

struct ufib_platform_rewrite;

/* Instances of a virtual object: handles (0: none), sizes, and how many paths it has at present. */
struct ufib_pi_nhcount_params {
    uint32_t old_handle;
    uint32_t new_handle;
    uint32_t old_count;
    uint32_t new_count;
    uint32_t num_cnhs;
};

extern "C" {

/* Cookie of a batch: prefixes whose hardware write completes after the insert call returned. 30 entries a batch. */
void ufib_pi_pfx_cookie_init();
int ufib_pi_pfx_cookie_add(
    void *pfx); /* its index (also when already listed), or -1 when 30 are listed: flush first */
uint32_t ufib_pi_pfx_count_get();
void *ufib_pi_cookie_pfx_get(uint32_t index); /* null out of range, or when the prefix was freed */
void ufib_pi_upd_pfx_retval(uint32_t index,
                            int result); /* negative: the write failed; out of range: ignored */
void ufib_pi_cookie_proc_set();          /* results have arrived */
bool ufib_pi_cookie_is_proc();
uint32_t ufib_pi_cookie_failed_pfxc_get();
void ufib6_pi_pfx_cookie_init();
int ufib6_pi_pfx_cookie_add(void *pfx);
int ufib6_pi_pfx_cookie_del(void *pfx); /* 0, or -1 when it is not listed */
uint32_t ufib6_pi_pfx_count_get();
void *ufib6_pi_cookie_pfx_get(uint32_t index);
int ufib6_pi_cookie_pfx_info_get(uint32_t index, uint8_t address[16], uint8_t *mask_len); /* 0, or -1 */
void ufib6_pi_upd_pfx_retval(uint32_t index, int result);
void ufib6_pi_cookie_proc_set();
bool ufib6_pi_cookie_is_proc();
uint32_t ufib6_pi_cookie_failed_pfxc_get();

/* Prefixes. */
bool ufib_pi_v4prefix_is_local(const void *pfx);
bool ufib_pi_v4prefix_is_direct(const void *pfx);
bool ufib_pi_v4prefix_is_attached(const void *pfx);
bool ufib_pi_v4prefix_is_ldb(const void *pfx);
bool ufib_pi_v4prefix_is_wildcard(const void *pfx);
bool ufib_pi_v4prefix_is_drop(
    const void *pfx); /* it forwards to a dropping adjacency or carries the drop flag */
void *ufib_pi_v4prefix_get_platform_space(void *pfx);
uint32_t ufib_pi_v4prefix_get_nhcount(const void *pfx);
uint32_t ufib_pi_v4prefix_get_prefix(const void *pfx);
uint32_t ufib_pi_v4prefix_get_prefix_len(const void *pfx);
uint32_t ufib_pi_v4prefix_get_table_id(const void *pfx);
uint32_t ufib_pi_v4prefix_get_table_hh(const void *pfx);
uint32_t ufib_pi_v4prefix_get_handle(const void *pfx);
uint32_t ufib_pi_v4prefix_get_longest_handle(uint32_t vdc_id, uint32_t table_id,
                                             uint32_t address); /* 0: no match */
void *ufib_pi_v4prefix_get_adj(const void *pfx); /* the next object when it is an adjacency, else null */
void *ufib_pi_v4prefix_get_next(const void *pfx);
void *ufib_pi_v4prefix_get_next_from_key(uint32_t vdc_id, uint32_t table_id, uint32_t address,
                                         uint32_t mask_len);
void *ufib_pi_v4prefix_get_first(uint32_t vdc_id, uint32_t table_id);
void *ufib_pi_v4prefix_get_first_node(const void *table); /* of a table at hand; null for one of IPv6 */

bool ufib_pi_v6prefix_is_local(const void *pfx);
bool ufib_pi_v6prefix_is_direct(const void *pfx);
bool ufib_pi_v6prefix_is_attached(const void *pfx);
bool ufib_pi_v6prefix_is_ldb(const void *pfx);
bool ufib_pi_v6prefix_is_wildcard(const void *pfx);
bool ufib_pi_v6prefix_is_drop(const void *pfx);
void *ufib_pi_v6prefix_get_platform_space(void *pfx);
uint32_t ufib_pi_v6prefix_get_nhcount(const void *pfx);
void ufib_pi_v6prefix_get_prefix(const void *pfx, uint8_t address[16]);
uint32_t ufib_pi_v6prefix_get_prefix_len(const void *pfx);
uint32_t ufib_pi_v6prefix_get_table_id(const void *pfx);
uint32_t ufib_pi_v6prefix_get_table_hh(const void *pfx);
uint32_t ufib_pi_v6prefix_get_handle(const void *pfx);
uint32_t ufib_pi_v6prefix_get_longest_handle(uint32_t vdc_id, uint32_t table_id, const uint8_t address[16]);
void *ufib_pi_v6prefix_get_adj(const void *pfx);
void *ufib_pi_v6prefix_get_next(const void *pfx);
void *ufib_pi_v6prefix_get_next_from_key(uint32_t vdc_id, uint32_t table_id, const uint8_t address[16],
                                         uint32_t mask_len);
void *ufib_pi_v6prefix_get_first(uint32_t vdc_id, uint32_t table_id);
void *ufib_pi_v6prefix_get_first_node(const void *table);
uint32_t ufib_pi_v6prefix_get_if_index(const void *pfx); /* of its adjacency, or its attached interface */
uint32_t ufib_pi_v6pfx_get_nll_intf(const void *pfx);    /* the same, but 0 for a link-local prefix */
bool ufib_pi_v6_is_addr_link_local(const uint8_t address[16]); /* fe80::/10, RFC 4291 2.5.6 */

uint32_t ufib_pi_prefix_get_adj_handle(const void *pfx); /* handle of the next object */
void *ufib_pi_prefix_get_next_obj(const void *pfx);
void *ufib_pi_pfx_base_get_next_obj(const void *pfx);
void *ufib_pi_prefix_get_platform_space(void *pfx);
int ufib_pi_prefix_get_sgt(const void *pfx, uint16_t *tag); /* 0, or -1 when the prefix has no tag */
uint32_t ufib_pi_prefix_get_vdc_id(const void *pfx);
uint32_t ufib_pi_prefix_get_table_handle(const void *pfx);
void ufib_pi_prefix_destroy(void *pfx); /* forced: destroys the prefix as the last holder's leaving does */
bool ufib_pi_is_v4_prefix(const void *obj);
bool ufib_pi_is_v6_prefix(const void *obj);

/* Adjacencies of either family. */
uint32_t ufib_pi_obj_get_hh(const void *obj);
uint32_t ufib_pi_adj_get_hh(const void *adj);
uint32_t ufib_pi_adj_get_handle(const void *adj);
void ufib_pi_adj_set_handle(void *adj, uint32_t handle);
uint32_t ufib_pi_adj_get_format(const void *adj); /* 1 plain, 2 tunnel */
bool ufib_pi_adj_is_v4(const void *adj); /* of the IPv4 family; a group's or other object gives false */
bool ufib_pi_adj_held_by_pbr(const void *adj);
bool ufib_pi_adj_held_by_wccp(const void *adj);
bool ufib_pi_adj_is_tunnel(const void *adj);
bool ufib_pi_adj_is_global(const void *adj);
uint32_t ufib_pi_adj_get_acl_refcount(const void *adj); /* PBR and WCCP references together */
bool ufib_pi_adj_is_peer_gw(const void *adj);
void *ufib_pi_adj_get_platform_space(void *adj);

void *ufib_pi_v4adj_get_platform_space(void *adj);
uint32_t ufib_pi_v4adj_get_if_index(const void *adj);
bool ufib_pi_v4adj_is_glean(const void *adj);
bool ufib_pi_v4adj_is_mcast_src(const void *adj);
bool ufib_pi_v4adj_is_punt(const void *adj);
bool ufib_pi_v4adj_is_drop(const void *adj);
bool ufib_pi_v4adj_is_attach(const void *adj);
bool ufib_pi_v4adj_is_resolved(const void *adj);
bool ufib_pi_v4adj_is_nve(const void *adj);
bool ufib_pi_v4adj_is_recir(const void *adj);
int ufib_pi_v4adj_get_smac(const void *adj,
                           uint8_t mac[6]); /* of the interface, else of the VDC; -1: not known */
int ufib_pi_v4adj_get_dmac(const void *adj, uint8_t mac[6]); /* -1: not resolved */
uint32_t ufib_pi_v4adj_get_vdc_id(const void *adj);
uint32_t ufib_pi_v4adj_get_nh_addr(const void *adj);
void *ufib_pi_v4adj_get_first(uint32_t vdc_id);
void *ufib_pi_v4adj_get_next(const void *adj);
void *ufib_pi_v4adj_get_from_ifindex(uint32_t vdc_id, uint32_t if_index);
void *ufib_pi_v4adj_if_get_first(uint32_t vdc_id, uint32_t if_index);
void *ufib_pi_v4adj_if_get_next(const void *adj);

void *ufib_pi_v6adj_get_platform_space(void *adj);
uint32_t ufib_pi_v6adj_get_if_index(const void *adj);
bool ufib_pi_v6adj_is_glean(const void *adj);
bool ufib_pi_v6adj_is_mcast_src(const void *adj);
bool ufib_pi_v6adj_is_punt(const void *adj);
bool ufib_pi_v6adj_is_drop(const void *adj);
bool ufib_pi_v6adj_is_attach(const void *adj);
bool ufib_pi_v6adj_is_resolved(const void *adj);
int ufib_pi_v6adj_get_smac(const void *adj, uint8_t mac[6]);
int ufib_pi_v6adj_get_dmac(const void *adj, uint8_t mac[6]);
uint32_t ufib_pi_v6adj_get_vdc_id(const void *adj);
void ufib_pi_v6adj_get_nh_addr(const void *adj, uint8_t address[16]);
void *ufib_pi_v6adj_get_first(uint32_t vdc_id);
void *ufib_pi_v6adj_get_next(const void *adj);
void *ufib_pi_v6adj_get_from_ifindex(uint32_t vdc_id, uint32_t if_index);

/* ECMP groups: the adjacencies of the paths, in the order of the paths; one can stand several times, so a walk keeps
 * its position with the caller. */
uint32_t ufib_pi_ecmp_get_nhcount(const void *group);
void *ufib_pi_ecmp_get_first(const void *group, uint32_t *position); /* begins a walk; null: no paths */
void *ufib_pi_ecmp_get_next(const void *group, uint32_t *position);
void *ufib_pi_ecmp_get_platform_space(void *group);
bool ufib_pi_ecmp_held_by_pbr(const void *group);
uint32_t ufib_pi_ecmp_get_acl_refcount(const void *group); /* PBR references */
uint32_t ufib_pi_ecmp_get_vdc_id(const void *group);
void *ufib_pi_get_next_obj_platform_space(const void *pfx); /* of the prefix's next object, whatever it is */

/* Virtual objects. Their computed next hops (cnhs) are opaque places of a sorted list; an adjacency may stand in
 * several of them. The fec object is the view of a virtual object that labels forward to. */
void *ufib_pi_get_vobj_pltfm_space(void *vobj);
bool ufib_pi_is_nh_obj_vobj(const void *pfx); /* the next object of a prefix is one */
void ufib_pi_vobj_get_nhcount_params(const void *vobj, ufib_pi_nhcount_params *out);
void ufib_pi_vobj_fec_get_nhcount_params(const void *fec,
                                         ufib_pi_nhcount_params *out); /* the fec's handles */
uint32_t ufib_pi_vobj_fec_get_cur_hw_handle(const void *fec);
uint32_t ufib_pi_vobj_fec_get_old_hw_handle(const void *fec);
void *ufib_pi_vobj_fec_get_vobj(const void *fec);
uint64_t ufib_pi_vobj_get_id(const void *vobj); /* never the same twice in a process */
uint32_t ufib_pi_vobj_get_vdc_id(const void *vobj);
uint32_t ufib_pi_vobj_get_num_cnhs(const void *vobj);
void *ufib_pi_vobj_get_first_cnh(const void *vobj);
void *ufib_pi_vobj_get_next_cnh(const void *vobj, const void *cnh);
void *ufib_pi_vobj_get_cnh_at_idx(const void *vobj, uint32_t index);
void *ufib_pi_vobj_cnh_get_adj(const void *cnh);
uint32_t ufib_pi_vobj_cnh_get_label(const void *cnh); /* or segment id; 0: none */
uint32_t ufib_pi_vobj_cnh_get_te_if_index(const void *cnh);
bool ufib_pi_is_vobj_cnh_seg(const void *cnh); /* its label is a segment id */
/* The adjacencies of the cnhs behind a prefix; the caller keeps the position. Null: no virtual object, or the end. */
void *ufib_pi_v4pfx_get_first_cnh_adj(const void *pfx, uint32_t *position);
void *ufib_pi_v4pfx_get_next_cnh_adj(const void *pfx, uint32_t *position);
void *ufib_pi_v6pfx_get_first_cnh_adj(const void *pfx, uint32_t *position);
void *ufib_pi_v6pfx_get_next_cnh_adj(const void *pfx, uint32_t *position);

/* Tables. */
bool ufib_pi_table_is_wildcard(uint32_t table_id); /* 65534 and 65535 */
bool ufib_pi_route_is_wildcard(const void *pfx);
bool ufib_pi_route_flags_is_wildcard(uint32_t route_flags);
uint32_t ufib_pi_table_get_default_id();    /* 1 */
uint32_t ufib_pi_table_get_default_v6_id(); /* 0x80000001 */
bool ufib_pi_table_is_v4(const void *table);
bool ufib_pi_table_is_v6(const void *table);
uint32_t ufib_pi_get_table_id(const void *table);
void *ufib_pi_table_get_platform_space(void *table);
void *ufib_pi_table_get_first(uint32_t vdc_id);
void *ufib_pi_table_get_next(const void *table);
void *ufib_pi_table_search(uint32_t vdc_id, uint32_t table_id);
void *ufib_pi_table_search_first_vdc(uint32_t table_id, uint32_t *vdc_id);
void *ufib_pi_table_search_next_vdc(uint32_t table_id,
                                    uint32_t *vdc_id); /* in: the last VDC; out: the next */
void *ufib_pi_get_table_ptr(const void *pfx);
int ufib_pi_table_notify_add_bmap(uint32_t vdc_id, uint32_t afi, uint32_t table_id, uint32_t bitmap);
int ufib_pi_table_notify_del_bmap(uint32_t vdc_id, uint32_t afi, uint32_t table_id, uint32_t bitmap);
void ufib_pi_table_destroy(uint32_t vdc_id,
                           uint32_t table_id); /* forced: its prefixes first, then the table */
void ufib_pi_pss_insert_table(void *table);
/* Has update_link_local_route called for the interface of each link-local prefix of a VDC. */
void ufib_pi_update_link_local_routes(uint32_t vdc_id, bool add);

/* Interfaces. */
uint32_t ufib_pi_idb_get_ifindex(const void *idb);
void *ufib_pi_idb_get_first(uint32_t vdc_id);
void *ufib_pi_idb_get_next(const void *idb);

/* Other. */
uint32_t ufib_pi_get_pd_queue(); /* the queue of platform messages */
}
