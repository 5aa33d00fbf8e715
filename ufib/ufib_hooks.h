/* ufib/ufib_hooks.h: where later subsystems plug into the unicast model. All functions are null until their owner
 * registers them; a null function means that the owner holds no object, so the call has nothing to do. One thread. */
#pragma once

#include <cstdint>

struct lcfwd_vdc_desc;
struct nh_rec;
struct ufib_adj;
struct ufib_candidates;
struct ufib_adj_key;
struct ufib_ecmp;
struct ufib_ecmp_labels;
struct ufib_adj_key;
struct ufib_ha_form;
struct ufib_ha_route;
struct ufib_idb;
struct ufib_label_node;
struct ufib_mpls_info;
struct ufib_nh_labels;
struct ufib_nh_list;
struct ufib_obj;
struct mts_msg;
struct ufib_pfx;
struct ufib_stats_poll_msg;
struct ufib_stats_row;
struct ufib_table;
struct ufib_vdc;
struct ufib_vobj;
struct ufib_vobj_hops;
struct ufib_vobj_key;
struct ufib_vobj_row;
struct ufib_xpi;

struct ufib_hooks {
    /* Overlay: the virtual object of a route that only leads to peers (null on failure, with ufib_errno), and the
     * paths of a row that leads to one. */
    ufib_vobj *(*nve_get_create_vobj)(ufib_vdc *vdc, const ufib_vobj_key *key, const ufib_vobj_hops *hops,
                                      const ufib_ha_route *record);
    void (*nve_row_resolve)(ufib_vdc *vdc, const ufib_vobj_row *row, ufib_candidates *out);
    /* Labels. */
    /* The object for a next hop over 'parent' (an adjacency, or a master tunnel): with labels one of the label side,
     * else the parent. Null: failed; or only refreshed. */
    ufib_obj *(*adj_actions)(ufib_vdc *vdc, ufib_obj *parent, const ufib_mpls_info *mpls_info,
                             uint32_t ha_handle);
    void (*adj_db_init)(ufib_adj *adj); /* a new adjacency: its tree of label children */
    /* What the prefix of a label forwards to has changed. May clear the journal, and take the label off its list. */
    void (*fec_prefix_update)(ufib_vdc *vdc, ufib_obj *next, ufib_label_node *label);
    void (*label_prefix_delete)(ufib_vdc *vdc, ufib_pfx *pfx); /* a prefix has lost its last label */
    void (*adj_update)(ufib_adj *adj);                         /* an adjacency with label children changed */
    void (*te_local_db_init)(ufib_idb *idb);
    /* A prefix with labels was moved to the current instance of its virtual object: the labels over the object's
     * fec view are written anew. */
    void (*labels_follow_vobj)(ufib_pfx *pfx);
    /* The labels of a tunnel interface, put on an empty stack, and its key id; other interfaces: nothing changes. */
    void (*te_labels)(ufib_vdc *vdc, uint32_t if_index, ufib_nh_labels *stack, uint32_t *adj_key_id);
    /* What a tunnel interface leaves by takes the place of '*key'; other interfaces and master tunnels: 0 and nothing
     * changes. -1: the tunnel is not there. */
    int (*te_out)(ufib_vdc *vdc, uint32_t if_index, ufib_adj_key *key);
    /* The label group that stands on a group whose paths have labels. Null on failure. */
    ufib_obj *(*get_create_ecmp_child)(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_labels *labels,
                                       const ufib_ha_route *record);
    /* Traffic-engineering tunnels, by interface. get_out_if_index: 0 with the key of the way out, or -1. */
    bool (*te_is_te_interface)(ufib_vdc *vdc, uint32_t if_index);
    bool (*te_is_master_tunnel)(ufib_vdc *vdc, uint32_t if_index);
    int (*te_get_out_if_index)(ufib_vdc *vdc, uint32_t if_index, ufib_adj_key *out);
    void (*te_create_null_tunnel)(ufib_vdc *vdc, uint32_t if_index);
    ufib_obj *(*te_get_master)(ufib_vdc *vdc, uint32_t if_index); /* null: none */
    /* Recovery after a restart: tunnels, before the routes over them; the next hops of a route whose next object is one
     * of the label side, added with ufib_ha_form_hop(). False: its records are not there. */
    void (*ha_recover_te_tunnels)(ufib_vdc *vdc);
    bool (*ha_form_labelled)(ufib_vdc *vdc, ufib_ha_route *record, ufib_ha_form *form);
    /* Statistics. The label children of an adjacency, and the LISP objects of a family (0 IPv4, 1 IPv6), are read with
     * the adjacencies: the one behind '*position', which moves on; 0 is before the first; null: no more. */
    ufib_obj *(*stats_label_child)(ufib_adj *adj, uint64_t *position);
    ufib_obj *(*stats_lisp_next)(ufib_vdc *vdc, uint32_t family, uint64_t *position);
    uint32_t (*stats_lisp_paths)(const ufib_obj *object);
    /* Adds what hardware counted to the totals of one of those, or of a path of it, and tells them as a row. */
    void (*stats_count)(ufib_obj *object, uint32_t path, uint64_t packets, uint64_t bytes,
                        ufib_stats_row *out);
    /* A poll of labels (types 4 to 6) or LISP objects (7). True: it runs, or is done; '*objects': how many. */
    bool (*stats_poll)(ufib_vdc *vdc, const ufib_stats_poll_msg *poll, const mts_msg *message,
                       uint32_t *objects);
    /* Consistency checks. What a label object stands on, an adjacency or a group, or null; the interface of a tunnel's
     * object; the marks of an adjacency's label children go. */
    const ufib_obj *(*label_base)(const ufib_obj *object);
    uint32_t (*te_if_index)(const ufib_obj *object);
    void (*label_children_unmark)(ufib_adj *adj);
    /* Services. */
    void (*ha_restore_services)(ufib_vdc *vdc); /* VLANs, peers and map caches, after the routes */
    void (*ipsg_create)(ufib_pfx *pfx,
                        const ufib_xpi *xpi); /* the source guard's object of a prefix: made, or changed */
    void (*ipsg_destroy)(ufib_pfx *pfx);
    void (*lisp_prefix_deleted)(ufib_pfx *pfx);   /* a map-cache prefix leaves the store */
    void (*otv_pre_upgrade)(lcfwd_vdc_desc *vdc); /* an upgrade of this card begins, or has ended */
    void (*otv_post_upgrade)(lcfwd_vdc_desc *vdc);
    /* Multicast: an interface has another MAC, or (all zero, or the VDC's own) none. */
    void (*mcast_static_if_mac)(lcfwd_vdc_desc *vdc, uint32_t if_index, const uint8_t mac[6]);
    int (*lisp_etr_onoff)(ufib_vdc *vdc, ufib_table *table, bool on);
};
extern ufib_hooks ufib_hook;
