#include "diag/ufib_counters.h"

#include <iterator>

using stats = ufib_vdc_stats;

template <uint32_t stats::*counter> static uint32_t &of_vdc(stats &block) { return block.*counter; }
template <uint32_t ufib_family_stats::*counter> static uint32_t &of_v4(stats &block) {
    return block.family[UFIB_STATS_V4].*counter;
}
template <uint32_t ufib_family_stats::*counter> static uint32_t &of_v6(stats &block) {
    return block.family[UFIB_STATS_V6].*counter;
}

using family = ufib_family_stats;

static constexpr ufib_counter_row rows[] = {
    {UFIB_COUNTS_MESSAGES, "No of RPF update msgs", "rpf_updates", of_vdc<&stats::rpf_updates>},
    {UFIB_COUNTS_MESSAGES, "V4 Consistency check msgs", "v4_consistency_checks",
     of_v4<&family::consistency_checks>},
    {UFIB_COUNTS_MESSAGES, "V6 Consistency check msgs", "v6_consistency_checks",
     of_v6<&family::consistency_checks>},
    {UFIB_COUNTS_MESSAGES, "No of IPSG msgs", "ipsg_updates", of_vdc<&stats::ipsg_updates>},
    {UFIB_COUNTS_MESSAGES, "No of SGRP msgs", "sgrp_updates", of_vdc<&stats::sgrp_updates>},
    {UFIB_COUNTS_MESSAGES, "No of Download Done msgs", "downloads", of_vdc<&stats::downloads>},
    {UFIB_COUNTS_MESSAGES, "No of Adjacency update msgs", "adjacency_updates",
     of_vdc<&stats::adjacency_updates>},
    {UFIB_COUNTS_MESSAGES, "No of Tunnel update msgs", "tunnel_updates", of_vdc<&stats::tunnel_updates>},
    {UFIB_COUNTS_MESSAGES, "No of route update msgs processed", "v4_route_updates", of_v4<&family::batches>},
    {UFIB_COUNTS_MESSAGES, "No of v6route update msgs processed", "v6_route_updates",
     of_v6<&family::batches>},
    {UFIB_COUNTS_CUMULATIVE, "V4 routes added or changed", "v4_route_adds", of_v4<&family::route_adds>},
    {UFIB_COUNTS_CUMULATIVE, "V4 routes deleted", "v4_route_deletes", of_v4<&family::route_deletes>},
    {UFIB_COUNTS_CUMULATIVE, "V6 routes added or changed", "v6_route_adds", of_v6<&family::route_adds>},
    {UFIB_COUNTS_CUMULATIVE, "V6 routes deleted", "v6_route_deletes", of_v6<&family::route_deletes>},
    {UFIB_COUNTS_INTERNAL, "V4 route update msgs succeeded", "v4_updates_succeeded",
     of_v4<&family::batches_succeeded>},
    {UFIB_COUNTS_INTERNAL, "V4 route update msgs failed", "v4_updates_failed",
     of_v4<&family::batches_failed>},
    {UFIB_COUNTS_INTERNAL, "V4 route add failures", "v4_add_failures", of_v4<&family::route_add_failures>},
    {UFIB_COUNTS_INTERNAL, "V4 route delete failures", "v4_delete_failures",
     of_v4<&family::route_delete_failures>},
    {UFIB_COUNTS_INTERNAL, "V4 malformed records", "v4_malformed_records", of_v4<&family::malformed_records>},
    {UFIB_COUNTS_INTERNAL, "V4 routes recovered", "v4_routes_recovered", of_v4<&family::routes_recovered>},
    {UFIB_COUNTS_INTERNAL, "V6 route update msgs succeeded", "v6_updates_succeeded",
     of_v6<&family::batches_succeeded>},
    {UFIB_COUNTS_INTERNAL, "V6 route update msgs failed", "v6_updates_failed",
     of_v6<&family::batches_failed>},
    {UFIB_COUNTS_INTERNAL, "V6 route add failures", "v6_add_failures", of_v6<&family::route_add_failures>},
    {UFIB_COUNTS_INTERNAL, "V6 route delete failures", "v6_delete_failures",
     of_v6<&family::route_delete_failures>},
    {UFIB_COUNTS_INTERNAL, "V6 malformed records", "v6_malformed_records", of_v6<&family::malformed_records>},
    {UFIB_COUNTS_INTERNAL, "V6 routes recovered", "v6_routes_recovered", of_v6<&family::routes_recovered>},
    {UFIB_COUNTS_INTERNAL, "Stale delete msgs", "stale_deletes", of_vdc<&stats::stale_deletes>},
    {UFIB_COUNTS_INTERNAL, "Hardware entries repaired", "entries_repaired", of_vdc<&stats::entries_repaired>},
    {UFIB_COUNTS_INTERNAL, "Stored records given up", "records_deleted", of_vdc<&stats::records_deleted>},
};

const ufib_counter_row *ufib_counter_rows(size_t *count) {
    *count = std::size(rows);
    return rows;
}

void ufib_counters_clear(uint32_t vdc_id, ufib_counter_class wanted) {
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc == nullptr || vdc->ufib_stats == nullptr) return;
    for (const ufib_counter_row &row : rows)
        if (row.belongs == wanted) row.of(*vdc->ufib_stats) = 0;
}
