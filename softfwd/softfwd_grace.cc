#include "softfwd/softfwd_grace.h"

#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_pool.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <new>

static constexpr uint32_t QUEUE_MIN = 4096;

static softfwd_garbage_item *queue_at(softfwd_grace *queue, uint32_t n) {
    return &queue->items[(queue->first + n) & (queue->capacity - 1)];
}

static bool queue_grow(softfwd_grace *queue) {
    const uint32_t capacity = queue->capacity == 0 ? QUEUE_MIN : queue->capacity * 2;
    auto *items = new (std::nothrow) softfwd_garbage_item[capacity];
    if (capacity == 0 || items == nullptr) {
        delete[] items;
        return false;
    }
    for (uint32_t i = 0; i < queue->count; i++) items[i] = *queue_at(queue, i);
    delete[] queue->items;
    queue->items = items;
    queue->capacity = capacity;
    queue->first = 0;
    return true;
}

void softfwd_grace_retire(softfwd_garbage kind, uint32_t index, uint32_t units) {
    softfwd_grace *queue = &softfwd_state.grace;
    if (queue->count == queue->capacity && !queue_grow(queue)) return;
    *queue_at(queue, queue->count) = {softfwd_state.places->a_epoch, index,
                                      static_cast<uint32_t>(kind) << 24 | units};
    queue->count++;
}

uint64_t softfwd_oldest_reader() {
    const softfwd_engine *engine = &softfwd_state;
    uint64_t oldest = UINT64_MAX;
    for (uint32_t i = 0; i < SOFTFWD_READERS_MAX; i++) {
        softfwd_reader_place *place = &engine->places->places[i];
        const uint64_t epoch = softfwd_load(&place->a_epoch);
        if (epoch == 0 || epoch >= oldest) continue;
        const auto byte =
            static_cast<uint64_t>(reinterpret_cast<const uint8_t *>(place) - engine->readers.base);
        if (softfwd_file_is_locked(engine->readers.fd, byte)) oldest = epoch;
    }
    return oldest;
}

static void item_free(const softfwd_garbage_item *item) {
    switch (static_cast<softfwd_garbage>(item->kind_units >> 24)) {
    case SOFTFWD_GARBAGE_BLOCK:
        lpm_arena_free(&softfwd_state.arena, item->index, item->kind_units & 0xffffffu);
        break;
    case SOFTFWD_GARBAGE_PREFIX: softfwd_prefix_release(item->index); break;
    case SOFTFWD_GARBAGE_RECORD: softfwd_record_release(item->index); break;
    case SOFTFWD_GARBAGE_ADJ: softfwd_adj_release(item->index); break;
    case SOFTFWD_GARBAGE_TABLE: softfwd_table_release(item->index); break;
    case SOFTFWD_GARBAGE_GROUP_RECORD:
        softfwd_group_record_release(item->index, item->kind_units & 0xffffffu);
        break;
    case SOFTFWD_GARBAGE_GROUP: softfwd_group_handles_release(item->index); break;
    }
}

void softfwd_grace_run() {
    softfwd_grace *queue = &softfwd_state.grace;
    if (queue->count == 0) return;
    uint64_t *epoch = &softfwd_state.places->a_epoch;
    softfwd_store(epoch, *epoch + 1);
    /* Pairs with the fence of a reader: either its place is seen here, or it sees the tables without the items. */
    std::atomic_thread_fence(std::memory_order_seq_cst);
    const uint64_t oldest = softfwd_oldest_reader();
    while (queue->count != 0) {
        const softfwd_garbage_item item = *queue_at(queue, 0);
        if (!softfwd_commit_covers(item.epoch)) break;
        if (item.epoch >= oldest || item.epoch >= *epoch) {
            softfwd_state.head->counters.grace_delays++;
            break;
        }
        queue->first = (queue->first + 1) & (queue->capacity - 1);
        queue->count--;
        item_free(&item);
    }
}

bool softfwd_grace_wait(uint32_t timeout_ms) {
    uint64_t *epoch = &softfwd_state.places->a_epoch;
    softfwd_store(epoch, *epoch + 1);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    const uint64_t now = *epoch;
    for (uint32_t spent = 0; softfwd_oldest_reader() < now; spent++) {
        if (spent == timeout_ms) return false;
        const timespec pause = {0, 1000000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

void softfwd_grace_reset() {
    delete[] softfwd_state.grace.items;
    softfwd_state.grace = {};
}
