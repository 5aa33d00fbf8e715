/* tests/support/model_check.h: walks all objects of the unicast model and compares them with each other, with what
 * the forwarding engine holds and with the stored records. To be called at rest: after a batch, never inside one.
 *
 * Model: tree and trie membership, owners, counters of tables, lengths, interfaces and VDCs; references equal links
 * plus holders; no object in a slab that nobody reaches; nothing that can die is left alive.
 * Engine (the software engine or the fake platform, whichever serves): entries and objects are the same set, under
 * the same handles, with the same content. Store: one record for each object that has one, byte by byte, and no
 * other. */
#pragma once

#include <string>
#include <vector>

class lcfwd_rig;

struct model_check_options {
    bool engine = true;
    bool records = true;
    bool values = true; /* false: records by key alone. A refused update leaves marks that the record lacks */
    bool sound = true;  /* false: handles and holders came out of damaged records */
    bool orphans = false; /* a failed install leaves objects that nobody wants until the next use */
};

/* What is wrong, one line a finding, at most some twenty; empty: nothing. */
[[nodiscard]] std::vector<std::string> model_check(const lcfwd_rig &rig,
                                                   const model_check_options &options = {});

/* The same as one text, for EXPECT_EQ(model_findings(rig), ""). */
[[nodiscard]] std::string model_findings(const lcfwd_rig &rig, const model_check_options &options = {});
