/* host/store/store_layout.h: the bytes of a database file, for its owner, for readers from outside and for tests.
 * docs/store.md tells the same in words. Byte order: the machine's (the files never leave it).
 *
 * A file is a row of pages of 4096 bytes. Page 0 holds the header twice. Each further page begins with a page head
 * that names its class; a class is a slot size. A record lies in one slot of the class that fits it closest, so the
 * length of a record decides its class, and a slot stays where it is for ever: no list, tree or index in the file
 * can be damaged, and a bad slot loses one record. Records above a page have a run of 2, 4, 8 ... pages to
 * themselves. Everything else (index, lists of free slots) is private to the owner and built at open. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr uint32_t STORE_LAYOUT_VERSION = 1;
constexpr uint32_t STORE_PAGE = 4096;
constexpr uint32_t STORE_PAGE_HEAD = 16;
constexpr uint32_t STORE_SLOT_HEAD = 8;
constexpr uint32_t STORE_SLOT_MIN = 16; /* of the smallest class */
constexpr uint32_t STORE_SECOND_HEADER = 2048;
constexpr uint32_t STORE_PAGES_MAX = 1u << 20; /* 4 GiB a file: a slot's place / 4 fits in 30 bits */
constexpr uint32_t STORE_CLASSES = 72;         /* 0 is a page without slots */
constexpr char STORE_MAGIC[8] = {'L', 'C', 'S', 'T', 'O', 'R', 'E', '\n'};
constexpr uint32_t STORE_PAGE_MAGIC = 0x65676170; /* "page" */

struct store_header {
    char magic[8];
    uint32_t layout;
    uint32_t page_size;
    uint32_t service_id;
    uint32_t key_size;
    uint32_t value_size;
    uint32_t zero;
    uint32_t check; /* over the 32 bytes before it */
    uint32_t zero2;
    uint64_t pages;      /* guarded: pages in use, this one included */
    uint64_t soft_limit; /* guarded: bytes */
    uint64_t over_limit; /* guarded: records that came when the soft limit was passed */
};
static_assert(sizeof(store_header) == 64);

struct store_page_head {
    uint32_t magic;
    uint32_t page; /* its own number */
    uint32_t slot_class;
    uint32_t check; /* over the 12 bytes before it */
};
static_assert(sizeof(store_page_head) == STORE_PAGE_HEAD);

/* A slot begins with its lengths (key in the low 8 bits, value in the high 24) and its check; then come the key and
 * the value. A free slot has lengths 0 and this check, so that a zeroed piece of a file is not taken for free. */
constexpr uint64_t STORE_SLOT_FREE = uint64_t{0x65657266} << 32; /* "free" */
constexpr uint32_t store_lengths(uint32_t key_len, uint32_t value_len) { return key_len | value_len << 8; }
constexpr uint32_t store_key_len(uint64_t head) { return head & 0xff; }
constexpr uint32_t store_value_len(uint64_t head) { return static_cast<uint32_t>(head) >> 8; }

/* A guarded word holds a u32 and its complement and is written with one store: it is whole or seen to be bad. */
constexpr uint64_t store_guard(uint32_t value) { return value | static_cast<uint64_t>(~value) << 32; }
constexpr bool store_guard_good(uint64_t word) {
    return static_cast<uint32_t>(word) == ~(word >> 32 | ~0ull << 32);
}

/* One hash for checks and for the index: a multiply and a shift for each 8 bytes. Each step can be undone, so a
 * change within one word always changes the result's 64 bits. */
inline uint64_t store_mix_step(uint64_t h, uint64_t word) {
    h = (h ^ word) * 0x9e3779b97f4a7c15ull;
    return h ^ h >> 32;
}
inline uint64_t store_mix(uint64_t seed, const void *bytes, size_t n) {
    const auto *p = static_cast<const uint8_t *>(bytes);
    uint64_t h = seed + n;
    uint64_t word;
    for (; n >= 8; n -= 8, p += 8) {
        std::memcpy(&word, p, 8);
        h = store_mix_step(h, word);
    }
    word = 0;
    if (n != 0) std::memcpy(&word, p, n);
    return store_mix_step(store_mix_step(h, word), 0xd6e8feb86659fd93ull);
}
inline uint32_t store_sum(uint64_t seed, const void *bytes, size_t n) {
    return static_cast<uint32_t>(store_mix(seed, bytes, n) >> 32);
}
/* The place is part of it: a page copied elsewhere is not believed. 'bytes' is the key with the value behind it. */
inline uint32_t store_slot_sum(uint64_t place, uint32_t lengths, const void *bytes) {
    const uint64_t seed = static_cast<uint64_t>(lengths) << 32 | place / 4;
    return store_sum(seed, bytes, (lengths & 0xff) + (lengths >> 8));
}

/* The class for a slot of 'need' bytes (slot head, key, value). */
uint32_t store_class_of(uint32_t need);
struct store_class {
    uint32_t slot_size; /* bytes, slot head included */
    uint32_t slots;     /* in a page, or 1 in a run */
    uint32_t pages;     /* of a run; 1 for all others */
};
extern const store_class *const store_classes; /* STORE_CLASSES rows */

inline uint32_t store_class_of_lengths(uint64_t head) {
    return store_class_of(STORE_SLOT_HEAD + store_key_len(head) + store_value_len(head));
}
inline uint64_t store_slot_place(uint32_t page, uint32_t slot_class, uint32_t slot) {
    return uint64_t{page} * STORE_PAGE + STORE_PAGE_HEAD +
           uint64_t{slot} * store_classes[slot_class].slot_size;
}
inline uint64_t store_slot_head(const uint8_t *slot) {
    uint64_t head;
    std::memcpy(&head, slot, sizeof head);
    return head;
}

/* Fills the fixed part of a header and its check. */
void store_header_make(store_header *header, uint32_t service_id, uint32_t key_size, uint32_t value_size);
enum store_header_state : int { STORE_HEADER_GOOD, STORE_HEADER_OTHER_LAYOUT, STORE_HEADER_BAD };
store_header_state store_header_check(const store_header *header);
/* Reads both headers of page 0 (STORE_PAGE bytes). '*out' is the believed one; its guarded words are the good ones
 * of either header, or 0. '*repaired': one of the two was bad. */
store_header_state store_header_read(const uint8_t *page, store_header *out, bool *repaired);

void store_page_head_make(store_page_head *head, uint32_t page, uint32_t slot_class);
bool store_page_head_good(const store_page_head *head, uint32_t page);
/* Whether the slot at 'slot', 'place' in its file, of class 'slot_class', holds a record to be believed. The whole
 * slot is readable. */
bool store_slot_good(const uint8_t *slot, uint64_t place, uint32_t slot_class);
/* The class of a page whose head is bad, told by its records: the one under which a slot is good; 0 when none.
 * 'room' bytes are readable from 'page_bytes' on. */
uint32_t store_page_class_guess(const uint8_t *page_bytes, size_t room, uint32_t page);
