#include "ufib/ufib_cookie.h"

#include "core/lcfwd_log.h"
#include "core/ufib_trace.h"
#include "platform/ufib_pi.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"

#include <cstdio>
#include <cstring>

ufib_cookie_block ufib_pfx_upd_cookie;
ufib_cookie_block ufib6_pfx_upd_cookie;

static ufib_cookie_block &block_of(const ufib_family &family) {
    return family.index == 0 ? ufib_pfx_upd_cookie : ufib6_pfx_upd_cookie;
}

void ufib_cookie_init(const ufib_family &family) {
    ufib_cookie_block &block = block_of(family);
    if (block.count != 0 || block.processed) block = {};
}

bool ufib_cookie_is_processed(const ufib_family &family) { return block_of(family).processed; }

static int index_of(const ufib_cookie_block &block, const void *pfx) {
    for (uint32_t i = 0; i < block.count; i++)
        if (block.entries[i].pfx == pfx) return static_cast<int>(i);
    return -1;
}

static int cookie_add(const ufib_family &family, void *pfx) {
    ufib_cookie_block &block = block_of(family);
    if (const int known = index_of(block, pfx); known >= 0) return known;
    if (block.count == UFIB_COOKIE_ENTRIES) {
        char text[40];
        std::snprintf(text, sizeof text, "Add failed for idx %u", block.count);
        UFIB_BL(1, UFIB_TR_COOKIE, text);
        return -1;
    }
    block.entries[block.count] = {static_cast<ufib_pfx *>(pfx), 0};
    return static_cast<int>(block.count++);
}

void ufib_cookie_forget(const ufib_family &family, const ufib_pfx *pfx) {
    ufib_cookie_block &block = block_of(family);
    if (block.count == 0) return;
    if (const int at = index_of(block, pfx); at >= 0) block.entries[at].pfx = nullptr;
}

static void set_result(ufib_cookie_block &block, uint32_t index, int result) {
    if (index < block.count) block.entries[index].result = result < 0 ? -1 : 0;
}

uint32_t ufib_rollback_failed_cookies(const ufib_family &family) {
    ufib_cookie_block &block = block_of(family);
    for (uint32_t i = 0; i < block.count; i++) {
        ufib_pfx *pfx = block.entries[i].pfx;
        if (pfx == nullptr || block.entries[i].result == 0) {
            block.good++;
            continue;
        }
        block.failed++;
        ufib_err_raise(UFIB_ERR_ITEM, E_PFX_HW_INSTALL);
        ufib_pss_delete_prefix(pfx);
        if ((pfx->route_flags & ROUTE_DIRECT) != 0) ufib_pss_delete_dcsrif(pfx);
        ufib_prefix_rollback(pfx->table, pfx);
    }
    const uint32_t failed = block.failed;
    block = {};
    return failed;
}

void ufib_cookie_reset() {
    ufib_pfx_upd_cookie = {};
    ufib6_pfx_upd_cookie = {};
}

static void *pfx_at(const ufib_cookie_block &block, uint32_t index) {
    return index < block.count ? block.entries[index].pfx : nullptr;
}

extern "C" {

void ufib_pi_pfx_cookie_init() { ufib_cookie_init(ufib_v4); }
int ufib_pi_pfx_cookie_add(void *pfx) { return cookie_add(ufib_v4, pfx); }
uint32_t ufib_pi_pfx_count_get() { return ufib_pfx_upd_cookie.count; }
void *ufib_pi_cookie_pfx_get(uint32_t index) { return pfx_at(ufib_pfx_upd_cookie, index); }
void ufib_pi_upd_pfx_retval(uint32_t index, int result) { set_result(ufib_pfx_upd_cookie, index, result); }
void ufib_pi_cookie_proc_set() { ufib_pfx_upd_cookie.processed = true; }
bool ufib_pi_cookie_is_proc() { return ufib_pfx_upd_cookie.processed; }
uint32_t ufib_pi_cookie_failed_pfxc_get() { return ufib_pfx_upd_cookie.failed; }

void ufib6_pi_pfx_cookie_init() { ufib_cookie_init(ufib_v6); }
int ufib6_pi_pfx_cookie_add(void *pfx) { return cookie_add(ufib_v6, pfx); }
uint32_t ufib6_pi_pfx_count_get() { return ufib6_pfx_upd_cookie.count; }
void *ufib6_pi_cookie_pfx_get(uint32_t index) { return pfx_at(ufib6_pfx_upd_cookie, index); }
void ufib6_pi_upd_pfx_retval(uint32_t index, int result) { set_result(ufib6_pfx_upd_cookie, index, result); }
void ufib6_pi_cookie_proc_set() { ufib6_pfx_upd_cookie.processed = true; }
bool ufib6_pi_cookie_is_proc() { return ufib6_pfx_upd_cookie.processed; }
uint32_t ufib6_pi_cookie_failed_pfxc_get() { return ufib6_pfx_upd_cookie.failed; }

int ufib6_pi_pfx_cookie_del(void *pfx) {
    if (index_of(ufib6_pfx_upd_cookie, pfx) < 0) return -1;
    ufib_cookie_forget(ufib_v6, static_cast<ufib_pfx *>(pfx));
    return 0;
}

int ufib6_pi_cookie_pfx_info_get(uint32_t index, uint8_t address[16], uint8_t *mask_len) {
    const auto *pfx = static_cast<const ufib_pfx *>(pfx_at(ufib6_pfx_upd_cookie, index));
    if (pfx == nullptr) return -1;
    std::memcpy(address, ufib_pfx_address(pfx), 16);
    *mask_len = pfx->mask_len;
    return 0;
}
}
