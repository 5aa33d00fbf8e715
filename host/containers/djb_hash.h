/* host/containers/djb_hash.h: the byte hash of keys. */
#pragma once

#include <cstddef>
#include <cstdint>

/* h = 5381, then h = h * 33 + byte for each byte. The same on every machine; never stored. Four bytes a step: the
 * multiplications of single bytes would wait for each other, and keys are up to kilobytes long. */
[[nodiscard]] inline uint32_t djb_hash(const void *bytes, size_t length) {
    const auto *at = static_cast<const uint8_t *>(bytes);
    uint32_t hash = 5381;
    for (; length >= 4; length -= 4, at += 4)
        hash =
            hash * (33u * 33 * 33 * 33) + at[0] * (33u * 33 * 33) + at[1] * (33u * 33) + at[2] * 33u + at[3];
    for (; length > 0; length--, at++) hash = hash * 33 + *at;
    return hash;
}
