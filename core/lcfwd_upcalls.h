/* core/lcfwd_upcalls.h: what the core calls of the platform boundary, which stands above it: declared here by name,
 * defined in platform/. The meaning of each stands in platform/lcfwd_platform.h and platform/ufib_platform.h. */
#pragma once

#include <cstdint>

struct cmd_handle;
struct mts_msg;

void lcfwd_platform_init(bool restart);
[[nodiscard]] int lcfwd_platform_mts_msg_handler(const mts_msg *message);
void lcfwd_platform_restart_recovery_start();
void lcfwd_platform_restart_recovery_end();
void lcfwd_platform_vdc_init(uint32_t vdc_id, bool restart);
void lcfwd_platform_vdc_delete(uint32_t vdc_id);
void lcfwd_platform_process_pervpn_ilm_base(uint32_t base);
void lcfwd_platform_reset();
void ufib_platform_cli_show_command(cmd_handle *handle, uint32_t vdc_id, uint32_t command);
