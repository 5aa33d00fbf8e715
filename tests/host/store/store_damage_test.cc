/* Files that were damaged from outside: nothing false is believed, what is good is used, all of it is said. */
#include "host/store/store_layout.h"
#include "host/store/store_redo.h"
#include "tests/host/child.h"
#include "tests/host/store/store_rig.h"

#include <csignal>

class store_damage : public store_rig {
protected:
    store_records pristine;
    std::string bytes, path;

    void SetUp() override {
        store_rig::SetUp();
        pss2_service *service = open(41, "prefix_vdc_1");
        for (uint32_t i = 0; i < 150; i++)
            pristine[u32_key(i)] = std::string(i % 40 + 5, static_cast<char>(i));
        for (uint32_t i = 0; i < 3; i++)
            pristine["big" + u32_key(i)] = std::string(1848, static_cast<char>(i));
        pristine["run"] = std::string(5000, 'r');
        for (const auto &[key, value] : pristine) ASSERT_EQ(put(service, key, value), 0);
        ASSERT_EQ(put(service, "gone", "soon"), 0);
        ASSERT_EQ(drop(service, "gone"), 0);
        path = file("prefix_vdc_1");
        store_reset();
        bytes = file_bytes(path);
    }
    /* Opens 'damaged'; every record that is there is as it was stored. Returns how many are missing. */
    size_t lost(const std::string &damaged, store_open_report *r) {
        start();
        file_write(path, damaged);
        pss2_service *service = open(41, "prefix_vdc_1");
        const store_records found = all(service);
        for (const auto &[key, value] : found) {
            const auto was = pristine.find(key);
            EXPECT_TRUE(was != pristine.end() && was->second == value);
        }
        *r = report(41);
        return pristine.size() - found.size();
    }
    static bool said(const store_open_report &r) {
        return r.records_refused + r.pages_refused + r.pages_lost + r.pages_repaired != 0 ||
               r.header_repaired || r.set_aside;
    }
};

static std::string harm(const std::string &bytes, size_t at, size_t size, bool zero) {
    std::string damaged = bytes;
    for (size_t i = at; i < at + size && i < bytes.size(); i++)
        damaged[i] = zero ? '\0' : static_cast<char>(~damaged[i]);
    return damaged;
}

TEST_F(store_damage, of_64_bytes_anywhere_loses_only_the_records_there_and_is_said) {
    for (const bool zero : {false, true}) {
        for (size_t at = 0; at < bytes.size(); at += 64) {
            store_open_report r;
            const std::string damaged = harm(bytes, at, 64, zero);
            const size_t missing = lost(damaged, &r);
            EXPECT_LE(missing, 64 / 16 + 1u) << "at " << at;
            EXPECT_TRUE(missing == 0 || said(r)) << "at " << at;
            EXPECT_EQ(said(r), !log.empty()) << "at " << at;
            /* What was refused is given up: it is said once, and its room can be used. */
            if (missing == 0 || HasFailure()) continue;
            start();
            EXPECT_EQ(put(open(41, "prefix_vdc_1"), "new", "value"), 0);
            EXPECT_FALSE(said(report(41))) << "at " << at;
        }
    }
}

TEST_F(store_damage, by_cutting_the_file_short_anywhere_keeps_the_records_before) {
    for (size_t size = 0; size < bytes.size(); size += 64) {
        store_open_report r;
        const size_t missing = lost(bytes.substr(0, size), &r);
        const uint64_t used = 4096 * (bytes.size() / 4096 - 4);
        EXPECT_TRUE(said(r) || (missing == 0 && size >= used)) << "at " << size;
        EXPECT_EQ(said(r), !log.empty()) << "at " << size;
        EXPECT_EQ(r.set_aside, size < 4096) << "at " << size;
    }
}

TEST_F(store_damage, of_both_headers_sets_the_file_aside_whole) {
    store_open_report r;
    std::string damaged = harm(harm(bytes, 0, 8, false), 2048, 8, true);
    EXPECT_EQ(lost(damaged, &r), pristine.size());
    EXPECT_TRUE(r.set_aside);
    EXPECT_NE(log.find("set aside"), std::string::npos) << log;
    EXPECT_EQ(file_bytes(path + ".aside"), damaged);
}

TEST_F(store_damage, shows_itself_to_a_reader_from_outside_who_changes_nothing) {
    for (size_t at = 4096; at < bytes.size(); at += 448) {
        const std::string damaged = harm(bytes, at, 32, false);
        file_write(path, damaged);
        store_file_info info;
        const store_records found = file_records(path, &info);
        EXPECT_LE(pristine.size() - found.size(), 3u) << "at " << at;
        EXPECT_GE(info.refused, pristine.size() - found.size()) << "at " << at;
        for (const auto &[key, value] : found) EXPECT_EQ(pristine[key], value);
        EXPECT_EQ(file_bytes(path), damaged);
    }
    store_file_info info;
    file_write(path, bytes.substr(0, 100));
    EXPECT_EQ(store_inspect_file(path.c_str(), nullptr, nullptr, &info), EBADMSG);
    EXPECT_EQ(info.state, STORE_FILE_UNREADABLE);
}

TEST_F(store_damage, another_layout_version_is_refused_and_kept) {
    std::string other = bytes;
    for (const size_t at : {size_t{0}, size_t{STORE_SECOND_HEADER}}) {
        store_header header;
        std::memcpy(&header, other.data() + at, sizeof header);
        header.layout = STORE_LAYOUT_VERSION + 1;
        header.check = store_sum(0, &header, offsetof(store_header, check));
        std::memcpy(other.data() + at, &header, sizeof header);
    }
    file_write(path, other);
    start();
    EXPECT_FALSE(store_usable_state());
    store_file_info info;
    EXPECT_EQ(store_inspect_file(path.c_str(), nullptr, nullptr, &info), EBADMSG);
    EXPECT_EQ(info.state, STORE_FILE_OTHER_LAYOUT);
    EXPECT_EQ(info.layout_version, STORE_LAYOUT_VERSION + 1);
    EXPECT_TRUE(all(open(41, "prefix_vdc_1")).empty());
    EXPECT_TRUE(report(41).set_aside);
    EXPECT_NE(log.find("layout version"), std::string::npos) << log;
    EXPECT_EQ(file_bytes(path + ".aside"), other);
}

static void die_sealed(store_step step, uint32_t) {
    if (step == STORE_STEP_SEALED) raise(SIGKILL);
}

TEST_F(store_damage, of_the_redo_log_loses_the_batch_whole_or_not_at_all) {
    file_write(path, bytes);
    const int status = in_child([this] {
        start();
        pss2_service *service = open(41, "prefix_vdc_1");
        store_step_hook_set(die_sealed);
        store_batch batch(queue());
        for (uint32_t i = 0; i < 40; i++)
            static_cast<void>(batch.add(service, PSS2_OP_STORE, u32_key(i), "batch"));
        static_cast<void>(pss2_ops_exec(batch.ops));
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    bool pending = false;
    const auto ignore = [](void *, const store_file_info *) {};
    EXPECT_EQ(store_inspect_list(folder().c_str(), ignore, nullptr, &pending), 0);
    EXPECT_TRUE(pending);
    const std::string redo = file_bytes(file("redo"));
    const std::string sealed_over = file_bytes(path);
    for (size_t at = 0; at < 2048; at += 64) {
        for (const size_t size : {1u, 64u}) {
            store_reset();
            std::filesystem::remove(file("redo.aside"));
            file_write(path, sealed_over);
            file_write(file("redo"), harm(redo, at, size, false));
            start();
            const store_records found = all(open(41, "prefix_vdc_1"));
            uint32_t in = 0;
            for (uint32_t i = 0; i < 40; i++) in += found.at(u32_key(i)) == "batch";
            EXPECT_TRUE(in == 0 || in == 40) << "at " << at;
            EXPECT_EQ(in == 0, std::filesystem::exists(file("redo.aside"))) << "at " << at;
            EXPECT_FALSE(log.empty());
        }
    }
}
