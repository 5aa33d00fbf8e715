#include "ufib/ufib_dbel.h"

#include "core/lcfwd_log.h"
#include "host/containers/slab.h"

#include <cstddef>
#include <cstring>

constexpr uint32_t DBEL_PER_SLAB = 1028;

static int hash_compare(const void *a, const void *b) {
    uint32_t left, right;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left == right ? 0 : left > right ? 1 : 2;
}

static ufib_dbel *dbel_of(ravl_node *node) {
    return ravl_object<ufib_dbel>(node, offsetof(ufib_dbel, by_hash));
}

void ufib_dbel_tree_init(ravl_tree *tree) {
    constexpr size_t offset = offsetof(ufib_dbel, hash) - offsetof(ufib_dbel, by_hash);
    (void)ravl_init(tree, sizeof(uint32_t), static_cast<uint32_t>(offset), hash_compare);
}

ufib_dbel *ufib_dbel_search(const ravl_tree *tree, uint32_t hash) {
    return dbel_of(ravl_lookup(tree, &hash));
}
ufib_dbel *ufib_dbel_get_first(const ravl_tree *tree) { return dbel_of(ravl_first(tree)); }
ufib_dbel *ufib_dbel_get_next(const ufib_dbel *dbel) { return dbel_of(ravl_next(&dbel->by_hash)); }

sll_node *ufib_dbel_resume(const ravl_tree *tree, uint32_t hash, uint32_t passed) {
    if (const ufib_dbel *dbel = ufib_dbel_search(tree, hash); dbel != nullptr) {
        sll_node *node = dbel->objects.head;
        while (node != nullptr && passed-- != 0) node = node->next;
        if (node != nullptr) return node;
    }
    const ufib_dbel *next = dbel_of(ravl_next_from_key(tree, &hash));
    return next == nullptr ? nullptr : next->objects.head;
}

static ufib_dbel *dbel_alloc(ufib_dbel_kind *kind, uint32_t hash) {
    if (kind->pool == nullptr) kind->pool = slab_create(kind->slab_name, sizeof(ufib_dbel), DBEL_PER_SLAB);
    if (kind->pool == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, kind->err_slab);
        return nullptr;
    }
    auto *dbel = static_cast<ufib_dbel *>(slab_calloc(kind->pool));
    if (dbel == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, kind->err_alloc);
        UFIB_ERR("failed to alloc %s dbel, hash %x", kind->name, hash);
        return nullptr;
    }
    dbel->hash = hash;
    return dbel;
}

int ufib_dbel_link(ufib_dbel_kind *kind, ravl_tree *tree, uint32_t hash, sll_node *node, bool *is_new) {
    ufib_dbel *dbel = ufib_dbel_search(tree, hash);
    if (is_new != nullptr) *is_new = dbel == nullptr;
    if (dbel == nullptr) {
        dbel = dbel_alloc(kind, hash);
        if (dbel == nullptr) return -1;
        (void)ravl_insert(tree, &dbel->by_hash); /* its hash was not there */
    }
    sll_link_head(&dbel->objects, node);
    return 0;
}

int ufib_dbel_unlink(ufib_dbel_kind *kind, ravl_tree *tree, uint32_t hash, sll_node *node) {
    ufib_dbel *dbel = ufib_dbel_search(tree, hash);
    if (dbel == nullptr || sll_unlink(&dbel->objects, node) != 0) {
        UFIB_ERR("missing %s dbel, hash %08x", kind->name, hash);
        return -1;
    }
    if (!sll_is_empty(&dbel->objects)) return 0;
    (void)ravl_delete(tree, &dbel->by_hash);
    slab_free(kind->pool, dbel);
    return 0;
}
