#include "persist/lcfwd_pss_record.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"

int lcfwd_pss_record_no_room(uint32_t key_size, uint32_t value_size) {
    const struct {
        uint32_t size;
        const char *text;
    } blocks[] = {
        {key_size, "Failed to allocate memory for key \n"},
        {value_size, "Failed to allocate memory for value \n"},
        {LCFWD_PSS_DESCRIPTOR, "Failed to allocate memory for PSS datum key \n"},
        {LCFWD_PSS_DESCRIPTOR, "Failed to allocate memory for PSS datum value \n"},
    };
    /* Blocks before the one that fails stay taken until the next flush, as they always do. */
    for (const auto &block : blocks) {
        if (lcfwd_pss_buf_allocate(block.size) != nullptr) continue;
        LCFWD_ERR("%s", block.text);
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_NO_MEM);
        return 0;
    }
    return 0;
}
