/* ufib/ufib_next_hop.h: the next hops of a route, taken from its record. All reads are bounded by the record's own
 * length, which the batch walk has checked against the message. One thread. */
#pragma once

#include "ufib/ufib_route_wire.h"

#include <cstdint>

struct ufib_family;

constexpr uint32_t UFIB_NH_MAX = 64;          /* next hops of a route */
constexpr uint32_t UFIB_NH_BUFFER = 2039 * 4; /* bytes of the working buffer */
constexpr uint32_t UFIB_NH_LABELS_MAX = 6;    /* slots of a label key; a stack has at most five labels */

/* The next hops of one route, one record after the other, each of its own length. */
struct ufib_nh_list {
    uint32_t count;
    uint32_t used; /* bytes */
    uint8_t bytes[UFIB_NH_BUFFER];
};

/* Copies the next-hop records of a route into '*list', in order. 0, or -1: fewer or longer records than the route
 * says, a record shorter than its fixed part, or more than the buffer holds. */
[[nodiscard]] int ufib_route_get_nh_info(const route_rec *route, ufib_nh_list *list);

/* Walk: null at the end. */
[[nodiscard]] const nh_rec *ufib_nh_first(const ufib_nh_list *list);
[[nodiscard]] const nh_rec *ufib_nh_next(const ufib_nh_list *list, const nh_rec *hop);

/* Value of the extended-flags TLV (0 when there is none); adds what it means to '*route_flags'. */
uint32_t ufib_route_get_extended_flgs(const route_rec *route, uint32_t *route_flags);

/* Two next hops with the same address on the same interface: one path. */
[[nodiscard]] bool ufib_route_is_loopback(const ufib_family &family, const ufib_nh_list *list);
[[nodiscard]] bool ufib_route_has_rnh(const ufib_nh_list *list);
[[nodiscard]] bool ufib_route_has_nve(const ufib_nh_list *list);

struct ufib_nh_labels {
    uint32_t count;
    uint32_t label[UFIB_NH_LABELS_MAX];
};

/* What hangs on a next hop as TLVs. Labels and segment id in host order; the extra route information is borrowed,
 * null when there is none. A TLV that is too short is skipped; a damaged array ends the walk, logged. */
void ufib_nh_get_labels(const nh_rec *hop, ufib_nh_labels *labels);
[[nodiscard]] const nh_xri *ufib_nh_get_xri(const nh_rec *hop);
[[nodiscard]] bool ufib_nh_get_seg_id(const nh_rec *hop, uint32_t *segment_id);

/* Label value 3 is implicit null (RFC 3032 2.1). fixup removes leading ones and returns the code of the stack's size:
 * 1 label 1, 2 labels 4, 3 labels 5, 4 labels 6, 5 labels 7, else 0. */
[[nodiscard]] bool ufib_is_implicit_null_present(uint32_t count, const uint32_t *labels);
uint32_t ufib_fixup_labels_for_implicit_null(uint32_t *count, uint32_t *labels);
