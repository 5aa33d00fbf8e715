/* The platform wrappers that work on model objects: they keep the handle that comes back, journal and trace it. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "host/system/system.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vobj.h"

void ufib_platform_insert_table(ufib_table *table, uint32_t ha) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const void *platform_data = ufib_table_platform_space(table);
    const uint32_t old = table->obj.handle;
    if (table->type == UFIB_TABLE_TYPE_V4)
        table->obj.handle =
            ufib_platform_table.insert_v4_table(table->vdc_id, table->table_id, platform_data, ha);
    else if (table->type == UFIB_TABLE_TYPE_V6)
        table->obj.handle =
            ufib_platform_table.insert_v6_table(table->vdc_id, table->table_id, platform_data, ha);
    else
        table->obj.handle = 0;
    ufib_funcstats_end(UFIB_FS_PLATFORM_TABLE, &stamp);
    if (table->obj.handle == old) return;
    ufib_journal_log(UFIB_JOURNAL_HW_NEW, &table->obj, nullptr);
    UFIB_BL(1, UFIB_TR_TABLE_INSTALLED, table->table_id, table->obj.handle);
}

void ufib_platform_delete_table(ufib_table *table) {
    if (table->obj.handle == 0) return;
    if (table->type == UFIB_TABLE_TYPE_V4)
        ufib_platform_table.delete_v4_table(table->obj.handle);
    else
        ufib_platform_table.delete_v6_table(table->obj.handle);
    table->obj.handle = 0;
    ufib_journal_log(UFIB_JOURNAL_HW_DELETED, &table->obj, nullptr);
}

static void trace_prefix_installed(const ufib_pfx *pfx) {
    if (ufib_disable_tracing) return;
    const uint8_t *address = ufib_pfx_address(pfx);
    if (ufib_prefix_family(pfx).index == UFIB_STATS_V4)
        UFIB_BL(1, UFIB_TR_V4_PREFIX_INSTALLED, bl_ipv4(ufib_v4_addr(address), pfx->mask_len),
                pfx->obj.handle);
    else
        UFIB_BL(1, UFIB_TR_V6_PREFIX_INSTALLED, bl_ipv6(address, pfx->mask_len), pfx->obj.handle);
}

void ufib_platform_insert_prefix(ufib_pfx *pfx, uint32_t ha) {
    if (ufib_prefix_is_rnh(pfx)) return;
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const bool v4 = ufib_prefix_family(pfx).index == UFIB_STATS_V4;
    const auto insert = v4 ? ufib_platform_table.insert_v4_prefix : ufib_platform_table.insert_v6_prefix;
    const uint32_t old = pfx->obj.handle;
    pfx->obj.handle = insert(pfx->table->obj.handle, pfx, ha, old != 0);
    if (ufib_obj_is_vobj(pfx->obj.next)) ufib_vobj_installed(ufib_obj_to_vobj(pfx->obj.next));
    if (pfx->obj.handle != old) {
        ufib_journal_log(UFIB_JOURNAL_HW_NEW, &pfx->obj, nullptr);
        trace_prefix_installed(pfx);
    } else {
        ufib_journal_log(UFIB_JOURNAL_HW_REWRITE, &pfx->obj, nullptr);
    }
    if (ufib_enable_rc_debugs) UFIB_TRACE("Inserted %s prefix in hw\n", v4 ? "v4" : "v6");
    ufib_funcstats_end(UFIB_FS_PLATFORM_PREFIX, &stamp);
}

bool ufib_platform_delete_prefix(ufib_pfx *pfx) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const bool v4 = ufib_prefix_family(pfx).index == UFIB_STATS_V4;
    const auto slot = v4 ? ufib_platform_table.delete_v4_prefix : ufib_platform_table.delete_v6_prefix;
    const bool removed = slot(pfx->table->obj.handle, pfx) >= 0;
    ufib_funcstats_end(UFIB_FS_PLATFORM_PREFIX_DELETE, &stamp);
    if (!removed) return false;
    pfx->obj.handle = 0;
    ufib_journal_log(UFIB_JOURNAL_HW_DELETED, &pfx->obj, nullptr);
    if (ufib_enable_rc_debugs) UFIB_TRACE("Deleted %s prefix from hw\n", v4 ? "v4" : "v6");
    return true;
}

int ufib_platform_prefix_update_nh(ufib_pfx *pfx) {
    const bool v4 = ufib_prefix_family(pfx).index == UFIB_STATS_V4;
    return (v4 ? ufib_platform_table.update_v4prefix_nh : ufib_platform_table.update_v6prefix_nh)(pfx);
}

/* Groups may hold a copy of the rewrite: they follow each rewrite of an adjacency that stands in hardware. */
bool ufib_platform_insert_adj(ufib_adj *adj, uint32_t ha, uint32_t holder) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const uint32_t old = adj->obj.handle;
    const uint32_t handle = ufib_platform_table.insert_adj(adj, ha, holder);
    ufib_funcstats_end(UFIB_FS_PLATFORM_ADJ, &stamp);
    if (handle == 0 && old != 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
        UFIB_ERR("rewrite of %sadj %s refused", ufib_adj_family(adj).name, ufib_adj_str(adj));
        return false;
    }
    adj->obj.handle = handle;
    ufib_retry_adj_written(adj);
    if (adj->obj.handle != old)
        ufib_journal_log(UFIB_JOURNAL_HW_NEW, &adj->obj, nullptr);
    else
        ufib_journal_log(UFIB_JOURNAL_HW_REWRITE, &adj->obj, nullptr);
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Inserted %s adj in hw %s @%08x", ufib_adj_family(adj).name, ufib_adj_str(adj),
                   adj->obj.handle);
    if (handle != 0) ufib_bt_adj(adj, old == 0 ? UFIB_BT_CREATE : UFIB_BT_UPDATE);
    if (old != 0 && adj->dep_vobjs.head != nullptr)
        ufib_adj_update_dep_vobjs(&adj->dep_vobjs, &adj->dep_vobjs_cursor, 0);
    return handle != 0;
}

bool ufib_platform_delete_adj(ufib_adj *adj) {
    ufib_bt_adj(adj, UFIB_BT_DESTROY);
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const bool removed = ufib_platform_table.delete_adj(adj) >= 0;
    ufib_funcstats_end(UFIB_FS_PLATFORM_ADJ_DELETE, &stamp);
    if (!removed) return false;
    adj->obj.handle = 0;
    ufib_journal_log(UFIB_JOURNAL_HW_DELETED, &adj->obj, nullptr);
    return true;
}

bool ufib_platform_insert_ecmp(ufib_ecmp *group, uint32_t ha, uint32_t holder) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const uint32_t old = group->obj.handle;
    const uint32_t handle = ufib_platform_table.insert_ecmp(group, ha, holder);
    ufib_funcstats_end(UFIB_FS_PLATFORM_ECMP, &stamp);
    if (handle == 0) return false;
    group->obj.handle = handle;
    ufib_journal_log(group->obj.handle != old ? UFIB_JOURNAL_HW_NEW : UFIB_JOURNAL_HW_REWRITE, &group->obj,
                     nullptr);
    (void)UFIB_ECMP_BT_ADD_REC(group, old == 0 ? UFIB_BT_CREATE : UFIB_BT_UPDATE);
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("Inserted %s ecmp in hw paths %d @%08x", ufib_ecmp_family(group).name, group->linked,
                   group->obj.handle);
    return true;
}

bool ufib_platform_delete_ecmp(ufib_ecmp *group) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const bool removed = ufib_platform_table.delete_ecmp(group) >= 0;
    ufib_funcstats_end(UFIB_FS_PLATFORM_ECMP_DELETE, &stamp);
    if (!removed) return false;
    group->obj.handle = 0;
    ufib_journal_log(UFIB_JOURNAL_HW_DELETED, &group->obj, nullptr);
    return true;
}
