/* tests/codec/codec_support.h: one message structure with its functions, found by name as a loaded library
 * finds them. */
#pragma once

#include "codec/codec.h"

#include <cstdint>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

bytes bytes_from_hex(const std::string &hex);

struct codec_functions {
    const tlvu_tbl *table;
    std::string name; /* without the "_t" of the table's name */
    int (*to_tlv)(const void *object, uint8_t *out, uint32_t room, uint32_t *used);
    int (*to_struct)(const uint8_t *in, uint32_t length, void *object, uint32_t room);
    uint32_t (*get_tlv_sz)(const void *object);
    uint32_t (*get_struct_sz)(const uint8_t *in, uint32_t length);
    int (*get_field)(const uint8_t *in, uint32_t length, uint32_t tag, void *out, uint32_t room);
    void (*field_itr_init)(tlvu_itr *itr, const uint8_t *in, uint32_t length);
    bool (*field_get_next)(tlvu_itr *itr, uint32_t *tag, const uint8_t **data, uint32_t *length);
    void (*default_init)(void *object);
    uint32_t (*info_get_sz)(); /* null without a list */
};

/* By the structure's name; fails the test when a function or the table is not exported. */
codec_functions codec_functions_find(const std::string &name);
/* All 69. */
std::vector<codec_functions> codec_functions_all();

/* What the codec has written to the log since the last call. */
std::string codec_log_taken();

/* Which bytes of the structure and of 'members' members belong to a field: 1, else 0. */
bytes codec_field_mask(const tlvu_tbl *table, uint32_t members);

/* An object with a pattern in which no two neighbours are alike; a list has 'members' members. */
bytes codec_sample(const tlvu_tbl *table, uint32_t members);

bytes codec_encoded(const codec_functions &functions, const bytes &object);
