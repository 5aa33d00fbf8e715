/* tools/lcfwdctl/wire_append.h: building a message record by record. */
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

/* Appends the bytes of a record: a struct without padding. */
template <typename record> void ctl_append(std::vector<uint8_t> *out, const record &value) {
    static_assert(std::is_trivially_copyable_v<record> && std::has_unique_object_representations_v<record>);
    const size_t at = out->size();
    out->resize(at + sizeof value);
    memcpy(out->data() + at, &value, sizeof value);
}
