/* Reading from outside: page by page with pread into a buffer of our own, so that what is checked is what is used. */
#include "host/store/store_inspect.h"

#include "host/store/store_layout.h"
#include "host/store/store_redo.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr int STORE_TRIES = 16; /* readings of a page whose owner may be writing */
constexpr char STORE_FILES[] = "lcfwd_";
constexpr char STORE_REDO_FILE[] = "lcfwd_redo";

struct reader {
    int fd;
    uint32_t pages; /* that can be read */
    uint8_t *bytes; /* owned: a page, or the longest run seen */
    uint64_t room;
    store_record_fn record;
    void *ctx;
    store_file_info *info;
    bool stop;
};

static bool read_at(int fd, uint64_t place, void *out, uint64_t size) {
    return pread(fd, out, size, static_cast<off_t>(place)) == static_cast<ssize_t>(size);
}

/* Reads 'pages' from 'page' on. A run is read whole: its record may fill it. */
static bool read_pages(reader *r, uint32_t page, uint32_t pages) {
    const uint64_t size = uint64_t{pages} * STORE_PAGE;
    if (size > r->room) {
        void *more = std::realloc(r->bytes, size);
        if (more == nullptr) return false;
        r->bytes = static_cast<uint8_t *>(more);
        r->room = size;
    }
    return read_at(r->fd, uint64_t{page} * STORE_PAGE, r->bytes, size);
}

/* The class of the page in the buffer, as the owner would take it at open; 0 when it has no records. */
static uint32_t class_of_page(reader *r, uint32_t page) {
    store_page_head head;
    std::memcpy(&head, r->bytes, sizeof head);
    const uint32_t left = r->pages - page;
    if (store_page_head_good(&head, page) && store_classes[head.slot_class].pages <= left)
        return head.slot_class;
    const uint32_t tried = std::min(left, store_classes[STORE_CLASSES - 1].pages);
    if (!read_pages(r, page, tried)) return 0;
    const uint32_t guess = store_page_class_guess(r->bytes, uint64_t{tried} * STORE_PAGE, page);
    if (guess == 0) r->info->refused++;
    return guess;
}

/* Whether all slots of the unit in the buffer are free or good. */
static bool unit_whole(const reader *r, uint32_t page, uint32_t slot_class) {
    for (uint32_t slot = 0; slot < store_classes[slot_class].slots; slot++) {
        const uint64_t place = store_slot_place(page, slot_class, slot);
        const uint8_t *bytes = r->bytes + (place - uint64_t{page} * STORE_PAGE);
        if (store_slot_head(bytes) != STORE_SLOT_FREE && !store_slot_good(bytes, place, slot_class))
            return false;
    }
    return true;
}

static void tell_slot(reader *r, const uint8_t *slot, uint64_t place, uint32_t slot_class) {
    const uint64_t head = store_slot_head(slot);
    if (head == STORE_SLOT_FREE) return;
    if (!store_slot_good(slot, place, slot_class)) {
        r->info->refused++;
        return;
    }
    const uint32_t key_len = store_key_len(head);
    r->info->records++;
    r->info->record_bytes += key_len + store_value_len(head);
    const uint8_t *key = slot + STORE_SLOT_HEAD;
    if (r->record != nullptr && !r->stop)
        r->stop = !r->record(r->ctx, key, key_len, key + key_len, store_value_len(head));
}

/* One page or run; returns the pages that it has. */
static uint32_t tell_unit(reader *r, uint32_t page) {
    if (!read_pages(r, page, 1)) return r->pages - page;
    const uint32_t slot_class = class_of_page(r, page);
    const store_class &row = store_classes[slot_class];
    for (int tries = 0; tries < STORE_TRIES; tries++) {
        if (!read_pages(r, page, row.pages)) return r->pages - page;
        if (unit_whole(r, page, slot_class)) break;
        sched_yield();
    }
    for (uint32_t slot = 0; slot < row.slots && !r->stop; slot++) {
        const uint64_t place = store_slot_place(page, slot_class, slot);
        tell_slot(r, r->bytes + (place - uint64_t{page} * STORE_PAGE), place, slot_class);
    }
    return row.pages;
}

static int read_header(reader *r, uint64_t size) {
    store_file_info *info = r->info;
    store_header header{};
    bool repaired = false;
    if (!read_pages(r, 0, 1)) return EBADMSG;
    const store_header_state state = store_header_read(r->bytes, &header, &repaired);
    if (state == STORE_HEADER_BAD) return EBADMSG;
    info->layout_version = header.layout;
    info->state = STORE_FILE_OTHER_LAYOUT;
    if (state == STORE_HEADER_OTHER_LAYOUT) return EBADMSG;
    info->state = STORE_FILE_GOOD;
    info->service_id = header.service_id;
    info->key_size = header.key_size;
    info->value_size = header.value_size;
    info->soft_limit = store_guard_good(header.soft_limit) ? static_cast<uint32_t>(header.soft_limit) : 0;
    info->over_limit = store_guard_good(header.over_limit) ? static_cast<uint32_t>(header.over_limit) : 0;
    const auto has = static_cast<uint32_t>(std::min<uint64_t>(size / STORE_PAGE, STORE_PAGES_MAX));
    r->pages = store_guard_good(header.pages) ? static_cast<uint32_t>(header.pages) : has;
    info->used_bytes = uint64_t{r->pages} * STORE_PAGE;
    if (r->pages > has) {
        info->refused += r->pages - has;
        r->pages = has;
    }
    return 0;
}

static int read_file(int fd, store_record_fn record, void *ctx, store_file_info *info) {
    info->state = STORE_FILE_UNREADABLE;
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return EBADMSG;
    info->file_bytes = static_cast<uint64_t>(status.st_blocks) * 512;
    reader r{fd, 0, nullptr, 0, record, ctx, info, false};
    const int code = read_header(&r, static_cast<uint64_t>(status.st_size));
    for (uint32_t page = 1; code == 0 && page < r.pages && !r.stop;) page += tell_unit(&r, page);
    std::free(r.bytes);
    return code;
}

int store_inspect_file(const char *path, store_record_fn record, void *ctx, store_file_info *info) {
    store_file_info unasked{};
    if (info == nullptr) info = &unasked;
    *info = {};
    const char *slash = std::strrchr(path, '/');
    std::snprintf(info->name, sizeof info->name, "%s", slash == nullptr ? path : slash + 1);
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return errno;
    const int code = read_file(fd, record, ctx, info);
    close(fd);
    return code;
}

static bool redo_pending(int folder_fd) {
    const int fd = openat(folder_fd, STORE_REDO_FILE, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    store_redo_head head{};
    const bool sealed = read_at(fd, 0, &head, sizeof head) && head.sealed != 0;
    close(fd);
    return sealed;
}

static int is_database(const dirent *entry) {
    if (std::strncmp(entry->d_name, STORE_FILES, sizeof STORE_FILES - 1) != 0) return 0;
    return std::strcmp(entry->d_name, STORE_REDO_FILE) != 0 && std::strstr(entry->d_name, ".new") == nullptr;
}

int store_inspect_list(const char *folder, store_file_fn file, void *ctx, bool *redo_is_pending) {
    const int folder_fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder_fd < 0) return errno;
    if (redo_is_pending != nullptr) *redo_is_pending = redo_pending(folder_fd);
    dirent **entries = nullptr;
    const int count = scandirat(folder_fd, ".", &entries, is_database, alphasort);
    for (int i = 0; i < count; i++) {
        store_file_info info{};
        std::snprintf(info.name, sizeof info.name, "%s", entries[i]->d_name);
        const int fd = openat(folder_fd, entries[i]->d_name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd >= 0) {
            static_cast<void>(read_file(fd, nullptr, nullptr, &info)); /* the state tells the same */
            close(fd);
            file(ctx, &info);
        }
        std::free(entries[i]);
    }
    std::free(entries);
    close(folder_fd);
    return count < 0 ? ENOMEM : 0;
}
