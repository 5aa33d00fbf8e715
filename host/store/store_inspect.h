/* host/store/store_inspect.h: reads databases from outside, without owning them, also while their owner writes.
 * For tools. Nothing is changed, nothing is locked, no file is mapped (so a file that shrinks cannot hurt). A record
 * that is being rewritten is read again; one that never becomes good is counted as refused.
 * Paths here are real paths of the machine, not paths below the root. Units: bytes. Each call returns 0 or an errno. */
#pragma once

#include <cstdint>

enum store_file_state : int {
    STORE_FILE_GOOD,
    STORE_FILE_OTHER_LAYOUT, /* a store file, of another layout version */
    STORE_FILE_UNREADABLE    /* too short, or neither header can be believed */
};

struct store_file_info {
    char name[256]; /* without its folder */
    store_file_state state;
    uint32_t layout_version;
    uint32_t service_id;
    uint32_t key_size, value_size; /* as declared at creation; 0 = not told */
    uint32_t records;              /* good ones */
    uint32_t refused;              /* records and pages that cannot be believed */
    uint64_t record_bytes;         /* keys and values of the good ones */
    uint64_t file_bytes;           /* allocated */
    uint64_t used_bytes;           /* of these, taken by the header and by pages of records */
    uint64_t soft_limit;           /* 0 = none */
    uint32_t over_limit;           /* records that came when the soft limit was passed */
};

/* A record; the bytes are valid during the call. Return false to end the walk. */
using store_record_fn = bool (*)(void *ctx, const void *key, uint32_t key_len, const void *value,
                                 uint32_t value_len);
using store_file_fn = void (*)(void *ctx, const store_file_info *info);

/* Calls 'file' for each database ("lcfwd_*") in 'folder', in order of name. '*redo_pending' (may be null) tells
 * whether a batch stands sealed in the redo log: with no process running, the files are then older than it. */
[[nodiscard]] int store_inspect_list(const char *folder, store_file_fn file, void *ctx, bool *redo_pending);
/* Reads one file through: its figures to '*info' (may be null), its good records, in the order of the file, to
 * 'record' (may be null). EBADMSG when the file is not a readable store file ('*info' says why). */
[[nodiscard]] int store_inspect_file(const char *path, store_record_fn record, void *ctx,
                                     store_file_info *info);
