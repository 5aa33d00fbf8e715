#include "host/containers/index_range.h"

#include "host/containers/heap.h"

#include <cerrno>
#include <cstdlib>

struct index_range {
    uint32_t low, step, count; /* 'count' numbers in all */
    uint32_t in_use;
    uint64_t *taken; /* one bit a number; the bits past the last number are set */
    uint64_t *full;  /* one bit for each word of 'taken': no number free in it */
    uint32_t words, full_words;
};

index_range *index_range_init(uint32_t low, uint32_t high, uint32_t step, uint32_t) {
    if (low > high || step == 0 || high == INDEX_RANGE_NONE) return nullptr;
    auto *range = static_cast<index_range *>(heap_calloc(1, sizeof(index_range)));
    if (range == nullptr) return nullptr;
    range->low = low;
    range->step = step;
    range->count = (high - low) / step + 1;
    range->words = range->count / 64 + 1;
    range->full_words = range->words / 64 + 1;
    range->taken = static_cast<uint64_t *>(heap_calloc(range->words, sizeof(uint64_t)));
    range->full = static_cast<uint64_t *>(heap_calloc(range->full_words, sizeof(uint64_t)));
    if (range->taken == nullptr || range->full == nullptr) {
        index_range_destroy(range);
        return nullptr;
    }
    range->taken[range->count / 64] = ~uint64_t{0} << (range->count % 64);
    if (range->count % 64 == 0)
        range->full[range->count / 64 / 64] |= uint64_t{1} << (range->count / 64 % 64);
    return range;
}

void index_range_destroy(index_range *range) {
    if (range == nullptr) return;
    std::free(range->taken);
    std::free(range->full);
    std::free(range);
}

static bool is_taken(const index_range *range, uint32_t bit) {
    return (range->taken[bit / 64] >> (bit % 64) & 1) != 0;
}

static void mark(index_range *range, uint32_t bit, bool taken) {
    uint64_t *word = &range->taken[bit / 64];
    uint64_t *full = &range->full[bit / 64 / 64];
    const uint64_t full_bit = uint64_t{1} << (bit / 64 % 64);
    if (taken)
        *word |= uint64_t{1} << (bit % 64);
    else
        *word &= ~(uint64_t{1} << (bit % 64));
    *full = *word == ~uint64_t{0} ? *full | full_bit : *full & ~full_bit;
}

/* The first free number at or behind 'bit'; 'count' when there is none. */
static uint32_t next_free(const index_range *range, uint32_t bit) {
    while (bit < range->count) {
        const uint32_t word = bit / 64;
        const uint64_t room = ~range->taken[word] >> (bit % 64);
        if (room != 0) return bit + static_cast<uint32_t>(__builtin_ctzll(room));
        uint32_t skip = word + 1;
        while (skip < range->words) {
            const uint64_t open = ~range->full[skip / 64] >> (skip % 64);
            if (open != 0) {
                skip += static_cast<uint32_t>(__builtin_ctzll(open));
                break;
            }
            skip += 64 - skip % 64;
        }
        bit = skip < range->words ? skip * 64 : range->count;
    }
    return range->count;
}

static void mark_run(index_range *range, uint32_t bit, uint32_t count, bool taken) {
    for (uint32_t i = 0; i < count; i++) mark(range, bit + i, taken);
    range->in_use = taken ? range->in_use + count : range->in_use - count;
}

uint32_t index_range_alloc_blk(index_range *range, uint32_t count) {
    if (count == 0 || count > range->count) return INDEX_RANGE_NONE;
    uint32_t run = 0;
    for (uint32_t bit = next_free(range, 0); bit < range->count;
         bit = run == 0 ? next_free(range, bit + 1) : bit + 1) {
        run = is_taken(range, bit) ? 0 : run + 1;
        if (run < count) continue;
        mark_run(range, bit + 1 - count, count, true);
        return range->low + (bit + 1 - count) * range->step;
    }
    return INDEX_RANGE_NONE;
}

/* The place of a run of numbers; EINVAL when one is not of the range. */
static int run_locate(const index_range *range, uint32_t index, uint32_t count, uint32_t *bit) {
    if (index < range->low || (index - range->low) % range->step != 0 || count == 0) return EINVAL;
    *bit = (index - range->low) / range->step;
    return *bit < range->count && count <= range->count - *bit ? 0 : EINVAL;
}

int index_range_re_alloc_blk(index_range *range, uint32_t index, uint32_t count) {
    uint32_t bit;
    if (run_locate(range, index, count, &bit) != 0) return EINVAL;
    for (uint32_t i = 0; i < count; i++)
        if (is_taken(range, bit + i)) return EEXIST;
    mark_run(range, bit, count, true);
    return 0;
}

int index_range_free_blk(index_range *range, uint32_t index, uint32_t count) {
    uint32_t bit;
    if (run_locate(range, index, count, &bit) != 0) return EINVAL;
    for (uint32_t i = 0; i < count; i++)
        if (!is_taken(range, bit + i)) return ENOENT;
    mark_run(range, bit, count, false);
    return 0;
}

uint32_t index_range_in_use(const index_range *range) { return range->in_use; }
