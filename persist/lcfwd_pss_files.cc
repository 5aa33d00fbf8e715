/* Opening and closing databases. */
#include "persist/lcfwd_pss.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "host/engine/engine.h"

#include <cstdio>
#include <cstring>

static_assert(LCFWD_PSS_KINDS == LCFWD_PSS_KIND_COUNT);

pss2_service *vdc_pss_service;
pss2_service *generic_pss_service;
pss2_ops *pi_dbops;
uint8_t lcfwd_pss_ops_area[LCFWD_PSS_OPS_AREA];

/* A soft bound, so that one database that grows without end is noticed. */
static constexpr uint32_t max_dbsize = 0xa00000;

static int database_open(int id, const char *uri, uint32_t key_size, uint32_t value_size,
                         pss2_service **service) {
    fu_pss_service_arg args;
    fu_global_pss_service_default_arg(&args);
    args.id = id;
    args.key_size = key_size;
    args.value_size = value_size;
    if (fu_pss_service_arg_uri_set(&args, uri) != STORE_OK) return 0;
    if (fu_pss_entry_install(fu_global_get(), 1, &args) != STORE_OK) return 0;
    return fu_pss_service_get(id, service) == STORE_OK ? 1 : 0;
}

static int process_database_open(int id, const char *name, uint32_t key_size, uint32_t value_size,
                                 pss2_service **service) {
    char uri[64];
    std::snprintf(uri, sizeof uri, "volatile:/dev/shm/lcfwd_%s", name);
    *service = nullptr;
    if (database_open(id, uri, key_size, value_size, service) == 0) {
        LCFWD_ERR("ERROR - failed to open %s PSS file", std::strcmp(name, "vdc") == 0 ? "VDC" : name);
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_FOPEN);
        return 0;
    }
    LCFWD_TRACE("opened service %s (%08x)\n", name, static_cast<uint32_t>(id));
    return 1;
}

int lcfwd_pss_open_files() {
    if (process_database_open(LCFWD_PSS_VDC_SERVICE_ID, "vdc", 2, 24, &vdc_pss_service) == 0) return 0;
    if (process_database_open(LCFWD_PSS_GENERIC_SERVICE_ID, "generic", 4, 4, &generic_pss_service) == 0) {
        return 0;
    }
    int status = 0;
    pi_dbops = pss2_ops_init(lcfwd_pss_ops_area, LCFWD_PSS_OPS_AREA, &status);
    if (pi_dbops == nullptr) {
        LCFWD_ERR("%s failed", "pss2_ops_init");
        return 0;
    }
    std::memset(lcfwd_pss_ops_add_count, 0, sizeof lcfwd_pss_ops_add_count);
    std::memset(lcfwd_pss_ops_del_count, 0, sizeof lcfwd_pss_ops_del_count);
    return 1;
}

int lcfwd_pss_open_file(uint32_t vdc_id, uint32_t kind, uint32_t key_size, uint32_t value_size,
                        pss2_service **service) {
    *service = nullptr;
    const char *uri = lcfwd_pss_uri(vdc_id, kind);
    const int id = lcfwd_pss_service_id(kind, vdc_id);
    if (lcfwd_vdc_row(vdc_id) == nullptr || uri[0] == '\0' ||
        database_open(id, uri, key_size, value_size, service) == 0) {
        LCFWD_ERR("\nERROR - failed to open PSS file for vdc %u", vdc_id);
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_FOPEN);
        return 0;
    }
    if (pss2_set_max_dbsize(*service, max_dbsize) != STORE_OK) {
        LCFWD_ERR("\nERROR - Failed to set the MAX dbsize for vdc %u", vdc_id);
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_FOPEN);
        return 0;
    }
    return 1;
}

int lcfwd_pss_open(uint32_t vdc_id, uint32_t kind, uint32_t key_size, uint32_t value_size) {
    pss2_service *service = nullptr;
    const int opened = lcfwd_pss_open_file(vdc_id, kind, key_size, value_size, &service);
    if (service != nullptr) lcfwd_vdc_row(vdc_id)->pss[kind] = service;
    return opened;
}

int lcfwd_pss_close_file(uint32_t vdc_id, uint32_t kind) {
    if (lcfwd_pss_service(kind, vdc_id) == nullptr) return 0;
    lcfwd_vdc_row(vdc_id)->pss[kind] = nullptr;
    if (fu_vdc_pss_close_and_destroy(1, lcfwd_pss_service_id(kind, vdc_id)) == STORE_OK) return 1;
    ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_FCLOSE);
    return 0;
}

pss2_service *lcfwd_pss_service(uint32_t kind, uint32_t vdc_id) {
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    return vdc == nullptr || lcfwd_get_pss_name(kind) == nullptr ? nullptr : vdc->pss[kind];
}
