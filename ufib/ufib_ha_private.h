/* ufib/ufib_ha_private.h: what the parts of the restart recovery share. For ufib/ufib_ha*.cc only. */
#pragma once

#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_ha.h"
#include "ufib/ufib_pss_read.h"

constexpr uint32_t UFIB_HA_BUDGET = 500; /* records between two heartbeats */
constexpr uint32_t UFIB_HA_NAMED = 8;    /* repaired entries that the log names one by one */

/* A walk over one database: the key is a copy, so that the record may be deleted and others written meanwhile. */
struct ufib_ha_walk {
    pss2_service *service; /* null: not open, nothing to walk */
    lcfwd_pss_kind kind;
    uint32_t left; /* of the budget */
    uint32_t key_len;
    uint8_t key[STORE_KEY_MAX];
};
[[nodiscard]] bool ufib_ha_walk_first(ufib_ha_walk *walk, lcfwd_pss_kind kind, const ufib_vdc *vdc);
[[nodiscard]] bool ufib_ha_walk_next(ufib_ha_walk *walk);

/* Copies the value of the current record; its length, at most 'room'. 0: there is none. */
[[nodiscard]] uint32_t ufib_ha_walk_value(const ufib_ha_walk &walk, void *out, uint32_t room);
[[nodiscard]] uint32_t ufib_ha_walk_handle(const ufib_ha_walk &walk); /* the first four bytes of the key */

/* Whether an error number says that memory was short, which says nothing about the record that met it. */
[[nodiscard]] bool ufib_ha_is_shortage(uint32_t error);

/* Deletes the current record: nothing can be made of it. Said, and counted. */
void ufib_ha_walk_delete(const ufib_ha_walk &walk, const ufib_vdc *vdc);

/* Whether a handle names the record of an IPv6 adjacency: what other record it names is settled with that one. */
[[nodiscard]] bool ufib_ha_is_v6adj_key(const ufib_vdc *vdc, uint32_t handle);

/* Adjacency handles and holders of the paths of a group, as hardware and store know them. */
void ufib_ha_take_path_handles(const ufib_family &family, const ufib_vdc *vdc, ufib_ha_route *record);

/* Makes the group of a record, or finds it made. False: the record is no good. */
[[nodiscard]] bool ufib_ha_recover_ecmp(const ufib_family &family, ufib_vdc *vdc, uint32_t handle,
                                        uint32_t adj_flags);

/* Fills PBR and WCCP counts of an adjacency from its own record. */
struct ufib_adj;
void ufib_ha_adj_counts(ufib_adj *adj, uint32_t vdc_id);
