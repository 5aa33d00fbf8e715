/* diag/check_consistency.h: the command that compares model, stored records and engine. One thread. */
#pragma once

#include <cstdint>

struct cmd_handle;

/* With a prefix: that route, in the table asked for (the default one), and everything that it leads to; one that is not
 * there: 4 "no such route". Without: all routes, recursive next hops, adjacencies, groups and virtual objects of the
 * VDC, and all their records; with a table its routes alone. Rows tell what does not agree; it changes nothing. */
void lcfwd_check_consistency(cmd_handle *handle, uint32_t vdc_id);
