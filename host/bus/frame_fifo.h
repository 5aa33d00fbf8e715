/* host/bus/frame_fifo.h: frames of any length, first in first out, in one block of memory that is used again
 * and again. It grows up to a bound and never above; an empty one costs nothing. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct frame_fifo {
    uint8_t *block = nullptr;
    size_t capacity = 0; /* bytes of the block */
    size_t head = 0;     /* the oldest frame's length word */
    size_t tail = 0;     /* behind the newest frame */
    uint32_t count = 0;  /* frames */
    uint32_t count_max = UINT32_MAX;
    size_t bytes_max = SIZE_MAX; /* of frames and their bookkeeping */
};

/* A frame in the fifo. 'bytes' may be written; they move with the next push. */
struct frame_view {
    uint8_t *bytes;
    size_t size;
    uint32_t tag;
};

/* Whether the bounds allow one more frame of 'size' bytes. */
[[nodiscard]] bool frame_fifo_fits(const frame_fifo *fifo, size_t size);

/* Puts head + body as one frame behind the others; 'tag' comes back with it. 0, or ENOBUFS: a bound is
 * reached, or memory is short; nothing has changed then. */
[[nodiscard]] int frame_fifo_push(frame_fifo *fifo, uint32_t tag, const void *head, size_t head_size,
                                  const void *body, size_t body_size);

/* The oldest frame; false when there is none. */
[[nodiscard]] bool frame_fifo_front(frame_fifo *fifo, frame_view *out);
void frame_fifo_pop(frame_fifo *fifo);

/* Walks the frames, the oldest first: '*at' starts as 0 and is moved on. False behind the newest. */
[[nodiscard]] bool frame_fifo_next(frame_fifo *fifo, size_t *at, frame_view *out);
/* Takes a frame that frame_fifo_next() gave out of the middle; ends the walk. */
void frame_fifo_remove(frame_fifo *fifo, const frame_view *frame);

void frame_fifo_clear(frame_fifo *fifo); /* empty; keeps block and bounds */
void frame_fifo_free(frame_fifo *fifo);  /* empty, without block; keeps the bounds */
