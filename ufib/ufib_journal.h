/* ufib/ufib_journal.h: what one route operation did, and what it wants deleted once the new state stands. One block
 * for the process, valid for one operation; 256 entries, later ones are not recorded. One thread. */
#pragma once

#include "ufib/ufib_object.h"

enum ufib_journal_op : uint32_t {
    UFIB_JOURNAL_ALLOCATED = 1,
    UFIB_JOURNAL_FREED = 2,
    UFIB_JOURNAL_INSERTED = 3,
    UFIB_JOURNAL_REMOVED = 5,
    UFIB_JOURNAL_DEFERRED_DELETE = 6,
    UFIB_JOURNAL_HW_NEW = 7,     /* installed with a new handle */
    UFIB_JOURNAL_HW_REWRITE = 8, /* rewritten under the same handle */
    UFIB_JOURNAL_HW_DELETED = 9,
};

constexpr uint32_t UFIB_JOURNAL_ENTRIES = 256;

struct ufib_journal_entry {
    uint32_t operation;
    int32_t previous_deferred; /* index of the deferred delete before this one; -1: none */
    ufib_obj *object;          /* null once the object is gone */
    void *argument;
};

struct ufib_journal_block {
    uint32_t count;
    uint32_t capacity; /* 0: not initialised, nothing is recorded */
    int32_t newest_deferred;
    ufib_journal_entry entries[UFIB_JOURNAL_ENTRIES];
};
extern ufib_journal_block ufib_journal;

/* Makes the block ready; 'capacity' at most UFIB_JOURNAL_ENTRIES. A second call changes nothing. */
void ufib_journal_init(uint32_t capacity);

inline void ufib_journal_clear() {
    ufib_journal.count = 0;
    ufib_journal.newest_deferred = -1;
}

inline void ufib_journal_log(ufib_journal_op operation, ufib_obj *obj, void *argument) {
    ufib_journal_block &journal = ufib_journal;
    if (journal.count >= journal.capacity) return;
    ufib_journal_entry &entry = journal.entries[journal.count];
    entry = {operation, -1, obj, argument};
    if (operation == UFIB_JOURNAL_DEFERRED_DELETE) {
        entry.previous_deferred = journal.newest_deferred;
        journal.newest_deferred = static_cast<int32_t>(journal.count);
    }
    journal.count++;
}

/* True when the object waits as a deferred delete. */
[[nodiscard]] bool ufib_journal_find_ddel_object(const ufib_obj *obj);

/* Deletes everything that waits, newest first, then clears the journal. */
void ufib_journal_delete_objects();

/* Removes an object that is being freed from all entries, so that nothing deletes it again. */
void ufib_journal_forget(const ufib_obj *obj);

/* Called on the failure paths of a route. Does nothing: the caller repairs, the journal only remembers. */
inline void ufib_journal_rollback() {}
