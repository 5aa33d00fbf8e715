#include "host/bus/frame_fifo.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

/* Before each frame: its size and its tag. Frames lie one behind the other without padding. */
struct frame_mark {
    uint32_t size;
    uint32_t tag;
};

bool frame_fifo_fits(const frame_fifo *fifo, size_t size) {
    const size_t used = fifo->tail - fifo->head;
    return fifo->count < fifo->count_max && size <= UINT32_MAX &&
           sizeof(frame_mark) + size <= fifo->bytes_max &&
           used <= fifo->bytes_max - sizeof(frame_mark) - size;
}

/* Makes room for 'need' bytes behind the tail: first by moving the frames to the front of the block, then by
 * growing. Growth doubles, so that steady traffic soon allocates nothing. */
static bool fifo_make_room(frame_fifo *fifo, size_t need) {
    const size_t used = fifo->tail - fifo->head;
    if (fifo->capacity - fifo->tail >= need) return true;
    /* Moving costs as much as the frames are long; it pays only if it frees at least half of the block. */
    const bool grow = fifo->capacity - used < need || used > fifo->capacity / 2;
    if (grow) {
        size_t capacity = fifo->capacity == 0 ? 4096 : fifo->capacity * 2;
        while (capacity < used + need) capacity *= 2;
        auto *block = static_cast<uint8_t *>(malloc(capacity));
        if (block == nullptr) return false;
        if (used != 0) memcpy(block, fifo->block + fifo->head, used);
        free(fifo->block);
        fifo->block = block;
        fifo->capacity = capacity;
    } else {
        memmove(fifo->block, fifo->block + fifo->head, used);
    }
    fifo->head = 0;
    fifo->tail = used;
    return true;
}

int frame_fifo_push(frame_fifo *fifo, uint32_t tag, const void *head, size_t head_size, const void *body,
                    size_t body_size) {
    const size_t size = head_size + body_size;
    if (!frame_fifo_fits(fifo, size) || !fifo_make_room(fifo, sizeof(frame_mark) + size)) return ENOBUFS;
    const frame_mark mark = {static_cast<uint32_t>(size), tag};
    uint8_t *at = fifo->block + fifo->tail;
    memcpy(at, &mark, sizeof mark);
    if (head_size != 0) memcpy(at + sizeof mark, head, head_size);
    if (body_size != 0) memcpy(at + sizeof mark + head_size, body, body_size);
    fifo->tail += sizeof mark + size;
    fifo->count++;
    return 0;
}

bool frame_fifo_front(frame_fifo *fifo, frame_view *out) {
    if (fifo->count == 0) return false;
    frame_mark mark;
    memcpy(&mark, fifo->block + fifo->head, sizeof mark);
    *out = {fifo->block + fifo->head + sizeof mark, mark.size, mark.tag};
    return true;
}

void frame_fifo_pop(frame_fifo *fifo) {
    frame_view front;
    if (!frame_fifo_front(fifo, &front)) return;
    fifo->head += sizeof(frame_mark) + front.size;
    if (--fifo->count == 0) fifo->head = fifo->tail = 0;
}

bool frame_fifo_next(frame_fifo *fifo, size_t *at, frame_view *out) {
    if (fifo->head + *at >= fifo->tail) return false;
    frame_mark mark;
    memcpy(&mark, fifo->block + fifo->head + *at, sizeof mark);
    *out = {fifo->block + fifo->head + *at + sizeof mark, mark.size, mark.tag};
    *at += sizeof mark + mark.size;
    return true;
}

void frame_fifo_remove(frame_fifo *fifo, const frame_view *frame) {
    uint8_t *begin = frame->bytes - sizeof(frame_mark);
    const uint8_t *behind = frame->bytes + frame->size;
    memmove(begin, behind, static_cast<size_t>(fifo->block + fifo->tail - behind));
    fifo->tail -= sizeof(frame_mark) + frame->size;
    if (--fifo->count == 0) fifo->head = fifo->tail = 0;
}

void frame_fifo_clear(frame_fifo *fifo) {
    fifo->head = fifo->tail = 0;
    fifo->count = 0;
}

void frame_fifo_free(frame_fifo *fifo) {
    free(fifo->block);
    fifo->block = nullptr;
    fifo->capacity = 0;
    frame_fifo_clear(fifo);
}
