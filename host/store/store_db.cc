/* One database: its mapped file, its free slots, its records. Nothing here calls the system but store_file_*. */
#include "host/store/store_private.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

int store_file_map(store_file *file, int fd) {
    *file = {fd, nullptr, 0};
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    void *base = mmap(nullptr, STORE_RESERVE, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED) return errno;
    file->base = static_cast<uint8_t *>(base);
    uint64_t size = static_cast<uint64_t>(status.st_size) / STORE_PAGE * STORE_PAGE;
    if (size > STORE_RESERVE) size = STORE_RESERVE;
    return size == 0 ? 0 : store_file_grow(file, size);
}

static int allocate(const store_file *file, uint64_t size) {
    int code;
    do
        code =
            posix_fallocate(file->fd, static_cast<off_t>(file->size), static_cast<off_t>(size - file->size));
    while (code == EINTR);
    return code;
}

int store_file_grow(store_file *file, uint64_t size) {
    if (size > STORE_RESERVE) return EFBIG;
    /* Allocated, not only made longer: a full file system is an answer here and a fatal signal at the first touch. */
    const int code = allocate(file, size);
    if (code != 0) return code;
    void *at = mmap(file->base + file->size, size - file->size, PROT_READ | PROT_WRITE,
                    MAP_SHARED | MAP_FIXED, file->fd, static_cast<off_t>(file->size));
    if (at == MAP_FAILED) return errno;
    file->size = size;
    return 0;
}

void store_file_close(store_file *file) {
    if (file->base != nullptr) munmap(file->base, STORE_RESERVE);
    if (file->fd >= 0) close(file->fd);
    *file = {-1, nullptr, 0};
}

uint32_t *store_db_find(const store_db *db, uint64_t hash, const void *key, uint32_t key_len) {
    return store_index_find(&db->index, hash, [=](uint32_t ref) {
        const uint8_t *slot = store_slot_at(db, ref);
        return store_key_len(store_slot_head(slot)) == key_len &&
               std::memcmp(store_slot_key(slot), key, key_len) == 0;
    });
}

/* Growing in sixteenths keeps the unused tail small and the number of calls logarithmic. */
static int grow(store_db *db, uint64_t pages) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_GROW, &code)) return ENOSPC;
    const uint64_t now = db->file.size / STORE_PAGE;
    const uint64_t step = now / 16 < 4 ? 4 : now / 16 > 1024 ? 1024 : now / 16;
    if (now + step > pages && now + step <= STORE_PAGES_MAX &&
        store_file_grow(&db->file, (now + step) * STORE_PAGE) == 0)
        return 0;
    return store_file_grow(&db->file, pages * STORE_PAGE);
}

int store_db_reserve(store_db *db, uint64_t pages, uint32_t records) {
    if (db->pages + pages > STORE_PAGES_MAX) return EFBIG;
    if ((db->pages + pages) * STORE_PAGE > db->file.size) {
        const int code = grow(db, db->pages + pages);
        if (code != 0) return code;
    }
    if (store_index_roomy(&db->index, records)) return 0;
    const uint64_t expected = uint64_t{db->index.entries} * 3 / 2 + records;
    if (store_db_index_build(db, expected, false)) return 0;
    return store_index_fits(&db->index, records) ? 0 : ENOMEM;
}

/* Puts the records of one page into the index; the hashes first, so that the cache misses overlap. Which of two
 * records with the same key was meant cannot be told, so the first stays: nothing but damage makes two. */
static void index_page(store_db *db, uint32_t page, uint32_t slot_class, bool opening) {
    uint64_t hashes[STORE_PAGE / STORE_SLOT_MIN];
    const uint32_t slots = store_classes[slot_class].slots;
    for (uint32_t slot = 0; slot < slots; slot++) {
        const uint8_t *bytes = db->file.base + store_slot_place(page, slot_class, slot);
        hashes[slot] = store_hash(store_slot_key(bytes), store_key_len(store_slot_head(bytes)));
        store_index_prefetch(&db->index, hashes[slot]);
    }
    for (uint32_t slot = 0; slot < slots; slot++) {
        const uint64_t place = store_slot_place(page, slot_class, slot);
        const uint8_t *bytes = db->file.base + place;
        const uint64_t head = store_slot_head(bytes);
        if (head == STORE_SLOT_FREE) continue;
        if (opening &&
            store_db_find(db, hashes[slot], store_slot_key(bytes), store_key_len(head)) != nullptr) {
            db->report.records_refused++;
            store_slot_release(db, place, slot_class);
            continue;
        }
        store_index_insert(&db->index, hashes[slot], static_cast<uint32_t>(place / 4));
    }
}

bool store_db_index_build(store_db *db, uint64_t expected, bool opening) {
    store_index index;
    if (!store_index_init(&index, expected)) return false;
    store_index_free(&db->index);
    db->index = index;
    for (uint32_t page = 1; page < db->pages;) {
        store_page_head head;
        std::memcpy(&head, db->file.base + uint64_t{page} * STORE_PAGE, sizeof head);
        index_page(db, page, head.slot_class, opening);
        page += store_classes[head.slot_class].pages;
    }
    return true;
}

static void write_word(uint8_t *at, uint64_t word) {
    store_order();
    std::memcpy(at, &word, sizeof word);
    store_order();
}

void store_slot_release(store_db *db, uint64_t place, uint32_t slot_class) {
    uint8_t *slot = db->file.base + place;
    write_word(slot, STORE_SLOT_FREE);
    std::memcpy(slot + STORE_SLOT_HEAD, &db->free_head[slot_class], sizeof(uint32_t));
    db->free_head[slot_class] = static_cast<uint32_t>(place / 4);
    db->free_count[slot_class]++;
}

static uint64_t slot_take(store_db *db, uint32_t slot_class) {
    const uint32_t ref = db->free_head[slot_class];
    std::memcpy(&db->free_head[slot_class], store_slot_at(db, ref) + STORE_SLOT_HEAD, sizeof(uint32_t));
    db->free_count[slot_class]--;
    return uint64_t{ref} * 4;
}

void store_page_prepare(store_db *db, uint32_t page, uint32_t slot_class) {
    uint8_t *bytes = db->file.base + uint64_t{page} * STORE_PAGE;
    const store_class &row = store_classes[slot_class];
    /* Downwards, so that the slots are given out upwards. */
    for (uint32_t slot = row.slots; slot-- > 0;)
        store_slot_release(db, store_slot_place(page, slot_class, slot), slot_class);
    if (slot_class == 0) store_slot_release(db, store_slot_place(page, 0, 0), 0);
    store_page_head head;
    store_page_head_make(&head, page, slot_class);
    store_order();
    std::memcpy(bytes, &head, sizeof head);
    store_order();
}

void store_db_publish(store_db *db) {
    for (const uint32_t at : {0u, STORE_SECOND_HEADER}) {
        uint8_t *header = db->file.base + at;
        write_word(header + offsetof(store_header, pages), store_guard(db->pages));
        write_word(header + offsetof(store_header, soft_limit), store_guard(db->soft_limit));
        write_word(header + offsetof(store_header, over_limit), store_guard(db->over_limit));
    }
}

static void page_add(store_db *db, uint32_t slot_class) {
    const store_class &row = store_classes[slot_class];
    if (row.pages == 1 && db->free_count[0] != 0) {
        const auto page = static_cast<uint32_t>(slot_take(db, 0) / STORE_PAGE);
        store_redo_touch(db->share.log_index, uint64_t{page} * STORE_PAGE);
        store_page_prepare(db, page, slot_class);
        return;
    }
    store_page_prepare(db, db->pages, slot_class);
    store_step_at(STORE_STEP_PAGE, db->pages);
    db->pages += row.pages;
    store.pages_used += row.pages;
    store_db_publish(db);
}

static void slot_write(store_db *db, uint64_t place, const store_op *op) {
    uint8_t *slot = db->file.base + place;
    store_redo_touch(db->share.log_index, place);
    std::memcpy(slot + STORE_SLOT_HEAD, op->key, op->key_len);
    if (op->value_len != 0) std::memcpy(slot + STORE_SLOT_HEAD + op->key_len, op->value, op->value_len);
    store_step_at(STORE_STEP_HALF_SLOT, 0);
    const uint32_t lengths = store_lengths(op->key_len, op->value_len);
    const uint32_t sum = store_slot_sum(place, lengths, slot + STORE_SLOT_HEAD);
    write_word(slot, lengths | static_cast<uint64_t>(sum) << 32);
}

static void record_free(store_db *db, uint32_t ref) {
    const uint64_t place = uint64_t{ref} * 4;
    if (db->walk != nullptr) store_walk_removed(db, ref);
    store_redo_touch(db->share.log_index, place);
    store_slot_release(db, place, store_class_of_lengths(store_slot_head(store_slot_at(db, ref))));
}

static uint32_t record_make(store_db *db, const store_op *op, uint32_t slot_class) {
    if (db->free_count[slot_class] == 0) page_add(db, slot_class);
    const uint64_t place = slot_take(db, slot_class);
    slot_write(db, place, op);
    const auto ref = static_cast<uint32_t>(place / 4);
    if (db->walk != nullptr) store_walk_added(db, ref);
    return ref;
}

static void apply_store(store_db *db, const store_op *op) {
    const uint32_t slot_class = store_class_of(STORE_SLOT_HEAD + op->key_len + op->value_len);
    uint32_t *ref = store_db_find(db, op->hash, op->key, op->key_len);
    if (ref == nullptr) {
        store_index_insert(&db->index, op->hash, record_make(db, op, slot_class));
        db->records++;
        db->share.came++;
    } else if (store_class_of_lengths(store_slot_head(store_slot_at(db, *ref))) == slot_class) {
        slot_write(db, uint64_t{*ref} * 4, op);
    } else {
        /* Old slot first: a key never stands in the file twice; the redo log covers the time when it is absent. */
        record_free(db, *ref);
        *ref = record_make(db, op, slot_class);
    }
}

static void apply_delete(store_db *db, const store_op *op) {
    const uint32_t *found = store_db_find(db, op->hash, op->key, op->key_len);
    if (found == nullptr) return;
    const uint32_t ref = *found;
    store_index_remove(&db->index, op->hash, ref);
    record_free(db, ref);
    db->records--;
}

void store_db_apply(store_db *db, const store_op *op) {
    db->changes++;
    if (op->kind == STORE_OP_STORE)
        apply_store(db, op);
    else
        apply_delete(db, op);
}

void store_db_close(store_db *db) {
    store_walk_end(db);
    store_index_free(&db->index);
    store.pages_used -= db->pages;
    store_file_close(&db->file);
}
