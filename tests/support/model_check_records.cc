/* The stored records against the model. Their bytes are put together here by hand. */
#include "platform/ufib_ha_route.h"
#include "platform/ufib_platform_calls.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check_private.h"

#include <algorithm>
#include <cstring>

using record_map = std::map<std::string, std::string>; /* hex key, hex value */

static void put_machine32(bytes *out, uint32_t value) {
    uint8_t raw[sizeof value];
    std::memcpy(raw, &value, sizeof raw);
    out->insert(out->end(), raw, raw + sizeof raw);
}

static std::string key_of(uint32_t handle) {
    bytes out;
    put_machine32(&out, handle);
    return hex_from_bytes(out);
}

/* IPv4 addresses are stored in the machine's order. */
static void put_address(bytes *out, bool v4, const uint8_t *address) {
    if (v4)
        for (int i = 3; i >= 0; i--) out->push_back(address[i]);
    else
        out->insert(out->end(), address, address + 16);
}

static uint8_t paths_of(const ufib_obj *next) {
    if (ufib_obj_type_of(next) == UFIB_OBJ_ECMP) return reinterpret_cast<const ufib_ecmp *>(next)->linked;
    if (!ufib_obj_is_vobj(next)) return 1;
    return static_cast<uint8_t>(reinterpret_cast<const ufib_vobj *>(next)->cnh_count);
}

static std::string prefix_value(const ufib_pfx *pfx) {
    bytes out = {static_cast<uint8_t>(pfx->route_flags), pfx->holders, pfx->epoch};
    put_machine32(&out, ufib_obj_get_hardware_handle(pfx->obj.next));
    out.push_back(paths_of(pfx->obj.next));
    out.push_back(static_cast<uint8_t>(ufib_obj_type_of(pfx->obj.next)));
    put_bytes(&out, {0, 1, 0, 12, 0, 1, 0, 4});
    put_machine32(&out, pfx->route_flags);
    return hex_from_bytes(out);
}

static std::string rnh_key(const ufib_pfx *pfx) {
    bytes out;
    put_machine32(&out, pfx->table->table_id);
    put_address(&out, ufib_prefix_family(pfx).index == UFIB_STATS_V4, ufib_pfx_address(pfx));
    put_zeros(&out, 20 - out.size());
    out.push_back(pfx->mask_len);
    put_zeros(&out, 3);
    return hex_from_bytes(out);
}

static std::string rnh_value(const ufib_pfx *pfx) {
    const uint32_t next = ufib_obj_get_hardware_handle(pfx->obj.next);
    bytes out = {static_cast<uint8_t>(
                     (ufib_prefix_family(pfx).index == UFIB_STATS_V4 ? UFIB_HA_IPV4 : 0) |
                     ((pfx->flags & UFIB_PFX_FLAG_PENDING) != 0 ? UFIB_HA_RNH_PENDING : 0) |
                     ((pfx->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0 ? UFIB_HA_RNH_DELETE_MARKED : 0)),
                 0, 0, 0};
    put_machine32(&out, next);
    for (uint32_t i = 0; i < 64; i++) put_machine32(&out, i < paths_of(pfx->obj.next) ? next + i : 0);
    return hex_from_bytes(out) + prefix_value(pfx);
}

static std::string vobj_value(const ufib_vobj *vobj) {
    bytes out;
    put_zeros(&out, 8);
    put_machine32(&out, vobj->old_handle);
    put_machine32(&out, vobj->new_handle);
    put_machine32(&out, vobj->fec == nullptr ? 0 : vobj->fec->new_handle);
    put_machine32(&out, vobj->fec == nullptr ? 0 : vobj->fec->old_handle);
    put_bytes(&out, {vobj->old_ls_count, vobj->new_ls_count, static_cast<uint8_t>(vobj->row_count)});
    put8(&out, vobj->extra_flags);
    put_bytes(&out, bytes(vobj->xri, vobj->xri + sizeof vobj->xri));
    put_zeros(&out, 4);
    for (uint32_t i = 0; i < vobj->row_count; i++) {
        const ufib_vobj_row &row = ufib_vobj_rows(vobj)[i];
        const bool v4 = (row.flags & UFIB_VOBJ_ROW_V4) != 0;
        put_address(&out, v4, row.address);
        put_zeros(&out, v4 ? 12 : 0);
        put_machine32(&out, row.label);
        put_machine32(&out, row.table_id);
        out.push_back(static_cast<uint8_t>((row.flags & UFIB_VOBJ_ROW_SEGMENT ? 0x10 : 0) | (v4 ? 0x20 : 0) |
                                           (row.flags & UFIB_VOBJ_ROW_RNH ? 0x40 : 0) |
                                           (row.flags & UFIB_VOBJ_ROW_ACTIVE ? 0x80 : 0)));
        put_bytes(&out, {row.mask_len, 0, 0});
    }
    return hex_from_bytes(out);
}

static std::string adj_value(const ufib_adj *adj) {
    bytes out = {adj->holders};
    put_machine32(&out, adj->key.if_index);
    put_address(&out, ufib_adj_family(adj).index == UFIB_STATS_V4, adj->key.address);
    return hex_from_bytes(out);
}

static std::string counts_value(const ufib_adj *adj) {
    return hex_from_bytes({0, 1, 0, 10, 0, 1, 0, 2, adj->pbr_count, adj->wccp_count});
}

static std::string group_value(const ufib_ecmp *group) {
    const bool v4 = ufib_ecmp_family(group).index == UFIB_STATS_V4;
    bytes out = {group->holders, 0, 0, 0};
    put_machine32(&out, group->key->count);
    for (uint32_t path = 0; path < group->key->count; path++) {
        const ufib_adj_key hop = ufib_ecmp_key_path(ufib_ecmp_family(group), *group->key, path);
        put_machine32(&out, hop.if_index);
        put_address(&out, v4, hop.address);
    }
    put_zeros(&out, (v4 ? 524 : 1292) - out.size());
    return hex_from_bytes(out);
}

static std::string pbr_count_value(const ufib_ecmp *group) {
    return hex_from_bytes({0, 1, 0, 10, 0, 1, 0, 2, static_cast<uint8_t>(group->pbr_count),
                           static_cast<uint8_t>(group->pbr_count >> 8)});
}

/* '?' stands for any digit. */
static bool agrees(const std::string &is, const std::string &should) {
    if (should.empty()) return true;
    return std::equal(is.begin(), is.end(), should.begin(), should.end(),
                      [](char digit, char wanted) { return digit == wanted || wanted == '?'; });
}

static void compare(model_walk *walk, const std::string &file, const record_map &is,
                    const record_map &should) {
    for (const auto &[key, value] : should) {
        const auto found = is.find(key);
        if (found == is.end())
            walk->wrong("store: " + file + " lacks " + key);
        else if (walk->values && !agrees(found->second, value))
            walk->wrong("store: " + file + " " + key + " is " + found->second + ", not " + value);
    }
    for (const auto &[key, value] : is)
        if (should.count(key) == 0)
            walk->wrong("store: " + file + " has " + key + " = " + value + " too many");
}

/* Wanted records by file name; an empty value: whatever it holds. */
struct wanted_records {
    std::map<std::string, record_map> files;

    record_map &file(const char *kind, uint32_t vdc_id) {
        return files[std::string(kind) + "_vdc_" + std::to_string(vdc_id)];
    }
};

static void prefixes_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_pfx *pfx : walk.prefixes) {
        const uint32_t vdc_id = pfx->table->vdc_id;
        if (ufib_prefix_is_rnh(pfx)) wanted->file("prefix_rnh", vdc_id)[rnh_key(pfx)] = rnh_value(pfx);
        if (pfx->obj.handle == 0) continue;
        const ufib_obj *next = pfx->obj.next;
        const bool of_before =
            ufib_obj_is_vobj(next) && model_is_moving(reinterpret_cast<const ufib_vobj *>(next));
        std::string value = of_before ? "" : prefix_value(pfx);
        /* The number of paths is that of the last write; it may be of a time when hardware refused that size. */
        if (ufib_obj_is_vobj(next) && !of_before) value.replace(14, 2, "??");
        wanted->file("prefix", vdc_id)[key_of(pfx->obj.handle)] = value;
        if ((pfx->route_flags & ROUTE_DIRECT) != 0)
            wanted->file("dcsrif", vdc_id)[key_of(pfx->obj.handle)] = key_of(pfx->attached_if_index);
    }
}

static void groups_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_ecmp *group : walk.groups) {
        if (group->obj.handle == 0) continue;
        const bool v4 = ufib_ecmp_family(group).index == UFIB_STATS_V4;
        const std::string key = key_of(group->obj.handle);
        wanted->file(v4 ? "v4ecmp" : "v6ecmp", group->vdc_id)[key] = group_value(group);
        wanted->file(v4 ? "v4ecmp_tlv" : "v6ecmp_tlv", group->vdc_id)[key] = pbr_count_value(group);
    }
}

static void vobjs_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_vobj *vobj : walk.vobjs)
        for (const uint32_t handle : {vobj->old_handle, vobj->new_handle})
            if (handle != 0) wanted->file("vobj", vobj->vdc_id)[key_of(handle)] = vobj_value(vobj);
}

static void adjs_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_adj *adj : walk.adjacencies) {
        if (adj->obj.handle == 0) continue;
        const bool v4 = ufib_adj_family(adj).index == UFIB_STATS_V4;
        const uint32_t vdc_id = ufib_adj_vdc_id(adj);
        const std::string key = key_of(adj->obj.handle);
        wanted->file(v4 ? "v4adj" : "v6adj", vdc_id)[key] = adj_value(adj);
        wanted->file(v4 ? "v4adj_tlv" : "v6adj_tlv", vdc_id)[key] = counts_value(adj);
    }
    for (const model_global &global : walk.globals)
        wanted->file("gladj", global.vdc_id)[hex_from_bytes({static_cast<uint8_t>(global.kind)})] =
            key_of(global.adj->obj.handle);
}

/* What a library keeps of a table is its own. */
static void tables_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_table *table : walk.tables) {
        if (!table->stored) continue;
        bytes out;
        put_machine32(&out, table->type);
        put_bytes(&out, {0, 1, 0, 12, 0, 1, 0, 4});
        put_machine32(&out, table->flags & ~uint32_t{UFIB_TABLE_DELETE_PENDING});
        const bool plain = ufib_platform_sizes.table_pss_space_len == 0;
        wanted->file("ufib_table", table->vdc_id)[key_of(table->table_id)] = plain ? hex_from_bytes(out) : "";
    }
}

static void modes_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const uint32_t vdc_id : walk.vdcs)
        for (const ufib_idb *idb = ufib_idb_get_first(ufib_vdc_get(vdc_id)); idb != nullptr;
             idb = ufib_idb_get_next(idb))
            if (idb->rpf_stored != 0)
                wanted->file("rpf", vdc_id)[key_of(idb->if_index)] =
                    hex_from_bytes({idb->rpf_mode[0], idb->rpf_mode[1]});
}

void model_check_records(model_walk *walk, const lcfwd_rig &rig) {
    wanted_records wanted;
    for (const uint32_t vdc_id : walk->vdcs) {
        for (const char *kind : {"v4adj", "v4adj_tlv", "v6adj", "v6adj_tlv", "gladj", "v4ecmp", "v4ecmp_tlv",
                                 "v6ecmp", "v6ecmp_tlv", "vobj", "rpf", "ufib_table"})
            wanted.file(kind, vdc_id);
        /* Objects of other subsystems put other things into these. */
        if (!walk->exact) continue;
        for (const char *kind : {"prefix", "prefix_rnh", "dcsrif"}) wanted.file(kind, vdc_id);
    }
    adjs_wanted(*walk, &wanted);
    groups_wanted(*walk, &wanted);
    vobjs_wanted(*walk, &wanted);
    tables_wanted(*walk, &wanted);
    modes_wanted(*walk, &wanted);
    if (walk->exact) prefixes_wanted(*walk, &wanted);
    for (const auto &[file, records] : wanted.files) compare(walk, file, rig.records(file), records);
}
