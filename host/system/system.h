/* host/system/system.h: what the machine tells the process about itself and its start: restart reason, card
 * and slot, the context of system calls, yields and cycles. Tests and the start-up code set the answers in
 * 'host_system_config'; what was asked of the system is counted in 'host_system_counters'. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* What the machine answers. Settable at any time; host_system_reset() restores the values given here. */
struct host_system_config {
    int slot = 0;            /* of the card, from 0 */
    int card_id = 0;         /* software id of the card; 0 = no special card */
    uint32_t max_slots = 18; /* of the chassis */
    bool platform_info_fails = false;
    bool upgrade_restart = false;      /* the restart is a step of an upgrade */
    int service_type = 0;              /* 3: the service runs under a name of its own */
    int card_state = 1;                /* 1: this card is active */
    bool vdc_ctxt_fails = false;       /* sysmgr_set_vdc_ctxt and sysmgr_reset_vdc_ctxt report a failure */
    uint32_t yield_after_usec = 10000; /* run time after which a walk should yield */
    char fixed_priority_path[256] = "/proc/self/fixed_prio"; /* system paths: taken below the root */
    char log_directory[256] = "/var/sysmgr/tmp_logs";
};
extern host_system_config host_system;

struct host_system_counters {
    uint32_t yields;        /* tsp_sched_yield calls */
    uint32_t vdc_ctxt_sets; /* successful sysmgr_set_vdc_ctxt calls */
    uint32_t vdc_ctxt_resets;
    uint32_t confcheck_adds;
    uint32_t bad_feature_notices;
};
[[nodiscard]] const host_system_counters *host_system_counters_get();

/* Process teardown: configuration, counters, the current context, the capabilities and the memory accounts
 * are as at start. Blocks of mtrack_alloc() stay with their owners. */
void host_system_reset();

/* ---- process manager ---- */
[[nodiscard]] bool sysmgr_is_upgrade_restart();
[[nodiscard]] int sysmgr_srv_type_get();
[[nodiscard]] int sysmgr_cardstate_get();

/* Sets, and takes back, the context (VDC) that following system calls work in. 0 or an errno. */
[[nodiscard]] int sysmgr_set_vdc_ctxt(uint32_t vdc_id);
int sysmgr_reset_vdc_ctxt();
[[nodiscard]] uint32_t sysmgr_vdc_ctxt_get(); /* 0: none is set */

/* ---- card ---- */
struct plat_info {
    uint32_t max_slots;
};
[[nodiscard]] int get_platform_info(plat_info *out); /* 0, or ENODEV with '*out' unchanged */
[[nodiscard]] int card_get_slot_num();               /* from 0 */
[[nodiscard]] int pfm_get_sw_card_id_from_module(int module);

/* ---- configuration checker ---- */
/* Notes that a capability is in use, so that a downgrade that lacks it can be refused. The newest 64 are
 * kept. */
void confcheck_add_cap(uint32_t queue, uint32_t capability, uint32_t uuid, int arg1, int arg2);
[[nodiscard]] bool confcheck_has_cap(uint32_t capability);

/* ---- feature manager ---- */
/* Reads a notice: u32 feature set, u32 status, big-endian; status 1 installed, 2 disabled, 3 enabled, others
 * none. 0, or EBADMSG (counted; the outputs are unchanged) when the payload is null or shorter than 8 bytes.
 */
[[nodiscard]] int fm_get_feature_set_status_from_notif(const void *payload, size_t size,
                                                       uint32_t *feature_set, uint32_t *status);

/* ---- scheduling ---- */
/* True when the process ran for yield_after_usec since its last yield (or since the first question). */
[[nodiscard]] bool tsp_should_sched_yield();
/* Gives the processor to whoever waits for it. No handler of this process runs inside. */
void tsp_sched_yield();

/* ---- cycles ---- */
/* A cycle here is a nanosecond of the injected monotonic clock. */
[[nodiscard]] uint64_t timer_get_cycles();
[[nodiscard]] uint64_t timer_diff_cycle_in_usec(uint64_t start, uint64_t end);
