/* codec/bmp4096.h: a set of 4096 bits, as it stands inside other structures. No message of its own. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct bmp4096 {
    uint32_t size;
    uint8_t bits[512];
};
static_assert(sizeof(bmp4096) == 516);
extern const tlvu_tbl bmp4096_tbl __attribute__((visibility("hidden")));
