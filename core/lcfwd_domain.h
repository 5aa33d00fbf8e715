/* core/lcfwd_domain.h: what the core expects of a domain (unicast, multicast, labels). A domain is one
 * table of functions; a null function means that the domain has nothing to do at that point, a null table
 * that the domain is not part of this build. Tables are bound once, before start-up, by the program. One
 * thread. */
#pragma once

#include <cstdint>

struct lcfwd_vdc_desc;
struct fu_init_arg;

struct lcfwd_domain {
    const char *name;
    int (*pss_init)(fu_init_arg *args); /* adds store services to the framework's arguments; 0 or an error */
    void (*init)(bool restart);         /* once, in service start-up */
    void (*vdc_create)(lcfwd_vdc_desc *vdc, bool restart);
    void (*vdc_delete)(lcfwd_vdc_desc *vdc);
    void (*restart_recovery)(); /* all VDCs, before the first message is read */
    int (*config_restore)();    /* stored configuration, cold start only; 0 or an error */
    void (*reset)(); /* process teardown in tests: frees everything, touches no hardware, no store */
    int (*ascii_gen)(void *context) = nullptr; /* dumps the state for the framework */
};

enum lcfwd_domain_id { LCFWD_DOMAIN_UFIB, LCFWD_DOMAIN_MFIB, LCFWD_DOMAIN_LFIB, LCFWD_DOMAIN_COUNT };

/* Binds a domain (borrowed for the life of the process); null unbinds. */
void lcfwd_domain_bind(lcfwd_domain_id id, const lcfwd_domain *domain);
[[nodiscard]] const lcfwd_domain *lcfwd_domain_get(lcfwd_domain_id id);
