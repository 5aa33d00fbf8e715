/* Handlers of messages about VDCs, line cards and the state of the process. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_trace.h"
#include "host/interfaces/im.h"
#include "host/system/mtrack.h"
#include "host/system/system.h"

#include <cerrno>
#include <cstring>

static constexpr uint32_t opc_vdc_create = 485;
static constexpr uint32_t opc_vdc_delete = 488;
static constexpr uint32_t opc_lc_inserted = 62488;
static constexpr uint32_t opc_lc_removed = 31747;
static constexpr uint32_t opc_status_request = 575;
static constexpr uint32_t opc_feature_set = 8931;
static constexpr uint32_t opc_mfdm_download = 75787;
static constexpr uint32_t opc_mfdm_up = 75783;

/* Cards on which a VDC exists only while the card has ports in it. */
static bool vdc_follows_ports(uint32_t sw_card_id) {
    return sw_card_id == 124 || sw_card_id == 128 || sw_card_id == 135;
}

/* The id of a VDC message: 16 bits in the machine's order. 0, or the status to return. */
static int vdc_message_take(fu_event *event, fu_event_node **out, uint32_t opcode, const char *function,
                            uint16_t *vdc_id) {
    int status = LCFWD_OK;
    lcfwd_mts_handler_init(event, out, &status, opcode);
    if (status != LCFWD_OK) return status;
    const uint8_t *payload = lcfwd_mts_payload(lcfwd_event_message(event), sizeof *vdc_id);
    if (payload == nullptr) {
        LCFWD_ERR("%s - null payload", function);
        return LCFWD_BAD_MESSAGE;
    }
    std::memcpy(vdc_id, payload, sizeof *vdc_id);
    return LCFWD_OK;
}

int lcfwd_fu_vdc_create(fu_event *event, fu_event_node **out) {
    uint16_t vdc_id = 0;
    const int status = vdc_message_take(event, out, opc_vdc_create, __func__, &vdc_id);
    if (status != LCFWD_OK) return status;
    LCFWD_TRACE("Received notification to create vdc : %d \n", vdc_id);
    lcfwd_vdc_create(vdc_id, false);
    return LCFWD_OK;
}

int lcfwd_fu_vdc_delete(fu_event *event, fu_event_node **out) {
    uint16_t vdc_id = 0;
    const int status = vdc_message_take(event, out, opc_vdc_delete, __func__, &vdc_id);
    if (status != LCFWD_OK) return status;
    LCFWD_TRACE("Received notification to delete vdc : %d \n", vdc_id);
    lcfwd_vdc_delete(vdc_id);
    return LCFWD_OK;
}

static int line_card_take(fu_event *event, fu_event_node **out, uint32_t opcode, const char *function,
                          vmm_pld **notice) {
    int status = LCFWD_OK;
    lcfwd_mts_handler_init(event, out, &status, opcode);
    if (status != LCFWD_OK) return status;
    const mts_msg *message = lcfwd_event_message(event);
    if (im_parse_vmm_pld(mts_payload_get(message), mts_payload_size(message), notice) == 0) return LCFWD_OK;
    LCFWD_ERR("%s - payload parsing failed", function);
    return LCFWD_BAD_MESSAGE;
}

/* Both answers have one form, and one line in the log. */
static void line_card_answer(const mts_msg *request, const vmm_pld *notice) {
    LCFWD_TRACE("reply to LC insert");
    void *answer = nullptr;
    size_t size = 0;
    if (im_vmm_resp_pld_to_tlv(notice, &answer, &size) != 0) {
        LCFWD_ERR("%s: no memory for the answer", __func__);
        return;
    }
    if (fu_mts_send_response(fib_q_mts_ucast, answer, size, request, 0) != 0) {
        LCFWD_ERR("%s: mts_send_response failed, errno: %d\n", __func__, errno);
    }
    mtrack_free(answer);
}

static void lcfwd_respond_to_lc_insert(const mts_msg *request, const vmm_pld *notice) {
    line_card_answer(request, notice);
}

static void lcfwd_respond_to_lc_remove(const mts_msg *request, const vmm_pld *notice) {
    line_card_answer(request, notice);
}

int lcfwd_fu_lc_inserted(fu_event *event, fu_event_node **out) {
    vmm_pld *notice = nullptr;
    const int status = line_card_take(event, out, opc_lc_inserted, __func__, &notice);
    if (status != LCFWD_OK) return status;
    LCFWD_TRACE("Received IM_IF_VDC_BIND for slot %d: vdc_id %d: module_type %u: sw_card_id %u\n",
                notice->slot, notice->vdc_id, notice->module_type, notice->sw_card_id);
    if (vdc_follows_ports(notice->sw_card_id)) lcfwd_vdc_create(notice->vdc_id, false);
    lcfwd_respond_to_lc_insert(lcfwd_event_message(event), notice);
    im_free_vmm_pld(notice);
    return LCFWD_OK;
}

int lcfwd_fu_lc_removed(fu_event *event, fu_event_node **out) {
    vmm_pld *notice = nullptr;
    const int status = line_card_take(event, out, opc_lc_removed, __func__, &notice);
    if (status != LCFWD_OK) return status;
    LCFWD_TRACE("Received VMM_LAST_PORT_REMOVED for slot %d: vdc_id %d: module_type %u: sw_card_id %u\n",
                notice->slot, notice->vdc_id, notice->module_type, notice->sw_card_id);
    if (vdc_follows_ports(notice->sw_card_id)) lcfwd_vdc_delete(notice->vdc_id);
    lcfwd_respond_to_lc_remove(lcfwd_event_message(event), notice);
    im_free_vmm_pld(notice);
    return LCFWD_OK;
}

/* The checks of messages that belong to a VDC; 'min_size' bytes of payload must be there. */
static int vdc_payload_take(fu_event *event, fu_event_node **out, uint32_t opcode, size_t min_size,
                            const char *function, lcfwd_vdc_desc **vdc, const uint8_t **payload) {
    int status = LCFWD_OK;
    lcfwd_mts_handler_init(event, out, &status, opcode);
    if (status != LCFWD_OK) return status;
    const mts_msg *message = lcfwd_event_message(event);
    *payload = lcfwd_mts_payload(message, min_size);
    if (*payload == nullptr && min_size != 0) {
        LCFWD_ERR("ERROR: %s - null payload", function);
        return LCFWD_BAD_MESSAGE;
    }
    *vdc = lcfwd_mts_vdc(message);
    if (*vdc != nullptr) return LCFWD_OK;
    LCFWD_ERR("ERROR: %s - failed to set vdc ctxt", function);
    return LCFWD_BAD_MESSAGE;
}

/* The supervisor asks for the report again; allowed in every state, for an upgrade ends in one that
 * refuses much. */
int fib_fu_ufdm_status_request(fu_event *event, fu_event_node **out) {
    lcfwd_vdc_desc *vdc = nullptr;
    const uint8_t *payload = nullptr;
    const int status = vdc_payload_take(event, out, opc_status_request, 0, __func__, &vdc, &payload);
    if (status != LCFWD_OK) return status;
    lcfwd_send_report(vdc);
    return LCFWD_OK;
}

int mfib_fu_mfdm_download(fu_event *event, fu_event_node **out) {
    lcfwd_vdc_desc *vdc = nullptr;
    const uint8_t *payload = nullptr;
    const int status = vdc_payload_take(event, out, opc_mfdm_download, 1, __func__, &vdc, &payload);
    if (status != LCFWD_OK) return status;
    if ((vdc->flags & LCFWD_VDC_ACTIVE) == 0) return LCFWD_OK;
    lcfwd_mfdm_download(vdc, payload);
    return LCFWD_OK;
}

int mfib_fu_mfdm_up(fu_event *event, fu_event_node **out) {
    lcfwd_vdc_desc *vdc = nullptr;
    const uint8_t *payload = nullptr;
    const int status = vdc_payload_take(event, out, opc_mfdm_up, 0, __func__, &vdc, &payload);
    if (status != LCFWD_OK) return status;
    lcfwd_mfdm_up(vdc);
    return LCFWD_OK;
}

int lcfwd_handle_feature_set_notif(fu_event *event, fu_event_node **out) {
    int status = LCFWD_OK;
    lcfwd_mts_handler_init(event, out, &status, opc_feature_set);
    if (status != LCFWD_OK) return status;
    const mts_msg *message = lcfwd_event_message(event);
    if (mts_payload_get(message) == nullptr) {
        LCFWD_ERR("ERROR: %s - null payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    uint32_t feature_set = 0;
    uint32_t feature_status = 0;
    if (fm_get_feature_set_status_from_notif(mts_payload_get(message), mts_payload_size(message),
                                             &feature_set, &feature_status) != 0) {
        LCFWD_ERR("%s: bad feature set notification", __func__);
        return LCFWD_OK;
    }
    LCFWD_TRACE("%s: feature set %u status %u", __func__, feature_set, feature_status);
    return LCFWD_OK;
}
