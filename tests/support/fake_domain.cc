#include "tests/support/fake_domain.h"

#include "core/lcfwd_vdc.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform.h"

fake_domain_state fake_domains;

void fake_domains_reset() { fake_domains = {}; }

static void note(const char *domain, const std::string &what) {
    fake_domains.log.push_back(std::string(domain) + " " + what);
}

static std::string vdc_text(const lcfwd_vdc_desc *vdc) {
    return std::to_string(vdc->vdc_id) + ((vdc->flags & LCFWD_VDC_ACTIVE) != 0 ? " active" : "");
}

template <lcfwd_domain_id id> constexpr const char *name_of() {
    return id == LCFWD_DOMAIN_UFIB ? "ufib" : id == LCFWD_DOMAIN_MFIB ? "mfib" : "lfib";
}

template <lcfwd_domain_id id> static int pss_init(fu_init_arg *) {
    note(name_of<id>(), "pss_init");
    return fake_domains.pss_init_result;
}
template <lcfwd_domain_id id> static void init(bool restart) {
    note(name_of<id>(), restart ? "init restart" : "init");
    if (id == LCFWD_DOMAIN_UFIB) ufib_platform_bind(restart); /* the unicast domain binds its table */
}
template <lcfwd_domain_id id> static void vdc_create(lcfwd_vdc_desc *vdc, bool restart) {
    note(name_of<id>(), "vdc_create " + vdc_text(vdc) + (restart ? " restart" : ""));
    if (id != LCFWD_DOMAIN_UFIB) return;
    for (uint32_t kind : fake_domains.kinds) (void)lcfwd_pss_open(vdc->vdc_id, kind, 4, 21);
}
template <lcfwd_domain_id id> static void vdc_delete(lcfwd_vdc_desc *vdc) {
    note(name_of<id>(), "vdc_delete " + vdc_text(vdc));
    if (id != LCFWD_DOMAIN_UFIB) return;
    lcfwd_flush_pending_pss_updates();
    for (uint32_t kind : fake_domains.kinds) lcfwd_pss_close_file(vdc->vdc_id, kind);
}
template <lcfwd_domain_id id> static void restart_recovery() { note(name_of<id>(), "restart_recovery"); }
template <lcfwd_domain_id id> static int config_restore() {
    note(name_of<id>(), "config_restore");
    return fake_domains.config_restore_result;
}
template <lcfwd_domain_id id> static void reset() { note(name_of<id>(), "reset"); }
static int ascii_gen(void *) { return 0; }

template <lcfwd_domain_id id>
static constexpr lcfwd_domain table = {name_of<id>(),      pss_init<id>,   init<id>,
                                       vdc_create<id>,     vdc_delete<id>, restart_recovery<id>,
                                       config_restore<id>, reset<id>,      ascii_gen};

const lcfwd_domain *fake_domain(lcfwd_domain_id id) {
    return id == LCFWD_DOMAIN_UFIB   ? &table<LCFWD_DOMAIN_UFIB>
           : id == LCFWD_DOMAIN_MFIB ? &table<LCFWD_DOMAIN_MFIB>
                                     : &table<LCFWD_DOMAIN_LFIB>;
}
