/* host/store/store_index.h: the owner's hash index of one database: key hash to slot place. Private to host/store.
 *
 * Chunks of one cache line hold 12 slot references each, with 12 tags (8 bits of the hash), so that a look-up costs
 * one cache miss for the index and one for the record, and wrong candidates are told by the tag. A full chunk spills
 * into the next; it counts what passed over it, so a look-up knows where to stop and a deletion leaves no mark.
 * 5.3 bytes a reference; the fill is kept under 0.82 and grows by half, which makes 6.5 to 9.8 bytes a record. */
#pragma once

#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

constexpr uint32_t STORE_CHUNK_LANES = 12;
struct alignas(64) store_chunk {
    uint8_t tags[STORE_CHUNK_LANES]; /* 0 = empty lane */
    uint8_t passed; /* entries that wanted this chunk or an earlier one and lie behind it; 255 stays */
    uint8_t unused[3];
    uint32_t refs[STORE_CHUNK_LANES]; /* place in the file / 4 */
};
static_assert(sizeof(store_chunk) == 64);

struct store_index {
    store_chunk *chunks; /* owned */
    uint32_t chunk_count;
    uint32_t entries;
};

/* An empty index with room for 'expected' entries. False: no memory, 'index' is empty and unusable. */
[[nodiscard]] bool store_index_init(store_index *index, uint64_t expected);
void store_index_free(store_index *index);
/* Whether 'more' entries fit under the fill limit; whether they fit at all. */
bool store_index_roomy(const store_index *index, uint32_t more);
bool store_index_fits(const store_index *index, uint32_t more);
/* The entry is not there yet, and there is room. */
void store_index_insert(store_index *index, uint64_t hash, uint32_t ref);
/* The entry is there. */
void store_index_remove(store_index *index, uint64_t hash, uint32_t ref);

inline uint32_t store_index_home(const store_index *index, uint64_t hash) {
    return static_cast<uint32_t>((hash & 0xffffffff) * index->chunk_count >> 32);
}
inline uint8_t store_index_tag(uint64_t hash) {
    const auto tag = static_cast<uint8_t>(hash >> 56);
    return tag == 0 ? 1 : tag;
}
/* A bit for each lane whose tag is 'tag'. */
inline uint32_t store_chunk_match(const store_chunk *chunk, uint8_t tag) {
#if defined(__SSE2__)
    const __m128i tags = _mm_load_si128(reinterpret_cast<const __m128i *>(chunk->tags));
    const __m128i wanted = _mm_set1_epi8(static_cast<char>(tag));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(tags, wanted))) &
           ((1u << STORE_CHUNK_LANES) - 1);
#else
    uint32_t lanes = 0;
    for (uint32_t lane = 0; lane < STORE_CHUNK_LANES; lane++)
        lanes |= static_cast<uint32_t>(chunk->tags[lane] == tag) << lane;
    return lanes;
#endif
}
inline void store_index_prefetch(const store_index *index, uint64_t hash) {
    __builtin_prefetch(&index->chunks[store_index_home(index, hash)], 1);
}
/* The first reference with this hash's tag in its home chunk, or 0: a guess, good enough to prefetch its record. */
inline uint32_t store_index_candidate(const store_index *index, uint64_t hash) {
    const store_chunk *chunk = &index->chunks[store_index_home(index, hash)];
    const uint32_t lanes = store_chunk_match(chunk, store_index_tag(hash));
    return lanes == 0 ? 0 : chunk->refs[__builtin_ctz(lanes)];
}

/* The reference for which 'match(ref)' is true, for replacing in place; null when there is none. */
template <typename Match> uint32_t *store_index_find(const store_index *index, uint64_t hash, Match match) {
    uint32_t at = store_index_home(index, hash);
    const uint8_t tag = store_index_tag(hash);
    for (uint32_t visited = 0; visited < index->chunk_count; visited++) {
        store_chunk *chunk = &index->chunks[at];
        for (uint32_t lanes = store_chunk_match(chunk, tag); lanes != 0; lanes &= lanes - 1) {
            uint32_t *ref = &chunk->refs[__builtin_ctz(lanes)];
            if (match(*ref)) return ref;
        }
        if (chunk->passed == 0) return nullptr;
        at = at + 1 == index->chunk_count ? 0 : at + 1;
    }
    return nullptr;
}
