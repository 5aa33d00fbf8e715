#include "platform/lcfwd_platform.h"

#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc.h"
#include "persist/lcfwd_pss.h"
#include "platform/platform_default.h"
#include "platform/platform_library.h"
#include "platform/ufib_platform.h"

static lcfwd_platform_api lcfwd_platform_table;

void lcfwd_platform_api_default_init(lcfwd_platform_api *api) {
    platform_defaults_set<0>(&api->is_local_hwfe_present, &api->mts_msg_handler, &api->restart_recovery_start,
                             &api->restart_recovery_end, &api->get_active_vdcs, &api->pss_buf_commit,
                             &api->vdc_init, &api->vdc_delete, &api->get_hwfe_type, &api->is_mpls_capable,
                             &api->is_lisp_capable, &api->is_otv_capable, &api->process_pervpn_ilm_base);
}

void lcfwd_platform_init(bool restart) {
    lcfwd_platform_table = {};
    lcfwd_platform_api_default_init(&lcfwd_platform_table);
    const platform_library *library = platform_library_get();
    if (library != nullptr) library->lcfwd_api_init(&lcfwd_platform_table, restart ? 1 : 0);
}

void lcfwd_platform_reset() {
    const platform_library *library = platform_library_get();
    if (library != nullptr && library->reset != nullptr) library->reset();
    platform_library_use(nullptr);
    lcfwd_platform_table = {};
    ufib_platform_table = {};
    ufib_platform_sizes = {};
}

int lcfwd_platform_is_local_hwfe_present() { return lcfwd_platform_table.is_local_hwfe_present(); }
int lcfwd_platform_mts_msg_handler(const mts_msg *msg) { return lcfwd_platform_table.mts_msg_handler(msg); }
void lcfwd_platform_restart_recovery_start() { lcfwd_platform_table.restart_recovery_start(); }
void lcfwd_platform_restart_recovery_end() { lcfwd_platform_table.restart_recovery_end(); }
int lcfwd_platform_get_active_vdcs(uint32_t *bitmap) { return lcfwd_platform_table.get_active_vdcs(bitmap); }
void lcfwd_platform_pss_buf_commit() {
    /* The store commits also before the table is bound, and after it is gone. */
    if (lcfwd_platform_table.pss_buf_commit != nullptr) lcfwd_platform_table.pss_buf_commit();
}
void lcfwd_platform_vdc_init(uint32_t vdc_id, bool restart) {
    lcfwd_platform_table.vdc_init(vdc_id, restart);
}
void lcfwd_platform_vdc_delete(uint32_t vdc_id) { lcfwd_platform_table.vdc_delete(vdc_id); }
int lcfwd_platform_get_hwfe_type() { return lcfwd_platform_table.get_hwfe_type(); }
int lcfwd_platform_is_mpls_capable() { return lcfwd_platform_table.is_mpls_capable(); }
int lcfwd_platform_is_lisp_capable() { return lcfwd_platform_table.is_lisp_capable(); }
int lcfwd_platform_is_otv_capable() { return lcfwd_platform_table.is_otv_capable(); }
void lcfwd_platform_process_pervpn_ilm_base(uint32_t base) {
    lcfwd_platform_table.process_pervpn_ilm_base(base);
}

const lcfwd_vdc_desc *lcfwd_pi_vdc_get_desc(uint32_t vdc_id) { return lcfwd_vdc_row(vdc_id); }
int lcfwd_pi_vdc_is_active(uint32_t vdc_id) { return lcfwd_vdc_active_row(vdc_id) != nullptr ? 1 : 0; }
int lcfwd_pi_get_router_mac(uint32_t vdc_id, uint8_t mac[6]) { return lcfwd_vdc_router_mac(vdc_id, mac); }
void lcfwd_pi_lcfwd_pss_buf_commit() { lcfwd_pss_buf_commit(); }
