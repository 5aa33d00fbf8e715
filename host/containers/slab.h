/* host/containers/slab.h: pools of equal objects.
 *
 * Objects are 8-byte aligned, zeroed when given out, and never cost a call of the system's allocator each: a slab
 * takes chunks of 'per_slab' objects from one range of addresses of the process and keeps them until
 * slab_release_all(). Because of the one range a slab object also has a 31-bit number (slab_number), which the prefix
 * tries store instead of a pointer. Under the address sanitizer a freed object is poisoned.
 *
 * All slabs of the process are listed for memory accounting and leak checks. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct slab_chunk;

/* A slab; the members are for reading only. */
struct slab {
    char name[48];
    uint32_t element_bytes; /* as asked for, rounded up to 8 */
    uint32_t per_slab;
    uint32_t in_use; /* objects that are out; what is left at the end has leaked */
    uint32_t capacity;
    uint64_t calloc_count; /* since creation */
    uint64_t failures;
    uint32_t fail_countdown; /* fault knob: 0 off, 1 the next slab_calloc fails */
    void *free_head;
    uint8_t *fresh, *fresh_end; /* of the newest chunk: objects that were never out */
    slab_chunk *chunks;
    slab *next; /* in the list of all slabs */
};

/* Makes a slab of objects of 'element_bytes', 'per_slab' at a time. Null: no memory, or the sizes are 0. Slabs of one
 * name may exist side by side. */
[[nodiscard]] slab *slab_create(const char *name, size_t element_bytes, uint32_t per_slab);

/* A zeroed object, or null (no memory, or the fault knob). Give it back with slab_free() of the same slab. */
[[nodiscard]] void *slab_calloc(slab *pool);
void slab_free(slab *pool, void *object); /* null is ignored */

/* Chunks that the slab holds, in bytes (its own record included). */
[[nodiscard]] uint64_t slab_bytes(const slab *pool);

/* All slabs, newest first: for (slab *s = slab_first(); s; s = s->next). */
[[nodiscard]] slab *slab_first();
[[nodiscard]] slab *slab_find(const char *name); /* the newest of that name, or null */
[[nodiscard]] uint64_t slab_total_bytes();
[[nodiscard]] uint64_t slab_total_in_use();

/* Fault knob: the 'nth' slab_calloc from now on of the slab 'name' gives null, once (1 = the next; 0 = off). It
 * holds for a slab that is created later, too. With 'keep_failing' (of all knobs, the last word counts) each further
 * call fails as well. ENOSPC when more than 16 names wait. */
int slab_fail_nth(const char *name, uint32_t nth, bool keep_failing = false);

/* Gives all chunks of all slabs back and forgets the slabs and knobs: pointers to slabs are dead. */
void slab_release_all();

/* The number of an object in the range of all slabs, 1 to 2^31 - 1, or 0 when the address is not in the range; and
 * back. The numbers hold for the life of the process. */
[[nodiscard]] uint32_t slab_number(const void *object);
[[nodiscard]] void *slab_address(uint32_t number);
