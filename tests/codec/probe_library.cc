/* A platform library that does nothing but call the codec of the program that loads it, and count what goes
 * wrong. */
#include "codec/codec_entries.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

struct lcfwd_platform_api;
struct ufib_platform_api;
struct ufib_platform_caps;

/* The table's name ends in "_t", which no function has. */
static bool is_there(const tlvu_tbl *table, const char *what) {
    char name[128];
    std::snprintf(name, sizeof name, "%.*s%s", static_cast<int>(std::strlen(table->name) - 2), table->name,
                  what);
    if (dlsym(RTLD_DEFAULT, name) != nullptr) return true;
    std::fprintf(stderr, "not exported: %s\n", name);
    return false;
}

static int count_missing() {
    static const char *const functions[] = {
        "_tbl",       "_to_tlv",         "_to_struct",      "_get_tlv_sz",  "_get_struct_sz",
        "_get_field", "_field_itr_init", "_field_get_next", "_default_init"};
    int missing = 0;
    for (const tlvu_tbl *table : codec_tables) {
        for (const char *function : functions) missing += !is_there(table, function);
        if (codec_member_size(table) != 0) missing += !is_there(table, "_info_get_sz");
    }
    return missing;
}

/* Calls that the linker resolves when the library is loaded: a message with one request, there and back. */
static int count_wrong() {
    struct {
        eltmc_intf_create_req_msg head;
        eltmc_intf_create_req request;
    } sent = {}, received = {};
    eltmc_intf_create_req_msg_default_init(&sent);
    eltmc_intf_create_req_default_init(&sent.request);
    sent.head.count = 1;
    sent.request.if_index = 0x1a000007;
    sent.request.tag93 = {3, 4};
    uint8_t message[256];
    uint32_t used = 0, count = 0;
    int wrong = eltmc_intf_create_req_msg_to_tlv(&sent.head, message, sizeof message, &used) != 0;
    wrong += used == 0 || used != eltmc_intf_create_req_msg_get_tlv_sz(&sent.head);
    wrong += eltmc_intf_create_req_msg_get_struct_sz(message, used) != sizeof sent;
    wrong += eltmc_intf_create_req_msg_info_get_sz() != sizeof sent.request;
    wrong += eltmc_intf_create_req_msg_get_field(message, used, 6, &count, sizeof count) != 0 || count != 1;
    wrong += eltmc_intf_create_req_msg_to_struct(message, used, &received.head, sizeof received) != 0;
    wrong += received.request.if_index != 0x1a000007 || received.request.tag93.tag95 != 4;
    tlvu_itr itr;
    uint32_t tag, length, fields = 0;
    const uint8_t *data;
    eltmc_intf_create_req_msg_field_itr_init(&itr, message, used);
    while (eltmc_intf_create_req_msg_field_get_next(&itr, &tag, &data, &length)) fields++;
    wrong += fields != 2;
    eltmc_upgrade_msg refused = {};
    return wrong + (eltmc_upgrade_msg_to_struct(message, 1, &refused, sizeof refused) != TLVU_BAD);
}

extern "C" int codec_probe() { return count_missing() + count_wrong(); }

extern "C" void lcfwd_platform_api_init(lcfwd_platform_api *, int) {
    const char *path = std::getenv("CODEC_PROBE_REPORT");
    FILE *report = path != nullptr ? std::fopen(path, "w") : nullptr;
    if (report == nullptr) return;
    std::fprintf(report, "%d faults\n", codec_probe());
    std::fclose(report);
}
extern "C" void ufib_platform_api_init(ufib_platform_api *, ufib_platform_caps *, int) {}
