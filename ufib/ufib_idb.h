/* ufib/ufib_idb.h: interface records: what the model knows of one interface, and its adjacencies. A record lives as
 * long as somebody holds it; then it waits five seconds on the delete-pending list. One thread. */
#pragma once

#include "host/containers/ravl.h"

#include <cstdint>

struct ufib_vdc;

/* Who holds a record: bit numbers. */
enum ufib_idb_holder : uint32_t {
    UFIB_IDB_V4_ADJ = 0, /* an IPv4 adjacency exists on the interface */
    UFIB_IDB_V6_ADJ = 1,
    UFIB_IDB_V4_RPF = 2, /* reverse-path configuration */
    UFIB_IDB_V6_RPF = 3,
};

constexpr uint8_t UFIB_IDB_MAC_KNOWN = 0x01;
constexpr uint8_t UFIB_RPF_STRICT = 3; /* 0 off; 1 and 2 loose */

struct ufib_idb {
    ravl_node by_index; /* in the VDC's tree */
    uint32_t if_index;
    uint16_t vdc_id;
    uint8_t holders;     /* bit UFIB_IDB_* */
    uint8_t mac_flags;   /* UFIB_IDB_MAC_KNOWN */
    uint8_t mac[6];      /* the interface's own router MAC */
    uint8_t rpf_mode[2]; /* by family */
    uint8_t rpf_stored;  /* not 0: the store has a record of the modes */
    ravl_tree adjs[2];   /* by family, keyed by next-hop address */
    uint32_t adj_count[2];
};

/* Finds or makes the record of an interface. Null with ufib_errno: E_IDB_BAD_INT for index 0, E_IDB_NOMEM. */
[[nodiscard]] ufib_idb *ufib_get_create_idb(ufib_vdc *vdc, uint32_t if_index);
[[nodiscard]] ufib_idb *ufib_idb_search(ufib_vdc *vdc, uint32_t if_index);
[[nodiscard]] ufib_idb *ufib_idb_get_first(ufib_vdc *vdc);
[[nodiscard]] ufib_idb *ufib_idb_get_next(const ufib_idb *idb);
[[nodiscard]] ufib_idb *ufib_idb_get_next_safe(ufib_vdc *vdc,
                                               uint32_t if_index); /* from a key that may be gone */

/* The router MAC that the system's database knows for an interface; false: none, 'mac' is undefined then. */
[[nodiscard]] bool ufib_get_if_router_mac(uint32_t vdc_id, uint32_t if_index, uint8_t mac[6]);

void ufib_idb_hold(ufib_idb *idb, uint32_t bit);
/* Clears the bit; a record that nobody holds then waits for its end (also when the bit was not set). */
void ufib_idb_release(ufib_idb *idb, uint32_t bit);
inline void ufib_idb_release_v4(ufib_idb *idb) { ufib_idb_release(idb, UFIB_IDB_V4_RPF); }
inline void ufib_idb_release_v6(ufib_idb *idb) { ufib_idb_release(idb, UFIB_IDB_V6_RPF); }

[[nodiscard]] bool ufib_idb_has_adjacencies(const ufib_idb *idb);
[[nodiscard]] inline bool ufib_idb_is_rpf_mode_loose(uint8_t mode) {
    return mode != 0 && mode < UFIB_RPF_STRICT;
}
[[nodiscard]] inline bool ufib_idb_is_rpf_mode_strict(uint8_t mode) { return mode == UFIB_RPF_STRICT; }

/* Frees a record that nobody holds; 'force' asks nobody. */
void ufib_idb_destroy(ufib_vdc *vdc, ufib_idb *idb, bool force);

void ufib_idb_db_init(ufib_vdc *vdc);
void ufib_idb_db_destroy(ufib_vdc *vdc);

/* The record that global adjacencies point at: in no tree. 0, or -1 without memory. */
int ufib_create_vdc_global_dummy_idb(ufib_vdc *vdc);
void ufib_delete_vdc_global_dummy_idb(ufib_vdc *vdc);

void ufib_idb_dpl_init();
int ufib_idb_dpl_queue(const ufib_idb *idb); /* 1, or 0 without memory: the record then stays */
void ufib_idb_dpl_clear();
void ufib_idb_dpl_timer_expired(void *unused);
void ufib_idb_reset();
