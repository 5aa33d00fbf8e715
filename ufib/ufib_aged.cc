#include "ufib/ufib_aged.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "host/bus/fu_mts.h"
#include "host/timer/clock.h"
#include "host/tlv/tlv.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"

#include <cstdlib>
#include <cstring>

/* The answer under construction. */
static uint8_t fib_update_buf[UFIB_AGED_BUFFER];
static_assert(UFIB_AGED_BUFFER <= MTS_PAYLOAD_MAX);

struct aged_answer {
    const mts_msg *sender;
    uint32_t table_id;
    uint32_t used; /* bytes, header included */
    uint16_t count;
};

static void answer_begin(aged_answer *answer) {
    answer->used = sizeof(ufib_aged_rsp);
    answer->count = 0;
}

static int answer_send(const aged_answer &answer, uint8_t flags) {
    const ufib_aged_rsp header = {
        .table_id = wire_put(answer.table_id),
        .total_len = wire_put(answer.used),
        .count = wire_put(answer.count),
        .flags = flags,
        .slot = static_cast<uint8_t>(my_slot),
        .reserved12 = {},
    };
    std::memcpy(fib_update_buf, &header, sizeof header);
    if (fu_mts_send_response(fib_q_mts_ucast, fib_update_buf, answer.used, answer.sender, 0) == 0) return 0;
    UFIB_ERR("%s: mts_send_response failed", "ufib_get_aged_routes");
    return -1;
}

/* Appends a route; -1: the buffer is full. */
static int ufib_add_route_to_aged_list(aged_answer *answer, const ufib_pfx *pfx) {
    const ufib_family &family = ufib_prefix_family(pfx);
    const uint32_t len = family.addr_bytes + 1;
    if (tlv_aligned_data_size_get(len) > UFIB_AGED_BUFFER - answer->used) return -1;
    uint8_t *element = fib_update_buf + answer->used;
    tlv_write_u16(element, family.index == 0 ? UFIB_AGED_TLV_V4 : UFIB_AGED_TLV_V6);
    tlv_write_u16(element + 2, len);
    std::memcpy(element + TLV_ELEMENT_HEAD, ufib_pfx_address(pfx), family.addr_bytes);
    element[TLV_ELEMENT_HEAD + family.addr_bytes] = pfx->mask_len;
    answer->used += tlv_aligned_data_size_get(len);
    answer->count++;
    return 0;
}

static int aged_route(aged_answer *answer, const ufib_pfx *pfx) {
    if (ufib_add_route_to_aged_list(answer, pfx) == 0) return 0;
    if (answer_send(*answer, 0) != 0) return -1;
    answer_begin(answer);
    return ufib_add_route_to_aged_list(answer, pfx);
}

/* Cards start their random numbers apart. A slot of 0 is none. */
static void walk_seed() {
    if (my_slot != 0) std::srand(host_clock_wall_seconds() / my_slot);
}

static int table_walk(const ufib_table *table, aged_answer *answer) {
    const bool v4 = ufib_table_family(table).index == 0;
    const auto is_aged = v4 ? ufib_platform_is_v4route_aged : ufib_platform_is_v6route_aged;
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    walk_seed();
    pt_node node;
    if (!pt_get_first_node(&table->main.trie, &node)) return 0;
    do {
        auto *pfx = static_cast<ufib_pfx *>(node.record);
        if (is_aged(pfx) && aged_route(answer, pfx) != 0) return -1;
        ufib_walk_step(&budget);
    } while (pt_get_next_node(&table->main.trie, node.key, node.bits, &node));
    return 0;
}

int ufib_get_aged_routes(ufib_vdc *vdc, const ufib_aged_msg &request, const mts_msg *sender) {
    aged_answer answer = {sender, wire_get(request.table_id), 0, 0};
    answer_begin(&answer);
    const ufib_table *table = ufib_table_search(vdc, answer.table_id);
    if (table == nullptr || ufib_table_family(table).afi != request.afi)
        return answer_send(answer, UFIB_AGED_NO_TABLE);
    if (table_walk(table, &answer) != 0) return -1;
    return answer_send(answer, UFIB_AGED_LAST);
}
