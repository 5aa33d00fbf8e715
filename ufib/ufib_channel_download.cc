/* The download bracket and the sender's up message. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_report.h"
#include "core/ufib_trace.h"
#include "ufib/ufib_channel.h"

constexpr uint32_t OPC_UFDM_DOWNLOAD = 74762;
constexpr uint32_t OPC_UFDM_UP = 74765;
constexpr size_t CONTROL_SIZE = 3; /* bytes; the third one speaks */
constexpr size_t CONTROL_WORD = 2;

int ufib_fu_ufdm_download(fu_event *event, fu_event_node **out) {
    int status;
    lcfwd_mts_handler_init(event, out, &status, OPC_UFDM_DOWNLOAD);
    if (status != 0) return status;
    const mts_msg *message = lcfwd_event_message(event);
    const uint8_t *payload = lcfwd_mts_payload(message, CONTROL_SIZE);
    if (payload == nullptr) {
        UFIB_ERR("ERROR: %s - null payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(message);
    if (vdc == nullptr) {
        UFIB_ERR("ERROR: %s - failed to set vdc ctxt", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    if ((vdc->flags & LCFWD_VDC_ACTIVE) == 0) return LCFWD_OK;
    if (vdc->ufib_state == LCFWD_STATE_UPGRADING)
        UFIB_BL(1, UFIB_TR_UPGRADE_DROP);
    else
        lcfwd_ufdm_download(vdc, payload);
    return LCFWD_OK;
}

/* The epoch is kept also for a VDC that is not active; its creation begins with none. */
int ufib_fu_ufdm_up(fu_event *event, fu_event_node **out) {
    int status;
    lcfwd_mts_handler_init(event, out, &status, OPC_UFDM_UP);
    if (status != 0) return status;
    const mts_msg *message = lcfwd_event_message(event);
    const uint8_t *payload = lcfwd_mts_payload(message, CONTROL_SIZE);
    if (payload == nullptr) {
        UFIB_ERR("%s - NULL payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(message);
    if (vdc == nullptr) {
        UFIB_ERR("%s - failed to set vdc ctxt", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    vdc->ufdm_epoch = payload[CONTROL_WORD];
    if ((vdc->flags & LCFWD_VDC_ACTIVE) == 0) return LCFWD_BAD_MESSAGE;
    lcfwd_ufdm_up(vdc);
    return LCFWD_OK;
}
