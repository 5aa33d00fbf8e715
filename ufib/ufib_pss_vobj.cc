#include "ufib/ufib_pss_vobj.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "persist/lcfwd_pss_record.h"
#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_vobj.h"

#include <cstring>
#include <initializer_list>

static uint32_t record_size(uint32_t rows) {
    return static_cast<uint32_t>(offsetof(ufib_vobj_record, rows) + rows * sizeof(ufib_vobj_record_row));
}

static ufib_vobj_record_row row_record(const ufib_vobj_row &row) {
    static constexpr struct {
        uint32_t model;
        uint8_t stored;
    } flag_map[] = {
        {UFIB_VOBJ_ROW_SEGMENT, UFIB_VOBJ_RECORD_SEGMENT},
        {UFIB_VOBJ_ROW_V4, UFIB_VOBJ_RECORD_V4},
        {UFIB_VOBJ_ROW_RNH, UFIB_VOBJ_RECORD_RNH},
        {UFIB_VOBJ_ROW_ACTIVE, UFIB_VOBJ_RECORD_ACTIVE},
    };
    ufib_vobj_record_row out = {};
    if ((row.flags & UFIB_VOBJ_ROW_V4) != 0) {
        const uint32_t host = ufib_v4_addr(row.address);
        std::memcpy(out.address, &host, sizeof host);
    } else {
        std::memcpy(out.address, row.address, sizeof out.address);
    }
    out.label = row.label;
    out.table_id = row.table_id;
    for (const auto &flag : flag_map)
        if ((row.flags & flag.model) != 0) out.flags |= flag.stored;
    out.mask_len = row.mask_len;
    return out;
}

void ufib_pss_vobj_record_fill(const ufib_vobj *vobj, ufib_vobj_record *record) {
    std::memset(record, 0, offsetof(ufib_vobj_record, rows));
    record->old_handle = vobj->old_handle;
    record->new_handle = vobj->new_handle;
    record->fec_new_handle = vobj->fec == nullptr ? 0 : vobj->fec->new_handle;
    record->fec_old_handle = vobj->fec == nullptr ? 0 : vobj->fec->old_handle;
    record->old_ls_count = vobj->old_ls_count;
    record->new_ls_count = vobj->new_ls_count;
    record->row_count = static_cast<uint8_t>(vobj->row_count);
    record->extra_flags = static_cast<uint8_t>(vobj->extra_flags);
    std::memcpy(record->xri, vobj->xri, sizeof record->xri);
    for (uint32_t i = 0; i < vobj->row_count; i++) record->rows[i] = row_record(ufib_vobj_rows(vobj)[i]);
}

static void record_store(const ufib_vobj *vobj, uint32_t handle, const ufib_vobj_record &record) {
    lcfwd_pss_record slot;
    const uint32_t size = record_size(vobj->row_count);
    if (lcfwd_pss_record_begin(LCFWD_PSS_VOBJ, vobj->vdc_id, sizeof handle, size, &slot) == 0) {
        UFIB_ERR("Failed to allocate memory for storing vobj in pss\n");
        return;
    }
    std::memcpy(slot.key, &handle, sizeof handle);
    std::memcpy(slot.value, &record, size);
    if (lcfwd_pss_record_store(&slot) == 0) UFIB_ERR("PSS failed to store vobj hndl %20x", handle);
}

void ufib_pss_insert_vobj(const ufib_vobj *vobj) {
    ufib_vobj_record record;
    ufib_pss_vobj_record_fill(vobj, &record);
    for (const uint32_t handle : {vobj->old_handle, vobj->new_handle})
        if (handle != 0) record_store(vobj, handle, record);
}

void ufib_pss_delete_vobj_record(uint32_t vdc_id, uint32_t handle) {
    if (handle != 0) (void)lcfwd_pss_record_delete(LCFWD_PSS_VOBJ, vdc_id, &handle, sizeof handle);
}

void ufib_pss_delete_vobj(const ufib_vobj *vobj, uint32_t instance) {
    if (instance != UFIB_VOBJ_NEW) ufib_pss_delete_vobj_record(vobj->vdc_id, vobj->old_handle);
    if (instance != UFIB_VOBJ_OLD) ufib_pss_delete_vobj_record(vobj->vdc_id, vobj->new_handle);
}

bool ufib_pss_get_vobj(uint32_t vdc_id, uint32_t handle, ufib_vobj_record *out) {
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_VOBJ, vdc_id);
    pss2_datum value;
    if (service == nullptr || !lcfwd_pss_fetch(service, {&handle, sizeof handle}, &value)) return false;
    if (value.len < record_size(0) || value.len > sizeof *out) return false;
    std::memset(out, 0, sizeof *out);
    std::memcpy(out, value.p, value.len);
    return out->row_count <= UFIB_VOBJ_ROWS_MAX && record_size(out->row_count) <= value.len;
}
