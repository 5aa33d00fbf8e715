#include "host/system/system.h"

#include "host/system/mtrack.h"
#include "host/timer/clock.h"

#include <algorithm>
#include <cerrno>
#include <sched.h>

static constexpr uint32_t CONFCHECK_CAPS_MAX = 64;

struct system_state {
    host_system_counters counters;
    uint32_t vdc_ctxt;
    uint64_t last_yield; /* cycles; 0: nobody asked yet */
    uint32_t caps[CONFCHECK_CAPS_MAX];
    uint32_t cap_count; /* ever */
};

host_system_config host_system;
static system_state state;

const host_system_counters *host_system_counters_get() { return &state.counters; }

void host_system_reset() {
    host_system = {};
    state = {};
    mtrack_reset();
}

bool sysmgr_is_upgrade_restart() { return host_system.upgrade_restart; }
int sysmgr_srv_type_get() { return host_system.service_type; }
int sysmgr_cardstate_get() { return host_system.card_state; }

int sysmgr_set_vdc_ctxt(uint32_t vdc_id) {
    if (host_system.vdc_ctxt_fails) return EIO;
    if (vdc_id == 0) return EINVAL;
    state.vdc_ctxt = vdc_id;
    state.counters.vdc_ctxt_sets++;
    return 0;
}

int sysmgr_reset_vdc_ctxt() {
    if (host_system.vdc_ctxt_fails) return EIO;
    state.vdc_ctxt = 0;
    state.counters.vdc_ctxt_resets++;
    return 0;
}

uint32_t sysmgr_vdc_ctxt_get() { return state.vdc_ctxt; }

int get_platform_info(plat_info *out) {
    if (host_system.platform_info_fails) return ENODEV;
    out->max_slots = host_system.max_slots;
    return 0;
}

int card_get_slot_num() { return host_system.slot; }
int pfm_get_sw_card_id_from_module(int) { return host_system.card_id; }

void confcheck_add_cap(uint32_t, uint32_t capability, uint32_t, int, int) {
    state.caps[state.cap_count++ % CONFCHECK_CAPS_MAX] = capability;
    state.counters.confcheck_adds++;
}

bool confcheck_has_cap(uint32_t capability) {
    const uint32_t kept = std::min(state.cap_count, CONFCHECK_CAPS_MAX);
    return std::find(state.caps, state.caps + kept, capability) != state.caps + kept;
}

static uint32_t read_u32(const uint8_t *bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

int fm_get_feature_set_status_from_notif(const void *payload, size_t size, uint32_t *feature_set,
                                         uint32_t *status) {
    if (payload == nullptr || size < 8) {
        state.counters.bad_feature_notices++;
        return EBADMSG;
    }
    const auto *bytes = static_cast<const uint8_t *>(payload);
    *feature_set = read_u32(bytes);
    *status = read_u32(bytes + 4);
    return 0;
}

bool tsp_should_sched_yield() {
    const uint64_t now = timer_get_cycles();
    if (state.last_yield == 0) state.last_yield = now;
    return timer_diff_cycle_in_usec(state.last_yield, now) >= host_system.yield_after_usec;
}

void tsp_sched_yield() {
    state.counters.yields++;
    sched_yield();
    state.last_yield = timer_get_cycles();
}

uint64_t timer_get_cycles() { return host_clock_monotonic_ns(); }
uint64_t timer_diff_cycle_in_usec(uint64_t start, uint64_t end) { return (end - start) / 1000; }
