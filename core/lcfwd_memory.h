/* core/lcfwd_memory.h: names of the kinds of memory that the system's accounting knows. */
#pragma once

#include <cstdint>

enum lcfwd_mem_type_t : uint32_t {
    LCFWD_MEM_fu_fsm_event_pair_t,
    LCFWD_MEM_fu_mts_wrap_t,
    LCFWD_MEM_fu_fsm_event_t,
    LCFWD_MEM_pss_datum_t,
    LCFWD_MEM_fu_sb3_frame_t,
    LCFWD_MEM_mts_msg_info,
    LCFWD_MEM_cmd_handle,
    LCFWD_MEM_srv_name,
    LCFWD_MEM_vdc_stats,
    LCFWD_MEM_capture,
    LCFWD_MEM_COUNT
};

void lcfwd_mem_init(); /* tells the names to the accounting service */

/* The index of a name in the enumeration, -1 when it is none. */
[[nodiscard]] int __lcfwd_mem_type_t_find(const char *name);

/* The same into '*out'. True when the name is one. */
[[nodiscard]] bool __lcfwd_mem_type_t_str2enum(const char *name, lcfwd_mem_type_t *out);
