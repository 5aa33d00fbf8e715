#include "persist/lcfwd_pss_staging.h"

#include "core/lcfwd_log.h"

lcfwd_pss_staging_area lcfwd_pss_staging = {0, lcfwd_pss_staging.bytes, {}};

void *lcfwd_pss_buf_allocate(uint32_t size) {
    uint8_t *block = lcfwd_pss_staging_take(size);
    if (block == nullptr) LCFWD_ERR("ERROR: request for a buf out of bounds \n");
    return block;
}

void lcfwd_pss_staging_clear() {
    lcfwd_pss_staging.used = 0;
    lcfwd_pss_staging.next = lcfwd_pss_staging.bytes;
}
