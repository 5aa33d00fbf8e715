/* host/store/store_redo.h: the bytes of the redo log, for its owner and for readers from outside. docs/store.md
 * tells the same in words. Byte order: the machine's.
 *
 * The log holds one batch. It is written, sealed by one store of 'sealed', carried out on the databases, and cleared
 * by one store of 0. A process killed before the seal has changed nothing; one killed after it leaves a batch that
 * the next owner carries out again from its first operation, which gives the same end however far it had come. */
#pragma once

#include <cstdint>

constexpr char STORE_REDO_MAGIC[8] = {'L', 'C', 'R', 'E', 'D', 'O', '0', '\n'};
constexpr uint32_t STORE_REDO_BODY = 64; /* where the batch begins */

struct store_redo_head {
    char magic[8];
    uint32_t layout;
    uint32_t zero;
    uint64_t sealed; /* 0 = empty, else bytes of the batch (low 32 bits) and their sum (high 32 bits) */
    uint64_t
        touched; /* the slot or page being written: database in the batch + 1 (high 16 bits), place in its file */
    uint8_t unused[32];
};
static_assert(sizeof(store_redo_head) == STORE_REDO_BODY);

/* The batch: counts, then the databases, then the operations, each padded to 8 bytes. */
struct store_redo_counts {
    uint32_t databases;
    uint32_t operations;
};
struct store_redo_database_head { /* then the name, without a NUL */
    uint32_t name_len;
    uint32_t zero;
};
struct store_redo_op_head { /* then key and value */
    uint16_t database;      /* 0 = the first one named */
    uint8_t kind;           /* 0 store, 1 delete */
    uint8_t key_len;
    uint32_t value_len;
};
constexpr uint64_t store_redo_padded(uint64_t bytes) { return (bytes + 7) & ~uint64_t{7}; }
