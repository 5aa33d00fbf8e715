/* ufib/ufib_ecmp_names.h: groups by family, as other subsystems name what ufib/ufib_ecmp.h does for both. One thread. */
#pragma once

#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_pss.h"

[[nodiscard]] inline bool ufib_v4ecmp_compare(const ufib_ecmp *group, const ufib_ecmp_key &key) {
    return ufib_ecmp_compare(group, ufib_v4, key);
}
[[nodiscard]] inline bool ufib_v6ecmp_compare(const ufib_ecmp *group, const ufib_ecmp_key &key) {
    return ufib_ecmp_compare(group, ufib_v6, key);
}
inline void ufib_v4ecmp_ecmp_to_key(const ufib_ecmp *group, ufib_ecmp_key *key) {
    ufib_ecmp_ecmp_to_key(group, key);
}
inline void ufib_v6ecmp_ecmp_to_key(const ufib_ecmp *group, ufib_ecmp_key *key) {
    ufib_ecmp_ecmp_to_key(group, key);
}
[[nodiscard]] inline ufib_ecmp *ufib_v4ecmp_create(ufib_vdc *vdc, ufib_ecmp *existing,
                                                   const ufib_ecmp_key &key, uint32_t hash,
                                                   const ufib_ecmp_request &request) {
    return ufib_ecmp_create(ufib_v4, vdc, existing, key, hash, request);
}
[[nodiscard]] inline ufib_ecmp *ufib_v6ecmp_create(ufib_vdc *vdc, ufib_ecmp *existing,
                                                   const ufib_ecmp_key &key, uint32_t hash,
                                                   const ufib_ecmp_request &request) {
    return ufib_ecmp_create(ufib_v6, vdc, existing, key, hash, request);
}
[[nodiscard]] inline int ufib_v4ecmp_init(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_key &key,
                                          uint32_t hash, uint32_t adj_flags, const ufib_ha_route *record) {
    return ufib_ecmp_fill(vdc, group, key, hash, adj_flags, record);
}
[[nodiscard]] inline int ufib_v6ecmp_init(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_key &key,
                                          uint32_t hash, uint32_t adj_flags, const ufib_ha_route *record) {
    return ufib_ecmp_fill(vdc, group, key, hash, adj_flags, record);
}
[[nodiscard]] inline int ufib_v4ecmp_insert(ufib_vdc *vdc, ufib_ecmp *group) {
    return ufib_ecmp_insert(vdc, group);
}
[[nodiscard]] inline int ufib_v6ecmp_insert(ufib_vdc *vdc, ufib_ecmp *group) {
    return ufib_ecmp_insert(vdc, group);
}
inline void ufib_v4ecmp_delete(ufib_ecmp *group) { ufib_ecmp_delete(group); }
inline void ufib_v6ecmp_delete(ufib_ecmp *group) { ufib_ecmp_delete(group); }
inline void ufib_v4ecmp_destroy(ufib_ecmp *group) { ufib_ecmp_destroy(group); }
inline void ufib_v6ecmp_destroy(ufib_ecmp *group) { ufib_ecmp_destroy(group); }
inline void ufib_pss_delete_v4_ecmp(const ufib_ecmp *group) { ufib_pss_delete_ecmp(group); }
inline void ufib_pss_delete_v6_ecmp(const ufib_ecmp *group) { ufib_pss_delete_ecmp(group); }
