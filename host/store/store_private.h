/* host/store/store_private.h: the owner's side of a database, and the state of the store. Private to host/store. */
#pragma once

#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/store/store_index.h"
#include "host/store/store_layout.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

constexpr uint32_t STORE_OPS_MAX = 5120;
constexpr uint32_t STORE_OP_COUNTED = 8; /* bytes that an operation counts for in its buffer's area */
constexpr uint32_t STORE_OPS_BUFFERS = 8;
constexpr uint32_t STORE_NAME_MAX = 200;
constexpr uint64_t STORE_RESERVE = uint64_t{STORE_PAGES_MAX} * STORE_PAGE; /* of addresses, for each file */
constexpr uint64_t STORE_HARD_BOUND = uint64_t{16} << 30;                  /* bytes */
constexpr char STORE_FOLDER[] = "/dev/shm";
constexpr char STORE_PREFIX[] = "lcfwd_";
constexpr char STORE_REDO_NAME[] = "lcfwd_redo";

/* A file that grows under a mapping whose base stays. */
struct store_file {
    int fd;        /* -1 = closed */
    uint8_t *base; /* STORE_RESERVE bytes of addresses */
    uint64_t size; /* mapped and allocated */
};
/* Both give 0, or an errno with nothing changed. 'fd' is owned by the file from the call on. */
[[nodiscard]] int store_file_map(store_file *file, int fd);
[[nodiscard]] int store_file_grow(store_file *file, uint64_t size);
void store_file_close(store_file *file);

/* The sorted view of a database that a walk needs: made when the walk begins, kept right by every change. */
struct store_walk {
    uint32_t *sorted; /* references by key, of the time when the view was made */
    uint32_t *added;  /* references by key, of records that came later */
    uint64_t *gone;   /* a bit for each 16 bytes of the file: the slot that began there has been freed */
    uint32_t sorted_count;
    uint32_t added_count;
    uint64_t gone_bits;
    uint32_t at; /* next of 'sorted' */
    bool placed; /* 'at' belongs to the cursor */
};

struct store_batch_share { /* what one batch wants of one database */
    uint64_t number;       /* of the batch; another one: the rest is stale */
    uint64_t classes[2];   /* a bit for each class that occurs */
    uint64_t bytes;        /* page bytes of all stores, as if all were new */
    uint32_t stores;
    uint32_t came;      /* new records */
    uint32_t log_index; /* of this database in the redo log */
    bool tight;         /* no room to grow: only what fits as it is */
};

struct store_db {
    store_file file;
    char name[STORE_NAME_MAX + 1];
    uint32_t pages; /* in use */
    uint32_t records;
    uint32_t free_head
        [STORE_CLASSES]; /* first free slot, as place / 4; a free slot names the next behind its head */
    uint32_t free_count[STORE_CLASSES];
    uint16_t tight_used[STORE_CLASSES]; /* free slots promised to the batch that is planned */
    store_index index;
    store_walk *walk; /* null unless a walk is on */
    uint64_t changes; /* counts every change of a record */
    uint32_t soft_limit;
    uint32_t over_limit;
    bool over_said;
    store_batch_share share;
    store_open_report report;
};

enum store_cursor_state : int { STORE_CURSOR_NOWHERE, STORE_CURSOR_ON, STORE_CURSOR_END };
struct pss2_service {
    bool open;
    int id;
    uint32_t generation; /* rises at each close: tells queued operations of an earlier opening */
    store_db db;
    store_cursor_state cursor;
    uint32_t cursor_ref; /* the record, while db.changes is 'cursor_changes' */
    uint64_t cursor_changes;
    uint32_t cursor_key_len;
    uint8_t cursor_key[STORE_KEY_MAX];
};

enum store_op_kind : uint8_t { STORE_OP_STORE, STORE_OP_DELETE, STORE_OP_SKIPPED };
struct store_op {
    const uint8_t *key;
    const uint8_t *value;
    uint64_t hash;
    uint32_t value_len;
    uint32_t generation;
    uint16_t service;
    uint8_t key_len;
    store_op_kind kind;
};
struct pss2_ops {
    const void *area;
    store_op *ops; /* STORE_OPS_MAX of them, owned */
    uint32_t capacity, count;
    pss2_service *selected;
    uint32_t selected_generation;
    bool usable;
};

struct store_fault {
    uint32_t countdown;
    int code;
    bool keep_failing;
    uint32_t struck;
};

struct store_state {
    bool owned = false; /* folder and redo log are open, and the log has been replayed */
    bool hard_bound_said = false;
    int folder_fd = -1;
    store_file redo = {-1, nullptr, 0};
    uint64_t batch = 0;
    uint64_t pages_used = 0; /* of all open databases */
    uint64_t hard_bound = STORE_HARD_BOUND;
    uint32_t replayed = 0;
    store_log_fn log = nullptr;
    void *log_ctx = nullptr;
    store_step_fn hook = nullptr;
    store_fault faults[STORE_FAULT_POINTS] = {};
    pss2_ops buffers[STORE_OPS_BUFFERS] = {};
};
extern store_state store;
extern pss2_service
    store_services[STORE_SERVICE_IDS]; /* beside the state, so that untouched rows take no memory */

/* store_admin.cc */
[[gnu::format(printf, 1, 2)]] void store_say(const char *format, ...);
/* Whether the knob of 'point' fires now, with its code. */
bool store_fault_fires(store_fault_point point, int *code);
/* Opens the folder and the redo log, locks it, and carries out or (with 'forget') drops what is sealed in it. */
[[nodiscard]] int store_own(bool forget);
inline void store_step_at(store_step step, uint32_t index) {
    if (store.hook != nullptr) store.hook(step, index);
}
/* Keeps the compiler from moving stores across: a killed process leaves what it has stored, in this order. */
inline void store_order() { std::atomic_signal_fence(std::memory_order_seq_cst); }

/* store_db.cc: all over one database. References are place / 4. */
inline const uint8_t *store_slot_at(const store_db *db, uint32_t ref) {
    return db->file.base + uint64_t{ref} * 4;
}
inline const uint8_t *store_slot_key(const uint8_t *slot) { return slot + STORE_SLOT_HEAD; }
inline uint64_t store_hash(const void *key, uint32_t key_len) { return store_mix(0, key, key_len); }
/* Where the index holds the key's reference, or null. */
uint32_t *store_db_find(const store_db *db, uint64_t hash, const void *key, uint32_t key_len);
/* Makes sure that 'pages' more pages and 'records' more records have room. 0 or an errno. */
[[nodiscard]] int store_db_reserve(store_db *db, uint64_t pages, uint32_t records);
/* Builds the index over all records; a second record of the same key is refused when 'opening'. */
[[nodiscard]] bool store_db_index_build(store_db *db, uint64_t expected, bool opening);
/* Room has been made sure of, and the redo log is sealed. */
void store_db_apply(store_db *db, const store_op *op);
/* Marks a slot free and puts it in the list of its class. */
void store_slot_release(store_db *db, uint64_t place, uint32_t slot_class);
/* Writes the head of page 'page' and frees all its slots (of a page without slots: itself). */
void store_page_prepare(store_db *db, uint32_t page, uint32_t slot_class);
/* Writes the words that change into both headers. */
void store_db_publish(store_db *db);
void store_db_close(store_db *db);

/* store_scan.cc: opens 'name' in the store's folder, or creates it when 'arg' is not null. 'torn' is the place of a
 * slot or page that a killed process was writing, or 0. Store code. */
[[nodiscard]] int store_db_open(store_db *db, const char *name, const fu_pss_service_arg *arg, uint64_t torn);

/* store_redo.cc. The log's body is written with begin, database, op; then sealed; then cleared. */
[[nodiscard]] int store_redo_open();
[[nodiscard]] int store_redo_replay();
[[nodiscard]] bool store_redo_sealed();
[[nodiscard]] int store_redo_room(uint64_t bytes);
uint64_t store_redo_op_size(uint32_t key_len, uint32_t value_len);
uint64_t store_redo_db_size(const char *name);
void store_redo_begin();
void store_redo_database(const store_db *db);
void store_redo_op(const store_op *op, uint32_t db_index);
void store_redo_seal();
void store_redo_clear();
/* Says which slot or page is about to be written. */
void store_redo_touch(uint32_t db_index, uint64_t place);

/* store_exec.cc: applies operations as one unit. Store code. */
[[nodiscard]] int store_exec(store_op *ops, uint32_t count);

/* store_walk.cc */
void store_walk_end(store_db *db);
void store_walk_added(store_db *db, uint32_t ref);
void store_walk_removed(store_db *db, uint32_t ref);
/* The first record after (key, key_len); a key_len of 0 means the first of all. 0, STORE_ABSENT, STORE_NO_SPACE. */
[[nodiscard]] int store_walk_next(store_db *db, const uint8_t *key, uint32_t key_len, bool moved,
                                  uint32_t *ref);
uint64_t store_walk_bytes(const store_walk *walk);
