/* core/lcfwd_vdc.h: virtual device contexts (VDCs): logical switches that one process serves, ids 1 to 5.
 * Every message carries the VDC that sent it; every table, object and database belongs to one. One thread. */
#pragma once

#include <cstdint>

struct pss2_service;
struct ufib_vdc;
struct ufib_vdc_stats;
struct mfib_vdc_stats;
struct mfib_vdc;
struct lfib_vdc;

constexpr uint32_t LCFWD_VDC_MIN = 1;
constexpr uint32_t LCFWD_VDC_MAX = 5;
constexpr uint32_t LCFWD_PSS_KINDS = 37;

constexpr uint8_t LCFWD_VDC_ACTIVE = 0x01;
constexpr uint8_t LCFWD_VDC_DELETING = 0x02;

/* States of the unicast and of the multicast side of a VDC. */
enum lcfwd_state : uint32_t {
    LCFWD_STATE_NOT_READY = 0,
    LCFWD_STATE_RESTARTING = 1,
    LCFWD_STATE_UPGRADING = 2, /* update messages are refused */
    LCFWD_STATE_EXITED = 3,
    LCFWD_STATE_INITIALIZED = 4, /* created, no download yet */
    LCFWD_STATE_LOADING = 5,     /* a download is under way */
    LCFWD_STATE_ACTIVE = 6,
};

struct lcfwd_vdc_desc {
    uint16_t vdc_id; /* 0: the row is free */
    uint8_t flags;   /* LCFWD_VDC_* */
    uint32_t ufib_state;
    uint32_t mfib_state;
    uint8_t mac[6];                     /* the VDC's own router MAC; all zero: not told yet */
    ufib_vdc *ufib;                     /* unicast model, from ufib_vdc_create to ufib_vdc_delete */
    mfib_vdc *mfib;                     /* multicast model */
    lfib_vdc *lfib;                     /* label model */
    uint32_t ufdm_epoch;                /* of the last up message; 0: the sender has not said it is up */
    pss2_service *pss[LCFWD_PSS_KINDS]; /* open databases by record kind; null: not open */
    ufib_vdc_stats *ufib_stats;         /* message counters; null until made, every increment tests it */
    mfib_vdc_stats *mfib_stats;         /* the same of the multicast side */
    uint32_t router_mac;                /* field kept in the VDC information record */
};

/* Row 0 is never used. */
extern lcfwd_vdc_desc lcfwd_vdc_desc_table[LCFWD_VDC_MAX + 1];
extern uint32_t ufib_cur_vdc_id; /* the VDC of the work in progress; traces read it */

/* Makes a VDC. An id outside 1 to 5 or a row already active is ignored. Never fails: a domain logs its own
 * failures. 'restart': the store is read back instead of starting empty. */
void lcfwd_vdc_create(uint32_t vdc_id, bool restart);

/* Removes a VDC with everything in it. Ignored unless the row is active and not already being deleted. */
void lcfwd_vdc_delete(uint32_t vdc_id);

/* Makes all VDCs that the store knows, in store order. Always 1. */
int lcfwd_create_active_vdcs();

/* The row of an id from 1 to 5, active or not; null for every other id. */
[[nodiscard]] lcfwd_vdc_desc *lcfwd_vdc_row(uint32_t vdc_id);

/* The row when it is active, else null. */
[[nodiscard]] lcfwd_vdc_desc *lcfwd_vdc_active_row(uint32_t vdc_id);

/* Copies the VDC's router MAC. 0, or -1 when the id is out of range or no MAC is known. */
int lcfwd_vdc_router_mac(uint32_t vdc_id, uint8_t mac[6]);

/* Which holders of a route the deletion of a VDC releases: one row for each holder bit. */
constexpr uint32_t LCFWD_ROUTE_HOLDERS = 7;
struct lcfwd_holder_lock_row {
    bool enabled;
    uint32_t index; /* the holder's bit number */
};
extern lcfwd_holder_lock_row vdc_del_rel_route_holder_lock[LCFWD_ROUTE_HOLDERS];
extern uint32_t vdc_del_rel_route_holder_lock_size;

/* Fills the table above. 0, or -1 with a log line when its size is not LCFWD_ROUTE_HOLDERS. */
[[nodiscard]] int lcfwd_vdc_del_rel_holder_lock_info_init();

/* True when the VDC's unicast side is in state UPGRADING. */
[[nodiscard]] bool lcfwd_state_is_upgrade(uint32_t vdc_id);

void lcfwd_vdc_reset(); /* process teardown in tests: all rows free, nothing else touched */
