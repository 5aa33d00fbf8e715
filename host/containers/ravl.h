/* host/containers/ravl.h: balanced trees over objects of the caller, linked inside the objects.
 *
 * An object embeds a ravl_node; its key lies 'key_offset' bytes behind the node and does not change while it is in a
 * tree. An AVL tree with parent links: height-bounded, no allocation, next and previous in constant time on
 * average. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t RAVL_KEY_BYTES_MAX = 96;

struct ravl_node {
    ravl_node *left, *right, *parent;
    int32_t height; /* 1 for a leaf; 0 when not in a tree */
    uint32_t spare;
};

/* Compares two keys: 0 equal, 1 'a' is greater, 2 'a' is less. */
using ravl_compare = int (*)(const void *a, const void *b);

struct ravl_tree {
    ravl_node *root;
    ravl_compare compare; /* null: the bytes of the keys, as memcmp() */
    uint32_t key_bytes;
    uint32_t key_offset; /* from the node to the key */
    uint32_t count;
    uint32_t spare;
};

/* A place in a walk: the key last visited, so that it survives the removal of that object and any other change, and
 * may be copied and kept. */
struct ravl_iterator {
    const ravl_tree *tree;
    uint8_t key[RAVL_KEY_BYTES_MAX];
};

/* 'compare' may be null. 0, or EINVAL for a key of 0 or more than RAVL_KEY_BYTES_MAX bytes. */
int ravl_init(ravl_tree *tree, uint32_t key_bytes, uint32_t key_offset, ravl_compare compare);

/* 0; EEXIST when an equal key is in the tree (nothing changed). */
[[nodiscard]] int ravl_insert(ravl_tree *tree, ravl_node *node);
/* 0; ENOENT when the key is not in the tree or belongs to another object. */
int ravl_delete(ravl_tree *tree, ravl_node *node);

[[nodiscard]] ravl_node *ravl_lookup(const ravl_tree *tree, const void *key);
[[nodiscard]] inline bool ravl_is_empty(const ravl_tree *tree) { return tree->root == nullptr; }

/* Ascending order; null at the end. ravl_next_from_key(): the first object whose key is greater, whether 'key' is in
 * the tree or not. */
[[nodiscard]] ravl_node *ravl_first(const ravl_tree *tree);
[[nodiscard]] ravl_node *ravl_next(const ravl_node *node);
[[nodiscard]] ravl_node *ravl_next_from_key(const ravl_tree *tree, const void *key);

/* The iterator's first and next object; null at the end. */
[[nodiscard]] ravl_node *ravl_iterator_first(ravl_iterator *iterator, const ravl_tree *tree);
[[nodiscard]] ravl_node *ravl_iterator_next(ravl_iterator *iterator);

/* The object around a node: ravl_object<ufib_table>(node, offsetof(ufib_table, by_id)). Null stays null. */
template <typename object> [[nodiscard]] object *ravl_object(ravl_node *node, size_t node_offset) {
    return node == nullptr ? nullptr
                           : reinterpret_cast<object *>(reinterpret_cast<uint8_t *>(node) - node_offset);
}
