/* Counts of a table: routes and paths, by mask length, and what came and went in the VDC. */
#include "core/lcfwd_stats.h"
#include "diag/ufib_show_route_walk.h"
#include "host/command/command.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"

static constexpr uint32_t LENGTHS_A_LINE = 4;

static void lengths_print(const ufib_route_show *show, const ufib_table_side *side,
                          const ufib_table_side *more) {
    cmd_prt_decoration(show->handle, "Number of routes per mask-length:\n");
    cmd_prt_list_begin(show->handle, "per_mask_length");
    uint32_t printed = 0;
    for (uint32_t length = 0; length <= show->family.max_len; length++) {
        const uint32_t count = side->per_length[length] + (more == nullptr ? 0 : more->per_length[length]);
        if (count == 0) continue;
        cmd_prt_row_begin(show->handle);
        cmd_prt(show->handle, "/%-3s: %-10s  ", cmd_u32(length, "mask_length"), cmd_u32(count, "routes"));
        cmd_prt_row_end(show->handle);
        if (++printed % LENGTHS_A_LINE == 0) cmd_prt_decoration(show->handle, "\n");
    }
    cmd_prt_list_end(show->handle);
    if (printed % LENGTHS_A_LINE != 0) cmd_prt_decoration(show->handle, "\n");
}

static void totals_print(const ufib_route_show *show, const ufib_table *table, const ufib_table_side *side,
                         const ufib_table_side *more) {
    const ufib_vdc_stats *stats = show->vdc->desc->ufib_stats;
    const ufib_family_stats none = {};
    const ufib_family_stats &counts = stats == nullptr ? none : stats->family[show->family.index];
    const int64_t paths = int64_t{side->nh_count} + (more == nullptr ? 0 : more->nh_count);
    cmd_prt(show->handle,
            "Cumulative route updates: %s\n"
            "Cumulative route inserts: %s\n"
            "Cumulative route deletes: %s\n"
            "Total number of routes: %s\n"
            "Total number of paths : %s\n",
            cmd_u64(uint64_t{counts.route_adds} + counts.route_deletes, "updates"),
            cmd_u32(counts.route_adds, "inserts"), cmd_u32(counts.route_deletes, "deletes"),
            cmd_u32(side->prefix_count + (more == nullptr ? 0 : more->prefix_count), "routes"),
            cmd_i64(paths, "paths"), cmd_u32(table->table_id, "table"));
}

/* The wildcard table's routes are part of every table's view, so they are counted with each. */
void ufib_show_route_summary(ufib_route_show *show, ufib_table *table) {
    const bool done = show->resume; /* a piece ended with this table */
    show->resume = false;
    if (done) return;
    const uint32_t wildcard_id = show->family.wildcard_table;
    ufib_table *wildcard =
        table->table_id == wildcard_id ? nullptr : ufib_show_table_search(show, wildcard_id);
    const ufib_table_side *more = wildcard == nullptr ? nullptr : ufib_show_side(show, wildcard);
    const ufib_table_side *side = ufib_show_side(show, table);
    ufib_show_row_begin(show, false);
    totals_print(show, table, side, more);
    lengths_print(show, side, more);
    cmd_prt_row_end(show->handle);
    ufib_show_step(show, true);
}
