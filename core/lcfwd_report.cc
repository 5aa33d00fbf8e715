#include "core/lcfwd_report.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_stats.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_upcalls.h"
#include "core/ufib_trace.h"

#include <cerrno>
#include <cstring>

static const char *const state_names[] = {"NOT-READY",   "RESTARTING", "UPGRADING", "EXITED",
                                          "INITIALIZED", "LOADING",    "ACTIVE"};

const char *lcfwd_state_name(uint32_t state) {
    return state <= LCFWD_STATE_ACTIVE ? state_names[state] : "UNKNOWN";
}

/* The record may know more than the report: what the multicast side is about to be. */
static void state_set(lcfwd_vdc_desc *vdc, uint32_t state, bool unicast, uint32_t mfib_recorded) {
    uint32_t &present = unicast ? vdc->ufib_state : vdc->mfib_state;
    if (present == state) return;
    present = state;
    lcfwd_vdc_desc recorded = *vdc;
    recorded.mfib_state = mfib_recorded;
    lcfwd_pss_insert_vdc_info(&recorded);
    lcfwd_send_report(vdc);
}

void lcfwd_state_change(lcfwd_vdc_desc *vdc, uint32_t state, bool unicast) {
    state_set(vdc, state, unicast, unicast ? vdc->mfib_state : state);
}

/* A death between the two changes must not lose the second. */
void lcfwd_commence_reporting(lcfwd_vdc_desc *vdc, uint32_t ufib_state, uint32_t mfib_state) {
    state_set(vdc, ufib_state, true, mfib_state);
    state_set(vdc, mfib_state, false, mfib_state);
}

void lcfwd_stop_reporting(lcfwd_vdc_desc *vdc, uint32_t state) {
    lcfwd_commence_reporting(vdc, state, state);
}

static bool is_loading(uint32_t state) {
    return state == LCFWD_STATE_INITIALIZED || state == LCFWD_STATE_LOADING;
}

static uint8_t report_flags(const lcfwd_vdc_desc *vdc) {
    uint32_t flags = 0;
    if (vdc->ufib_state >= LCFWD_STATE_INITIALIZED) flags |= LCFWD_REPORT_UFIB_READY;
    if (vdc->mfib_state >= LCFWD_STATE_INITIALIZED) flags |= LCFWD_REPORT_MFIB_READY;
    if (is_loading(vdc->ufib_state)) flags |= LCFWD_REPORT_UFIB_LOADING;
    if (is_loading(vdc->mfib_state)) flags |= LCFWD_REPORT_MFIB_LOADING;
    if (vdc->ufdm_epoch == 0) flags |= LCFWD_REPORT_NO_EPOCH;
    return static_cast<uint8_t>(flags);
}

void lcfwd_send_report(lcfwd_vdc_desc *vdc) {
    if (vdc == nullptr || (vdc->flags & LCFWD_VDC_ACTIVE) == 0) return;
    const uint32_t node = ((vdc->vdc_id - 1u) & 255) << 16 | MTS_NODE_SUPERVISOR;
    const lcfwd_report_msg report = {{0, 0},
                                     static_cast<uint8_t>(my_slot),
                                     static_cast<uint8_t>(vdc->ufib_state),
                                     static_cast<uint8_t>(vdc->mfib_state),
                                     report_flags(vdc),
                                     {0, 0}};
    const mts_msg_desc message = {fib_q_mts_ucast, {node, 0}, LCFWD_OPC_REPORT, 0,
                                  vdc->vdc_id,     &report,   sizeof report};
    if (fu_mts_send(&message, FU_MTS_SEND_NO_REPLY) == -1) {
        LCFWD_ERR("%s: mts_send failed, errno:%s", __func__, std::strerror(errno));
    }
    ufib_cur_vdc_id = vdc->vdc_id;
    UFIB_BL(1, UFIB_TR_REPORT, lcfwd_state_name(vdc->ufib_state), lcfwd_state_name(vdc->mfib_state),
            uint32_t{report.flags});
}

void lcfwd_send_all_reports() {
    for (uint32_t vdc_id = LCFWD_VDC_MIN; vdc_id <= LCFWD_VDC_MAX; vdc_id++) {
        lcfwd_send_report(lcfwd_vdc_row(vdc_id));
    }
}

void lcfwd_report_timer_expired(void *) {
    lcfwd_send_all_reports();
    lcfwd_report_timer_start();
}

static bool report_timer_make() {
    if (lcfwd_timer_make(LCFWD_TIMER_REPORT, lcfwd_report_timer_expired, nullptr) == 0) return true;
    LCFWD_ERR("%s: failed to init report timer", __func__);
    return false;
}

void lcfwd_report_start_timers() {
    if (report_timer_make() && lcfwd_report_timer_start() != 0) {
        LCFWD_ERR("%s: failed to start report timer", __func__);
    }
}

void lcfwd_report_timer_init() {
    if (is_lcfwd_lib)
        (void)report_timer_make(); /* the host starts it when it wants reports */
    else
        lcfwd_report_start_timers();
}

void lcfwd_ufdm_up(lcfwd_vdc_desc *vdc) {
    UFIB_BL(1, UFIB_TR_UFDM_UP, vdc->ufdm_epoch);
    lcfwd_send_report(vdc);
}

void lcfwd_mfdm_up(lcfwd_vdc_desc *vdc) {
    UFIB_BL(1, UFIB_TR_MFDM_UP);
    lcfwd_send_report(vdc);
}

/* One message of a download bracket: the state that awaits it, the next one, what tells of a message that
 * was not awaited. */
struct download_step {
    lcfwd_state awaits;
    lcfwd_state next;
    uint32_t unawaited_event;
    const char *text; /* null: no line in the log */
};

static void download_step_take(lcfwd_vdc_desc *vdc, const download_step &step, bool unicast) {
    const uint32_t state = unicast ? vdc->ufib_state : vdc->mfib_state;
    if (state != step.awaits) {
        UFIB_BL(1, step.unawaited_event, lcfwd_state_name(state));
        return;
    }
    lcfwd_state_change(vdc, step.next, unicast);
    if (step.text != nullptr) LCFWD_TRACE("%s", step.text);
}

void lcfwd_ufdm_download(lcfwd_vdc_desc *vdc, const uint8_t *payload) {
    static constexpr download_step commence = {LCFWD_STATE_INITIALIZED, LCFWD_STATE_LOADING,
                                               UFIB_TR_UFDM_COMMENCE, nullptr};
    static constexpr download_step end = {LCFWD_STATE_LOADING, LCFWD_STATE_ACTIVE, UFIB_TR_UFDM_END, nullptr};
    lcfwd_count(vdc->ufib_stats, &ufib_vdc_stats::downloads);
    if (payload[2] == LCFWD_DOWNLOAD_COMMENCE)
        download_step_take(vdc, commence, true);
    else if (payload[2] == LCFWD_DOWNLOAD_END)
        download_step_take(vdc, end, true);
    else
        LCFWD_ERR("invalid download opcode");
}

void lcfwd_mfdm_download(lcfwd_vdc_desc *vdc, const uint8_t *payload) {
    static constexpr download_step commence = {LCFWD_STATE_INITIALIZED, LCFWD_STATE_LOADING,
                                               UFIB_TR_MFDM_COMMENCE,
                                               "MTS_OPC_MFDM_DOWNLOAD with MFDM_DNLD_COMMENCE\n"};
    static constexpr download_step end = {LCFWD_STATE_LOADING, LCFWD_STATE_ACTIVE, UFIB_TR_MFDM_END,
                                          "MTS_OPC_MFDM_DOWNLOAD with MFDM_DNLD_END\n"};
    if (payload[0] == LCFWD_DOWNLOAD_COMMENCE) {
        lcfwd_count(vdc->mfib_stats, &mfib_vdc_stats::download_starts);
        download_step_take(vdc, commence, false);
    } else if (payload[0] == LCFWD_DOWNLOAD_END) {
        lcfwd_count(vdc->mfib_stats, &mfib_vdc_stats::download_ends);
        download_step_take(vdc, end, false);
    } else {
        LCFWD_ERR("invalid download opcode");
    }
}
