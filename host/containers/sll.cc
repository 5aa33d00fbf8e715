#include "host/containers/sll.h"

#include <cerrno>

void sll_link_head(sll_list *list, sll_node *node) {
    node->next = list->head;
    list->head = node;
    if (list->tail == nullptr) list->tail = node;
    list->count++;
}

void sll_link_tail(sll_list *list, sll_node *node) {
    node->next = nullptr;
    if (list->tail == nullptr)
        list->head = node;
    else
        list->tail->next = node;
    list->tail = node;
    list->count++;
}

int sll_unlink(sll_list *list, sll_node *node) {
    sll_node *before = nullptr;
    for (sll_node *at = list->head; at != nullptr; before = at, at = at->next) {
        if (at != node) continue;
        (before == nullptr ? list->head : before->next) = node->next;
        if (list->tail == node) list->tail = before;
        node->next = nullptr;
        list->count--;
        return 0;
    }
    return ENOENT;
}

sll_node *dequeue_head(queue *q) {
    sll_node *node = q->list.head;
    if (node != nullptr) (void)sll_unlink(&q->list, node);
    return node;
}
