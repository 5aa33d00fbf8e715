/* Statistics polls: the message, the walk that a timer drives, and what goes back. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "core/ufib_funcstats.h"
#include "host/bus/fu_mts.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_stats.h"
#include "ufib/ufib_stats_private.h"
#include "ufib/ufib_vdc.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

constexpr uint32_t OPC_STATISTICS_POLL = 74753;
constexpr uint32_t POLL_VERSION_MIN = 3;
constexpr uint32_t SLICE_SECONDS = 5; /* between two firings; the shortest that the timer takes */

constexpr uint32_t STALLS_MAX = 12; /* firings in a row that a poller may take nothing */

constexpr uint32_t REPLY_ROOM = UFIB_STATS_REPLY_ROWS + UFIB_STATS_READ + UFIB_STATS_LISP_PATHS;

struct stats_reply {
    ufib_stats_hdr hdr;
    ufib_stats_row rows[REPLY_ROOM];
};
static_assert(sizeof(stats_reply) <= MTS_PAYLOAD_MAX);

/* A poll that runs, one a VDC. */
struct ufib_stats_poll_data {
    uint32_t state;                               /* ufib_stats_state */
    uint32_t work;                                /* objects of this firing */
    uint32_t total;                               /* of all firings */
    bool is_stats_type_active[UFIB_STATS_STATES]; /* which walks the poll asked for */
    ufib_adj_key at[2]; /* the adjacency visited last, by family; zeroed: none yet */
    uint64_t lisp_at[2];
    ufib_stats_poll_msg poll;
    mts_msg poller;  /* what answers go to; without its payload */
    bool blocked;    /* its connection is full: the firing ends, and the rows wait for the next */
    uint32_t stalls; /* firings in a row that ended so, with nothing sent */
    bool poller_gone;
    uint32_t rows; /* of the reply that is being filled */
    stats_reply reply;
};
static ufib_stats_poll_data polls[LCFWD_VDC_MAX + 1];
static uint32_t poll_served;            /* VDC of the last firing: they take turns */
static ufib_stats_poll_data *reporting; /* whose rows come; null: nobody polls, totals are only read */

/* ---- answers ---- */

/* Sends the rows that are there. A full connection keeps them; a poller that has gone loses them. */
static void ufib_adj_stats_send(ufib_stats_poll_data *poll, bool last) {
    const size_t size = sizeof poll->reply.hdr + poll->rows * sizeof poll->reply.rows[0];
    poll->reply.hdr = {
        .total_stats_len = wire_put(static_cast<uint32_t>(size)),
        .type = poll->poll.type,
        .afi = poll->poll.afi,
        .sequence = {poll->poll.sequence[0], poll->poll.sequence[1]},
        .count = wire_put(static_cast<uint16_t>(poll->rows)),
        .flags = last ? UFIB_STATS_LAST : uint8_t{0},
        .slot = static_cast<uint8_t>(my_slot),
        .objects = wire_put(poll->total + poll->work),
    };
    const int status = fu_mts_send_response(fib_q_mts_lp, &poll->reply, size, &poll->poller, 0);
    poll->blocked = status != 0 && errno == ENOBUFS;
    if (poll->blocked) return;
    poll->stalls = 0;
    poll->rows = 0;
    poll->poller_gone = status != 0;
    if (status != 0) UFIB_ERR("%s: mts_send_response failed", __func__);
}

/* There is room for what one hardware read gives beyond a full reply; only an object with very many label children can
 * pass that while the connection is full. */
void ufib_stats_report(const ufib_stats_row &row) {
    if (reporting == nullptr || reporting->rows == REPLY_ROOM) return;
    reporting->reply.rows[reporting->rows++] = row;
    if (reporting->rows >= UFIB_STATS_REPLY_ROWS && !reporting->blocked)
        ufib_adj_stats_send(reporting, false);
}

/* ---- the walk ---- */

static void ufib_stats_poll_data_init(ufib_stats_poll_data *poll) {
    std::memset(poll, 0, offsetof(ufib_stats_poll_data, reply));
    poll->state = UFIB_STATS_IDLE;
}

static void object_visit(ufib_stats_poll_data *poll, ufib_obj *object) {
    ufib_adj_stats_add(object, false);
    poll->work++;
}

/* The next adjacency of a family, with its label children. False: there is none. */
static bool adj_visit(ufib_stats_poll_data *poll, ufib_vdc *vdc, const ufib_family &family) {
    ufib_adj *adj = ufib_adj_ifindex_get_next_safe(vdc, family, poll->at[family.index]);
    if (adj == nullptr) return false;
    poll->at[family.index] = adj->key;
    object_visit(poll, &adj->obj);
    if (ravl_is_empty(&adj->mpls_children) || ufib_hook.stats_label_child == nullptr) return true;
    uint64_t position = 0;
    while (ufib_obj *child = ufib_hook.stats_label_child(adj, &position)) object_visit(poll, child);
    return true;
}

static bool lisp_visit(ufib_stats_poll_data *poll, ufib_vdc *vdc, const ufib_family &family) {
    if (ufib_hook.stats_lisp_next == nullptr) return false;
    ufib_obj *object = ufib_hook.stats_lisp_next(vdc, family.index, &poll->lisp_at[family.index]);
    if (object == nullptr) return false;
    object_visit(poll, object);
    return true;
}

static constexpr struct {
    bool (*visit)(ufib_stats_poll_data *poll, ufib_vdc *vdc, const ufib_family &family);
    uint32_t family;
} walks[UFIB_STATS_STATES] = {
    {nullptr, 0}, {nullptr, 0}, {adj_visit, 0}, {adj_visit, 1}, {lisp_visit, 0}, {lisp_visit, 1},
};

/* The next walk that the poll asked for; idle behind the last. */
static uint32_t state_after(const ufib_stats_poll_data &poll, uint32_t state) {
    while (++state < UFIB_STATS_STATES)
        if (poll.is_stats_type_active[state]) return state;
    return UFIB_STATS_IDLE;
}

/* Walks until so many objects are done, nothing is left, or the poller takes no more. */
static void walks_run(ufib_stats_poll_data *poll, ufib_vdc *vdc) {
    while (poll->state != UFIB_STATS_IDLE && poll->work < UFIB_STATS_FIRING && !poll->blocked)
        if (!walks[poll->state].visit(poll, vdc, ufib_families[walks[poll->state].family]))
            poll->state = state_after(*poll, poll->state);
    ufib_adj_stats_add(nullptr, true);
}

/* A poller that never reads again would keep all others from polling. */
static bool poll_is_given_up(ufib_stats_poll_data *poll, uint32_t vdc_id) {
    if (!poll->blocked || ++poll->stalls < STALLS_MAX) return false;
    UFIB_ERR("statistics of vdc %u: the poller does not read, its poll ends", vdc_id);
    return true;
}

/* One firing. A VDC, or a poller, that is gone ends the poll. A last reply that finds the connection full is sent by
 * the next firing, whose walk finds nothing more. */
static void ufib_adj_stats_poll_timer_exp(uint32_t vdc_id) {
    const ufib_funcstats_block measure(UFIB_FS_STATISTICS_POLL);
    ufib_stats_poll_data *poll = &polls[vdc_id];
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    poll->work = 0;
    poll->blocked = false;
    if (lcfwd_vdc_active_row(vdc_id) == nullptr || vdc == nullptr) poll->state = UFIB_STATS_IDLE;
    reporting = poll;
    if (poll->rows >= UFIB_STATS_REPLY_ROWS) ufib_adj_stats_send(poll, false);
    const uint32_t state = poll->state;
    walks_run(poll, vdc);
    reporting = nullptr;
    const bool over = poll->state == UFIB_STATS_IDLE;
    if (!poll->blocked && (over || poll->rows != 0)) ufib_adj_stats_send(poll, over);
    poll->total += poll->work;
    const bool done = over && (!poll->blocked || vdc == nullptr);
    if (poll->poller_gone || done || poll_is_given_up(poll, vdc_id)) {
        ufib_stats_poll_data_init(poll);
        return;
    }
    if (over) poll->state = state == UFIB_STATS_IDLE ? UFIB_STATS_V4ADJ : state;
    (void)ufib_stats_timer_start(SLICE_SECONDS);
}

/* One poll a firing; the others wait for the next. */
static void ufib_stats_timer_expired(void *) {
    for (uint32_t i = 0; i < LCFWD_VDC_MAX; i++) {
        poll_served = poll_served % LCFWD_VDC_MAX + 1;
        if (polls[poll_served].state == UFIB_STATS_IDLE) continue;
        ufib_adj_stats_poll_timer_exp(poll_served);
        break;
    }
    for (const ufib_stats_poll_data &poll : polls)
        if (poll.state != UFIB_STATS_IDLE) (void)ufib_stats_timer_start(SLICE_SECONDS);
}

void ufib_stats_reset() {
    for (ufib_stats_poll_data &poll : polls) ufib_stats_poll_data_init(&poll);
    reporting = nullptr;
    poll_served = 0;
}

void ufib_stats_init() {
    ufib_stats_reset();
    if (lcfwd_timer_make(LCFWD_TIMER_UFIB_STATS, ufib_stats_timer_expired, nullptr) != 0)
        UFIB_ERR("failed to make the timer of statistics");
}

/* ---- the message ---- */

struct poll_request {
    const mts_msg *message;
    ufib_vdc *vdc;
    ufib_stats_poll_msg msg;
    ufib_stats_poll_key key;                  /* zeroed: none came */
    uint32_t objects;                         /* out: how many will be read */
    void (*run)(const poll_request &request); /* out: the reading, once the answer is on its way; or null */
};

static void poll_open(const poll_request &request, ufib_stats_poll_data *poll) {
    poll->poll = request.msg;
    poll->poller = *request.message;
    poll->poller.payload = nullptr;
    poll->poller.payload_size = 0;
}

static void walk_run(const poll_request &request) {
    ufib_adj_stats_poll_timer_exp(request.vdc->desc->vdc_id);
}

/* Over whole families, given as bits. A second one of a VDC does not start while one runs. */
static bool walk_begin(poll_request *request, uint32_t families) {
    ufib_stats_poll_data *poll = &polls[request->vdc->desc->vdc_id];
    if (poll->state != UFIB_STATS_IDLE) return false;
    poll_open(*request, poll);
    for (const ufib_family &family : ufib_families) {
        if ((families >> family.index & 1) == 0) continue;
        poll->is_stats_type_active[UFIB_STATS_V4ADJ + family.index] = true;
        poll->is_stats_type_active[UFIB_STATS_V4LISP + family.index] = true;
        request->objects += request->vdc->adj_count[family.index];
    }
    poll->state = state_after(*poll, UFIB_STATS_IDLE);
    request->run = walk_run;
    return true;
}

static bool names_next_hop(const poll_request &request) {
    static constexpr uint8_t zero[sizeof request.key.address] = {};
    return std::memcmp(request.key.address, zero, sizeof zero) != 0;
}

/* One adjacency, or the few of one interface: in one go. */
static void key_run(const poll_request &request) {
    const ufib_family &family = ufib_families[request.msg.afi == ufib_v4.afi ? 0 : 1];
    const ufib_idb *idb = ufib_idb_search(request.vdc, wire_get(request.key.if_index));
    static ufib_stats_poll_data poll; /* too large for a stack that handlers share */
    ufib_stats_poll_data_init(&poll);
    poll_open(request, &poll);
    reporting = &poll;
    for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr && poll.work < UFIB_STATS_FIRING;
         adj = ufib_adj_if_get_next(adj))
        if (!names_next_hop(request) ||
            std::memcmp(adj->key.address, request.key.address, family.addr_bytes) == 0)
            object_visit(&poll, &adj->obj);
    ufib_adj_stats_add(nullptr, true);
    ufib_adj_stats_send(&poll, true);
    reporting = nullptr;
}

/* False: no such interface, or no such adjacency. */
static bool key_begin(poll_request *request, const ufib_family &family) {
    ufib_adj_key key = {wire_get(request->key.if_index), {}};
    std::memcpy(key.address, request->key.address, family.addr_bytes);
    const ufib_idb *idb = ufib_idb_search(request->vdc, key.if_index);
    if (idb == nullptr) return false;
    if (names_next_hop(*request) && ufib_adj_search(request->vdc, family, key) == nullptr) return false;
    request->objects = names_next_hop(*request) ? 1 : idb->adj_count[family.index];
    request->run = key_run;
    return true;
}

static bool family_poll(poll_request *request, const ufib_family &family) {
    const bool keyed = wire_get(request->key.if_index) != 0;
    return keyed ? key_begin(request, family) : walk_begin(request, 1u << family.index);
}
static bool ufib_v4adj_stats_poll(poll_request *request) { return family_poll(request, ufib_v4); }
static bool ufib_v6adj_stats_poll(poll_request *request) { return family_poll(request, ufib_v6); }

static bool ufib_adj_stats_poll(poll_request *request) {
    switch (request->msg.afi) {
    case 0: return walk_begin(request, 3);
    case 1: return ufib_v4adj_stats_poll(request);
    case 2: return ufib_v6adj_stats_poll(request);
    default: return false;
    }
}

static bool ufib_v4tunnel_stats_poll(poll_request *request) { return key_begin(request, ufib_v4); }

/* Tunnels over IPv6 are not counted. */
static bool ufib_v6tunnel_stats_poll(poll_request *) { return false; }

static bool other_stats_poll(poll_request *request) {
    return ufib_hook.stats_poll != nullptr &&
           ufib_hook.stats_poll(request->vdc, &request->msg, request->message, &request->objects);
}

/* True: the poll runs, or will when the answer is on its way. */
static bool poll_dispatch(poll_request *request) {
    switch (request->msg.type) {
    case UFIB_STATS_TYPE_ADJ: return ufib_adj_stats_poll(request);
    case UFIB_STATS_TYPE_TUNNEL:
        if (request->msg.afi == ufib_v4.afi) return ufib_v4tunnel_stats_poll(request);
        return ufib_v6tunnel_stats_poll(request);
    case UFIB_STATS_TYPE_LABEL:
    case UFIB_STATS_TYPE_LABEL + 1:
    case UFIB_STATS_TYPE_LABEL + 2:
    case UFIB_STATS_TYPE_LISP: return other_stats_poll(request);
    default: return false;
    }
}

static void poll_answer(const poll_request &request, bool started) {
    ufib_stats_poll_rsp answer = {};
    std::memcpy(answer.poll, &request.msg, sizeof answer.poll);
    answer.poll[7] &= static_cast<uint8_t>(~UFIB_STATS_STARTED);
    if (started) answer.poll[7] |= UFIB_STATS_STARTED;
    answer.objects = wire_put(request.objects);
    if (fu_mts_send_response(fib_q_mts_lp, &answer, sizeof answer, request.message, 0) != 0)
        UFIB_ERR("%s: mts_send_response failed", "ufib_ufdm_statistics_poll");
}

static void ufib_ufdm_statistics_poll(const ufib_control &control) {
    wire_cursor body = control.body;
    poll_request request = {control.message, control.vdc->ufib, {}, {}, 0, nullptr};
    if (wire_take(&body, &request.msg) != 0) return;
    (void)wire_take(&body, &request.key);
    const bool fit = (mts_opc_version_get(control.message) & 0xff) >= POLL_VERSION_MIN &&
                     control.vdc->ufib_state == LCFWD_STATE_ACTIVE;
    poll_answer(request, fit && poll_dispatch(&request));
    if (request.run != nullptr) request.run(request);
}

int ufib_fu_ufdm_statistics_poll(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (ufib_control_begin_any_state(event, out, OPC_STATISTICS_POLL, __func__, sizeof(ufib_stats_poll_msg),
                                     &control, &status))
        ufib_ufdm_statistics_poll(control);
    return status;
}
