#include "host/trace/bl.h"

#include "host/timer/clock.h"
#include "host/trace/bl_file.h"
#include "host/trace/trace_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

/* What the writer keeps of a ring, so that a record costs no division and no look at the file's head. */
struct bl_ring {
    bl_slot *slots; /* null: the level has no ring */
    uint32_t records;
    uint32_t next;     /* slot of the next record */
    uint64_t position; /* of the next record */
    bl_ring_head *head;
};

struct bl_log_state {
    bl_file_head *head; /* null: not open */
    trace_mapping mapping;
    uint64_t sequence;
    bl_ring rings[BL_LEVELS_MAX];
};

struct bl_state {
    bl_log_state logs[BL_VDC_MAX][BL_LOG_MAX];
    bl_counters counters;
};

static bl_state state;

const bl_counters *bl_counters_get() { return &state.counters; }

void bl_file_name(uint32_t vdc_id, uint32_t log_id, char *out, size_t out_size) {
    std::snprintf(out, out_size, "lctrace_bl_%u_%u", vdc_id, log_id);
}

void bl_formats_name(uint32_t log_id, char *out, size_t out_size) {
    std::snprintf(out, out_size, "lctrace_formats_%u", log_id);
}

bl_address bl_ipv4(uint32_t host_order, uint8_t mask) {
    bl_address address{4, mask, {}};
    for (unsigned i = 0; i < 4; i++) address.bytes[i] = static_cast<uint8_t>(host_order >> (24 - 8 * i));
    return address;
}

bl_address bl_ipv6(const void *bytes16, uint8_t mask) {
    bl_address address{6, mask, {}};
    std::memcpy(address.bytes, bytes16, sizeof address.bytes);
    return address;
}

/* ---- formats ---- */

/* One line for each event, so that any tool can read the file. */
static std::string formats_text(const bl_format *rows, uint32_t count) {
    std::string text;
    for (uint32_t i = 0; i < count; i++) {
        std::string line = rows[i].text == nullptr ? "" : rows[i].text;
        std::replace(line.begin(), line.end(), '\n', ' ');
        text += line + '\n';
    }
    return text;
}

static int write_file(const char *path, const std::string &text) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return errno;
    size_t done = 0;
    int err = 0;
    while (done < text.size() && err == 0) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n > 0)
            done += static_cast<size_t>(n);
        else if (errno != EINTR)
            err = errno;
    }
    close(fd);
    return err;
}

int bl_reg_trace_formats(uint32_t log_id, const bl_format *rows, uint32_t count) {
    if (log_id >= BL_LOG_MAX || count > BL_FORMATS_MAX) return EINVAL;
    char name[NAME_MAX], path[PATH_MAX], fresh[PATH_MAX];
    bl_formats_name(log_id, name, sizeof name);
    int err = trace_file_make_directory();
    if (err == 0) err = trace_file_path(name, path, sizeof path);
    if (err != 0) return err;
    /* Readers see the old table or the new one, never half of it. */
    const int length = std::snprintf(fresh, sizeof fresh, "%s.new", path);
    if (length < 0 || static_cast<size_t>(length) >= sizeof fresh) return ENAMETOOLONG;
    err = write_file(fresh, formats_text(rows, count));
    if (err == 0 && rename(fresh, path) != 0) err = errno;
    if (err != 0) unlink(fresh);
    return err;
}

/* ---- open and close ---- */

/* The head that a log of these levels has; EINVAL if they make no log. '*size' is that of the file. */
static int head_make(uint32_t vdc_id, uint32_t log_id, uint32_t instance, const bl_level *levels,
                     uint32_t count, bl_file_head *head, uint64_t *size) {
    std::memcpy(head->magic, BL_FILE_MAGIC, sizeof head->magic);
    head->vdc_id = vdc_id;
    head->log_id = log_id;
    head->instance = instance;
    head->record_bytes = BL_RECORD_BYTES;
    uint64_t offset = BL_FILE_SLOTS;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t records = levels[i].word[0] >> 16;
        const uint32_t level = levels[i].word[0] & 0xffff;
        if (levels[i].word[0] == 0) continue;
        if (records == 0 || level >= BL_LEVELS_MAX || head->ring_count == BL_LEVELS_MAX) return EINVAL;
        bl_ring_head *ring = &head->rings[head->ring_count++];
        ring->level = level;
        ring->records = records;
        ring->note = levels[i].word[1];
        ring->offset = offset;
        offset += static_cast<uint64_t>(records) * BL_RECORD_BYTES;
    }
    *size = offset;
    return 0;
}

static bool ring_same_shape(const bl_ring_head *a, const bl_ring_head *b) {
    return a->level == b->level && a->records == b->records && a->note == b->note && a->offset == b->offset;
}

static bool head_same_shape(const bl_file_head *a, const bl_file_head *b) {
    if (std::memcmp(a->magic, b->magic, sizeof a->magic) != 0 || a->record_bytes != b->record_bytes ||
        a->vdc_id != b->vdc_id || a->log_id != b->log_id || a->ring_count != b->ring_count)
        return false;
    for (uint32_t i = 0; i < b->ring_count; i++)
        if (!ring_same_shape(&a->rings[i], &b->rings[i])) return false;
    return true;
}

/* Writes the wanted head over a file of another shape. The slots keep what they hold: their stamps do not fit
 * the positions, so nobody takes them. The magic comes last, a reader that comes first finds no trace. */
static void head_write(bl_file_head *file, const bl_file_head *wanted) {
    std::memset(file->magic, 0, sizeof file->magic);
    file->vdc_id = wanted->vdc_id;
    file->log_id = wanted->log_id;
    file->instance = wanted->instance;
    file->record_bytes = wanted->record_bytes;
    file->ring_count = wanted->ring_count;
    for (uint32_t i = 0; i < wanted->ring_count; i++) {
        file->rings[i].level = wanted->rings[i].level;
        file->rings[i].records = wanted->rings[i].records;
        file->rings[i].note = wanted->rings[i].note;
        file->rings[i].offset = wanted->rings[i].offset;
        file->rings[i].position = 0;
    }
    file->sequence = 1;
    std::atomic_thread_fence(std::memory_order_release);
    std::memcpy(file->magic, wanted->magic, sizeof file->magic);
}

static void log_attach(bl_log_state *log) {
    auto *base = static_cast<uint8_t *>(log->mapping.base);
    log->head = reinterpret_cast<bl_file_head *>(base);
    log->sequence = log->head->sequence;
    for (uint32_t i = 0; i < log->head->ring_count; i++) {
        bl_ring_head *head = &log->head->rings[i];
        const uint64_t position = head->position;
        log->rings[head->level] = {reinterpret_cast<bl_slot *>(base + head->offset), head->records,
                                   static_cast<uint32_t>(position % head->records), position, head};
    }
}

int bl_open(uint32_t vdc_id, uint32_t log_id, uint32_t instance, const bl_level *levels, uint32_t count) {
    if (vdc_id >= BL_VDC_MAX || log_id >= BL_LOG_MAX) return EINVAL;
    bl_log_state *log = &state.logs[vdc_id][log_id];
    if (log->head != nullptr) return EEXIST;
    bl_file_head wanted{};
    uint64_t size = 0;
    int err = head_make(vdc_id, log_id, instance, levels, count, &wanted, &size);
    if (err != 0) return err;
    char name[NAME_MAX];
    bl_file_name(vdc_id, log_id, name, sizeof name);
    err = trace_file_map_reserved(name, size, &log->mapping);
    if (err != 0) return err;
    auto *head = static_cast<bl_file_head *>(log->mapping.base);
    if (!head_same_shape(head, &wanted)) head_write(head, &wanted);
    head->instance = instance;
    log_attach(log);
    if (log->mapping.fd < 0) state.counters.private_logs++;
    return 0;
}

int bl_close(uint32_t vdc_id, uint32_t log_id) {
    if (vdc_id >= BL_VDC_MAX || log_id >= BL_LOG_MAX || state.logs[vdc_id][log_id].head == nullptr)
        return ENOENT;
    bl_log_state *log = &state.logs[vdc_id][log_id];
    if (log->mapping.fd < 0) state.counters.private_logs--;
    trace_file_unmap(&log->mapping);
    *log = {};
    return 0;
}

void bl_reset() {
    for (uint32_t vdc = 0; vdc < BL_VDC_MAX; vdc++)
        for (uint32_t log = 0; log < BL_LOG_MAX; log++) bl_close(vdc, log);
    state = {};
}

/* ---- writing ---- */

/* Puts one argument behind '*size' bytes. False: it did not fit, or only a part of the text did. */
static bool put_arg(uint8_t *args, uint32_t *size, const bl_arg *arg) {
    const uint32_t room = BL_ARGS_BYTES - *size;
    uint32_t length = 8;
    bool whole = true;
    const void *data = &arg->number;
    const uint32_t number = static_cast<uint32_t>(arg->number);
    if (arg->type == BL_ARG_U32) {
        data = &number;
        length = 4;
    } else if (arg->type == BL_ARG_ADDRESS) {
        data = arg->address;
        length = arg->address->family == 4 ? BL_IPV4_BYTES : BL_IPV6_BYTES;
    } else if (arg->type == BL_ARG_TEXT) {
        const char *text = arg->text == nullptr ? "(null)" : arg->text;
        const uint32_t most = room < 2 ? 0 : room - 2;
        data = text;
        length = static_cast<uint32_t>(strnlen(text, most + 1));
        whole = length <= most;
        length = whole ? length : most;
    }
    if (room < 2 + length) return false;
    args[*size] = arg->type;
    args[*size + 1] = static_cast<uint8_t>(length);
    std::memcpy(args + *size + 2, data, length);
    *size += 2 + length;
    return whole;
}

static void slot_fill(bl_slot *slot, uint64_t sequence, uint32_t level, uint32_t event, const bl_arg *args,
                      uint32_t count) {
    slot->sequence = sequence;
    slot->wall_ns = host_clock_wall_ns();
    slot->event = static_cast<uint16_t>(event);
    slot->level = static_cast<uint8_t>(level);
    uint32_t size = 0;
    bool whole = true;
    for (uint32_t i = 0; i < count && whole; i++) whole = put_arg(slot->args, &size, &args[i]);
    slot->size = static_cast<uint16_t>(size);
    slot->cut = whole ? 0 : 1;
    if (!whole) state.counters.cut++;
}

void bl_log_args(uint32_t vdc_id, uint32_t log_id, uint32_t level, uint32_t event, const bl_arg *args,
                 uint32_t count) {
    if (vdc_id >= BL_VDC_MAX || log_id >= BL_LOG_MAX || level >= BL_LEVELS_MAX ||
        state.logs[vdc_id][log_id].rings[level].slots == nullptr) {
        state.counters.dropped++;
        return;
    }
    bl_log_state *log = &state.logs[vdc_id][log_id];
    bl_ring *ring = &log->rings[level];
    bl_slot *slot = &ring->slots[ring->next];
    slot->stamp.store(bl_stamp_whole(ring->position) - 1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    slot_fill(slot, log->sequence, level, event, args, count);
    slot->stamp.store(bl_stamp_whole(ring->position), std::memory_order_release);
    ring->position++;
    if (++ring->next == ring->records) ring->next = 0;
    ring->head->position.store(ring->position, std::memory_order_release);
    log->head->sequence.store(++log->sequence, std::memory_order_relaxed);
    state.counters.records++;
}
