/* The small messages of the supervisor, byte by byte. */
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_control.h"

#include <gtest/gtest.h>

static std::string hex(const std::vector<uint8_t> &bytes) { return ctl_hex(bytes.data(), bytes.size()); }

TEST(control_bytes, are_as_written_by_hand) {
    EXPECT_EQ(hex(ctl_vdc_make(3)), "0300"); /* the machine's own order */
    EXPECT_EQ(hex(ctl_download_make(CTL_DOWNLOAD_END)).substr(0, 6), "000002");
    EXPECT_EQ(hex(ctl_up_make(0x7f)).substr(0, 6), "00007f");
    EXPECT_EQ(hex(ctl_stale_make(6, 0x80000001, 0xfe)), "00000200"
                                                        "80000001"
                                                        "fe");
}

TEST(control_bytes, of_neighbours_have_the_mac_at_the_same_place_in_both_families) {
    const ctl_next_hop hops[] = {ctl_next_hop_make(4, 0x1233), ctl_next_hop_make(6, 0)};
    const std::string head = "0000"
                             "0002"
                             "00"
                             "000000";
    const std::string v4 = "0020"
                           "01"
                           "00"
                           "1a001234"
                           "0a001234"
                           "000000000000000000000000"
                           "020000041234"
                           "0000";
    const std::string v6 = "0020"
                           "02"
                           "00"
                           "1a000001"
                           "fe800000000000000000000000000001"
                           "020000060001"
                           "0000";
    EXPECT_EQ(hex(ctl_neighbours_make(hops, true, 0)), head + v4 + v6);

    const std::string gone = hex(ctl_neighbours_make({hops, 1}, false, CTL_NEIGHBOUR_INTERFACE_DOWN));
    EXPECT_EQ(gone, "0000"
                    "0001"
                    "00"
                    "000000"
                    "0020"
                    "01"
                    "80"
                    "1a001234"
                    "0a001234"
                    "000000000000000000000000"
                    "000000000000"
                    "0000");
}

TEST(next_hops, differ_from_each_other) {
    std::vector<std::string> seen;
    for (uint8_t family : {uint8_t{4}, uint8_t{6}})
        for (uint32_t n : {0u, 1u, 255u, 256u, CTL_NEXT_HOPS_MAX - 1}) {
            const ctl_next_hop hop = ctl_next_hop_make(family, n);
            EXPECT_EQ(hop.if_index >> 24, 0x1au) << "the interface is no Ethernet port any more";
            seen.push_back(ctl_hex(hop.address, 16));
            seen.push_back(ctl_hex(hop.mac, 6));
        }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end());
}
