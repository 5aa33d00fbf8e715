/* Table notices to the route sender, and the tables that the system has configured. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "host/bus/fu_mts.h"
#include "host/containers/heap.h"
#include "host/interfaces/l3vm.h"
#include "host/system/system.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"

#include <cstdlib>

constexpr uint32_t OPC_TABLE_NOTICE = 0x1300f;

/* In the machine's own byte order. */
struct table_notice_row {
    uint32_t kind;
    uint32_t afi;
    uint32_t table_id;
    uint32_t instance_bitmap;
};
struct table_notice { /* then the rows */
    uint32_t vdc_id;
    uint32_t rows;
};
static_assert(sizeof(table_notice) == 8 && sizeof(table_notice_row) == 16);

static table_notice_row *notice_rows(table_notice *notice) {
    return reinterpret_cast<table_notice_row *>(notice + 1);
}
constexpr uint32_t NOTICE_ADD = 1;
constexpr uint32_t NOTICE_DELETE = 2;

static int notice_send(const table_notice *notice) {
    const mts_msg_desc message = {
        .queue = fib_q_mts_ucast,
        .destination = {MTS_NODE_UFDM, MTS_SAP_TABLE_NOTICE},
        .opcode = OPC_TABLE_NOTICE,
        .version = 0,
        .source_vdc = notice->vdc_id,
        .payload = notice,
        .payload_size = sizeof(table_notice) + notice->rows * sizeof(table_notice_row),
    };
    return fu_mts_send(&message, FU_MTS_SEND_NO_REPLY) == 0 ? 0 : -1;
}

static table_notice *notice_alloc(const ufib_vdc *vdc, uint32_t rows) {
    auto *notice =
        static_cast<table_notice *>(heap_calloc(1, sizeof(table_notice) + rows * sizeof(table_notice_row)));
    if (notice == nullptr)
        UFIB_ERR("malloc failed");
    else
        notice->vdc_id = vdc->desc->vdc_id;
    return notice;
}

static int notify_one(const ufib_vdc *vdc, const table_notice_row &row) {
    table_notice *notice = notice_alloc(vdc, 1);
    if (notice == nullptr) return -1;
    notice->rows = 1;
    notice_rows(notice)[0] = row;
    const int status = notice_send(notice);
    std::free(notice);
    return status;
}

/* One add row for each table of the family. The buffer is sized before the walk, from the VDC's count. */
static int notify_all(const ufib_vdc *vdc, uint32_t afi) {
    table_notice *notice = notice_alloc(vdc, vdc->table_count);
    if (notice == nullptr) return -1;
    ravl_iterator iterator;
    const uint32_t vdc_id = vdc->desc->vdc_id;
    for (const ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator)) {
        if (ufib_table_family(table).afi != afi || ufib_table_is_wildcard(table->table_id)) continue;
        if (notice->rows == vdc->table_count) break;
        notice_rows(notice)[notice->rows++] = {NOTICE_ADD, afi, table->table_id,
                                               ufib_platform_table_get_inst_bmap(vdc_id, table->table_id)};
    }
    const int status = notice_send(notice);
    std::free(notice);
    return status;
}

int ufib_notify_table_add(ufib_vdc *vdc, uint32_t afi, uint32_t table_id, uint32_t instance_bitmap,
                          bool all_tables) {
    return all_tables ? notify_all(vdc, afi) : notify_one(vdc, {NOTICE_ADD, afi, table_id, instance_bitmap});
}

int ufib_notify_table_del(ufib_vdc *vdc, uint32_t afi, uint32_t table_id, uint32_t instance_bitmap) {
    return notify_one(vdc, {NOTICE_DELETE, afi, table_id, instance_bitmap});
}

/* The next table id, behind the context that holds 'table_id' (0: from the first context). */
static uint32_t next_configured_table(uint32_t vdc_id, bool is_v4, uint32_t table_id) {
    const uint32_t afi = is_v4 ? ufib_v4.afi : ufib_v6.afi;
    if (sysmgr_set_vdc_ctxt(vdc_id) != 0) return 0;
    bool passed = table_id == 0;
    uint32_t found = 0;
    l3vm_context_info context;
    for (int status = l3vm_get_next_context_info(nullptr, &context); status == 0 && found == 0;) {
        const uint32_t id = l3vm_context_get_table_id(context.name, afi, "base");
        if (passed && id != 0) found = id;
        passed = passed || id == table_id;
        const l3vm_context_info last = context;
        status = l3vm_get_next_context_info(last.name, &context);
    }
    sysmgr_reset_vdc_ctxt();
    return found;
}

uint32_t ufib_table_vdc_get_first_table_id(uint32_t vdc_id, bool is_v4) {
    return next_configured_table(vdc_id, is_v4, 0);
}

uint32_t ufib_table_vdc_get_next_table_id(uint32_t vdc_id, bool is_v4, uint32_t table_id) {
    return table_id == 0 ? 0 : next_configured_table(vdc_id, is_v4, table_id);
}
