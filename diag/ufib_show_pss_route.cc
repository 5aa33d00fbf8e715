/* Routes as the store has them: what a restart would begin with. The walk is the model's, so that the routes come in
 * order and by table; the records are counted at the end, since one without a route would not be seen. */
#include "diag/show_values.h"
#include "diag/ufib_show_route.h"
#include "diag/ufib_show_route_walk.h"
#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

static constexpr char HEADS[] = "Prefix / record                              | Flags      | Held | Epoch | "
                                "Paths | Next object  | Handle\n";
static constexpr char ROW[] = "%-44s   %#-10x   %#4x   %5u   %5u   %-12s   %#x\n";
static constexpr char RULE[] = "---------------------------------------------+------------+------+-------+---"
                               "----+--------------+-----------\n";

static void header(cmd_handle *handle, const ufib_family &) {
    cmd_prt_decoration(handle, RULE);
    cmd_prt_decoration(handle, HEADS);
    cmd_prt_decoration(handle, RULE);
}

/* The "prefix" part of a record; a recursive next hop's lies behind its own. False: absent or too short. */
static bool record_find(const ufib_pfx *pfx, pss2_datum *out) {
    const bool rnh = ufib_prefix_is_rnh(pfx);
    pss2_service *service =
        lcfwd_pss_service(rnh ? LCFWD_PSS_PREFIX_RNH : LCFWD_PSS_PREFIX, pfx->table->vdc_id);
    uint8_t key[sizeof(ufib_rnh_record_key)];
    uint32_t key_size = sizeof pfx->obj.handle;
    std::memcpy(key, &pfx->obj.handle, key_size);
    if (rnh) {
        ufib_pss_rnh_key(pfx, key);
        key_size = sizeof key;
    }
    const uint32_t head = rnh ? sizeof(ufib_rnh_record) : 0;
    if (service == nullptr || !lcfwd_pss_fetch(service, {key, key_size}, out) ||
        out->len < head + sizeof(ufib_prefix_record))
        return false;
    *out = {static_cast<const uint8_t *>(out->p) + head, out->len - head};
    return true;
}

/* All flags, where the record has them; else the low byte. */
static uint32_t flags_of(const pss2_datum &value, const ufib_prefix_record &record) {
    uint32_t flags = record.route_flags;
    const auto *array = static_cast<const uint8_t *>(value.p) + sizeof record;
    const tlv *whole = tlv_aligned_array_find_tlv(array, value.len - static_cast<uint32_t>(sizeof record),
                                                  UFIB_PREFIX_TLV_FLAGS);
    if (whole != nullptr && tlv_length(whole) >= sizeof flags)
        std::memcpy(&flags, tlv_data(whole), sizeof flags);
    return flags;
}

static void print(const ufib_route_show *show, const ufib_pfx *pfx) {
    const cmd_arg prefix = show_prefix(show->family, ufib_pfx_address(pfx), pfx->mask_len, "prefix");
    const cmd_arg table = cmd_u32(pfx->table->table_id, "table"), handle = cmd_u32(pfx->obj.handle, "handle");
    pss2_datum value;
    if (!record_find(pfx, &value)) {
        cmd_prt(show->handle, "%-44s   %s\n", prefix, cmd_text("ERROR: MISSING RECORD", "error"), table,
                handle);
        return;
    }
    ufib_prefix_record record;
    std::memcpy(&record, value.p, sizeof record);
    cmd_prt(show->handle, ROW, prefix, cmd_u32(flags_of(value, record), "flags"),
            cmd_u32(record.holders, "holders"), cmd_u32(record.epoch, "epoch"),
            cmd_u32(record.path_count, "paths"),
            cmd_text(record.next_type == 0 ? "none" : ufib_obj_get_name(record.next_type), "next_object"),
            cmd_u32(record.next_handle, "next_handle"), table, handle, cmd_u32(value.len, "bytes"));
}

static uint32_t record_count(lcfwd_pss_kind kind, uint32_t vdc_id) {
    uint32_t count = 0;
    pss2_service *service = lcfwd_pss_service(kind, vdc_id);
    return service != nullptr && pss2_get_key_count(service, &count) == 0 ? count : 0;
}

static void closing(const ufib_route_show *show) {
    const uint32_t vdc_id = show->vdc->desc->vdc_id;
    cmd_prt(show->handle, "Records of the VDC, both families: routes %u, recursive next hops %u\n",
            cmd_u32(record_count(LCFWD_PSS_PREFIX, vdc_id), "route_records"),
            cmd_u32(record_count(LCFWD_PSS_PREFIX_RNH, vdc_id), "rnh_records"));
}

/* What only labels, sources or caches hold is in software alone, and in no record. */
static bool is_stored(const ufib_pfx *pfx) {
    return ufib_prefix_is_rnh(pfx) || pfx->obj.handle != 0 || (pfx->holders & UFIB_HOLDERS_ROUTE) != 0;
}

static constexpr ufib_route_form stored_form = {
    UFIB_SHOW_STORED_ROUTES, "stored_routes", header, print, is_stored, closing};

void ufib_show_v4_pss_routes_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v4, stored_form);
}
void ufib_show_v6_pss_routes_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v6, stored_form);
}
