/* host/trace/bl_file.h: the file of a binary trace log. Inside host/trace only. The head, then for each ring
 * 'records' slots of BL_RECORD_BYTES. Host byte order: the file never leaves the machine. A slot is whole
 * when its stamp is 2 * position + 2, with 'position' counting the records of its ring from 0; the stamp is
 * odd while the slot is written. So a reader knows both that a record is whole and which one it is, and a
 * process killed in the middle of a record leaves one that nobody takes. */
#pragma once

#include "host/trace/bl.h"

#include <atomic>
#include <cstddef>

inline constexpr char BL_FILE_MAGIC[8] = {'L', 'C', 'T', 'R', 'B', 'L', '0', '1'};

struct bl_ring_head {
    uint32_t level;
    uint32_t records; /* slots */
    uint32_t note;    /* word 1 of the level row */
    uint32_t reserved;
    uint64_t offset;                /* of the first slot, in the file */
    std::atomic<uint64_t> position; /* of the next record */
};

struct bl_file_head {
    char magic[8];
    uint32_t vdc_id;
    uint32_t log_id;
    uint32_t instance;
    uint32_t record_bytes;
    uint32_t ring_count;
    uint32_t reserved;
    std::atomic<uint64_t> sequence; /* of the next record, over all rings */
    bl_ring_head rings[BL_LEVELS_MAX];
};
static_assert(sizeof(bl_ring_head) == 32 && sizeof(bl_file_head) == 168);
static_assert(std::atomic<uint64_t>::is_always_lock_free);

inline constexpr uint64_t BL_FILE_SLOTS = 256; /* offset of the first slot */

struct bl_slot {
    std::atomic<uint64_t> stamp;
    uint64_t sequence;
    uint64_t wall_ns;
    uint16_t event;
    uint8_t level;
    uint8_t cut;
    uint16_t size; /* of 'args' in use */
    uint16_t reserved;
    uint8_t args[BL_ARGS_BYTES]; /* each: u8 type, u8 length, data */
};
static_assert(sizeof(bl_slot) == BL_RECORD_BYTES && offsetof(bl_slot, args) == 32);

inline uint64_t bl_stamp_whole(uint64_t position) { return 2 * position + 2; }

/* Data lengths of an address argument: family, mask and the bytes of the family. */
inline constexpr uint32_t BL_IPV4_BYTES = 6, BL_IPV6_BYTES = 18;

/* Names of the files. */
void bl_file_name(uint32_t vdc_id, uint32_t log_id, char *out, size_t out_size);
void bl_formats_name(uint32_t log_id, char *out, size_t out_size);

/* Closes all logs and zeroes the counters. */
void bl_reset();
