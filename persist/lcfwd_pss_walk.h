/* persist/lcfwd_pss_walk.h: reading the store back, in key order. A returned key or value is valid until
 * the next call on the same database: copy it before anything is stored or deleted. The position survives
 * both. */
#pragma once

#include "persist/lcfwd_pss.h"

#include <cstdint>

/* The first, or the next, key. True with '*key' filled; false at the end. */
[[nodiscard]] bool lcfwd_pss_get_first_key(pss2_service *service, pss2_datum *key);
[[nodiscard]] bool lcfwd_pss_get_next_key(pss2_service *service, pss2_datum *key);

/* Whether the last false of the two above, which is logged then, was not the end: there may be more keys, but no memory
 * to walk over them. */
[[nodiscard]] bool lcfwd_pss_walk_failed();

/* Makes 'key' the position and gives it back as stored. False, with a log line, when there is no such key. */
[[nodiscard]] bool lcfwd_pss_get_key(pss2_service *service, const pss2_datum &key, pss2_datum *found);

/* The value at the position. */
[[nodiscard]] bool lcfwd_pss_get_value(pss2_service *service, pss2_datum *value);

/* The value of a key, wherever the position is (and it stays). False when absent. */
[[nodiscard]] bool lcfwd_pss_fetch(pss2_service *service, const pss2_datum &key, pss2_datum *value);

/* Records of the adjacency kinds (v4adj, v6adj) over all active VDCs. */
[[nodiscard]] uint32_t lcfwd_get_adj_pss_num_keys();

/* Calls 'visit' for each of their keys (a copy); it may delete the record that it is given. The number
 * visited. */
using lcfwd_pss_key_visit = void (*)(uint32_t kind, uint32_t vdc_id, const pss2_datum &key, void *ctx);
uint32_t lcfwd_iterate_adj_pss_keys(lcfwd_pss_key_visit visit, void *ctx);
