/* The engine's rows of the two tables of operations. Slots that are not named here keep their defaults: labels, source
 * guard, multicast sources, peers and NVE come with their own entries. */
#include "softfwd/softfwd.h"

#include "platform/lcfwd_platform.h"
#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_cli.h"
#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_ecmp.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_pending.h"
#include "softfwd/softfwd_prefix.h"
#include "softfwd/softfwd_rpf.h"
#include "softfwd/softfwd_show.h"
#include "softfwd/softfwd_table.h"
#include "softfwd/softfwd_vobj.h"

static bool vdc_in(uint32_t set, uint32_t vdc_id) { return vdc_id < 32 && (set >> vdc_id & 1) != 0; }

/* --- process-wide --- */

static int is_local_hwfe_present() { return 1; }
static int get_hwfe_type() { return static_cast<int>(softfwd_config_get()->hwfe_type); }
static int is_mpls_capable() { return softfwd_config_get()->mpls_capable; }
static int is_lisp_capable() { return softfwd_config_get()->lisp_capable; }
static int is_otv_capable() { return softfwd_config_get()->otv_capable; }

static int get_active_vdcs(uint32_t *bitmap) {
    if (!softfwd_state.open || bitmap == nullptr) return 0;
    *bitmap = softfwd_state.head->active_vdcs;
    return 0;
}

static void vdc_note(uint32_t vdc_id, bool active) {
    if (!softfwd_state.open || vdc_id >= 32) return;
    uint32_t *vdcs = &softfwd_state.head->active_vdcs;
    *vdcs = active ? *vdcs | 1u << vdc_id : *vdcs & ~(1u << vdc_id);
}

static void vdc_created(uint32_t vdc_id, bool) { vdc_note(vdc_id, true); }
static void vdc_deleted(uint32_t vdc_id) {
    vdc_note(vdc_id, false);
    softfwd_rpf_vdc_clear(vdc_id);
}

static void lcfwd_api_init(lcfwd_platform_api *api, int restart) {
    softfwd_engine_open(restart != 0);
    api->is_local_hwfe_present = is_local_hwfe_present;
    api->restart_recovery_end = softfwd_recovery_finish;
    api->pss_buf_commit = softfwd_committed;
    api->get_active_vdcs = get_active_vdcs;
    api->vdc_init = vdc_created;
    api->vdc_delete = vdc_deleted;
    api->get_hwfe_type = get_hwfe_type;
    api->is_mpls_capable = is_mpls_capable;
    api->is_lisp_capable = is_lisp_capable;
    api->is_otv_capable = is_otv_capable;
}

/* --- unicast --- */

/* What nobody adopted has no model: it forwards until its route is learnt again or it is cleaned. */
static void restart_recovery_end() {
    const size_t prefixes = softfwd_unclaimed_prefixes(nullptr, 0);
    const size_t adjacencies = softfwd_unclaimed_adjacencies(nullptr, 0);
    const size_t groups = softfwd_unclaimed_groups(nullptr, 0);
    if (prefixes + adjacencies + groups != 0)
        softfwd_say("after the recovery %zu prefixes, %zu groups and %zu adjacencies have no model", prefixes,
                    groups, adjacencies);
}

static bool table_required(const ufib_platform_table_request *request) {
    return request == nullptr || !vdc_in(softfwd_config_get()->tables_not_required, request->vdc_id);
}
static bool adj_required(uint32_t vdc_id, uint32_t, uint32_t, uint32_t, uint32_t) {
    return !vdc_in(softfwd_config_get()->adjacencies_not_required, vdc_id);
}
static uint32_t table_get_inst_bmap(uint32_t, uint32_t) { return softfwd_config_get()->instance_bitmap; }
static bool optimize_wildcard_table() { return softfwd_config_get()->shared_wildcard_tables; }
static bool adj_del_am_lock(void *) { return softfwd_config_get()->am_lock_released; }
static bool is_upgrade_disruptive() { return false; } /* the tables outlive the process */

static void entries_init(ufib_platform_api *api) {
    api->cli_show_command = softfwd_cli_show_command;
    api->insert_v4_table = softfwd_insert_v4_table;
    api->insert_v6_table = softfwd_insert_v6_table;
    api->delete_v4_table = softfwd_delete_v4_table;
    api->delete_v6_table = softfwd_delete_v6_table;
    api->insert_v4_prefix = softfwd_insert_v4_prefix;
    api->insert_v6_prefix = softfwd_insert_v6_prefix;
    api->delete_v4_prefix = softfwd_delete_v4_prefix;
    api->delete_v6_prefix = softfwd_delete_v6_prefix;
    api->search_v4_prefix = softfwd_search_v4_prefix;
    api->search_v6_prefix = softfwd_search_v6_prefix;
    api->show_v4prefix = softfwd_show_prefix;
    api->show_v6prefix = softfwd_show_prefix;
    api->show_v4adj = softfwd_show_adj;
    api->show_v6adj = softfwd_show_adj;
    api->show_ecmp = softfwd_show_group;
    api->show_vobj = softfwd_show_group;
    api->update_v4prefix_nh = softfwd_update_v4prefix_nh;
    api->update_v6prefix_nh = softfwd_update_v6prefix_nh;
    api->insert_vobj = softfwd_insert_vobj;
    api->update_vobj = softfwd_update_vobj;
    api->update_vobj_fec = softfwd_update_vobj_fec;
    api->delete_vobj = softfwd_delete_vobj;
    api->insert_adj = softfwd_insert_adj;
    api->delete_adj = softfwd_delete_adj;
    api->insert_ecmp = softfwd_insert_ecmp;
    api->delete_ecmp = softfwd_delete_ecmp;
    api->ecmp_space_len = softfwd_ecmp_space_len;
    api->adj_get_stats = softfwd_adj_get_stats;
    api->update_v4prefix_rpf = softfwd_update_v4prefix_rpf;
    api->update_v6prefix_rpf = softfwd_update_v6prefix_rpf;
    api->update_intf_rpf = softfwd_update_intf_rpf;
    api->update_tunnel = softfwd_update_tunnel;
    api->is_v4route_aged = softfwd_is_v4route_aged;
    api->is_v6route_aged = softfwd_is_v6route_aged;
    api->one_write_ready = softfwd_one_write_ready;
    api->all_writes_ready = softfwd_all_writes_ready;
}

static void recovery_init(ufib_platform_api *api) {
    api->restart_recovery_end = restart_recovery_end;
    api->ha_get_route = softfwd_ha_get_route;
    api->get_prefix_ha_handle = softfwd_get_prefix_ha_handle;
    api->get_adj_ha_handle = softfwd_get_adj_ha_handle;
    api->get_rewrite_info = softfwd_get_rewrite_info;
    api->get_adj_base_handle = softfwd_get_adj_base_handle;
    api->ecmp_get_adj_ha_handles = softfwd_ecmp_get_adj_ha_handles;
    api->ha_clean_v4_pfx = softfwd_ha_clean_v4_pfx;
    api->ha_clean_v6_pfx = softfwd_ha_clean_v6_pfx;
    api->get_table_pss_info = softfwd_get_table_pss_info;
    api->get_table_ha_handle = softfwd_get_table_ha_handle;
    api->prefix_check = softfwd_prefix_check;
    api->v6prefix_check = softfwd_v6prefix_check;
    api->consistency_check_nh = softfwd_consistency_check_nh;
    api->v6_consistency_check_nh = softfwd_v6_consistency_check_nh;
    api->consistency_check_adj = softfwd_consistency_check_adj;
    api->consistency_check_v6_adj = softfwd_consistency_check_adj;
}

static void ufib_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    softfwd_engine_open(restart != 0);
    entries_init(api);
    recovery_init(api);
    api->table_required = table_required;
    api->adj_required = adj_required;
    api->table_get_inst_bmap = table_get_inst_bmap;
    api->optimize_wildcard_table = optimize_wildcard_table;
    api->adj_del_am_lock = adj_del_am_lock;
    api->is_adj_idx_valid = softfwd_is_adj_idx_valid;
    api->is_upgrade_disruptive = is_upgrade_disruptive;
    *caps = softfwd_config_get()->caps;
}

static const platform_library library = {"softfwd", lcfwd_api_init, ufib_api_init, softfwd_reset};

const platform_library *softfwd_library() { return &library; }
