#include "host/containers/heap.h"

#include <cstdlib>

static struct {
    uint32_t countdown; /* 0: off */
    uint32_t struck;
    bool keep_failing;
} knob;

static bool knob_strikes() {
    if (knob.countdown == 0) return false;
    if (knob.countdown > 1) {
        knob.countdown--;
        return false;
    }
    knob.countdown = knob.keep_failing ? 1 : 0;
    knob.struck++;
    return true;
}

void *heap_calloc(size_t count, size_t element_bytes) {
    return knob_strikes() ? nullptr : std::calloc(count, element_bytes);
}

void heap_fail_nth(uint32_t nth, bool keep_failing) { knob = {nth, 0, keep_failing}; }

uint32_t heap_fail_struck() { return knob.struck; }
