#include "host/interfaces/im.h"

#include "host/interfaces/interface_table.h"
#include "host/system/mtrack.h"
#include "host/tlv/tlv.h"

#include <cerrno>
#include <cstring>

static constexpr uint32_t IM_MTRACK_TYPE =
    MTRACK_TYPES_MAX - 1; /* apart from the types that the process names */
static constexpr uint16_t RESPONSE_NOTICE = 1;
static constexpr uint16_t RESPONSE_STATUS = 2;

static int next_init_status;

void im_reset() { next_init_status = 0; }
void im_fail_next_init(int status) { next_init_status = status; }

int im_ext_sbcr_init(uint32_t, uint32_t, const char *) {
    const int status = next_init_status;
    next_init_status = 0;
    return status;
}

static uint32_t read_number(const uint8_t *bytes, size_t length) {
    uint32_t number = 0;
    for (size_t i = 0; i < length; i++) number = number << 8 | bytes[i];
    return number;
}

static void write_number(uint8_t *bytes, uint32_t number, size_t length) {
    for (size_t i = length; i-- > 0; number >>= 8) bytes[i] = static_cast<uint8_t>(number);
}

int im_parse_vmm_pld(const void *payload, size_t size, vmm_pld **out) {
    *out = nullptr;
    if (payload == nullptr || size < VMM_PLD_BYTES) return EBADMSG;
    auto *parsed = static_cast<vmm_pld *>(mtrack_calloc(IM_MTRACK_TYPE, sizeof(vmm_pld)));
    if (parsed == nullptr) return ENOMEM;
    const auto *bytes = static_cast<const uint8_t *>(payload);
    parsed->slot = static_cast<uint16_t>(read_number(bytes, 2));
    parsed->vdc_id = static_cast<uint16_t>(read_number(bytes + 2, 2));
    parsed->module_type = read_number(bytes + 4, 4);
    parsed->sw_card_id = read_number(bytes + 8, 4);
    *out = parsed;
    return 0;
}

void im_free_vmm_pld(vmm_pld *payload) { mtrack_free(payload); }

int im_vmm_resp_pld_to_tlv(const vmm_pld *payload, void **out, size_t *size) {
    *out = nullptr;
    uint8_t notice[VMM_PLD_BYTES];
    write_number(notice, payload->slot, 2);
    write_number(notice + 2, payload->vdc_id, 2);
    write_number(notice + 4, payload->module_type, 4);
    write_number(notice + 8, payload->sw_card_id, 4);
    const uint8_t status[4] = {};
    const uint32_t bytes = TLV_ARRAY_HEAD + tlv_size_get(sizeof notice) + tlv_size_get(sizeof status);
    void *block = mtrack_calloc(IM_MTRACK_TYPE, bytes);
    if (block == nullptr) return ENOMEM;
    tlv_aligned_array array;
    if (tlv_array_init(&array, block, bytes) != TLV_OK ||
        tlv_array_add_tlv(&array, RESPONSE_NOTICE, sizeof notice, notice) != TLV_OK ||
        tlv_array_add_tlv(&array, RESPONSE_STATUS, sizeof status, status) != TLV_OK) {
        mtrack_free(block);
        return ENOMEM;
    }
    *out = block;
    *size = bytes;
    return 0;
}
