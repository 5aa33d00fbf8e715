#include "core/lcfwd_db.h"

#include "host/system/system.h"
#include "host/trace/syslog.h"

uint32_t my_slot;
void *capbuf;
uint32_t max_slots;
bool is_lcfwd_lib;
bool lcfwd_restart;
bool lcfwd_stop_update;
bool issd_to_non_pic;
int application_is_healthy = 1;

static constexpr uint32_t capture_bytes = 32768;

int lcfwd_db_initialize() {
    my_slot = static_cast<uint32_t>(card_get_slot_num()) + 1;
    capbuf = capture_init(capture_bytes);
    if (capbuf == nullptr) return -1;
    plat_info info = {};
    max_slots = get_platform_info(&info) == 0 ? info.max_slots : 0;
    return 0;
}

void lcfwd_db_reset() {
    my_slot = 0;
    capbuf = nullptr;
    max_slots = 0;
    is_lcfwd_lib = false;
    lcfwd_restart = false;
    lcfwd_stop_update = false;
    issd_to_non_pic = false;
    application_is_healthy = 1;
}
