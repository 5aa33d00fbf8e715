/* ufib/ufib_consistency_names.h: consistency checks by family, as other subsystems name what ufib/ufib_consistency.h does
 * for both. One thread. */
#pragma once

#include "ufib/ufib_consistency.h"

[[nodiscard]] inline bool ufib_v4_route_consistency_check(const mts_msg *message, ufib_vdc *vdc,
                                                          ufib_cc_response *response) {
    return ufib_route_consistency_check(ufib_v4, message, vdc, response);
}
[[nodiscard]] inline bool ufib_v6_route_consistency_check(const mts_msg *message, ufib_vdc *vdc,
                                                          ufib_cc_response *response) {
    return ufib_route_consistency_check(ufib_v6, message, vdc, response);
}
inline void ufib_v4_route_consistency_check_be(const mts_msg *message, const route_rec *route,
                                               uint32_t table_id, ufib_vdc *vdc, ufib_cc_response *response) {
    ufib_route_consistency_check_be(ufib_v4, message, route, table_id, vdc, response);
}
inline void ufib_v6_route_consistency_check_be(const mts_msg *message, const route_rec *route,
                                               uint32_t table_id, ufib_vdc *vdc, ufib_cc_response *response) {
    ufib_route_consistency_check_be(ufib_v6, message, route, table_id, vdc, response);
}
inline void ufib_v4_consistency_check_nh_and_interfaces(ufib_vdc *vdc, const ufib_pfx *pfx,
                                                        const ufib_nh_list *hops, uint32_t count,
                                                        uint32_t route_flags, uint8_t *flags) {
    ufib_consistency_check_nh_and_interfaces(vdc, pfx, hops, count, route_flags, flags);
}
inline void ufib_v6_consistency_check_nh_and_interfaces(ufib_vdc *vdc, const ufib_pfx *pfx,
                                                        const ufib_nh_list *hops, uint32_t count,
                                                        uint32_t route_flags, uint8_t *flags) {
    ufib_consistency_check_nh_and_interfaces(vdc, pfx, hops, count, route_flags, flags);
}
inline void ufib_send_v4_cc_response(const mts_msg *message, ufib_cc_response *response) {
    ufib_cc_send(message, response, 0);
}
inline void ufib_send_v6_cc_response(const mts_msg *message, ufib_cc_response *response) {
    ufib_cc_send(message, response, 0);
}
inline void ufib_v4_clear_cc_state(ufib_vdc *vdc) { ufib_clear_cc_state(vdc, ufib_v4); }
inline void ufib_v6_clear_cc_state(ufib_vdc *vdc) { ufib_clear_cc_state(vdc, ufib_v6); }

inline void ufib_v4_adj_consistency_check(ufib_vdc *vdc, const ufib_am_entry &entry, const mts_msg *message) {
    ufib_adj_consistency_check(vdc, ufib_v4, entry, message);
}
inline void ufib_v6_adj_consistency_check(ufib_vdc *vdc, const ufib_am_entry &entry, const mts_msg *message) {
    ufib_adj_consistency_check(vdc, ufib_v6, entry, message);
}
inline void ufib_consistency_adj_walk(ufib_vdc *vdc, const mts_msg *message) {
    ufib_adj_consistency_walk(vdc, ufib_v4, message);
}
inline void ufib_v6_consistency_adj_walk(ufib_vdc *vdc, const mts_msg *message) {
    ufib_adj_consistency_walk(vdc, ufib_v6, message);
}
