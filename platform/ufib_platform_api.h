/* platform/ufib_platform_api.h: the unicast table of operations: 120 slots in the order that libraries are built
 * against, and the block of sizes and options beside it. A library includes this header, ufib_pi.h and
 * lcfwd_platform.h, nothing else of the product.
 * Objects are opaque: 'pfx', 'adj', 'group', 'vobj', 'fec', 'vlan', 'peer' are read through ufib_pi_*.
 * Handles belong to the library: u32, never 0 or 0xffffffff. 'ha' is a handle of the time before a restart: non-zero
 * means adopt the entry that stands in hardware, write nothing. Unless a slot says otherwise a u32 result is the
 * handle with 0 for "refused", an int result is a status, negative for "refused". IPv4 addresses are in host order.
 * The trailing number is the result of the slot's default; "-": libraries must fill the slot, the stub gives 0. */
#pragma once

#include "platform/ufib_ha_route.h"

#include <cstddef>
#include <cstdint>

struct cmd_handle;

/* The operators' command that only the library can carry out, and the attribute that sets it: a u32, 1 or 0; without
 * it the state is told. It reaches the library through cli_show_command. */
constexpr uint32_t UFIB_PLATFORM_COMMAND_BYPASS = 0x10028;
constexpr uint16_t UFIB_PLATFORM_ATTR_VALUE = 22;

struct ufib_platform_table_request { /* argument of table_required */
    uint32_t vdc_id;
    uint32_t table_id;
    uint32_t route_flags;
};

/* nve_peer_get_mac_counters: bytes behind 'request', zero behind the message's, and room behind 'answer'. The result
 * is the answer's length; 0 or below: the message is rejected. */
constexpr size_t UFIB_NVE_REQUEST_BYTES = 1024;
constexpr size_t UFIB_NVE_ANSWER_BYTES = 8192;

struct ufib_platform_rewrite { /* 24 bytes; of a plain adjacency: destination MAC at byte 14 */
    uint8_t bytes[24];
};
constexpr size_t UFIB_REWRITE_DMAC = 14;

struct ufib_platform_stats { /* one object of a statistics read; packets and bytes since the last read */
    void *object;
    uint32_t handle; /* of a path of an object with several: the object's and the path's number */
    uint32_t index;  /* the path's number; else 0 */
    uint64_t packets;
    uint64_t bytes;
    uint16_t *field =
        nullptr; /* two bytes of the object that are the library's own, from one read to the next */
};

struct ufib_platform_api {
    /* Commands. */
    void (*cli_show_command)(cmd_handle *handle, uint32_t vdc_id, uint32_t command);
    /* Tables: idempotent per (vdc, id, family) during recovery; legal before vdc_init. 'pd': the platform's own
     * stored bytes of the table, or null. */
    uint32_t (*insert_v4_table)(uint32_t vdc_id, uint32_t table_id, const void *pd, uint32_t ha); /* 0 */
    uint32_t (*insert_v6_table)(uint32_t vdc_id, uint32_t table_id, const void *pd, uint32_t ha); /* 0 */
    void (*delete_v4_table)(uint32_t table_handle);
    void (*delete_v6_table)(uint32_t table_handle);
    /* Prefixes: the same handle comes back on an update. */
    uint32_t (*insert_v4_prefix)(uint32_t table_handle, void *pfx, uint32_t ha, bool update); /* 0 */
    uint32_t (*insert_v6_prefix)(uint32_t table_handle, void *pfx, uint32_t ha, bool update); /* 0 */
    int (*delete_v4_prefix)(uint32_t table_handle, void *pfx);                                /* 0 */
    int (*delete_v6_prefix)(uint32_t table_handle, void *pfx);                                /* 0 */
    int (*search_v4_prefix)(uint32_t table_handle, void *pfx);                                /* 0 */
    int (*search_v6_prefix)(uint32_t table_handle, void *pfx);                                /* 0 */
    uint32_t (*insert_vobj_fec)(void *fec, uint32_t ha);                                      /* 0 */
    int (*show_v4prefix)(cmd_handle *handle, void *pfx);                                      /* 0 */
    int (*show_v6prefix)(cmd_handle *handle, void *pfx);                                      /* 0 */
    int (*show_v4adj)(cmd_handle *handle, void *adj);                                         /* 0 */
    int (*show_v6adj)(cmd_handle *handle, void *adj);                                         /* 0 */
    int (*show_ecmp)(cmd_handle *handle, void *group);                                        /* 0 */
    int (*show_vobj)(cmd_handle *handle, void *vobj);                                         /* 0 */
    /* Virtual objects: at most two instances, each of a fixed size; 'instance' 0 old, 1 new, 2 both. insert gives the
     * handle of a new instance with as many members as the object has paths, and -1 (or 0) when it is refused. With a
     * record it attaches the instance whose handle the object has, or, when that has another size and is the only one,
     * makes a second. update rewrites the instances that stand, in place: the first members, as many as there are
     * paths and places. */
    int (*insert_vobj)(void *vobj, const ufib_ha_route *record); /* 0 */
    int (*update_vobj_fec)(void *fec);             /* 0: writes the view for labels, gives its handle */
    int (*update_vobj)(void *vobj, uint32_t mode); /* 0 */
    int (*update_v4prefix_nh)(void *pfx);          /* 0: point the entry at the current instance */
    int (*update_v6prefix_nh)(void *pfx);          /* 0 */
    int (*delete_vobj_fec)(void *fec, uint32_t instance); /* 0 */
    int (*delete_vobj)(void *vobj, uint32_t instance);    /* 0 */
    /* Groups take n consecutive member indexes: handle + i is member i. */
    uint32_t (*insert_ecmp)(void *group, uint32_t ha, uint32_t holder); /* 0 */
    int (*delete_ecmp)(void *group);                                    /* 0 */
    uint32_t (*insert_adj)(void *adj, uint32_t ha,
                           uint32_t holder);   /* 0: rewrites in place under its handle */
    int (*delete_adj)(void *adj);              /* 0 */
    uint32_t (*ecmp_space_len)(uint8_t paths); /* 0: bytes behind a group */
    /* Reverse-path forwarding checks. */
    int (*update_v4prefix_rpf)(void *pfx);                                              /* 0 */
    int (*update_v6prefix_rpf)(void *pfx);                                              /* 0 */
    int (*update_intf_rpf)(uint32_t vdc_id, uint32_t if_index, uint8_t v4, uint8_t v6); /* 0 */
    /* Source guard. */
    uint32_t (*insert_v4_ipsg)(void *pfx); /* 0 */
    uint32_t (*insert_v6_ipsg)(void *pfx); /* 0 */
    void (*delete_v4_ipsg)(void *pfx);
    void (*delete_v6_ipsg)(void *pfx);
    /* Statistics and ageing: a read clears the hit bit. */
    int (*adj_get_stats)(ufib_platform_stats *rows, uint32_t count); /* 0 */
    bool (*is_v4route_aged)(void *pfx);                              /* 0 */
    bool (*is_v6route_aged)(void *pfx);                              /* 0 */
    /* Recovery. An unknown handle leaves the record untouched. */
    void (*restart_recovery_start)();
    void (*restart_recovery_end)();
    void (*ha_get_route)(uint32_t handle, ufib_ha_route *record);
    uint32_t (*get_prefix_ha_handle)(void *pfx);                                  /* 0 */
    uint32_t (*get_adj_ha_handle)(void *adj);                                     /* 0 */
    int (*get_rewrite_info)(uint32_t adj_handle, ufib_platform_rewrite *rewrite); /* 0: as last written */
    /* Write bracket: non-zero when a write batch has completed. */
    int (*one_write_ready)();                         /* 0: one item's writes are handed over */
    int (*all_writes_ready)();                        /* 0: everything handed over is to stand on return */
    uint32_t (*get_adj_base_handle)(uint32_t handle); /* 0: adjacency itself; group member: its adjacency */
    int (*ecmp_get_adj_ha_handles)(ufib_ha_route *record); /* - : fills adj_handles from next_handle */
    void (*ha_clean_v6_pfx)(uint32_t handle, uint8_t mask_len, const uint8_t address[16]);
    void (*ha_clean_v4_pfx)(uint32_t handle, uint8_t mask_len, uint32_t address);
    /* Consistency: 1 when the entry agrees with the model. */
    bool (*prefix_check)(void *pfx);             /* 1 */
    bool (*v6prefix_check)(void *pfx);           /* 1 */
    bool (*consistency_check_nh)(void *pfx);     /* 1 */
    bool (*v6_consistency_check_nh)(void *pfx);  /* 1 */
    bool (*consistency_check_adj)(void *adj);    /* 1 */
    bool (*consistency_check_v6_adj)(void *adj); /* 1 */
    /* Upgrade. */
    bool (*is_upgrade_disruptive)(); /* 1 */
    void (*process_upgrade_begin)();
    void (*process_upgrade_end)();
    void (*update_link_local_route)(uint32_t vdc_id, uint32_t if_index, bool add);
    /* VLANs. */
    int (*insert_vlan)(void *vlan); /* 1 */
    int (*delete_vlan)(void *vlan); /* 1 */
    int (*update_vlan)(void *vlan); /* 1 */
    /* VDC. */
    int (*vdc_init)(uint32_t vdc_id, bool restart); /* 0 */
    int (*vdc_delete)(uint32_t vdc_id);             /* 0 */
    /* Peers. */
    uint32_t (*bd_peer_entry_create)(void *peer);             /* 0 */
    int (*bd_peer_entry_delete)(void *peer);                  /* 0 */
    int (*get_otv_vlan_pss_info)(void *vlan, void *out);      /* 0 */
    int (*get_otv_peer_vlan_pss_info)(void *peer, void *out); /* 0 */
    /* Multicast sources. */
    int (*update_mcast_src)(void *pfx);                   /* - */
    int (*update_v6_mcast_src)(void *pfx);                /* - */
    int (*set_install_v6_mcast_src)(void *pfx);           /* - */
    int (*set_install_mcast_src)(void *pfx);              /* - */
    int (*set_flag_to_del_v6_mcast_src_entry)(void *pfx); /* - */
    int (*set_flag_to_del_mcast_src_entry)(void *pfx);    /* - */
    int (*delete_mcast_src)(void *pfx);                   /* - */
    int (*delete_v6_mcast_src)(void *pfx);                /* - */
    uint32_t (*get_ref_count)(void *pfx);                 /* - */
    uint32_t (*get_v6_ref_count)(void *pfx);              /* - */
    uint32_t (*get_hw_index)(void *pfx);                  /* - */
    uint32_t (*get_hw_index_before_del)(void *pfx);       /* - */
    uint32_t (*get_v6_hw_index_before_del)(void *pfx);    /* - */
    uint32_t (*get_v6_hw_index)(void *pfx);               /* - */
    /* Clones. */
    uint32_t (*get_clone2base_pss_hdl)(uint32_t handle); /* 0 */
    uint32_t (*ha_rit_avl_add)(uint32_t handle);         /* 0x12345678 */
    /* LISP, and the library's own stored bytes of a table. */
    uint32_t (*insert_lisp_adj)(void *adj, uint32_t ha);         /* - */
    int (*delete_lisp_adj)(void *adj);                           /* - */
    int (*get_map_cache_locator)(void *adj, void *out);          /* - */
    int (*get_table_pss_info)(uint32_t table_handle, void *out); /* - : table_pss_space_len bytes */
    uint32_t (*get_table_ha_handle)(const void *pd);             /* - */
    int (*lisp_etr_onoff)(uint32_t vdc_id, uint32_t table_handle, bool on); /* 0 */
    /* Instances. */
    int (*insert_adj_one_inst)(void *adj, uint32_t instance, uint32_t *handle);    /* 0, *handle 0 */
    int (*insert_ecmp_one_inst)(void *group, uint32_t instance, uint32_t *handle); /* 0, *handle 0 */
    int (*delete_adj_one_inst)(void *adj, uint32_t instance);                      /* 1 */
    int (*delete_ecmp_one_inst)(void *group, uint32_t instance);                   /* 1 */
    /* What this engine needs. */
    bool (*table_required)(const ufib_platform_table_request *request);                             /* 1 */
    uint32_t (*table_get_inst_bmap)(uint32_t vdc_id, uint32_t table_id);                            /* 1 */
    bool (*prefix_required)(void *pfx);                                                             /* 1 */
    bool (*adj_required)(uint32_t vdc_id, uint32_t if_index, uint32_t afi, uint32_t a, uint32_t b); /* 1 */
    bool (*optimize_wildcard_table)();  /* 0: wildcard tables exist once for all VDCs */
    bool (*adj_del_am_lock)(void *adj); /* 0: AM's hold does not keep an adjacency that is being destroyed */
    /* Tunnels. */
    int (*update_tunnel)(uint32_t vdc_id, uint32_t if_index); /* 1 */
    bool (*is_stats_active)();                                /* 0 */
    bool (*is_adj_idx_valid)(uint32_t handle);                /* 0 */
    /* Selective download. */
    int (*enable_disable_sel_route_dwnld)(bool enable);    /* 1 */
    int (*set_sel_route_dwnld_age_time)(uint32_t seconds); /* 1 */
    /* NVE. */
    int (*nve_lif_add)(const void *request);                                                 /* 0 */
    int (*nve_lif_update)(const void *request);                                              /* 0 */
    int (*nve_lif_delete)(const void *request);                                              /* 0 */
    int (*nve_peer_add)(const void *request);                                                /* 0 */
    int (*nve_peer_delete)(const void *request);                                             /* 0 */
    int (*nve_peer_update)(const void *request);                                             /* 0 */
    int (*nve_vni_add)(const void *request);                                                 /* 0 */
    int (*nve_vni_delete)(const void *request);                                              /* 0 */
    int (*nve_vni_notify)(const void *request);                                              /* 0 */
    int (*nve_peer_get_mac_counters)(const void *request, void *answer, size_t answer_size); /* 0 */
    int (*nve_mac_route_add)(const void *request);                                           /* 0 */
    int (*nve_mac_route_delete)(const void *request);                                        /* 0 */
};
static_assert(sizeof(ufib_platform_api) == 120 * sizeof(void *));

/* Sizes in bytes of the library's own tail behind each model object, and options. All zero by default. */
struct ufib_platform_caps {
    uint32_t table_space_len;
    uint32_t v4prefix_space_len;
    uint32_t v6prefix_space_len;
    uint32_t v4adj_space_len;
    uint32_t v6adj_space_len;
    uint32_t vlan_space_len;
    uint32_t peer_vlan_space_len;
    uint32_t vobj_space_len;
    uint32_t table_pss_space_len;
    uint32_t host_ecmp_supported;
};
static_assert(sizeof(ufib_platform_caps) == 40);
