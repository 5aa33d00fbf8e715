#include "ufib/ufib_rpf.h"

#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_control_wire.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

static uint32_t hold_bit(const ufib_family &family) { return UFIB_IDB_V4_RPF + family.index; }

static const ufib_family *family_of_afi(uint8_t afi) {
    return afi == ufib_v4.afi ? &ufib_v4 : afi == ufib_v6.afi ? &ufib_v6 : nullptr;
}

static int rpf_error(const char *what) {
    ufib_err_raise(UFIB_ERR_REQUEST, E_RPF_API);
    UFIB_ERR("rpf notification: %s", what);
    return -1;
}

/* The hold follows the mode. A record that was made for a refused change has no holder: it waits for its end. */
static void hold_update(ufib_idb *idb, const ufib_family &family) {
    if (idb->rpf_mode[family.index] != 0)
        ufib_idb_hold(idb, hold_bit(family));
    else
        ufib_idb_release(idb, hold_bit(family));
}

int ufib_rpf_update_idb(ufib_vdc *vdc, const ufib_family &family, uint32_t if_index, uint8_t mode) {
    if (mode > UFIB_RPF_STRICT) return rpf_error("bad mode");
    ufib_idb *idb = mode == 0 ? ufib_idb_search(vdc, if_index) : ufib_get_create_idb(vdc, if_index);
    if (idb == nullptr) return mode == 0 ? 0 : -1;
    const uint8_t old = idb->rpf_mode[family.index];
    idb->rpf_mode[family.index] = mode;
    if (ufib_platform_update_intf_rpf(vdc->desc->vdc_id, if_index, idb->rpf_mode[0], idb->rpf_mode[1]) < 0) {
        idb->rpf_mode[family.index] = old;
        hold_update(idb, family);
        return rpf_error("the engine refuses the mode");
    }
    hold_update(idb, family);
    idb->rpf_stored = 1;
    ufib_pss_insert_rpf(idb);
    return 0;
}

void ufib_rpf_restore(ufib_idb *idb, uint8_t v4_mode, uint8_t v6_mode) {
    idb->rpf_mode[0] = v4_mode;
    idb->rpf_mode[1] = v6_mode;
    idb->rpf_stored = 1;
    for (const ufib_family &family : ufib_families) hold_update(idb, family);
    /* A notice that died half-way may have reached hardware alone; what stands there already is no write. */
    if (ufib_platform_update_intf_rpf(idb->vdc_id, idb->if_index, v4_mode, v6_mode) < 0)
        UFIB_ERR("interface 0x%x: hardware keeps another reverse-path mode", idb->if_index);
}

static int rpf_record(ufib_vdc *vdc, const ufib_rpf_msg_record &record, bool set) {
    const ufib_family *family = family_of_afi(record.afi);
    if (family == nullptr) return rpf_error("bad afi");
    return ufib_rpf_update_idb(vdc, *family, wire_get(record.if_index), set ? record.mode : uint8_t{0});
}

int ufib_rpf_notification(ufib_vdc *vdc, wire_cursor payload) {
    ufib_errno = 0;
    ufib_rpf_msg msg;
    if (wire_take(&payload, &msg) != 0) return rpf_error("too short");
    const uint32_t operation = wire_get(msg.operation);
    if (operation != UFIB_RPF_SET && operation != UFIB_RPF_CLEAR) return rpf_error("bad operation");
    int status = 0;
    uint32_t left = wire_get(msg.record_bytes);
    for (; left >= sizeof(ufib_rpf_msg_record); left -= static_cast<uint32_t>(sizeof(ufib_rpf_msg_record))) {
        ufib_rpf_msg_record record;
        if (wire_take(&payload, &record) != 0) break;
        if (rpf_record(vdc, record, operation == UFIB_RPF_SET) != 0) status = -1;
        (void)ufib_platform_one_write_ready();
    }
    (void)ufib_platform_all_writes_ready();
    return left != 0 ? rpf_error("records beyond the end") : status;
}
