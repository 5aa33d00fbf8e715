/* A store in a folder of its own, and short forms of its calls. */
#pragma once

#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/store/store_inspect.h"
#include "host/system/root.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

/* The order of a walk: keys of four bytes behind the others, as numbers. */
struct store_key_less {
    bool operator()(const std::string &a, const std::string &b) const {
        if (a.size() != 4 || b.size() != 4) return a.size() == 4 ? false : b.size() == 4 || a < b;
        return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend(),
                                            [](char x, char y) { return uint8_t(x) < uint8_t(y); });
    }
};
using store_records = std::map<std::string, std::string, store_key_less>;

inline pss2_datum datum(const std::string &bytes) {
    return {bytes.data(), static_cast<uint32_t>(bytes.size())};
}
inline std::string text(const pss2_datum &bytes) { return {static_cast<const char *>(bytes.p), bytes.len}; }
inline std::string u32_key(uint32_t n) { return {reinterpret_cast<const char *>(&n), 4}; }

class store_rig : public ::testing::Test {
protected:
    std::string root, log;
    char area[40960];

    void SetUp() override {
        char name[] = "/tmp/lcfwd-store-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root = name;
        start();
    }
    void TearDown() override {
        store_reset();
        host_root_set(nullptr);
        std::filesystem::remove_all(root);
    }
    /* As a new process would find it. */
    void start() {
        store_reset();
        host_root_set(root.c_str());
        log.clear();
        store_log_set(
            [](void *ctx, const char *line) { *static_cast<std::string *>(ctx) += line + std::string("\n"); },
            &log);
    }
    std::string folder() const { return root + "/dev/shm"; }
    std::string file(const std::string &name) const { return folder() + "/lcfwd_" + name; }

    static fu_pss_service_arg args(int id, const std::string &name) {
        fu_pss_service_arg arg;
        fu_global_pss_service_default_arg(&arg);
        arg.id = id;
        arg.key_size = 4;
        arg.value_size = 21;
        EXPECT_EQ(fu_pss_service_arg_uri_set(&arg, ("volatile:/dev/shm/lcfwd_" + name).c_str()), 0);
        return arg;
    }
    static pss2_service *open(int id, const std::string &name) {
        const fu_pss_service_arg arg = args(id, name);
        pss2_service *service = nullptr;
        EXPECT_EQ(fu_pss_entry_install(nullptr, 1, &arg), 0) << name;
        EXPECT_EQ(fu_pss_service_get(id, &service), 0) << name;
        return service;
    }
    static int put(pss2_service *service, const std::string &key, const std::string &value) {
        const pss2_datum k = datum(key), v = datum(value);
        return pss2_store(service, &k, &v);
    }
    static int drop(pss2_service *service, const std::string &key) {
        const pss2_datum k = datum(key);
        return pss2_delete(service, &k);
    }
    /* The stored value, or "(none)". */
    static std::string get(pss2_service *service, const std::string &key) {
        const pss2_datum k = datum(key);
        pss2_datum v{};
        return pss2_fetch(service, &k, &v) == 0 ? text(v) : "(none)";
    }
    static std::string cursor_key(pss2_service *service) {
        pss2_datum key{};
        return pss2_getkey(service, &key) == 0 ? text(key) : "(none)";
    }
    /* All records by the ordered walk; fails when the order is wrong or the count differs. */
    static store_records all(pss2_service *service) {
        store_records records;
        std::string last;
        pss2_datum value{};
        for (int code = pss2_move2location(service, 1, PSS2_FIRST); code == 0;
             code = pss2_move2location(service, 1, PSS2_NEXT)) {
            const std::string key = cursor_key(service);
            EXPECT_TRUE(records.empty() || store_key_less{}(last, key));
            last = key;
            EXPECT_EQ(pss2_getvalue(service, &value), 0);
            records[key] = text(value);
        }
        uint32_t count = 0;
        EXPECT_EQ(pss2_get_key_count(service, &count), 0);
        EXPECT_EQ(count, records.size());
        return records;
    }
    pss2_ops *queue() {
        int status = 0;
        pss2_ops *ops = pss2_ops_init(area, sizeof area, &status);
        EXPECT_EQ(status, 0);
        return ops;
    }
    static store_open_report report(int id) {
        store_open_report r{};
        EXPECT_EQ(store_open_report_get(id, &r), 0);
        return r;
    }
};

/* A batch that keeps the bytes it refers to. */
struct store_batch {
    pss2_ops *ops;
    std::vector<std::string> bytes;

    explicit store_batch(pss2_ops *queue) : ops(queue) { bytes.reserve(3 * 5120); }
    int add(pss2_service *service, int operation, const std::string &key, const std::string &value = {}) {
        int code = pss2_ops_add_db(ops, service);
        if (code != 0) return code;
        bytes.push_back(key);
        const pss2_datum k = datum(bytes.back());
        bytes.push_back(value);
        const pss2_datum v = datum(bytes.back());
        return pss2_ops_add(ops, operation, &k, &v);
    }
};

inline std::string file_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}
inline void file_write(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
inline store_records file_records(const std::string &path, store_file_info *info) {
    store_records records;
    const auto note = [](void *ctx, const void *key, uint32_t key_len, const void *value,
                         uint32_t value_len) {
        (*static_cast<store_records *>(ctx))[text({key, key_len})] = text({value, value_len});
        return true;
    };
    EXPECT_EQ(store_inspect_file(path.c_str(), note, &records, info), 0);
    return records;
}
