/* Accessors: labels of prefixes. */
#include "platform/ufib_pi_label.h"

#include "host/interfaces/interfaces.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_label_list.h"
#include "ufib/ufib_prefix.h"

#include <cstring>

extern "C" {

void *ufib_pi_v4prefix_get_label_first(const void *pfx) {
    return pfx == nullptr ? nullptr : static_cast<const ufib_pfx *>(pfx)->labels;
}
void *ufib_pi_v4prefix_get_label_next(const void *label) {
    return label == nullptr ? nullptr : static_cast<const ufib_label_node *>(label)->next;
}
uint32_t ufib_pi_label_get_value(const void *label) {
    return label == nullptr ? 0 : static_cast<const ufib_label_node *>(label)->value;
}
uint32_t ufib_pi_v4prefix_rnh_get_handle(const void *object) {
    const auto *pfx = static_cast<const ufib_pfx *>(object);
    return pfx == nullptr || !ufib_prefix_is_rnh(pfx) ? 0 : ufib_obj_get_hardware_handle(pfx->obj.next);
}
bool ufib_pi_v4adj_is_subinterface(const void *adj) {
    if (adj == nullptr) return false;
    char name[IF_NAME_MAX];
    if_index_to_name(static_cast<const ufib_adj *>(adj)->key.if_index, name, sizeof name);
    return std::strchr(name, '.') != nullptr;
}
}
