/* codec/codec.h: the messages of the manager of logical interfaces, described as data. Public header.
 *
 * Each message structure has a table '<name>_tbl' and, in codec/codec_entries.h, the same set of functions
 * under its own name, which a platform library that is loaded at run time calls. eltmc_ are requests of
 * clients and the answers, eltmcd_ their download forms, eltm_ parameters of line-card ports. A name that
 * ends in _msg is the wrapper of a message: a count, and behind the structure the members.
 *
 * Fields bear the number of their tag, which is the same in all messages; its width is not. Known are
 * if_index (2) and the counts. */
#pragma once

#include "codec/eltm.h"
#include "codec/eltmc_intf.h"
#include "codec/eltmc_mtu.h"
#include "codec/eltmc_state.h"
#include "codec/eltmc_table.h"
#include "codec/eltmc_vlan.h"
#include "codec/eltmcd.h"
#include "host/tlv/tlvu.h"

#include <cstddef>
#include <cstdint>

/* All tables, for who walks them. */
inline constexpr size_t CODEC_TABLES = 69;
extern const tlvu_tbl *const codec_tables[CODEC_TABLES];

/* The two conversions of host/tlv/tlvu.h; a failure also writes the error line of 'function'. */
[[nodiscard]] int codec_to_tlv(const tlvu_tbl *table, const char *function, const void *object, uint8_t *out,
                               uint32_t room, uint32_t *used);
[[nodiscard]] int codec_to_struct(const tlvu_tbl *table, const char *function, const uint8_t *in,
                                  uint32_t length, void *object, uint32_t room);

/* The size of a member of the table's list; 0 if it has none. */
uint32_t codec_member_size(const tlvu_tbl *table);
