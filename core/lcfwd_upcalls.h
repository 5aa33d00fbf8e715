/* core/lcfwd_upcalls.h: what the core calls of the store layer and the platform boundary, which stand
 * above it: declared here by name, defined there. The meaning of each stands in the headers of persist/
 * and platform/. */
#pragma once

#include <cstdint>

struct cmd_handle;
struct lcfwd_vdc_desc;
struct lcfwd_vdc_info;
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

int lcfwd_pss_open_files();
int lcfwd_pss_insert_vdc_info(const lcfwd_vdc_desc *vdc);
int lcfwd_pss_get_vdc_info(uint32_t vdc_id, lcfwd_vdc_info *out);
int lcfwd_pss_delete_vdc_info(uint32_t vdc_id);
int lcfwd_pss_get_active_vdcs(uint32_t *count, uint16_t *ids);
int lcfwd_pss_get_pervpn_ilm_base(uint32_t *out);
void lcfwd_pss_buf_commit();
void lcfwd_pss_reset();
