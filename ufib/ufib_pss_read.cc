#include "ufib/ufib_pss_read.h"

#include "core/lcfwd_log.h"
#include "core/wire.h"
#include "host/system/root.h"
#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_record.h"
#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_record.h"

#include <climits>
#include <cstring>
#include <unistd.h>

static bool fetch_u32(lcfwd_pss_kind kind, uint32_t vdc_id, uint32_t key, pss2_datum *value) {
    pss2_service *service = lcfwd_pss_service(kind, vdc_id);
    return service != nullptr && lcfwd_pss_fetch(service, {&key, sizeof key}, value);
}

/* Opening makes a database that is not there, so the file itself is asked first. */
bool ufib_pss_was_vdc_known(uint32_t vdc_id, pss2_service **out) {
    if (pss2_service *open = lcfwd_pss_service(LCFWD_PSS_GLADJ, vdc_id); open != nullptr) {
        *out = open;
        return true;
    }
    char path[PATH_MAX];
    const char *uri = lcfwd_pss_uri(vdc_id, LCFWD_PSS_GLADJ);
    const char *name = std::strchr(uri, ':');
    if (name == nullptr || host_path(name + 1, path, sizeof path) != 0 || access(path, F_OK) != 0)
        return false;
    return lcfwd_pss_open_file(vdc_id, LCFWD_PSS_GLADJ, 1, 4, out) == 1;
}

bool ufib_pss_get_first_prefix(uint32_t vdc_id, pss2_datum *key) {
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_PREFIX, vdc_id);
    return service != nullptr && lcfwd_pss_get_first_key(service, key);
}

bool ufib_pss_get_next_prefix(uint32_t vdc_id, pss2_datum *key) {
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_PREFIX, vdc_id);
    return service != nullptr && lcfwd_pss_get_next_key(service, key);
}

bool ufib_pss_get_adj(const ufib_family &family, uint32_t handle, uint32_t vdc_id, ufib_pss_adj *out) {
    pss2_datum value;
    const uint32_t size = family.index == 0 ? UFIB_V4ADJ_RECORD_SIZE : UFIB_V6ADJ_RECORD_SIZE;
    if (!fetch_u32(family.pss_adj, vdc_id, handle, &value) || value.len < size) return false;
    ufib_adj_record record = {};
    std::memcpy(&record, value.p, size);
    *out = {record.if_index, record.holders, {}};
    if (family.index == 0) {
        uint32_t host;
        std::memcpy(&host, record.address, sizeof host);
        const wire_be<uint32_t> word = wire_put(host);
        std::memcpy(out->address, word.raw, sizeof word.raw);
    } else {
        std::memcpy(out->address, record.address, sizeof record.address);
    }
    return true;
}

bool ufib_pss_get_adj_counts(const ufib_family &family, uint32_t handle, uint32_t vdc_id,
                             ufib_pss_counts *out) {
    pss2_datum value;
    if (!fetch_u32(family.pss_adj_tlv, vdc_id, handle, &value)) return false;
    const tlv *element = tlv_aligned_array_find_tlv(value.p, value.len, UFIB_ADJ_TLV_COUNTS);
    if (element == nullptr || tlv_length(element) < 2) return false;
    *out = {tlv_data(element)[0], tlv_data(element)[1]};
    return true;
}

bool ufib_pss_get_ecmp(const ufib_family &family, uint32_t handle, uint32_t vdc_id, ufib_ecmp_key *key,
                       uint8_t *holders) {
    pss2_datum value;
    if (!fetch_u32(family.pss_ecmp, vdc_id, handle, &value)) return false;
    if (value.len < UFIB_ECMP_RECORD_KEY + sizeof key->count) return false;
    const auto *bytes = static_cast<const uint8_t *>(value.p);
    *key = {};
    std::memcpy(&key->count, bytes + UFIB_ECMP_RECORD_KEY, sizeof key->count);
    const uint32_t used = key->count * ufib_ecmp_entry_bytes(family);
    const bool sound = key->count >= 1 && key->count <= UFIB_ECMP_PATHS_MAX &&
                       value.len - UFIB_ECMP_RECORD_KEY - sizeof key->count >= used;
    if (!sound) return false;
    std::memcpy(key->entries, bytes + UFIB_ECMP_RECORD_KEY + sizeof key->count, used);
    *holders = bytes[0];
    return true;
}

bool ufib_pss_get_ecmp_count(const ufib_family &family, uint32_t handle, uint32_t vdc_id, uint16_t *count) {
    pss2_datum value;
    if (!fetch_u32(family.pss_ecmp_tlv, vdc_id, handle, &value)) return false;
    const tlv *element = tlv_aligned_array_find_tlv(value.p, value.len, UFIB_ECMP_TLV_PBR);
    if (element == nullptr || tlv_length(element) < sizeof *count) return false;
    std::memcpy(count, tlv_data(element), sizeof *count);
    return true;
}

bool ufib_pss_get_dcsrif(uint32_t handle, uint32_t vdc_id, uint32_t *if_index) {
    pss2_datum value;
    if (!fetch_u32(LCFWD_PSS_DCSRIF, vdc_id, handle, &value) || value.len < sizeof *if_index) return false;
    std::memcpy(if_index, value.p, sizeof *if_index);
    return true;
}

int ufib_pss_v6adj_check_key(uint32_t key, uint32_t vdc_id) {
    static constexpr struct {
        lcfwd_pss_kind kind;
        const char *name;
    } files[] = {
        {LCFWD_PSS_V4ADJ, "v4adj"},
        {LCFWD_PSS_V4ECMP, "v4ecmp"},
        {LCFWD_PSS_V6ECMP, "v6ecmp"},
    };
    for (const auto &file : files) {
        pss2_datum value;
        if (!fetch_u32(file.kind, vdc_id, key, &value)) continue;
        UFIB_ERR(" Found duplicate adj_ha_handle in %s pss: %#x, vdc: %d.", file.name, key,
                 static_cast<int>(vdc_id));
        const pss2_datum datum = {&key, sizeof key};
        (void)!pss2_delete(lcfwd_pss_service(file.kind, vdc_id), &datum);
        return 0;
    }
    return 1;
}

void ufib_pss_insert_misc(uint32_t vdc_id, uint32_t handle, const ufib_pss_misc &misc) {
    lcfwd_pss_record slot;
    const ufib_misc_record record = {misc.kind, misc.adj_flags & 0xffff, 0};
    if (lcfwd_pss_record_begin(LCFWD_PSS_MISC, vdc_id, sizeof handle, sizeof record, &slot) == 0) return;
    std::memcpy(slot.key, &handle, sizeof handle);
    std::memcpy(slot.value, &record, sizeof record);
    (void)lcfwd_pss_record_store(&slot);
}

void ufib_pss_delete_misc(uint32_t vdc_id, uint32_t handle) {
    (void)lcfwd_pss_record_delete(LCFWD_PSS_MISC, vdc_id, &handle, sizeof handle);
}
