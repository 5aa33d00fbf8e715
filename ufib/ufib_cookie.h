/* ufib/ufib_cookie.h: prefixes of a batch whose hardware write completes after the install call has returned. The
 * library lists them and later gives a result for each; a route whose write failed is undone as if it had failed at
 * once. One block a family, valid for one batch. The library's own calls are in platform/ufib_pi.h. One thread. */
#pragma once

#include "ufib/ufib_family.h"

#include <cstdint>

struct ufib_pfx;

constexpr uint32_t UFIB_COOKIE_ENTRIES = 30;

struct ufib_cookie_entry {
    ufib_pfx *pfx;  /* null once the prefix is gone */
    int32_t result; /* 0 or -1 */
};

struct ufib_cookie_block {
    ufib_cookie_entry entries[UFIB_COOKIE_ENTRIES];
    uint32_t count;
    uint32_t failed;
    uint32_t good;
    bool processed; /* results have arrived */
};
extern ufib_cookie_block ufib_pfx_upd_cookie;
extern ufib_cookie_block ufib6_pfx_upd_cookie;

void ufib_cookie_init(const ufib_family &family); /* before a batch: clears the block */
[[nodiscard]] bool ufib_cookie_is_processed(const ufib_family &family);

/* Undoes the routes whose write failed, out of store and model, and clears the block. How many there were. */
uint32_t ufib_rollback_failed_cookies(const ufib_family &family);

/* A prefix is being freed: its entries point nowhere from now on. */
void ufib_cookie_forget(const ufib_family &family, const ufib_pfx *pfx);
void ufib_cookie_reset();

inline uint32_t ufib_rollback_failed_cookie_pfx() { return ufib_rollback_failed_cookies(ufib_v4); }
inline uint32_t ufib6_rollback_failed_cookie_pfx() { return ufib_rollback_failed_cookies(ufib_v6); }
