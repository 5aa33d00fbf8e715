#include "ufib/ufib_dpl.h"

#include "host/containers/heap.h"

#include <cstdlib>

struct dpl_entry {
    sll_node link;
    uint32_t vdc_id;
    uint32_t key;
};

int ufib_dpl_queue(ufib_dpl *dpl, uint32_t vdc_id, uint32_t key) {
    auto *entry = static_cast<dpl_entry *>(heap_calloc(1, sizeof(dpl_entry)));
    if (entry == nullptr) return 0;
    entry->vdc_id = vdc_id;
    entry->key = key;
    sll_link_tail(&dpl->list, &entry->link);
    return 1;
}

bool ufib_dpl_dequeue(ufib_dpl *dpl, uint32_t *vdc_id, uint32_t *key) {
    auto *entry = reinterpret_cast<dpl_entry *>(sll_first(&dpl->list));
    if (entry == nullptr) return false;
    (void)sll_unlink(&dpl->list, &entry->link);
    *vdc_id = entry->vdc_id;
    *key = entry->key;
    std::free(entry);
    return true;
}

void ufib_dpl_reset(ufib_dpl *dpl) {
    uint32_t vdc_id, key;
    while (ufib_dpl_dequeue(dpl, &vdc_id, &key)) {
    }
    sll_init(&dpl->list);
}
