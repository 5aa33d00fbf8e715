/* Results that come after the fact: routes whose write fails when their call has long returned. */
#include "tests/ufib/late_platform.h"
#include "tests/ufib/route_rig.h"

struct late_result : route_base {
    late_result() {
        late = {};
        rig.options.library = late_platform_library();
    }
    std::string name(unsigned i) const {
        char text[40];
        std::snprintf(text, sizeof text, f.index == 0 ? "10.5.%u.0/24" : "2001:db8:5:%x::/64", i + 1);
        return text;
    }
    std::vector<wire_route> many(unsigned count) const {
        std::vector<wire_route> out;
        for (unsigned i = 0; i < count; i++) out.push_back(add(f, name(i)));
        return out;
    }
    /* Counts of the answer to a version 0 batch: refused, accepted. */
    std::string counts(const std::vector<wire_route> &routes) {
        return send(f, 0, batch(f, 0, routes)).substr(16, 8);
    }
};
INSTANTIATE_TEST_SUITE_P(both, late_result, both_families, family_name);

TEST_P(late_result, thirty_fit_and_the_next_is_written_at_once) {
    EXPECT_EQ(counts(many(30)), "8000001e");
    EXPECT_EQ(late.at_once, 0u);
    EXPECT_EQ(counts(many(31)), "8000001f");
    EXPECT_EQ(late.at_once, 1u);
    EXPECT_EQ(rig.traces(1, "Cookie Trace: Add failed for idx 30").size(), 1u);
    EXPECT_EQ(vdc()->prefix_count, 31u);
}

TEST_P(late_result, failures_are_undone_and_counted) {
    late.fail = {name(0), name(7), name(29)};
    EXPECT_EQ(counts(many(31)), "8003001c");
    EXPECT_EQ(errors(E_PFX_HW_INSTALL), 3u);
    EXPECT_EQ(vdc()->prefix_count, 28u);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 28u);
    EXPECT_EQ(rig.traces(1, "Cookie Trace: 1: Failed cookies = 3").size(), 1u);
    EXPECT_FALSE(load(f, many(1))) << "version 1 tells by its one bit";
    late.fail.clear();
    EXPECT_EQ(counts(many(31)), "8000001f");
}

TEST_P(late_result, come_at_any_bracket) {
    late.every = 4;
    late.fail = {name(1), name(2), name(9)};
    EXPECT_EQ(counts(many(40)), "80030025");
    EXPECT_EQ(late.at_once, 0u);
    EXPECT_EQ(vdc()->prefix_count, 37u);
}

TEST_P(late_result, of_a_prefix_named_twice_or_gone) {
    late.fail = {f.prefix, f.prefix2};
    EXPECT_EQ(counts({add(f, f.prefix), add(f, f.prefix, f.hop2), add(f, f.prefix3)}), "80010002")
        << "one prefix failed once";
    EXPECT_EQ(counts({add(f, f.prefix2), remove(f, f.prefix2)}), "80000002") << "it is gone: nothing to undo";
    EXPECT_EQ(fake_entries("prefix").size(), 1u);
    EXPECT_EQ(fake_entries("adj").size(), 9u);
    consistent = false; /* a label side that is not there keeps the next one in software */
    late.fail.clear();
    ASSERT_EQ(counts({add(f, f.prefix)}), "80000001");
    prefix(f.prefix)->holders |= UFIB_HOLDER_FEC;
    late.fail = {f.prefix};
    EXPECT_EQ(counts({add(f, f.prefix, f.hop2), remove(f, f.prefix)}), "80000002");
}

TEST_P(late_result, of_a_direct_route_takes_both_records_away) {
    ASSERT_EQ(counts({add(f, f.prefix, "", ETH1, 1)}), "80000001");
    EXPECT_EQ(rig.records("dcsrif_vdc_1").size(), 1u);
    late.fail = {f.prefix};
    EXPECT_EQ(counts({add(f, f.prefix, "", ETH1, 1)}), "80010000");
    EXPECT_EQ(rig.records("dcsrif_vdc_1").size(), 0u);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 0u);
    rig.advance_seconds(6);
    EXPECT_EQ(table(), nullptr) << "its table was empty and went";
}

/* Cookies that nobody answered are forgotten with their batch. */
TEST_P(late_result, that_never_comes_is_no_failure) {
    late.silent = true;
    EXPECT_EQ(counts(many(31)), "8000001f");
    late.silent = false;
    late.fail = {name(3)};
    EXPECT_EQ(counts({add(f, f.prefix)}), "80000001");
    EXPECT_EQ(vdc()->prefix_count, 32u);
}
