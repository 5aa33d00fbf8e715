#include "core/lcfwd_vdc.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_domain.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc_info.h"
#include "host/interfaces/l3vm.h"
#include "host/system/system.h"

#include <cstring>

lcfwd_vdc_desc lcfwd_vdc_desc_table[LCFWD_VDC_MAX + 1];
uint32_t ufib_cur_vdc_id;

lcfwd_holder_lock_row vdc_del_rel_route_holder_lock[LCFWD_ROUTE_HOLDERS];
uint32_t vdc_del_rel_route_holder_lock_size = LCFWD_ROUTE_HOLDERS;

/* The holders that a VDC's deletion releases by bit number. The others end with what holds them. */
static constexpr bool released_holders[LCFWD_ROUTE_HOLDERS] = {false, true, true, true, false, true, false};

lcfwd_vdc_desc *lcfwd_vdc_row(uint32_t vdc_id) {
    return vdc_id < LCFWD_VDC_MIN || vdc_id > LCFWD_VDC_MAX ? nullptr : &lcfwd_vdc_desc_table[vdc_id];
}

lcfwd_vdc_desc *lcfwd_vdc_active_row(uint32_t vdc_id) {
    lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    return vdc != nullptr && (vdc->flags & LCFWD_VDC_ACTIVE) != 0 ? vdc : nullptr;
}

int lcfwd_vdc_router_mac(uint32_t vdc_id, uint8_t mac[6]) {
    static constexpr uint8_t none[6] = {};
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc == nullptr || std::memcmp(vdc->mac, none, sizeof none) == 0) return -1;
    std::memcpy(mac, vdc->mac, sizeof vdc->mac);
    return 0;
}

bool lcfwd_state_is_upgrade(uint32_t vdc_id) {
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    return vdc != nullptr && vdc->ufib_state == LCFWD_STATE_UPGRADING;
}

int lcfwd_vdc_del_rel_holder_lock_info_init() {
    if (vdc_del_rel_route_holder_lock_size != LCFWD_ROUTE_HOLDERS) {
        LCFWD_ERR("RHL info mismatch. ROUTE_HOLDER_MAX+1 = %u RHL info array size = %u", LCFWD_ROUTE_HOLDERS,
                  vdc_del_rel_route_holder_lock_size);
        return -1;
    }
    for (uint32_t holder = 0; holder < LCFWD_ROUTE_HOLDERS; holder++) {
        vdc_del_rel_route_holder_lock[holder] = {released_holders[holder], holder};
    }
    return 0;
}

static void domains_create(lcfwd_vdc_desc *vdc, bool restart) {
    for (uint32_t id = 0; id < LCFWD_DOMAIN_COUNT; id++) {
        const lcfwd_domain *domain = lcfwd_domain_get(static_cast<lcfwd_domain_id>(id));
        if (domain != nullptr && domain->vdc_create != nullptr) domain->vdc_create(vdc, restart);
        if (id == LCFWD_DOMAIN_UFIB) LCFWD_TRACE("DONE ufib VDC create\n");
    }
}

/* The reverse of creation: labels hang on unicast objects. */
static void domains_delete(lcfwd_vdc_desc *vdc) {
    for (uint32_t id = LCFWD_DOMAIN_COUNT; id-- > 0;) {
        const lcfwd_domain *domain = lcfwd_domain_get(static_cast<lcfwd_domain_id>(id));
        if (domain != nullptr && domain->vdc_delete != nullptr) domain->vdc_delete(vdc);
    }
}

/* States stay in locals: put into the row here, they would not count as changed, and nobody would be told. Only a VDC
 * whose deletion the last process did not live to end is recorded as not ready: it begins anew. */
static void vdc_info_restore(lcfwd_vdc_desc *vdc, uint32_t *ufib_state, uint32_t *mfib_state) {
    lcfwd_vdc_info info;
    if (lcfwd_pss_get_vdc_info(vdc->vdc_id, &info) == 0) return;
    if (info.ufib_state != LCFWD_STATE_NOT_READY) *ufib_state = info.ufib_state;
    if (info.mfib_state != LCFWD_STATE_NOT_READY) *mfib_state = info.mfib_state;
    std::memcpy(vdc->mac, info.mac, sizeof vdc->mac);
    vdc->router_mac = info.router_mac;
}

static void system_database_attach(uint32_t vdc_id) {
    if (sysmgr_set_vdc_ctxt(vdc_id) != 0) LCFWD_ERR("sysmgr_set_vdc_ctxt failed\n");
    if (l3vm_fsrv_sdb_init() != 0) LCFWD_ERR("l3vm_fsrv_sdb_init failed\n");
    sysmgr_reset_vdc_ctxt();
}

static void system_database_detach(uint32_t vdc_id) {
    if (sysmgr_set_vdc_ctxt(vdc_id) != 0) LCFWD_ERR("sysmgr_set_vdc_ctxt failed\n");
    l3vm_fsrv_sdb_close();
    sysmgr_reset_vdc_ctxt();
}

void lcfwd_vdc_create(uint32_t vdc_id, bool restart) {
    lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc == nullptr || (vdc->flags & LCFWD_VDC_ACTIVE) != 0) return;
    *vdc = {};
    vdc->vdc_id = static_cast<uint16_t>(vdc_id);
    lcfwd_platform_vdc_init(vdc_id, restart);
    LCFWD_TRACE("DONE platform vdc init\n");
    domains_create(vdc, restart);
    vdc->flags |= LCFWD_VDC_ACTIVE;
    uint32_t ufib_state = LCFWD_STATE_INITIALIZED;
    uint32_t mfib_state = LCFWD_STATE_INITIALIZED;
    if (restart) vdc_info_restore(vdc, &ufib_state, &mfib_state);
    system_database_attach(vdc_id);
    const char *restart_text = restart ? "TRUE" : "FALSE";
    if (is_lcfwd_lib) {
        LCFWD_TRACE("created VDC %u, restart %s, but report fib state at L3_Ready\n", vdc_id, restart_text);
    } else {
        lcfwd_commence_reporting(vdc, ufib_state, mfib_state);
        LCFWD_TRACE("created VDC %u, restart %s\n", vdc_id, restart_text);
    }
    /* A restart needs the records of the global objects, whether or not a batch ever comes. */
    lcfwd_pss_buf_commit();
}

void lcfwd_vdc_delete(uint32_t vdc_id) {
    lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc == nullptr || (vdc->flags & LCFWD_VDC_ACTIVE) == 0) return;
    if ((vdc->flags & LCFWD_VDC_DELETING) != 0) return;
    vdc->flags |= LCFWD_VDC_DELETING;
    domains_delete(vdc);
    lcfwd_stop_reporting(vdc, LCFWD_STATE_NOT_READY);
    if (!is_lcfwd_lib) vlan_close_bd_sdb(vdc_id);
    system_database_detach(vdc_id);
    lcfwd_pss_delete_vdc_info(vdc_id);
    lcfwd_platform_vdc_delete(vdc_id);
    vdc->flags &= static_cast<uint8_t>(~(LCFWD_VDC_ACTIVE | LCFWD_VDC_DELETING));
    vdc->vdc_id = 0;
    LCFWD_TRACE("\nDeleted VDC %u\n", vdc_id);
}

int lcfwd_create_active_vdcs() {
    LCFWD_TRACE("%s: restarting\n", __func__);
    uint32_t count = 0;
    uint16_t ids[LCFWD_VDC_MAX];
    lcfwd_pss_get_active_vdcs(&count, ids);
    for (uint32_t i = 0; i < count; i++) {
        LCFWD_TRACE("calling lcfwd_vdc_create for vdc %u\n", ids[i]);
        lcfwd_vdc_create(ids[i], true);
    }
    return 1;
}

void lcfwd_vdc_reset() {
    for (lcfwd_vdc_desc &vdc : lcfwd_vdc_desc_table) vdc = {};
    std::memset(vdc_del_rel_route_holder_lock, 0, sizeof vdc_del_rel_route_holder_lock);
    vdc_del_rel_route_holder_lock_size = LCFWD_ROUTE_HOLDERS;
    ufib_cur_vdc_id = 0;
}
