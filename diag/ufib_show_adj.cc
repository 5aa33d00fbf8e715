/* Adjacencies as operators see them. */
#include "diag/show_values.h"
#include "diag/show_walk.h"
#include "diag/ufib_show_object.h"
#include "host/command/command.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_stats.h"
#include "ufib/ufib_vdc.h"

#include <cstdio>
#include <cstring>
#include <iterator>

static constexpr const char *flag_names[] = {
    "am",       nullptr,       "peer-gw", nullptr,    nullptr,    nullptr,      "mcast-src",
    "attached", "recirculate", nullptr,   "checking", "resolved", "glean",      "direct",
    "punt",     "drop",        nullptr,   nullptr,    "nve",      "nve-if-down"};
static constexpr const char *holder_names[] = {"am", "tunnel", "pbr", "wccp"};

static constexpr char DETAIL[] =
    "Next-hop %s, interface %s, rewrite %s, state %s, references %u, handle %#x\n"
    "   if_index %#x   kind %s   held by %s   flags %s\n"
    "   PBR references: %u   WCCP references: %u   dependent paths: %u\n";

/* What a walk prints of each adjacency. */
struct adj_form {
    const char *columns;
    void (*print)(cmd_handle *handle, const ufib_family &family, ufib_adj *adj, bool detail);
};

static bool is_global(const ufib_adj *adj) {
    const ufib_vdc *vdc = adj->idb == nullptr ? nullptr : ufib_vdc_get(adj->idb->vdc_id);
    return vdc != nullptr && adj->idb == vdc->dummy_idb;
}

static void adj_print(cmd_handle *handle, const ufib_family &family, ufib_adj *adj, bool detail) {
    static constexpr const char *brief[] = {"%-17s | %-20s | %-17s | %-16s | %5u | %#x\n",
                                            "%-39s | %-20s | %-17s | %-16s | %5u | %#x\n"};
    cmd_prt_row_begin(handle);
    cmd_prt(handle, detail ? DETAIL : brief[family.index], show_address(family, adj->key.address, "next_hop"),
            show_interface(adj->key.if_index, "interface"), show_adj_rewrite(adj, "rewrite"),
            cmd_text(show_adj_state(adj), "state"), cmd_u32(ufib_obj_refs(&adj->obj), "references"),
            cmd_u32(adj->obj.handle, "handle"), cmd_u32(adj->key.if_index, "if_index"),
            cmd_text(adj->kind == UFIB_ADJ_TUNNEL ? "tunnel" : "plain", "kind"),
            cmd_text(show_bits(adj->holders, holder_names, std::size(holder_names)), "held_by"),
            cmd_text(show_bits(adj->flags, flag_names, std::size(flag_names)), "flags"),
            cmd_u32(adj->pbr_count, "pbr_references"), cmd_u32(adj->wccp_count, "wccp_references"),
            cmd_u32(adj->dep_vobjs.count, "dependent_paths"), cmd_bool(is_global(adj), "global"),
            cmd_bool(dbly_linkage_is_on(&ufib_retry_adjs, &adj->retry), "write_refused"));
    if (detail)
        (void)(family.index == UFIB_STATS_V4 ? ufib_platform_show_v4adj(handle, adj)
                                             : ufib_platform_show_v6adj(handle, adj));
    cmd_prt_row_end(handle);
}

static void statistics_print(cmd_handle *handle, const ufib_family &family, ufib_adj *adj, bool detail) {
    ufib_adj_stats_add(&adj->obj, true);
    static constexpr const char *brief[] = {"%-17s | %-20s | %14llu | %16llu | %14llu | %16llu\n",
                                            "%-39s | %-20s | %14llu | %16llu | %14llu | %16llu\n"};
    cmd_prt_row_begin(handle);
    cmd_prt(handle,
            detail ? "Next-hop %s, interface %s, packets %llu, bytes %llu\n"
                     "   since the last clear: packets %llu, bytes %llu\n"
                   : brief[family.index],
            show_address(family, adj->key.address, "next_hop"),
            show_interface(adj->key.if_index, "interface"), cmd_u64(adj->totals.packets, "packets"),
            cmd_u64(adj->totals.bytes, "bytes"),
            cmd_u64(adj->totals.packets_since_clear, "packets_since_clear"),
            cmd_u64(adj->totals.bytes_since_clear, "bytes_since_clear"), cmd_u32(adj->obj.handle, "handle"),
            cmd_u32(adj->key.if_index, "if_index"));
    cmd_prt_row_end(handle);
}

/* What stands behind the next hop, which has the width of its family. */
static constexpr adj_form model_form = {
    "| Interface            | Rewrite           | State            | Refs  | Handle\n", adj_print};
static constexpr adj_form statistics_form = {
    "| Interface            |        Packets |            Bytes |  .. from clear |    .. from clear\n",
    statistics_print};

/* ---- walk ---- */

struct adj_walk {
    const ufib_family &family;
    ufib_vdc *vdc;
    const adj_form &form;
    show_walk walk;
};

static bool wanted(const ufib_show_params *params, const ufib_family &family, const ufib_adj *adj) {
    return (params->flags & UFIB_SHOW_HAS_NH) == 0 ||
           std::memcmp(adj->key.address, params->next_hop, family.addr_bytes) == 0;
}

/* False: the walk stops. */
static bool visit(adj_walk *work, cmd_handle *handle, ufib_adj *adj) {
    ufib_show_params *params = work->walk.params;
    params->at_if_index = adj->key.if_index;
    std::memcpy(params->at_prefix, adj->key.address, sizeof params->at_prefix);
    const bool shown = wanted(params, work->family, adj);
    if (shown) work->form.print(handle, work->family, adj, params->detail != 0);
    return show_walk_step(&work->walk, shown);
}

/* The globals lie on no interface; there are few of them. */
static bool visit_globals(adj_walk *work, cmd_handle *handle) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++) {
        ufib_adj *adj = ufib_adj_get_global(work->vdc, kind);
        if (adj != nullptr && &ufib_adj_family(adj) == &work->family && !visit(work, handle, adj))
            return false;
    }
    return true;
}

/* The first adjacency behind the position, on its interface or on the next ones that are asked for. */
static ufib_adj *adj_resume(const adj_walk *work) {
    const ufib_show_params *params = work->walk.params;
    const bool one = (params->flags & UFIB_SHOW_HAS_IF) != 0;
    const bool continuing = (params->flags & UFIB_SHOW_CONTINUING) != 0;
    const uint32_t if_index = one ? params->if_index : params->at_if_index;
    const ufib_idb *idb = ufib_idb_search(work->vdc, if_index);
    ufib_adj *adj = nullptr;
    if (idb != nullptr && continuing) adj = ufib_adj_if_get_next_safe(idb, work->family, params->at_prefix);
    if (idb != nullptr && !continuing) adj = ufib_adj_if_get_first(idb, work->family);
    if (one) return adj;
    for (idb = ufib_idb_get_next_safe(work->vdc, if_index); adj == nullptr && idb != nullptr;
         idb = ufib_idb_get_next(idb))
        adj = ufib_adj_if_get_first(idb, work->family);
    return adj;
}

static void walk_all(adj_walk *work, cmd_handle *handle) {
    const ufib_show_params *params = work->walk.params;
    const bool one = (params->flags & UFIB_SHOW_HAS_IF) != 0;
    const bool filtered = (params->flags & (UFIB_SHOW_HAS_IF | UFIB_SHOW_HAS_NH)) != 0;
    const bool first = (params->flags & UFIB_SHOW_CONTINUING) == 0;
    if (first && !filtered && !visit_globals(work, handle)) return;
    if (first) work->walk.params->at_if_index = 0;
    for (ufib_adj *adj = adj_resume(work); adj != nullptr && visit(work, handle, adj);)
        adj = one ? ufib_adj_if_get_next(adj) : ufib_adj_get_next(adj);
}

static void heads(cmd_handle *handle, const adj_walk &work) {
    const ufib_show_params &params = *work.walk.params;
    if ((params.flags & UFIB_SHOW_CONTINUING) != 0 || params.detail != 0) return;
    char head[160];
    const int used = std::snprintf(head, sizeof head, "%-*s%s", work.family.index == UFIB_STATS_V4 ? 18 : 40,
                                   "Next-hop", work.form.columns);
    cmd_prt_decoration(handle, head);
    for (int i = 0; i < used - 1; i++) head[i] = head[i] == '|' ? '+' : '-';
    cmd_prt_decoration(handle, head);
}

/* One interface and one next hop name one adjacency. */
static void visit_one(adj_walk *work, cmd_handle *handle) {
    const ufib_show_params *params = work->walk.params;
    ufib_adj_key key = {params->if_index, {}};
    std::memcpy(key.address, params->next_hop, work->family.addr_bytes);
    ufib_adj *adj = ufib_adj_search(work->vdc, work->family, key);
    if (adj != nullptr) (void)visit(work, handle, adj);
}

static void adj_show(cmd_handle *handle, uint32_t vdc_id, const ufib_family &family, bool statistics) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, &family, UFIB_SHOW_ADJ, &params)) return;
    statistics = statistics || (params.flags & UFIB_SHOW_STATISTICS) != 0;
    adj_walk work = {family, vdc, statistics ? statistics_form : model_form, {&params, 0, 0, false}};
    constexpr uint32_t both = UFIB_SHOW_HAS_IF | UFIB_SHOW_HAS_NH;
    const bool one = (params.flags & both) == both;
    heads(handle, work);
    cmd_prt_list_begin(handle, "adjacencies");
    if (one)
        visit_one(&work, handle);
    else
        walk_all(&work, handle);
    show_walk_end(handle, &work.walk, one ? "adjacency" : nullptr);
}

void ufib_show_adjacency_v4_be(cmd_handle *handle, uint32_t vdc_id) {
    adj_show(handle, vdc_id, ufib_v4, false);
}
void ufib_show_adjacency_v6_be(cmd_handle *handle, uint32_t vdc_id) {
    adj_show(handle, vdc_id, ufib_v6, false);
}
void ufib_show_v4_adj_stats(cmd_handle *handle, uint32_t vdc_id) { adj_show(handle, vdc_id, ufib_v4, true); }
void ufib_show_v6_adj_stats(cmd_handle *handle, uint32_t vdc_id) { adj_show(handle, vdc_id, ufib_v6, true); }
