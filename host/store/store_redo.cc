#include "host/store/store_redo.h"

#include "host/store/store_private.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

constexpr uint64_t STORE_REDO_FIRST = 16 * STORE_PAGE;

static struct {
    uint64_t end; /* of the batch that is being written */
    store_redo_counts counts;
} writing;

static store_redo_head *redo_head() { return reinterpret_cast<store_redo_head *>(store.redo.base); }

/* These words are aligned: each changes with one store. */
static void set_word(uint64_t *word, uint64_t value) {
    std::atomic_ref<uint64_t>(*word).store(value, std::memory_order_release);
    store_order();
}

static int lock_failed(int code) {
    store_say("%s: %s", STORE_REDO_NAME,
              code == EWOULDBLOCK ? "another process owns this store" : std::strerror(code));
    return code == EWOULDBLOCK ? STORE_IN_USE : STORE_IO;
}

/* A log whose head is not ours is kept for a person to look at; its batch, if there was one, is lost. */
static int redo_refuse(const char *why) {
    store_say("%s: %s; set aside as %s.aside", STORE_REDO_NAME, why, STORE_REDO_NAME);
    store_file_close(&store.redo);
    char aside[STORE_NAME_MAX];
    std::snprintf(aside, sizeof aside, "%s.aside", STORE_REDO_NAME);
    if (renameat(store.folder_fd, STORE_REDO_NAME, store.folder_fd, aside) != 0) return STORE_IO;
    return store_redo_open();
}

int store_redo_open() {
    const int fd = openat(store.folder_fd, STORE_REDO_NAME, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return lock_failed(errno);
    int code = flock(fd, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
    if (code == 0) code = store_file_map(&store.redo, fd);
    if (code == 0 && store.redo.size < STORE_REDO_FIRST)
        code = store_file_grow(&store.redo, STORE_REDO_FIRST);
    if (code != 0) {
        store.redo.fd = fd;
        store_file_close(&store.redo);
        return lock_failed(code);
    }
    store_redo_head *head = redo_head();
    store_redo_head fresh{};
    /* The magic is written last: without it the log was being made when its process ended, and holds nothing. */
    if (std::memcmp(head->magic, fresh.magic, sizeof head->magic) == 0 && head->sealed == 0) {
        head->layout = STORE_LAYOUT_VERSION;
        store_order();
        std::memcpy(head->magic, STORE_REDO_MAGIC, sizeof head->magic);
    }
    if (std::memcmp(head->magic, STORE_REDO_MAGIC, sizeof head->magic) != 0)
        return redo_refuse("not a redo log");
    if (head->layout != STORE_LAYOUT_VERSION) return redo_refuse("redo log of another layout");
    return 0;
}

bool store_redo_sealed() { return redo_head()->sealed != 0; }

int store_redo_room(uint64_t bytes) {
    const uint64_t wanted = STORE_REDO_BODY + sizeof(store_redo_counts) + bytes;
    int code = 0;
    if (wanted <= store.redo.size) return 0;
    if (store_fault_fires(STORE_FAULT_GROW, &code)) return ENOSPC;
    return store_file_grow(&store.redo, (wanted + STORE_REDO_FIRST) / STORE_PAGE * STORE_PAGE);
}

uint64_t store_redo_op_size(uint32_t key_len, uint32_t value_len) {
    return sizeof(store_redo_op_head) + store_redo_padded(uint64_t{key_len} + value_len);
}

uint64_t store_redo_db_size(const char *name) {
    return sizeof(store_redo_database_head) + store_redo_padded(std::strlen(name));
}

void store_redo_begin() {
    set_word(&redo_head()->touched, 0);
    writing = {STORE_REDO_BODY + sizeof(store_redo_counts), {0, 0}};
}

void store_redo_database(const store_db *db) {
    const store_redo_database_head head{static_cast<uint32_t>(std::strlen(db->name)), 0};
    uint8_t *at = store.redo.base + writing.end;
    std::memcpy(at, &head, sizeof head);
    std::memset(at + sizeof head, 0, store_redo_padded(head.name_len));
    std::memcpy(at + sizeof head, db->name, head.name_len);
    writing.end += store_redo_db_size(db->name);
    writing.counts.databases++;
}

void store_redo_op(const store_op *op, uint32_t db_index) {
    const store_redo_op_head head{static_cast<uint16_t>(db_index), op->kind, op->key_len, op->value_len};
    const uint64_t size = store_redo_op_size(op->key_len, op->value_len);
    uint8_t *at = store.redo.base + writing.end;
    std::memset(at + size - 8, 0, 8); /* the padding; before the bytes, which may reach into it */
    std::memcpy(at, &head, sizeof head);
    std::memcpy(at + sizeof head, op->key, op->key_len);
    if (op->value_len != 0) std::memcpy(at + sizeof head + op->key_len, op->value, op->value_len);
    writing.end += size;
    writing.counts.operations++;
}

void store_redo_seal() {
    uint8_t *body = store.redo.base + STORE_REDO_BODY;
    std::memcpy(body, &writing.counts, sizeof writing.counts);
    const uint64_t bytes = writing.end - STORE_REDO_BODY;
    const uint64_t sum = store_sum(2, body, bytes);
    store_order();
    set_word(&redo_head()->sealed, sum << 32 | bytes);
}

void store_redo_clear() { set_word(&redo_head()->sealed, 0); }

void store_redo_touch(uint32_t db_index, uint64_t place) {
    set_word(&redo_head()->touched, uint64_t{db_index + 1} << 48 | place);
    store_step_at(STORE_STEP_TOUCH, db_index);
}

/* The sealed batch, while it is carried out again. */
struct redo_cursor {
    const uint8_t *at, *end;
};

/* 'bytes' of the batch (padded on the way), or null when it has not so many left. */
static const uint8_t *take(redo_cursor *cursor, uint64_t bytes) {
    if (static_cast<uint64_t>(cursor->end - cursor->at) < store_redo_padded(bytes)) return nullptr;
    const uint8_t *taken = cursor->at;
    cursor->at += store_redo_padded(bytes);
    return taken;
}

static int replay_open(redo_cursor *cursor, uint32_t count, store_db *dbs) {
    const uint64_t touched = redo_head()->touched;
    for (uint32_t i = 0; i < count; i++) {
        const uint8_t *bytes = take(cursor, sizeof(store_redo_database_head));
        if (bytes == nullptr) return EBADMSG;
        store_redo_database_head head;
        std::memcpy(&head, bytes, sizeof head);
        const uint8_t *text = head.name_len > STORE_NAME_MAX ? nullptr : take(cursor, head.name_len);
        if (text == nullptr) return EBADMSG;
        char name[STORE_NAME_MAX + 1] = {};
        std::memcpy(name, text, head.name_len);
        const uint64_t torn = touched >> 48 == i + 1 ? touched & 0xffffffffffffull : 0;
        const int code = store_db_open(&dbs[i], name, nullptr, torn);
        if (code != 0 && code != STORE_ABSENT) return code;
        if (code == STORE_ABSENT) store_say("%s: named by the redo log and not there", name);
        dbs[i].share.log_index = i;
    }
    return 0;
}

static int replay_op(redo_cursor *cursor, uint32_t count, store_db *dbs) {
    const uint8_t *bytes = take(cursor, sizeof(store_redo_op_head));
    if (bytes == nullptr) return EBADMSG;
    store_redo_op_head head;
    std::memcpy(&head, bytes, sizeof head);
    const uint8_t *data = take(cursor, uint64_t{head.key_len} + head.value_len);
    if (data == nullptr || head.database >= count || head.kind > STORE_OP_DELETE) return EBADMSG;
    if (head.key_len == 0 || head.key_len > STORE_KEY_MAX || head.value_len > STORE_VALUE_MAX) return EBADMSG;
    store_op op{};
    op.key = data;
    op.key_len = head.key_len;
    op.value = data + head.key_len;
    op.value_len = head.value_len;
    op.hash = store_hash(op.key, op.key_len);
    op.kind = static_cast<store_op_kind>(head.kind);
    store_db *db = &dbs[head.database];
    if (db->file.fd < 0) return 0;
    const uint32_t slot_class = store_class_of(STORE_SLOT_HEAD + op.key_len + op.value_len);
    const int code = store_db_reserve(db, store_classes[slot_class].pages, 1);
    if (code != 0) return STORE_NO_SPACE;
    store_db_apply(db, &op);
    return 0;
}

static int replay_batch(redo_cursor *cursor, const store_redo_counts *counts, store_db *dbs) {
    int code = replay_open(cursor, counts->databases, dbs);
    for (uint32_t i = 0; code == 0 && i < counts->operations; i++)
        code = replay_op(cursor, counts->databases, dbs);
    for (uint32_t i = 0; i < counts->databases; i++)
        if (dbs[i].file.fd >= 0) store_db_close(&dbs[i]);
    return code;
}

int store_redo_replay() {
    const uint64_t sealed = redo_head()->sealed;
    if (sealed == 0) return 0;
    const uint64_t bytes = sealed & 0xffffffff;
    const uint8_t *body = store.redo.base + STORE_REDO_BODY;
    store_redo_counts counts{};
    if (bytes > store.redo.size - STORE_REDO_BODY || bytes < sizeof counts ||
        sealed >> 32 != store_sum(2, body, bytes))
        return redo_refuse("sealed with a wrong sum, the last batch is lost");
    redo_cursor cursor{body, body + bytes};
    std::memcpy(&counts, take(&cursor, sizeof counts), sizeof counts);
    if (counts.databases > STORE_SERVICE_IDS)
        return redo_refuse("names too many databases, the last batch is lost");
    auto *dbs = static_cast<store_db *>(std::calloc(counts.databases + 1, sizeof(store_db)));
    if (dbs == nullptr) return STORE_NO_SPACE;
    for (uint32_t i = 0; i < counts.databases; i++) dbs[i].file.fd = -1;
    const int code = replay_batch(&cursor, &counts, dbs);
    std::free(dbs);
    if (code == EBADMSG) return redo_refuse("holds a batch that cannot be read, it is lost");
    if (code != 0) return code;
    store.replayed = counts.operations;
    store_say("%s: the last process ended inside a batch; its %u operations were carried out",
              STORE_REDO_NAME, counts.operations);
    store_redo_clear();
    return 0;
}
