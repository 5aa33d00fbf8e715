/* ufib/ufib_dbel.h: hash buckets of shared next objects. Their keys are hundreds of bytes long, so they lie in a tree
 * by the 32-bit hash of the key; a node of it, a dbel, lists the objects of one hash. One thread. */
#pragma once

#include "core/ufib_err.h"
#include "host/containers/ravl.h"
#include "host/containers/sll.h"

#include <cstdint>

struct slab;

struct ufib_dbel {
    ravl_node by_hash;
    uint32_t hash;
    sll_list objects; /* not empty */
};

struct ufib_dbel_kind { /* what the buckets of one kind of object have in common */
    const char *name;   /* in log lines */
    const char *slab_name;
    ufib_err_code err_slab; /* the pool cannot be made */
    ufib_err_code err_alloc;
    slab *pool; /* made at the first use */
};

void ufib_dbel_tree_init(ravl_tree *tree);
[[nodiscard]] ufib_dbel *ufib_dbel_search(const ravl_tree *tree, uint32_t hash);
[[nodiscard]] ufib_dbel *ufib_dbel_get_first(const ravl_tree *tree);
[[nodiscard]] ufib_dbel *ufib_dbel_get_next(const ufib_dbel *dbel);
/* A walk over all objects, taken up again: what follows the first 'passed' objects of a hash, whose bucket may be gone
 * or shorter by now. Null at the end. */
[[nodiscard]] sll_node *ufib_dbel_resume(const ravl_tree *tree, uint32_t hash, uint32_t passed);

/* Puts an object's node at the head of the bucket of its hash, which is made when it is the first. 0, or -1 without
 * memory (logged, the kind's errors). '*is_new' (may be null): a bucket was made. */
[[nodiscard]] int ufib_dbel_link(ufib_dbel_kind *kind, ravl_tree *tree, uint32_t hash, sll_node *node,
                                 bool *is_new);

/* Takes it out; the bucket goes with its last object. -1, logged, when it is in no bucket of that hash. */
int ufib_dbel_unlink(ufib_dbel_kind *kind, ravl_tree *tree, uint32_t hash, sll_node *node);
