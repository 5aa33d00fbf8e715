/* Bytes from outside through all tables of the codec. The first byte chooses the table, the rest is the message; the
 * object lies in a heap block of exactly the size that the codec asked for. */
#include "codec/codec.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

static void check(bool holds) {
    if (!holds) std::abort();
}

static void walk(const tlvu_tbl *table, const uint8_t *in, uint32_t length) {
    tlvu_itr itr;
    uint32_t tag, size;
    const uint8_t *data;
    std::vector<uint8_t> field(1024);
    tlvu_field_itr_init(&itr, table, in, length);
    while (tlvu_field_itr_get_next(&itr, &tag, &data, &size)) {
        check(data >= in && data + size <= in + length);
        const int status = tlvu_get_field(table, in, length, tag, field.data(), 1024);
        check(status == TLVU_OK || status == TLVU_WIDTH || status == TLVU_BAD);
    }
}

/* What was understood, written and read again, must be the same object; the message may have been longer. */
static void round_trip(const tlvu_tbl *table, const std::vector<uint8_t> &object) {
    std::vector<uint8_t> message(tlvu_table_size(table, object.data()));
    const auto room = static_cast<uint32_t>(message.size());
    uint32_t used = 0;
    check(tlvu_table_convert_struct_to_tlv(table, object.data(), message.data(), room, &used) == TLVU_OK);
    check(used == room && tlvu_table_get_struct_size_from_tlv(table, message.data(), used) == object.size());
    std::vector<uint8_t> again(object.size());
    const auto size = static_cast<uint32_t>(again.size());
    check(tlvu_table_convert_tlv_to_struct(table, message.data(), used, again.data(), size) == TLVU_OK);
    check(again == object);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size) {
    if (size == 0 || size > UINT16_MAX) return 0;
    const tlvu_tbl *table = codec_tables[in[0] % CODEC_TABLES];
    const std::vector<uint8_t> message(in + 1, in + size);
    const auto length = static_cast<uint32_t>(message.size());
    walk(table, message.data(), length);
    const uint32_t needed = tlvu_table_get_struct_size_from_tlv(table, message.data(), length);
    std::vector<uint8_t> object(needed);
    const int status = tlvu_table_convert_tlv_to_struct(table, message.data(), length, object.data(), needed);
    check((status == TLVU_OK) == (needed != 0));
    if (status == TLVU_OK) round_trip(table, object);
    return 0;
}
