#include "tests/process/hitless_content.h"

#include "host/store/store_inspect.h"
#include "host/system/root.h"
#include "softfwd/softfwd_reader.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <unordered_map>

static constexpr uint32_t SLOT = 1;

static std::string hex(const uint8_t *bytes, size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < count; i++) out += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    return out;
}

/* Next objects are few beside prefixes: each is put into words once. */
struct words {
    softfwd_reader *reader;
    std::unordered_map<uint32_t, std::string> known;
};

static std::string adj_words(softfwd_reader *reader, uint32_t handle) {
    softfwd_adj_info adj = {};
    if (softfwd_reader_adj_get(reader, handle, &adj) != 0) return "nothing";
    char text[64];
    snprintf(text, sizeof text, "%s 0x%x flags %#x ", softfwd_action_name(adj.action), adj.if_index,
             adj.flags);
    return text + hex(adj.next_hop, sizeof adj.next_hop) + " " + hex(adj.dmac, sizeof adj.dmac);
}

static const std::string &next_words(words *all, uint32_t handle) {
    auto [at, fresh] = all->known.try_emplace(handle);
    if (!fresh) return at->second;
    softfwd_group_info group = {};
    if (softfwd_reader_group_get(all->reader, handle, &group) != 0) {
        at->second = adj_words(all->reader, handle);
        return at->second;
    }
    at->second = "group";
    for (uint32_t i = 0; i < group.count; i++)
        at->second += " [" + adj_words(all->reader, group.members[i].adj_handle) + "]";
    return at->second;
}

static std::string prefix_words(words *all, const softfwd_prefix_info &prefix, bool handles) {
    char text[96];
    snprintf(text, sizeof text, "/%u flags %#x tag %u ", prefix.mask_len, prefix.flags, prefix.tag);
    std::string out = hex(prefix.address, prefix.family == ADDRESS_FAMILY_V4 ? 4 : 16) + text;
    out += next_words(all, prefix.next_handle);
    if (!handles) return out;
    snprintf(text, sizeof text, " handles %u %u", prefix.handle, prefix.next_handle);
    return out + text;
}

std::vector<std::string> hitless_engine(const std::string &root, bool handles) {
    std::vector<std::string> rows;
    words all = {nullptr, {}};
    host_root_set(root.c_str());
    if (softfwd_reader_attach(SLOT, false, &all.reader) != 0) return rows;
    std::vector<softfwd_table_info> tables;
    for (softfwd_table_info at = {}; softfwd_reader_table_next(all.reader, &at) == 0;) tables.push_back(at);
    std::sort(tables.begin(), tables.end(),
              [](const auto &a, const auto &b) { return a.table_id < b.table_id; });
    for (const softfwd_table_info &table : tables) {
        rows.push_back("table " + std::to_string(table.table_id) + " of " + std::to_string(table.vdc_id));
        softfwd_prefix_info prefix = {};
        while (softfwd_reader_prefix_next(all.reader, table.handle, &prefix) == 0)
            rows.push_back(prefix_words(&all, prefix, handles));
    }
    softfwd_reader_detach(all.reader);
    return rows;
}

static uint64_t digest_of(uint64_t seed, const void *bytes, uint32_t count) {
    const auto *at = static_cast<const uint8_t *>(bytes);
    for (uint32_t i = 0; i < count; i++) seed = (seed ^ at[i]) * 0x100000001b3u;
    return seed;
}

static bool record_add(void *context, const void *key, uint32_t key_len, const void *value,
                       uint32_t value_len) {
    auto *database = static_cast<hitless_database *>(context);
    database->records++;
    database->digest += digest_of(digest_of(0xcbf29ce484222325u, key, key_len), value, value_len);
    return true;
}

std::map<std::string, hitless_database> hitless_store(const std::string &root) {
    std::map<std::string, hitless_database> out;
    for (const auto &file : std::filesystem::directory_iterator(root + "/dev/shm")) {
        const std::string name = file.path().filename();
        if (name.rfind("lcfwd_", 0) != 0 || name == "lcfwd_redo") continue;
        if (store_inspect_file(file.path().c_str(), record_add, &out[name], nullptr) != 0)
            out[name].records = ~0ul;
    }
    return out;
}

uint64_t hitless_store_bytes(const std::string &root) {
    uint64_t bytes = 0;
    for (const auto &file : std::filesystem::directory_iterator(root + "/dev/shm"))
        if (file.path().filename().string().rfind("lcfwd_", 0) == 0) bytes += file.file_size();
    return bytes;
}

std::string hitless_difference(const std::vector<std::string> &a, const std::vector<std::string> &b) {
    if (a.empty() || b.empty()) return "nothing to read";
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (x == a.end() && y == b.end()) return "";
    return "row " + std::to_string(x - a.begin()) + ": " + (x == a.end() ? "end" : *x) + " against " +
           (y == b.end() ? "end" : *y);
}
