#include "persist/lcfwd_pss.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "core/ufib_funcstats.h"
#include "persist/lcfwd_pss_culprit.h"
#include "persist/lcfwd_pss_upcalls.h"

#include <cstring>

bool ufib_disable_pss;
uint32_t lcfwd_pss_ops_add_count[LCFWD_PSS_KIND_COUNT];
uint32_t lcfwd_pss_ops_del_count[LCFWD_PSS_KIND_COUNT];

/* Bytes of an operation that must be tried again: the commit in between empties staging. */
static uint8_t retry_bytes[LCFWD_PSS_STAGING_SIZE];

/* A route of 64 recursive next hops that nobody else uses: a record for each of them and of their adjacencies, both
 * instances of the group, its own. */
static constexpr uint32_t ROUTE_BYTES = 28672;
static constexpr uint32_t ROUTE_OPS = 512;
static constexpr uint32_t OPS_MAX = LCFWD_PSS_OPS_AREA / 8;

static uint32_t queued; /* operations in the buffer */

/* What differs between storing and deleting. */
struct pss_action {
    pss2_operation operation;
    uint32_t *counts;
    ufib_err_code error;
};
static const pss_action store_action = {PSS2_OP_STORE, lcfwd_pss_ops_add_count, E_PSS_SAVE};
static const pss_action delete_action = {PSS2_OP_DELETE, lcfwd_pss_ops_del_count, E_PSS_DEL};

struct pss_request {
    uint32_t kind;
    uint32_t vdc_id;
    pss2_service *service;
    pss2_datum key;
    pss2_datum value;
};

/* Queues one operation. 0 or the store's code; 'attempt' stands in the log texts. */
static int operation_add(const pss_action &action, const pss_request &request, const char *attempt) {
    int code = pss2_ops_add_db(pi_dbops, request.service);
    if (code != STORE_OK) {
        LCFWD_ERR("pss2_ops_add_db failed %swith rcode 0x%x vdc_id %u pss_type = %u", attempt,
                  static_cast<uint32_t>(code), request.vdc_id, request.kind);
        return code;
    }
    code = pss2_ops_add(pi_dbops, action.operation, &request.key, &request.value);
    if (code != STORE_OK) {
        LCFWD_ERR("pss2_ops_add failed %swith rcode 0x%x vdc_id %u pss_type = %u", attempt,
                  static_cast<uint32_t>(code), request.vdc_id, request.kind);
        return code;
    }
    action.counts[request.kind]++;
    queued++;
    return STORE_OK;
}

/* Hardware and store are committed together, here as at the end of a batch. */
static void forced_commit() {
    lcfwd_pss_out_of_space_report();
    ufib_platform_all_writes_ready();
}

/* Gives the request new places in staging for the bytes that were put aside. */
static bool request_restage(pss_request *request) {
    void *key = lcfwd_pss_buf_allocate(request->key.len);
    void *value = request->value.len == 0 ? nullptr : lcfwd_pss_buf_allocate(request->value.len);
    if (key == nullptr || (request->value.len != 0 && value == nullptr)) return false;
    std::memcpy(key, retry_bytes, request->key.len);
    if (value != nullptr) std::memcpy(value, retry_bytes + request->key.len, request->value.len);
    request->key.p = key;
    request->value.p = value;
    return true;
}

/* The operations buffer was full. The caller sees a failure even when the second try succeeds: what it
 * does about an unsaved record is harmless for a saved one. */
static int second_try(const pss_action &action, pss_request *request) {
    const size_t size = static_cast<size_t>(request->key.len) + request->value.len;
    if (size > sizeof retry_bytes) return 0;
    std::memcpy(retry_bytes, request->key.p, request->key.len);
    if (request->value.len != 0) {
        std::memcpy(retry_bytes + request->key.len, request->value.p, request->value.len);
    }
    forced_commit();
    if (!request_restage(request)) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_NO_MEM);
        return 0;
    }
    (void)operation_add(action, *request, " 2nd try ");
    return 0;
}

static int request_queue(const pss_action &action, pss_request *request) {
    const int code = operation_add(action, *request, "");
    if (code == STORE_OK) {
        if (!lcfwd_pss_staging_nearly_full()) return 1;
        LCFWD_ERR("Trigger PSS and hardware commit");
        forced_commit();
        return 1;
    }
    ufib_err_raise(UFIB_ERR_REQUEST, action.error);
    if (code != LCFWD_PSS_OPS_FULL) return 0;
    return second_try(action, request);
}

int lcfwd_pss_buf_store(uint32_t kind, uint32_t vdc_id, const pss2_datum &key, const pss2_datum &value) {
    pss_request request = {kind, vdc_id, lcfwd_pss_service(kind, vdc_id), key, value};
    if (request.service == nullptr) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_SAVE);
        return 0;
    }
    if (ufib_disable_pss) return 1;
    return request_queue(store_action, &request);
}

int lcfwd_pss_buf_delete(uint32_t kind, uint32_t vdc_id, const pss2_datum &key) {
    pss_request request = {kind, vdc_id, lcfwd_pss_service(kind, vdc_id), {nullptr, key.len}, {nullptr, 0}};
    if (request.service == nullptr) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_DEL);
        return 0;
    }
    if (ufib_disable_pss) return 1;
    void *copy = lcfwd_pss_buf_allocate(key.len);
    if (copy == nullptr) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_NO_MEM);
        return 0;
    }
    std::memcpy(copy, key.p, key.len);
    request.key.p = copy;
    return request_queue(delete_action, &request);
}

void lcfwd_pss_make_room() {
    if (lcfwd_pss_staging.used + ROUTE_BYTES > LCFWD_PSS_STAGING_SIZE || queued + ROUTE_OPS > OPS_MAX)
        (void)ufib_platform_all_writes_ready();
}

int lcfwd_flush_pending_pss_updates() {
    int result = 0;
    if (!ufib_disable_pss) {
        const int code = pss2_ops_exec(pi_dbops);
        if (code != STORE_OK && code != LCFWD_PSS_NOTHING) {
            LCFWD_ERR("pss2_ops_exec failed with 0x%x", static_cast<uint32_t>(code));
            result = code;
        }
    }
    int status = 0;
    pi_dbops = pss2_ops_init(lcfwd_pss_ops_area, LCFWD_PSS_OPS_AREA, &status);
    if (pi_dbops == nullptr) {
        LCFWD_ERR("pss2_ops_init failed with 0x%x", static_cast<uint32_t>(status));
        if (result == 0) result = status;
    }
    lcfwd_pss_staging_clear();
    queued = 0;
    std::memset(lcfwd_pss_ops_add_count, 0, sizeof lcfwd_pss_ops_add_count);
    std::memset(lcfwd_pss_ops_del_count, 0, sizeof lcfwd_pss_ops_del_count);
    return result;
}

void lcfwd_pss_buf_commit() {
    const ufib_funcstats_block measure(UFIB_FS_PSS_COMMIT);
    if (lcfwd_flush_pending_pss_updates() != 0) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_SAVE);
        LCFWD_ERR("%s failed", "lcfwd_flush_pending_pss_updates");
    }
    lcfwd_platform_pss_buf_commit();
}

int lcfwd_pss_store(uint32_t kind, uint32_t vdc_id, const pss2_datum &key, const pss2_datum &value) {
    const int id = lcfwd_pss_service_id(kind, vdc_id);
    if (lcfwd_pss_service(kind, vdc_id) != nullptr) {
        if (ufib_disable_pss) return 1;
        if (fu_vdc_pss_store(static_cast<int>(vdc_id), id, &key, &value) == STORE_OK) return 1;
    }
    ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_SAVE);
    return 0;
}

int lcfwd_pss_delete(uint32_t kind, uint32_t vdc_id, const pss2_datum &key) {
    const int id = lcfwd_pss_service_id(kind, vdc_id);
    if (lcfwd_pss_service(kind, vdc_id) != nullptr) {
        if (ufib_disable_pss) return 1;
        if (fu_vdc_pss_delete(static_cast<int>(vdc_id), id, &key) == STORE_OK) return 1;
    }
    ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_DEL);
    return 0;
}

void lcfwd_pss_reset() {
    ufib_disable_pss = false;
    vdc_pss_service = nullptr;
    generic_pss_service = nullptr;
    pi_dbops = nullptr;
    lcfwd_pss_staging_clear();
    queued = 0;
    std::memset(lcfwd_pss_ops_add_count, 0, sizeof lcfwd_pss_ops_add_count);
    std::memset(lcfwd_pss_ops_del_count, 0, sizeof lcfwd_pss_ops_del_count);
}
