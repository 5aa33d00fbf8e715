/* softfwd/softfwd_config.h: the engine's settings. They may be set before the start and, but for 'slot' and 'caps',
 * changed at any time while it runs. One thread. */
#pragma once

#include "platform/ufib_platform_api.h"

#include <cstdint>

struct softfwd_config {
    int slot = -1; /* names the tables; negative: the card's slot number */

    /* Sizes. A full table refuses with a zero handle. Values above what the segment reserves are cut to it. */
    uint32_t max_tables = 65000;
    uint32_t max_prefixes = 16000000;
    uint32_t max_adjacencies = 1000000;
    uint32_t max_groups = 65536;      /* ECMP groups and instances of virtual objects together */
    bool never_reuse_handles = false; /* an old handle is then always an unknown one */

    /* Brackets. */
    /* one_write_ready reports a completed batch after so many writes. 0: never, so that the store has each batch of
     * routes as a whole. */
    uint32_t write_batch = 0;
    bool never_ready = false;     /* one_write_ready and all_writes_ready return 0 for ever */
    bool async = false;           /* prefix writes complete later, through the cookies */
    uint32_t async_every = 16;    /* in async mode: at every n-th one_write_ready, and at all_writes_ready */
    bool check_integrity = false; /* softfwd_integrity_check() at each all_writes_ready; counts violations */

    /* What the engine says about itself and about what it needs. VDC sets are bit n for id n. */
    uint32_t hwfe_type = 1;
    bool mpls_capable = false;
    bool lisp_capable = false;
    bool otv_capable = false;
    uint32_t tables_not_required = 0;      /* VDCs */
    uint32_t adjacencies_not_required = 0; /* VDCs */
    uint32_t instance_bitmap = 1;
    bool shared_wildcard_tables = false;
    bool am_lock_released = false; /* answer of adj_del_am_lock */
    bool consistency_always_good = false;
    uint32_t aged_limit = 0; /* after so many aged routes none is aged any more; 0: no limit */

    /* Tails behind the model's objects. The engine has no use for them; what it is given it fills with a pattern, and
     * counts it when the pattern was overwritten ('space_overruns'). */
    ufib_platform_caps caps = {};
    uint32_t ecmp_space_len = 0; /* of a group; 4 bytes more for each path when not 0 */

    /* Gets every message, one line without its end. Null: standard error. */
    void (*say)(const char *text) = nullptr;
};

/* The settings in force; the caller may write to them. */
[[nodiscard]] softfwd_config *softfwd_config_get();
void softfwd_config_reset(); /* the values given above */
