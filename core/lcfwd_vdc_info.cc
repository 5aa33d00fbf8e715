#include "core/lcfwd_vdc_info.h"

#include <cstring>

void lcfwd_vdc_info_make(const lcfwd_vdc_desc *vdc, lcfwd_vdc_info *out) {
    *out = {};
    out->vdc_id = vdc->vdc_id;
    out->flags = vdc->flags;
    out->ufib_state = vdc->ufib_state;
    out->mfib_state = vdc->mfib_state;
    std::memcpy(out->mac, vdc->mac, sizeof out->mac);
    out->router_mac = vdc->router_mac;
}
