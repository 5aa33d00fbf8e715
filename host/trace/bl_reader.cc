#include "host/trace/bl_reader.h"

#include "host/trace/bl_file.h"
#include "host/trace/trace_file.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

/* Where a reader stands in one ring, and the record it has taken there but not given out yet. */
struct reader_ring {
    const bl_ring_head *head;
    const bl_slot *slots;
    uint32_t records;
    uint64_t next; /* position of the next record to take */
    bool pending;
    bl_record record;
};

struct bl_reader {
    trace_mapping mapping;
    uint32_t ring_count;
    reader_ring rings[BL_LEVELS_MAX];
    uint64_t lost;
    std::string format_bytes;
    std::vector<const char *> formats;
};

/* Reads the lines of the format table; a missing table leaves every text empty. */
static void formats_load(bl_reader *reader, uint32_t log_id) {
    char name[NAME_MAX], path[PATH_MAX], chunk[4096];
    bl_formats_name(log_id, name, sizeof name);
    if (trace_file_path(name, path, sizeof path) != 0) return;
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return;
    constexpr size_t most = 1 << 20;
    for (ssize_t n; reader->format_bytes.size() < most && (n = read(fd, chunk, sizeof chunk)) > 0;)
        reader->format_bytes.append(chunk, static_cast<size_t>(n));
    close(fd);
    char *line = reader->format_bytes.data();
    for (char *end; (end = std::strchr(line, '\n')) != nullptr; line = end + 1) {
        *end = '\0';
        reader->formats.push_back(line);
    }
}

static bool ring_attach(const trace_mapping *mapping, const bl_ring_head *head, reader_ring *ring) {
    const uint64_t bytes = static_cast<uint64_t>(head->records) * BL_RECORD_BYTES;
    if (head->records == 0 || head->offset % alignof(bl_slot) != 0 || head->offset < BL_FILE_SLOTS ||
        head->offset > mapping->size || bytes > mapping->size - head->offset)
        return false;
    ring->head = head;
    ring->records = head->records;
    ring->slots =
        reinterpret_cast<const bl_slot *>(static_cast<const uint8_t *>(mapping->base) + head->offset);
    return true;
}

static bool reader_attach(bl_reader *reader) {
    const auto *head = static_cast<const bl_file_head *>(reader->mapping.base);
    if (reader->mapping.size < BL_FILE_SLOTS ||
        std::memcmp(head->magic, BL_FILE_MAGIC, sizeof head->magic) != 0 ||
        head->record_bytes != BL_RECORD_BYTES)
        return false;
    reader->ring_count = head->ring_count;
    if (reader->ring_count > BL_LEVELS_MAX) return false;
    for (uint32_t i = 0; i < reader->ring_count; i++)
        if (!ring_attach(&reader->mapping, &head->rings[i], &reader->rings[i])) return false;
    return true;
}

int bl_reader_open(uint32_t vdc_id, uint32_t log_id, bl_reader **out) {
    *out = nullptr;
    char name[NAME_MAX];
    bl_file_name(vdc_id, log_id, name, sizeof name);
    auto *reader = new (std::nothrow) bl_reader{};
    if (reader == nullptr) return ENOMEM;
    int err = trace_file_map_reader(name, &reader->mapping);
    if (err == 0 && !reader_attach(reader)) err = EBADMSG;
    if (err != 0) {
        bl_reader_close(reader);
        return err;
    }
    formats_load(reader, log_id);
    *out = reader;
    return 0;
}

void bl_reader_close(bl_reader *reader) {
    if (reader == nullptr) return;
    trace_file_unmap(&reader->mapping);
    delete reader;
}

/* Copies the record at ring->next. False: it is not, or no longer, whole. */
static bool ring_copy(reader_ring *ring) {
    const bl_slot *slot = &ring->slots[ring->next % ring->records];
    const uint64_t whole = bl_stamp_whole(ring->next);
    if (slot->stamp.load(std::memory_order_acquire) != whole) return false;
    bl_record *record = &ring->record;
    record->sequence = slot->sequence;
    record->wall_ns = slot->wall_ns;
    record->event = slot->event;
    record->level = slot->level;
    record->cut = slot->cut != 0;
    record->size = slot->size;
    std::memcpy(record->args, slot->args, sizeof record->args);
    std::atomic_thread_fence(std::memory_order_acquire);
    return slot->stamp.load(std::memory_order_relaxed) == whole && record->size <= BL_ARGS_BYTES;
}

/* Takes the next whole record of a ring. Ends after at most one round of the ring, because each step that
 * fails goes on to a newer record. */
static bool ring_take(bl_reader *reader, reader_ring *ring) {
    while (!ring->pending) {
        const uint64_t end = ring->head->position.load(std::memory_order_acquire);
        if (ring->next > end) ring->next = end; /* the ring began anew */
        if (ring->next == end) return false;
        if (end - ring->next > ring->records) {
            reader->lost += end - ring->records - ring->next;
            ring->next = end - ring->records;
        }
        ring->pending = ring_copy(ring);
        if (!ring->pending) reader->lost++;
        ring->next++;
    }
    return true;
}

bool bl_reader_next(bl_reader *reader, bl_record *out) {
    reader_ring *oldest = nullptr;
    for (uint32_t i = 0; i < reader->ring_count; i++) {
        reader_ring *ring = &reader->rings[i];
        if (ring_take(reader, ring) && (oldest == nullptr || ring->record.sequence < oldest->record.sequence))
            oldest = ring;
    }
    if (oldest == nullptr) return false;
    *out = oldest->record;
    oldest->pending = false;
    return true;
}

uint64_t bl_reader_lost(const bl_reader *reader) { return reader->lost; }

const char *bl_reader_format(const bl_reader *reader, uint32_t event) {
    return event < reader->formats.size() ? reader->formats[event] : "";
}

int bl_list(void (*visit)(void *ctx, uint32_t vdc_id, uint32_t log_id), void *ctx) {
    for (uint32_t vdc = 0; vdc < BL_VDC_MAX; vdc++)
        for (uint32_t log = 0; log < BL_LOG_MAX; log++) {
            char name[NAME_MAX], path[PATH_MAX];
            bl_file_name(vdc, log, name, sizeof name);
            const int err = trace_file_path(name, path, sizeof path);
            if (err != 0) return err;
            if (access(path, R_OK) == 0)
                visit(ctx, vdc, log);
            else if (errno != ENOENT)
                return errno;
        }
    return 0;
}
