/* Bytes from outside through all tables of the codec. The first byte chooses the table, the rest is the
 * message; the object lies in a heap block of exactly the size that the codec asked for. */
#include "codec/codec.h"
#include "tests/fuzz/fuzz.h"

#include <cstring>

static void check(bool holds, const char *text) {
    if (!holds) fuzz_fail(text);
}

static void walk(const tlvu_tbl *table, const uint8_t *in, uint32_t length) {
    tlvu_itr itr;
    uint32_t tag, size;
    const uint8_t *data;
    bytes field(1024);
    tlvu_field_itr_init(&itr, table, in, length);
    while (tlvu_field_itr_get_next(&itr, &tag, &data, &size)) {
        check(data >= in && data + size <= in + length, "a field lies outside the message");
        const int status = tlvu_get_field(table, in, length, tag, field.data(), 1024);
        check(status == TLVU_OK || status == TLVU_WIDTH || status == TLVU_BAD,
              "a field was seen but not found");
    }
}

/* What was understood, written and read again, must be the same object; the message may have been longer. */
static void round_trip(const tlvu_tbl *table, const bytes &object) {
    bytes message(tlvu_table_size(table, object.data()));
    const auto room = static_cast<uint32_t>(message.size());
    uint32_t used = 0;
    const int put = tlvu_table_convert_struct_to_tlv(table, object.data(), message.data(), room, &used);
    check(put == TLVU_OK && used == room, "an object does not fit its own size");
    const uint32_t needed = tlvu_table_get_struct_size_from_tlv(table, message.data(), used);
    check(needed == object.size(), "an object came back in another size");
    bytes again(needed);
    const int got = tlvu_table_convert_tlv_to_struct(table, message.data(), used, again.data(), needed);
    check(got == TLVU_OK && again == object, "an object came back changed");
}

static void run(const uint8_t *in, size_t size) {
    if (size == 0 || size > UINT16_MAX) return;
    const tlvu_tbl *table = codec_tables[in[0] % CODEC_TABLES];
    const bytes message(in + 1, in + size);
    const auto length = static_cast<uint32_t>(message.size());
    walk(table, message.data(), length);
    const uint32_t needed = tlvu_table_get_struct_size_from_tlv(table, message.data(), length);
    bytes object(needed == 0 ? table->struct_size : needed);
    const auto room = static_cast<uint32_t>(object.size());
    const int status = tlvu_table_convert_tlv_to_struct(table, message.data(), length, object.data(), room);
    check((status == TLVU_OK) == (needed != 0), "size and conversion do not agree on a message");
    if (status == TLVU_OK) round_trip(table, object);
}

/* A message of each structure, with two members where there is a list. */
static std::vector<bytes> seeds() {
    std::vector<bytes> all;
    for (uint8_t i = 0; i < CODEC_TABLES; i++) {
        const uint32_t members = 2, member_size = codec_member_size(codec_tables[i]);
        bytes object(codec_tables[i]->struct_size + members * member_size);
        for (size_t at = 0; at < object.size(); at++) object[at] = static_cast<uint8_t>(at * 7 + i);
        if (member_size != 0) std::memcpy(object.data(), &members, sizeof members);
        bytes input(1 + tlvu_table_size(codec_tables[i], object.data()));
        input[0] = i;
        const auto room = static_cast<uint32_t>(input.size() - 1);
        const int status =
            tlvu_table_convert_struct_to_tlv(codec_tables[i], object.data(), input.data() + 1, room, nullptr);
        check(status == TLVU_OK, "a seed cannot be written");
        all.push_back(input);
    }
    return all;
}

const fuzz_target fuzz_codec = {"codec", run, seeds};
