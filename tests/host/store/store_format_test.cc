/* The bytes of the files, against ones that were worked out from docs/store.md with another program. */
#include "tests/host/store/store_rig.h"

class store_format : public store_rig {};

static std::string hex(const std::string &bytes, size_t at, size_t size) {
    std::string out;
    for (size_t i = at; i < at + size; i++) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<uint8_t>(bytes[i]));
        out += digits;
    }
    return out;
}

static std::string sealed_word; /* as a reader sees it while the batch is carried out */
static std::string redo_path;
static void read_sealed(store_step step, uint32_t) {
    if (step == STORE_STEP_SEALED) sealed_word = hex(file_bytes(redo_path), 16, 8);
}

TEST_F(store_format, is_that_of_the_page_that_describes_it) {
    pss2_service *service = open(41, "prefix_vdc_1");
    redo_path = file("redo");
    store_step_hook_set(read_sealed);
    std::string value;
    for (int i = 0; i < 21; i++) value.push_back(static_cast<char>(0xa0 + i));
    ASSERT_EQ(put(service, "\x01\x02\x03\x04", value), 0);
    const std::string header = "4c4353544f52450a01000000001000002900000004000000"
                               "1500000000000000e93d19d10000000002000000fdffffff"
                               "00000000ffffffff00000000ffffffff";
    const std::string record = "01020304a0a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4";
    const std::string bytes = file_bytes(file("prefix_vdc_1"));
    EXPECT_EQ(hex(bytes, 0, 64), header);
    EXPECT_EQ(hex(bytes, 2048, 64), header);
    EXPECT_EQ(hex(bytes, 4096, 16), "7061676501000000060000002b8477ba");
    EXPECT_EQ(hex(bytes, 4112, 33), "041500003197c093" + record);
    EXPECT_EQ(hex(bytes, 4148, 8), "0000000066726565") << "a free slot";
    EXPECT_EQ(hex(bytes, 4112 + 112 * 36, 8), "0000000066726565") << "the last of 113";
    const std::string redo = file_bytes(redo_path);
    EXPECT_EQ(hex(redo, 0, 32), "4c435245444f300a010000000000000000000000000000001010000000000100");
    const std::string counts = "0100000001000000";
    const std::string name = "1200000000000000"
                             "6c636677645f7072656669785f7664635f31"
                             "000000000000";
    EXPECT_EQ(hex(redo, 64, 80), counts + name + "0000000415000000" + record + "00000000000000");
    EXPECT_EQ(sealed_word, "500000005c070181");
}
