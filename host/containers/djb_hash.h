/* host/containers/djb_hash.h: the byte hash of keys. */
#pragma once

#include <cstddef>
#include <cstdint>

/* h = 5381, then h = h * 33 + byte for each byte. The same on every machine; never stored. */
[[nodiscard]] inline uint32_t djb_hash(const void *bytes, size_t length) {
    const auto *at = static_cast<const uint8_t *>(bytes);
    uint32_t hash = 5381;
    for (size_t i = 0; i < length; i++) hash = hash * 33 + at[i];
    return hash;
}
