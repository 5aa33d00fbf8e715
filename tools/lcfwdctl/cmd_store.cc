#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/table.h"

#include "host/store/store_inspect.h"
#include "host/system/root.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static const char store_folder[] = "/dev/shm";

struct store_dump {
    ctl_table output;
    const char *file;
    uint32_t slot;
    uint32_t limit;
};

static const char *state_name(store_file_state state) {
    return state == STORE_FILE_GOOD           ? "good"
           : state == STORE_FILE_OTHER_LAYOUT ? "other layout"
                                              : "unreadable";
}

static void add_file(void *context, const store_file_info *info) {
    auto *dump = static_cast<store_dump *>(context);
    dump->output.rows.push_back({dump->slot, info->name, state_name(info->state), info->records,
                                 info->refused, info->record_bytes, info->file_bytes, info->over_limit != 0});
}

static bool add_record(void *context, const void *key, uint32_t key_size, const void *value,
                       uint32_t value_size) {
    auto *dump = static_cast<store_dump *>(context);
    dump->output.rows.push_back({dump->slot, dump->file, ctl_hex(static_cast<const uint8_t *>(key), key_size),
                                 ctl_hex(static_cast<const uint8_t *>(value), value_size)});
    return dump->limit == 0 || dump->output.rows.size() < dump->limit;
}

static int folder_of(uint32_t slot, char *out, size_t size) {
    ctl_use_root(slot);
    if (host_path(store_folder, out, size) == 0) return CTL_GOOD;
    ctl_error("slot %u: the root directory's name is too long", slot);
    return CTL_USAGE;
}

static int list(uint32_t slot, store_dump *dump) {
    char folder[4096];
    if (const int status = folder_of(slot, folder, sizeof folder); status != CTL_GOOD) return status;
    bool pending = false;
    const int error = store_inspect_list(folder, add_file, dump, &pending);
    if (error != 0) {
        ctl_error("slot %u: cannot read the store in %s: %s", slot, folder, strerror(error));
        return CTL_UNREACHABLE;
    }
    if (pending)
        ctl_error("slot %u: a batch is being written; with no process running the next start finishes it",
                  slot);
    return CTL_GOOD;
}

static int dump_file(uint32_t slot, store_dump *dump) {
    char folder[4096];
    if (const int status = folder_of(slot, folder, sizeof folder); status != CTL_GOOD) return status;
    /* A name of the list, nothing that leads elsewhere. */
    if (strchr(dump->file, '/') != nullptr) {
        ctl_error("\"%s\" is no database; names: lcfwdctl store list", dump->file);
        return CTL_USAGE;
    }
    const std::string path = std::string(folder) + "/" + dump->file;
    store_file_info info{};
    const int error = store_inspect_file(path.c_str(), add_record, dump, &info);
    if (error == 0 && info.refused != 0)
        ctl_error("slot %u: %u records of %s cannot be believed and are left out", slot, info.refused,
                  dump->file);
    if (error == 0) return CTL_GOOD;
    ctl_error("slot %u: %s: %s; names: lcfwdctl store list", slot, path.c_str(),
              error == EBADMSG ? "not a readable database" : strerror(error));
    return error == EBADMSG ? CTL_REFUSED : CTL_UNREACHABLE;
}

static int run(int argc, char **argv) {
    store_dump dump{{}, nullptr, 0, 0};
    const ctl_option rows[] = {ctl_number("--limit", &dump.limit, 1, UINT32_MAX)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    const bool listing = words.empty() || (words.size() == 1 && strcmp(words[0], "list") == 0);
    const bool dumping = words.size() == 2 && strcmp(words[0], "dump") == 0;
    if (!listing && !dumping) {
        ctl_error("usage: lcfwdctl store list | lcfwdctl store dump NAME");
        return CTL_USAGE;
    }
    dump.output.columns = {"slot",    "database",     "state",      "records",
                           "refused", "record_bytes", "file_bytes", "over_limit"};
    if (dumping) dump.output.columns = {"slot", "database", "key", "value"};
    if (dumping) dump.file = words[1];
    int worst = CTL_GOOD;
    for (uint32_t slot : ctl.slots) {
        dump.slot = slot;
        worst = ctl_worse(worst, dumping ? dump_file(slot, &dump) : list(slot, &dump));
    }
    if (worst == CTL_GOOD || !dump.output.rows.empty()) ctl_table_print(dump.output);
    return worst;
}

const ctl_command ctl_command_store = {"store", "list | dump NAME", "list or dump the persistent records",
                                       "Reads the databases that outlive the process, also while it writes "
                                       "them: a list with record counts and sizes, or\n"
                                       "every record of one database as hex, in the order of the file.\n\n"
                                       "  --limit N        dump the first N records\n\n"
                                       "Examples:\n"
                                       "  lcfwdctl store list\n"
                                       "  lcfwdctl store dump lcfwd_vdc\n"
                                       "  lcfwdctl store dump lcfwd_prefix_1 --limit 10 --json\n",
                                       run};
