/* Opens a database: creates it, or reads every byte of it once and believes only what its checks allow. What is
 * refused is said, counted, and given up, so that it is said once. */
#include "host/store/store_private.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

struct scan {
    store_db *db;
    uint64_t torn; /* place of the slot or page that was being written, or 0 */
    uint32_t said;
    uint32_t pages; /* that the file has */
    uint64_t found; /* records */
};
constexpr uint32_t STORE_SAID_MAX = 8; /* lines for single records, for each file */

static void say_refused(scan *s, uint64_t place, const char *what) {
    if (s->said++ < STORE_SAID_MAX)
        store_say("%s: %s at byte %llu refused", s->db->name, what, static_cast<unsigned long long>(place));
}

static int create(const char *name, const fu_pss_service_arg *arg) {
    char fresh[STORE_NAME_MAX + 8];
    std::snprintf(fresh, sizeof fresh, "%s.new", name);
    const int fd = openat(store.folder_fd, fresh, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return -1;
    uint8_t page[STORE_PAGE] = {};
    store_header header;
    store_header_make(&header, static_cast<uint32_t>(arg->id), arg->key_size, arg->value_size);
    std::memcpy(page, &header, sizeof header);
    std::memcpy(page + STORE_SECOND_HEADER, &header, sizeof header);
    /* It gets its name when it is whole, so a file of that name always has a header. */
    if (write(fd, page, sizeof page) == static_cast<ssize_t>(sizeof page) &&
        renameat(store.folder_fd, fresh, store.folder_fd, name) == 0)
        return fd;
    const int code = errno;
    unlinkat(store.folder_fd, fresh, 0);
    close(fd);
    errno = code;
    return -1;
}

/* A file whose header says nothing to be believed, or another layout, is kept for a person to look at. */
static int set_aside(store_db *db, const char *name, const fu_pss_service_arg *arg, const char *why) {
    char aside[STORE_NAME_MAX + 8];
    std::snprintf(aside, sizeof aside, "%s.aside", name);
    store_say("%s: %s; nothing of it is used, set aside as %s", name, why, aside);
    store_file_close(&db->file);
    if (renameat(store.folder_fd, name, store.folder_fd, aside) != 0) return STORE_IO;
    if (arg == nullptr) return STORE_ABSENT;
    const int code = store_db_open(db, name, arg, 0);
    db->report.set_aside = true;
    return code;
}

/* One slot: free, good, being written when the last process ended, or refused. */
static void scan_slot(scan *s, uint64_t place, uint32_t slot_class) {
    const uint8_t *slot = s->db->file.base + place;
    if (store_slot_head(slot) != STORE_SLOT_FREE && place != s->torn) {
        if (store_slot_good(slot, place, slot_class)) {
            s->found++;
            return;
        }
        s->db->report.records_refused++;
        say_refused(s, place, "record");
    }
    store_slot_release(s->db, place, slot_class);
}

/* The class of a page by its head, or by its records when the head is bad; 0 when neither tells. */
static uint32_t page_class(scan *s, uint32_t page) {
    store_db *db = s->db;
    const uint64_t place = uint64_t{page} * STORE_PAGE;
    store_page_head head;
    std::memcpy(&head, db->file.base + place, sizeof head);
    if (store_page_head_good(&head, page) && store_classes[head.slot_class].pages <= s->pages - page)
        return head.slot_class;
    const uint64_t room = uint64_t{s->pages - page} * STORE_PAGE;
    const uint32_t guess = store_page_class_guess(db->file.base + place, room, page);
    if (guess != 0) {
        db->report.pages_repaired++;
        store_page_head_make(&head, page, guess);
        std::memcpy(db->file.base + place, &head, sizeof head);
        return guess;
    }
    if (place != s->torn) {
        db->report.pages_refused++;
        say_refused(s, place, "page");
    }
    return 0;
}

static void scan_pages(scan *s) {
    for (uint32_t page = 1; page < s->pages;) {
        const uint32_t slot_class = page_class(s, page);
        if (slot_class == 0) store_page_prepare(s->db, page, 0);
        for (uint32_t slot = 0; slot < store_classes[slot_class].slots; slot++)
            scan_slot(s, store_slot_place(page, slot_class, slot), slot_class);
        page += store_classes[slot_class].pages;
    }
}

/* The pages in use, when neither header tells: up to the last one with anything in its head. */
static uint32_t pages_guess(const store_db *db, uint32_t has) {
    const store_page_head none{};
    while (has > 1 && std::memcmp(db->file.base + uint64_t{has - 1} * STORE_PAGE, &none, sizeof none) == 0)
        has--;
    return has;
}

static int scan_file(store_db *db, const store_header *header, uint64_t torn) {
    scan s{db, torn, 0, 0, 0};
    const auto has = static_cast<uint32_t>(db->file.size / STORE_PAGE);
    s.pages = store_guard_good(header->pages) ? static_cast<uint32_t>(header->pages) : pages_guess(db, has);
    if (s.pages > has) {
        db->report.pages_lost = s.pages - has;
        store_say("%s: cut short, %u pages are lost", db->name, db->report.pages_lost);
        s.pages = has;
    }
    db->pages = s.pages;
    store.pages_used += s.pages;
    db->soft_limit = store_guard_good(header->soft_limit) ? static_cast<uint32_t>(header->soft_limit) : 0;
    db->over_limit = store_guard_good(header->over_limit) ? static_cast<uint32_t>(header->over_limit) : 0;
    scan_pages(&s);
    if (!store_db_index_build(db, s.found, true)) return STORE_NO_SPACE;
    db->records = db->index.entries;
    db->report.records = db->records;
    return 0;
}

static void restore_headers(store_db *db, const store_header *believed) {
    store_header header;
    store_header_make(&header, believed->service_id, believed->key_size, believed->value_size);
    header.pages = store_guard(db->pages);
    for (const uint32_t at : {0u, STORE_SECOND_HEADER})
        std::memcpy(db->file.base + at, &header, sizeof header);
    store_db_publish(db);
}

static void say_report(const store_db *db) {
    const store_open_report &r = db->report;
    if (r.header_repaired) store_say("%s: header repaired from its copy", db->name);
    if (r.records_refused == 0 && r.pages_refused == 0 && r.pages_repaired == 0 && r.pages_lost == 0) return;
    store_say("%s: damaged: %u records and %u pages refused, %u page heads repaired, %u records are good",
              db->name, r.records_refused, r.pages_refused, r.pages_repaired, r.records);
}

int store_db_open(store_db *db, const char *name, const fu_pss_service_arg *arg, uint64_t torn) {
    *db = {};
    db->file.fd = -1;
    std::snprintf(db->name, sizeof db->name, "%s", name);
    int fd = openat(store.folder_fd, name, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0 && errno == ENOENT && arg == nullptr) return STORE_ABSENT;
    if (fd < 0 && errno == ENOENT) fd = create(name, arg);
    int code = fd < 0 ? errno : store_file_map(&db->file, fd);
    if (code != 0) {
        store_file_close(&db->file);
        store_say("%s: cannot be opened: %s", name, std::strerror(code));
        return code == ENOSPC || code == ENOMEM ? STORE_NO_SPACE : STORE_IO;
    }
    if (db->file.size == 0) return set_aside(db, name, arg, "too short for a database");
    store_header header;
    const store_header_state state = store_header_read(db->file.base, &header, &db->report.header_repaired);
    if (state == STORE_HEADER_BAD) return set_aside(db, name, arg, "no header to be believed");
    if (state == STORE_HEADER_OTHER_LAYOUT) return set_aside(db, name, arg, "of another layout version");
    code = scan_file(db, &header, torn);
    if (code != 0) {
        store_db_close(db);
        return code;
    }
    restore_headers(db, &header);
    say_report(db);
    return 0;
}
