#include "host/store/store_index.h"

#include <cstdlib>
#include <cstring>

/* Growing rewalks the file; growing by half keeps memory close to what is needed and costs three inserts a record
 * over a database's life. */
constexpr uint64_t STORE_FILL_PERCENT = 82;

static uint64_t lanes_of(const store_index *index) {
    return uint64_t{index->chunk_count} * STORE_CHUNK_LANES;
}

bool store_index_init(store_index *index, uint64_t expected) {
    *index = {};
    const uint64_t chunks = expected * 100 / STORE_FILL_PERCENT / STORE_CHUNK_LANES + 1;
    if (chunks > UINT32_MAX) return false;
    void *memory = std::aligned_alloc(alignof(store_chunk), chunks * sizeof(store_chunk));
    if (memory == nullptr) return false;
    std::memset(memory, 0, chunks * sizeof(store_chunk));
    index->chunks = static_cast<store_chunk *>(memory);
    index->chunk_count = static_cast<uint32_t>(chunks);
    return true;
}

void store_index_free(store_index *index) {
    std::free(index->chunks);
    *index = {};
}

bool store_index_roomy(const store_index *index, uint32_t more) {
    return (uint64_t{index->entries} + more) * 100 <= lanes_of(index) * STORE_FILL_PERCENT;
}

bool store_index_fits(const store_index *index, uint32_t more) {
    return uint64_t{index->entries} + more <= lanes_of(index);
}

static uint32_t chunk_after(const store_index *index, uint32_t at) {
    return at + 1 == index->chunk_count ? 0 : at + 1;
}

void store_index_insert(store_index *index, uint64_t hash, uint32_t ref) {
    uint32_t at = store_index_home(index, hash);
    uint32_t empty = store_chunk_match(&index->chunks[at], 0);
    while (empty == 0) {
        store_chunk *full = &index->chunks[at];
        if (full->passed != 255) full->passed++;
        at = chunk_after(index, at);
        empty = store_chunk_match(&index->chunks[at], 0);
    }
    const auto lane = static_cast<uint32_t>(__builtin_ctz(empty));
    index->chunks[at].tags[lane] = store_index_tag(hash);
    index->chunks[at].refs[lane] = ref;
    index->entries++;
}

/* The chunk and lane of the entry, found by its reference. */
static uint32_t locate(const store_index *index, uint64_t hash, uint32_t ref, uint32_t *lane) {
    const uint8_t tag = store_index_tag(hash);
    uint32_t at = store_index_home(index, hash);
    for (;; at = chunk_after(index, at)) {
        const store_chunk *chunk = &index->chunks[at];
        for (uint32_t lanes = store_chunk_match(chunk, tag); lanes != 0; lanes &= lanes - 1) {
            *lane = static_cast<uint32_t>(__builtin_ctz(lanes));
            if (chunk->refs[*lane] == ref) return at;
        }
    }
}

void store_index_remove(store_index *index, uint64_t hash, uint32_t ref) {
    uint32_t lane = 0;
    const uint32_t at = locate(index, hash, ref, &lane);
    index->chunks[at].tags[lane] = 0;
    index->entries--;
    for (uint32_t over = store_index_home(index, hash); over != at; over = chunk_after(index, over))
        if (index->chunks[over].passed != 255) index->chunks[over].passed--;
}
