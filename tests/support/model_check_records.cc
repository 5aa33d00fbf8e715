/* The stored records against the model. Their bytes are put together here by hand. */
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check_private.h"

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

static std::string prefix_value(const ufib_pfx *pfx) {
    bytes out = {static_cast<uint8_t>(pfx->route_flags), pfx->holders, pfx->epoch};
    put_machine32(&out, ufib_obj_get_hardware_handle(pfx->obj.next));
    const bool group = ufib_obj_type_of(pfx->obj.next) == UFIB_OBJ_ECMP;
    out.push_back(group ? reinterpret_cast<const ufib_ecmp *>(pfx->obj.next)->linked : uint8_t{1});
    out.push_back(static_cast<uint8_t>(ufib_obj_type_of(pfx->obj.next)));
    put_bytes(&out, {0, 1, 0, 12, 0, 1, 0, 4});
    put_machine32(&out, pfx->route_flags);
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

static void compare(model_walk *walk, const std::string &file, const record_map &is,
                    const record_map &should) {
    for (const auto &[key, value] : should) {
        const auto found = is.find(key);
        if (found == is.end())
            walk->wrong("store: " + file + " lacks " + key);
        else if (walk->values && found->second != value)
            walk->wrong("store: " + file + " " + key + " is " + found->second + ", not " + value);
    }
    for (const auto &[key, value] : is)
        if (should.count(key) == 0)
            walk->wrong("store: " + file + " has " + key + " = " + value + " too many");
}

/* Wanted records by file name. */
struct wanted_records {
    std::map<std::string, record_map> files;

    record_map &file(const char *kind, uint32_t vdc_id) {
        return files[std::string(kind) + "_vdc_" + std::to_string(vdc_id)];
    }
};

static void prefixes_wanted(const model_walk &walk, wanted_records *wanted) {
    for (const ufib_pfx *pfx : walk.prefixes) {
        if (pfx->obj.handle == 0) continue;
        const uint32_t vdc_id = pfx->table->vdc_id;
        wanted->file("prefix", vdc_id)[key_of(pfx->obj.handle)] = prefix_value(pfx);
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

void model_check_records(model_walk *walk, const lcfwd_rig &rig) {
    static constexpr const char *adj_kinds[] = {"v4adj", "v4adj_tlv", "v6adj", "v6adj_tlv", "gladj"};
    wanted_records wanted;
    for (const uint32_t vdc_id : walk->vdcs) {
        for (const char *kind : adj_kinds) wanted.file(kind, vdc_id);
        for (const char *kind : {"v4ecmp", "v4ecmp_tlv", "v6ecmp", "v6ecmp_tlv"}) wanted.file(kind, vdc_id);
        /* Other next objects have records of their own making. */
        if (!walk->no_vobjs) continue;
        for (const char *kind : {"prefix", "dcsrif"}) wanted.file(kind, vdc_id);
    }
    adjs_wanted(*walk, &wanted);
    groups_wanted(*walk, &wanted);
    if (walk->no_vobjs) prefixes_wanted(*walk, &wanted);
    for (const auto &[file, records] : wanted.files) compare(walk, file, rig.records(file), records);
}
