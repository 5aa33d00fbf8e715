#include "softfwd/softfwd_damage.h"

#include "softfwd/softfwd_damage_private.h"
#include "softfwd/softfwd_file.h"

#include <cerrno>

static void key_flip(lpm_key *key, uint32_t bit) {
    if (bit < 64)
        key->hi ^= uint64_t{1} << (63 - bit);
    else if (bit < 128)
        key->lo ^= uint64_t{1} << (127 - bit);
}

void softfwd_damage_prefix(softfwd_damage what, softfwd_prefix *entry) {
    if (what == SOFTFWD_DAMAGE_ADDRESS)
        key_flip(&entry->key, entry->mask_len == 0 ? 0 : entry->mask_len - 1u);
    if (what == SOFTFWD_DAMAGE_HOST_BITS) key_flip(&entry->key, entry->mask_len);
    if (what == SOFTFWD_DAMAGE_NEXT) entry->a_word ^= uint64_t{1} << 51; /* far from any handle */
}

void softfwd_damage_adj(softfwd_adj *record) { record->dmac[5] ^= 1; }

/* --- from outside --- */

template <typename element>
static element *region_of(const softfwd_file &file, softfwd_region_id id, uint64_t index) {
    const auto *head = reinterpret_cast<const softfwd_header *>(file.base);
    const softfwd_region &region = head->regions[id];
    const bool inside = region.offset <= file.bytes && region.bytes <= file.bytes - region.offset &&
                        index < softfwd_load(&region.a_committed) / sizeof(element) &&
                        index < region.bytes / sizeof(element);
    return inside ? reinterpret_cast<element *>(file.base + region.offset) + index : nullptr;
}

static int adj_damage(const softfwd_file &file, uint32_t handle) {
    const auto *place = region_of<const uint32_t>(file, SOFTFWD_REGION_DIRECTORY, handle);
    if (place == nullptr || softfwd_place_kind(softfwd_load(place)) != SOFTFWD_KIND_ADJ) return ENOENT;
    auto *record =
        region_of<softfwd_adj>(file, SOFTFWD_REGION_RECORDS, softfwd_place_index(softfwd_load(place)));
    if (record == nullptr) return ENOENT;
    softfwd_damage_adj(record);
    return 0;
}

static int prefix_damage(const softfwd_file &file, softfwd_damage what, uint32_t handle) {
    auto *entry = region_of<softfwd_prefix>(file, SOFTFWD_REGION_PREFIXES, handle);
    if (entry == nullptr || entry->state != SOFTFWD_LIVE) return ENOENT;
    softfwd_damage_prefix(what, entry);
    return 0;
}

int softfwd_damage_table(uint32_t slot, softfwd_damage what, uint32_t handle) {
    char path[SOFTFWD_PATH_MAX];
    softfwd_file file;
    int status = softfwd_path(slot, "", path);
    if (status == 0) status = softfwd_file_open(&file, path, true, sizeof(softfwd_header));
    if (status != 0) return status;
    const auto *head = reinterpret_cast<const softfwd_header *>(file.base);
    if (head->magic != SOFTFWD_TABLES_MAGIC || head->layout != SOFTFWD_LAYOUT)
        status = EPROTO;
    else if (handle == 0)
        status = ENOENT;
    else
        status = what == SOFTFWD_DAMAGE_MAC ? adj_damage(file, handle) : prefix_damage(file, what, handle);
    softfwd_file_close(&file);
    return status;
}
