/* ufib/ufib_hooks.h: where later subsystems plug into the unicast model. All functions are null until their owner
 * registers them; a null function means that the owner holds no object, so the call has nothing to do. One thread. */
#pragma once

#include <cstdint>

struct lcfwd_vdc_desc;
struct nh_rec;
struct ufib_adj;
struct ufib_ha_route;
struct ufib_idb;
struct ufib_label_node;
struct ufib_nh_list;
struct ufib_obj;
struct ufib_pfx;
struct ufib_table;
struct ufib_vdc;

struct ufib_hooks {
    /* Groups and virtual objects: the next object of a route with several, or with recursive, next hops. Null on
     * failure, with ufib_errno. */
    ufib_obj *(*get_create_ecmp)(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_nh_list *hops, uint32_t adj_flags,
                                 const ufib_ha_route *record);
    ufib_obj *(*get_create_vobj)(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_nh_list *hops,
                                 const ufib_ha_route *record);
    void (*vobj_link)(ufib_pfx *pfx, ufib_obj *vobj);   /* a prefix joins the list of a virtual object */
    void (*vobj_unlink)(ufib_pfx *pfx, ufib_obj *vobj); /* and leaves it */
    void (*process_rnh_update)(ufib_pfx *pfx, bool is_v4, bool in_place, const ufib_ha_route *record);
    void (*update_dep_vobjs)(ufib_adj *adj); /* an adjacency that groups resolve through was rewritten */
    /* Labels. */
    ufib_obj *(*adj_actions)(ufib_vdc *vdc, ufib_adj *adj, const void *mpls_info, uint32_t ha_handle);
    /* What the prefix of a label forwards to has changed. May clear the journal, and take the label off its list. */
    void (*fec_prefix_update)(ufib_vdc *vdc, ufib_obj *next, ufib_label_node *label);
    void (*label_prefix_delete)(ufib_vdc *vdc, ufib_pfx *pfx); /* a prefix has lost its last label */
    void (*adj_update)(ufib_adj *adj);                         /* an adjacency with label children changed */
    void (*te_local_db_init)(ufib_idb *idb);
    /* Services. */
    void (*ipsg_destroy)(ufib_pfx *pfx); /* the source guard's object of a prefix */
    void (*set_xpi)(ufib_pfx *pfx, const void *xpi, uint8_t holder); /* tag and binding of a new route */
    void (*lisp_prefix_deleted)(ufib_pfx *pfx);                      /* a map-cache prefix leaves the store */
    void (*otv_pre_upgrade)(lcfwd_vdc_desc *vdc); /* an upgrade of this card begins, or has ended */
    void (*otv_post_upgrade)(lcfwd_vdc_desc *vdc);
    /* Multicast: an interface has another MAC, or (all zero, or the VDC's own) none. */
    void (*mcast_static_if_mac)(lcfwd_vdc_desc *vdc, uint32_t if_index, const uint8_t mac[6]);
    int (*lisp_etr_onoff)(ufib_vdc *vdc, ufib_table *table, bool on);
};
extern ufib_hooks ufib_hook;
