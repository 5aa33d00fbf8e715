/* The opcode table: open addressing over borrowed rows, filled once, read for each message. */
#include "host/engine/engine_private.h"

#include <cstdlib>

static uint32_t slot_of(const fu_hash *table, uint32_t opcode) {
    /* Opcodes of one service are neighbours; the multiplication spreads them. */
    return (opcode * 2654435761u >> 16) & table->mask;
}

int fu_hash_build(fu_hash *table, mts_row *rows, uint32_t count) {
    uint32_t size = 64;
    while (size < 4 * count) size *= 2;
    table->slots = static_cast<mts_row **>(calloc(size, sizeof(mts_row *)));
    if (table->slots == nullptr) return FU_ENOMEM;
    table->mask = size - 1;
    for (uint32_t i = 0; i < count; i++) {
        mts_row *known = nullptr;
        if (fu_hashtable_find(table, rows[i].opcode, &known) == 0) {
            if (known->active != rows[i].active || known->standby != rows[i].standby) return FU_ESTART;
            continue;
        }
        uint32_t slot = slot_of(table, rows[i].opcode);
        while (table->slots[slot] != nullptr) slot = (slot + 1) & table->mask;
        table->slots[slot] = &rows[i];
    }
    return 0;
}

void fu_hash_free(fu_hash *table) {
    free(table->slots);
    *table = {};
}

int fu_hashtable_find(const fu_hash *table, uint32_t opcode, mts_row **row) {
    if (table == nullptr || table->slots == nullptr) return FU_ENOTABLE;
    for (uint32_t slot = slot_of(table, opcode);; slot = (slot + 1) & table->mask) {
        mts_row *found = table->slots[slot];
        if (found == nullptr) return FU_ENOTFOUND;
        if (found->opcode != opcode) continue;
        *row = found;
        return 0;
    }
}
