/* platform/lcfwd_platform.h: the process-wide table of operations with the platform forwarding library.
 * The library fills the table once, at start-up; a slot that it leaves alone keeps its default, which does no work
 * and returns a fixed value. All calls run on the process's one thread and do not block. */
#pragma once

#include <cstdint>

struct lcfwd_vdc_desc;
struct mts_msg;

/* Slots in the order that libraries are built against. */
struct lcfwd_platform_api {
    int (*is_local_hwfe_present)();             /* a forwarding engine is on this card; default 0 */
    int (*mts_msg_handler)(const mts_msg *msg); /* every message of fib_q_mts_pd; default 0 */
    void (*restart_recovery_start)();           /* before the domains recover */
    void (*restart_recovery_end)();             /* after the domains recovered */
    int (*get_active_vdcs)(uint32_t *bitmap);   /* VDCs active at restart, bit n for id n; default 0 */
    void (*pss_buf_commit)();                   /* flush the library's own buffered records */
    void (*vdc_init)(uint32_t vdc_id, bool restart);
    void (*vdc_delete)(uint32_t vdc_id);
    int (*get_hwfe_type)();                         /* kind of forwarding engine; default 0 */
    int (*is_mpls_capable)();                       /* default 0 */
    int (*is_lisp_capable)();                       /* default 0 */
    int (*is_otv_capable)();                        /* default 0 */
    void (*process_pervpn_ilm_base)(uint32_t base); /* the per-VPN label base, live or from the store */
};
static_assert(sizeof(lcfwd_platform_api) == 13 * sizeof(void *));

void lcfwd_platform_api_default_init(lcfwd_platform_api *api); /* stores a default in every slot */

/* Zeroes the table, stores the defaults, lets the chosen library fill it. 'restart' is the restart flag. */
void lcfwd_platform_init(bool restart);

/* Wrappers, one a slot. */
[[nodiscard]] int lcfwd_platform_is_local_hwfe_present();
[[nodiscard]] int lcfwd_platform_mts_msg_handler(const mts_msg *msg);
void lcfwd_platform_restart_recovery_start();
void lcfwd_platform_restart_recovery_end();
[[nodiscard]] int lcfwd_platform_get_active_vdcs(uint32_t *bitmap);
void lcfwd_platform_pss_buf_commit();
void lcfwd_platform_vdc_init(uint32_t vdc_id, bool restart);
void lcfwd_platform_vdc_delete(uint32_t vdc_id);
[[nodiscard]] int lcfwd_platform_get_hwfe_type();
[[nodiscard]] int lcfwd_platform_is_mpls_capable();
[[nodiscard]] int lcfwd_platform_is_lisp_capable();
[[nodiscard]] int lcfwd_platform_is_otv_capable();
void lcfwd_platform_process_pervpn_ilm_base(uint32_t base);

/* Process-wide accessors for the library; C linkage, so that one that is loaded at run time finds them by name. */
extern "C" {
[[nodiscard]] const lcfwd_vdc_desc *lcfwd_pi_vdc_get_desc(uint32_t vdc_id); /* null outside 1 to 5 */
[[nodiscard]] int lcfwd_pi_vdc_is_active(uint32_t vdc_id);                  /* 0 or 1 */
int lcfwd_pi_get_router_mac(uint32_t vdc_id, uint8_t mac[6]);               /* 0, or -1 when not known */
void lcfwd_pi_lcfwd_pss_buf_commit(); /* the library says: a hardware write batch has completed */
}
