/* core/wire.h: bounds-checked reading of packed, big-endian records. A leaf that every folder may use.
 * A record is a struct of wire_be<> and uint8_t members only: alignment 1, no padding. So the struct is the
 * one description of the layout, for reader, writer, test and show output.
 * Units: all sizes are bytes. Errors: 0 or EBADMSG; after EBADMSG no argument has changed.
 * Ownership: a cursor borrows the message and must not outlive the call that received it. */
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

template <typename host> struct wire_be {
    uint8_t raw[sizeof(host)]; /* network order; no implicit conversion */
};

template <typename host> [[nodiscard]] constexpr host wire_get(wire_be<host> field) {
    static_assert(std::is_unsigned_v<host>);
    uint64_t value = 0;
    for (uint8_t byte : field.raw) value = value << 8 | byte;
    return static_cast<host>(value);
}

template <typename host> [[nodiscard]] constexpr wire_be<host> wire_put(host value) {
    static_assert(std::is_unsigned_v<host>);
    wire_be<host> field{};
    uint64_t rest = value;
    for (size_t i = sizeof(host); i-- > 0; rest >>= 8) field.raw[i] = static_cast<uint8_t>(rest);
    return field;
}

struct wire_cursor {
    const uint8_t *next;
    size_t left; /* unread bytes at 'next' */
};

/* Copies the next record to '*out' and steps over it. */
template <typename record> [[nodiscard]] int wire_take(wire_cursor *cursor, record *out) {
    static_assert(alignof(record) == 1 && std::is_trivially_copyable_v<record>);
    if (cursor->left < sizeof *out) return EBADMSG;
    std::memcpy(out, cursor->next, sizeof *out);
    cursor->next += sizeof *out;
    cursor->left -= sizeof *out;
    return 0;
}

/* The record at the cursor, read in place, or null when fewer bytes than it are left. Does not step. */
template <typename record> [[nodiscard]] const record *wire_peek(const wire_cursor &cursor) {
    static_assert(alignof(record) == 1 && std::is_trivially_copyable_v<record>);
    return cursor.left < sizeof(record) ? nullptr : reinterpret_cast<const record *>(cursor.next);
}
