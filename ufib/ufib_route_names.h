/* ufib/ufib_route_names.h: the channel's work on routes by family, as other subsystems name what is done for both. One
 * thread. */
#pragma once

#include "ufib/ufib_channel.h"
#include "ufib/ufib_clear.h"
#include "ufib/ufib_next_hop.h"

[[nodiscard]] inline bool ufib_v4_route_is_loopback(const ufib_nh_list *hops) {
    return ufib_route_is_loopback(ufib_v4, hops);
}
[[nodiscard]] inline bool ufib_v6_route_is_loopback(const ufib_nh_list *hops) {
    return ufib_route_is_loopback(ufib_v6, hops);
}
[[nodiscard]] inline bool ufib_v4_route_has_rnh(const ufib_nh_list *hops) { return ufib_route_has_rnh(hops); }
[[nodiscard]] inline bool ufib_v6_route_has_rnh(const ufib_nh_list *hops) { return ufib_route_has_rnh(hops); }
[[nodiscard]] inline const route_rec *ufib_v4_route_convert(const uint8_t *record, uint32_t route_len,
                                                            uint32_t table_id) {
    return ufib_route_convert(ufib_v4, record, route_len, table_id);
}
[[nodiscard]] inline const route_rec *ufib_v6_route_convert(const uint8_t *record, uint32_t route_len,
                                                            uint32_t table_id) {
    return ufib_route_convert(ufib_v6, record, route_len, table_id);
}
inline void ufib_v4_bulk_route_update(lcfwd_vdc_desc *vdc, const route_update_hdr &hdr, wire_cursor body,
                                      ufib_batch_result *result) {
    ufib_bulk_route_update(ufib_v4, vdc, hdr, body, result);
}
inline void ufib_v6_bulk_route_update(lcfwd_vdc_desc *vdc, const route_update_hdr &hdr, wire_cursor body,
                                      ufib_batch_result *result) {
    ufib_bulk_route_update(ufib_v6, vdc, hdr, body, result);
}
inline void ufib_v4_bulk_v1_route_update(lcfwd_vdc_desc *vdc, const route_update_v1_hdr &hdr,
                                         wire_cursor body, ufib_batch_result *result) {
    ufib_bulk_v1_route_update(ufib_v4, vdc, hdr, body, result);
}
inline void ufib_v6_bulk_v1_route_update(lcfwd_vdc_desc *vdc, const route_update_v1_hdr &hdr,
                                         wire_cursor body, ufib_batch_result *result) {
    ufib_bulk_v1_route_update(ufib_v6, vdc, hdr, body, result);
}
[[nodiscard]] inline int ufib_clear_forwarding_v4_request(ufib_vdc *vdc, const ufib_clear_msg &request) {
    return ufib_clear_forwarding_request(ufib_v4, vdc, request);
}
[[nodiscard]] inline int ufib_clear_forwarding_v6_request(ufib_vdc *vdc, const ufib_clear_msg &request) {
    return ufib_clear_forwarding_request(ufib_v6, vdc, request);
}
