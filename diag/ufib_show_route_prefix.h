/* diag/ufib_show_route_prefix.h: one row of a route show. Inside diag only. One thread. */
#pragma once

#include "diag/ufib_show_route.h"
#include "diag/ufib_show_route_walk.h"

/* Heads of the columns of the form with a line a path. */
void ufib_show_route_header2(cmd_handle *handle, const ufib_family &family);
inline void ufib_show_route_v4_header2(cmd_handle *handle) { ufib_show_route_header2(handle, ufib_v4); }
inline void ufib_show_route_v6_header2(cmd_handle *handle) { ufib_show_route_header2(handle, ufib_v6); }

/* A prefix: a line a path, or with detail everything that is known, the platform's lines last. What is missing is said
 * in an "ERROR: ..." line, with the key "error". */
void ufib_show_route_prefix(const ufib_route_show *show, const ufib_pfx *pfx);
inline void ufib_show_route_v4prefix(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_prefix(show, pfx);
}
inline void ufib_show_route_v6prefix(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_prefix(show, pfx);
}
/* The platform library's lines; its status. */
int ufib_show_route_prefix_detail_platform(const ufib_route_show *show, const ufib_pfx *pfx);
inline int ufib_show_route_v4prefix_detail_platform(const ufib_route_show *show, const ufib_pfx *pfx) {
    return ufib_show_route_prefix_detail_platform(show, pfx);
}
inline int ufib_show_route_v6prefix_detail_platform(const ufib_route_show *show, const ufib_pfx *pfx) {
    return ufib_show_route_prefix_detail_platform(show, pfx);
}

/* By the type of the next object: its paths; for a virtual object its id and what it recurses through before them. */
void ufib_show_route_ecmp(const ufib_route_show *show, const ufib_pfx *pfx);
void ufib_show_route_adj(const ufib_route_show *show, const ufib_pfx *pfx);
void ufib_show_route_vobj(const ufib_route_show *show, const ufib_pfx *pfx);
inline void ufib_show_route_v4ecmp(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_ecmp(show, pfx);
}
inline void ufib_show_route_v6ecmp(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_ecmp(show, pfx);
}
inline void ufib_show_route_v4adj(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_adj(show, pfx);
}
inline void ufib_show_route_v6adj(const ufib_route_show *show, const ufib_pfx *pfx) {
    ufib_show_route_adj(show, pfx);
}
