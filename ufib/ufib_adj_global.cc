/* The global adjacencies of a VDC: what prefixes point at when they drop, punt or glean. */
#include "core/lcfwd_log.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_vdc.h"

struct global_row {
    const ufib_family *family;
    uint32_t flags;
    bool with_vdc;      /* made with the VDC, not on first use */
    bool own_reference; /* so that it never reaches zero */
    bool inband;        /* on the way to this card's processor; else on the null interface */
    uint32_t platform_mode;
};

static constexpr uint32_t NVE_IF_DOWN_MODE = 5;

static constexpr global_row globals[UFIB_GLOBAL_ADJ_KINDS + 1] = {
    {},
    {&ufib_families[0], UFIB_ADJ_DROP, true, true, false, 0},
    {&ufib_families[0], UFIB_ADJ_PUNT, true, true, true, 0},
    {&ufib_families[0], UFIB_ADJ_GLEAN, true, true, false, 0},
    {&ufib_families[1], UFIB_ADJ_DROP, true, true, false, 0},
    {&ufib_families[1], UFIB_ADJ_PUNT, true, true, true, 0},
    {&ufib_families[1], UFIB_ADJ_GLEAN, true, true, false, 0},
    {&ufib_families[0], UFIB_ADJ_RECIRCULATE, false, false, false, 0},
    {&ufib_families[0], UFIB_ADJ_NVE_IF_DOWN | UFIB_ADJ_NVE, false, true, false, NVE_IF_DOWN_MODE},
    {&ufib_families[0], UFIB_ADJ_MCAST_SRC, true, true, false, 0},
    {&ufib_families[1], UFIB_ADJ_MCAST_SRC, true, true, false, 0},
};

/* Every use must survive their absence: a process without a platform library has none. */
void ufib_create_global_adjs(ufib_vdc *vdc) {
    if (vdc->dummy_idb == nullptr && ufib_create_vdc_global_dummy_idb(vdc) != 0) return;
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++)
        if (globals[kind].with_vdc) (void)ufib_adj_create_global(vdc, kind, 0);
}

ufib_adj *ufib_adj_create_global(ufib_vdc *vdc, uint32_t kind, uint32_t ha_handle) {
    if (kind == 0 || kind > UFIB_GLOBAL_ADJ_KINDS) return nullptr;
    const global_row &row = globals[kind];
    ufib_adj *adj = ufib_adj_alloc(*row.family);
    if (adj == nullptr) return nullptr;
    adj->kind = UFIB_ADJ_PLAIN;
    adj->flags = row.flags;
    adj->idb = vdc->dummy_idb;
    if (ufib_hook.adj_db_init != nullptr) ufib_hook.adj_db_init(adj);
    if (row.inband)
        adj->key.if_index = if_index_eth_inband_get_priority_hi();
    else
        (void)vsh_interface_name_to_ifindex("Null0", &adj->key.if_index);
    if (row.own_reference) ufib_obj_hold(&adj->obj);
    (void)ufib_platform_insert_adj(adj, ha_handle, row.platform_mode);
    if (adj->obj.handle == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
        UFIB_ERR("failed to install adjacency %s in hardware", ufib_adj_str(adj));
        (void)ufib_adj_free(adj);
        return nullptr;
    }
    vdc->global_adj[kind] = adj;
    ufib_pss_insert_global_adj(adj, kind, vdc->desc->vdc_id);
    return adj;
}

ufib_adj *ufib_adj_get_global(const ufib_vdc *vdc, uint32_t kind) {
    return kind == 0 || kind > UFIB_GLOBAL_ADJ_KINDS ? nullptr : vdc->global_adj[kind];
}

void ufib_rewrite_global_adjs(ufib_vdc *vdc) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++)
        if (vdc->global_adj[kind] != nullptr) ufib_adj_rewrite(vdc->global_adj[kind]);
}

uint32_t ufib_adj_platform_mode(const ufib_adj *adj) {
    const ufib_vdc *vdc = ufib_vdc_get(ufib_adj_vdc_id(adj));
    for (uint32_t kind = 1; vdc != nullptr && adj->idb == vdc->dummy_idb && kind <= UFIB_GLOBAL_ADJ_KINDS;
         kind++)
        if (vdc->global_adj[kind] == adj) return globals[kind].platform_mode;
    return 0;
}

bool ufib_is_global_adj(uint32_t handle, const ufib_vdc *vdc) {
    for (uint32_t kind = UFIB_GLOBAL_V4_DROP; kind <= UFIB_GLOBAL_V6_GLEAN; kind++)
        if (vdc->global_adj[kind] != nullptr && vdc->global_adj[kind]->obj.handle == handle) return true;
    return false;
}

/* One that hardware refuses to let go stays, as it was held, and is removed another time. */
static int global_stays(const ufib_vdc *vdc, uint32_t kind, bool held) {
    ufib_adj *adj = vdc->global_adj[kind];
    if (held) ufib_obj_hold(&adj->obj);
    ufib_pss_insert_global_adj(adj, kind, vdc->desc->vdc_id);
    ufib_retry_adj(adj);
    return 0;
}

int ufib_adj_delete_global(ufib_vdc *vdc, uint32_t kind) {
    ufib_adj *adj = ufib_adj_get_global(vdc, kind);
    if (adj == nullptr) return 0;
    const bool held = ufib_obj_refs(&adj->obj) != 0;
    if (held) ufib_obj_drop(&adj->obj);
    ufib_pss_delete_global_adj(kind, vdc->desc->vdc_id);
    if (!ufib_platform_delete_adj(adj) && !ufib_vdc_is_dying(vdc->desc->vdc_id))
        return global_stays(vdc, kind, held);
    vdc->global_adj[kind] = nullptr;
    if (!ufib_adj_free(adj)) ufib_err_raise(UFIB_ERR_ITEM, E_VDC_DEL_ADJ);
    return 1;
}

/* The one of a down overlay interface stays in hardware beyond the VDC; only its memory goes. */
void ufib_delete_global_adjs(ufib_vdc *vdc) {
    static constexpr uint32_t order[] = {
        UFIB_GLOBAL_V4_DROP,     UFIB_GLOBAL_V6_DROP,      UFIB_GLOBAL_V4_PUNT,
        UFIB_GLOBAL_V6_PUNT,     UFIB_GLOBAL_V4_GLEAN,     UFIB_GLOBAL_V6_GLEAN,
        UFIB_GLOBAL_RECIRCULATE, UFIB_GLOBAL_V4_MCAST_SRC, UFIB_GLOBAL_V6_MCAST_SRC};
    for (const uint32_t kind : order) (void)ufib_adj_delete_global(vdc, kind);
    if (vdc->global_adj[UFIB_GLOBAL_NVE_IF_DOWN] != nullptr) {
        (void)ufib_adj_free(vdc->global_adj[UFIB_GLOBAL_NVE_IF_DOWN]);
        vdc->global_adj[UFIB_GLOBAL_NVE_IF_DOWN] = nullptr;
    }
    ufib_delete_vdc_global_dummy_idb(vdc);
}
