/* diag/ufib_show_route_walk.h: one show of prefixes: which tables, which prefixes of them, in pieces. What a row looks
 * like is the form's. Inside diag only. One thread. */
#pragma once

#include "diag/show_params.h"
#include "diag/show_walk.h"

#include <cstdint>

struct cmd_handle;
struct ufib_adj;
struct ufib_pfx;
struct ufib_route_show;
struct ufib_table;
struct ufib_table_side;
struct ufib_vdc;

/* A show that walks prefixes. */
struct ufib_route_form {
    ufib_show_what what;
    const char *list;                                                /* name of its rows */
    void (*header)(cmd_handle *handle, const ufib_family &family);   /* heads of columns */
    void (*print)(const ufib_route_show *show, const ufib_pfx *pfx); /* one row */
    bool (*subject)(const ufib_pfx *pfx);                            /* null: all prefixes are */
    void (*closing)(const ufib_route_show *show); /* at the end of all; null: nothing more */
};

struct ufib_route_show {
    cmd_handle *handle;
    const ufib_family &family;
    ufib_vdc *vdc;
    const ufib_route_form &form;
    show_walk walk; /* 'full': an early stop, the rest comes with the cookie */
    bool resume;    /* the walk has yet to go to the position in the parameters */
    bool ended;     /* the limit is reached */
    bool listed;    /* the list is open */
    bool headed;    /* the table has its heads */
    bool answered;
};

/* The back-end: parameters, tables, answer. */
void ufib_show_routes_run(cmd_handle *handle, uint32_t vdc_id, const ufib_family &family,
                          const ufib_route_form &form);

/* The routes of one table that the mode asks for; for all routes those of the wildcard table first, since they are
 * part of every table's view. */
void ufib_show_table(ufib_route_show *show, ufib_table *table);
inline void ufib_show_v4(ufib_route_show *show, ufib_table *table) { ufib_show_table(show, table); }
inline void ufib_show_v6(ufib_route_show *show, ufib_table *table) { ufib_show_table(show, table); }

/* Begins a row: in the list, which is opened with the first one, below the heads of its columns when there are any. */
void ufib_show_row_begin(ufib_route_show *show, bool heads);
/* After each object that was looked at. */
void ufib_show_step(ufib_route_show *show, bool shown);

/* The trie that was asked for. */
[[nodiscard]] ufib_table_side *ufib_show_side(const ufib_route_show *show, ufib_table *table);

/* A table of the show's family; null: none, or of the other family. */
[[nodiscard]] ufib_table *ufib_show_table_search(const ufib_route_show *show, uint32_t table_id);

/* Which prefixes a mode wants; null: all of them. */
using ufib_route_filter = bool (*)(const ufib_route_show *show, const ufib_pfx *pfx);
[[nodiscard]] ufib_route_filter ufib_show_filter_of(uint32_t mode);

/* Whether an adjacency is one of a VDC's globals: it stands for no next hop. */
[[nodiscard]] bool ufib_show_adj_is_global(const ufib_adj *adj);

/* What one mode shows of one table: counts, one prefix (or all inside it), or a walk with the mode's filter from the
 * position, or from the first prefix on. */
void ufib_show_mode(ufib_route_show *show, ufib_table *table, uint32_t mode);
void ufib_show_longer_prefixes(ufib_route_show *show, ufib_table *table);
void ufib_show_route_summary(ufib_route_show *show,
                             ufib_table *table); /* the wildcard table's counts added */

/* The modes by name and family. */
inline void ufib_show_v4_routes(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ALL);
}
inline void ufib_show_v4_route_exact(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_EXACT);
}
inline void ufib_show_v4_route_longest(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_LONGEST);
}
inline void ufib_show_v4_routes_intf(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_INTF);
}
inline void ufib_show_v4_routes_nh(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_NH);
}
inline void ufib_show_v4_routes_attached(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ATTACHED);
}
inline void ufib_show_v4_routes_unresolved(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_UNRESOLVED);
}
inline void ufib_show_v4_routes_adj(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ON_ADJ);
}
inline void ufib_show_v4_routes_adj_drop(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_DROP);
}
inline void ufib_show_v4_routes_adj_glean(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_GLEAN);
}
inline void ufib_show_v4_routes_adj_punt(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_PUNT);
}
inline void ufib_show_v4_longer_prefixes(ufib_route_show *show, ufib_table *table) {
    ufib_show_longer_prefixes(show, table);
}
inline void ufib_show_v4_route_summary(ufib_route_show *show, ufib_table *table) {
    ufib_show_route_summary(show, table);
}
inline void ufib_show_v6_routes(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ALL);
}
inline void ufib_show_v6_route_exact(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_EXACT);
}
inline void ufib_show_v6_route_longest(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_LONGEST);
}
inline void ufib_show_v6_routes_intf(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_INTF);
}
inline void ufib_show_v6_routes_nh(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_NH);
}
inline void ufib_show_v6_routes_attached(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ATTACHED);
}
inline void ufib_show_v6_routes_unresolved(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_UNRESOLVED);
}
inline void ufib_show_v6_routes_adj(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ON_ADJ);
}
inline void ufib_show_v6_routes_adj_drop(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_DROP);
}
inline void ufib_show_v6_routes_adj_glean(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_GLEAN);
}
inline void ufib_show_v6_routes_adj_punt(ufib_route_show *show, ufib_table *table) {
    ufib_show_mode(show, table, UFIB_SHOW_ADJ_PUNT);
}
inline void ufib_show_v6_longer_prefixes(ufib_route_show *show, ufib_table *table) {
    ufib_show_longer_prefixes(show, table);
}
inline void ufib_show_v6_route_summary(ufib_route_show *show, ufib_table *table) {
    ufib_show_route_summary(show, table);
}
