#include "softfwd/softfwd_adj.h"

#include "platform/ufib_pi.h"
#include "platform/ufib_pi_tunnel.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_space.h"
#include "softfwd/softfwd_takeover.h"

#include <cstring>

static constexpr uint8_t FORMAT_TUNNEL = 2;

softfwd_adj *softfwd_adj_of(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    if (handle == 0 || handle >= engine->head->adj_bump) return nullptr;
    const uint32_t place = engine->directory[handle];
    return softfwd_place_kind(place) == SOFTFWD_KIND_ADJ ? &engine->record[softfwd_place_index(place)]
                                                         : nullptr;
}

/* --- what the model says --- */

struct model_marks {
    bool drop, punt, glean, resolved, attached, mcast_src, recirculate, nve;
};

static model_marks marks_v4(const void *adj) {
    return {ufib_pi_v4adj_is_drop(adj),     ufib_pi_v4adj_is_punt(adj),   ufib_pi_v4adj_is_glean(adj),
            ufib_pi_v4adj_is_resolved(adj), ufib_pi_v4adj_is_attach(adj), ufib_pi_v4adj_is_mcast_src(adj),
            ufib_pi_v4adj_is_recir(adj),    ufib_pi_v4adj_is_nve(adj)};
}

static model_marks marks_v6(const void *adj) {
    return {ufib_pi_v6adj_is_drop(adj),
            ufib_pi_v6adj_is_punt(adj),
            ufib_pi_v6adj_is_glean(adj),
            ufib_pi_v6adj_is_resolved(adj),
            ufib_pi_v6adj_is_attach(adj),
            ufib_pi_v6adj_is_mcast_src(adj),
            false,
            false};
}

/* Multicast sources and recirculation need a second pass that this engine does not have: the processor gets the
 * packet. Without a destination MAC nothing can leave by an Ethernet next hop. */
static softfwd_action action_of(const model_marks &marks, bool encapsulated) {
    if (marks.drop) return SOFTFWD_DROP;
    if (marks.punt) return SOFTFWD_PUNT;
    if (marks.glean) return SOFTFWD_GLEAN;
    if (marks.mcast_src || marks.recirculate) return SOFTFWD_PUNT;
    return marks.resolved || encapsulated ? SOFTFWD_FORWARD : SOFTFWD_DROP;
}

static uint16_t flags_of(const model_marks &marks, const void *adj, bool tunnel) {
    unsigned flags = 0;
    if (marks.resolved) flags |= SOFTFWD_ADJ_RESOLVED;
    if (marks.attached) flags |= SOFTFWD_ADJ_ATTACHED;
    if (marks.mcast_src) flags |= SOFTFWD_ADJ_MCAST_SRC;
    if (marks.recirculate) flags |= SOFTFWD_ADJ_RECIRCULATE;
    if (marks.nve) flags |= SOFTFWD_ADJ_NVE;
    if (tunnel) flags |= SOFTFWD_ADJ_TUNNEL;
    if (ufib_pi_adj_is_global(adj)) flags |= SOFTFWD_ADJ_GLOBAL;
    if (ufib_pi_adj_is_peer_gw(adj)) flags |= SOFTFWD_ADJ_PEER_GATEWAY;
    return static_cast<uint16_t>(flags);
}

static void record_fill_v4(const void *adj, softfwd_adj *out) {
    const uint32_t address = __builtin_bswap32(ufib_pi_v4adj_get_nh_addr(adj));
    memcpy(out->next_hop, &address, sizeof address);
    out->vdc_id = ufib_pi_v4adj_get_vdc_id(adj);
    out->if_index = ufib_pi_v4adj_get_if_index(adj);
    if (ufib_pi_v4adj_get_dmac(adj, out->dmac) != 0) memset(out->dmac, 0, sizeof out->dmac);
    if (ufib_pi_v4adj_get_smac(adj, out->smac) == 0)
        out->flags |= SOFTFWD_ADJ_SOURCE_MAC;
    else
        memset(out->smac, 0, sizeof out->smac);
}

static void record_fill_v6(const void *adj, softfwd_adj *out) {
    ufib_pi_v6adj_get_nh_addr(adj, out->next_hop);
    out->vdc_id = ufib_pi_v6adj_get_vdc_id(adj);
    out->if_index = ufib_pi_v6adj_get_if_index(adj);
    if (ufib_pi_v6adj_get_dmac(adj, out->dmac) != 0) memset(out->dmac, 0, sizeof out->dmac);
    if (ufib_pi_v6adj_get_smac(adj, out->smac) == 0)
        out->flags |= SOFTFWD_ADJ_SOURCE_MAC;
    else
        memset(out->smac, 0, sizeof out->smac);
}

static softfwd_tunnel_type tunnel_type_of(const void *adj) {
    if (ufib_pi_v4adj_is_tunnel_gre(adj)) return SOFTFWD_TUNNEL_GRE;
    if (ufib_pi_v4adj_is_tunnel_6to4(adj)) return SOFTFWD_TUNNEL_6TO4;
    if (ufib_pi_v4adj_is_tunnel_isatap(adj)) return SOFTFWD_TUNNEL_ISATAP;
    return ufib_pi_v4adj_is_tunnel_sgrp(adj) ? SOFTFWD_TUNNEL_SGRP : SOFTFWD_TUNNEL_NONE;
}

/* Next hops over a tunnel that was told for another one, of either family, get the interface's encapsulation. */
static void tunnel_fill(const void *object, softfwd_adj *out) {
    const void *adj =
        ufib_pi_is_v4_tunnel_update(object)
            ? object
            : ufib_pi_get_tunnel_adj(ufib_pi_v4adj_get_vdc_id(object), ufib_pi_v4adj_get_if_index(object));
    out->tunnel_type = tunnel_type_of(adj);
    out->tunnel_df = static_cast<uint8_t>(ufib_pi_v4adj_tunnel_df(adj));
    out->tunnel_tos = static_cast<uint8_t>(ufib_pi_v4adj_tunnel_tos(adj));
    out->tunnel_ttl = static_cast<uint8_t>(ufib_pi_v4adj_tunnel_ttl(adj));
    out->tunnel_source = ufib_pi_v4adj_tunnel_sa(adj);
    out->tunnel_destination = ufib_pi_v4adj_tunnel_da(adj);
}

/* The two families have accessors of their own for the same things. */
static softfwd_adj record_of_model(const void *adj, uint32_t handle, uint32_t holder) {
    softfwd_adj record = {};
    const bool v4 = ufib_pi_adj_is_v4(adj);
    const model_marks marks = v4 ? marks_v4(adj) : marks_v6(adj);
    record.handle = handle;
    record.format = static_cast<uint8_t>(ufib_pi_adj_get_format(adj));
    const bool tunnel = record.format == FORMAT_TUNNEL;
    record.family = v4 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
    if (tunnel) tunnel_fill(adj, &record);
    record.action = action_of(marks, record.tunnel_type != SOFTFWD_TUNNEL_NONE);
    record.flags = flags_of(marks, adj, tunnel);
    record.holder = static_cast<uint8_t>(holder);
    if (v4)
        record_fill_v4(adj, &record);
    else
        record_fill_v6(adj, &record);
    return record;
}

static bool tunnel_differs(const softfwd_adj &a, const softfwd_adj &b) {
    return a.tunnel_type != b.tunnel_type || a.tunnel_df != b.tunnel_df || a.tunnel_tos != b.tunnel_tos ||
           a.tunnel_ttl != b.tunnel_ttl || a.tunnel_source != b.tunnel_source ||
           a.tunnel_destination != b.tunnel_destination;
}

static uint8_t difference_of(const softfwd_adj &a, const softfwd_adj &b) {
    unsigned difference = 0;
    if (a.vdc_id != b.vdc_id || a.if_index != b.if_index || a.family != b.family ||
        memcmp(a.next_hop, b.next_hop, sizeof a.next_hop) != 0)
        difference |= SOFTFWD_DIFFERS_KEY;
    if (a.action != b.action || a.flags != b.flags || a.format != b.format ||
        memcmp(a.dmac, b.dmac, sizeof a.dmac) != 0 || memcmp(a.smac, b.smac, sizeof a.smac) != 0 ||
        tunnel_differs(a, b))
        difference |= SOFTFWD_DIFFERS_CONTENT;
    return static_cast<uint8_t>(difference);
}

static softfwd_space space_of(void *adj) {
    const ufib_platform_caps &caps = softfwd_config_get()->caps;
    return {ufib_pi_adj_get_platform_space(adj),
            ufib_pi_adj_is_v4(adj) ? caps.v4adj_space_len : caps.v6adj_space_len};
}

/* --- slots --- */

static uint32_t adj_adopt(void *adj, uint32_t ha, uint32_t holder) {
    const softfwd_adj *entry = softfwd_adj_of(ha);
    if (entry == nullptr) {
        softfwd_note(SOFTFWD_OP_INSERT_ADJ, SOFTFWD_EFFECT_FAILURE, ha);
        return 0;
    }
    softfwd_adj_claim(ha);
    softfwd_space_fill(space_of(adj));
    softfwd_note_reattach(SOFTFWD_OP_INSERT_ADJ, ha, difference_of(*entry, record_of_model(adj, ha, holder)));
    return ha;
}

/* Fills a record and lets the handle name it. False: no record is free. */
static bool adj_write(const void *adj, uint32_t handle, uint32_t holder, bool is_new) {
    softfwd_engine *engine = &softfwd_state;
    const uint32_t index = softfwd_record_take();
    if (index == 0) return false;
    engine->record[index] = record_of_model(adj, handle, holder);
    engine->record[index].doubtful = is_new ? 1 : 0;
    const uint32_t old = engine->directory[handle];
    softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_ADJ, index));
    if (softfwd_place_kind(old) == SOFTFWD_KIND_ADJ)
        softfwd_grace_retire(SOFTFWD_GARBAGE_RECORD, softfwd_place_index(old), 0);
    return true;
}

static uint32_t adj_install(const void *adj, uint32_t holder) {
    softfwd_header *head = softfwd_state.head;
    uint32_t handle = 0;
    if (head->adj_count < softfwd_config_get()->max_adjacencies) handle = softfwd_adj_take();
    if (handle != 0 && !adj_write(adj, handle, holder, true)) {
        softfwd_adj_release(handle);
        handle = 0;
    }
    softfwd_note(SOFTFWD_OP_INSERT_ADJ, handle != 0 ? SOFTFWD_EFFECT_INSTALL : SOFTFWD_EFFECT_FAILURE,
                 handle);
    if (handle == 0) return 0;
    head->adj_count++;
    softfwd_adj_claim(handle);
    return handle;
}

uint32_t softfwd_insert_adj(void *adj, uint32_t ha, uint32_t holder) {
    if (!softfwd_state.open || adj == nullptr) return 0;
    softfwd_state.head->counters.calls[SOFTFWD_OP_INSERT_ADJ]++;
    const uint32_t standing = ufib_pi_adj_get_handle(adj);
    if (!softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_INSERT_ADJ, ha != 0 ? ha : standing)) {
        softfwd_note(SOFTFWD_OP_INSERT_ADJ, SOFTFWD_EFFECT_FAILURE, ha != 0 ? ha : standing);
        return 0;
    }
    if (ha != 0) return adj_adopt(adj, ha, holder);
    if (softfwd_adj_of(standing) == nullptr) {
        softfwd_space_fill(space_of(adj));
        return adj_install(adj, holder);
    }
    softfwd_space_check(space_of(adj));
    const bool written = adj_write(adj, standing, holder, false);
    softfwd_note(SOFTFWD_OP_INSERT_ADJ, written ? SOFTFWD_EFFECT_UPDATE : SOFTFWD_EFFECT_FAILURE, standing);
    softfwd_adj_claim(standing);
    return written ? standing : 0;
}

static int adj_rewrite(const void *adj) {
    const uint32_t handle = ufib_pi_adj_get_handle(adj);
    const softfwd_adj *entry = softfwd_adj_of(handle);
    if (entry == nullptr) return 0;
    const bool written = adj_write(adj, handle, entry->holder, false);
    softfwd_note(SOFTFWD_OP_INSERT_ADJ, written ? SOFTFWD_EFFECT_UPDATE : SOFTFWD_EFFECT_FAILURE, handle);
    return written ? 0 : -1;
}

int softfwd_update_tunnel(uint32_t vdc_id, uint32_t if_index) {
    if (!softfwd_state.open) return -1;
    int status = 1;
    for (const void *adj = ufib_pi_v4adj_if_get_first(vdc_id, if_index); adj != nullptr;
         adj = ufib_pi_v4adj_if_get_next(adj))
        if (adj_rewrite(adj) != 0) status = -1;
    for (const void *adj = ufib_pi_v6adj_get_from_ifindex(vdc_id, if_index);
         adj != nullptr && ufib_pi_v6adj_get_if_index(adj) == if_index; adj = ufib_pi_v6adj_get_next(adj))
        if (adj_rewrite(adj) != 0) status = -1;
    return status;
}

int softfwd_delete_adj(void *adj) {
    if (!softfwd_state.open || adj == nullptr) return -1;
    softfwd_engine *engine = &softfwd_state;
    engine->head->counters.calls[SOFTFWD_OP_DELETE_ADJ]++;
    const uint32_t handle = ufib_pi_adj_get_handle(adj);
    const softfwd_adj *entry = softfwd_adj_of(handle);
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_DELETE_ADJ, handle);
    if (entry == nullptr || refused) {
        softfwd_note(SOFTFWD_OP_DELETE_ADJ, SOFTFWD_EFFECT_FAILURE, handle);
        return -1;
    }
    softfwd_space_check(space_of(adj));
    const uint32_t index = softfwd_place_index(engine->directory[handle]);
    softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_ADJ_LEAVING, index));
    softfwd_grace_retire(SOFTFWD_GARBAGE_ADJ, handle, 0);
    engine->head->adj_count--;
    softfwd_adj_claim(handle);
    softfwd_note(SOFTFWD_OP_DELETE_ADJ, SOFTFWD_EFFECT_REMOVE, handle);
    return 0;
}

static void stats_read(ufib_platform_stats *row) {
    row->packets = row->bytes = 0;
    if (softfwd_adj_of(row->handle) == nullptr) return;
    softfwd_adj_counter *counter = &softfwd_state.counts[row->handle];
    const uint64_t packets = softfwd_load(&counter->a_packets), bytes = softfwd_load(&counter->a_bytes);
    row->packets = packets - counter->read_packets;
    row->bytes = bytes - counter->read_bytes;
    counter->read_packets = packets;
    counter->read_bytes = bytes;
}

int softfwd_adj_get_stats(ufib_platform_stats *rows, uint32_t count) {
    if (!softfwd_state.open || rows == nullptr) return -1;
    softfwd_counters *counters = &softfwd_state.head->counters;
    counters->calls[SOFTFWD_OP_ADJ_STATS]++;
    if (count > counters->largest_stats) counters->largest_stats = count;
    if (!softfwd_plan_empty() && softfwd_plan_refuses(SOFTFWD_OP_ADJ_STATS, 0)) return -1;
    for (uint32_t i = 0; i < count; i++) stats_read(&rows[i]);
    return 0;
}

/* By the setters, as any library does: the layout is the model's. */
static void rewrite_fill_tunnel(const softfwd_adj &entry, ufib_platform_rewrite *rewrite) {
    switch (entry.tunnel_type) {
    case SOFTFWD_TUNNEL_GRE: ufib_pi_rew_set_tunnel_encap_gre(rewrite); break;
    case SOFTFWD_TUNNEL_6TO4: ufib_pi_rew_set_tunnel_encap_6to4(rewrite); break;
    case SOFTFWD_TUNNEL_ISATAP: ufib_pi_rew_set_tunnel_encap_isatap(rewrite); break;
    case SOFTFWD_TUNNEL_SGRP: ufib_pi_rew_set_tunnel_sgrp(rewrite); break;
    default: return;
    }
    ufib_pi_rew_set_tunnel_df(rewrite, entry.tunnel_df != 0);
    ufib_pi_rew_set_tunnel_tos(rewrite, entry.tunnel_tos);
    ufib_pi_rew_set_tunnel_ttl(rewrite, entry.tunnel_ttl);
    ufib_pi_rew_set_tunnel_v4sa(rewrite, entry.tunnel_source);
    ufib_pi_rew_set_tunnel_v4da(rewrite, entry.tunnel_destination);
}

int softfwd_get_rewrite_info(uint32_t handle, ufib_platform_rewrite *rewrite) {
    const softfwd_adj *entry = softfwd_state.open ? softfwd_adj_of(handle) : nullptr;
    if (entry == nullptr || rewrite == nullptr) return -1;
    *rewrite = {};
    rewrite_fill_tunnel(*entry, rewrite);
    ufib_pi_rew_set_dmac(rewrite, entry->dmac);
    return 0;
}

uint32_t softfwd_get_adj_base_handle(uint32_t handle) {
    return softfwd_state.open ? softfwd_base_handle(handle) : 0;
}

uint32_t softfwd_get_adj_ha_handle(void *adj) {
    const uint32_t handle = ufib_pi_adj_get_handle(adj);
    return softfwd_state.open && softfwd_adj_of(handle) != nullptr ? handle : 0;
}

bool softfwd_is_adj_idx_valid(uint32_t handle) { return softfwd_get_adj_base_handle(handle) != 0; }

bool softfwd_consistency_check_adj(void *adj) {
    if (softfwd_config_get()->consistency_always_good) return true;
    const uint32_t handle = ufib_pi_adj_get_handle(adj);
    const softfwd_adj *entry = softfwd_state.open ? softfwd_adj_of(handle) : nullptr;
    return entry != nullptr && difference_of(*entry, record_of_model(adj, handle, entry->holder)) == 0;
}
