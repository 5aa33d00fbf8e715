/* platform/ufib_pi_rpf.h: accessors for reverse-path checks, as in ufib_pi.h: through which interfaces the packets of
 * a prefix may come in. 0 is no interface. */
#pragma once

#include <cstdint>

extern "C" {

/* The interface of a prefix that has one: where a direct prefix is attached, else that of its adjacency. */
uint32_t ufib_pi_v4pfx_get_if_for_rpf(const void *pfx);
uint32_t ufib_pi_v6pfx_get_if_for_rpf(const void *pfx);

/* All interfaces of a prefix, one by one, an interface of several next hops several times; the caller keeps the
 * position. 0: the end. */
uint32_t ufib_pi_v4pfx_get_first_rpfif(const void *pfx, uint32_t *position);
uint32_t ufib_pi_v4pfx_get_next_rpfif(const void *pfx, uint32_t *position);
uint32_t ufib_pi_v6pfx_get_first_rpfif(const void *pfx, uint32_t *position);
uint32_t ufib_pi_v6pfx_get_next_rpfif(const void *pfx, uint32_t *position);

/* Interfaces with a check of a family (1 IPv4, 2 IPv6) in a VDC. walk_init: before the first; get_next: 1 with the
 * interface and its mode, or 0 at the end; find: the mode of one interface, 0 when it checks nothing. */
struct ufib_pi_rpf_walk {
    uint32_t vdc_id;
    uint32_t afi;
    uint32_t last; /* interface that was given last */
};
void ufib_pi_rpf_list_walk_init(ufib_pi_rpf_walk *walk, uint32_t vdc_id, uint32_t afi);
int ufib_pi_rpf_list_get_next(ufib_pi_rpf_walk *walk, uint32_t *if_index, uint8_t *mode);
uint8_t ufib_pi_rpf_list_find(uint32_t vdc_id, uint32_t afi, uint32_t if_index);
}
