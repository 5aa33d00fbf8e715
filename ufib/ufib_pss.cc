#include "ufib/ufib_pss.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "core/ufib_funcstats.h"
#include "host/containers/heap.h"
#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_record.h"
#include "persist/lcfwd_pss_walk.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_record.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

static ufib_path_count_fn path_counts[UFIB_OBJ_TYPES];

void ufib_path_count_register(uint32_t type, ufib_path_count_fn count) {
    if (type < UFIB_OBJ_TYPES) path_counts[type] = count;
}

void ufib_pss_reset() {
    for (ufib_path_count_fn &count : path_counts) count = nullptr;
}

/* ---- files ---- */

struct pss_file {
    lcfwd_pss_kind kind;
    uint32_t key_size;
    uint32_t value_size; /* as declared; stored values may be of any length */
    const char *what;    /* in the log line of a failure */
};

/* In the order in which they are opened. */
static constexpr pss_file pss_files[] = {
    {LCFWD_PSS_GLADJ, 1, 4, "GLADJ"},
    {LCFWD_PSS_PREFIX, 4, 17, "PREFIX"},
    {LCFWD_PSS_PREFIX_RNH, 24, 280, "PREFIX RNH"},
    {LCFWD_PSS_VOBJ, 4, 1848, "VOBJ"},
    {LCFWD_PSS_V4ADJ, 4, UFIB_V4ADJ_RECORD_SIZE, "V4ADJ"},
    {LCFWD_PSS_V4ADJ_TLV, 4, ufib_pss_v4adj_tlv_vsize, "V4ADJ TLV"},
    {LCFWD_PSS_V6ADJ, 4, UFIB_V6ADJ_RECORD_SIZE, "V6ADJ"},
    {LCFWD_PSS_V6ADJ_TLV, 4, ufib_pss_v6adj_tlv_vsize, "V6ADJ TLV"},
    {LCFWD_PSS_V4ECMP, 4, 524, "V4ECMP"},
    {LCFWD_PSS_V4ECMP_TLV, 4, ufib_pss_v4ecmp_tlv_vsize, "V4ECMP TLV"},
    {LCFWD_PSS_V6ECMP, 4, 1292, "V6ECMP"},
    {LCFWD_PSS_V6ECMP_TLV, 4, ufib_pss_v6ecmp_tlv_vsize, "V6ECMP TLV"},
    {LCFWD_PSS_MISC, 4, 12, "MISC"},
    {LCFWD_PSS_DCSRIF, 4, 4, "DCSRIF"},
    {LCFWD_PSS_RPF, 4, sizeof(ufib_rpf_record), "RPF"},
    {LCFWD_PSS_OTV_VLAN, 4, 0, "OTV VLAN"},
    {LCFWD_PSS_OTV_PEER_VLAN, 8, 0, "OTV PEER VLAN"},
    {LCFWD_PSS_MAP_CACHE, 4, 0, "MAP CACHE"},
    {LCFWD_PSS_UFIB_TABLE, 4, 0, "UFIB TABLE"},
};

static bool file_open(const lcfwd_vdc_desc *vdc, const pss_file &file) {
    const uint32_t value_size =
        file.kind == LCFWD_PSS_UFIB_TABLE ? ufib_get_table_pss_space_len() : file.value_size;
    if (lcfwd_pss_open(vdc->vdc_id, file.kind, file.key_size, value_size) == 1) return true;
    UFIB_ERR("Failed to open the %s PSS file", file.what);
    return false;
}

int ufib_pss_open_files(lcfwd_vdc_desc *vdc) {
    for (const pss_file &file : pss_files)
        if (!file_open(vdc, file)) return 0;
    return 1;
}

void ufib_pss_empty_files(lcfwd_vdc_desc *vdc) {
    for (const pss_file &file : pss_files) {
        uint32_t records = 0;
        pss2_service *service = vdc->pss[file.kind];
        if (service == nullptr || pss2_get_key_count(service, &records) != STORE_OK || records == 0) continue;
        UFIB_ERR("%u %s records of an earlier life of vdc %d are dropped", records, file.what, vdc->vdc_id);
        (void)lcfwd_pss_close_file(vdc->vdc_id, file.kind);
        (void)file_open(vdc, file);
    }
}

bool ufib_pss_all_open(const lcfwd_vdc_desc *vdc) {
    for (const pss_file &file : pss_files)
        if (vdc->pss[file.kind] == nullptr) return false;
    return true;
}

void ufib_pss_close_files(lcfwd_vdc_desc *vdc) {
    (void)lcfwd_flush_pending_pss_updates();
    for (const pss_file &file : pss_files) {
        if (vdc->pss[file.kind] != nullptr) (void)lcfwd_pss_close_file(vdc->vdc_id, file.kind);
    }
}

/* ---- prefixes ---- */

void ufib_next_obj_record_info(const ufib_pfx *pfx, uint32_t *handle, uint32_t *path_count) {
    const ufib_obj *next = pfx->obj.next;
    *handle = ufib_obj_get_hardware_handle(next);
    *path_count = next == nullptr ? 0 : 1;
    if (next != nullptr && path_counts[ufib_obj_type_of(next)] != nullptr)
        *path_count = path_counts[ufib_obj_type_of(next)](next, handle);
}

void ufib_ha_get_prefix_pss_info(const ufib_pfx *pfx, uint8_t *value) {
    uint32_t handle, paths;
    ufib_next_obj_record_info(pfx, &handle, &paths);
    ufib_prefix_record record;
    record.route_flags = static_cast<uint8_t>(pfx->route_flags);
    record.holders = pfx->holders;
    record.epoch = pfx->epoch;
    record.next_handle = handle;
    record.path_count = static_cast<uint8_t>(paths);
    record.next_type =
        pfx->obj.next == nullptr ? uint8_t{0} : static_cast<uint8_t>(ufib_obj_type_of(pfx->obj.next));
    std::memcpy(value, &record, sizeof record);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, value + sizeof record, UFIB_PREFIX_RECORD_SIZE - sizeof record, 1);
    (void)!tlv_aligned_array_add_tlv(&array, UFIB_PREFIX_TLV_FLAGS, sizeof pfx->route_flags,
                                     &pfx->route_flags);
}

void ufib_pss_rnh_key(const ufib_pfx *pfx, uint8_t *out) {
    ufib_rnh_record_key key = {};
    key.table_id = pfx->table->table_id;
    if (ufib_prefix_family(pfx).index == 0) {
        const uint32_t host = ufib_v4_addr(ufib_pfx_address(pfx));
        std::memcpy(key.address, &host, sizeof host);
    } else {
        std::memcpy(key.address, ufib_pfx_address(pfx), sizeof key.address);
    }
    key.mask_len = pfx->mask_len;
    std::memcpy(out, &key, sizeof key);
}

static void pss_insert_rnh(const ufib_pfx *pfx) {
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(LCFWD_PSS_PREFIX_RNH, pfx->table->vdc_id, sizeof(ufib_rnh_record_key),
                               UFIB_RNH_RECORD_SIZE, &slot) == 0)
        return;
    ufib_pss_rnh_key(pfx, slot.key);
    ufib_rnh_record record = {};
    uint32_t handle, paths;
    ufib_next_obj_record_info(pfx, &handle, &paths);
    if (ufib_prefix_family(pfx).index == 0) record.flags |= UFIB_HA_IPV4;
    if ((pfx->flags & UFIB_PFX_FLAG_PENDING) != 0) record.flags |= UFIB_HA_RNH_PENDING;
    if ((pfx->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0) record.flags |= UFIB_HA_RNH_DELETE_MARKED;
    record.next_handle = handle;
    for (uint32_t i = 0; i < paths && i < 64; i++) record.adj_handles[i] = handle + i;
    std::memcpy(slot.value, &record, sizeof record);
    ufib_ha_get_prefix_pss_info(pfx, slot.value + sizeof record);
    (void)lcfwd_pss_record_store(&slot);
}

void ufib_pss_insert_prefix(const ufib_pfx *pfx) {
    const ufib_funcstats_block measure(UFIB_FS_PSS_PREFIX);
    if (ufib_prefix_is_rnh(pfx)) {
        pss_insert_rnh(pfx);
        return;
    }
    if (pfx->obj.handle == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_PFX_NO_HA_HANDLE);
        UFIB_ERR("HA - null prefix hardware handle");
        return;
    }
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(LCFWD_PSS_PREFIX, pfx->table->vdc_id, sizeof pfx->obj.handle,
                               UFIB_PREFIX_RECORD_SIZE, &slot) == 0)
        return;
    std::memcpy(slot.key, &pfx->obj.handle, sizeof pfx->obj.handle);
    ufib_ha_get_prefix_pss_info(pfx, slot.value);
    (void)lcfwd_pss_record_store(&slot);
}

void ufib_pss_delete_prefix(const ufib_pfx *pfx) {
    const uint32_t vdc_id = pfx->table->vdc_id;
    if (ufib_prefix_is_rnh(pfx)) {
        uint8_t key[sizeof(ufib_rnh_record_key)];
        ufib_pss_rnh_key(pfx, key);
        (void)lcfwd_pss_record_delete(LCFWD_PSS_PREFIX_RNH, vdc_id, key, sizeof key);
        return;
    }
    if (pfx->obj.handle == 0) return;
    (void)lcfwd_pss_record_delete(LCFWD_PSS_PREFIX, vdc_id, &pfx->obj.handle, sizeof pfx->obj.handle);
}

/* ---- records of one number under one number ---- */

static void pss_insert_u32(lcfwd_pss_kind kind, uint32_t vdc_id, const void *key, uint32_t key_size,
                           const void *value, uint32_t value_size) {
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(kind, vdc_id, key_size, value_size, &slot) == 0) return;
    std::memcpy(slot.key, key, key_size);
    std::memcpy(slot.value, value, value_size);
    (void)lcfwd_pss_record_store(&slot);
}

void ufib_pss_insert_dcsrif(const ufib_pfx *pfx) {
    pss_insert_u32(LCFWD_PSS_DCSRIF, pfx->table->vdc_id, &pfx->obj.handle, sizeof pfx->obj.handle,
                   &pfx->attached_if_index, sizeof pfx->attached_if_index);
}

void ufib_pss_delete_dcsrif(const ufib_pfx *pfx) {
    if (pfx->obj.handle == 0) return;
    (void)lcfwd_pss_record_delete(LCFWD_PSS_DCSRIF, pfx->table->vdc_id, &pfx->obj.handle,
                                  sizeof pfx->obj.handle);
}

void ufib_pss_insert_rpf(const ufib_idb *idb) {
    const ufib_rpf_record record = {idb->rpf_mode[0], idb->rpf_mode[1]};
    pss_insert_u32(LCFWD_PSS_RPF, idb->vdc_id, &idb->if_index, sizeof idb->if_index, &record, sizeof record);
}

/* Most interfaces never had a record: there is nothing to delete for them. */
void ufib_pss_delete_rpf(const ufib_idb *idb) {
    if (idb->rpf_stored == 0) return;
    (void)lcfwd_pss_record_delete(LCFWD_PSS_RPF, idb->vdc_id, &idb->if_index, sizeof idb->if_index);
}

void ufib_pss_insert_global_adj(const ufib_adj *adj, uint32_t kind, uint32_t vdc_id) {
    if (adj->obj.handle == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_NO_HA_HANDLE);
        return;
    }
    const auto key = static_cast<uint8_t>(kind);
    pss_insert_u32(LCFWD_PSS_GLADJ, vdc_id, &key, sizeof key, &adj->obj.handle, sizeof adj->obj.handle);
}

void ufib_pss_delete_global_adj(uint32_t kind, uint32_t vdc_id) {
    const auto key = static_cast<uint8_t>(kind);
    (void)lcfwd_pss_record_delete(LCFWD_PSS_GLADJ, vdc_id, &key, sizeof key);
}

uint32_t ufib_pss_get_global_adj(uint32_t kind, uint32_t vdc_id) {
    const auto key = static_cast<uint8_t>(kind);
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_GLADJ, vdc_id);
    pss2_datum value;
    uint32_t handle = 0;
    if (service != nullptr && lcfwd_pss_fetch(service, {&key, sizeof key}, &value) &&
        value.len == sizeof handle)
        std::memcpy(&handle, value.p, sizeof handle);
    return handle;
}

/* ---- adjacencies ---- */

void ufib_ha_get_adj_tlv_pss_info(const ufib_adj *adj, uint8_t *value) {
    const uint8_t counts[2] = {adj->pbr_count, adj->wccp_count};
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, value, ufib_pss_v4adj_tlv_vsize, 1);
    (void)!tlv_aligned_array_add_tlv(&array, UFIB_ADJ_TLV_COUNTS, sizeof counts, counts);
}

void ufib_pss_insert_adj_tlv(const ufib_adj *adj) {
    uint8_t value[ufib_pss_v4adj_tlv_vsize];
    ufib_ha_get_adj_tlv_pss_info(adj, value);
    pss_insert_u32(ufib_adj_family(adj).pss_adj_tlv, ufib_adj_vdc_id(adj), &adj->obj.handle,
                   sizeof adj->obj.handle, value, sizeof value);
}

void ufib_pss_insert_adj(const ufib_adj *adj) {
    const ufib_funcstats_block measure(UFIB_FS_PSS_ADJ);
    if (adj->obj.handle == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_NO_HA_HANDLE);
        return;
    }
    const ufib_family &family = ufib_adj_family(adj);
    const uint32_t vdc_id = ufib_adj_vdc_id(adj);
    ufib_adj_record record = {adj->holders, adj->key.if_index, {}};
    uint32_t size = UFIB_V6ADJ_RECORD_SIZE;
    if (family.index == 0) {
        const uint32_t host = ufib_v4_addr(adj->key.address);
        std::memcpy(record.address, &host, sizeof host);
        size = UFIB_V4ADJ_RECORD_SIZE;
    } else {
        std::memcpy(record.address, adj->key.address, sizeof record.address);
    }
    pss_insert_u32(family.pss_adj, vdc_id, &adj->obj.handle, sizeof adj->obj.handle, &record, size);
    ufib_pss_insert_adj_tlv(adj);
}

void ufib_pss_delete_adj(const ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    const uint32_t vdc_id = ufib_adj_vdc_id(adj);
    for (const lcfwd_pss_kind kind : {family.pss_adj, family.pss_adj_tlv})
        (void)lcfwd_pss_record_delete(kind, vdc_id, &adj->obj.handle, sizeof adj->obj.handle);
}

/* ---- tables ---- */

uint32_t ufib_get_table_pss_space_len() {
    const uint32_t platform = ufib_platform_table_pss_space_len();
    return 8 + tlv_aligned_data_size_get(sizeof(uint32_t)) +
           (platform == 0 ? 0 : tlv_aligned_data_size_get(platform));
}

/* The library alone decides how long its bytes are. */
static void table_platform_write(const ufib_table *table, tlv_aligned_array *array) {
    const uint32_t len = ufib_platform_table_pss_space_len();
    void *bytes = len > UINT16_MAX ? nullptr : heap_calloc(1, len);
    if (bytes == nullptr) {
        UFIB_ERR("no room for %u bytes of the platform about table 0x%x", len, table->table_id);
        return;
    }
    (void)ufib_platform_get_table_pss_info(table->obj.handle, bytes);
    (void)!tlv_aligned_array_add_tlv(array, UFIB_TABLE_TLV_PLATFORM, static_cast<uint16_t>(len), bytes);
    std::free(bytes);
}

void ufib_pss_insert_table(ufib_table *table) {
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(LCFWD_PSS_UFIB_TABLE, table->vdc_id, sizeof table->table_id,
                               ufib_get_table_pss_space_len(), &slot) == 0)
        return;
    const uint32_t family = table->type;
    const uint32_t flags = table->flags & ~uint32_t{UFIB_TABLE_DELETE_PENDING};
    std::memcpy(slot.key, &table->table_id, sizeof table->table_id);
    std::memcpy(slot.value, &family, sizeof family);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, slot.value + sizeof family,
                                 slot.value_size - static_cast<uint32_t>(sizeof family), 1);
    (void)!tlv_aligned_array_add_tlv(&array, UFIB_TABLE_TLV_FLAGS, sizeof flags, &flags);
    if (ufib_platform_table_pss_space_len() != 0) table_platform_write(table, &array);
    (void)lcfwd_pss_record_store(&slot);
    table->stored = true;
}

void ufib_pss_delete_table(const ufib_table *table) {
    if (!table->stored) return;
    (void)lcfwd_pss_record_delete(LCFWD_PSS_UFIB_TABLE, table->vdc_id, &table->table_id,
                                  sizeof table->table_id);
}
