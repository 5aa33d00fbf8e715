/* persist/lcfwd_pss_vdc.h: the two process-wide databases: one information record for each VDC that
 * exists, and the base of the per-VPN labels. Written at once, not with a batch: a restart needs them
 * whatever the batch did. */
#pragma once

#include "core/lcfwd_vdc_info.h"

#include <cstdint>

/* 1 or 0. */
int lcfwd_pss_insert_vdc_info(const lcfwd_vdc_desc *vdc);
int lcfwd_pss_get_vdc_info(uint32_t vdc_id, lcfwd_vdc_info *out);
int lcfwd_pss_delete_vdc_info(uint32_t vdc_id);

/* The ids of all VDCs that have a record, in store order, at most LCFWD_VDC_MAX of them; records that
 * cannot be are deleted. 'ids' has room for LCFWD_VDC_MAX. Always 1, with '*count' 0 when the database is
 * not open. */
int lcfwd_pss_get_active_vdcs(uint32_t *count, uint16_t *ids);

/* The base of the per-VPN labels. 1 or 0 (get: also when none is stored). */
int lcfwd_pss_get_pervpn_ilm_base(uint32_t *out);
int lcfwd_pss_insert_pervpn_ilm_base(uint32_t value);
