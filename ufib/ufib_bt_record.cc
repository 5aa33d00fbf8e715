/* The records of the histories: made on the stack, copied once. */
#include "ufib/ufib_bintrace.h"

#include "host/timer/clock.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_vobj.h"

#include <bit>
#include <cstring>
#include <endian.h>

/* As wire_put(), in one instruction: records of prefixes are made on the way of a route. */
static wire_be<uint32_t> put(uint32_t value) { return std::bit_cast<wire_be<uint32_t>>(htobe32(value)); }

static wire_be<uint32_t> now() { return put(host_clock_wall_seconds()); }

/* ---- prefixes and recursive next hops ---- */

static void key_of_prefix(const ufib_pfx *pfx, ufib_bt_pfx_key *key) {
    *key = {};
    key->mask_len = pfx->mask_len;
    key->table_id = put(pfx->table->table_id);
    std::memcpy(key->address, ufib_pfx_address(pfx), ufib_prefix_family(pfx).addr_bytes);
}

/* A tunnel has no entry of its own: what it leads to has. */
static uint32_t next_handle(const ufib_obj *next, uint32_t type) {
    const bool tunnel = type == UFIB_OBJ_MPLS_TE || type == UFIB_OBJ_MPLS_TE_ADJ;
    return ufib_obj_get_hardware_handle(tunnel ? next->next : next);
}

/* The update that made a prefix has asked the clock already. */
static wire_be<uint32_t> time_of_prefix(const ufib_pfx *pfx, uint32_t operation) {
    return operation == UFIB_BT_CREATE && pfx->last_update != 0 ? put(pfx->last_update) : now();
}

static ufib_bt_pfx_head head_of_prefix(const ufib_pfx *pfx, uint32_t operation) {
    const ufib_obj *next = pfx->obj.next;
    const uint32_t type = next == nullptr ? 0 : ufib_obj_type_of(next);
    return {
        .kind = put(ufib_prefix_family(pfx).prefix_type),
        .time = time_of_prefix(pfx, operation),
        .handle = put(pfx->obj.handle),
        .next_handle = put(next == nullptr ? 0 : next_handle(next, type)),
        .next_type = put(type),
        .path_count = put(uint32_t{pfx->nh_count}),
        .operation = put(operation),
    };
}

int ufib_bt_add_prefix(bt_desc *desc, const ufib_pfx *pfx, uint32_t operation) {
    if (pfx == nullptr) return -1;
    if (desc->enabled == 0) return 0;
    ufib_bt_pfx_key key;
    key_of_prefix(pfx, &key);
    const ufib_bt_pfx_record record = {head_of_prefix(pfx, operation), put(1)};
    return bt_add_rec(desc, &key, &record);
}

int ufib_bt_add_rnh(bt_desc *desc, const ufib_pfx *pfx, uint32_t operation) {
    if (pfx == nullptr) return -1;
    if (desc->enabled == 0) return 0;
    ufib_bt_pfx_key key;
    key_of_prefix(pfx, &key);
    const uint32_t dependents = pfx->rnh == nullptr ? 0 : pfx->rnh->dependents.count;
    const ufib_bt_rnh_record record = {head_of_prefix(pfx, operation), wire_put(dependents), pfx->flags,
                                       pfx->holders};
    return bt_add_rec(desc, &key, &record);
}

void ufib_bt_prefix(const ufib_pfx *pfx, uint32_t operation) {
    static constexpr int (*add[2][2])(const ufib_pfx *, uint32_t) = {
        {UFIB_V4_PFX_BT_ADD_REC, UFIB_V4_RNH_BT_ADD_REC}, {UFIB_V6_PFX_BT_ADD_REC, UFIB_V6_RNH_BT_ADD_REC}};
    (void)add[ufib_prefix_family(pfx).index][ufib_prefix_is_rnh(pfx) ? 1 : 0](pfx, operation);
}

/* ---- adjacencies ---- */

int ufib_bt_add_adj(bt_desc *desc, const ufib_adj *adj, uint32_t operation) {
    if (adj == nullptr) return -1;
    if (desc->enabled == 0) return 0;
    const wire_be<uint32_t> key = wire_put(adj->obj.handle);
    ufib_bt_adj_record record = {
        .kind = static_cast<uint8_t>(ufib_obj_type_of(&adj->obj)),
        .time = now(),
        .if_index = wire_put(adj->key.if_index),
        .flags = wire_put(adj->flags),
        .mac = {},
        .operation = static_cast<uint8_t>(operation),
        .holders = adj->holders,
        .pbr_count = adj->pbr_count,
        .wccp_count = adj->wccp_count,
        .address = {},
    };
    if (adj->kind == UFIB_ADJ_PLAIN) /* a tunnel's rewrite is no frame */
        std::memcpy(record.mac, adj->rewrite.bytes + UFIB_REWRITE_DMAC, sizeof record.mac);
    std::memcpy(record.address, adj->key.address, sizeof record.address);
    return bt_add_rec(desc, &key, &record);
}

void ufib_bt_adj(const ufib_adj *adj, uint32_t operation) {
    (void)(ufib_adj_family(adj).index == 0 ? UFIB_V4_ADJ_BT_ADD_REC : UFIB_V6_ADJ_BT_ADD_REC)(adj, operation);
}

/* ---- groups ---- */

static ufib_bt_ecmp_member member_of(const ufib_ecmp *group, uint32_t path) {
    const ufib_adj_key key = ufib_ecmp_key_path(ufib_ecmp_family(group), *group->key, path);
    ufib_bt_ecmp_member member = {
        wire_put(key.if_index), wire_put(ufib_obj_get_hardware_handle(group->paths[path])), {}};
    std::memcpy(member.address, key.address, sizeof member.address);
    return member;
}

int UFIB_ECMP_BT_ADD_REC(const ufib_ecmp *group, uint32_t operation) {
    if (group == nullptr) return -1;
    if (ufib_ecmp_global.enabled == 0) return 0;
    const wire_be<uint32_t> key = wire_put(group->obj.handle);
    ufib_bt_ecmp_record record = {};
    record.kind = wire_put(uint32_t{UFIB_OBJ_ECMP});
    record.time = now();
    record.path_count = wire_put(group->key->count);
    record.operation = wire_put(operation);
    record.afi = group->afi;
    record.holders = group->holders;
    record.vdc_id = wire_put(group->vdc_id);
    for (uint32_t path = 0; path < group->key->count; path++) record.members[path] = member_of(group, path);
    return bt_add_rec(&ufib_ecmp_global, &key, &record);
}

/* ---- virtual objects ---- */

int UFIB_VOBJ_BT_ADD_REC(const ufib_vobj *vobj, uint32_t operation) {
    if (vobj == nullptr) return -1;
    if (ufib_vobj_global.enabled == 0) return 0;
    const wire_be<uint64_t> key = wire_put(vobj->id);
    const ufib_bt_vobj_record record = {
        .kind = wire_put(uint32_t{UFIB_OBJ_VOBJ}),
        .time = now(),
        .operation = wire_put(operation),
        .new_handle = wire_put(vobj->new_handle),
        .old_handle = wire_put(vobj->old_handle),
        .fec_handle = wire_put(vobj->fec == nullptr ? 0 : vobj->fec->obj.handle),
        .row_count = wire_put(vobj->row_count),
        .cnh_count = wire_put(vobj->cnh_count),
        .first_cnh = wire_put(vobj->cnh_count == 0 ? 0 : ufib_obj_get_hardware_handle(vobj->cnhs[0].obj)),
        .prefix_count = wire_put(vobj->prefixes.count),
        .references = wire_put(ufib_obj_refs(&vobj->obj)),
        .flags = wire_put(vobj->flags),
        .vdc_id = wire_put(vobj->vdc_id),
        .new_ls_count = vobj->new_ls_count,
        .old_ls_count = vobj->old_ls_count,
        .host = static_cast<uint8_t>(vobj->host),
    };
    return bt_add_rec(&ufib_vobj_global, &key, &record);
}
