#include "tests/host/command/command_rig.h"

#include <cerrno>
#include <cmath>
#include <cstring>

class render : public command_rig {
protected:
    /* What 'print' puts out, as text and as JSON. */
    std::string as(cmd_form form, void (*print)(cmd_handle *)) {
        cmd_handle *handle = request();
        print(handle);
        EXPECT_EQ(cmd_prt_send(handle), 0);
        cmd_answer last;
        return output(form, &last);
    }
};

static const uint8_t six[16] = {0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
static const uint8_t mac[6] = {2, 0, 0, 0, 0xa, 0xff};

struct render_case {
    const char *name;
    void (*print)(cmd_handle *);
    const char *text;
    const char *json;
};

static const render_case render_cases[] = {
    {"addresses_in_their_own_form",
     [](cmd_handle *h) {
         cmd_prt(h, "%s %s %s %s %s\n", cmd_ipv4(0x0a010203, "a"), cmd_ipv4_net(0x0a000000, 8, "b"),
                 cmd_ipv6(six, "c"), cmd_ipv6_net(six, 64, "d"), cmd_mac(mac, "e"));
     },
     "10.1.2.3 10.0.0.0/8 2001:db8::1 2001:db8::1/64 02:00:00:00:0a:ff\n",
     R"({"a":"10.1.2.3","b":"10.0.0.0/8","c":"2001:db8::1","d":"2001:db8::1/64","e":"02:00:00:00:0a:ff"})"},
    {"numbers_in_the_form_of_the_letter",
     [](cmd_handle *h) {
         cmd_prt(h, "%d|%#8x|%-6u|%03o|%lld|%s|%X|%d", cmd_u32(4294967295u, "a"), cmd_u32(255, "b"),
                 cmd_u32(7, "c"), cmd_u32(9, "d"), cmd_i64(-5, "e"), cmd_u64(UINT64_MAX, "f"),
                 cmd_u64(0xabcdef0123, "g"), cmd_i64(-1, "h"));
     },
     "4294967295|    0xff|7     |011|-5|18446744073709551615|ABCDEF0123|-1",
     R"({"a":4294967295,"b":255,"c":7,"d":9,"e":-5,"f":18446744073709551615,"g":737894400291,"h":-1})"},
    {"truth_values_and_reals",
     [](cmd_handle *h) {
         cmd_prt(h, "%s %d %.2f %s %s", cmd_bool(true, "a"), cmd_bool(false, "b"), cmd_double(2.5, "c"),
                 cmd_double(0.1, "d"), cmd_double(NAN, "e"));
     },
     "yes 0 2.50 0.1 nan", R"({"a":true,"b":false,"c":2.5,"d":0.1,"e":null})"},
    {"texts_with_width_and_precision",
     [](cmd_handle *h) {
         cmd_prt(h, "[%-8s][%8s][%.2s][%5.1s][%s]", cmd_text("ab", "a"), cmd_text("cd", "b"),
                 cmd_text("efg", "c"), cmd_text("hij", "d"), cmd_text(nullptr, "e"));
     },
     "[ab      ][      cd][ef][    h][]", R"({"a":"ab","b":"cd","c":"efg","d":"hij"})"},
    {"letters_and_types_that_do_not_fit",
     [](cmd_handle *h) {
         cmd_prt(h, "%d %x %f %c", cmd_text("t", "a"), cmd_ipv4(1, "b"), cmd_u32(3, "c"), cmd_u32('z', "d"));
     },
     "t 0.0.0.1 3 z", R"({"a":"t","b":"0.0.0.1","c":3,"d":122})"},
    {"percent_signs_and_unknown_letters_stay",
     [](cmd_handle *h) { cmd_prt(h, "100%% %q %n %*d %s %", cmd_u32(1, "a")); }, "100% %q %n %*d 1 %",
     R"({"a":1})"},
    {"values_without_conversions_are_for_json_only",
     [](cmd_handle *h) { cmd_prt(h, "%s\n", cmd_u32(1, "a"), cmd_u32(2, "b")); }, "1\n", R"({"a":1,"b":2})"},
    {"conversions_without_values_show_nothing", [](cmd_handle *h) { cmd_prt(h, "a %s b %d", cmd_u32(1)); },
     "a 1 b ", R"({"a":1})"},
    {"huge_widths_are_bounded",
     [](cmd_handle *h) { cmd_prt(h, "%.3s%.99999999999s", cmd_text("abc", "a"), cmd_text("d", "b")); },
     "abcd", R"({"a":"abc","b":"d"})"},
    {"keys_come_from_the_text_before",
     [](cmd_handle *h) {
         cmd_prt(h, "Prefix %s, ", cmd_ipv4_net(0, 0));
         cmd_prt(h, "No of paths: %s, 100%% Update-time: %s %s\n", cmd_u32(2), cmd_text("now"), cmd_u32(3));
         cmd_prt(h, "Prefix %s", cmd_u32(4));
         cmd_prt(h, "Prefix %s", cmd_u32(5));
     },
     "Prefix 0.0.0.0/0, No of paths: 2, 100% Update-time: now 3\nPrefix 4Prefix 5",
     R"({"prefix":"0.0.0.0/0","no_of_paths":2,"100_update_time":"now","value":3,"prefix_2":4,"prefix_3":5})"},
    {"texts_are_collected_and_decoration_is_left_out",
     [](cmd_handle *h) {
         cmd_prt_decoration(h, "-----\n");
         cmd_prt(h, "  ERROR: MISSING ADJACENCY \n");
         cmd_prt(h, "%s\n", cmd_u32(1, "a"));
         cmd_prt(h, " \n");
         cmd_prt(h, "50%% done");
     },
     "-----\n  ERROR: MISSING ADJACENCY \n1\n \n50% done",
     R"({"a":1,"text":["ERROR: MISSING ADJACENCY","50% done"]})"},
    {"rows_lists_and_objects",
     [](cmd_handle *h) {
         cmd_prt_list_begin(h, "routes");
         for (uint32_t i = 0; i < 2; i++) {
             cmd_prt_row_begin(h);
             cmd_prt(h, "%s", cmd_u32(i, "id"));
             cmd_prt_list_begin(h, "paths");
             cmd_prt_row_begin(h);
             cmd_prt_row_end(h);
             cmd_prt(h, "p%s\n", cmd_u32(i));
             cmd_prt_list_end(h);
             cmd_prt(h, "x");
             cmd_prt_row_end(h);
         }
         cmd_prt_list_end(h);
         cmd_prt_object_begin(h, "totals");
         cmd_prt_object_end(h);
         cmd_prt_list_begin(h, "empty");
         cmd_prt_list_end(h);
     },
     "0p0\nx1p1\nx",
     R"({"routes":[{"id":0,"paths":[{},"p0"],"text":["x"]},{"id":1,"paths":[{},"p1"],"text":["x"]}],"totals":{},"empty":[]})"},
    {"rows_outside_a_list_make_one_and_equal_lists_join",
     [](cmd_handle *h) {
         cmd_prt_row_begin(h);
         cmd_prt_row_end(h);
         cmd_prt_row_begin(h);
         cmd_prt_row_end(h);
         for (int i = 0; i < 3; i++) {
             cmd_prt_list_begin(h, "l");
             if (i == 1) cmd_prt_row_begin(h), cmd_prt_row_end(h);
             cmd_prt_list_end(h);
         }
         cmd_prt(h, "%s", cmd_u32(1, "k"));
         cmd_prt_list_begin(h, "l");
         cmd_prt_list_end(h);
     },
     "1", R"({"rows":[{},{}],"l":[{}],"k":1,"l_2":[]})"},
};

class render_each : public render, public testing::WithParamInterface<render_case> {};

TEST_P(render_each, gives_text_and_json) {
    EXPECT_EQ(as(CMD_FORM_TEXT, GetParam().print), GetParam().text);
    EXPECT_EQ(as(CMD_FORM_JSON, GetParam().print), std::string(GetParam().json) + "\n");
}

INSTANTIATE_TEST_SUITE_P(cases, render_each, testing::ValuesIn(render_cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(render, a_list_goes_on_over_answers_with_cookies) {
    std::string json;
    cmd_renderer *renderer = cmd_renderer_create(CMD_FORM_JSON, append, &json);
    for (uint32_t piece = 0; piece < 3; piece++) {
        cmd_handle *handle = request();
        cmd_prt_list_begin(handle, "routes");
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "%s", cmd_u32(piece, "n"));
        if (piece < 2)
            cmd_prt_send_cookie(handle, &piece, sizeof piece); /* row and list are ended for us */
        else
            cmd_prt_send(handle);
        cmd_answer answer;
        ASSERT_TRUE(take(&answer));
        EXPECT_EQ(cmd_renderer_feed(renderer, answer.pieces, answer.pieces_size), 0);
    }
    cmd_renderer_finish(renderer);
    EXPECT_EQ(json, "{\"routes\":[{\"n\":0},{\"n\":1},{\"n\":2}]}\n");
}

TEST_F(render, strings_are_valid_json_whatever_their_bytes) {
    struct {
        std::string text, want;
    } const rows[] = {
        {"a\"b\\c", R"("a\"b\\c")"},
        {"\n\t\r\x01\x7f", R"("\n\t\r\u0001\u007f")"},
        {std::string("nul\0", 4), R"("nul\u0000")"},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""},
        {"\xff\xc3", "\"\xef\xbf\xbd\xef\xbf\xbd\""},                 /* never legal, cut short */
        {"\xc0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\""},                 /* overlong */
        {"\xed\xa0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\""}, /* surrogate */
    };
    for (const auto &row : rows) {
        std::string out;
        cmd_render_json_string(row.text.data(), row.text.size(), &out);
        EXPECT_EQ(out, row.want);
    }
}

/* Every prefix of a good output, and every single bad byte in it, is rendered or refused but never read beyond. */
TEST_F(render, damaged_pieces_are_refused_within_their_bounds) {
    cmd_handle *handle = request();
    cmd_prt_list_begin(handle, "l");
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%-5s %d %s", cmd_text("text", "t"), cmd_u32(1, "u"), cmd_ipv6_net(six, 64, "n"));
    cmd_prt_send(handle);
    cmd_answer answer;
    ASSERT_TRUE(take(&answer));
    const bytes good(answer.pieces, answer.pieces + answer.pieces_size);
    const auto feed = [](const bytes &pieces) {
        int status = 0;
        for (cmd_form form : {CMD_FORM_TEXT, CMD_FORM_JSON}) {
            std::string out;
            cmd_renderer *renderer = cmd_renderer_create(form, append, &out);
            status |= cmd_renderer_feed(renderer, pieces.data(), pieces.size());
            cmd_renderer_finish(renderer);
        }
        return status;
    };
    EXPECT_EQ(feed(good), 0);
    int refused = 0;
    for (size_t at = 0; at < good.size(); at++) {
        feed(bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(at)));
        for (unsigned flip : {0x01u, 0x80u, 0xffu}) {
            bytes bad = good;
            bad[at] = static_cast<uint8_t>(bad[at] ^ flip);
            refused += feed(bad) != 0;
        }
    }
    EXPECT_GT(refused, 30);
}

TEST_F(render, an_end_that_nothing_began_is_refused) {
    for (uint8_t kind : {CMD_PIECE_LIST_END, CMD_PIECE_ROW_END, CMD_PIECE_OBJECT_END}) {
        const bytes pieces = {kind, 0, 0, 6, 0, 0};
        std::string out;
        cmd_renderer *renderer = cmd_renderer_create(CMD_FORM_JSON, append, &out);
        EXPECT_EQ(cmd_renderer_feed(renderer, pieces.data(), pieces.size()), EBADMSG);
        cmd_renderer_finish(renderer);
        EXPECT_EQ(out, "{}\n");
    }
}

TEST_F(render, values_are_made_from_bytes_only_of_the_right_size) {
    cmd_arg arg;
    const uint32_t number = 5;
    EXPECT_EQ(cmd_prt_arg_make(&arg, CMD_ARG_U32, &number, 3), EINVAL);
    EXPECT_EQ(cmd_prt_arg_make(&arg, CMD_ARG_MAC, mac, 4), EINVAL);
    EXPECT_EQ(cmd_prt_arg_make(&arg, static_cast<cmd_arg_type>(99), mac, 4), EINVAL);
    EXPECT_EQ(cmd_prt_arg_make(&arg, CMD_ARG_U32, &number, 4), 0);
    const cmd_arg same = cmd_u32(5);
    EXPECT_EQ(std::memcmp(arg.data, same.data, 4), 0);
    EXPECT_EQ(cmd_prt_arg_make(&arg, CMD_ARG_TEXT, "abcdef", 3), 0);
    EXPECT_EQ(arg.text_size, 3);
}
