/* ufib/ufib_stats_names.h: counters by family, as other subsystems name what ufib/ufib_stats.h does for both. One
 * thread. */
#pragma once

#include "ufib/ufib_stats.h"

inline void ufib_v4adj_stats_add(ufib_adj *adj) { ufib_adj_stats_add(&adj->obj, false); }
[[nodiscard]] inline int ufib_v4adj_stats_get(ufib_vdc *vdc, const ufib_adj_key &key, ufib_adj_totals *out) {
    return ufib_adj_stats_get(vdc, ufib_v4, key, out);
}
[[nodiscard]] inline int ufib_v4adj_stats_get_first(ufib_vdc *vdc, ufib_adj_key *key, ufib_adj_totals *out) {
    return ufib_adj_stats_get_first(vdc, ufib_v4, key, out);
}
[[nodiscard]] inline int ufib_v4adj_stats_get_next(ufib_vdc *vdc, ufib_adj_key *key, ufib_adj_totals *out) {
    return ufib_adj_stats_get_next(vdc, ufib_v4, key, out);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_ifindex_get_next_safe(ufib_vdc *vdc, const ufib_adj_key &key) {
    return ufib_adj_ifindex_get_next_safe(vdc, ufib_v4, key);
}
inline void ufib_v6adj_stats_add(ufib_adj *adj) { ufib_adj_stats_add(&adj->obj, false); }
[[nodiscard]] inline int ufib_v6adj_stats_get(ufib_vdc *vdc, const ufib_adj_key &key, ufib_adj_totals *out) {
    return ufib_adj_stats_get(vdc, ufib_v6, key, out);
}
[[nodiscard]] inline int ufib_v6adj_stats_get_first(ufib_vdc *vdc, ufib_adj_key *key, ufib_adj_totals *out) {
    return ufib_adj_stats_get_first(vdc, ufib_v6, key, out);
}
[[nodiscard]] inline int ufib_v6adj_stats_get_next(ufib_vdc *vdc, ufib_adj_key *key, ufib_adj_totals *out) {
    return ufib_adj_stats_get_next(vdc, ufib_v6, key, out);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_ifindex_get_next_safe(ufib_vdc *vdc, const ufib_adj_key &key) {
    return ufib_adj_ifindex_get_next_safe(vdc, ufib_v6, key);
}
