/* host/system/mtrack.h: heap blocks with an account for each kind of block, so that a leak has a name.
 * Units: bytes. One thread. Ownership: a block belongs to its caller until mtrack_free(). */
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t MTRACK_TYPES_MAX = 64;

struct mtrack_account {
    const char *name;     /* borrowed; null: the type has no name */
    uint32_t blocks;      /* in use */
    uint64_t bytes;       /* in use, without the service's own head */
    uint32_t allocations; /* ever */
    uint32_t failures;
};

/* Names the types 0 to count - 1. The texts are borrowed for the life of the process. EINVAL if there are
 * more than MTRACK_TYPES_MAX names; ENOMEM when a test asked for it with mtrack_fail_next_init(). */
[[nodiscard]] int mtrack_init(const char *title, uint32_t uuid, const char *const *names, uint32_t count);
void mtrack_fail_next_init();

/* A zeroed block, or null (counted). A type out of range is booked on type 0. */
[[nodiscard]] void *mtrack_calloc(uint32_t type, size_t bytes);
void mtrack_free(void *block); /* null is allowed */

/* The account of 'type', or null when out of range. */
[[nodiscard]] const mtrack_account *mtrack_account_get(uint32_t type);
[[nodiscard]] uint32_t mtrack_blocks_in_use(); /* over all types */

/* Forgets names and counts; blocks still in use may be freed afterwards without harm. */
void mtrack_reset();
