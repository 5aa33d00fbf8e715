#include "softfwd/softfwd_space.h"

#include "softfwd/softfwd_engine.h"

#include <cstring>

static constexpr uint8_t PATTERN = 0x5a;

void softfwd_space_fill(const softfwd_space &space) {
    if (space.bytes != nullptr && space.length != 0) memset(space.bytes, PATTERN, space.length);
}

void softfwd_space_check(const softfwd_space &space) {
    if (space.bytes == nullptr) return;
    const auto *bytes = static_cast<const uint8_t *>(space.bytes);
    for (uint32_t i = 0; i < space.length; i++) {
        if (bytes[i] == PATTERN) continue;
        softfwd_state.head->counters.space_overruns++;
        return;
    }
}
