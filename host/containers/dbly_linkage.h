/* host/containers/dbly_linkage.h: doubly linked lists whose nodes know their list.
 *
 * A node that is taken off a list that it does not lie on would mean a use after free somewhere: it is fatal at once,
 * through dbly_linkage_fault(), which names list and node and aborts. So is putting a node on a second list. Nodes
 * are zeroed when on no list. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct dl_list;

struct dl_node {
    dl_node *prev, *next;
    dl_list *owner; /* the list it lies on, or null */
};

struct dl_list {
    dl_node *head, *tail;
    uint32_t count;
};

inline void dbly_linkage_init(dl_list *list) { *list = {nullptr, nullptr, 0}; }
void dbly_linkage_insert_head(dl_list *list, dl_node *node);
void dbly_linkage_insert_tail(dl_list *list, dl_node *node);
/* Puts 'node' behind 'where', which must lie on 'list'. */
void dbly_linkage_insert_after(dl_list *list, dl_node *where, dl_node *node);
void dbly_linkage_remove(dl_list *list, dl_node *node);
/* Takes the first node off, or gives null. */
[[nodiscard]] dl_node *dbly_linkage_pop_head(dl_list *list);

[[nodiscard]] inline dl_node *dbly_linkage_first(const dl_list *list) { return list->head; }
[[nodiscard]] inline dl_node *dbly_linkage_last(const dl_list *list) { return list->tail; }
[[nodiscard]] inline dl_node *dbly_linkage_next(const dl_node *node) { return node->next; }
[[nodiscard]] inline dl_node *dbly_linkage_prev(const dl_node *node) { return node->prev; }
[[nodiscard]] inline bool dbly_linkage_is_empty(const dl_list *list) { return list->head == nullptr; }
[[nodiscard]] inline bool dbly_linkage_is_on(const dl_list *list, const dl_node *node) {
    return node->owner == list;
}

/* What is called with the text of a fault before the process aborts, so that the text reaches the log; null: standard
 * error alone. */
using dbly_linkage_fault_hook = void (*)(const char *text);
void dbly_linkage_fault_hook_set(dbly_linkage_fault_hook hook);

/* Says operation, list and node, and aborts. Also for other list checks of the model. */
[[noreturn]] void dbly_linkage_fault(const char *operation, const void *list, const void *node);

/* The object around a node: dl_object<ufib_vobj>(node, offsetof(ufib_vobj, by_dirty)). Null stays null. */
template <typename object> [[nodiscard]] object *dl_object(dl_node *node, size_t node_offset) {
    return node == nullptr ? nullptr
                           : reinterpret_cast<object *>(reinterpret_cast<uint8_t *>(node) - node_offset);
}
