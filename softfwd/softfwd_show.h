/* softfwd/softfwd_show.h: what the engine holds of an object that operators look at in detail. For softfwd/ only. */
#pragma once

struct cmd_handle;

/* Slots: one line, and for programs the object "engine". An entry that should be there and is not is an "ERROR: ..." line.
 * 0. */
int softfwd_show_prefix(cmd_handle *handle, void *pfx); /* either family */
int softfwd_show_adj(cmd_handle *handle, void *adj);    /* either family */
int softfwd_show_group(cmd_handle *handle,
                       void *obj); /* a group, or the current instance of a virtual object */
