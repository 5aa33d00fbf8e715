#include "core/lcfwd_pump.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_selector.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_upcalls.h"
#include "core/ufib_trace.h"
#include "host/interfaces/l3vm.h"
#include "host/trace/sdwrap.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/time.h>

static constexpr int sdwrap_not_consumed = 1;
static constexpr uint32_t ignored_responses[] = {0x11c4f, 0x1300e};

/* States in which this instance holds the model and takes messages. */
static bool is_active() {
    const int state = fu_fsm_state();
    return state == 1 || state == 4 || state == 5;
}

int lcfwd_get_data_from_queue(const fu_src *source, fu_event *event) {
    if (source == nullptr || event == nullptr) return LCFWD_WRONG_MESSAGE;
    fu_fsm_event_init(event);
    event->source_id = source->id;
    if (source->id < static_cast<int>(LCFWD_Q_SYS) || source->id > static_cast<int>(LCFWD_Q_CMI)) {
        LCFWD_ERR("%s(%d): (Error) invalid queue - do not know how to dequeue\n", __func__, __LINE__);
        return LCFWD_BAD_MESSAGE;
    }
    event->category = FU_EVENT_CAT_MTS;
    event->queue = source->handle;
    if (fu_mts_recv(source->handle, &event->message, 1, 0) != -1) return LCFWD_OK;
    LCFWD_ERR("%s(%d): (Error) %s in mts recv\n", __func__, __LINE__, std::strerror(errno));
    return LCFWD_BAD_MESSAGE;
}

int lcfwd_dequeue(fu_event *event) {
    while (true) {
        timeval left = {};
        const bool timed = lcfwd_get_next_expiry_time(&left) != 0;
        uint32_t error = 0;
        const fu_src *source = fu_priority_select(&lcfwd_selector, timed ? &left : nullptr, &error);
        if (error != 0) {
            if (fu_fsm_stop_requested()) return static_cast<int>(error); /* the end, not a fault */
            char text[64];
            std::snprintf(text, sizeof text, "SYSERR_FU_xx: 0x%x, err_num (%d)", error,
                          static_cast<int>(error & 0xfff));
            LCFWD_ERR("%s: fu_priority_select error %s\n", __func__, text);
            return static_cast<int>(error);
        }
        /* Also when a queue is ready: under load timers would never run otherwise. */
        lcfwd_process_expired_timers();
        if (source != nullptr) return lcfwd_get_data_from_queue(source, event);
    }
}

int lcfwd_demux(fu_event *event, fu_event_node **out) {
    *out = nullptr;
    if (event->kind == FU_EVENT_KIND_CLEANUP) fu_condnal_cleanup_done();
    if (event->kind != FU_EVENT_KIND_MTS) return LCFWD_OK;
    switch (event->category) {
    case FU_EVENT_CAT_MTS: return lcfwd_mts_msg_handler(event, out);
    case FU_EVENT_CAT_STDBY_MTS:
    case FU_EVENT_CAT_STDBY_WRAP: return lcfwd_stdby_mts_msg_handler(event, out);
    case 4:
    case 11: return LCFWD_OK;
    default: return LCFWD_BAD_MESSAGE;
    }
}

static int handler_call(fu_handler handler, fu_event *event, fu_event_node **out) {
    const int status = handler(event, out);
    return status == LCFWD_DECLINED ? LCFWD_OK : status;
}

static int table_dispatch(fu_event *event, fu_event_node **out) {
    const uint32_t opcode = mts_opc_get(event->message);
    mts_row *row = nullptr;
    const int status = fu_hashtable_find(fu_global_get()->opcodes, opcode, &row);
    if (status == FU_ENOTFOUND || status == FU_ENOTABLE) {
        LCFWD_WARN("%s(%d): (Warning) unexpected mts msg (opcode - %d)\n", __func__, __LINE__,
                   static_cast<int>(opcode));
        fu_mts_respond_reject(event->queue, 0, 0, event->message, 0, 0);
        return LCFWD_OK;
    }
    if (status != 0) return status;
    const fu_handler handler = is_active() ? row->active : row->standby;
    return handler == nullptr ? LCFWD_OK : handler_call(handler, event, out);
}

int lcfwd_mts_msg_handler(fu_event *event, fu_event_node **out) {
    mts_msg *message = event->message;
    if (sdwrap_process_msg(event->queue, message) != sdwrap_not_consumed) return LCFWD_OK;
    const char *name = mts_opc_name_get(mts_opc_get(message));
    lcfwd_log_write(LCFWD_LOG_DEMUX, 1, __func__, __LINE__, "DEBUG: Recvd MTS: %s\n", name);
    if (mts_is_response(message)) {
        (void)lcfwd_mts_response_handler(event);
        return LCFWD_OK;
    }
    const int database = fsrv_sdb_process_msg(event->queue, message);
    if (database == FSRV_SDB_CONSUMED) return database;
    if (event->queue == fib_q_mts_pd) {
        UFIB_BL(1, UFIB_TR_MTS_MSG, name);
        return lcfwd_platform_mts_msg_handler(message);
    }
    return table_dispatch(event, out);
}

/* A message of the standby's channel goes through the debug service twice when it comes unwrapped: the
 * service counts on both looks. */
int lcfwd_stdby_mts_msg_handler(fu_event *event, fu_event_node **out) {
    mts_msg *message = fu_event_message(event);
    if (message == nullptr) return LCFWD_BAD_MESSAGE;
    if (event->category == FU_EVENT_CAT_STDBY_MTS &&
        sdwrap_process_msg(event->queue, message) != sdwrap_not_consumed) {
        return LCFWD_OK;
    }
    LCFWD_TRACE("%s(%d): Handling FU_EVENT_CAT_STDBY_*\n", __func__, __LINE__);
    if (sdwrap_process_msg(event->queue, message) != sdwrap_not_consumed) {
        LCFWD_TRACE("%s(%d): msg consumed by sdwrap_process msg\n", __func__, __LINE__);
        return LCFWD_OK;
    }
    const char *name = mts_opc_name_get(mts_opc_get(message));
    mts_row *row = nullptr;
    const int status = fu_hashtable_find(fu_global_get()->opcodes, mts_opc_get(message), &row);
    if (status == FU_ENOTFOUND || status == FU_ENOTABLE) {
        LCFWD_WARN("%s(%d): (Warning) unexpected msg %s\n", __func__, __LINE__, name);
        return LCFWD_OK;
    }
    if (status != 0) return status;
    if (row->standby != nullptr) return handler_call(row->standby, event, out);
    LCFWD_TRACE("%s(%d): No handler for %s of event cat %u\n", __func__, __LINE__, name, event->category);
    return LCFWD_OK;
}

int lcfwd_mts_response_handler(fu_event *event) {
    const uint32_t opcode = mts_opc_get(event->message);
    for (uint32_t ignored : ignored_responses) {
        if (opcode == ignored) return LCFWD_OK;
    }
    LCFWD_WARN("%s(%d): (Warning) unexpected mts msg (opcode - %d)\n", __func__, __LINE__,
               static_cast<int>(opcode));
    return LCFWD_BAD_MESSAGE;
}

void lcfwd_free_event_info(const fu_event *event) {
    switch (event->category) {
    case 1:
    case 2:
    case 4:
    case 5:
    case 6:
    case 11: break;
    default: LCFWD_WARN("%s(%d): Not handling event category %u\n", __func__, __LINE__, event->category);
    }
}

void lcfwd_free_demux_list(fu_event_node *list) {
    while (list != nullptr) {
        fu_event_node *next = list->next;
        lcfwd_free_event_info(&list->event);
        std::free(list);
        list = next;
    }
}
