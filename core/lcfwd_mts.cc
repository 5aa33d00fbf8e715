#include "core/lcfwd_mts.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_exit.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_opcodes.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_trace.h"

#include <cerrno>

lcfwd_mts_queue lcfwd_mts_q_array[LCFWD_Q_ROWS];
uint32_t fib_q_mts_sys;
uint32_t fib_q_mts_sp;
uint32_t fib_q_mts_ucast;
uint32_t fib_q_mts_mcast;
uint32_t fib_q_mts_pd;
uint32_t fib_q_mts_lp;
uint32_t fib_q_mts_cmi;

struct queue_row {
    uint32_t *handle;
    uint32_t sap;
    int32_t weight;
    const char *name;
    const char *bind_text;
};

/* In the order of binding; row 0 is the unused one of the array. */
static const queue_row queue_rows[LCFWD_Q_ROWS] = {
    {},
    {&fib_q_mts_sys, 198, 2, "fib_q_mts_sys", "lcfwd SAP for sysmgr"},
    {&fib_q_mts_sp, 199, -1, "fib_q_mts_sp", "lcfwd SAP for sp msgs"},
    {&fib_q_mts_ucast, 200, 7, "fib_q_mts_ucast", "lcfwd SAP for ucast msgs"},
    {&fib_q_mts_mcast, 201, 4, "fib_q_mts_mcast", "lcfwd SAP for mcast msgs"},
    {&fib_q_mts_pd, 202, 10, "fib_q_mts_pd", "lcfwd SAP for pd msgs"},
    {&fib_q_mts_lp, 207, 1, "fib_q_mts_lp", "lcfwd SAP for lp msgs"},
    {&fib_q_mts_cmi, 203, 7, "fib_q_mts_cmi", "lcfwd SAP for cmi msgs"},
};

static constexpr int bind_kind = 4;
static constexpr uint32_t bind_options[3] = {1, 4096, LCFWD_UUID};

static int queue_bind(const queue_row &row) {
    const int64_t handle = mts_bind(bind_kind, row.sap, bind_options, row.bind_text);
    if (handle == -1) {
        LCFWD_ERR("%s(%d): (Error) %d in mts bind\n", __func__, __LINE__, errno);
        return lcfwd_exit(LCFWD_EXIT_BIND);
    }
    *row.handle = static_cast<uint32_t>(handle);
    return 0;
}

void lcfwd_mts_q_array_init() {
    for (uint32_t index = LCFWD_Q_SYS; index < LCFWD_Q_ROWS; index++) {
        const queue_row &row = queue_rows[index];
        lcfwd_mts_q_array[index] = {*row.handle, row.sap, row.weight, row.name};
    }
}

int lcfwd_mts_queue_initialize() {
    for (uint32_t index = LCFWD_Q_SYS; index < LCFWD_Q_ROWS; index++) {
        const int code = queue_bind(queue_rows[index]);
        if (code != 0) return code;
    }
    lcfwd_mts_q_array_init();
    const int status = lcfwd_create_mts_opc_list();
    if (status != 0) return status;
    for (uint32_t i = 0; i < lcfwd_sizeof_mts_msg_info_array; i++) {
        const int code = lcfwd_mts_set_msg_options(&mts_msg_info_ptr[i]);
        if (code != 0) return code;
    }
    return 0;
}

mts_msg *lcfwd_event_message(fu_event *event) { return fu_event_message(event); }

void lcfwd_mts_handler_init(fu_event *event, fu_event_node **out, int *status, uint32_t opcode) {
    if (status == nullptr) return;
    *status = LCFWD_OK;
    if (event == nullptr || out == nullptr || opcode == 0) {
        *status = LCFWD_WRONG_MESSAGE;
        return;
    }
    *out = nullptr;
    const mts_msg *message = fu_event_message(event);
    if (message == nullptr) {
        *status = LCFWD_WRONG_MESSAGE;
        return;
    }
    if (mts_opc_get(message) == opcode) return;
    *status = LCFWD_WRONG_MESSAGE;
    if (event->category == FU_EVENT_CAT_STDBY_WRAP) return;
    UFIB_BL(1, UFIB_TR_MTS_MSG, mts_opc_name_get(mts_opc_get(message)));
}

uint8_t *lcfwd_mts_payload(const mts_msg *message, size_t min_size) {
    return mts_payload_size(message) < min_size ? nullptr : mts_payload_get(message);
}

lcfwd_vdc_desc *lcfwd_mts_vdc(const mts_msg *message) {
    const uint32_t vdc_id = mts_src_vdc_id_get(message) & 0xffff;
    lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc != nullptr) ufib_cur_vdc_id = vdc_id;
    return vdc;
}

void lcfwd_update_and_send_heartbeat(int) {
    if (!is_lcfwd_lib) fu_sysmgr_update_and_send_heartbeat(0);
}

void lcfwd_mts_reset() {
    for (lcfwd_mts_queue &queue : lcfwd_mts_q_array) queue = {};
    for (uint32_t index = LCFWD_Q_SYS; index < LCFWD_Q_ROWS; index++) *queue_rows[index].handle = 0;
}
