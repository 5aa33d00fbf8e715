/* softfwd/softfwd_commit.h: agreeing with the store about a batch that died half-way. For softfwd/ only.
 *
 * Entries change at once, the store a little later, all of a batch together. When the process is killed between the
 * two, the store is right: nobody was answered. So whatever leaves the tables is kept, under its handle, until the
 * store has committed; a record that still names it brings it back. What was installed after the last commit is
 * doubtful: nobody's when the recovery ends, it goes again. An entry says of itself that it is doubtful from before it
 * stands until the write log has it; a take-over marks those that the log has and what it brings back, so that the
 * marks outlive a recovery that dies as well. Without a store behind it (no commit was ever told) the engine keeps
 * nothing back. */
#pragma once

#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_log.h"

/* The store has committed everything that was told so far: what left before may be used again. */
void softfwd_committed();

/* False while the store may still bring back what left in 'epoch'. */
[[nodiscard]] bool softfwd_commit_covers(uint64_t epoch);

/* At a take-over: the tables are kept beside a store. */
[[nodiscard]] bool softfwd_commit_told();

/* From a take-over beside a store to the end of the recovery: what comes is what the store knows. */
[[nodiscard]] bool softfwd_recovering();

/* Marks what an operation installed, or takes the mark away. An entry that does not stand is left alone. */
void softfwd_doubt(uint32_t op, uint32_t handle, bool doubtful);

/* At a take-over: next objects that left after the last commit stand again; they and what was installed since are
 * marked. */
void softfwd_revive_next_objects();

/* The entry of a prefix that left and may come back: its table still stands. Null: none, or the recovery is over. */
[[nodiscard]] softfwd_prefix *softfwd_revivable_prefix(uint32_t handle);
/* Lets it forward again, by 'word'. False without memory. */
[[nodiscard]] bool softfwd_prefix_revive(uint32_t handle, uint64_t word);

/* All domains have recovered: what is doubtful and nobody's goes. */
void softfwd_recovery_finish();

void softfwd_commit_reset();
