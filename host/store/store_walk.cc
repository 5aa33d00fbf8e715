/* The ordered walk. Point operations, which are all that the route path does, need no order; so none is kept, and a
 * walk, which is rare (a restart, a show command), sorts the references of one database when it begins: 4 bytes a
 * record for as long as it lasts. Records that come during the walk are kept in a second small sorted list, and
 * slots that are freed are marked, so each step sees the database as it is at that time. */
#include "host/store/store_private.h"

#include <algorithm>
#include <new>

constexpr uint32_t STORE_ADDED_MAX =
    32768; /* more than this: the view is dropped, and made again at the next step */
constexpr uint32_t STORE_WALK_AHEAD = 8;

struct sort_row { /* sorting touches the records only where the first 63 bits of the keys are equal */
    uint64_t begin;
    uint32_t ref;
};

/* A key of four bytes is a number of the machine, mostly an index into tables of hardware: in the order of the numbers
 * a walk touches neighbours one after the other, by their bytes it would jump by 256. */
constexpr uint32_t STORE_NUMBER_LEN = 4;

static uint32_t key_number(const uint8_t *key) {
    uint32_t number;
    std::memcpy(&number, key, sizeof number);
    return number;
}

static int compare_keys(const uint8_t *a, uint32_t a_len, const uint8_t *b, uint32_t b_len) {
    if (a_len == STORE_NUMBER_LEN && b_len == STORE_NUMBER_LEN) {
        const uint32_t x = key_number(a), y = key_number(b);
        return x < y ? -1 : x > y;
    }
    if (a_len == STORE_NUMBER_LEN || b_len == STORE_NUMBER_LEN) return a_len == STORE_NUMBER_LEN ? 1 : -1;
    const int order = std::memcmp(a, b, a_len < b_len ? a_len : b_len);
    return order != 0 ? order : static_cast<int>(a_len) - static_cast<int>(b_len);
}

static int compare_ref(const store_db *db, uint32_t ref, const uint8_t *key, uint32_t key_len) {
    const uint8_t *slot = store_slot_at(db, ref);
    return compare_keys(store_slot_key(slot), store_key_len(store_slot_head(slot)), key, key_len);
}

/* Never above that of a later key. */
static uint64_t key_begin(const uint8_t *slot) {
    uint8_t bytes[8] = {};
    const uint32_t len = store_key_len(store_slot_head(slot));
    if (len == STORE_NUMBER_LEN) return uint64_t{1} << 63 | key_number(store_slot_key(slot));
    std::memcpy(bytes, store_slot_key(slot), len < 8 ? len : 8);
    uint64_t word = 0;
    for (const uint8_t byte : bytes) word = word << 8 | byte;
    return word >> 1;
}

static void collect(const store_db *db, sort_row *rows) {
    uint32_t count = 0;
    for (uint32_t page = 1; page < db->pages;) {
        store_page_head head;
        std::memcpy(&head, db->file.base + uint64_t{page} * STORE_PAGE, sizeof head);
        for (uint32_t slot = 0; slot < store_classes[head.slot_class].slots; slot++) {
            const uint64_t place = store_slot_place(page, head.slot_class, slot);
            const uint8_t *bytes = db->file.base + place;
            if (store_slot_head(bytes) == STORE_SLOT_FREE) continue;
            rows[count++] = {key_begin(bytes), static_cast<uint32_t>(place / 4)};
        }
        page += store_classes[head.slot_class].pages;
    }
}

static bool sort_refs(const store_db *db, store_walk *walk) {
    auto *rows = new (std::nothrow) sort_row[db->records + 1];
    if (rows == nullptr) return false;
    collect(db, rows);
    std::sort(rows, rows + db->records, [db](const sort_row &a, const sort_row &b) {
        if (a.begin != b.begin) return a.begin < b.begin;
        const uint8_t *slot = store_slot_at(db, b.ref);
        return compare_ref(db, a.ref, store_slot_key(slot), store_key_len(store_slot_head(slot))) < 0;
    });
    for (uint32_t i = 0; i < db->records; i++) walk->sorted[i] = rows[i].ref;
    delete[] rows;
    return true;
}

static int walk_begin(store_db *db) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_WALK, &code)) return code;
    auto *walk = new (std::nothrow) store_walk{};
    if (walk == nullptr) return STORE_NO_SPACE;
    db->walk = walk;
    walk->sorted_count = db->records;
    walk->gone_bits = uint64_t{db->pages} * STORE_PAGE / 16;
    walk->sorted = static_cast<uint32_t *>(std::malloc((uint64_t{db->records} + 1) * sizeof(uint32_t)));
    walk->added = static_cast<uint32_t *>(std::malloc(STORE_ADDED_MAX * sizeof(uint32_t)));
    walk->gone = static_cast<uint64_t *>(std::calloc(walk->gone_bits / 64 + 1, sizeof(uint64_t)));
    if (walk->sorted != nullptr && walk->added != nullptr && walk->gone != nullptr && sort_refs(db, walk))
        return 0;
    store_walk_end(db);
    return STORE_NO_SPACE;
}

void store_walk_end(store_db *db) {
    if (db->walk == nullptr) return;
    std::free(db->walk->sorted);
    std::free(db->walk->added);
    std::free(db->walk->gone);
    delete db->walk;
    db->walk = nullptr;
}

uint64_t store_walk_bytes(const store_walk *walk) {
    if (walk == nullptr) return 0;
    return sizeof *walk + uint64_t{walk->sorted_count} * 4 + STORE_ADDED_MAX * 4 + walk->gone_bits / 8;
}

static bool is_gone(const store_walk *walk, uint32_t ref) {
    const uint64_t bit = ref / 4;
    return (walk->gone[bit / 64] >> bit % 64 & 1) != 0;
}

/* The first of 'added' whose key is not below (or, with 'after', is above) the key. */
static uint32_t added_at(const store_db *db, const uint8_t *key, uint32_t key_len, bool after) {
    const store_walk *walk = db->walk;
    const uint32_t *found =
        std::partition_point(walk->added, walk->added + walk->added_count, [=](uint32_t ref) {
            const int order = compare_ref(db, ref, key, key_len);
            return order < 0 || (after && order == 0);
        });
    return static_cast<uint32_t>(found - walk->added);
}

void store_walk_added(store_db *db, uint32_t ref) {
    store_walk *walk = db->walk;
    if (walk->added_count == STORE_ADDED_MAX) {
        store_walk_end(db);
        return;
    }
    const uint8_t *slot = store_slot_at(db, ref);
    const uint32_t at = added_at(db, store_slot_key(slot), store_key_len(store_slot_head(slot)), false);
    std::memmove(walk->added + at + 1, walk->added + at, (walk->added_count - at) * sizeof(uint32_t));
    walk->added[at] = ref;
    walk->added_count++;
}

void store_walk_removed(store_db *db, uint32_t ref) {
    store_walk *walk = db->walk;
    const uint8_t *slot = store_slot_at(db, ref);
    const uint32_t at = added_at(db, store_slot_key(slot), store_key_len(store_slot_head(slot)), false);
    if (at < walk->added_count && walk->added[at] == ref) {
        walk->added_count--;
        std::memmove(walk->added + at, walk->added + at + 1, (walk->added_count - at) * sizeof(uint32_t));
        return;
    }
    walk->gone[ref / 4 / 64] |= uint64_t{1} << ref / 4 % 64;
}

/* Places 'at' behind the cursor. A freed slot has no key any more: its next living neighbour decides. */
static void place_walk(const store_db *db, const uint8_t *key, uint32_t key_len) {
    store_walk *walk = db->walk;
    uint32_t low = 0;
    uint32_t high = walk->sorted_count;
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        uint32_t living = middle;
        while (living < high && is_gone(walk, walk->sorted[living])) living++;
        if (living == high || compare_ref(db, walk->sorted[living], key, key_len) > 0)
            high = middle;
        else
            low = living + 1;
    }
    walk->at = low;
    walk->placed = true;
}

static uint32_t next_sorted(const store_db *db) {
    store_walk *walk = db->walk;
    while (walk->at < walk->sorted_count && is_gone(walk, walk->sorted[walk->at])) walk->at++;
    if (walk->at == walk->sorted_count) return 0;
    if (walk->at + STORE_WALK_AHEAD < walk->sorted_count)
        __builtin_prefetch(store_slot_at(db, walk->sorted[walk->at + STORE_WALK_AHEAD]));
    return walk->sorted[walk->at];
}

int store_walk_next(store_db *db, const uint8_t *key, uint32_t key_len, bool moved, uint32_t *ref) {
    if (db->walk == nullptr) {
        const int code = walk_begin(db);
        if (code != 0) return code;
    }
    store_walk *walk = db->walk;
    if (moved || !walk->placed) place_walk(db, key, key_len);
    const uint32_t old = next_sorted(db);
    const uint32_t at = added_at(db, key, key_len, true);
    const uint32_t fresh = at < walk->added_count ? walk->added[at] : 0;
    *ref = old != 0 ? old : fresh;
    if (old != 0 && fresh != 0) {
        const uint8_t *slot = store_slot_at(db, fresh);
        const uint32_t fresh_len = store_key_len(store_slot_head(slot));
        if (compare_ref(db, old, store_slot_key(slot), fresh_len) > 0) *ref = fresh;
    }
    if (*ref == 0) {
        store_walk_end(db);
        return STORE_ABSENT;
    }
    if (*ref == old) walk->at++;
    return 0;
}
