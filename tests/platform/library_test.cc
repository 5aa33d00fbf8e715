/* Libraries that are loaded at run time, and the write brackets. */
#include "persist/lcfwd_pss.h"
#include "platform/lcfwd_platform.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"

#include <dlfcn.h>

/* What the loaded library saw last. */
static std::string seen() {
    void *object = dlopen(TINY_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    const char *text = object == nullptr ? nullptr : static_cast<const char *>(dlsym(object, "tiny_seen"));
    return text == nullptr ? "not loaded" : text;
}

struct loaded_library : ufib_test {
    loaded_library() : ufib_test(choose()) { consistent = false; /* it keeps nothing to compare with */ }
    static const platform_library *choose() {
        char error[200] = "";
        EXPECT_EQ(platform_library_load(TINY_LIBRARY, error, sizeof error), 0) << error;
        return platform_library_get();
    }
};

TEST_F(loaded_library, fills_slots_and_calls_accessors_back) {
    EXPECT_EQ(seen(), "restart 0");
    EXPECT_EQ(lcfwd_platform_get_hwfe_type(), 77);
    EXPECT_EQ(lcfwd_platform_is_mpls_capable(), 0) << "a slot that it leaves alone has its default";
    EXPECT_EQ(ufib_platform_sizes.v4prefix_space_len, 24u);
    ASSERT_TRUE(load(v4_family, {add(v4_family, v4_family.prefix)}));
    EXPECT_EQ(seen(), "table 111 0a010000/16 via c0000201 if 1a010001 active 1");
    ASSERT_TRUE(load(v4_family, {add(v4_family, v4_family.prefix)}));
    EXPECT_EQ(seen(), "table 111 0a010000/16 via c0000201 if 1a010001 active 1 again");
    EXPECT_FALSE(load(v6_family, {add(v6_family, v6_family.prefix)})) << "no slot for IPv6 prefixes";
    EXPECT_EQ(errors(E_PFX_HW_INSTALL), 1u);
    rig.stop();
    EXPECT_EQ(seen(), "reset");
}

TEST(library_load, tells_what_is_wrong_and_keeps_the_choice) {
    const platform_library *before = fake_platform_library();
    platform_library_use(before);
    struct {
        const char *path, *text;
    } const rows[] = {
        {"/nowhere/library.so", "/nowhere/library.so: cannot open shared object file"},
        {EMPTY_LIBRARY, "does not export lcfwd_platform_api_init and ufib_platform_api_init"},
        {"/etc/passwd", "/etc/passwd: "},
    };
    for (const auto &row : rows) {
        char error[400] = "";
        EXPECT_EQ(platform_library_load(row.path, error, sizeof error), -1);
        EXPECT_NE(std::string(error).find(row.text), std::string::npos) << error;
        EXPECT_EQ(platform_library_get(), before);
        char tiny[8] = "";
        EXPECT_EQ(platform_library_load(row.path, tiny, sizeof tiny), -1);
        EXPECT_LT(std::string(tiny).size(), sizeof tiny) << "cut, and ended";
    }
    platform_library_use(nullptr);
}

/* A record becomes durable with the hardware batch that it belongs to, neither before nor without it. */
struct bracket : ufib_family_test {
    size_t stored() const { return rig.records("prefix_vdc_1").size(); }
    /* How many commits a batch of three routes makes. */
    size_t commits(int one_write) {
        fake.one_write_result = one_write;
        fake_take();
        EXPECT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2), add(f, f.prefix3)}));
        return fake_count("pss_buf_commit");
    }
};
INSTANTIATE_TEST_SUITE_P(both, bracket, both_families, family_name);

TEST_P(bracket, one_write_commits_when_a_batch_completed_and_all_writes_always) {
    EXPECT_EQ(commits(0), 1u);
    EXPECT_EQ(stored(), 3u);
    EXPECT_EQ(commits(1), 4u);
    fake.all_writes_result = 0;
    fake.one_write_result = 0;
    fake_take();
    EXPECT_EQ(ufib_platform_one_write_ready(), 0);
    EXPECT_EQ(fake_count("pss_buf_commit"), 0u);
    EXPECT_EQ(ufib_platform_all_writes_ready(), 0);
    EXPECT_EQ(fake_count("pss_buf_commit"), 1u);
    fake.all_writes_result = 5;
    EXPECT_EQ(ufib_platform_all_writes_ready(), 5);
}
