#include "ufib/ufib_channel_entry.h"

#include "core/lcfwd_log.h"
#include "core/ufib_trace.h"

bool ufib_control_begin_any_state(fu_event *event, fu_event_node **out, uint32_t opcode, const char *handler,
                                  size_t min_size, ufib_control *control, int *status) {
    lcfwd_mts_handler_init(event, out, status, opcode);
    if (*status != LCFWD_OK) return false;
    const mts_msg *message = lcfwd_event_message(event);
    const uint8_t *payload = lcfwd_mts_payload(message, min_size);
    if (payload == nullptr) {
        UFIB_ERR("ERROR: %s - null payload", handler);
        *status = LCFWD_BAD_MESSAGE;
        return false;
    }
    lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(message);
    if (vdc == nullptr) {
        UFIB_ERR("ERROR: %s - failed to set vdc ctxt", handler);
        *status = LCFWD_BAD_MESSAGE;
        return false;
    }
    *control = {message, vdc, {payload, mts_payload_size(message)}};
    if ((vdc->flags & LCFWD_VDC_ACTIVE) != 0 && vdc->ufib != nullptr) return true;
    UFIB_BL(1, UFIB_TR_UPGRADE_DROP);
    return false;
}

bool ufib_control_begin(fu_event *event, fu_event_node **out, uint32_t opcode, const char *handler,
                        size_t min_size, ufib_control *control, int *status) {
    if (!ufib_control_begin_any_state(event, out, opcode, handler, min_size, control, status)) return false;
    if (control->vdc->ufib_state != LCFWD_STATE_UPGRADING) return true;
    UFIB_BL(1, UFIB_TR_UPGRADE_DROP);
    return false;
}
