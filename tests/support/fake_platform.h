/* tests/support/fake_platform.h: a platform library that writes down each call as one line, keeps a table of
 * what it was told to install, and can be told to refuse. What it keeps survives the process (a rig's stop
 * and start), as hardware would, until fake_platform_reset().
 *
 * Lines: "insert_v4_prefix table 1 10.1.0.0/16 ha 0 new = 3", "all_writes_ready" and so on; fake.log holds
 * them. */
#pragma once

#include "platform/platform_library.h"
#include "platform/ufib_platform_api.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

struct fake_entry {
    std::string kind;    /* "table", "prefix", "adj", "ecmp" */
    std::string content; /* as the log line tells it */
    ufib_ha_route route; /* of prefixes: what recovery asks for */
    ufib_platform_rewrite rewrite;
    size_t places = 0;             /* of an instance of a virtual object that was rewritten */
    std::vector<uint32_t> members; /* of a group: the handles of its adjacencies; handle + i is member i */
};

struct fake_platform {
    std::vector<std::string> log;
    std::map<uint32_t, fake_entry> entries; /* by handle */
    uint32_t last_handle;
    std::map<std::string, int> fail_at;  /* slot name: refuse the n-th next call, n counts down */
    std::map<std::string, int> fail_all; /* slot name: refuse every call */
    int one_write_result;                /* what the write brackets give */
    int all_writes_result;
    void (*on_all_writes)(); /* runs inside all_writes_ready */
    bool table_required = true;
    bool optimize_wildcard = false;
    std::map<uint32_t, bool> tables_not_required; /* by table id */
    ufib_platform_caps caps;
    uint32_t ecmp_space_len;                                /* behind each group */
    void (*show_command)(cmd_handle *, uint32_t, uint32_t); /* serves commands of the library's own */
    uint32_t restarts;                                      /* api_init calls with the restart flag */
    std::set<uint32_t> tables_made;                         /* by this process */
    std::vector<std::string> written; /* each change of an entry: "before -> after", with empty for none */
};
extern fake_platform fake;

/* What a test asked of the library and has seen of it. A restart that the test does not know of takes it away before
 * and puts it back after. */
struct fake_asked {
    std::vector<std::string> log;
    std::map<std::string, int> fail_at, fail_all;
    void (*on_all_writes)();
    uint32_t restarts;
};
[[nodiscard]] fake_asked fake_asked_take();
void fake_asked_put(const fake_asked &asked);

[[nodiscard]] const platform_library *fake_platform_library();

/* Forgets everything: entries, log, refusals. */
void fake_platform_reset();

/* Lines since the last take; those that begin with one of 'names' only, when names are given. */
std::vector<std::string> fake_take(const std::vector<std::string> &names = {});

/* How many lines begin with 'name'. */
size_t fake_count(const std::string &name);

/* Entries of a kind. */
std::vector<std::string> fake_entries(const std::string &kind);
