/* persist/lcfwd_pss.h: every model object has a twin in the keyed store, so that a restart can rebuild the
 * model while hardware goes on forwarding. Changes gather in one operations buffer, which is executed once
 * a batch, at the moment at which the hardware writes are finished. Most functions give 1 for success and
 * 0 for failure, as noted; a failed store leaves the record out of the store and the model as it is. One
 * thread. */
#pragma once

#include "host/store/store.h"
#include "persist/lcfwd_pss_kind.h"
#include "persist/lcfwd_pss_staging.h"

#include <cstdint>

constexpr uint32_t LCFWD_PSS_OPS_AREA = 40960;
constexpr int LCFWD_PSS_OPS_FULL = 0x40480013;
constexpr int LCFWD_PSS_NOTHING = 0x40480020; /* an execute with nothing queued: no error */

extern bool ufib_disable_pss; /* no store writes at all; the writing functions report success */

extern pss2_service *vdc_pss_service;
extern pss2_service *generic_pss_service;
extern pss2_ops *pi_dbops;                             /* null when it could not be made: stores fail then */
extern uint8_t lcfwd_pss_ops_area[LCFWD_PSS_OPS_AREA]; /* names the buffer to the store */

/* Operations in the current buffer, by kind. */
extern uint32_t lcfwd_pss_ops_add_count[LCFWD_PSS_KIND_COUNT];
extern uint32_t lcfwd_pss_ops_del_count[LCFWD_PSS_KIND_COUNT];

/* Opens the two process-wide databases and the operations buffer. 1, or 0 with a log line. */
[[nodiscard]] int lcfwd_pss_open_files();

/* Opens or makes the database of a kind in a VDC; '*service' is the handle, owned by the store. 1, or 0
 * with a log line; when only the size limit was refused the result is 0 and '*service' is open. Sizes are
 * advisory. */
[[nodiscard]] int lcfwd_pss_open_file(uint32_t vdc_id, uint32_t kind, uint32_t key_size, uint32_t value_size,
                                      pss2_service **service);

/* The same into the VDC's row, which lcfwd_pss_buf_store uses. 1 or 0; kind or VDC out of range gives 0. */
[[nodiscard]] int lcfwd_pss_open(uint32_t vdc_id, uint32_t kind, uint32_t key_size, uint32_t value_size);

/* Closes a database and destroys its records; clears the row's handle. Flush before: a queued operation of
 * the database would be lost. 1, or 0 when it was not open. */
int lcfwd_pss_close_file(uint32_t vdc_id, uint32_t kind);

/* The open database of a kind in a VDC; null when kind or VDC is out of range or it is not open. */
[[nodiscard]] pss2_service *lcfwd_pss_service(uint32_t kind, uint32_t vdc_id);

/* Adds a store operation. Key and value must stand in staging (or in memory that outlives the next flush).
 * 1 when queued; 0 when not, and also when it was queued only at the second try, after a forced commit.
 * May commit. */
int lcfwd_pss_buf_store(uint32_t kind, uint32_t vdc_id, const pss2_datum &key, const pss2_datum &value);

/* Adds a delete operation; copies the key. Results as above. */
int lcfwd_pss_buf_delete(uint32_t kind, uint32_t vdc_id, const pss2_datum &key);

/* Executes the buffer, then lets the platform library do the same to its own. Ends every write bracket. */
void lcfwd_pss_buf_commit();

/* To be called between two routes: commits hardware and store when the records of one more might not fit, so that no
 * commit that fullness forces falls between a route's records, or between them and its hardware entry. */
void lcfwd_pss_make_room();

/* Executes the buffer only. 0, or the failing code; staging and counts are cleared in any case. */
int lcfwd_flush_pending_pss_updates();

/* At once, without the buffer. 1 or 0. */
int lcfwd_pss_store(uint32_t kind, uint32_t vdc_id, const pss2_datum &key, const pss2_datum &value);
int lcfwd_pss_delete(uint32_t kind, uint32_t vdc_id, const pss2_datum &key);

/* Process teardown in tests: forgets handles and buffered operations, writes nothing. */
void lcfwd_pss_reset();
