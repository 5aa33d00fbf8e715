/* core/lcfwd_report.h: the state of each VDC's unicast and multicast side, and the status report that the
 * supervisor gets when one changes and every 300 s. One thread; a report that cannot be sent is logged and
 * forgotten. */
#pragma once

#include "core/lcfwd_vdc.h"
#include "core/wire.h"

#include <cstdint>

constexpr uint32_t LCFWD_OPC_REPORT = 77826;

struct lcfwd_report_msg {
    uint8_t reserved0[2];
    uint8_t slot;
    uint8_t ufib_state;
    uint8_t mfib_state;
    uint8_t flags; /* LCFWD_REPORT_* */
    uint8_t reserved6[2];
};
static_assert(sizeof(lcfwd_report_msg) == 8);

constexpr uint8_t LCFWD_REPORT_UFIB_READY = 0x80; /* state 4 or above */
constexpr uint8_t LCFWD_REPORT_MFIB_READY = 0x40;
constexpr uint8_t LCFWD_REPORT_UFIB_LOADING = 0x20; /* state 4 or 5 */
constexpr uint8_t LCFWD_REPORT_MFIB_LOADING = 0x10;
constexpr uint8_t LCFWD_REPORT_NO_EPOCH = 0x08; /* the unicast sender has not said that it is up */

/* First byte (multicast) or third byte (unicast) of a download message. */
constexpr uint8_t LCFWD_DOWNLOAD_COMMENCE = 1;
constexpr uint8_t LCFWD_DOWNLOAD_END = 2;

[[nodiscard]] const char *lcfwd_state_name(uint32_t state); /* "UNKNOWN" above 6 */

/* Sets one side's state. The present value again: nothing happens. Else the VDC information record is
 * written and a report sent. */
void lcfwd_state_change(lcfwd_vdc_desc *vdc, uint32_t state, bool unicast);

void lcfwd_commence_reporting(lcfwd_vdc_desc *vdc, uint32_t ufib_state, uint32_t mfib_state);
void lcfwd_stop_reporting(lcfwd_vdc_desc *vdc, uint32_t state); /* both sides to 'state' */

void lcfwd_send_report(lcfwd_vdc_desc *vdc); /* nothing for null or an inactive row */
void lcfwd_send_all_reports();

void lcfwd_report_timer_init();   /* makes the report timer; outside library mode starts it */
void lcfwd_report_start_timers(); /* for a host process: makes and starts it */
void lcfwd_report_timer_expired(void *unused);

void lcfwd_ufdm_up(lcfwd_vdc_desc *vdc); /* trace and report */
void lcfwd_mfdm_up(lcfwd_vdc_desc *vdc);

/* The download bracket. 'opcode' is LCFWD_DOWNLOAD_*; another value is logged. The first form takes the
 * message's payload of at least 3 bytes, the second of at least 1. */
void lcfwd_ufdm_download(lcfwd_vdc_desc *vdc, const uint8_t *payload);
void lcfwd_mfdm_download(lcfwd_vdc_desc *vdc, const uint8_t *payload);
