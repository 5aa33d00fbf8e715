/* host/containers/heap.h: single blocks from the system's allocator, for what is too rare or too varied for a slab: one
 * entry for all of them, so that a test can let any of them fail. Blocks are given back with std::free(). One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* A zeroed block of 'count' elements, or null: no memory, or the fault knob. */
[[nodiscard]] void *heap_calloc(size_t count, size_t element_bytes);

/* Fault knob: the 'nth' heap_calloc() from now on gives null (1 = the next; 0 = off), with 'keep_failing' each later
 * one too. Setting it forgets how often it has struck. */
void heap_fail_nth(uint32_t nth, bool keep_failing);
[[nodiscard]] uint32_t heap_fail_struck();
