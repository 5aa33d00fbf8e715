/* core/lcfwd_opcodes.h: which queue and handler each message opcode has: three tables, merged once at
 * start-up. Opcode numbers are the message bus's. A row whose handler is null is accepted and dropped. */
#pragma once

#include "host/engine/engine.h"

#include <cstddef>
#include <cstdint>

constexpr uint32_t LCFWD_MSG_OPTION_1 = 0x1; /* bits 0 to 2: delivery options 1, 2 and 16 of the opcode */
constexpr uint32_t LCFWD_MSG_OPTION_2 = 0x2;
constexpr uint32_t LCFWD_MSG_OPTION_16 = 0x4;
constexpr uint32_t LCFWD_MSG_NO_OPTION = 0x8; /* leave the opcode's options alone */

extern const mts_row lcfwd_mts_sys_msg_info_array[];
extern const size_t lcfwd_mts_sys_msg_info_count;
extern const mts_row lcfwd_mts_msg_info_array[];
extern const size_t lcfwd_mts_msg_info_count;
extern const mts_row lcfwd_mts_cmi_msg_info_array[];
extern const size_t lcfwd_mts_cmi_msg_info_count;

/* The merged list: system, main, command rows, in that order. The framework's opcode hash is built from
 * it. */
extern mts_row *mts_msg_info_ptr;
extern uint32_t lcfwd_sizeof_mts_msg_info_array; /* rows */

/* Makes the merged list; a second call does nothing. 0, or 67 when there is no memory. */
[[nodiscard]] int lcfwd_create_mts_opc_list();

/* Sets the delivery options that a row asks for. 0, or the exit code 65 (see lcfwd_exit). */
[[nodiscard]] int lcfwd_mts_set_msg_options(const mts_row *row);

void lcfwd_opcodes_reset(); /* process teardown in tests: frees the list */
