/* core/lcfwd_export.h: entry points for a host process or the platform's layers; nothing in this process
 * calls them. C linkage: they are found by name. */
#pragma once

#include <cstdint>

extern "C" {
int lcfwd_inited_as_library(); /* the host calls it before anything else; always 1 */
void lcfwd_on_exit(int reason);
void lcfwd_sigterm_signal_handler(int signal); /* marks the process as not healthy; safe in a signal */
void lcfwd_sockopt_change(int socket);         /* makes a socket's receive buffer four times as wide */
void lcfwd_sp_mq_handler();                    /* does nothing */
int lcfwd_sysmgr_notify_init();                /* 1 */
int lcfwd_sysmgr_init();                       /* 1 */
int lcfwd_other_msg_handler();                 /* 0 */
int lcfwd_timer_msg_handler();                 /* 0 */

/* Writes the 24-byte VDC information record of an active VDC to 'out'. 0, or -1 for another id. */
int lcfwd_ha_get_vdc_info(uint32_t vdc_id, void *out);

void lcfwd_service_cleanup(); /* conditional clean-up has finished */
}
