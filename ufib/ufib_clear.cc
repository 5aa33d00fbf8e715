#include "ufib/ufib_clear.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/ufib_err.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

/* ---- routes ---- */

static int clear_route(ufib_table *table, const ufib_family &family, const ufib_clear_msg &request) {
    ufib_pfx *pfx = request.mask_len > family.max_len
                        ? nullptr
                        : ufib_prefix_search(table, request.address, request.mask_len, false);
    if (pfx == nullptr) {
        UFIB_ERR("Prefix not found in prefix database");
        return LCFWD_BAD_MESSAGE;
    }
    if (ufib_hook.ipsg_destroy != nullptr) ufib_hook.ipsg_destroy(pfx);
    pfx->holders &= static_cast<uint8_t>(~UFIB_HOLDER_UFDM);
    (void)ufib_prefix_destroy(table, pfx);
    (void)ufib_platform_one_write_ready();
    (void)ufib_platform_all_writes_ready();
    return 0;
}

int ufib_clear_forwarding_request(const ufib_family &family, ufib_vdc *vdc, const ufib_clear_msg &request) {
    ufib_errno = 0;
    const bool all = (request.flags & UFIB_CLEAR_ALL) != 0;
    ufib_table *table = ufib_table_search(vdc, wire_get(request.key));
    if (table == nullptr || table->type != family.table_type) {
        if (all) return 0;
        UFIB_ERR("Could not fetch the table object");
        return LCFWD_BAD_MESSAGE;
    }
    if (!all) return clear_route(table, family, request);
    ufib_destroy_table_prefixes(table); /* which ends with all writes ready */
    return 0;
}

/* ---- adjacencies ---- */

static bool bits_equal(const uint8_t *a, const uint8_t *b, uint32_t bits) {
    const uint32_t whole = bits / 8, rest = bits % 8;
    return std::memcmp(a, b, whole) == 0 && (rest == 0 || (a[whole] ^ b[whole]) >> (8 - rest) == 0);
}

static bool ufib_clear_adj_check_nh(const ufib_adj *adj, const ufib_clear_msg &request) {
    const ufib_family &family = ufib_adj_family(adj);
    const uint32_t if_index = wire_get(request.key);
    if (if_index != 0 && adj->key.if_index != if_index) return false;
    const uint32_t bits = request.mask_len == 0 ? family.max_len : request.mask_len;
    return bits <= family.max_len && bits_equal(adj->key.address, request.address, bits);
}

static void adj_clear(ufib_adj *adj, bool destroy) {
    if (!destroy) {
        adj->flags &= ~UFIB_ADJ_RESOLVED;
        return;
    }
    if ((adj->holders & UFIB_ADJ_HELD_AM) != 0 && ufib_obj_refs(&adj->obj) == 1) {
        ufib_obj_drop(&adj->obj);
        adj->holders &= static_cast<uint8_t>(~UFIB_ADJ_HELD_AM);
    }
    (void)ufib_adj_destroy(nullptr, adj, false);
    (void)ufib_platform_one_write_ready();
}

/* How many adjacencies of the interface matched. */
static uint32_t idb_adjs_clear(ufib_idb *idb, const ufib_family &family, const ufib_clear_msg &request,
                               ufib_walk_budget *budget) {
    uint32_t matches = 0;
    for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;) {
        uint8_t address[16];
        std::memcpy(address, adj->key.address, sizeof address);
        if ((request.flags & UFIB_CLEAR_ALL) != 0 || ufib_clear_adj_check_nh(adj, request)) {
            matches++;
            adj_clear(adj, (request.flags & UFIB_CLEAR_DELETE) != 0);
        }
        ufib_walk_step(budget);
        adj = ufib_adj_if_get_next_safe(idb, family, address);
    }
    return matches;
}

int ufib_clear_forwarding_adj_request(const ufib_family &family, ufib_vdc *vdc,
                                      const ufib_clear_msg &request) {
    ufib_errno = 0;
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    uint32_t matches = 0;
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb))
        matches += idb_adjs_clear(idb, family, request, &budget);
    (void)ufib_platform_all_writes_ready();
    return matches == 0 ? LCFWD_BAD_MESSAGE : 0;
}
