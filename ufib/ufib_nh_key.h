/* ufib/ufib_nh_key.h: from a next hop of a route to the key of its adjacency, with what the label side must know. One
 * thread. */
#pragma once

#include "ufib/ufib_adj.h"
#include "ufib/ufib_mpls_info.h"
#include "ufib/ufib_next_hop.h"

struct ufib_nh_key {
    ufib_adj_key key;
    ufib_nh_labels labels;
    ufib_mpls_info mpls; /* points at 'labels': not to be copied */
    bool has_mpls;       /* there are labels, or it is a TE tunnel */
};

/* A next hop over a TE tunnel resolves to the tunnel's own way out; a tunnel that has none yet, to the null interface.
 * '*out' must stay where it is as long as it is used. */
void ufib_adj_nhinfo_to_key(ufib_vdc *vdc, const ufib_family &family, const nh_rec *nh, ufib_nh_key *out);

/* Keeps a copy of a next hop's extra route information with the adjacency, in place of an older one. Without memory
 * (logged) the adjacency has none. */
void ufib_adj_xri_save(ufib_adj *adj, const nh_xri *xri);
[[nodiscard]] const nh_xri *ufib_adj_xri(const ufib_adj *adj); /* null: none */
