#include "ufib/ufib_am.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_stats.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj_holder.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

constexpr uint32_t OPC_AM_NOTIFICATION = 74766;

static const ufib_family *family_of_afi(uint8_t afi) {
    return afi == ufib_v4.afi ? &ufib_v4 : afi == ufib_v6.afi ? &ufib_v6 : nullptr;
}

static ufib_adj_key ufib_am_to_key(const ufib_family &family, const ufib_am_entry &entry) {
    ufib_adj_key key = {wire_get(entry.if_index), {}};
    std::memcpy(key.address, entry.address, family.addr_bytes);
    return key;
}

static ufib_platform_rewrite ufib_am_to_rew(const ufib_am_entry &entry) {
    ufib_platform_rewrite rewrite = {};
    std::memcpy(rewrite.bytes + UFIB_REWRITE_DMAC, entry.mac, sizeof entry.mac);
    return rewrite;
}

template <size_t n> static bool is_zero(const uint8_t (&bytes)[n]) {
    static constexpr uint8_t zero[n] = {};
    return std::memcmp(bytes, zero, n) == 0;
}

/* Null, counted: no family. */
static const ufib_family *entry_family(const ufib_am_entry &entry) {
    const ufib_family *family = family_of_afi(entry.afi);
    if (family == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_AM_API_INVALID_AFI);
        UFIB_ERR("am notification with invalid l3 afi");
    }
    return family;
}

/* AM says it once: another MAC for a neighbour that it holds, refused by hardware, is made good later. One that it did
 * not hold gets nothing. */
static void ufib_am_adj_resolved(ufib_vdc *vdc, const ufib_family &family, const ufib_am_entry &entry,
                                 uint32_t adj_flags) {
    const ufib_adj_key key = ufib_am_to_key(family, entry);
    const ufib_platform_rewrite rewrite = ufib_am_to_rew(entry);
    const uint32_t error_before = ufib_errno;
    ufib_errno = 0;
    (void)ufib_adj_holder_join(vdc, family, key, rewrite, adj_flags, UFIB_ADJ_HELD_AM, true);
    const bool refused = (ufib_errno & 0xffff) == E_ADJ_HW_INSTALL;
    if (ufib_errno == 0) ufib_errno = error_before;
    ufib_adj *adj = refused ? ufib_adj_search(vdc, family, key) : nullptr;
    if (adj != nullptr && adj->obj.handle != 0 && (adj->holders & UFIB_ADJ_HELD_AM) != 0)
        ufib_adj_holder_insist(adj, rewrite, adj_flags);
}

void ufib_am_adj_destroy(ufib_adj *adj, bool set_drop) {
    (void)ufib_adj_holder_leave(adj, UFIB_ADJ_HELD_AM, set_drop);
}

static void ufib_am_adj_unresolved(ufib_vdc *vdc, const ufib_family &family, const ufib_am_entry &entry) {
    const ufib_adj_key key = ufib_am_to_key(family, entry);
    if (is_zero(key.address)) return;
    ufib_adj *adj = ufib_adj_search(vdc, family, key);
    if (adj == nullptr) {
        UFIB_ERR("destroying a non existing adj %s", ufib_addr_str(family, key.address));
        ufib_err_raise(UFIB_ERR_ITEM, E_AM_MISSING_ADJ);
        return;
    }
    ufib_am_adj_destroy(adj, false);
}

/* The adjacencies stay in hardware, dropping, until the routes are withdrawn. */
static void am_if_adjs_down(ufib_idb *idb, const ufib_family &family) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;) {
        uint8_t address[16];
        std::memcpy(address, adj->key.address, sizeof address);
        ufib_am_adj_destroy(adj, true);
        (void)ufib_platform_one_write_ready();
        ufib_walk_step(&budget);
        adj = ufib_adj_if_get_next_safe(idb, family, address);
    }
}

static void ufib_am_if_down(ufib_vdc *vdc, const ufib_family &family, const ufib_am_entry &entry) {
    ufib_idb *idb = ufib_idb_search(vdc, wire_get(entry.if_index));
    if (idb == nullptr) return;
    am_if_adjs_down(idb, family);
    if ((entry.flags & UFIB_AM_IF_DELETE) != 0) {
        if (ravl_is_empty(&idb->adjs[0])) {
            UFIB_TRACE("Deleting V4 idb 0x%x", idb->if_index);
            ufib_idb_release_v4(idb);
        }
        if (ravl_is_empty(&idb->adjs[1])) {
            UFIB_TRACE("Deleting V6 idb 0x%x", idb->if_index);
            ufib_idb_release_v6(idb);
        }
    }
    (void)ufib_platform_all_writes_ready();
}

static void ufib_am_notification(ufib_vdc *vdc, const ufib_am_entry &entry) {
    const ufib_family *family = entry_family(entry);
    if (family == nullptr) return;
    if (ufib_adj *adj = ufib_adj_search(vdc, *family, ufib_am_to_key(*family, entry)); adj != nullptr)
        adj->flags &= ~UFIB_ADJ_CONSISTENCY;
    if ((entry.flags & (UFIB_AM_IF_DOWN | UFIB_AM_IF_DELETE)) != 0) {
        ufib_am_if_down(vdc, *family, entry);
        return;
    }
    if (is_zero(entry.mac)) {
        ufib_am_adj_unresolved(vdc, *family, entry);
        return;
    }
    const uint32_t gateway = (entry.flags & UFIB_AM_PEER_GATEWAY) != 0 ? UFIB_ADJ_PEER_GW : 0;
    ufib_am_adj_resolved(vdc, *family, entry, gateway | UFIB_ADJ_FROM_AM | UFIB_ADJ_RESOLVED);
}

/* Behind the last entry, for each family whose check the notice ends. */
static void am_check_end(ufib_vdc *vdc, const ufib_am_hdr &hdr, const mts_msg *message) {
    if ((hdr.flags & UFIB_AM_LAST_V4_CHECK) != 0) ufib_adj_consistency_walk(vdc, ufib_v4, message);
    if ((hdr.flags & UFIB_AM_LAST_V6_CHECK) != 0) ufib_adj_consistency_walk(vdc, ufib_v6, message);
}

static void am_check_entry(ufib_vdc *vdc, const ufib_am_entry &entry, const mts_msg *message) {
    if (const ufib_family *family = entry_family(entry); family != nullptr)
        ufib_adj_consistency_check(vdc, *family, entry, message);
}

static bool ufib_am_errors(const ufib_am_hdr &hdr) {
    if (wire_get(hdr.count) != 0) return false;
    ufib_err_raise(UFIB_ERR_REQUEST, E_AM_API);
    UFIB_ERR("am notification has 0 entries");
    return true;
}

void ufib_am_bulk_notification(ufib_vdc *vdc, wire_cursor payload, const mts_msg *message) {
    const ufib_funcstats_block measure(UFIB_FS_AM_NOTIFICATION);
    ufib_errno = 0;
    ufib_am_hdr hdr;
    if (wire_take(&payload, &hdr) != 0 || ufib_am_errors(hdr)) return;
    for (uint32_t left = wire_get(hdr.count); left > 0; left--) {
        const ufib_am_entry *entry = wire_peek<ufib_am_entry>(payload);
        const size_t len = entry == nullptr ? 0 : wire_get(entry->len);
        if (len < sizeof *entry || len > payload.left) {
            ufib_err_raise(UFIB_ERR_REQUEST, E_AM_API);
            ufib_count(vdc->desc->ufib_stats, UFIB_STATS_V4, &ufib_family_stats::malformed_records);
            UFIB_ERR("am notification: bad entry length");
            break;
        }
        payload.next += len;
        payload.left -= len;
        if ((entry->flags & UFIB_AM_CHECK) != 0) {
            am_check_entry(vdc, *entry, message);
            if (left == 1) am_check_end(vdc, hdr, message);
            continue;
        }
        ufib_am_notification(vdc, *entry);
        (void)ufib_platform_one_write_ready();
    }
    (void)ufib_platform_all_writes_ready();
}

int ufib_fu_am_notification(fu_event *event, fu_event_node **out) {
    int status;
    lcfwd_mts_handler_init(event, out, &status, OPC_AM_NOTIFICATION);
    if (status != 0) return status;
    const mts_msg *message = lcfwd_event_message(event);
    const uint8_t *payload = lcfwd_mts_payload(message, sizeof(ufib_am_hdr));
    if (payload == nullptr) {
        UFIB_ERR("ERROR: %s - null payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    if (lcfwd_stop_update) {
        UFIB_ERR("ERROR: lcfwd_stop_update is on");
        return LCFWD_OK;
    }
    lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(message);
    if (vdc == nullptr) {
        UFIB_ERR("ERROR: %s - failed to set vdc ctxt", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    if ((vdc->flags & LCFWD_VDC_ACTIVE) == 0 || vdc->ufib == nullptr) return LCFWD_OK;
    lcfwd_count(vdc->ufib_stats, &ufib_vdc_stats::adjacency_updates);
    ufib_am_bulk_notification(vdc->ufib, {payload, mts_payload_size(message)}, message);
    return LCFWD_OK;
}
