/* softfwd/softfwd_file.h: one shared file and its mapping. For softfwd/ only. Files lie below the root directory and are
 * private to the user. Errors are errno numbers. */
#pragma once

#include "softfwd/softfwd_layout.h"

#include <cstddef>
#include <cstdint>

struct softfwd_file { /* zeroed but for fd -1: not open */
    int fd = -1;
    uint8_t *base = nullptr;
    uint64_t bytes = 0;
};

/* The path of a file of the slot, below the root: 'suffix' is "", "_readers" or "_counters". 0 or ENAMETOOLONG. */
inline constexpr size_t SOFTFWD_PATH_MAX = 512;
[[nodiscard]] int softfwd_path(uint32_t slot, const char *suffix, char out[SOFTFWD_PATH_MAX]);

/* Opens an existing file and maps all of it. 'minimum': EPROTO when it is shorter. On an error 'file' is not open. */
[[nodiscard]] int softfwd_file_open(softfwd_file *file, const char *path, bool writable, uint64_t minimum);

/* Makes a file of zeros without a name in force yet: '<path>.new' (an old one is removed), sparse. */
[[nodiscard]] int softfwd_file_create(softfwd_file *file, const char *path, uint64_t bytes);
/* Puts the created file in the place of 'path'; whoever has the old one mapped keeps it. */
[[nodiscard]] int softfwd_file_publish(const char *path);

void softfwd_file_close(softfwd_file *file);

/* Makes the bytes [region start, region start + 'wanted') of a region usable, in steps so large that this is seldom
 * called; without it, a full disk would kill the process at a touch. 0, ENOSPC when the region or the machine has no
 * more (then nothing changed). */
[[nodiscard]] int softfwd_region_ensure(const softfwd_file *file, softfwd_region *region, uint64_t wanted);

/* Exclusive lock of one byte, dropped by the system when the process ends. False: somebody else has it. */
[[nodiscard]] bool softfwd_file_lock(int fd, uint64_t byte);
void softfwd_file_unlock(int fd, uint64_t byte);
/* Whether somebody else holds the lock. */
[[nodiscard]] bool softfwd_file_is_locked(int fd, uint64_t byte);

/* A number that differs each time, for telling files apart. */
[[nodiscard]] uint64_t softfwd_identity();
