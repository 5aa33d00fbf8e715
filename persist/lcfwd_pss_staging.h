/* persist/lcfwd_pss_staging.h: where keys and values of stored records stand from their making until the
 * store has them. The operations buffer keeps references, so the bytes must not move: one static area that
 * is handed out from the front and emptied as a whole by a flush. Blocks are not aligned: write them with
 * memcpy. One thread. */
#pragma once

#include <cstdint>
#include <cstring>

constexpr uint32_t LCFWD_PSS_STAGING_SIZE = 102400;
constexpr uint32_t LCFWD_PSS_MARGIN = 1848;  /* room for the biggest record that may come next */
constexpr uint32_t LCFWD_PSS_DESCRIPTOR = 8; /* each key and value also takes a descriptor's room */

struct lcfwd_pss_staging_area {
    uint32_t used;
    uint8_t *next;
    uint8_t bytes[LCFWD_PSS_STAGING_SIZE];
};
extern lcfwd_pss_staging_area lcfwd_pss_staging;

/* A zeroed block of 'size' bytes, valid until the next flush; null, with a log line and nothing changed,
 * when it does not fit. Never flushes. */
[[nodiscard]] void *lcfwd_pss_buf_allocate(uint32_t size);

/* The same without the log line: for callers that have their own text. */
[[nodiscard]] inline uint8_t *lcfwd_pss_staging_take(uint32_t size) {
    lcfwd_pss_staging_area &area = lcfwd_pss_staging;
    if (size > LCFWD_PSS_STAGING_SIZE - area.used) return nullptr;
    uint8_t *block = area.next;
    std::memset(block, 0, size);
    area.next += size;
    area.used += size;
    return block;
}

/* True when the area is so full that the biggest record might not fit: it is time to commit. */
[[nodiscard]] inline bool lcfwd_pss_staging_nearly_full() {
    return lcfwd_pss_staging.used + LCFWD_PSS_MARGIN > LCFWD_PSS_STAGING_SIZE;
}

void lcfwd_pss_staging_clear(); /* every block handed out is gone */
