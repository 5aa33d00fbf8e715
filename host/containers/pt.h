/* host/containers/pt.h: the prefix trie of the model: network-order keys of 0 to 128 bits, records of the caller.
 *
 * All tries of the process share one arena, so an empty trie is eight bytes and a route costs about ten. A trie
 * stores a u32 for each record: a record that lies in a slab (slab.h: eight-byte aligned, within one range of
 * addresses) is its own number, so nothing is stored or allocated for it. A record from elsewhere is accepted too
 * and takes a row in a side table. There are no node objects: the walks hand out a copy of key, length and record,
 * which stays good whatever happens to the trie, so a walk that removes what it visits goes on from the copy.
 *
 * An exact look-up that misses and the add of the same key, one after the other, search once.
 *
 * One thread. Records are borrowed. Errors are errno numbers. */
#pragma once

#include "host/containers/lpm_trie.h"

#include <cstdint>

/* What tries of one kind have in common. */
struct pt_attr {
    uint32_t key_bytes; /* 4 or 16; the longest key is 8 times as many bits */
};

/* A trie. Zeroed it is empty; it may not be copied while it holds routes. */
struct pt_root {
    lpm_trie trie;
};

/* One route, copied out. */
struct pt_node {
    uint8_t key[16]; /* network order, zero behind 'bits' */
    uint32_t bits;
    void *record; /* never null */
};

/* The first two arguments are 0 and 1 (reserved). Null when 'key_bytes' is not 1 to 16, or there is no memory. */
[[nodiscard]] pt_attr *pt_attr_create(int reserved, int version, uint32_t key_bytes);
void pt_attr_destroy(pt_attr *attr);

[[nodiscard]] inline bool pt_is_empty(const pt_root *root) { return root->trie.root == 0; }
[[nodiscard]] inline uint32_t pt_count(const pt_root *root) { return root->trie.route_count; }

/* Adds a record. Bits of 'key' behind 'bits' are ignored. 0, EEXIST (the old record stays), EINVAL (too many bits,
 * null record), ENOMEM. */
[[nodiscard]] int pt_add(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, void *record);

/* Removes a record; does not touch the record itself. 0 or ENOENT. */
[[nodiscard]] int pt_delete(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits);

/* The record of exactly this prefix, or of the longest prefix that covers it. Null: none. */
[[nodiscard]] void *pt_lookup(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, bool exact);
/* The same, with key and length of what was found in '*out'. False, and '*out' untouched, when there is none. */
[[nodiscard]] bool pt_lookup_node(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, bool exact,
                                  pt_node *out);

/* Ordered walk: by address, then shorter length first. next: the first route behind (key, bits), also when that one
 * is gone by now; 'key' may point into '*out'. False at the end, with '*out' untouched. */
[[nodiscard]] bool pt_get_first_node(const pt_root *root, pt_node *out);
[[nodiscard]] bool pt_get_next_node(const pt_root *root, const uint8_t *key, uint32_t bits, pt_node *out);

/* Bytes that all tries of the process take, for memory accounting. */
[[nodiscard]] uint64_t pt_used_bytes();

/* Test knob: the n-th pt_add from now on fails with ENOMEM (1 = the next one), and with 'keep_failing' all that follow
 * it; 0 switches it off. */
void pt_fail_nth_add(uint32_t nth, bool keep_failing = false);

/* Forgets all tries of the process: their memory goes back, roots that still exist must be zeroed by their owners.
 * Called by containers_reset(). */
void pt_reset();
