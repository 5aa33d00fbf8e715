/* ufib/ufib_pss_vobj.h: stored records of virtual objects: one under the handle of each instance, both with the whole
 * object, so that a prefix that points at either finds both. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct ufib_vobj;

constexpr uint8_t UFIB_VOBJ_RECORD_SEGMENT = 0x10; /* flags of a row */
constexpr uint8_t UFIB_VOBJ_RECORD_V4 = 0x20;
constexpr uint8_t UFIB_VOBJ_RECORD_RNH = 0x40;
constexpr uint8_t UFIB_VOBJ_RECORD_ACTIVE = 0x80;

struct ufib_vobj_record_row {
    uint8_t address[16]; /* IPv4: host order in the first four */
    uint32_t label;      /* or segment id */
    uint32_t table_id;
    uint8_t flags; /* UFIB_VOBJ_RECORD_* */
    uint8_t mask_len;
    uint8_t zero[2];
};
static_assert(sizeof(ufib_vobj_record_row) == 28);

/* "vobj": key is the handle of an instance; host order. Stored up to its last row. */
struct ufib_vobj_record {
    uint8_t zero[8];
    uint32_t old_handle;
    uint32_t new_handle;
    uint32_t fec_new_handle;
    uint32_t fec_old_handle;
    uint8_t old_ls_count;
    uint8_t new_ls_count;
    uint8_t row_count;
    uint8_t extra_flags; /* UFIB_VOBJ_XRI_VALID */
    uint8_t xri[24];     /* as it came with the route */
    uint8_t reserved[4];
    ufib_vobj_record_row rows[64];
};
static_assert(sizeof(ufib_vobj_record) == 1848 && offsetof(ufib_vobj_record, rows) == 56);

/* What the record of an object is to say; rows up to its last one. */
void ufib_pss_vobj_record_fill(const ufib_vobj *vobj, ufib_vobj_record *record);
/* Writes a record for each instance that stands. */
void ufib_pss_insert_vobj(const ufib_vobj *vobj);
/* Removes the record of an instance: 0 old, 1 new, 2 both; one without a handle: nothing. */
void ufib_pss_delete_vobj(const ufib_vobj *vobj, uint32_t instance);
/* The same by the handle that the instance had. */
void ufib_pss_delete_vobj_record(uint32_t vdc_id, uint32_t handle);

/* The record under a handle, rows behind the last one zeroed. False: none, or a damaged one (too short, more rows than
 * it has room for). */
[[nodiscard]] bool ufib_pss_get_vobj(uint32_t vdc_id, uint32_t handle, ufib_vobj_record *out);
