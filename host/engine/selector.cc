/* The weighted selector. In a round each source of weight w has w turns; the turns go round among the sources
 * that have work and turns left, so that a heavy source is spread over the round and does not come as one
 * block. When no source with work has a turn left, the next round begins. */
#include "host/engine/engine_private.h"

#include <sys/time.h>

#include <cerrno>

/* The transport is asked for news when nothing known is ready, and at least every so many turns: a system
 * call for each turn would cost more than a small message. */
constexpr uint32_t TURNS_PER_POLL = 8;

int fu_priority_select_init(fu_sel *selector, int) {
    if (fu_engine_state.faults[FU_FAULT_SELECT_INIT] != 0)
        return fu_engine_state.faults[FU_FAULT_SELECT_INIT];
    if (selector == nullptr) return FU_EINVAL;
    *selector = {};
    fu_engine_state.selector = selector;
    return 0;
}

int fu_priority_select_add_queue(fu_sel *selector, int type, int weight, uint32_t handle, fu_cq *cq,
                                 bool (*predicate)(void *), int id) {
    if (fu_engine_state.faults[FU_FAULT_SELECT_ADD] != 0) return fu_engine_state.faults[FU_FAULT_SELECT_ADD];
    if (selector == nullptr || weight == 0) return FU_EINVAL;
    if (type != FU_SOURCE_MTS && (type != FU_SOURCE_CONDITION || cq == nullptr || predicate == nullptr))
        return FU_EINVAL;
    if (selector->count >= FU_SOURCES_MAX) return FU_ENOMEM;
    selector->sources[selector->count++] = {type, weight, handle, cq, predicate, id, weight};
    return 0;
}

int fu_cq_init(fu_cq *queue, int) {
    if (fu_engine_state.faults[FU_FAULT_CQ_INIT] != 0) return fu_engine_state.faults[FU_FAULT_CQ_INIT];
    if (queue == nullptr) return FU_EINVAL;
    *queue = {};
    return 0;
}

bool fu_cq_eval_to_true(void *) { return true; }
void fu_cq_add(fu_cq *queue) { queue->entries++; }

void fu_cq_take(fu_cq *queue) {
    if (queue->entries != 0) queue->entries--;
}

static bool is_ready(const fu_src *source) {
    if (source->type == FU_SOURCE_MTS) return mts_queue_ready(source->handle);
    return source->cq->entries != 0 && source->predicate(source->cq);
}

static void round_begin(fu_sel *selector) {
    for (uint32_t i = 0; i < selector->count; i++) selector->sources[i].credit = selector->sources[i].weight;
}

/* The next source after the cursor that is ready and 'wanted'; null for none. */
static fu_src *next_ready(fu_sel *selector, bool (*wanted)(const fu_src *)) {
    for (uint32_t step = 1; step <= selector->count; step++) {
        const uint32_t index = (selector->cursor + step) % selector->count;
        fu_src *source = &selector->sources[index];
        if (!wanted(source) || !is_ready(source)) continue;
        selector->cursor = index;
        return source;
    }
    return nullptr;
}

static bool has_turns(const fu_src *source) { return source->credit > 0; }
static bool has_weight(const fu_src *source) { return source->weight > 0; }
static bool comes_last(const fu_src *source) { return source->weight < 0; }

static fu_src *weighted_pick(fu_sel *selector) {
    fu_src *source = next_ready(selector, has_turns);
    if (source == nullptr) {
        source = next_ready(selector, has_weight);
        if (source == nullptr) return nullptr;
        round_begin(selector);
    }
    source->credit--;
    return source;
}

static int poll_now(fu_sel *selector) {
    selector->since_poll = 0;
    return mts_wait(0);
}

/* The source of this turn; null when none is ready. '*status' is the errno of asking the transport. */
static fu_src *pick(fu_sel *selector, int *status) {
    *status = 0;
    if (++selector->since_poll >= TURNS_PER_POLL) *status = poll_now(selector);
    if (*status != 0) return nullptr;
    fu_src *source = weighted_pick(selector);
    if (source != nullptr) return source;
    *status = poll_now(selector);
    if (*status != 0) return nullptr;
    source = weighted_pick(selector);
    return source != nullptr ? source : next_ready(selector, comes_last);
}

bool fu_priority_select_ready(fu_sel *selector) {
    if (poll_now(selector) != 0) return false;
    for (uint32_t i = 0; i < selector->count; i++)
        if (is_ready(&selector->sources[i])) return true;
    return false;
}

static int64_t nanoseconds(const timeval *timeout) {
    if (timeout == nullptr) return -1;
    return static_cast<int64_t>(timeout->tv_sec) * 1'000'000'000 +
           static_cast<int64_t>(timeout->tv_usec) * 1000;
}

static uint32_t select_error(int status) { return FU_SELECT_ERROR | (static_cast<uint32_t>(status) & 0xfff); }

const fu_src *fu_priority_select(fu_sel *selector, const timeval *timeout, uint32_t *error) {
    *error = 0;
    const int64_t limit = nanoseconds(timeout);
    /* A wait that ends early (a signal, a connection without a message) is taken up again only when it has no
     * limit; with one, the caller looks at its timers and comes back. */
    for (bool waited = false;;) {
        if (fu_fsm_stop_requested()) {
            *error = select_error(EINTR);
            return nullptr;
        }
        int status = 0;
        const fu_src *source = pick(selector, &status);
        if (source != nullptr) return source;
        if (status == 0 && (limit == 0 || (waited && limit > 0))) return nullptr;
        if (status == 0) status = mts_wait(limit);
        fu_watchdog_turn(); /* waiting is not being busy */
        waited = true;
        if (status == 0) continue;
        *error = select_error(status);
        return nullptr;
    }
}
