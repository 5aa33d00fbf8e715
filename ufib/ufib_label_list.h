/* ufib/ufib_label_list.h: the labels that are bound to a prefix. The label side embeds a node in its label record and
 * owns it; the prefix links them, newest first, and tells the label side when its next object has changed. One
 * thread. */
#pragma once

#include <cstdint>

struct ufib_pfx;
struct ufib_vdc;

struct ufib_label_node {
    ufib_label_node *prev, *next;
    ufib_pfx *owner; /* whose list it is on; or null */
    uint32_t value;  /* the label */
};

/* Links a node that is on no list. A node that is on one is a fatal fault. */
void ufib_prefix_label_list_add(ufib_pfx *pfx, ufib_label_node *label);
[[nodiscard]] ufib_label_node *ufib_prefix_label_list_find(const ufib_pfx *pfx, uint32_t label_value);

/* Unlinks a label; an absent one is logged. With 'drop_prefix' the label side may drop the prefix when that was the
 * last one: the prefix may be gone afterwards. */
void ufib_prefix_label_list_delete(ufib_vdc *vdc, ufib_pfx *pfx, uint32_t label_value, bool drop_prefix);

/* Copies at most 'room' label values, newest first; '*count' is how many labels there are. */
void ufib_prefix_get_labels(const ufib_pfx *pfx, uint32_t *out, uint32_t room, uint32_t *count);

/* Tells the label side, for each label, what the prefix forwards to now. */
void ufib_prefix_update_labels(ufib_vdc *vdc, ufib_pfx *pfx);
