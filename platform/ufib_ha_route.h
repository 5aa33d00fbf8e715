/* platform/ufib_ha_route.h: the restart route record: what store and hardware say about one prefix while a restarted
 * process rebuilds it. Zeroed for each prefix; the library fills address, mask, table and bindings. Host order
 * unless said otherwise. 400 bytes, no pointers. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint8_t UFIB_HA_IPV4 = 0x01; /* ufib_ha_route::family_flags */
constexpr uint8_t UFIB_HA_RNH_PENDING = 0x02;
constexpr uint8_t UFIB_HA_RNH_DELETE_MARKED = 0x04;

struct ufib_ha_route {
    uint32_t route_flags;      /* 0 */
    uint8_t family_flags;      /* 4: UFIB_HA_* */
    uint8_t pad0;              /* 5 */
    uint16_t vdc_id;           /* 6 */
    uint32_t table_id;         /* 8 */
    uint8_t address[16];       /* 12: network order; IPv4 in the first four */
    uint8_t mask_len;          /* 28 */
    uint8_t path_count;        /* 29: of the next object */
    uint8_t pad1[2];           /* 30 */
    uint32_t prefix_handle;    /* 32 */
    uint32_t next_handle;      /* 36 */
    uint8_t ecmp_holders;      /* 40 */
    uint8_t pad2[3];           /* 41 */
    uint32_t adj_handles[64];  /* 44: by path */
    uint8_t adj_holders[64];   /* 300: by path */
    uint8_t mac[6];            /* 364: of a source binding */
    uint8_t xpi_flags;         /* 370 */
    uint8_t holders;           /* 371: holder locks of the prefix */
    uint32_t binding_if_index; /* 372: of a source binding */
    uint16_t tag;              /* 376: security-group tag */
    uint8_t pad3[2];           /* 378 */
    uint16_t next_type;        /* 380: object type of the next object */
    uint8_t pad4[2];           /* 382 */
    uint32_t table_handle;     /* 384 */
    uint8_t pad5[12];          /* 388 */
};
static_assert(sizeof(ufib_ha_route) == 400);
static_assert(offsetof(ufib_ha_route, adj_handles) == 44 && offsetof(ufib_ha_route, adj_holders) == 300);
static_assert(offsetof(ufib_ha_route, holders) == 371 && offsetof(ufib_ha_route, next_type) == 380);
static_assert(offsetof(ufib_ha_route, table_handle) == 384);

/* Accessors: a null record and a path above 63 give 0. */
[[nodiscard]] inline uint32_t ufib_ha_route_prefix_handle(const ufib_ha_route *r) {
    return r ? r->prefix_handle : 0;
}
[[nodiscard]] inline uint32_t ufib_ha_route_ecmp_handle(const ufib_ha_route *r) {
    return r ? r->next_handle : 0;
}
[[nodiscard]] inline uint32_t ufib_ha_route_table_handle(const ufib_ha_route *r) {
    return r ? r->table_handle : 0;
}
[[nodiscard]] inline uint8_t ufib_ha_route_ecmp_holder_lock(const ufib_ha_route *r) {
    return r ? r->ecmp_holders : uint8_t{0};
}
[[nodiscard]] inline uint32_t ufib_ha_route_adj_handle(const ufib_ha_route *r, uint32_t path) {
    return r && path < 64 ? r->adj_handles[path] : 0;
}
[[nodiscard]] inline uint8_t ufib_ha_route_adj_holder_lock(const ufib_ha_route *r, uint32_t path) {
    return r && path < 64 ? r->adj_holders[path] : uint8_t{0};
}
