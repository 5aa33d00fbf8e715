/* host/containers/lpm_arena.h: the memory of prefix tries.
 *
 * An arena is one run of bytes that any number of tries share (a thousand small tables cost what their routes
 * cost). Blocks are named by their number of 8-byte units from the base, never by address, so an arena may lie in
 * a shared-memory segment that each process maps elsewhere. Block sizes are exact multiples of a unit up to
 * LPM_BLOCK_UNITS_MAX, one free list each: a trie replaces blocks by blocks of almost the same size all the time,
 * and what one node lays down its neighbour picks up.
 *
 * The head (bump mark, free lists, counts) lies in memory that the caller gives, in the segment or elsewhere; the
 * handle 'lpm_arena' is private to the process. Only one process writes. The free lists need not survive a kill:
 * lpm_rebuild_*() makes them anew from the live tries.
 *
 * Errors are errno numbers. One writer thread. */
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t LPM_UNIT_BYTES = 8;
inline constexpr uint32_t LPM_BLOCK_UNITS_MAX = 100;        /* the largest block of a trie */
inline constexpr uint64_t LPM_ARENA_BYTES_MAX = 1ull << 33; /* references have 30 bits of units */
inline constexpr uint64_t LPM_ARENA_BYTES_MIN = 16 * 1024;

struct lpm_arena_head {
    uint64_t magic;
    uint32_t limit;       /* units that may be used now; raised by the grow hook */
    uint32_t bump;        /* first unit that was never given out */
    uint32_t free_units;  /* on the free lists */
    uint32_t held_units;  /* retired, not given back yet */
    uint64_t free_map[2]; /* bit n of the pair: the list of blocks of n units is not empty */
    uint32_t free_list[LPM_BLOCK_UNITS_MAX + 1]; /* by size in units; 0 ends a list */
    uint32_t first;                              /* the first unit that may be a block */
};

struct lpm_arena_hooks {
    /* Asks for at least 'units' usable units in all (the file is lengthened, pages are made writable). Returns the
     * new limit, or the old one when there is no more. Null: the arena keeps its size. */
    uint32_t (*grow)(void *ctx, uint32_t units);
    /* A block that no trie refers to any more, but that readers may still look at. The owner calls
     * lpm_arena_free() with the same numbers when no reader can be left. Null: it is reused at once. */
    void (*retire)(void *ctx, uint32_t block, uint32_t units);
    void *ctx;
};

/* A process's handle of an arena; borrows head and memory. */
struct lpm_arena {
    uint8_t *base;
    lpm_arena_head *head;
    lpm_arena_hooks hooks;
    uint64_t change_count;      /* rises with every change; a saved position of an older count is not used */
    uint64_t freed_since_merge; /* units */
    uint64_t reserved_bytes;    /* of a private arena: the range of addresses to give back */
};

/* Makes an empty arena over 'bytes' usable bytes at 'base' (8-byte aligned; at least LPM_ARENA_BYTES_MIN, at most
 * LPM_ARENA_BYTES_MAX). 'hooks' (copied) may be null; they are for this process alone. 0 or EINVAL. */
[[nodiscard]] int lpm_arena_init(lpm_arena *arena, lpm_arena_head *head, void *base, uint64_t bytes,
                                 const lpm_arena_hooks *hooks);

/* Takes over an arena that another (or an earlier) process filled. Its free lists are believed only for reading;
 * a writer goes on with lpm_rebuild_begin(). 'bytes' is what is mapped and usable now. 0, or EBADMSG when the
 * head is not that of an arena or does not fit 'bytes'. */
[[nodiscard]] int lpm_arena_attach(lpm_arena *arena, lpm_arena_head *head, void *base, uint64_t bytes,
                                   const lpm_arena_hooks *hooks);

/* A private arena of the process: reserves 'bytes' of addresses once (halving the wish while the system refuses),
 * and takes memory as it is used. The handle must stay where it is. 0 or ENOMEM. Give it back with
 * lpm_arena_private_destroy(). */
[[nodiscard]] int lpm_arena_private_create(lpm_arena *arena, uint64_t bytes);
void lpm_arena_private_destroy(lpm_arena *arena);

/* Gives a retired block back for reuse. */
void lpm_arena_free(lpm_arena *arena, uint32_t block, uint32_t units);

/* Bytes that live blocks take (head, free and retired blocks not counted), and bytes ever touched. */
[[nodiscard]] uint64_t lpm_arena_used_bytes(const lpm_arena *arena);
[[nodiscard]] uint64_t lpm_arena_touched_bytes(const lpm_arena *arena);

/* For the trie: takes 'count' blocks of 'units[i]' units each, all or none. Additions leave a reserve alone, so that a
 * full arena still lets routes go; removals ('for_removal') may use it. 0 or ENOMEM. */
[[nodiscard]] int lpm_arena_take(lpm_arena *arena, const uint32_t *units, unsigned count, bool for_removal,
                                 uint32_t *blocks);
/* Whether fresh memory for 'units' in all is there or can be had, beside the reserve. */
[[nodiscard]] bool lpm_arena_has_room(lpm_arena *arena, uint32_t units);
/* Retires a block through the hook, or frees it at once without one. A block larger than LPM_BLOCK_UNITS_MAX is
 * cut up when it is freed. */
void lpm_arena_retire(lpm_arena *arena, uint32_t block, uint32_t units);
/* Forgets the free lists and begins at 'bump'; then the gaps between live blocks are given one by one. */
void lpm_arena_restart(lpm_arena *arena, uint32_t bump);
void lpm_arena_give_gap(lpm_arena *arena, uint32_t unit, uint32_t units);
