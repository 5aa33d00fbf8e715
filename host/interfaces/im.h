/* host/interfaces/im.h: the interface manager's side of line-card notices.
 * Payload of a notice, big-endian: u16 slot, u16 VDC id, u32 module type, u32 software card id. */
#pragma once

#include <cstddef>
#include <cstdint>

struct vmm_pld {
    uint16_t slot;
    uint16_t vdc_id;
    uint32_t module_type;
    uint32_t sw_card_id;
};
inline constexpr size_t VMM_PLD_BYTES = 12;

/* Registers a service for notices on a queue. 0, or the status set with im_fail_next_init(). */
[[nodiscard]] int im_ext_sbcr_init(uint32_t uuid, uint32_t queue, const char *name);
void im_fail_next_init(int status);

/* Parses a notice; bytes behind the twelve are left alone. On 0 '*out' is the caller's, to be given back with
 * im_free_vmm_pld(). EBADMSG (null or short payload) or ENOMEM: '*out' is null. */
[[nodiscard]] int im_parse_vmm_pld(const void *payload, size_t size, vmm_pld **out);
void im_free_vmm_pld(vmm_pld *payload); /* null is allowed */

/* The answer to a notice: a TLV array (host/tlv) with element 1, the twelve bytes of the notice, and element
 * 2, a u32 status that is 0. On 0 '*out' is the caller's, to be given back with mtrack_free(). Else ENOMEM.
 */
[[nodiscard]] int im_vmm_resp_pld_to_tlv(const vmm_pld *payload, void **out, size_t *size);
