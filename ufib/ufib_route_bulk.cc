/* The bulk workers: a batch, record by record. A bad record never ends a batch, unless the walk cannot go on. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_stats.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "persist/lcfwd_pss.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_route.h"
#include "ufib/ufib_vdc.h"

#include <cstdio>

constexpr uint32_t PERF_EVERY = 10000; /* routes */
constexpr uint32_t UFIB_PARTIAL = UFIB_ERR_ITEM << 16 | E_PARTIAL;

uint32_t ufib_perf_route_count;
bool display_results;

/* A batch being worked. */
struct bulk {
    const ufib_family &family;
    lcfwd_vdc_desc *vdc;
    uint8_t epoch;
    uint32_t failures;
    ufib_batch_result *result;
};

/* Late hardware failures: their routes count as failed, not as worked. */
static uint32_t bulk_rollback(bulk *work) {
    if (!ufib_cookie_is_processed(work->family)) return 0;
    const uint32_t failed = ufib_rollback_failed_cookies(work->family);
    work->failures += failed;
    work->result->ack -= failed < work->result->ack ? failed : work->result->ack;
    work->result->nack += failed;
    char text[48];
    std::snprintf(text, sizeof text, "%d: Failed cookies = %u", static_cast<int>(work->vdc->vdc_id), failed);
    UFIB_BL(1, UFIB_TR_COOKIE, text);
    return failed;
}

static void bulk_write_ready(bulk *work) {
    (void)ufib_platform_one_write_ready();
    (void)bulk_rollback(work);
}

/* What the last rollback undid must not wait for the next batch: until then the store would name routes of which the
 * answer says that they failed. */
static void bulk_end(bulk *work, bool end_of_table) {
    (void)ufib_platform_all_writes_ready();
    if (bulk_rollback(work) != 0) (void)ufib_platform_all_writes_ready();
    if (end_of_table && work->vdc->ufib != nullptr)
        (void)ufib_notify_table_add(work->vdc->ufib, work->family.afi, 0, 0, true);
    work->result->status = work->failures != 0 ? UFIB_PARTIAL : 0;
}

static void bulk_failed(bulk *work, uint32_t ufib_family_stats::*counter) {
    ufib_count(work->vdc->ufib_stats, work->family.index, counter);
    work->result->nack++;
    work->failures++;
}

static void bulk_add(bulk *work, uint32_t table_id, const route_rec *route) {
    ufib_count(work->vdc->ufib_stats, work->family.index, &ufib_family_stats::route_adds);
    const uint32_t error = ufib_route_add(work->family, work->vdc->ufib, table_id, route, work->epoch,
                                          nullptr, UFIB_HOLDER_UFDM, nullptr);
    if ((error & 0xffff) == 0) {
        work->result->ack++;
        return;
    }
    UFIB_ERR("add route failed for %s, error %s",
             ufib_prefix_str(work->family, route->prefix, route->prefix_len), ufib_err_str(error & 0xffff));
    bulk_failed(work, &ufib_family_stats::route_add_failures);
}

static void rc_dbg_print_route(const ufib_family &family, uint32_t table_id, const route_rec *route) {
    if (!ufib_enable_rc_debugs) return;
    UFIB_TRACE("Route opcode %d flags 0x%x next hops %d prefix %s table_id 0x%x len %d\n", route->opcode,
               route->flags, route->nh_count, ufib_prefix_str(family, route->prefix, route->prefix_len),
               table_id, wire_get(route->route_len));
}

static void bulk_delete(bulk *work, uint32_t table_id, const route_rec *route) {
    ufib_count(work->vdc->ufib_stats, work->family.index, &ufib_family_stats::route_deletes);
    rc_dbg_print_route(work->family, table_id, route);
    const uint32_t error =
        ufib_route_delete(work->family, work->vdc->ufib, table_id, route, UFIB_HOLDER_UFDM);
    if ((error & 0xffff) == 0) {
        work->result->ack++;
        return;
    }
    bulk_failed(work, &ufib_family_stats::route_delete_failures);
}

/* An opcode of neither kind is counted, and no failure. */
static void bulk_record(bulk *work, uint32_t table_id, const route_rec *route) {
    lcfwd_pss_make_room();
    if (route->opcode == work->family.opcode_add)
        bulk_add(work, table_id, route);
    else if (route->opcode == work->family.opcode_delete)
        bulk_delete(work, table_id, route);
    else
        ufib_err_raise(work->family.err_opcode, E_ROUTE_INV_OPCODE);
    bulk_write_ready(work);
}

/* A length that cannot be ends the walk: where the next record begins is not known. */
static void bulk_malformed(bulk *work) {
    ufib_count(work->vdc->ufib_stats, work->family.index, &ufib_family_stats::malformed_records);
    ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    UFIB_ERR("%s route update: bad record length", work->family.name);
    work->failures++;
}

/* This card does not need the table, or another VDC holds the shared wildcard table. */
static bool route_is_skipped(const bulk *work, const route_rec *route) {
    const uint32_t table_id = wire_get(route->table_id);
    if (!ufib_platform_table_required(work->vdc->vdc_id, table_id, route->flags)) return true;
    if (!ufib_pi_route_flags_is_wildcard(route->flags) || !ufib_platform_optimize_wildcard_table())
        return false;
    ufib_vdc *first = nullptr;
    return ufib_table_search_first_vdc(work->family.wildcard_table, &first) != nullptr &&
           first != work->vdc->ufib;
}

void ufib_bulk_v1_route_update(const ufib_family &family, lcfwd_vdc_desc *vdc, const route_update_v1_hdr &hdr,
                               wire_cursor body, ufib_batch_result *result) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    bulk work = {family, vdc, hdr.epoch, 0, result};
    ufib_cookie_init(family);
    for (uint32_t left = wire_get(hdr.count); left > 0; left--) {
        const route_rec *route = wire_peek<route_rec>(body);
        const uint32_t len = route == nullptr ? 0 : wire_get(route->route_len);
        if (len < sizeof(route_rec) || len > body.left) {
            bulk_malformed(&work);
            break;
        }
        body.next += len;
        body.left -= len;
        if (!route_is_skipped(&work, route)) bulk_record(&work, wire_get(route->table_id), route);
    }
    bulk_end(&work, (hdr.flags & ROUTE_BATCH_END_OF_TABLE) != 0);
    ufib_funcstats_end(UFIB_FS_BULK_ROUTE, &stamp);
    ufib_funcstats_output();
}

static void bulk_v0_record(bulk *work, const route_update_hdr &hdr, const uint8_t *record, uint32_t len) {
    ufib_perf_route_count++;
    if (ufib_perf_route_count % PERF_EVERY == 0) display_results = true;
    const uint32_t table_id = wire_get(hdr.table_id);
    const route_rec *route = ufib_route_convert(work->family, record, len, table_id);
    if (route == nullptr) {
        UFIB_ERR("Failed to parse the route buffer for nh info");
        const bool removal =
            record[0] == work->family.opcode_delete; /* first byte of either family's record */
        bulk_failed(work, removal ? &ufib_family_stats::route_delete_failures
                                  : &ufib_family_stats::route_add_failures);
        bulk_write_ready(work);
        return;
    }
    /* An image that is being left in an upgrade does not know the wildcard table. */
    if (issd_to_non_pic && route->opcode == work->family.opcode_add &&
        ufib_pi_route_flags_is_wildcard(route->flags))
        bulk_write_ready(work);
    else
        bulk_record(work, table_id, route);
}

void ufib_bulk_route_update(const ufib_family &family, lcfwd_vdc_desc *vdc, const route_update_hdr &hdr,
                            wire_cursor body, ufib_batch_result *result) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    bulk work = {family, vdc, hdr.epoch, 0, result};
    ufib_cookie_init(family);
    const uint32_t fixed = ufib_route_v0_fixed(family);
    for (uint32_t left = wire_get(hdr.count); left > 0; left--) {
        const uint32_t len = body.left < fixed ? 0 : ufib_route_v0_len(family, body.next);
        if (len < fixed || len > body.left) {
            bulk_malformed(&work);
            result->nack += left;
            break;
        }
        bulk_v0_record(&work, hdr, body.next, len);
        body.next += len;
        body.left -= len;
    }
    bulk_end(&work, (hdr.flags & ROUTE_BATCH_END_OF_TABLE) != 0);
    ufib_funcstats_end(UFIB_FS_BULK_ROUTE, &stamp);
    ufib_funcstats_output();
}
