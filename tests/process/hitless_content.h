/* tests/process/hitless_content.h: what a forwarding engine and a store hold, read from outside, to be compared. */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/* One row a table and a prefix, in order: where packets go, with interface, next hop, MAC, and all members of groups.
 * 'handles': also under which handles, as an engine has it that nobody wrote to. Empty: it cannot be read. */
[[nodiscard]] std::vector<std::string> hitless_engine(const std::string &root, bool handles);

struct hitless_database {
    uint64_t records = 0, digest = 0; /* the digest does not depend on the order in the file */
    bool operator==(const hitless_database &other) const = default;
};
/* By file name. */
[[nodiscard]] std::map<std::string, hitless_database> hitless_store(const std::string &root);

/* Bytes of all database files. */
[[nodiscard]] uint64_t hitless_store_bytes(const std::string &root);

/* The first difference as text; empty: there is none. */
[[nodiscard]] std::string hitless_difference(const std::vector<std::string> &a,
                                             const std::vector<std::string> &b);
