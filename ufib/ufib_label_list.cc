#include "ufib/ufib_label_list.h"

#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "host/containers/dbly_linkage.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"

void ufib_prefix_label_list_add(ufib_pfx *pfx, ufib_label_node *label) {
    if (label->owner != nullptr) dbly_linkage_fault("add of a label that is on a list", pfx, label);
    *label = {nullptr, pfx->labels, pfx, label->value};
    if (pfx->labels != nullptr) pfx->labels->prev = label;
    pfx->labels = label;
}

ufib_label_node *ufib_prefix_label_list_find(const ufib_pfx *pfx, uint32_t label_value) {
    ufib_label_node *label = pfx->labels;
    while (label != nullptr && label->value != label_value) label = label->next;
    return label;
}

static void label_unlink(ufib_pfx *pfx, ufib_label_node *label) {
    const bool listed = label->owner == pfx &&
                        (label->prev == nullptr ? pfx->labels == label : label->prev->next == label) &&
                        (label->next == nullptr || label->next->prev == label);
    if (!listed) dbly_linkage_fault("removal of a label", pfx, label);
    (label->prev == nullptr ? pfx->labels : label->prev->next) = label->next;
    if (label->next != nullptr) label->next->prev = label->prev;
    *label = {nullptr, nullptr, nullptr, label->value};
}

void ufib_prefix_label_list_delete(ufib_vdc *vdc, ufib_pfx *pfx, uint32_t label_value, bool drop_prefix) {
    ufib_label_node *label = ufib_prefix_label_list_find(pfx, label_value);
    if (label == nullptr) {
        UFIB_ERR("Label not found in prefix label list");
        return;
    }
    label_unlink(pfx, label);
    if (pfx->labels == nullptr && drop_prefix && ufib_hook.label_prefix_delete != nullptr)
        ufib_hook.label_prefix_delete(vdc, pfx);
}

void ufib_prefix_get_labels(const ufib_pfx *pfx, uint32_t *out, uint32_t room, uint32_t *count) {
    *count = 0;
    for (const ufib_label_node *label = pfx->labels; label != nullptr; label = label->next) {
        if (*count < room) out[*count] = label->value;
        (*count)++;
    }
}

/* The label side may take the label that it is told of off the list. */
void ufib_prefix_update_labels(ufib_vdc *vdc, ufib_pfx *pfx) {
    if (ufib_hook.fec_prefix_update == nullptr || pfx->labels == nullptr) return;
    const ufib_funcstats_block measure(UFIB_FS_LABEL_UPDATE);
    for (ufib_label_node *label = pfx->labels; label != nullptr;) {
        ufib_label_node *next = label->next;
        ufib_hook.fec_prefix_update(vdc, pfx->obj.next, label);
        label = next;
    }
}
