/* core/lcfwd_stats.h: message counters of a VDC. The block is made with the VDC's model; every increment
 * tests the pointer, since messages may come before. Counters are u32 and wrap. */
#pragma once

#include "core/lcfwd_vdc.h"

#include <cstdint>

struct ufib_family_stats { /* one address family */
    uint32_t batches;
    uint32_t batches_succeeded;
    uint32_t batches_failed;
    uint32_t route_adds;
    uint32_t route_deletes;
    uint32_t route_add_failures;
    uint32_t route_delete_failures;
    uint32_t malformed_records; /* walks that ended at a record which cannot be */
    uint32_t consistency_checks;
    uint32_t routes_recovered; /* rebuilt from the store after a restart */
};

constexpr uint32_t UFIB_STATS_V4 = 0;
constexpr uint32_t UFIB_STATS_V6 = 1;

struct ufib_vdc_stats {
    ufib_family_stats family[2];
    uint32_t downloads;
    uint32_t stale_deletes;
    uint32_t adjacency_updates;
    uint32_t rpf_updates;
    uint32_t ipsg_updates;
    uint32_t sgrp_updates;
    uint32_t tunnel_updates;
    uint32_t records_deleted;  /* stored records that nothing could be made of */
    uint32_t entries_repaired; /* hardware entries that a restart found to be other than the store says */
};

struct mfib_vdc_stats {
    uint32_t download_starts;
    uint32_t download_ends;
};

/* One more on a counter: lcfwd_count(vdc->ufib_stats, &ufib_vdc_stats::downloads). */
template <typename block> inline void lcfwd_count(block *stats, uint32_t block::*counter) {
    if (stats != nullptr) (stats->*counter)++;
}

/* The same for a family's counter. */
inline void ufib_count(ufib_vdc_stats *stats, uint32_t family, uint32_t ufib_family_stats::*counter) {
    if (stats != nullptr) (stats->family[family].*counter)++;
}
