#include "ufib/ufib_journal.h"

ufib_journal_block ufib_journal;

void ufib_journal_init(uint32_t capacity) {
    if (ufib_journal.capacity != 0) return;
    ufib_journal.capacity = capacity < UFIB_JOURNAL_ENTRIES ? capacity : UFIB_JOURNAL_ENTRIES;
    ufib_journal_clear();
}

bool ufib_journal_find_ddel_object(const ufib_obj *obj) {
    for (int32_t at = ufib_journal.newest_deferred; at >= 0; at = ufib_journal.entries[at].previous_deferred)
        if (ufib_journal.entries[at].object == obj) return true;
    return false;
}

/* A deletion may enter further deferred deletes (a group defers its members), which then stand at the new end: so
 * each one is taken off the chain before it runs, and the chain is read again. */
void ufib_journal_delete_objects() {
    while (ufib_journal.newest_deferred >= 0) {
        ufib_journal_entry &entry = ufib_journal.entries[ufib_journal.newest_deferred];
        ufib_journal.newest_deferred = entry.previous_deferred;
        ufib_obj *obj = entry.object;
        if (obj == nullptr) continue;
        ufib_journal_forget(obj); /* it may wait twice */
        ufib_obj_delete(entry.argument, obj);
    }
    ufib_journal_clear();
}

void ufib_journal_forget(const ufib_obj *obj) {
    for (uint32_t i = 0; i < ufib_journal.count; i++)
        if (ufib_journal.entries[i].object == obj) ufib_journal.entries[i].object = nullptr;
}
