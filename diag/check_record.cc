/* Records against the model: what the store has that nothing stands for. */
#include "diag/check_object.h"

#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_walk.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_vdc.h"

#include <cstdio>
#include <cstring>

static constexpr char STORE[] = "store";

/* A route's record has nothing but its handle: the engine says which prefix that is. */
static const ufib_obj *route_of(ufib_vdc *vdc, uint32_t handle) {
    ufib_ha_route entry = {};
    ufib_platform_ha_get_route(handle, &entry);
    ufib_table *table = entry.table_id == 0 ? nullptr : ufib_table_search(vdc, entry.table_id);
    if (table == nullptr || entry.mask_len > ufib_table_family(table).max_len) return nullptr;
    const ufib_pfx *pfx = ufib_prefix_search(table, entry.address, entry.mask_len, false);
    return pfx == nullptr ? nullptr : &pfx->obj;
}

static const ufib_obj *adj_of(const ufib_family &family, ufib_vdc *vdc, uint32_t handle) {
    ufib_pss_adj record;
    if (!ufib_pss_get_adj(family, handle, vdc->desc->vdc_id, &record)) return nullptr;
    ufib_adj_key key = {record.if_index, {}};
    std::memcpy(key.address, record.address, sizeof key.address);
    const ufib_adj *adj = ufib_adj_search(vdc, family, key);
    return adj == nullptr ? nullptr : &adj->obj;
}

static const ufib_obj *group_of(const ufib_family &family, ufib_vdc *vdc, uint32_t handle) {
    static ufib_ecmp_key key; /* too large for a stack that handlers share */
    uint8_t holders;
    uint32_t hash;
    if (!ufib_pss_get_ecmp(family, handle, vdc->desc->vdc_id, &key, &holders)) return nullptr;
    const ufib_ecmp *group = ufib_ecmp_search(vdc, family, key, &hash);
    return group == nullptr ? nullptr : &group->obj;
}

static const ufib_obj *object_of(ufib_vdc *vdc, lcfwd_pss_kind kind, uint32_t handle) {
    switch (kind) {
    case LCFWD_PSS_PREFIX: return route_of(vdc, handle);
    case LCFWD_PSS_V4ADJ: return adj_of(ufib_v4, vdc, handle);
    case LCFWD_PSS_V6ADJ: return adj_of(ufib_v6, vdc, handle);
    case LCFWD_PSS_V4ECMP: return group_of(ufib_v4, vdc, handle);
    case LCFWD_PSS_V6ECMP: return group_of(ufib_v6, vdc, handle);
    default: return nullptr;
    }
}

/* IPv4 addresses of records are in the machine's order; the table tells the family. */
static void rnh_record_check(check_report *report, ufib_vdc *vdc, const ufib_rnh_record_key &key) {
    ufib_table *table = ufib_table_search(vdc, key.table_id);
    const ufib_family &family = table == nullptr ? ufib_v4 : ufib_table_family(table);
    uint8_t address[16];
    std::memcpy(address, key.address, sizeof address);
    if (family.index == 0) {
        uint32_t host;
        std::memcpy(&host, key.address, sizeof host);
        const wire_be<uint32_t> word = wire_put(host);
        std::memcpy(address, word.raw, sizeof word.raw);
    }
    check_object_begin(report, "record", ufib_prefix_str(family, address, key.mask_len), key.table_id);
    if (table == nullptr || key.mask_len > family.max_len ||
        ufib_prefix_search(table, address, key.mask_len, true) == nullptr)
        check_wrong(report, STORE, "no such object");
}

void check_record(check_report *report, ufib_vdc *vdc, lcfwd_pss_kind kind, const pss2_datum &key) {
    if (kind == LCFWD_PSS_PREFIX_RNH) {
        ufib_rnh_record_key rnh = {};
        if (key.len == sizeof rnh) std::memcpy(&rnh, key.p, sizeof rnh);
        return rnh_record_check(report, vdc, rnh);
    }
    uint32_t handle = 0;
    if (key.len == sizeof handle) std::memcpy(&handle, key.p, sizeof handle);
    char name[64];
    std::snprintf(name, sizeof name, "%s, handle %#x", lcfwd_get_pss_name(kind), handle);
    check_object_begin(report, "record", name);
    const ufib_obj *object = object_of(vdc, kind, handle);
    if (object == nullptr)
        check_wrong(report, STORE, "no such object", 0, handle);
    else
        check_same(report, STORE, "another handle", object->handle, handle);
}
