#include "host/trace/history.h"

#include "host/timer/clock.h"
#include "host/trace/trace_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

static constexpr char HISTORY_MAGIC[8] = {'L', 'C', 'H', 'I', 'S', 'T', '0', '1'};
static constexpr uint64_t HISTORY_DATA = 64; /* offset of the ring's bytes in the file */
static constexpr uint32_t HISTORY_MIN = 4096;
static constexpr uint64_t HISTORY_STEP = 65536; /* bytes that are made sure of at a time */

/* 'tail' and 'head' count all bytes ever written; the ring holds those from tail up to head. The writer moves
 * the tail before it overwrites what lies there, and the head after a record is whole. */
struct history_file_head {
    char magic[8];
    uint32_t uuid;
    uint32_t instance;
    uint32_t bytes;
    uint32_t reserved;
    std::atomic<uint64_t> tail;
    std::atomic<uint64_t> head;
};
static_assert(sizeof(history_file_head) <= HISTORY_DATA && std::atomic<uint64_t>::is_always_lock_free);

struct history_record_head {
    uint32_t size; /* of the record, a multiple of 8 */
    uint32_t length;
    uint32_t family;
    uint32_t reserved;
    uint64_t wall_ns;
};
static_assert(sizeof(history_record_head) == 24);

static constexpr uint32_t RECORD_MAX = sizeof(history_record_head) + HISTORY_TEXT_MAX;
static_assert(RECORD_MAX % 8 == 0 && RECORD_MAX <= HISTORY_MIN);

struct history_ring {
    trace_mapping mapping;
    history_file_head *file;
    uint8_t *data;
    uint32_t bytes;
    uint64_t reserved; /* bytes of the file that surely have memory behind them */
};

struct history_reader {
    trace_mapping mapping;
    const history_file_head *file;
    const uint8_t *data;
    uint32_t bytes;
    uint64_t next;
    uint64_t skips;
};

static void history_name(uint32_t uuid, uint32_t instance, char *out, size_t out_size) {
    std::snprintf(out, out_size, "lctrace_hist_%u_%u", uuid, instance);
}

/* Copies between the ring, where bytes go on at the start behind the end, and a plain buffer. */
static void ring_read(const uint8_t *data, uint32_t bytes, uint64_t at, void *out, uint32_t length) {
    const auto offset = static_cast<uint32_t>(at % bytes);
    const uint32_t first = std::min(length, bytes - offset);
    std::memcpy(out, data + offset, first);
    std::memcpy(static_cast<uint8_t *>(out) + first, data, length - first);
}

static void ring_write(uint8_t *data, uint32_t bytes, uint64_t at, const void *from, uint32_t length) {
    const auto offset = static_cast<uint32_t>(at % bytes);
    const uint32_t first = std::min(length, bytes - offset);
    std::memcpy(data + offset, from, first);
    std::memcpy(data, static_cast<const uint8_t *>(from) + first, length - first);
}

static bool record_head_good(const history_record_head *record, uint64_t left) {
    return record->size >= sizeof *record && record->size <= RECORD_MAX && record->size % 8 == 0 &&
           record->size <= left && record->length <= record->size - sizeof *record;
}

/* True when the records from tail to head lead from one to the next. */
static bool ring_consistent(const history_ring *ring) {
    const uint64_t head = ring->file->head;
    uint64_t at = ring->file->tail;
    if (at > head || head - at > ring->bytes) return false;
    while (at < head) {
        history_record_head record;
        ring_read(ring->data, ring->bytes, at, &record, sizeof record);
        if (!record_head_good(&record, head - at)) return false;
        at += record.size;
    }
    return true;
}

static void ring_begin(history_ring *ring, uint32_t uuid, uint32_t instance) {
    history_file_head *file = ring->file;
    if (std::memcmp(file->magic, HISTORY_MAGIC, sizeof file->magic) == 0 && file->bytes == ring->bytes &&
        ring_consistent(ring))
        return;
    file->uuid = uuid;
    file->instance = instance;
    file->bytes = ring->bytes;
    file->tail = 0;
    file->head = 0;
    std::memcpy(file->magic, HISTORY_MAGIC, sizeof file->magic);
}

int history_open(uint32_t uuid, uint32_t instance, uint32_t bytes, history_ring **out) {
    *out = nullptr;
    if (bytes < HISTORY_MIN || bytes > UINT32_MAX - 8) return EINVAL;
    auto *ring = new (std::nothrow) history_ring{};
    if (ring == nullptr) return ENOMEM;
    ring->bytes = (bytes + 7) & ~7u;
    char name[NAME_MAX];
    history_name(uuid, instance, name, sizeof name);
    int err = trace_file_map(name, HISTORY_DATA + ring->bytes, &ring->mapping);
    if (err == 0) err = trace_file_reserve(&ring->mapping, HISTORY_DATA);
    if (err != 0) {
        history_close(ring);
        return err;
    }
    ring->file = static_cast<history_file_head *>(ring->mapping.base);
    ring->data = static_cast<uint8_t *>(ring->mapping.base) + HISTORY_DATA;
    ring_begin(ring, uuid, instance);
    *out = ring;
    return 0;
}

void history_close(history_ring *ring) {
    if (ring == nullptr) return;
    trace_file_unmap(&ring->mapping);
    delete ring;
}

/* Writing to a file in memory that has no page left kills the process; so pages are asked for first, in
 * steps. */
static bool ring_reserve(history_ring *ring, uint64_t end) {
    const uint64_t want = HISTORY_DATA + std::min<uint64_t>(end, ring->bytes);
    if (want <= ring->reserved) return true;
    const uint64_t step =
        std::min((want + HISTORY_STEP - 1) / HISTORY_STEP * HISTORY_STEP, HISTORY_DATA + ring->bytes);
    if (trace_file_reserve(&ring->mapping, step) != 0) return false;
    ring->reserved = step;
    return true;
}

/* Moves the tail until 'size' bytes fit behind the head. */
static void ring_make_room(history_ring *ring, uint64_t head, uint32_t size) {
    uint64_t tail = ring->file->tail;
    while (head + size - tail > ring->bytes) {
        history_record_head oldest;
        ring_read(ring->data, ring->bytes, tail, &oldest, sizeof oldest);
        tail = record_head_good(&oldest, head - tail) ? tail + oldest.size : head;
    }
    ring->file->tail.store(tail, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
}

bool history_add(history_ring *ring, uint32_t family, const char *text, size_t length) {
    const auto kept = static_cast<uint32_t>(std::min<size_t>(length, HISTORY_TEXT_MAX));
    const auto size = static_cast<uint32_t>((sizeof(history_record_head) + kept + 7) & ~size_t{7});
    const uint64_t head = ring->file->head;
    if (!ring_reserve(ring, head + size)) return false;
    ring_make_room(ring, head, size);
    const history_record_head record{size, kept, family, 0, host_clock_wall_ns()};
    ring_write(ring->data, ring->bytes, head, &record, sizeof record);
    ring_write(ring->data, ring->bytes, head + sizeof record, text, kept);
    ring->file->head.store(head + size, std::memory_order_release);
    return true;
}

/* ---- reading ---- */

int history_reader_open(uint32_t uuid, uint32_t instance, history_reader **out) {
    *out = nullptr;
    auto *reader = new (std::nothrow) history_reader{};
    if (reader == nullptr) return ENOMEM;
    char name[NAME_MAX];
    history_name(uuid, instance, name, sizeof name);
    int err = trace_file_map_reader(name, &reader->mapping);
    if (err == 0) {
        reader->file = static_cast<const history_file_head *>(reader->mapping.base);
        reader->data = static_cast<const uint8_t *>(reader->mapping.base) + HISTORY_DATA;
        if (reader->mapping.size < HISTORY_DATA + HISTORY_MIN ||
            std::memcmp(reader->file->magic, HISTORY_MAGIC, sizeof reader->file->magic) != 0 ||
            reader->file->bytes != reader->mapping.size - HISTORY_DATA)
            err = EBADMSG;
        else
            reader->bytes = reader->file->bytes;
    }
    if (err != 0) {
        history_reader_close(reader);
        return err;
    }
    *out = reader;
    return 0;
}

void history_reader_close(history_reader *reader) {
    if (reader == nullptr) return;
    trace_file_unmap(&reader->mapping);
    delete reader;
}

/* Copies the record at reader->next. 1: taken. 0: overwritten meanwhile. -1: these bytes are no record. */
static int reader_copy(history_reader *reader, uint64_t head, history_event *out) {
    history_record_head record;
    ring_read(reader->data, reader->bytes, reader->next, &record, sizeof record);
    const bool good = record_head_good(&record, head - reader->next);
    if (good) ring_read(reader->data, reader->bytes, reader->next + sizeof record, out->text, record.length);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (reader->file->tail.load(std::memory_order_relaxed) > reader->next) return 0;
    if (!good) return -1;
    out->wall_ns = record.wall_ns;
    out->family = record.family;
    out->length = record.length;
    out->text[record.length] = '\0';
    reader->next += record.size;
    return 1;
}

bool history_reader_next(history_reader *reader, history_event *out) {
    constexpr int tries = 1000; /* a writer that is always faster than we are must not keep us here */
    for (int i = 0; i < tries; i++) {
        const uint64_t tail = reader->file->tail.load(std::memory_order_acquire);
        const uint64_t head = reader->file->head.load(std::memory_order_acquire);
        if (reader->next < tail) {
            if (reader->next != 0) reader->skips++;
            reader->next = tail;
        }
        if (reader->next > head) reader->next = head;
        if (reader->next == head) return false;
        const int taken = reader_copy(reader, head, out);
        if (taken > 0) return true;
        if (taken < 0) {
            reader->next = head;
            return false;
        }
    }
    return false;
}

uint64_t history_reader_skips(const history_reader *reader) { return reader->skips; }
