#include "core/lcfwd_memory.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "host/system/mtrack.h"

#include <cstring>

static const char *const mem_names[LCFWD_MEM_COUNT] = {
    "LCFWD_MEM_fu_fsm_event_pair_t", "LCFWD_MEM_fu_mts_wrap_t",
    "LCFWD_MEM_fu_fsm_event_t",      "LCFWD_MEM_pss_datum_t",
    "LCFWD_MEM_fu_sb3_frame_t",      "LCFWD_MEM_mts_msg_info",
    "LCFWD_MEM_cmd_handle",          "LCFWD_MEM_srv_name",
    "LCFWD_MEM_vdc_stats",           "LCFWD_MEM_capture",
};
static_assert(LCFWD_MEM_COUNT == 10);

void lcfwd_mem_init() {
    if (mtrack_init("LCFWD Manager", LCFWD_UUID, mem_names, LCFWD_MEM_COUNT) != 0) {
        LCFWD_ERR("%s: mtrack_init failed\n", __func__);
    }
}

int __lcfwd_mem_type_t_find(const char *name) {
    for (uint32_t type = 0; name != nullptr && type < LCFWD_MEM_COUNT; type++) {
        if (std::strcmp(mem_names[type], name) == 0) return static_cast<int>(type);
    }
    return -1;
}

bool __lcfwd_mem_type_t_str2enum(const char *name, lcfwd_mem_type_t *out) {
    const int type = __lcfwd_mem_type_t_find(name);
    if (type < 0) return false;
    *out = static_cast<lcfwd_mem_type_t>(type);
    return true;
}
