/* Requests of the operator, byte by byte; answers that tell lies. */
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_request.h"

#include <cerrno>
#include <gtest/gtest.h>

static std::string hex(const std::vector<uint8_t> &bytes) { return ctl_hex(bytes.data(), bytes.size()); }
static std::vector<uint8_t> unhex(const std::string &text) {
    std::vector<uint8_t> out;
    EXPECT_TRUE(ctl_hex_parse(text, &out));
    return out;
}

TEST(request_bytes, are_as_written_by_hand) {
    const uint8_t mac[6] = {2, 0, 0, 0, 0, 9}, address[16] = {10, 1};
    EXPECT_EQ(hex(ctl_router_mac_make(mac)), "020000000009");
    EXPECT_EQ(hex(ctl_static_mac_make(0x1a000001, mac)), "1a000001020000000009");
    EXPECT_EQ(hex(ctl_rpf_make(0x1a000001, 6, 3)), "000000140000000100000008"
                                                   "03020000"
                                                   "1a000001");
    EXPECT_EQ(hex(ctl_rpf_make(0x1a000001, 4, 0)), "000000140000000200000008"
                                                   "00010000"
                                                   "1a000001");
    EXPECT_EQ(hex(ctl_clear_make(7, 4, address, 16, CTL_CLEAR_DELETE)), "00000007"
                                                                        "0a010000000000000000000000000000"
                                                                        "10"
                                                                        "01"
                                                                        "00000000"
                                                                        "02");
    EXPECT_EQ(hex(ctl_aged_make(0x80000001, 6)), "8000000102");
    const ctl_tunnel_form form = {
        true, 1, 1, 0x40, 64, 0x22000001, {10, 0, 0, 9}, {10, 0, 0, 1}, {10, 0, 0, 2}, {2, 0, 0, 0, 0, 9}};
    EXPECT_EQ(hex(ctl_tunnel_make(form)), "0101014040000000"
                                          "22000001"
                                          "0a000009"
                                          "0a000001"
                                          "0a000002"
                                          "020000000009");
}

TEST(request_answers, are_read_and_lies_found_out) {
    const std::string head = "00000001", tail = "04000000000000000000000000";
    const std::string v4 = "000100050a01000010", v6 = "0002001120010db800000000000000000000000020";
    struct {
        std::string answer;
        int status;
        size_t routes;
        bool last;
    } const rows[] = {
        {head + "00000036000201" + tail + v4 + v6, 0, 2, true},
        {head + "00000021000100" + tail + v4, 0, 1, false},
        {head + "00000018000003" + tail, ENOENT, 0, true},
        {head + "00000021000201" + tail + v4, EBADMSG, 1, true},                   /* two are promised */
        {head + "00000022000101" + tail + v4, EBADMSG, 0, false},                  /* a byte is missing */
        {head + "00000022000101" + tail + v4 + "00", EBADMSG, 1, true},            /* a byte too much */
        {head + "00000021000101" + tail + "000100060a01000010", EBADMSG, 0, true}, /* length of no family */
        {head + "00000021000101" + tail + "000300050a01000010", EBADMSG, 0, true},
        {head + "0000001700", EBADMSG, 0, false},
    };
    for (const auto &row : rows) {
        std::vector<ctl_aged_route> routes;
        bool last = false;
        EXPECT_EQ(ctl_aged_read(unhex(row.answer), &routes, &last), row.status) << row.answer;
        EXPECT_EQ(routes.size(), row.routes) << row.answer;
        EXPECT_EQ(last, row.last) << row.answer;
    }
}
