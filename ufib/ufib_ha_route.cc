/* Rebuilding a route record from what the store says of a prefix's next object. */
#include "core/lcfwd_log.h"
#include "host/interfaces/interfaces.h"
#include "host/tlv/tlv.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha_private.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

/* A route of 64 next hops with labels: far more than a sender's record has room for. */
static constexpr uint32_t ROUTE_ROOM = 8192;
static constexpr uint32_t HOP_ROOM = 128;

static uint8_t route_scratch[ROUTE_ROOM];

/* A route under construction. */
struct ufib_ha_form {
    const ufib_family *family;
    ufib_vdc *vdc;
    ufib_ha_route *record;
    route_rec *route;
    tlv_aligned_array array;
};

static bool form_u32(tlv_aligned_array *array, uint16_t type, uint32_t number) {
    const wire_be<uint32_t> word = wire_put(number);
    return tlv_aligned_array_add_tlv(array, type, sizeof word.raw, word.raw) == TLV_OK;
}

/* The reverse of taking the flags out of a route. */
static bool form_extended_flags(ufib_ha_form *form) {
    uint32_t value = 0;
    if ((form->record->route_flags & 0x100) != 0) value |= 0x4;
    if ((form->record->route_flags & 0x200) != 0) value |= 0x8;
    if ((form->record->route_flags & 0x400) != 0) value |= 0x10;
    return value == 0 || form_u32(&form->array, ROUTE_TLV_EXTENDED_FLAGS, value);
}

static void form_begin(ufib_ha_form *form) {
    const ufib_ha_route &record = *form->record;
    auto *route = reinterpret_cast<route_rec *>(route_scratch);
    *route = {};
    route->opcode = form->family->opcode_add;
    route->flags = static_cast<uint8_t>(record.route_flags);
    route->prefix_len = record.mask_len;
    std::memcpy(route->prefix, record.address, sizeof route->prefix);
    route->table_id = wire_put(record.table_id);
    form->route = route;
    tlv_aligned_array_init(&form->array, route_scratch + sizeof *route, ROUTE_ROOM - sizeof *route, 1);
}

static const route_rec *form_end(const ufib_ha_form &form) {
    const uint32_t len =
        static_cast<uint32_t>(sizeof *form.route) + tlv_aligned_array_size_get(form.array.bytes);
    form.route->route_len = wire_put(static_cast<uint16_t>(len));
    return form.route;
}

bool ufib_ha_form_hop(ufib_ha_form *form, const ufib_ha_hop &hop) {
    uint8_t bytes[HOP_ROOM];
    auto *nh = reinterpret_cast<nh_rec *>(bytes);
    *nh = {};
    nh->if_index = wire_put(hop.if_index);
    if (hop.address != nullptr) std::memcpy(nh->nh_address, hop.address, sizeof nh->nh_address);
    nh->table_id = wire_put(hop.table_id);
    nh->nh_len = hop.mask_len;
    nh->flags = hop.flags;
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, bytes + sizeof *nh, HOP_ROOM - sizeof *nh, 1);
    uint32_t len = sizeof *nh;
    if (hop.label_count > sizeof hop.labels / sizeof hop.labels[0]) return false;
    const uint16_t type = (hop.flags & NH_SEGMENT) != 0 ? NH_TLV_SEGMENT_ID : NH_TLV_LABEL;
    for (uint32_t i = 0; i < hop.label_count; i++)
        if (!form_u32(&array, type, hop.labels[i])) return false;
    if (hop.label_count != 0) len += tlv_aligned_array_size_get(array.bytes);
    if (type == NH_TLV_LABEL) nh->label_count = static_cast<uint8_t>(hop.label_count);
    nh->nexthop_len = wire_put(static_cast<uint16_t>(len));
    form->route->nh_count++;
    return tlv_aligned_array_add_tlv(&form->array, ROUTE_TLV_NEXT_HOP, static_cast<uint16_t>(len), bytes) ==
           TLV_OK;
}

static bool form_plain_hop(ufib_ha_form *form, uint32_t if_index, const uint8_t *address) {
    return ufib_ha_form_hop(form, {.if_index = if_index,
                                   .address = address,
                                   .table_id = form->record->table_id,
                                   .mask_len = static_cast<uint8_t>(form->family->max_len)});
}

/* ---- by next object ---- */

/* The route's flags choose the global adjacency again; the hop only has to be there. */
static bool form_null_hop(ufib_ha_form *form) {
    uint32_t if_index = 0;
    (void)vsh_interface_name_to_ifindex("Null0", &if_index);
    return form_plain_hop(form, if_index, nullptr);
}

/* A recursive next hop has no handle and so no record of its interface. */
static bool form_direct(ufib_ha_form *form) {
    uint32_t if_index = 0;
    if (form->record->prefix_handle != 0)
        (void)!ufib_pss_get_dcsrif(form->record->prefix_handle, form->vdc->desc->vdc_id, &if_index);
    return form_plain_hop(form, if_index, nullptr);
}

/* An adjacency that the store has but hardware has not is made anew; the prefix then moves to its new handle. */
static bool form_adjacency(ufib_ha_form *form) {
    ufib_ha_route *record = form->record;
    const uint32_t known = ufib_platform_get_adj_base_handle(record->next_handle);
    const uint32_t handle = known != 0 ? known : record->next_handle;
    ufib_pss_adj adj;
    if (!ufib_pss_get_adj(*form->family, handle, form->vdc->desc->vdc_id, &adj)) return false;
    record->adj_handles[0] = known;
    record->adj_holders[0] = known != 0 ? adj.holders : uint8_t{0};
    return form_plain_hop(form, adj.if_index, adj.address);
}

void ufib_ha_take_path_handles(const ufib_family &family, const ufib_vdc *vdc, ufib_ha_route *record) {
    std::memset(record->adj_handles, 0, sizeof record->adj_handles);
    (void)ufib_platform_ecmp_get_adj_ha_handles(record);
    for (uint32_t path = 0; path < sizeof record->adj_holders; path++) {
        ufib_pss_adj adj;
        const uint32_t handle = record->adj_handles[path];
        if (handle == 0 || !ufib_pss_get_adj(family, handle, vdc->desc->vdc_id, &adj)) continue;
        record->adj_holders[path] = adj.holders;
    }
}

static bool form_ecmp(ufib_ha_form *form) {
    ufib_ecmp_key key;
    if (!ufib_pss_get_ecmp(*form->family, form->record->next_handle, form->vdc->desc->vdc_id, &key,
                           &form->record->ecmp_holders))
        return false;
    ufib_ha_take_path_handles(*form->family, form->vdc, form->record);
    for (uint32_t path = 0; path < key.count; path++) {
        const ufib_adj_key hop = ufib_ecmp_key_path(*form->family, key, path);
        if (!form_plain_hop(form, hop.if_index, hop.address)) return false;
    }
    return true;
}

static uint8_t vobj_row_flags(const ufib_vobj_record_row &row) {
    uint8_t flags = 0;
    if ((row.flags & UFIB_VOBJ_RECORD_RNH) != 0) flags |= NH_RNH;
    if ((row.flags & UFIB_VOBJ_RECORD_ACTIVE) == 0) flags |= NH_BACKUP;
    if ((row.flags & UFIB_VOBJ_RECORD_SEGMENT) != 0) flags |= NH_SEGMENT;
    return flags;
}

static bool form_vobj_row(ufib_ha_form *form, const ufib_vobj_record_row &row) {
    uint8_t address[16];
    std::memcpy(address, row.address, sizeof address);
    if ((row.flags & UFIB_VOBJ_RECORD_V4) != 0) {
        uint32_t host;
        std::memcpy(&host, row.address, sizeof host);
        const wire_be<uint32_t> word = wire_put(host);
        std::memcpy(address, word.raw, sizeof word.raw);
    }
    ufib_ha_hop hop = {.if_index = 0,
                       .address = address,
                       .table_id = row.table_id,
                       .mask_len = row.mask_len,
                       .flags = vobj_row_flags(row)};
    hop.labels[0] = row.label;
    hop.label_count = row.label != 0 || (hop.flags & NH_SEGMENT) != 0 ? 1 : 0;
    return ufib_ha_form_hop(form, hop);
}

/* A plain hop comes back without its interface: its prefix was replayed from a record of its own. */
static bool form_vobj(ufib_ha_form *form) {
    const ufib_ha_route &record = *form->record;
    ufib_vobj_record stored;
    if (!ufib_pss_get_vobj(form->vdc->desc->vdc_id, record.next_handle, &stored)) {
        UFIB_ERR("no vobj record %#x for %s", record.next_handle,
                 ufib_prefix_str(*form->family, record.address, record.mask_len));
        return false;
    }
    for (uint32_t i = 0; i < stored.row_count; i++)
        if (!form_vobj_row(form, stored.rows[i])) return false;
    return true;
}

static bool form_labelled(ufib_ha_form *form) {
    return ufib_hook.ha_form_labelled != nullptr && ufib_hook.ha_form_labelled(form->vdc, form->record, form);
}

static bool is_any_global(const ufib_vdc *vdc, uint32_t handle) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++) {
        const ufib_adj *adj = ufib_adj_get_global(vdc, kind);
        if (adj != nullptr && adj->obj.handle == handle) return true;
    }
    return false;
}

/* A direct route is known by its own record; what stands at a global adjacency, by its flags. A dropping route that
 * does not stand at one has a tunnel or a group of its own. */
static bool form_hops(ufib_ha_form *form) {
    const ufib_ha_route &record = *form->record;
    const bool global = record.next_handle == 0 || is_any_global(form->vdc, record.next_handle);
    if ((record.route_flags & ROUTE_DROP) != 0 && global) return form_null_hop(form);
    if ((record.route_flags & ROUTE_DIRECT) != 0 && global) return form_direct(form);
    if (global) return record.next_handle != 0 && form_null_hop(form);
    switch (record.next_type) {
    case UFIB_OBJ_ECMP: return form_ecmp(form);
    case UFIB_OBJ_VOBJ: return form_vobj(form);
    case UFIB_OBJ_V4ADJ:
    case UFIB_OBJ_V6ADJ: return form_adjacency(form);
    case UFIB_OBJ_MPLS_ADJ:
    case UFIB_OBJ_MPLS_ECMP:
    case UFIB_OBJ_MPLS_TE:
    case UFIB_OBJ_MPLS_TE_ADJ: return form_labelled(form);
    default: return false;
    }
}

const route_rec *ufib_ha_form_route(const ufib_family &family, ufib_vdc *vdc, ufib_ha_route *record) {
    ufib_ha_form form = {&family, vdc, record, nullptr, {}};
    form_begin(&form);
    if (!form_extended_flags(&form) || !form_hops(&form)) return nullptr;
    return form_end(form);
}

bool ufib_ha_form_xpi(const ufib_ha_route &record, ufib_xpi *out) {
    *out = {};
    std::memcpy(out->mac, record.mac, sizeof out->mac);
    out->flags = record.xpi_flags;
    out->if_index = record.binding_if_index;
    out->tag = record.tag;
    return record.xpi_flags != 0;
}
