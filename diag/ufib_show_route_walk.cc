/* Walks of route shows: over one trie, one table with the wildcard table, all tables of a family; and the back-end
 * around them. */
#include "diag/ufib_show_route_walk.h"

#include "diag/ufib_show_route.h"
#include "host/command/command.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"

#include <cstdio>
#include <cstring>

static bool stopped(const ufib_route_show *show) { return show->walk.full || show->ended || show->answered; }

ufib_table_side *ufib_show_side(const ufib_route_show *show, ufib_table *table) {
    return (show->walk.params->flags & UFIB_SHOW_RNH) != 0 ? &table->rnh : &table->main;
}

ufib_table *ufib_show_table_search(const ufib_route_show *show, uint32_t table_id) {
    ufib_table *table = ufib_table_search(show->vdc, table_id);
    return table == nullptr || table->type != show->family.table_type ? nullptr : table;
}

/* ---- one trie ---- */

static void list_open(ufib_route_show *show) {
    const bool summary = show->walk.params->mode == UFIB_SHOW_SUMMARY;
    if (!show->listed) cmd_prt_list_begin(show->handle, summary ? "summary" : show->form.list);
    show->listed = true;
}

static void heads_print(ufib_route_show *show) {
    list_open(show);
    if (!show->headed && show->walk.params->detail == 0) show->form.header(show->handle, show->family);
    show->headed = true;
}

void ufib_show_row_begin(ufib_route_show *show, bool heads) {
    list_open(show);
    if (heads) heads_print(show);
    cmd_prt_row_begin(show->handle);
}

void ufib_show_step(ufib_route_show *show, bool shown) {
    if (!show_walk_step(&show->walk, shown)) show->ended = !show->walk.full;
}

/* Looking at a group costs as much as it has paths. */
static uint32_t paths_of(const ufib_pfx *pfx) {
    const ufib_obj *next = pfx->obj.next;
    const ufib_show_next_type *type = next == nullptr ? nullptr : ufib_show_next_of(ufib_obj_type_of(next));
    return type == nullptr ? 1 : type->path_count(next);
}

/* The position moves with every prefix that is looked at, shown or not. */
static void visit(ufib_route_show *show, const ufib_pfx *pfx, ufib_route_filter filter) {
    ufib_show_params *params = show->walk.params;
    std::memcpy(params->at_prefix, ufib_pfx_address(pfx), show->family.addr_bytes);
    params->at_mask_len = pfx->mask_len;
    const bool wanted = (filter == nullptr || filter(show, pfx)) &&
                        (show->form.subject == nullptr || show->form.subject(pfx));
    if (wanted) {
        ufib_show_row_begin(show, true);
        show->form.print(show, pfx);
        cmd_prt_row_end(show->handle);
    }
    const uint32_t paths = paths_of(pfx);
    show->walk.visited += paths > 1 ? paths - 1 : 0;
    ufib_show_step(show, wanted);
}

/* The first prefix that is still to be looked at. */
static bool walk_first(ufib_route_show *show, const ufib_table_side *side, pt_node *node) {
    const ufib_show_params *params = show->walk.params;
    const bool resume = show->resume;
    show->resume = false;
    return resume ? pt_get_next_node(&side->trie, params->at_prefix, params->at_mask_len, node)
                  : pt_get_first_node(&side->trie, node);
}

static void walk(ufib_route_show *show, ufib_table *table, ufib_route_filter filter) {
    const ufib_table_side *side = ufib_show_side(show, table);
    pt_node node;
    if (!show->resume) heads_print(show); /* rows may come with a later piece only */
    bool more = walk_first(show, side, &node);
    while (more) {
        visit(show, static_cast<const ufib_pfx *>(node.record), filter);
        if (stopped(show)) return;
        more = pt_get_next_node(&side->trie, node.key, node.bits, &node);
    }
}

/* ---- one prefix, and what is inside it ---- */

static const ufib_pfx *lookup(const ufib_route_show *show, ufib_table *table, bool exact) {
    const ufib_show_params *params = show->walk.params;
    return static_cast<const ufib_pfx *>(
        pt_lookup(table->attr, &ufib_show_side(show, table)->trie, params->prefix, params->mask_len, exact));
}

/* Among all tables a miss is no news; and a table that a piece ended with is not shown again. */
static void one_print(ufib_route_show *show, ufib_table *table, bool exact) {
    const bool done = show->resume;
    show->resume = false;
    if (done) return;
    const ufib_pfx *pfx = lookup(show, table, exact);
    if (pfx != nullptr && (show->form.subject == nullptr || show->form.subject(pfx))) {
        visit(show, pfx, nullptr);
    } else if ((show->walk.params->flags & UFIB_SHOW_ALL_VRFS) == 0) {
        cmd_prt_send_nok(show->handle, 0, exact ? "no exact match in table %#x" : "no match in table %#x",
                         table->table_id);
        show->answered = true;
    }
}

static bool inside(const ufib_route_show *show, const uint8_t *key, uint32_t bits) {
    const ufib_show_params *params = show->walk.params;
    const uint32_t whole = params->mask_len / 8, rest = params->mask_len % 8;
    if (bits < params->mask_len || std::memcmp(key, params->prefix, whole) != 0) return false;
    const uint32_t mask = 0xff00u >> rest & 0xff;
    return rest == 0 || ((key[whole] ^ params->prefix[whole]) & mask) == 0;
}

/* Everything inside a prefix follows it in the order of the trie. */
void ufib_show_longer_prefixes(ufib_route_show *show, ufib_table *table) {
    const ufib_show_params *params = show->walk.params;
    const ufib_table_side *side = ufib_show_side(show, table);
    uint8_t key[16];
    std::memcpy(key, params->prefix, sizeof key);
    uint32_t bits = params->mask_len;
    if (show->resume) {
        std::memcpy(key, params->at_prefix, sizeof key);
        bits = params->at_mask_len;
    } else if (const ufib_pfx *pfx = lookup(show, table, true); pfx != nullptr) {
        visit(show, pfx, nullptr);
    }
    show->resume = false;
    pt_node node;
    while (!stopped(show) && pt_get_next_node(&side->trie, key, bits, &node) &&
           inside(show, node.key, node.bits)) {
        visit(show, static_cast<const ufib_pfx *>(node.record), nullptr);
        std::memcpy(key, node.key, sizeof key);
        bits = node.bits;
    }
}

/* ---- one table ---- */

void ufib_show_mode(ufib_route_show *show, ufib_table *table, uint32_t mode) {
    if (mode == UFIB_SHOW_SUMMARY)
        ufib_show_route_summary(show, table);
    else if (mode == UFIB_SHOW_EXACT && (show->walk.params->flags & UFIB_SHOW_LONGER) != 0)
        ufib_show_longer_prefixes(show, table);
    else if (mode == UFIB_SHOW_EXACT || mode == UFIB_SHOW_LONGEST)
        one_print(show, table, mode == UFIB_SHOW_EXACT);
    else
        walk(show, table, ufib_show_filter_of(mode));
}

/* Wildcard tables that all VRFs share are shown once, before all tables. */
static bool wildcard_goes_first(const ufib_route_show *show, const ufib_table *table) {
    const ufib_show_params *params = show->walk.params;
    const bool shown_already =
        (params->flags & UFIB_SHOW_ALL_VRFS) != 0 && ufib_platform_optimize_wildcard_table();
    const bool all = params->mode == UFIB_SHOW_ALL || params->mode == UFIB_SHOW_ALL_TOO;
    return all && table->table_id != show->family.wildcard_table && !shown_already;
}

void ufib_show_table(ufib_route_show *show, ufib_table *table) {
    ufib_show_params *params = show->walk.params;
    const bool in_table = show->resume && (params->flags & UFIB_SHOW_IN_WILDCARD) == 0;
    if (wildcard_goes_first(show, table) && !in_table) {
        ufib_table *wildcard = ufib_show_table_search(show, show->family.wildcard_table);
        params->flags |= UFIB_SHOW_IN_WILDCARD;
        if (wildcard != nullptr) ufib_show_mode(show, wildcard, params->mode);
        if (stopped(show)) return;
        show->resume = false;
    }
    params->flags &= ~UFIB_SHOW_IN_WILDCARD;
    ufib_show_mode(show, table, params->mode);
}

/* False: answered. */
static bool show_one_table(ufib_route_show *show) {
    const uint32_t table_id = show->walk.params->asked_table_id;
    ufib_table *table = ufib_show_table_search(show, table_id);
    if (table == nullptr) {
        cmd_rep_send_nok(show->handle, 3, "table does not exist");
        return false;
    }
    if (ufib_table_is_empty(table)) {
        cmd_rep_send_nok(show->handle, 4, "no routes in the table");
        return false;
    }
    ufib_show_table(show, table);
    return !show->answered;
}

/* ---- all tables ---- */

/* Looking at a table is work too, even when it shows nothing. */
static void visit_table(ufib_route_show *show, ufib_table *table) {
    ufib_show_params *params = show->walk.params;
    params->table_id = table->table_id;
    show->headed = show->resume;
    if (!show->headed) {
        char line[40];
        std::snprintf(line, sizeof line, "Table %#x\n", table->table_id);
        cmd_prt_decoration(show->handle, line);
    }
    ufib_show_table(show, table);
    show->resume = false;
    if (stopped(show)) return;
    show->walk.visited++;
    show->walk.full = show->walk.shown >= UFIB_SHOW_PIECE || show->walk.visited >= UFIB_SHOW_VISITED;
    if (show->walk.full) params->flags |= UFIB_SHOW_TABLE_DONE;
}

/* The first table from an id on that the walk shows; null at the end. */
static ufib_table *table_from(const ufib_route_show *show, uint64_t first) {
    const auto table_id = static_cast<uint32_t>(first);
    if (first > UINT32_MAX) return nullptr;
    const ravl_tree *tree = &show->vdc->tables;
    ravl_node *node = ravl_lookup(tree, &table_id);
    if (node == nullptr) node = ravl_next_from_key(tree, &table_id);
    for (; node != nullptr; node = ravl_next(node)) {
        auto *table = ravl_object<ufib_table>(node, offsetof(ufib_table, by_id));
        const bool shared =
            table->table_id == show->family.wildcard_table && ufib_platform_optimize_wildcard_table();
        if (table->type == show->family.table_type && !ufib_table_is_empty(table) && !shared) return table;
    }
    return nullptr;
}

/* A table that is gone by now is as one that is done. */
static void show_tables_from(ufib_route_show *show, uint64_t first) {
    for (ufib_table *table = table_from(show, first); table != nullptr;
         table = table_from(show, uint64_t{table->table_id} + 1)) {
        show->resume = show->resume && table->table_id == first;
        visit_table(show, table);
        if (stopped(show)) return;
    }
}

static void show_all_tables(ufib_route_show *show) {
    ufib_show_params *params = show->walk.params;
    const bool begin = !show->resume;
    const bool done = (params->flags & UFIB_SHOW_TABLE_DONE) != 0;
    const bool shared = ufib_platform_optimize_wildcard_table();
    params->flags &= ~UFIB_SHOW_TABLE_DONE;
    show->resume = show->resume && !done;
    if (shared && (begin || params->table_id == show->family.wildcard_table)) {
        ufib_table *wildcard = ufib_show_table_search(show, show->family.wildcard_table);
        if (wildcard != nullptr && !ufib_table_is_empty(wildcard) && !done) visit_table(show, wildcard);
        if (stopped(show)) return;
        show->resume = false;
        show_tables_from(show, 0);
    } else {
        show_tables_from(show, begin ? 0 : uint64_t{params->table_id} + (done ? 1 : 0));
    }
}

/* ---- answer ---- */

static void answer(ufib_route_show *show) {
    list_open(show);
    cmd_prt_list_end(show->handle);
    if (show->walk.full) {
        ufib_show_send_cookie(show->handle, show->walk.params);
        return;
    }
    if (show->walk.params->mode != UFIB_SHOW_SUMMARY)
        cmd_prt(show->handle, "Prefixes shown: %u\n", cmd_u32(show->walk.params->count, "shown"));
    if (show->form.closing != nullptr) show->form.closing(show);
    cmd_prt_send(show->handle);
}

void ufib_show_routes_run(cmd_handle *handle, uint32_t vdc_id, const ufib_family &family,
                          const ufib_route_form &form) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, &family, form.what, &params)) return;
    const bool resume = (params.flags & UFIB_SHOW_CONTINUING) != 0;
    ufib_route_show show = {handle, family, vdc,   form,   {&params, 0, 0, false},
                            resume, false,  false, resume, false};
    if (params.limit != 0 && !resume)
        cmd_prt(handle, "Displaying upto %s routes as requested by the user\n",
                cmd_u32(params.limit, "limit"));
    if ((params.flags & UFIB_SHOW_ALL_VRFS) != 0)
        show_all_tables(&show);
    else if (!show_one_table(&show))
        return;
    answer(&show);
}
