#include "host/containers/dbly_linkage.h"

#include <cstdio>
#include <cstdlib>

static dbly_linkage_fault_hook fault_hook;

void dbly_linkage_fault_hook_set(dbly_linkage_fault_hook hook) { fault_hook = hook; }

void dbly_linkage_fault(const char *operation, const void *list, const void *node) {
    char text[160];
    (void)std::snprintf(text, sizeof text, "fatal: list %p: %s of node %p that does not belong there", list,
                        operation, node);
    (void)std::fprintf(stderr, "%s\n", text);
    if (fault_hook != nullptr) fault_hook(text);
    std::abort();
}

/* Links 'node' between two neighbours of the list, either of which may be null. */
static void link_between(dl_list *list, dl_node *prev, dl_node *node, dl_node *next) {
    if (node->owner != nullptr) dbly_linkage_fault("insertion", list, node);
    *node = {prev, next, list};
    (prev == nullptr ? list->head : prev->next) = node;
    (next == nullptr ? list->tail : next->prev) = node;
    list->count++;
}

void dbly_linkage_insert_head(dl_list *list, dl_node *node) { link_between(list, nullptr, node, list->head); }
void dbly_linkage_insert_tail(dl_list *list, dl_node *node) { link_between(list, list->tail, node, nullptr); }

void dbly_linkage_insert_after(dl_list *list, dl_node *where, dl_node *node) {
    if (where->owner != list) dbly_linkage_fault("insertion behind", list, where);
    link_between(list, where, node, where->next);
}

void dbly_linkage_remove(dl_list *list, dl_node *node) {
    if (node->owner != list || list->count == 0) dbly_linkage_fault("removal", list, node);
    (node->prev == nullptr ? list->head : node->prev->next) = node->next;
    (node->next == nullptr ? list->tail : node->next->prev) = node->prev;
    *node = {};
    list->count--;
}

dl_node *dbly_linkage_pop_head(dl_list *list) {
    dl_node *node = list->head;
    if (node != nullptr) dbly_linkage_remove(list, node);
    return node;
}
