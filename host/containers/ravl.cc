#include "host/containers/ravl.h"

#include <cerrno>
#include <cstring>

static const void *key_of(const ravl_tree *tree, const ravl_node *node) {
    return reinterpret_cast<const uint8_t *>(node) + tree->key_offset;
}

/* 0 equal, 1 'a' is greater, 2 'a' is less. */
static int compare_keys(const ravl_tree *tree, const void *a, const void *b) {
    if (tree->compare != nullptr) return tree->compare(a, b);
    const int order = std::memcmp(a, b, tree->key_bytes);
    return order == 0 ? 0 : order > 0 ? 1 : 2;
}

int ravl_init(ravl_tree *tree, uint32_t key_bytes, uint32_t key_offset, ravl_compare compare) {
    *tree = {};
    if (key_bytes == 0 || key_bytes > RAVL_KEY_BYTES_MAX) return EINVAL;
    tree->key_bytes = key_bytes;
    tree->key_offset = key_offset;
    tree->compare = compare;
    return 0;
}

/* --- balance --- */

static int32_t height_of(const ravl_node *node) { return node == nullptr ? 0 : node->height; }

static void height_update(ravl_node *node) {
    const int32_t left = height_of(node->left), right = height_of(node->right);
    node->height = (left > right ? left : right) + 1;
}

/* Puts 'with' (may be null) where 'node' hangs. */
static void replace_child(ravl_tree *tree, ravl_node *node, ravl_node *with) {
    ravl_node *parent = node->parent;
    if (parent == nullptr)
        tree->root = with;
    else if (parent->left == node)
        parent->left = with;
    else
        parent->right = with;
    if (with != nullptr) with->parent = parent;
}

/* Rotates 'node' down; its child on 'side' comes up and is returned. */
static ravl_node *rotate(ravl_tree *tree, ravl_node *node, ravl_node *ravl_node::*side,
                         ravl_node *ravl_node::*other) {
    ravl_node *up = node->*side;
    replace_child(tree, node, up);
    node->*side = up->*other;
    if (node->*side != nullptr) (node->*side)->parent = node;
    up->*other = node;
    node->parent = up;
    height_update(node);
    height_update(up);
    return up;
}

static ravl_node *lean_fix(ravl_tree *tree, ravl_node *node, ravl_node *ravl_node::*side,
                           ravl_node *ravl_node::*other) {
    ravl_node *child = node->*side;
    if (height_of(child->*side) < height_of(child->*other)) (void)rotate(tree, child, other, side);
    return rotate(tree, node, side, other);
}

static void rebalance_up(ravl_tree *tree, ravl_node *node) {
    while (node != nullptr) {
        const int32_t before = node->height;
        const int32_t lean = height_of(node->left) - height_of(node->right);
        if (lean > 1)
            node = lean_fix(tree, node, &ravl_node::left, &ravl_node::right);
        else if (lean < -1)
            node = lean_fix(tree, node, &ravl_node::right, &ravl_node::left);
        else
            height_update(node);
        if (node->height == before) return;
        node = node->parent;
    }
}

/* --- changes --- */

int ravl_insert(ravl_tree *tree, ravl_node *node) {
    ravl_node *parent = nullptr, **link = &tree->root;
    while (*link != nullptr) {
        parent = *link;
        const int order = compare_keys(tree, key_of(tree, node), key_of(tree, parent));
        if (order == 0) return EEXIST;
        link = order == 1 ? &parent->right : &parent->left;
    }
    *node = {nullptr, nullptr, parent, 1, 0};
    *link = node;
    tree->count++;
    rebalance_up(tree, parent);
    return 0;
}

static ravl_node *lowest(ravl_node *node) {
    while (node != nullptr && node->left != nullptr) node = node->left;
    return node;
}

/* Puts the next greater node, which has no left child, into the place of 'node', which has two. */
static ravl_node *replace_by_next(ravl_tree *tree, ravl_node *node) {
    ravl_node *next = lowest(node->right);
    ravl_node *changed = next->parent == node ? next : next->parent;
    if (next->parent != node) {
        replace_child(tree, next, next->right);
        next->right = node->right;
        next->right->parent = next;
    }
    replace_child(tree, node, next);
    next->left = node->left;
    next->left->parent = next;
    next->height = node->height;
    return changed;
}

int ravl_delete(ravl_tree *tree, ravl_node *node) {
    if (ravl_lookup(tree, key_of(tree, node)) != node) return ENOENT;
    ravl_node *changed = node->parent;
    if (node->left == nullptr)
        replace_child(tree, node, node->right);
    else if (node->right == nullptr)
        replace_child(tree, node, node->left);
    else
        changed = replace_by_next(tree, node);
    *node = {};
    tree->count--;
    rebalance_up(tree, changed);
    return 0;
}

/* --- look-ups and order --- */

ravl_node *ravl_lookup(const ravl_tree *tree, const void *key) {
    ravl_node *node = tree->root;
    while (node != nullptr) {
        const int order = compare_keys(tree, key, key_of(tree, node));
        if (order == 0) return node;
        node = order == 1 ? node->right : node->left;
    }
    return nullptr;
}

ravl_node *ravl_first(const ravl_tree *tree) { return lowest(tree->root); }

ravl_node *ravl_next(const ravl_node *node) {
    if (node->right != nullptr) return lowest(node->right);
    while (node->parent != nullptr && node->parent->right == node) node = node->parent;
    return node->parent;
}

ravl_node *ravl_next_from_key(const ravl_tree *tree, const void *key) {
    ravl_node *node = tree->root, *best = nullptr;
    while (node != nullptr) {
        if (compare_keys(tree, key, key_of(tree, node)) == 2) {
            best = node;
            node = node->left;
        } else {
            node = node->right;
        }
    }
    return best;
}

static ravl_node *iterator_visit(ravl_iterator *iterator, ravl_node *node) {
    if (node != nullptr) std::memcpy(iterator->key, key_of(iterator->tree, node), iterator->tree->key_bytes);
    return node;
}

ravl_node *ravl_iterator_first(ravl_iterator *iterator, const ravl_tree *tree) {
    iterator->tree = tree;
    return iterator_visit(iterator, ravl_first(tree));
}

ravl_node *ravl_iterator_next(ravl_iterator *iterator) {
    return iterator_visit(iterator, ravl_next_from_key(iterator->tree, iterator->key));
}
