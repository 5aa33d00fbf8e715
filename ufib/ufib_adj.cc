#include "ufib/ufib_adj.h"

#include "core/lcfwd_log.h"
#include "host/address/address.h"
#include "host/containers/slab.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_vdc.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr uint32_t ADJ_PER_SLAB = 1024;

static slab *adj_slabs[2]; /* by family */

static ufib_adj *adj_of(ravl_node *node) {
    return ravl_object<ufib_adj>(node, offsetof(ufib_adj, by_address));
}

/* All 16 bytes are the key for both families: IPv4 leaves the rest zero. */
void ufib_adj_tree_init(ravl_tree *tree) {
    constexpr size_t offset =
        offsetof(ufib_adj, key) + offsetof(ufib_adj_key, address) - offsetof(ufib_adj, by_address);
    (void)ravl_init(tree, sizeof(ufib_adj_key::address), static_cast<uint32_t>(offset), nullptr);
}

ufib_adj *ufib_adj_alloc(const ufib_family &family) {
    slab *&pool = adj_slabs[family.index];
    if (pool == nullptr)
        pool = slab_create(family.index == 0 ? "ufib v4adj" : "ufib v6adj",
                           ufib_obj_get_size(family.adj_type), ADJ_PER_SLAB);
    if (pool == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_NOMEM);
        UFIB_ERR("failed to create slab block for adj");
        return nullptr;
    }
    auto *adj = static_cast<ufib_adj *>(slab_calloc(pool));
    if (adj == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_NOMEM);
        UFIB_ERR("failed to create adjacency, no slab");
        return nullptr;
    }
    adj->obj.type_refs = family.adj_type;
    ufib_journal_log(UFIB_JOURNAL_ALLOCATED, &adj->obj, nullptr);
    return adj;
}

bool ufib_adj_free(ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    if (adj_slabs[family.index] == nullptr) {
        UFIB_ERR("deleting %sadj %s with missing slab header", family.name, ufib_adj_str(adj));
        return false;
    }
    ufib_retry_adj_done(adj);
    ufib_journal_forget(&adj->obj);
    std::free(adj->xri);
    slab_free(adj_slabs[family.index], adj);
    return true;
}

void *ufib_adj_platform_space(ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    const uint32_t space =
        family.index == 0 ? ufib_platform_v4adj_space_len() : ufib_platform_v6adj_space_len();
    return space == 0 ? nullptr
                      : reinterpret_cast<uint8_t *>(adj) + ufib_obj_get_size(family.adj_type) - space;
}

uint32_t ufib_adj_vdc_id(const ufib_adj *adj) { return adj->idb == nullptr ? 0 : adj->idb->vdc_id; }

const char *ufib_adj_str(const ufib_adj *adj) {
    static char text[80];
    std::snprintf(text, sizeof text, "%s if 0x%x", ufib_addr_str(ufib_adj_family(adj), adj->key.address),
                  adj->key.if_index);
    return text;
}

ufib_adj *ufib_adj_search(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key) {
    const ufib_idb *idb = ufib_idb_search(vdc, key.if_index);
    return idb == nullptr ? nullptr : adj_of(ravl_lookup(&idb->adjs[family.index], key.address));
}

ufib_adj *ufib_adj_if_get_first(const ufib_idb *idb, const ufib_family &family) {
    return adj_of(ravl_first(&idb->adjs[family.index]));
}
ufib_adj *ufib_adj_if_get_next(const ufib_adj *adj) { return adj_of(ravl_next(&adj->by_address)); }
ufib_adj *ufib_adj_if_get_next_safe(const ufib_idb *idb, const ufib_family &family,
                                    const uint8_t address[16]) {
    return adj_of(ravl_next_from_key(&idb->adjs[family.index], address));
}

static ufib_adj *first_from(ufib_idb *idb, const ufib_family &family) {
    for (; idb != nullptr; idb = ufib_idb_get_next(idb))
        if (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr) return adj;
    return nullptr;
}

ufib_adj *ufib_adj_get_first(ufib_vdc *vdc, const ufib_family &family) {
    return first_from(ufib_idb_get_first(vdc), family);
}

ufib_adj *ufib_adj_get_next(const ufib_adj *adj) {
    if (ufib_adj *next = ufib_adj_if_get_next(adj); next != nullptr) return next;
    return adj->idb == nullptr ? nullptr : first_from(ufib_idb_get_next(adj->idb), ufib_adj_family(adj));
}

ufib_adj *ufib_adj_ifindex_get_next_safe(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key) {
    if (const ufib_idb *idb = ufib_idb_search(vdc, key.if_index); idb != nullptr)
        if (ufib_adj *adj = ufib_adj_if_get_next_safe(idb, family, key.address); adj != nullptr) return adj;
    return first_from(ufib_idb_get_next_safe(vdc, key.if_index), family);
}

/* Links a new adjacency into its interface. */
static void ufib_adj_insert(ufib_vdc *vdc, ufib_idb *idb, ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    adj->idb = idb;
    (void)ravl_insert(&idb->adjs[family.index], &adj->by_address);
    idb->adj_count[family.index]++;
    vdc->adj_count[family.index]++;
    ufib_idb_hold(idb, UFIB_IDB_V4_ADJ + family.index);
    ufib_journal_log(UFIB_JOURNAL_INSERTED, &adj->obj, nullptr);
}

/* Takes it out of its interface; the last one of a family gives the interface back. */
static void ufib_adj_delete(ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    ufib_idb *idb = adj->idb;
    if (idb == nullptr) {
        UFIB_ERR("deleting adj @%08x if_index %x with NULL idb", adj->obj.handle, adj->key.if_index);
        return;
    }
    (void)ravl_delete(&idb->adjs[family.index], &adj->by_address);
    idb->adj_count[family.index]--;
    if (ufib_vdc *vdc = ufib_vdc_get(idb->vdc_id); vdc != nullptr) vdc->adj_count[family.index]--;
    adj->idb = nullptr;
    ufib_journal_log(UFIB_JOURNAL_REMOVED, &adj->obj, nullptr);
    if (!ravl_is_empty(&idb->adjs[family.index])) return;
    UFIB_TRACE("Deleting IDB V%c 0x%x", family.index == 0 ? '4' : '6', idb->if_index);
    ufib_idb_release(idb, UFIB_IDB_V4_ADJ + family.index);
}

static void ufib_adj_init(ufib_adj *adj, const ufib_adj_key &key) {
    adj->key = key;
    adj->kind = if_index_is_tunnel_intf(key.if_index) ? UFIB_ADJ_TUNNEL : UFIB_ADJ_PLAIN;
    if (ufib_hook.adj_db_init != nullptr) ufib_hook.adj_db_init(adj);
}

/* A restart brings holders back without the calls that made them: each one is a reference again. */
static void adj_restore_references(ufib_adj *adj) {
    for (uint32_t bit = UFIB_ADJ_HELD_AM; bit <= UFIB_ADJ_HELD_WCCP; bit <<= 1)
        if ((adj->holders & bit) != 0) ufib_obj_hold(&adj->obj);
    if ((adj->holders & UFIB_ADJ_HELD_PBR) != 0 && adj->pbr_count == 0) adj->pbr_count = 1;
    if ((adj->holders & UFIB_ADJ_HELD_WCCP) != 0 && adj->wccp_count == 0) adj->wccp_count = 1;
}

static ufib_adj *adj_make(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key) {
    ufib_idb *idb = ufib_get_create_idb(vdc, key.if_index);
    if (idb == nullptr) return nullptr;
    ufib_adj *adj = ufib_adj_alloc(family);
    if (adj == nullptr) {
        /* Nothing holds a record that was made for this adjacency: let it end with the others. */
        if (idb->holders == 0) (void)ufib_idb_dpl_queue(idb);
        return nullptr;
    }
    ufib_adj_init(adj, key);
    ufib_adj_insert(vdc, idb, adj);
    return adj;
}

/* What stands in hardware under a handle of the time before a restart knows the neighbour, whoever asks for it. */
static void adj_init_state(ufib_adj *adj, const ufib_adj_request &request) {
    ufib_platform_rewrite rewrite = {};
    const bool adopt = request.ha_handle != 0 && request.rewrite == nullptr && adj->obj.handle == 0;
    const bool known = adopt && ufib_platform_get_v4_rewrite_info(request.ha_handle, &rewrite) == 0;
    ufib_adj_init_dyn(adj, known ? &rewrite : request.rewrite, request.flags);
}

/* What a refused write leaves an adjacency with: the state that hardware has. */
struct adj_before {
    uint32_t flags;
    uint8_t holders;
    ufib_platform_rewrite rewrite;
};

/* The holder got nothing: it must not be counted. */
static void adj_install_failed(ufib_adj *adj, bool is_new, const adj_before &before, bool restart) {
    if (adj->obj.handle == 0) ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
    for (uint32_t bit = UFIB_ADJ_HELD_AM; restart && bit <= UFIB_ADJ_HELD_WCCP; bit <<= 1)
        if ((adj->holders & bit) != 0) ufib_obj_drop(&adj->obj);
    adj->holders = before.holders;
    adj->flags = before.flags;
    adj->rewrite = before.rewrite;
    if (!is_new) return;
    ufib_adj_delete(adj);
    (void)ufib_adj_free(adj);
}

ufib_adj *ufib_adj_create(ufib_vdc *vdc, const ufib_family &family, ufib_adj *existing,
                          const ufib_adj_key &key, const ufib_adj_request &request) {
    ufib_adj *adj = existing != nullptr ? existing : adj_make(vdc, family, key);
    if (adj == nullptr) return nullptr;
    const adj_before before = {adj->flags, adj->holders, adj->rewrite};
    adj->holders |= request.holder;
    adj_init_state(adj, request);
    if (request.mpls_only) return adj;
    if (request.ha_handle != 0) {
        if (existing != nullptr && existing->obj.handle != 0) return existing;
        adj_restore_references(adj);
    }
    if (!ufib_platform_insert_adj(adj, request.ha_handle, request.holder)) {
        adj_install_failed(adj, existing == nullptr, before, request.ha_handle != 0);
        return nullptr;
    }
    if (request.ha_handle == 0) ufib_pss_insert_adj(adj);
    return adj;
}

bool ufib_adj_create_in_hw(ufib_adj *adj, uint32_t ha_handle) {
    if (adj->obj.handle != 0) return true;
    if (!ufib_platform_insert_adj(adj, ha_handle, adj->holders)) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
        return false;
    }
    if (ha_handle == 0) ufib_pss_insert_adj(adj);
    return true;
}

void ufib_adj_rewrite(ufib_adj *adj) {
    if (ufib_platform_insert_adj(adj, 0, ufib_adj_platform_mode(adj))) return;
    if (adj->obj.handle == 0)
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
    else
        ufib_retry_adj(adj);
}

void ufib_adj_reinstall(ufib_adj *adj) {
    ufib_adj_rewrite(adj);
    if (adj->obj.handle != 0) ufib_pss_insert_adj(adj);
}

bool ufib_adj_destroy_ok(const ufib_adj *adj) {
    if (!ravl_is_empty(&adj->mpls_children)) {
        UFIB_TRACE("Not destroying %sadj with child MPLS labels number of nodes %d\n",
                   ufib_adj_family(adj).name, static_cast<int>(adj->mpls_child_count));
        return false;
    }
    return ufib_obj_refs(&adj->obj) == 0 && adj->pbr_count == 0 && adj->wccp_count == 0 && adj->holders == 0;
}

int ufib_adj_destroy(void *, ufib_adj *adj, bool force) {
    if ((adj->holders & UFIB_ADJ_HELD_AM) != 0 && ufib_platform_adj_del_am_lock(adj)) {
        ufib_obj_drop(&adj->obj);
        adj->holders &= static_cast<uint8_t>(~UFIB_ADJ_HELD_AM);
    }
    if (!force && !ufib_adj_destroy_ok(adj)) return 0;
    if (adj->idb == nullptr) {
        UFIB_ERR("%s - adj not linked to an idb", __func__);
        return 0;
    }
    ufib_vdc *vdc = ufib_vdc_get(adj->idb->vdc_id);
    if (vdc == nullptr) {
        UFIB_ERR("%s - failed to get VDB", __func__);
        return 0;
    }
    if ((adj->flags & UFIB_ADJ_RECIRCULATE) != 0) return ufib_adj_delete_global(vdc, UFIB_GLOBAL_RECIRCULATE);
    if (adj->obj.handle != 0) {
        ufib_pss_delete_adj(adj);
        if (!ufib_platform_delete_adj(adj) && !force) {
            ufib_pss_insert_adj(adj);
            ufib_retry_adj(adj);
            return 0;
        }
    }
    ufib_adj_delete(adj);
    ufib_journal_log(UFIB_JOURNAL_FREED, &adj->obj, nullptr);
    (void)ufib_adj_free(adj);
    return 1;
}

void ufib_adj_db_destroy(ufib_vdc *vdc) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (const ufib_family &family : ufib_families) {
        for (ufib_adj *adj = ufib_adj_get_first(vdc, family); adj != nullptr;
             adj = ufib_adj_get_first(vdc, family)) {
            if (ufib_adj_destroy(nullptr, adj, true) == 0) break;
            ufib_walk_step(&budget);
        }
    }
    ufib_delete_global_adjs(vdc);
}

void ufib_adj_reset() {
    for (slab *&pool : adj_slabs) pool = nullptr;
}
