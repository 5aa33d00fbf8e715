#include "persist/lcfwd_pss_walk.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_vdc.h"

#include <cstring>

/* The number under which the framework knows an open database; -1 for none of ours. */
static int service_number(const pss2_service *service) {
    if (service == vdc_pss_service) return LCFWD_PSS_VDC_SERVICE_ID;
    if (service == generic_pss_service) return LCFWD_PSS_GENERIC_SERVICE_ID;
    for (uint32_t vdc_id = LCFWD_VDC_MIN; vdc_id <= LCFWD_VDC_MAX; vdc_id++) {
        for (uint32_t kind = 0; kind < LCFWD_PSS_KIND_COUNT; kind++) {
            if (lcfwd_vdc_row(vdc_id)->pss[kind] == service) return lcfwd_pss_service_id(kind, vdc_id);
        }
    }
    return -1;
}

static bool walk_failed;

static bool key_at(pss2_service *service, int location, pss2_datum *key) {
    int code = pss2_move2location(service, 1, location);
    if (code == STORE_OK) code = pss2_getkey(service, key);
    if (code == STORE_OK) return true;
    walk_failed = code != STORE_ABSENT;
    if (walk_failed)
        LCFWD_ERR("walk over service %d failed with 0x%x", service_number(service),
                  static_cast<uint32_t>(code));
    return false;
}

bool lcfwd_pss_get_first_key(pss2_service *service, pss2_datum *key) {
    return key_at(service, PSS2_FIRST, key);
}

bool lcfwd_pss_get_next_key(pss2_service *service, pss2_datum *key) {
    return key_at(service, PSS2_NEXT, key);
}

bool lcfwd_pss_walk_failed() { return walk_failed; }

bool lcfwd_pss_get_key(pss2_service *service, const pss2_datum &key, pss2_datum *found) {
    if (pss2_move2key(service, &key) == STORE_OK && pss2_getkey(service, found) == STORE_OK) return true;
    LCFWD_ERR("key missing for service %d", service_number(service));
    return false;
}

bool lcfwd_pss_get_value(pss2_service *service, pss2_datum *value) {
    return pss2_getvalue(service, value) == STORE_OK;
}

bool lcfwd_pss_fetch(pss2_service *service, const pss2_datum &key, pss2_datum *value) {
    return pss2_fetch(service, &key, value) == STORE_OK;
}

static constexpr uint32_t adj_kinds[] = {LCFWD_PSS_V4ADJ, LCFWD_PSS_V6ADJ};

/* Calls 'visit' for each open adjacency database of an active VDC. */
template <class function> static void adj_databases_visit(function visit) {
    for (uint32_t vdc_id = LCFWD_VDC_MIN; vdc_id <= LCFWD_VDC_MAX; vdc_id++) {
        if (lcfwd_vdc_active_row(vdc_id) == nullptr) continue;
        for (uint32_t kind : adj_kinds) {
            pss2_service *service = lcfwd_pss_service(kind, vdc_id);
            if (service != nullptr) visit(kind, vdc_id, service);
        }
    }
}

uint32_t lcfwd_get_adj_pss_num_keys() {
    uint32_t total = 0;
    adj_databases_visit([&total](uint32_t, uint32_t, pss2_service *service) {
        uint32_t count = 0;
        if (pss2_get_key_count(service, &count) == STORE_OK) total += count;
    });
    return total;
}

uint32_t lcfwd_iterate_adj_pss_keys(lcfwd_pss_key_visit visit, void *ctx) {
    uint32_t visited = 0;
    adj_databases_visit([&](uint32_t kind, uint32_t vdc_id, pss2_service *service) {
        pss2_datum key;
        for (bool more = lcfwd_pss_get_first_key(service, &key); more;
             more = lcfwd_pss_get_next_key(service, &key)) {
            uint8_t copy[STORE_KEY_MAX];
            if (key.len > sizeof copy) continue;
            std::memcpy(copy, key.p, key.len);
            visit(kind, vdc_id, {copy, key.len}, ctx);
            visited++;
        }
    });
    return visited;
}
