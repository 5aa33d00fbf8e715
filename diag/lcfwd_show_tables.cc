/* Tables of a VDC with their counts, both families. */
#include "diag/show_walk.h"
#include "diag/ufib_show_route.h"
#include "host/command/command.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"

static constexpr char RULE[] =
    "-----------+--------+------------+------------+------------+------------+-----------\n";
static constexpr char HEADS[] =
    "Table      | Family | Routes     | Paths      | Recursive  | Handle     | State\n";

static const char *state_of(const ufib_table *table) {
    if ((table->flags & UFIB_TABLE_DELETE_PENDING) != 0) return "to be deleted";
    if (table->obj.handle == 0) return "incomplete";
    return ufib_table_is_empty(table) ? "empty" : "in use";
}

static void table_print(cmd_handle *handle, const ufib_table *table) {
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%#-10x   %-6s   %-10u   %-10d   %-10u   %#-10x   %s\n",
            cmd_u32(table->table_id, "table"), cmd_text(ufib_table_family(table).name, "family"),
            cmd_u32(table->main.prefix_count, "routes"), cmd_i64(table->main.nh_count, "paths"),
            cmd_u32(table->rnh.prefix_count, "recursive_next_hops"), cmd_u32(table->obj.handle, "handle"),
            cmd_text(state_of(table), "state"), cmd_bool(ufib_table_is_wildcard(table->table_id), "wildcard"),
            cmd_u32(table->vdc_id, "vdc"));
    cmd_prt_row_end(handle);
}

void lcfwd_show_tables(cmd_handle *handle, uint32_t vdc_id) {
    const ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_TABLES, &params)) return;
    const bool begin = (params.flags & UFIB_SHOW_CONTINUING) == 0;
    if (begin) {
        cmd_prt_decoration(handle, RULE);
        cmd_prt_decoration(handle, HEADS);
        cmd_prt_decoration(handle, RULE);
        params.table_id = 0; /* no table has it */
    }
    show_walk walk = {&params, 0, 0, false};
    cmd_prt_list_begin(handle, "tables");
    ravl_node *node = ravl_next_from_key(&vdc->tables, &params.table_id);
    for (bool more = true; more && node != nullptr; node = ravl_next(node)) {
        const auto *table = ravl_object<ufib_table>(node, offsetof(ufib_table, by_id));
        params.table_id = table->table_id;
        table_print(handle, table);
        more = show_walk_step(&walk, true);
    }
    show_walk_end(handle, &walk);
}
