/* ufib/ufib_mac.h: source MACs of adjacencies: an interface's own router MAC (static, or from the system's database),
 * else the VDC's. A change rewrites every adjacency that it concerns in hardware, under its handle; the caller ends
 * with ufib_platform_all_writes_ready(). One thread. */
#pragma once

#include <cstdint>

struct ufib_vdc;

/* The VDC has another router MAC: kept (also for a restart), and all adjacencies of interfaces without a MAC of their
 * own are rewritten, the global ones too. */
void ufib_update_router_mac(ufib_vdc *vdc, const uint8_t mac[6]);

/* A notice about the static MAC of an interface: all zero, or the VDC's own, takes it away. */
void ufib_update_static_if_mac(ufib_vdc *vdc, uint32_t if_index, const uint8_t mac[6]);

/* Adds (or takes away) the MAC of an interface, whose record is made when there is none. Interface 0 is refused. */
constexpr uint32_t UFIB_STATIC_MAC_ADD = 1;
constexpr uint32_t UFIB_STATIC_MAC_REMOVE = 2;
void ufib_idb_update_static_if_mac(ufib_vdc *vdc, uint32_t if_index, uint32_t operation,
                                   const uint8_t mac[6]);

/* The system's database has changed as a whole: every interface takes from it what it says now. */
void ufib_update_if_macs_from_gsdb(ufib_vdc *vdc);
