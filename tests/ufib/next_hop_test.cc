/* What is read out of the next hops of a route: which bytes count, label stacks, errors of single routes. */
#include "ufib/ufib_next_hop.h"

#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_route.h"

#include <algorithm>

struct next_hop : ufib_family_test {
    uint32_t add_record(const bytes &record, uint32_t table_id) {
        const uint32_t result =
            ufib_route_add(ufib_families[f.index], ufib_vdc_get(1), table_id,
                           reinterpret_cast<const route_rec *>(record.data()), 1, nullptr, 1, nullptr);
        (void)ufib_platform_all_writes_ready();
        return result;
    }
};
INSTANTIATE_TEST_SUITE_P(both, next_hop, both_families, family_name);

/* An IPv4 address leaves twelve bytes of its field to the sender. */
TEST_P(next_hop, of_ipv4_ends_after_four_bytes) {
    constexpr size_t second_address = 27 + 4 + (4 + 35 + 4) + 4 + 4;
    wire_route twice = add(f, f.prefix);
    twice.hops.push_back(twice.hops[0]);
    bytes record = wire_route_v1(twice);
    ASSERT_EQ(bytes(record.begin() + second_address, record.begin() + second_address + 2),
              bytes(record.begin() + 39, record.begin() + 41));
    record[second_address + 7] ^= 0x5a;
    ASSERT_EQ(add_record(record, f.table), 0u);
    const ufib_table *table = ufib_table_search(ufib_vdc_get(1), f.table);
    EXPECT_EQ(table->main.nh_count, f.index == 0 ? 1 : 2);
    EXPECT_EQ(fake_entries("ecmp").size(), f.index == 0 ? 0u : 1u);
}

TEST_P(next_hop, errors_of_one_route_are_of_the_class_of_items) {
    EXPECT_EQ(add_record(wire_route_v1(add(f, f.prefix)), 0), 0x420006u);
    bytes record = wire_route_v1(add(f, f.prefix));
    record[3] = 65;
    EXPECT_EQ(add_record(record, f.table), 0x42000cu);
    record[3] = 0;
    EXPECT_EQ(add_record(record, f.table), f.index == 0 ? 0x42000bu : 0x43000bu);
    record[0] = 9;
    EXPECT_EQ(add_record(record, f.table), f.err_opcode);
    record[4] = 129; /* all rules run, the last one that fails stands */
    EXPECT_EQ(add_record(record, f.table), 0x420000u + f.mask_len);
    EXPECT_EQ(errors(E_ROUTE_INV_OPCODE), 2u);
    EXPECT_TRUE(rig.log_has(std::string(f.name) + " route api error E_ROUTE_INV_OPCODE"));
}

TEST_P(next_hop, a_guard_that_leaves_takes_its_object_along) {
    static uint32_t guards;
    guards = 0;
    ufib_hook.ipsg_destroy = [](ufib_pfx *) { guards++; };
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    const bytes record = wire_route_v1(remove(f, f.prefix));
    EXPECT_EQ(ufib_route_delete(ufib_families[f.index], ufib_vdc_get(1), f.table,
                                reinterpret_cast<const route_rec *>(record.data()), UFIB_HOLDER_IPSG),
              0x41003eu);
    (void)ufib_platform_all_writes_ready();
    EXPECT_EQ(guards, 1u);
    EXPECT_TRUE(rig.log_has(std::string("Calling ufib_") + f.name + "_ipsg_destroy"));
}

TEST(label_stack, loses_leading_implicit_nulls_and_tells_its_size_by_a_code) {
    const struct {
        std::vector<uint32_t> stack, rest;
        uint32_t code;
    } rows[] = {
        {{}, {}, 0},
        {{3}, {}, 0},
        {{16}, {16}, 1},
        {{3, 3, 16}, {16}, 1},
        {{16, 3}, {16, 3}, 4},
        {{16, 17, 18}, {16, 17, 18}, 5},
        {{3, 16, 17, 18, 19}, {16, 17, 18, 19}, 6},
        {{16, 17, 18, 19, 20}, {16, 17, 18, 19, 20}, 7},
        {{16, 17, 18, 19, 20, 21}, {16, 17, 18, 19, 20, 21}, 0},
    };
    for (const auto &row : rows) {
        std::vector<uint32_t> stack = row.stack;
        stack.resize(6);
        uint32_t count = static_cast<uint32_t>(row.stack.size());
        const bool present = std::find(row.stack.begin(), row.stack.end(), 3u) != row.stack.end();
        EXPECT_EQ(ufib_is_implicit_null_present(count, stack.data()), present);
        EXPECT_EQ(ufib_fixup_labels_for_implicit_null(&count, stack.data()), row.code);
        stack.resize(count);
        EXPECT_EQ(stack, row.rest);
    }
}
