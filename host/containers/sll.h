/* host/containers/sll.h: singly linked lists and queues over nodes inside objects of the caller.
 *
 * A node has no mark of its list: whether it is on one is the caller's knowledge.
 * Head and tail are constant time; unlinking an arbitrary node walks to it, so these lists suit hash buckets and
 * delete-pending lists. For lists with removal from the middle see dbly_linkage.h. One thread. */
#pragma once

#include <cstdint>

struct sll_node {
    sll_node *next;
};

struct sll_list {
    sll_node *head, *tail;
    uint32_t count;
};

inline void sll_init(sll_list *list) { *list = {nullptr, nullptr, 0}; }
void sll_link_head(sll_list *list, sll_node *node);
void sll_link_tail(sll_list *list, sll_node *node);
/* 0, or ENOENT when the node is not on this list. */
int sll_unlink(sll_list *list, sll_node *node);
[[nodiscard]] inline sll_node *sll_first(const sll_list *list) { return list->head; }
[[nodiscard]] inline sll_node *sll_next(const sll_node *node) { return node->next; }
[[nodiscard]] inline bool sll_is_empty(const sll_list *list) { return list->head == nullptr; }

/* A queue of nodes: first in, first out. */
struct queue {
    sll_list list;
};
inline void queue_init(queue *q) { sll_init(&q->list); }
inline void enqueue_tail(queue *q, sll_node *node) { sll_link_tail(&q->list, node); }
[[nodiscard]] sll_node *dequeue_head(queue *q); /* null when empty */
[[nodiscard]] inline sll_node *peek_head(const queue *q) { return q->list.head; }
[[nodiscard]] inline uint32_t queue_count(const queue *q) { return q->list.count; }
