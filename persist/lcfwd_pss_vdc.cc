#include "persist/lcfwd_pss_vdc.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_walk.h"

#include <cstring>

static constexpr uint32_t ilm_base_key = 2;

/* The entry of the label base. The second word is not used: the entry has always had eight bytes. */
struct generic_entry {
    uint32_t value;
    uint32_t reserved;
};
static_assert(sizeof(generic_entry) == 8);

static int process_store(int id, const pss2_datum &key, const pss2_datum &value) {
    if (ufib_disable_pss) return 1;
    if (fu_vdc_pss_store(0, id, &key, &value) == STORE_OK) return 1;
    ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_SAVE);
    return 0;
}

int lcfwd_pss_insert_vdc_info(const lcfwd_vdc_desc *vdc) {
    lcfwd_vdc_info info;
    lcfwd_vdc_info_make(vdc, &info);
    const uint16_t id = vdc->vdc_id;
    return process_store(LCFWD_PSS_VDC_SERVICE_ID, {&id, sizeof id}, {&info, sizeof info});
}

int lcfwd_pss_get_vdc_info(uint32_t vdc_id, lcfwd_vdc_info *out) {
    const uint16_t id = static_cast<uint16_t>(vdc_id);
    pss2_datum value;
    if (lcfwd_vdc_row(vdc_id) == nullptr || vdc_pss_service == nullptr) return 0;
    if (!lcfwd_pss_fetch(vdc_pss_service, {&id, sizeof id}, &value) || value.len < sizeof *out) return 0;
    std::memcpy(out, value.p, sizeof *out);
    return 1;
}

int lcfwd_pss_delete_vdc_info(uint32_t vdc_id) {
    const uint16_t id = static_cast<uint16_t>(vdc_id);
    const pss2_datum key = {&id, sizeof id};
    if (ufib_disable_pss) return 1;
    if (fu_vdc_pss_delete(0, LCFWD_PSS_VDC_SERVICE_ID, &key) == STORE_OK) return 1;
    ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_DEL);
    return 0;
}

/* The id that the walk stands at; 0 when key or value cannot be those of a VDC. */
static uint16_t vdc_at_position(const pss2_datum &key) {
    uint16_t id = 0;
    pss2_datum value;
    if (key.len != sizeof id || !lcfwd_pss_get_value(vdc_pss_service, &value)) return 0;
    std::memcpy(&id, key.p, sizeof id);
    return value.len < sizeof(lcfwd_vdc_info) || lcfwd_vdc_row(id) == nullptr ? 0 : id;
}

static void bad_record_delete(const pss2_datum &key) {
    uint8_t copy[STORE_KEY_MAX];
    if (key.len > sizeof copy) return;
    std::memcpy(copy, key.p, key.len);
    const pss2_datum own = {copy, key.len};
    LCFWD_ERR("PSS delete for key of a bad VDC record, %u bytes", key.len);
    if (fu_vdc_pss_delete(0, LCFWD_PSS_VDC_SERVICE_ID, &own) != STORE_OK) {
        ufib_err_raise(UFIB_ERR_REQUEST, E_PSS_DEL);
    }
}

/* For want of memory to walk: there are few enough to be asked for one by one. */
static void active_vdcs_ask(uint32_t *count, uint16_t *ids) {
    lcfwd_vdc_info info;
    *count = 0;
    for (uint16_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++)
        if (lcfwd_pss_get_vdc_info(id, &info) == 1) ids[(*count)++] = id;
}

int lcfwd_pss_get_active_vdcs(uint32_t *count, uint16_t *ids) {
    *count = 0;
    if (vdc_pss_service == nullptr) return 1;
    pss2_datum key;
    bool more = lcfwd_pss_get_first_key(vdc_pss_service, &key);
    for (; more && *count < LCFWD_VDC_MAX; more = lcfwd_pss_get_next_key(vdc_pss_service, &key)) {
        const uint16_t id = vdc_at_position(key);
        if (id != 0)
            ids[(*count)++] = id;
        else
            bad_record_delete(key);
    }
    if (!more && lcfwd_pss_walk_failed()) active_vdcs_ask(count, ids);
    return 1;
}

int lcfwd_pss_get_pervpn_ilm_base(uint32_t *out) {
    pss2_datum value;
    generic_entry entry;
    if (generic_pss_service == nullptr) return 0;
    if (!lcfwd_pss_fetch(generic_pss_service, {&ilm_base_key, sizeof ilm_base_key}, &value)) return 0;
    if (value.len < sizeof entry) return 0;
    std::memcpy(&entry, value.p, sizeof entry);
    *out = entry.value;
    return 1;
}

int lcfwd_pss_insert_pervpn_ilm_base(uint32_t base) {
    const generic_entry entry = {base, 0};
    return process_store(LCFWD_PSS_GENERIC_SERVICE_ID, {&ilm_base_key, sizeof ilm_base_key},
                         {&entry, sizeof entry});
}
