#include "softfwd/softfwd_plan.h"

#include "softfwd/softfwd_engine.h"

#include <cstring>

enum fault_kind { FAULT_NTH, FAULT_HANDLE, FAULT_LATE_PREFIX, FAULT_LATE_NTH };

struct fault_item {
    fault_kind kind;
    softfwd_op op;
    uint32_t nth; /* calls still to come, counting this one */
    uint32_t count;
    uint32_t handle;
    uint32_t family;
    uint32_t mask_len;
    lpm_key key;
};

static struct {
    fault_item items[SOFTFWD_FAULTS_MAX];
    uint32_t count;
} plan;

static bool plan_add(const fault_item &item) {
    if (plan.count == SOFTFWD_FAULTS_MAX) return false;
    plan.items[plan.count++] = item;
    return true;
}

bool softfwd_fault_nth(softfwd_op op, uint32_t nth, uint32_t count) {
    return plan_add({FAULT_NTH, op, nth, count, 0, 0, 0, {}});
}

bool softfwd_fault_handle(softfwd_op op, uint32_t handle) {
    return plan_add({FAULT_HANDLE, op, 0, 0, handle, 0, 0, {}});
}

bool softfwd_fault_late_prefix(address_family family, const uint8_t *address, unsigned mask_len) {
    return plan_add(
        {FAULT_LATE_PREFIX, SOFTFWD_OP_COUNT, 0, 0, 0, family, mask_len, lpm_key_load(address, mask_len)});
}

bool softfwd_fault_late_nth(uint32_t nth) {
    return plan_add({FAULT_LATE_NTH, SOFTFWD_OP_COUNT, nth, 1, 0, 0, 0, {}});
}

void softfwd_fault_clear() { plan.count = 0; }

bool softfwd_plan_empty() { return plan.count == 0; }

/* Counts a call down; true for the call that was meant and, with a count, those that follow it. */
static bool nth_due(fault_item *item) {
    if (item->nth > 1) {
        item->nth--;
        return false;
    }
    if (item->count == 0) return false;
    item->count--;
    return true;
}

bool softfwd_plan_refuses(softfwd_op op, uint32_t handle) {
    bool refused = false;
    for (uint32_t i = 0; i < plan.count; i++) {
        fault_item *item = &plan.items[i];
        if (item->op != op) continue;
        if (item->kind == FAULT_NTH && nth_due(item)) refused = true;
        if (item->kind == FAULT_HANDLE && handle != 0 && item->handle == handle) refused = true;
    }
    return refused;
}

bool softfwd_plan_fails_late(const softfwd_prefix *entry) {
    bool fails = false;
    for (uint32_t i = 0; i < plan.count; i++) {
        fault_item *item = &plan.items[i];
        if (item->kind == FAULT_LATE_NTH && nth_due(item)) fails = true;
        if (item->kind == FAULT_LATE_PREFIX && item->family == entry->family &&
            item->mask_len == entry->mask_len && item->key.hi == entry->key.hi &&
            item->key.lo == entry->key.lo)
            fails = true;
    }
    return fails;
}
