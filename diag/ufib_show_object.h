/* diag/ufib_show_object.h: back-ends that show the objects behind the routes: adjacencies, groups, virtual objects,
 * interface records and VLANs. They come in pieces of at most 100, with a cookie (diag/show_params.h); a limit and
 * detail work everywhere. One list of rows each, whose name and keys docs/commands.md gives. One thread. */
#pragma once

#include <cstdint>

struct cmd_handle;

/* Adjacencies, the VDC's globals first; of one interface, of one next hop, or of both: "no such adjacency", 4. With
 * the statistics attribute their counters instead. */
void ufib_show_adjacency_v4_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_adjacency_v6_be(cmd_handle *handle, uint32_t vdc_id);

/* Packets and bytes of adjacencies, since creation and since they were last cleared. */
void ufib_show_v4_adj_stats(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_adj_stats(cmd_handle *handle, uint32_t vdc_id);

/* Groups of both families with their paths; the one of a handle (or of a member's handle): "no such group", 4. */
void ufib_show_ecmp_be(cmd_handle *handle, uint32_t vdc_id);

/* Virtual objects: instances, rows, computed next hops; the one of an id or a handle: "no such virtual object", 4.
 * Detail: the first prefixes of each. */
void ufib_show_vobj_be(cmd_handle *handle, uint32_t vdc_id);

/* VLANs that have an interface of their own here; one by its number: "no such vlan", 4. */
void ufib_show_forwarding_vlan(cmd_handle *handle, uint32_t vdc_id);
inline void ufib_show_forwarding_vlan_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_forwarding_vlan(handle, vdc_id);
}

/* Interface records; one by its index: "no such interface", 4. */
void lcfwd_show_interfaces(cmd_handle *handle, uint32_t vdc_id);
