/* softfwd/softfwd_table.h: forwarding tables, one a (VDC, table id, family). For softfwd/ only. Handles are indexes;
 * 0 is none. */
#pragma once

#include "softfwd/softfwd_layout.h"

#include <cstdint>

/* Slots. insert: the table's handle, the same one for the same names; with a restart handle 'ha' a table that does not
 * stand is refused. delete also removes the routes that are left in the table. */
[[nodiscard]] uint32_t softfwd_insert_v4_table(uint32_t vdc_id, uint32_t table_id, const void *pd,
                                               uint32_t ha);
[[nodiscard]] uint32_t softfwd_insert_v6_table(uint32_t vdc_id, uint32_t table_id, const void *pd,
                                               uint32_t ha);
void softfwd_delete_v4_table(uint32_t handle);
void softfwd_delete_v6_table(uint32_t handle);

/* At the end of a recovery: tables that nobody inserted again and that no route stands in go. */
void softfwd_tables_sweep();

/* Slots for the bytes that the model stores for the engine with a table: the handle, then a pattern. */
int softfwd_get_table_pss_info(uint32_t handle, void *out);
uint32_t softfwd_get_table_ha_handle(const void *pd);

/* The live table of a handle and a family, or null. */
[[nodiscard]] softfwd_table *softfwd_table_of(uint32_t handle, uint32_t family);
