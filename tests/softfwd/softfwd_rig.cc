#include "tests/softfwd/softfwd_rig.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

softfwd_rig::softfwd_rig() {
    char folder[] = "/tmp/softfwd-XXXXXX";
    root = mkdtemp(folder);
    host_root_set(root.c_str());
    said.clear();
    softfwd_config_reset();
    softfwd_config_get()->slot = slot;
    softfwd_config_get()->say = [](const char *text) { said.push_back(text); };
    fake_cookie_v4.init();
    fake_cookie_v6.init();
}

softfwd_rig::~softfwd_rig() {
    softfwd_reader_detach(reader);
    stop();
    softfwd_config_reset();
    host_root_set(nullptr);
    std::filesystem::remove_all(root);
}

void softfwd_rig::start(int restart) {
    api = {};
    caps = {};
    process_api = {};
    softfwd_library()->lcfwd_api_init(&process_api, restart);
    softfwd_library()->ufib_api_init(&api, &caps, restart);
}

fake_adj softfwd_rig::adj(uint32_t n, bool v4) {
    fake_adj out;
    out.v4 = v4;
    out.if_index = 1000 + n;
    out.address = 0x0a000000 + n;
    out.address6 = {0xfe, 0x80};
    out.address6[15] = static_cast<uint8_t>(n);
    out.dmac = {2, 0, 0, 0, 0, static_cast<uint8_t>(n)};
    out.smac = {4, 0, 0, 0, 0, static_cast<uint8_t>(n)};
    out.has_smac = out.resolved = true;
    insert(&out);
    return out;
}

fake_prefix softfwd_rig::prefix(const char *text, fake_adj *next) {
    fake_prefix out;
    address_family family = ADDRESS_FAMILY_NONE;
    uint8_t bytes[16] = {}, bits = 0;
    EXPECT_EQ(prefix_parse(text, &family, bytes, &bits), 0) << text;
    out.v4 = family == ADDRESS_FAMILY_V4;
    out.table_id = out.v4 ? table_id : table6_id;
    memcpy(&out.address, bytes, 4);
    out.address = __builtin_bswap32(out.address);
    memcpy(out.address6.data(), bytes, 16);
    out.bits = bits;
    out.next = next;
    return out;
}

uint32_t softfwd_rig::insert(uint32_t table, fake_prefix *pfx, uint32_t ha) {
    pfx->table_handle = table;
    pfx->handle = (pfx->v4 ? api.insert_v4_prefix : api.insert_v6_prefix)(table, pfx, ha, pfx->handle != 0);
    return pfx->handle;
}

uint32_t softfwd_rig::insert(fake_adj *adj, uint32_t ha) { return adj->handle = api.insert_adj(adj, ha, 1); }

int softfwd_rig::remove(uint32_t table, fake_prefix *pfx) {
    const int status = (pfx->v4 ? api.delete_v4_prefix : api.delete_v6_prefix)(table, pfx);
    pfx->handle = 0;
    return status;
}

softfwd_result softfwd_rig::lookup(const char *address, uint32_t table, uint32_t in_vdc) {
    address_family family = ADDRESS_FAMILY_NONE;
    uint8_t bytes[16] = {};
    EXPECT_EQ(address_parse(address, &family, bytes), 0) << address;
    if (table == 0) table = family == ADDRESS_FAMILY_V4 ? table_id : table6_id;
    softfwd_result out = {};
    for (int attempt = 0; attempt < 2; attempt++) {
        if (reader == nullptr) {
            EXPECT_EQ(softfwd_reader_attach(slot, true, &reader), 0);
        }
        if (reader == nullptr) break;
        const int status = softfwd_lookup(reader, family, in_vdc, table, bytes, &out);
        if (status == 0) break;
        EXPECT_EQ(status, ESTALE);
        softfwd_reader_detach(reader);
        reader = nullptr;
    }
    return out;
}
