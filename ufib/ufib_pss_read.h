/* ufib/ufib_pss_read.h: reading the unicast records back, checked against their layouts: a record that is shorter than
 * its layout counts as absent. Addresses come in network order. No call moves a walk's position. One thread. */
#pragma once

#include "host/store/store.h"
#include "ufib/ufib_family.h"

#include <cstdint>

/* True when the VDC existed before this process: its first database can be opened. '*out' gets the handle. */
[[nodiscard]] bool ufib_pss_was_vdc_known(uint32_t vdc_id, pss2_service **out);

/* Walk over the keys of "prefix". False: the end, or no such database. */
[[nodiscard]] bool ufib_pss_get_first_prefix(uint32_t vdc_id, pss2_datum *key);
[[nodiscard]] bool ufib_pss_get_next_prefix(uint32_t vdc_id, pss2_datum *key);

struct ufib_pss_adj {
    uint32_t if_index;
    uint8_t holders;
    uint8_t address[16];
};
[[nodiscard]] bool ufib_pss_get_adj(const ufib_family &family, uint32_t handle, uint32_t vdc_id,
                                    ufib_pss_adj *out);
inline bool ufib_pss_get_v4_adj(uint32_t handle, uint32_t vdc_id, ufib_pss_adj *out) {
    return ufib_pss_get_adj(ufib_v4, handle, vdc_id, out);
}
inline bool ufib_pss_get_v6_adj(uint32_t handle, uint32_t vdc_id, ufib_pss_adj *out) {
    return ufib_pss_get_adj(ufib_v6, handle, vdc_id, out);
}

struct ufib_pss_counts {
    uint8_t pbr;
    uint8_t wccp;
};
/* PBR and WCCP counts of an adjacency. False: no record, or no such element in it. */
[[nodiscard]] bool ufib_pss_get_adj_counts(const ufib_family &family, uint32_t handle, uint32_t vdc_id,
                                           ufib_pss_counts *out);

/* Key and holders of a group. False: no record, too short, or a path count outside 1 to 64. */
struct ufib_ecmp_key;
[[nodiscard]] bool ufib_pss_get_ecmp(const ufib_family &family, uint32_t handle, uint32_t vdc_id,
                                     ufib_ecmp_key *key, uint8_t *holders);
[[nodiscard]] inline bool ufib_pss_get_v4_ecmp(uint32_t handle, uint32_t vdc_id, ufib_ecmp_key *key,
                                               uint8_t *holders) {
    return ufib_pss_get_ecmp(ufib_v4, handle, vdc_id, key, holders);
}
[[nodiscard]] inline bool ufib_pss_get_v6_ecmp(uint32_t handle, uint32_t vdc_id, ufib_ecmp_key *key,
                                               uint8_t *holders) {
    return ufib_pss_get_ecmp(ufib_v6, handle, vdc_id, key, holders);
}
/* PBR's count of a group. False: no record. */
[[nodiscard]] bool ufib_pss_get_ecmp_count(const ufib_family &family, uint32_t handle, uint32_t vdc_id,
                                           uint16_t *count);

/* The interface that a direct route is attached to. False: no record. */
[[nodiscard]] bool ufib_pss_get_dcsrif(uint32_t handle, uint32_t vdc_id, uint32_t *if_index);

/* Handles of adjacencies and groups must not collide: looks for an IPv6 adjacency's handle among the IPv4 adjacencies
 * and the groups. 1: it is nowhere else; 0: it was, is deleted there, and said. */
[[nodiscard]] int ufib_pss_v6adj_check_key(uint32_t key, uint32_t vdc_id);

/* Objects that no prefix leads to but a client holds: by handle, with the kind of their database. */
struct ufib_pss_misc {
    uint32_t kind;      /* LCFWD_PSS_V4ADJ, _V6ADJ, _V4ECMP or _V6ECMP */
    uint32_t adj_flags; /* the client's request, 16 bits */
};
void ufib_pss_insert_misc(uint32_t vdc_id, uint32_t handle, const ufib_pss_misc &misc);
void ufib_pss_delete_misc(uint32_t vdc_id, uint32_t handle);
