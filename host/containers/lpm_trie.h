/* host/containers/lpm_trie.h: the prefix trie, for the model of the process and for tables that other processes read.
 *
 * What was chosen. A multibit trie, six bits a level, path compressed, every node exactly as large as its content:
 *  - A node at depth d (a multiple of six) holds the routes of d+1 to d+6 bits as two 64-bit maps (one numbered like
 *    a heap for the upper five levels, one for the sixth) and a third map of its up to 64 children. Behind the maps
 *    lie one u32 for each child and one u32 for each route. Longest match in a node is two mask operations; the
 *    place of a slot is a population count. Levels end at 24 and 48 bits, where most routes of the Internet are:
 *    a /24 and its 63 brothers are 64 bits of one map and 64 words, not 64 nodes.
 *  - A child that is a single route is a leaf of 8 to 24 bytes with the rest of its key; a run of levels without a
 *    branch is one skip block of the same form. So a lonely IPv6 host route costs one block, not fifteen nodes.
 *  - A full Internet table takes 9 (IPv4) to 13 (IPv6) bytes a route, so its upper levels stay in the cache and a look-up pays
 *    for one or two cache misses. Binary (radix) tries pay for one a bit; hash tables per length pay for one a
 *    length; direct tables are faster to read but cost tens of megabytes a table, and a short prefix is a thousand
 *    writes there.
 *  - A large dense table (most of the IPv4 Internet) gets a fan in place of its first three levels: a slot for each value
 *    of the first 18 bits. It costs one megabyte, once, and saves three of the four steps of a look-up.
 *  - References are u32 (30 bits of 8-byte units from the arena's base, 2 bits of kind): position independent.
 *
 * How it changes. An update builds new blocks beside the old ones and publishes them by ONE release store of a u32
 * slot (in a live node, or the root); a new value of an existing route is one such store too. So a reader at any
 * instant sees the trie before or after an update, and a writer that is killed at any instruction leaves it whole;
 * what it may leave behind is blocks that nothing refers to, which lpm_rebuild_*() finds again. Blocks that were
 * replaced go to the arena's retire hook, and through it back to lpm_arena_free() when no reader can be left.
 *
 * Threads: one writer; readers (lpm_match*, lpm_exact, lpm_next, lpm_first) in any number, without locks, also in other
 * processes, given that blocks are freed only after a grace period.
 *
 * Keys are left-aligned bits, most significant first; bits past the length of a route are ignored. IPv4 and IPv6
 * routes do not mix in one trie. Values are any u32 but 0. Errors are errno numbers. */
#pragma once

#include "host/containers/lpm_arena.h"

#include <cstddef>
#include <cstdint>

inline constexpr unsigned LPM_BITS_MAX = 128;

struct lpm_key {
    uint64_t hi, lo; /* bit 0 of the key is the top bit of 'hi' */
};

/* One trie. Zeroed it is empty; may lie in shared memory. 'root' is 0 iff the trie is empty, and is all that readers
 * use. 'route_count' is the writer's; after a kill it may be one off until the rebuild. */
struct lpm_trie {
    uint32_t root;
    uint32_t route_count;
};

struct lpm_entry {
    lpm_key key;
    uint32_t bits;
    uint32_t value;
};

/* Keys from an IPv4 address in host order, from network-order bytes (reads (bits + 7) / 8 of them), and back. */
inline lpm_key lpm_key_v4(uint32_t address) { return {static_cast<uint64_t>(address) << 32, 0}; }
[[nodiscard]] lpm_key lpm_key_load(const uint8_t *bytes, unsigned bits);
void lpm_key_store(const lpm_key &key, uint8_t *bytes, unsigned byte_count);

/* --- readers: 'base' is the arena's base in this process --- */

/* Longest match of a whole address. The value, or 0 when no route covers it; '*bits' (may be null) gets the length of
 * the route found. */
[[nodiscard]] uint32_t lpm_match(const void *base, const lpm_trie *trie, const lpm_key &address,
                                 unsigned *bits);

/* The same for IPv4 addresses in host order and for many at once: the look-ups overlap their cache misses.
 * 'values[i]' gets the value for 'addresses[i]', or 0. */
[[nodiscard]] uint32_t lpm_match_v4(const void *base, const lpm_trie *trie, uint32_t address);
void lpm_match_v4_many(const void *base, const lpm_trie *trie, const uint32_t *addresses, uint32_t *values,
                       size_t count);
void lpm_match_many(const void *base, const lpm_trie *trie, const lpm_key *addresses, uint32_t *values,
                    size_t count);

/* The longest route of at most 'max_bits' bits that covers the first 'max_bits' bits of 'key'. */
[[nodiscard]] uint32_t lpm_match_prefix(const void *base, const lpm_trie *trie, const lpm_key &key,
                                        unsigned max_bits, unsigned *bits);

/* The value of exactly this route, or 0. */
[[nodiscard]] uint32_t lpm_exact(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned bits);

/* Ordered walk: by address, then shorter length first. lpm_next() gives the first route after (key, bits), whether
 * that one is still there or not. False at the end, with '*out' untouched. */
[[nodiscard]] bool lpm_first(const void *base, const lpm_trie *trie, lpm_entry *out);
[[nodiscard]] bool lpm_next(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned bits,
                            lpm_entry *out);

/* --- the writer --- */

/* A place in a trie, kept between a look-up and the change that follows it. Used only as long as nothing in the arena
 * changed in between; else the change looks again by itself. Zero it before the first use. */
struct lpm_spot {
    const lpm_trie *trie;
    uint64_t change_count;
    lpm_key key;
    uint32_t root; /* of the trie then */
    uint32_t bits;
    uint32_t node_depth;  /* of the node below */
    uint32_t outer_depth; /* where 'outer' hangs */
    uint32_t tail_depth;  /* where 'tail' hangs */
    uint32_t *node;       /* the slot of the last node on the way, or null */
    uint32_t *outer;      /* the slot of the skip block over that node; 'node' when there is none */
    uint32_t *tail;  /* the slot of the leaf or skip where the way ended, or an empty root slot; or null */
    uint32_t *value; /* the route's value, or null */
};

/* lpm_exact() for the writer; remembers the place in '*spot' for lpm_add() and lpm_delete(). */
[[nodiscard]] uint32_t lpm_find(const lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits,
                                lpm_spot *spot);

/* Adds a route. 0; EEXIST when it is there already and 'replace' is false; with 'replace' its value is changed in
 * place. EINVAL for a value of 0 or a length over 128; ENOMEM with the trie as it was. 'spot' may be null. */
[[nodiscard]] int lpm_add(lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits, uint32_t value,
                          bool replace, lpm_spot *spot);

/* Removes a route. 0 or ENOENT; ENOMEM with the trie as it was, only when the arena is full to its reserve and the
 * blocks of earlier removals are all still held back: let a grace period end and call again. 'spot' may be null. */
[[nodiscard]] int lpm_delete(lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits,
                             lpm_spot *spot);

/* Removes all routes with one store; the blocks are retired. */
void lpm_clear(lpm_arena *arena, lpm_trie *trie);

/* Bytes of the blocks of one trie (walks it). */
[[nodiscard]] uint64_t lpm_trie_bytes(const void *base, const lpm_trie *trie);

/* --- recovery: which blocks are live is told by the tries, never by the free lists of a killed writer --- */

/* Marks in progress; private memory of one bit a unit. */
struct lpm_rebuild {
    lpm_arena *arena;
    uint64_t *marks;
    uint64_t mark_words;
    uint32_t live_units;
};

/* begin, one mark for each trie of the arena, end. Between begin and end nothing is changed in the arena.
 * begin: 0 or ENOMEM. mark: sets the trie's route count; 0, or EBADMSG when a reference is out of bounds, two
 * references name one block, or a block contradicts itself: the trie is damaged, and neither it nor what end() makes
 * of the arena may be used, unless the caller empties it (root = 0) and starts again from begin.
 * end: makes bump mark and free lists anew and gives the marks back; retired blocks of the dead writer are free. */
[[nodiscard]] int lpm_rebuild_begin(lpm_rebuild *rebuild, lpm_arena *arena);
[[nodiscard]] int lpm_rebuild_mark(lpm_rebuild *rebuild, lpm_trie *trie);
void lpm_rebuild_end(lpm_rebuild *rebuild);
/* Gives the marks back without touching the arena. */
void lpm_rebuild_cancel(lpm_rebuild *rebuild);
