/* The forwarding engine against the model. */
#include "platform/ufib_pi_tunnel.h"
#include "softfwd/softfwd_reader.h"
#include "softfwd/softfwd_rpf_check.h"
#include "tests/support/fake_platform.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check_private.h"

#include <cstring>

/* A tunnel leads out once its manager has told it, for all next hops that it has. */
static bool is_told(const ufib_adj *adj) {
    if (ufib_pi_is_v4_tunnel_update(adj)) return true;
    return adj->kind == UFIB_ADJ_TUNNEL &&
           ufib_pi_is_v4_tunnel_update(ufib_pi_get_tunnel_adj(ufib_adj_vdc_id(adj), adj->key.if_index));
}

static softfwd_action action_wanted(const ufib_adj *adj) {
    if ((adj->flags & UFIB_ADJ_DROP) != 0) return SOFTFWD_DROP;
    if ((adj->flags & UFIB_ADJ_PUNT) != 0) return SOFTFWD_PUNT;
    if ((adj->flags & UFIB_ADJ_GLEAN) != 0) return SOFTFWD_GLEAN;
    if ((adj->flags & (UFIB_ADJ_MCAST_SRC | UFIB_ADJ_RECIRCULATE)) != 0) return SOFTFWD_PUNT;
    const bool leaves = (adj->flags & UFIB_ADJ_RESOLVED) != 0 || is_told(adj);
    return leaves ? SOFTFWD_FORWARD : SOFTFWD_DROP;
}

static void adj_compare(model_walk *walk, const ufib_adj *adj, const softfwd_adj_info &entry) {
    const std::string name = "engine: " + model_name(adj);
    const uint32_t family =
        ufib_adj_family(adj).index == UFIB_STATS_V4 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
    if (entry.family != family || entry.if_index != adj->key.if_index ||
        std::memcmp(entry.next_hop, adj->key.address, sizeof entry.next_hop) != 0)
        walk->wrong(name + " has another key");
    if (adj->retry.owner != nullptr)
        return; /* hardware has refused what the model says, and is asked again */
    walk->same(name + " action", entry.action, action_wanted(adj));
    if ((adj->flags & UFIB_ADJ_RESOLVED) != 0 &&
        std::memcmp(entry.dmac, adj->rewrite.bytes + UFIB_REWRITE_DMAC, sizeof entry.dmac) != 0)
        walk->wrong(name + " has another MAC");
}

static void adjs_compare(model_walk *walk, softfwd_reader *reader) {
    size_t met = 0;
    softfwd_adj_info entry = {};
    while (softfwd_reader_adj_next(reader, &entry) == 0) {
        const auto found = walk->adj_by_handle.find(entry.handle);
        if (found == walk->adj_by_handle.end()) {
            walk->wrong("engine: adjacency " + std::to_string(entry.handle) + " on interface " +
                        std::to_string(entry.if_index) + " is not in the model");
            continue;
        }
        met++;
        adj_compare(walk, found->second, entry);
    }
    walk->same("engine: adjacencies", met, walk->adj_by_handle.size());
}

/* Each instance keeps its size; what fits of the paths of now stands in both. */
static void vobj_compare(model_walk *walk, const softfwd_group_info &entry, size_t *met) {
    const auto found = walk->vobj_by_handle.find(entry.handle);
    if (found == walk->vobj_by_handle.end()) {
        walk->wrong("engine: instance " + std::to_string(entry.handle) + " is not in the model");
        return;
    }
    (*met)++;
    const ufib_vobj *vobj = found->second;
    const std::string name = "engine: " + model_name(vobj) + " instance " + std::to_string(entry.handle);
    const uint32_t size = entry.handle == vobj->new_handle ? vobj->new_ls_count : vobj->old_ls_count;
    walk->same(name + " size", entry.size, size);
    const bool current =
        entry.handle == vobj->new_handle && size == vobj->cnh_count && vobj->retry.owner == nullptr;
    for (uint32_t i = 0; i < entry.count; i++) {
        const uint32_t member = entry.members[i].adj_handle;
        if (walk->adj_by_handle.count(member) == 0)
            walk->wrong(name + " leads to adjacency " + std::to_string(member) +
                        ", which is not in the model");
        if (current && walk->values)
            walk->same(name + " member " + std::to_string(i), member,
                       ufib_obj_get_hardware_handle(vobj->cnhs[i].obj));
    }
}

static void groups_compare(model_walk *walk, softfwd_reader *reader) {
    size_t met = 0, instances = 0;
    softfwd_group_info entry = {};
    while (softfwd_reader_group_next(reader, &entry) == 0) {
        if (entry.origin != SOFTFWD_GROUP_ECMP) {
            vobj_compare(walk, entry, &instances);
            continue;
        }
        const auto found = walk->group_by_handle.find(entry.handle);
        if (found == walk->group_by_handle.end()) {
            walk->wrong("engine: group " + std::to_string(entry.handle) + " is not in the model");
            continue;
        }
        met++;
        const ufib_ecmp *group = found->second;
        if (group->retry.owner != nullptr) continue; /* nothing leads to it */
        const std::string name = "engine: " + model_name(group);
        walk->same(name + " members", entry.count, group->linked);
        for (uint32_t i = 0; i < entry.count && i < group->key->count; i++)
            walk->same(name + " member " + std::to_string(i), entry.members[i].adj_handle,
                       ufib_obj_get_hardware_handle(group->paths[i]));
    }
    walk->same("engine: groups", met, walk->group_by_handle.size());
    walk->same("engine: instances", instances, walk->vobj_by_handle.size());
}

/* While a walk is on, prefixes may still lead to the old instance. */
static void next_compare(model_walk *walk, const ufib_pfx *pfx, uint32_t handle, const std::string &name) {
    const auto *vobj = reinterpret_cast<const ufib_vobj *>(pfx->obj.next);
    const bool to_old =
        ufib_obj_is_vobj(pfx->obj.next) && model_is_moving(vobj) && handle == vobj->old_handle;
    if (!to_old) walk->same(name + " next", handle, ufib_obj_get_hardware_handle(pfx->obj.next));
}

static void prefix_compare(model_walk *walk, const ufib_pfx *pfx, const softfwd_prefix_info &entry) {
    const std::string name = "engine: " + model_name(pfx);
    if (entry.mask_len != pfx->mask_len ||
        !model_same_prefix(entry.address, ufib_pfx_address(pfx), pfx->mask_len))
        walk->wrong(name + " has another address");
    walk->same(name + " table", entry.table_handle, pfx->table->obj.handle);
    if (walk->exact) next_compare(walk, pfx, entry.next_handle, name);
}

static void prefixes_compare(model_walk *walk, softfwd_reader *reader, const softfwd_table_info &table,
                             size_t *met) {
    softfwd_prefix_info entry = {};
    while (softfwd_reader_prefix_next(reader, table.handle, &entry) == 0) {
        const auto found = walk->prefix_by_handle.find(entry.handle);
        if (found == walk->prefix_by_handle.end()) {
            walk->wrong("engine: prefix " + std::to_string(entry.handle) + " of table " +
                        std::to_string(table.table_id) + " is not in the model");
            continue;
        }
        (*met)++;
        prefix_compare(walk, found->second, entry);
    }
}

static void tables_compare(model_walk *walk, softfwd_reader *reader) {
    std::map<uint32_t, const ufib_table *> wanted;
    for (const ufib_table *table : walk->tables)
        if (table->obj.handle != 0) wanted[table->obj.handle] = table;
    size_t tables = 0, prefixes = 0;
    softfwd_table_info entry = {};
    while (softfwd_reader_table_next(reader, &entry) == 0) {
        const auto found = wanted.find(entry.handle);
        if (found == wanted.end() || found->second->table_id != entry.table_id)
            walk->wrong("engine: table " + std::to_string(entry.table_id) + " is not in the model");
        else
            tables++;
        prefixes_compare(walk, reader, entry, &prefixes);
    }
    walk->same("engine: tables", tables, wanted.size());
    walk->same("engine: prefixes", prefixes, walk->prefix_by_handle.size());
}

static void rpf_compare(model_walk *walk, softfwd_reader *reader) {
    for (const uint32_t vdc_id : walk->vdcs)
        for (const ufib_idb *idb = ufib_idb_get_first(ufib_vdc_get(vdc_id)); idb != nullptr;
             idb = ufib_idb_get_next(idb))
            for (const auto family : {ADDRESS_FAMILY_V4, ADDRESS_FAMILY_V6}) {
                constexpr uint8_t source[16] = {};
                softfwd_rpf_result is = {};
                (void)softfwd_rpf_check(reader, family, vdc_id, 1, idb->if_index, source, &is);
                walk->same("engine: reverse-path mode of interface " + std::to_string(idb->if_index), is.mode,
                           idb->rpf_mode[family == ADDRESS_FAMILY_V6]);
            }
}

static void software_engine_check(model_walk *walk, const lcfwd_rig &rig) {
    softfwd_reader *reader = nullptr;
    if (const int status = softfwd_reader_attach(rig.options.slot, false, &reader); status != 0) {
        walk->wrong("engine: cannot attach, " + std::to_string(status));
        return;
    }
    tables_compare(walk, reader);
    adjs_compare(walk, reader);
    groups_compare(walk, reader);
    rpf_compare(walk, reader);
    softfwd_reader_detach(reader);
}

/* Each entry that another one names is there, and a prefix leads where the model says. */
static void fake_leads_check(model_walk *walk, uint32_t handle, const fake_entry &entry) {
    for (const uint32_t member : entry.members)
        if (fake.entries.count(member) == 0)
            walk->wrong("platform: " + entry.kind + " " + std::to_string(handle) + " leads to " +
                        std::to_string(member) + ", which is not there");
    const auto pfx = walk->prefix_by_handle.find(handle);
    if (entry.kind != "prefix" || pfx == walk->prefix_by_handle.end()) return;
    const auto next = static_cast<uint32_t>(std::stoul(entry.content.substr(entry.content.rfind(' '))));
    if (fake.entries.count(next) == 0) walk->wrong("platform: " + entry.content + " leads nowhere");
    if (walk->exact) next_compare(walk, pfx->second, next, "platform: " + model_name(pfx->second));
}

static void fake_check(model_walk *walk) {
    std::map<std::string, size_t> counts;
    for (const auto &[handle, entry] : fake.entries) {
        counts[entry.kind]++;
        fake_leads_check(walk, handle, entry);
        if (entry.kind == "prefix" && walk->prefix_by_handle.count(handle) == 0)
            walk->wrong("platform: prefix " + entry.content + " is not in the model");
        if (entry.kind == "ecmp" && walk->group_by_handle.count(handle) == 0)
            walk->wrong("platform: group " + entry.content + " is not in the model");
        if (entry.kind == "adj" && walk->adj_by_handle.count(handle) == 0)
            walk->wrong("platform: adjacency " + entry.content + " is not in the model");
        if (entry.kind == "vobj" && walk->vobj_by_handle.count(handle) == 0)
            walk->wrong("platform: instance " + entry.content + " is not in the model");
    }
    walk->same("platform: prefixes", counts["prefix"], walk->prefix_by_handle.size());
    walk->same("platform: adjacencies", counts["adj"], walk->adj_by_handle.size());
    walk->same("platform: groups", counts["ecmp"], walk->group_by_handle.size());
    walk->same("platform: instances", counts["vobj"], walk->vobj_by_handle.size());
}

void model_check_engine(model_walk *walk, const lcfwd_rig &rig, const platform_library &library) {
    if (std::strcmp(library.name, "softfwd") == 0) software_engine_check(walk, rig);
    if (std::strcmp(library.name, "fake") == 0) fake_check(walk);
}
