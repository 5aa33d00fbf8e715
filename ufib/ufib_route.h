/* ufib/ufib_route.h: one route: from a record to a prefix, a next object and a hardware entry, in an order that lets
 * traffic keep flowing over the old path until the new one stands. One thread; the path of a route does not yield,
 * allocates only what it creates and writes no text. */
#pragma once

#include "platform/ufib_ha_route.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_route_wire.h"

#include <cstdint>

struct lcfwd_vdc_desc;
struct ufib_vdc;
struct ufib_xpi;

/* Adds or updates a route. 0, or ufib_errno: its low half is never 0 on failure. A failure leaves what was before,
 * but a prefix that hardware refuses is gone. 'route' must lie whole in memory, as long as its route_len says.
 * 'record' is the restart record, or null; 'holder' the bits of the client (UFIB_HOLDER_*); 'xpi' its data or null. */
[[nodiscard]] uint32_t ufib_route_add(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id,
                                      const route_rec *route, uint8_t epoch, const ufib_ha_route *record,
                                      uint8_t holder, const ufib_xpi *xpi);

/* Takes the client's hold off a route, and with the last one the route. 0 or ufib_errno (E_DEL_NOPFX,
 * also without a table; E_DEL_PFX_LOCKED while others hold it; the errors of a bad record). */
[[nodiscard]] uint32_t ufib_route_delete(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id,
                                         const route_rec *route, uint8_t holder);

/* Checks a record. All rules run; the last one that fails stands in ufib_errno, which is returned. */
[[nodiscard]] uint32_t ufib_route_errors(const ufib_family &family, const route_rec *route);

inline uint32_t ufib_v4_route_add(ufib_vdc *vdc, uint32_t table_id, const route_rec *route, uint8_t epoch,
                                  const ufib_ha_route *record, uint8_t holder, const ufib_xpi *xpi) {
    return ufib_route_add(ufib_v4, vdc, table_id, route, epoch, record, holder, xpi);
}
inline uint32_t ufib_v6_route_add(ufib_vdc *vdc, uint32_t table_id, const route_rec *route, uint8_t epoch,
                                  const ufib_ha_route *record, uint8_t holder, const ufib_xpi *xpi) {
    return ufib_route_add(ufib_v6, vdc, table_id, route, epoch, record, holder, xpi);
}
inline uint32_t ufib_v4_route_delete(ufib_vdc *vdc, uint32_t table_id, const route_rec *route,
                                     uint8_t holder) {
    return ufib_route_delete(ufib_v4, vdc, table_id, route, holder);
}
inline uint32_t ufib_v6_route_delete(ufib_vdc *vdc, uint32_t table_id, const route_rec *route,
                                     uint8_t holder) {
    return ufib_route_delete(ufib_v6, vdc, table_id, route, holder);
}
inline uint32_t ufib_v4_route_errors(const route_rec *route) { return ufib_route_errors(ufib_v4, route); }
inline uint32_t ufib_v6_route_errors(const route_rec *route) { return ufib_route_errors(ufib_v6, route); }

/* Removes the routes of another epoch: of one table, or (0) of all tables of a family (1 IPv4, 2 IPv6). In any other
 * state of the VDC than 6 it only traces that. */
void ufib_delete_stale_routes(lcfwd_vdc_desc *vdc, uint32_t table_id, uint32_t afi, uint8_t epoch);
