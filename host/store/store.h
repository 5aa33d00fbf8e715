/* host/store/store.h: the keyed store as the product uses it. Databases of records (key and value bytes) lie in
 * files of shared memory and survive the process; a batch of operations is applied wholly or not at all, also when
 * the process is killed at any instruction.
 * Units: all sizes are bytes. Byte order: keys and values are opaque. Databases are ordered by key: by its bytes, a
 * key that is the beginning of another first; then those of four bytes, by the number of the machine that they hold.
 * One thread; no call blocks. Every call returns 0 or one of the codes below.
 * Ownership: the store copies what it is given, except that operations of a batch keep pointers to key and value
 * bytes until pss2_ops_exec() has returned. */
#pragma once

#include <cstdint>

enum store_code : int {
    STORE_OK = 0,
    STORE_ABSENT = 0x40480003,   /* no such key; end of a walk; no such service */
    STORE_OPS_FULL = 0x40480013, /* the operations buffer takes no more */
    STORE_NOTHING = 0x40480020,  /* an exec with nothing queued */
    STORE_BAD_ARGUMENT =
        0x40480001,              /* null or unusable handle, key of 0 or more than 64 bytes, value too long */
    STORE_CLOSED = 0x40480005,   /* the service of the operation is not open (any more) */
    STORE_NO_SPACE = 0x40480007, /* hard bound, full file system or no memory; this record was not stored */
    STORE_IO = 0x40480009,       /* a file cannot be opened, mapped or removed; errno is told in the text */
    STORE_IN_USE = 0x4048000b,   /* another process owns the store, or another service the same file */
};

constexpr uint32_t STORE_KEY_MAX = 64;
constexpr uint32_t STORE_VALUE_MAX = 0xfff000;
constexpr int STORE_SERVICE_IDS = 256; /* service ids are 0..255 */
enum pss2_operation : int { PSS2_OP_STORE = 0, PSS2_OP_DELETE = 1 };
enum pss2_location : int { PSS2_FIRST = 1, PSS2_NEXT = 3 };

struct fu_global;
struct pss2_service; /* an open database; the pointer stays valid for the life of the process */
struct pss2_ops;     /* an operations buffer */

struct pss2_datum {
    const void *p;
    uint32_t len;
};

/* How a database is opened. Sizes are advisory: they are recorded, and shown by the tools, and limit nothing. */
struct fu_pss_service_arg {
    int id;
    uint32_t key_size;
    uint32_t value_size;
    char uri[256]; /* "volatile:" + absolute path of the system, or a plain name */
};

/* Fills in defaults: id -1, sizes 0, no uri. */
void fu_global_pss_service_default_arg(fu_pss_service_arg *arg);
/* Copies 'uri'. STORE_BAD_ARGUMENT when it does not fit, with an empty uri. */
[[nodiscard]] int fu_pss_service_arg_uri_set(fu_pss_service_arg *arg, const char *uri);

/* Opens the database of 'arg->uri' as service 'arg->id', or creates it (0600); never truncates an existing one.
 * A path is taken below the root directory and must lie in the store's folder, /dev/shm; a plain name N stands for
 * "/dev/shm/lcfwd_N_<id>". What is found damaged is said (store_admin.h) and refused record by record: the call
 * still gives 0 and the good records are there. The same id again with the same file: 0, nothing changes. */
[[nodiscard]] int fu_pss_entry_install(fu_global *global, int flag, const fu_pss_service_arg *arg);
/* STORE_ABSENT and null when no such service is open. */
[[nodiscard]] int fu_pss_service_get(int id, pss2_service **out);
/* Closes the service and removes its file. Queued operations on it will be skipped. */
int fu_vdc_pss_close_and_destroy(int flag, int id);

/* Immediate forms over the service whose id is 'type'; 'vdc' is for the caller's log only. Durable on return. */
[[nodiscard]] int fu_vdc_pss_store(int vdc, int type, const pss2_datum *key, const pss2_datum *value);
[[nodiscard]] int fu_vdc_pss_delete(int vdc, int type, const pss2_datum *key);
[[nodiscard]] int pss2_store(pss2_service *service, const pss2_datum *key, const pss2_datum *value);
[[nodiscard]] int pss2_delete(pss2_service *service,
                              const pss2_datum *key); /* STORE_ABSENT: there was none */

/* Points 'out' at the stored value: valid until the next change of this service. STORE_ABSENT: 'out' untouched. */
[[nodiscard]] int pss2_fetch(pss2_service *service, const pss2_datum *key, pss2_datum *out);

/* One cursor for each service, ordered by key. It stands on a key, not on a record: it survives the deletion of its
 * record, and commits from elsewhere; the next key is the smallest one after it that exists at that time.
 * 'unit' is 1. 'where': PSS2_FIRST, or PSS2_NEXT (after PSS2_FIRST or pss2_move2key). STORE_ABSENT at the end. */
[[nodiscard]] int pss2_move2location(pss2_service *service, int unit, int where);
[[nodiscard]] int pss2_move2key(pss2_service *service,
                                const pss2_datum *key); /* STORE_ABSENT: cursor unmoved */
/* The cursor's key (a copy of the service, valid until the cursor moves) and value (valid until the next change of
 * the service). STORE_ABSENT when the cursor stands nowhere, or, for the value, when the record is gone. */
[[nodiscard]] int pss2_getkey(pss2_service *service, pss2_datum *out);
[[nodiscard]] int pss2_getvalue(pss2_service *service, pss2_datum *out);

[[nodiscard]] int pss2_get_key_count(pss2_service *service, uint32_t *count);
/* A soft limit on the bytes of the database file; 0 is none. Records that come when it is passed are stored,
 * counted, and the first of them is reported: refusing them would make a restart forget routes that are forwarding. */
[[nodiscard]] int pss2_set_max_dbsize(pss2_service *service, uint32_t size);

/* An operations buffer for size / 8 operations, at most 5120. 'area' names the buffer, its bytes are not used: init
 * over the same area empties the buffer and gives the same handle. Null with '*status' set on failure. */
[[nodiscard]] pss2_ops *pss2_ops_init(void *area, uint32_t size, int *status);
/* Selects the database of the operations that follow. */
[[nodiscard]] int pss2_ops_add_db(pss2_ops *ops, pss2_service *service);
/* Queues an operation (pss2_operation; 'value' may be null for a delete). The two descriptors are copied, the bytes
 * are not: they must stay until pss2_ops_exec(). STORE_OPS_FULL: not queued. */
[[nodiscard]] int pss2_ops_add(pss2_ops *ops, int operation, const pss2_datum *key, const pss2_datum *value);
/* Applies all operations in order, over all databases, as one unit. The buffer is spent afterwards (init again).
 * STORE_CLOSED or STORE_NO_SPACE: some operations were skipped for that reason, all others are applied; deleting an
 * absent key is no failure in a batch. STORE_NOTHING with nothing queued. */
[[nodiscard]] int pss2_ops_exec(pss2_ops *ops);
