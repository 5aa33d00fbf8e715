/* Records of ECMP groups: the whole key with the holders before it, and a second record with PBR's count. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss_record.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_record.h"

#include <cstring>
#include <initializer_list>

void ufib_pss_insert_ecmp_tlv(const ufib_ecmp *group) {
    const ufib_family &family = ufib_ecmp_family(group);
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(family.pss_ecmp_tlv, group->vdc_id, sizeof group->obj.handle,
                               ufib_pss_v4ecmp_tlv_vsize, &slot) == 0)
        return;
    std::memcpy(slot.key, &group->obj.handle, sizeof group->obj.handle);
    const auto count = static_cast<uint16_t>(group->pbr_count);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, slot.value, slot.value_size, 1);
    (void)!tlv_aligned_array_add_tlv(&array, UFIB_ECMP_TLV_PBR, sizeof count, &count);
    (void)lcfwd_pss_record_store(&slot);
}

void ufib_pss_insert_ecmp(const ufib_ecmp *group) {
    const ufib_funcstats_block measure(UFIB_FS_PSS_ECMP);
    if (group->obj.handle == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ECMP_NO_HA_HANDLE);
        return;
    }
    const ufib_family &family = ufib_ecmp_family(group);
    const uint32_t key_bytes = ufib_ecmp_key_bytes(family);
    lcfwd_pss_record slot;
    if (lcfwd_pss_record_begin(family.pss_ecmp, group->vdc_id, sizeof group->obj.handle,
                               ufib_ecmp_record_size(key_bytes), &slot) == 0)
        return;
    std::memcpy(slot.key, &group->obj.handle, sizeof group->obj.handle);
    std::memset(slot.value, 0, slot.value_size);
    slot.value[0] = group->holders;
    std::memcpy(slot.value + UFIB_ECMP_RECORD_KEY, group->key, key_bytes);
    (void)lcfwd_pss_record_store(&slot);
    ufib_pss_insert_ecmp_tlv(group);
}

void ufib_pss_delete_ecmp(const ufib_ecmp *group) {
    const ufib_family &family = ufib_ecmp_family(group);
    for (const lcfwd_pss_kind kind : {family.pss_ecmp, family.pss_ecmp_tlv})
        (void)lcfwd_pss_record_delete(kind, group->vdc_id, &group->obj.handle, sizeof group->obj.handle);
}
