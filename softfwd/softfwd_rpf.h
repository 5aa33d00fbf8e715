/* softfwd/softfwd_rpf.h: reverse-path checks, the writing half: modes of interfaces, and where direct prefixes are
 * attached. For softfwd/ only. */
#pragma once

#include <cstdint>

/* Slots. intf: 0, or -1 when the table of modes is full (nothing has changed then). The others refresh what the engine
 * knows of a prefix's own interface; for others it follows the next objects. 0, or -1 for an unknown prefix. */
int softfwd_update_intf_rpf(uint32_t vdc_id, uint32_t if_index, uint8_t v4_mode, uint8_t v6_mode);
int softfwd_update_v4prefix_rpf(void *pfx);
int softfwd_update_v6prefix_rpf(void *pfx);

/* A direct prefix is attached to an interface; 0: no longer. When there is no room it passes no strict check. */
void softfwd_rpf_prefix_attach(uint32_t handle, uint32_t if_index);

/* The store has committed all modes. */
void softfwd_rpf_committed();
/* The recovery has told the modes that the store knows: others that it may not have known are none. */
void softfwd_rpf_recovered();

/* All modes of a VDC go with it. */
void softfwd_rpf_vdc_clear(uint32_t vdc_id);
