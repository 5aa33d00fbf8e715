#include "tests/support/model_check.h"

#include "host/containers/slab.h"
#include "platform/platform_library.h"
#include "tests/support/lcfwd_rig.h"
#include "tests/support/model_check_private.h"

#include <bit>
#include <cstring>

constexpr size_t FINDINGS_MAX = 20;
constexpr unsigned HOLDERS = UFIB_ADJ_HELD_AM | UFIB_ADJ_HELD_TUNNEL | UFIB_ADJ_HELD_PBR | UFIB_ADJ_HELD_WCCP;

void model_walk::wrong(const std::string &text) {
    if (findings.size() < FINDINGS_MAX) findings.push_back(text);
}

void model_walk::same(const std::string &what, uint64_t is, uint64_t should) {
    if (is != should) wrong(what + " is " + std::to_string(is) + ", not " + std::to_string(should));
}

static std::string place(const ufib_table *table) {
    return "vdc " + std::to_string(table->vdc_id) + " table " + std::to_string(table->table_id);
}

std::string model_name(const ufib_pfx *pfx) { return place(pfx->table) + " " + ufib_pfx_str(pfx); }

std::string model_name(const ufib_adj *adj) {
    return "vdc " + std::to_string(ufib_adj_vdc_id(adj)) + " adjacency " + ufib_adj_str(adj);
}

std::string model_name(const ufib_ecmp *group) {
    return "vdc " + std::to_string(group->vdc_id) + " group of " + std::to_string(group->key->count) + " @" +
           std::to_string(group->obj.handle);
}

bool model_same_prefix(const uint8_t *a, const uint8_t *b, uint32_t bits) {
    const uint32_t whole = bits / 8, rest = bits % 8;
    return std::memcmp(a, b, whole) == 0 && (rest == 0 || (a[whole] ^ b[whole]) >> (8 - rest) == 0);
}

/* A route is in hardware as long as somebody holds the route itself; an RNH never is. */
static void prefix_check(model_walk *walk, const ufib_pfx *pfx, bool rnh) {
    const std::string name = model_name(pfx);
    if (ufib_prefix_is_rnh(pfx) != rnh) walk->wrong(name + " lies in the wrong trie");
    if (pfx->obj.next == nullptr) walk->wrong(name + " has no next object");
    if (pfx->obj.next != nullptr) {
        walk->expected[pfx->obj.next]++;
        if (!ufib_obj_is_adj(pfx->obj.next) && !ufib_obj_is_vobj(pfx->obj.next) &&
            ufib_obj_type_of(pfx->obj.next) != UFIB_OBJ_ECMP)
            walk->exact = false;
        if (pfx->obj.next->handle == 0) walk->wrong(name + " points at an object that is not in hardware");
    }
    const bool in_hardware = pfx->obj.handle != 0;
    const bool route = !rnh && (pfx->holders & UFIB_HOLDERS_ROUTE) != 0;
    if (route && !in_hardware) walk->wrong(name + " is held and not in hardware");
    if (rnh) model_check_rnh(walk, pfx);
    if (walk->sound && !walk->orphans && !rnh && pfx->holders == 0 && pfx->labels == nullptr)
        walk->wrong(name + " lives and nobody holds it");
    if (pfx->table->obj.handle == 0 && in_hardware) walk->wrong(name + " is in a table that is not");
    walk->prefixes.push_back(pfx);
}

static void side_check(model_walk *walk, ufib_table *table, const ufib_table_side *side, bool rnh) {
    const ufib_family &family = ufib_table_family(table);
    std::vector<uint32_t> lengths(family.max_len + 1);
    uint32_t count = 0;
    int64_t hops = 0;
    pt_node node;
    for (bool more = pt_get_first_node(&side->trie, &node); more;
         more = pt_get_next_node(&side->trie, node.key, node.bits, &node)) {
        const auto *pfx = static_cast<const ufib_pfx *>(node.record);
        if (pfx->table != table || pfx->mask_len != node.bits ||
            !model_same_prefix(ufib_pfx_address(pfx), node.key, node.bits) ||
            ufib_obj_type_of(&pfx->obj) != family.prefix_type) {
            walk->wrong(place(table) + " holds a prefix that is not its own");
            continue;
        }
        prefix_check(walk, pfx, rnh);
        lengths[node.bits]++;
        hops += pfx->nh_count;
        count++;
    }
    const std::string name = place(table) + (rnh ? " RNH" : "");
    walk->same(name + " prefix_count", side->prefix_count, count);
    walk->same(name + " count of the trie", pt_count(&side->trie), count);
    walk->same(name + " next hops", static_cast<uint64_t>(side->nh_count), static_cast<uint64_t>(hops));
    for (uint32_t bits = 0; bits <= family.max_len; bits++)
        walk->same(name + " length " + std::to_string(bits), side->per_length[bits], lengths[bits]);
}

static void tables_check(model_walk *walk, ufib_vdc *vdc) {
    const uint32_t vdc_id = vdc->desc->vdc_id;
    const size_t before = walk->prefixes.size();
    uint32_t count = 0;
    ravl_iterator iterator;
    for (ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator), count++) {
        if (table->vdc_id != vdc_id) walk->wrong(place(table) + " is in the tree of another VDC");
        if (ufib_table_search(vdc, table->table_id) != table) walk->wrong(place(table) + " is not found");
        side_check(walk, table, &table->main, false);
        side_check(walk, table, &table->rnh, true);
        walk->tables.push_back(table);
    }
    const std::string name = "vdc " + std::to_string(vdc_id);
    walk->same(name + " table_count", vdc->table_count, count);
    walk->same(name + " prefix_count", vdc->prefix_count, walk->prefixes.size() - before);
}

static void adj_check(model_walk *walk, const ufib_idb *idb, const ufib_family &family, const ufib_adj *adj) {
    const std::string name = model_name(adj);
    if (adj->idb != idb || adj->key.if_index != idb->if_index ||
        ufib_obj_type_of(&adj->obj) != family.adj_type)
        walk->wrong(name + " hangs on the wrong interface");
    if (adj->obj.handle == 0) walk->wrong(name + " is not in hardware");
    if ((adj->flags & UFIB_ADJ_RESOLVED) != 0 && (adj->flags & UFIB_ADJ_GLEAN) != 0)
        walk->wrong(name + " is resolved and glean");
    walk->expected[&adj->obj] += static_cast<uint32_t>(std::popcount(adj->holders & HOLDERS));
    walk->adjacencies.push_back(adj);
}

static void interfaces_check(model_walk *walk, ufib_vdc *vdc) {
    uint32_t totals[2] = {};
    for (const ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb)) {
        const std::string name = "interface " + std::to_string(idb->if_index);
        if (idb->vdc_id != vdc->desc->vdc_id) walk->wrong(name + " is in the tree of another VDC");
        for (const ufib_family &family : ufib_families) {
            uint32_t count = 0;
            for (const ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;
                 adj = ufib_adj_if_get_next(adj), count++)
                adj_check(walk, idb, family, adj);
            walk->same(name + " " + family.name + " adjacencies", idb->adj_count[family.index], count);
            const bool held = (idb->holders >> (UFIB_IDB_V4_ADJ + family.index) & 1) != 0;
            if (held != (count != 0)) walk->wrong(name + " " + family.name + ": hold bit and tree disagree");
            totals[family.index] += count;
        }
        walk->interfaces++;
    }
    for (const ufib_family &family : ufib_families)
        walk->same("vdc " + std::to_string(vdc->desc->vdc_id) + " " + family.name + " adjacencies",
                   vdc->adj_count[family.index], totals[family.index]);
}

/* Each has a reference of its own, so that it never dies with its last route, but the recirculating one. */
static void globals_check(model_walk *walk, const ufib_vdc *vdc) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++) {
        const ufib_adj *adj = vdc->global_adj[kind];
        if (adj == nullptr) continue;
        if (adj->idb != vdc->dummy_idb) walk->wrong("global " + std::to_string(kind) + " on an interface");
        if (adj->obj.handle == 0) walk->wrong("global " + std::to_string(kind) + " is not in hardware");
        if (kind != UFIB_GLOBAL_RECIRCULATE) walk->expected[&adj->obj]++;
        walk->globals.push_back({vdc->desc->vdc_id, kind, adj});
    }
}

static void references_check(model_walk *walk, const ufib_adj *adj, const std::string &name) {
    const uint32_t expected = walk->expected[&adj->obj];
    const uint32_t is = ufib_obj_refs(&adj->obj);
    if (is < expected || walk->exact) walk->same(name + " references", is, expected);
    if (!walk->orphans && is == 0 && ufib_adj_destroy_ok(adj))
        walk->wrong(name + " lives and nobody wants it");
}

static void group_check(model_walk *walk, ufib_vdc *vdc, const ufib_ecmp *group) {
    const std::string name = model_name(group);
    const ufib_family &group_family = ufib_ecmp_family(group);
    uint32_t linked = 0;
    for (uint32_t path = 0; path < group->key->count; path++) {
        if (group->paths[path] == nullptr) continue;
        linked++;
        walk->expected[group->paths[path]]++;
        if (group->paths[path]->handle == 0) walk->wrong(name + " has a path that is not in hardware");
    }
    walk->same(name + " linked", group->linked, linked);
    walk->same(name + " vdc", group->vdc_id, vdc->desc->vdc_id);
    if (ufib_ecmp_search(vdc, group_family, *group->key, nullptr) != group)
        walk->wrong(name + " is not found by its key, or stands twice");
    if (group->obj.handle == 0) walk->wrong(name + " is not in hardware");
    if (walk->sound && (group->pbr_count != 0) != ((group->holders & UFIB_ECMP_HELD_PBR) != 0))
        walk->wrong(name + ": PBR's hold and count disagree");
    if ((group->holders & UFIB_ECMP_HELD_PBR) != 0) walk->expected[&group->obj]++;
    walk->groups.push_back(group);
}

static void groups_check(model_walk *walk, ufib_vdc *vdc) {
    uint32_t count = 0;
    for (const ufib_ecmp *group = ufib_ecmp_get_first(vdc); group != nullptr;
         group = ufib_ecmp_get_next(vdc, group), count++)
        group_check(walk, vdc, group);
    walk->same("vdc " + std::to_string(vdc->desc->vdc_id) + " groups", vdc->ecmp_count, count);
}

static void group_references_check(model_walk *walk, const ufib_ecmp *group) {
    walk->same(model_name(group) + " references", ufib_obj_refs(&group->obj), walk->expected[&group->obj]);
    if (!walk->orphans && ufib_ecmp_destroy_ok(group))
        walk->wrong(model_name(group) + " lives and nobody wants it");
}

static uint32_t in_use(const char *name) {
    const slab *pool = slab_find(name);
    return pool == nullptr ? 0 : pool->in_use;
}

/* What is out of a slab and was not met in the walk has leaked. */
static void leaks_check(model_walk *walk) {
    uint32_t prefixes[2] = {}, adjs[2] = {};
    for (const ufib_pfx *pfx : walk->prefixes) prefixes[ufib_prefix_family(pfx).index]++;
    for (const ufib_adj *adj : walk->adjacencies) adjs[ufib_adj_family(adj).index]++;
    for (const model_global &global : walk->globals) adjs[ufib_adj_family(global.adj).index]++;
    walk->same("total_prefix_count", total_prefix_count, walk->prefixes.size());
    walk->same("v4 prefixes in memory", in_use("ufib v4prefix"), prefixes[0]);
    walk->same("v6 prefixes in memory", in_use("ufib v6prefix"), prefixes[1]);
    walk->same("v4 adjacencies in memory", in_use("ufib v4adj"), adjs[0]);
    walk->same("v6 adjacencies in memory", in_use("ufib v6adj"), adjs[1]);
    walk->same("tables in memory", in_use("ufib table"), walk->tables.size());
    walk->same("interfaces in memory", in_use("ufib idb allocator"), walk->interfaces);
}

static void handles_check(model_walk *walk) {
    for (const ufib_pfx *pfx : walk->prefixes)
        if (pfx->obj.handle != 0 && !walk->prefix_by_handle.emplace(pfx->obj.handle, pfx).second)
            walk->wrong(model_name(pfx) + " shares its handle");
    const auto add = [&](const ufib_adj *adj) {
        if (adj->obj.handle != 0 && !walk->adj_by_handle.emplace(adj->obj.handle, adj).second)
            walk->wrong(model_name(adj) + " shares its handle");
    };
    for (const ufib_adj *adj : walk->adjacencies) add(adj);
    for (const model_global &global : walk->globals) add(global.adj);
    for (const ufib_ecmp *group : walk->groups)
        if (group->obj.handle != 0 && (!walk->group_by_handle.emplace(group->obj.handle, group).second ||
                                       walk->adj_by_handle.count(group->obj.handle) != 0))
            walk->wrong(model_name(group) + " shares its handle");
    for (const ufib_vobj *vobj : walk->vobjs)
        for (const uint32_t handle : {vobj->old_handle, vobj->new_handle})
            if (handle != 0 && (!walk->vobj_by_handle.emplace(handle, vobj).second ||
                                walk->adj_by_handle.count(handle) + walk->group_by_handle.count(handle) != 0))
                walk->wrong(model_name(vobj) + " shares its handle");
}

std::vector<std::string> model_check(const lcfwd_rig &rig, const model_check_options &options) {
    model_walk walk;
    walk.values = options.values;
    walk.orphans = options.orphans;
    walk.sound = options.sound;
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        ufib_vdc *vdc = ufib_vdc_get(id);
        if (vdc == nullptr) continue;
        tables_check(&walk, vdc);
        interfaces_check(&walk, vdc);
        globals_check(&walk, vdc);
        groups_check(&walk, vdc);
        model_check_vobjs(&walk, vdc);
        walk.vdcs.push_back(id);
    }
    for (const ufib_adj *adj : walk.adjacencies) references_check(&walk, adj, model_name(adj));
    for (const ufib_ecmp *group : walk.groups) group_references_check(&walk, group);
    for (const model_global &global : walk.globals)
        references_check(&walk, global.adj, "global " + std::to_string(global.kind));
    model_check_vobj_references(&walk);
    leaks_check(&walk);
    if (options.sound) handles_check(&walk);
    const platform_library *library = platform_library_get();
    if (options.engine && library != nullptr) model_check_engine(&walk, rig, *library);
    if (options.records) model_check_records(&walk, rig);
    return walk.findings;
}

std::string model_findings(const lcfwd_rig &rig, const model_check_options &options) {
    std::string text;
    for (const std::string &finding : model_check(rig, options)) text += finding + "\n";
    return text;
}
