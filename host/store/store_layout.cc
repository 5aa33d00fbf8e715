#include "host/store/store_layout.h"

constexpr uint32_t STORE_ROOM = STORE_PAGE - STORE_PAGE_HEAD;
constexpr uint32_t STORE_SMALL = 128; /* up to here the sizes go up in steps of 4 */
constexpr uint32_t STORE_SMALL_FIRST = STORE_SLOT_MIN;
constexpr uint32_t STORE_SMALL_CLASSES = (STORE_SMALL - STORE_SMALL_FIRST) / 4 + 1; /* 1..29 */
constexpr uint32_t STORE_MANY = 30; /* slots in a page of the first class above; then 29, 28 ... 1 */
constexpr uint32_t STORE_FIRST_RUN = STORE_SMALL_CLASSES + STORE_MANY + 1;

struct store_class_table {
    store_class rows[STORE_CLASSES];
};

static constexpr store_class_table make_classes() {
    store_class_table table{};
    table.rows[0] = {STORE_ROOM, 0, 1};
    uint32_t at = 1;
    for (uint32_t size = STORE_SMALL_FIRST; size <= STORE_SMALL; size += 4)
        table.rows[at++] = {size, STORE_ROOM / size, 1};
    for (uint32_t slots = STORE_MANY; slots >= 1; slots--)
        table.rows[at++] = {STORE_ROOM / slots & ~3u, slots, 1};
    for (uint32_t pages = 2; at < STORE_CLASSES; pages *= 2)
        table.rows[at++] = {pages * STORE_PAGE - STORE_PAGE_HEAD, 1, pages};
    return table;
}

static constexpr store_class_table class_table = make_classes();
static_assert(class_table.rows[STORE_FIRST_RUN].pages == 2 &&
              class_table.rows[STORE_CLASSES - 1].pages == 4096);
const store_class *const store_classes = class_table.rows;

uint32_t store_class_of(uint32_t need) {
    const uint32_t size = (need + 3) & ~3u;
    if (size <= STORE_SMALL_FIRST) return 1;
    if (size <= STORE_SMALL) return (size - STORE_SMALL_FIRST) / 4 + 1;
    if (size <= STORE_ROOM) return STORE_SMALL_CLASSES + 1 + STORE_MANY - STORE_ROOM / size;
    uint32_t slot_class = STORE_FIRST_RUN;
    while (slot_class < STORE_CLASSES - 1 && store_classes[slot_class].slot_size < size) slot_class++;
    return slot_class;
}

static uint32_t header_sum(const store_header *header) {
    return store_sum(0, header, offsetof(store_header, check));
}

void store_header_make(store_header *header, uint32_t service_id, uint32_t key_size, uint32_t value_size) {
    *header = {};
    std::memcpy(header->magic, STORE_MAGIC, sizeof header->magic);
    header->layout = STORE_LAYOUT_VERSION;
    header->page_size = STORE_PAGE;
    header->service_id = service_id;
    header->key_size = key_size;
    header->value_size = value_size;
    header->check = header_sum(header);
    header->pages = store_guard(1);
    header->soft_limit = store_guard(0);
    header->over_limit = store_guard(0);
}

store_header_state store_header_check(const store_header *header) {
    if (std::memcmp(header->magic, STORE_MAGIC, sizeof header->magic) != 0) return STORE_HEADER_BAD;
    if (header->check != header_sum(header)) return STORE_HEADER_BAD;
    if (header->layout != STORE_LAYOUT_VERSION || header->page_size != STORE_PAGE)
        return STORE_HEADER_OTHER_LAYOUT;
    return STORE_HEADER_GOOD;
}

static uint64_t better_word(uint64_t first, uint64_t second, bool *repaired) {
    if (store_guard_good(first) && first == second) return first;
    /* The owner writes the first header first: when only one of two good words is new, it is that one. */
    if (store_guard_good(first) && store_guard_good(second)) return first;
    *repaired = true;
    return store_guard_good(first) ? first : store_guard_good(second) ? second : 0;
}

store_header_state store_header_read(const uint8_t *page, store_header *out, bool *repaired) {
    store_header first, second;
    std::memcpy(&first, page, sizeof first);
    std::memcpy(&second, page + STORE_SECOND_HEADER, sizeof second);
    const store_header_state state = store_header_check(&first);
    const store_header_state other = store_header_check(&second);
    *repaired = state != other;
    *out = state == STORE_HEADER_BAD ? second : first;
    out->pages = better_word(first.pages, second.pages, repaired);
    out->soft_limit = better_word(first.soft_limit, second.soft_limit, repaired);
    out->over_limit = better_word(first.over_limit, second.over_limit, repaired);
    return state == STORE_HEADER_BAD ? other : state;
}

static uint32_t page_head_sum(const store_page_head *head) {
    return store_sum(1, head, offsetof(store_page_head, check));
}

void store_page_head_make(store_page_head *head, uint32_t page, uint32_t slot_class) {
    *head = {STORE_PAGE_MAGIC, page, slot_class, 0};
    head->check = page_head_sum(head);
}

bool store_page_head_good(const store_page_head *head, uint32_t page) {
    return head->magic == STORE_PAGE_MAGIC && head->page == page && head->slot_class < STORE_CLASSES &&
           head->check == page_head_sum(head);
}

bool store_slot_good(const uint8_t *slot, uint64_t place, uint32_t slot_class) {
    const uint64_t head = store_slot_head(slot);
    const uint32_t key_len = store_key_len(head);
    if (key_len == 0 || key_len > 64 || slot_class == 0) return false;
    if (STORE_SLOT_HEAD + key_len + store_value_len(head) > store_classes[slot_class].slot_size) return false;
    if (store_class_of_lengths(head) != slot_class) return false;
    return static_cast<uint32_t>(head >> 32) ==
           store_slot_sum(place, static_cast<uint32_t>(head), slot + STORE_SLOT_HEAD);
}

uint32_t store_page_class_guess(const uint8_t *page_bytes, size_t room, uint32_t page) {
    for (uint32_t slot_class = 1; slot_class < STORE_CLASSES; slot_class++) {
        const store_class &row = store_classes[slot_class];
        if (uint64_t{row.pages} * STORE_PAGE > room) break;
        for (uint32_t slot = 0; slot < row.slots; slot++) {
            const uint64_t place = store_slot_place(page, slot_class, slot);
            if (store_slot_good(page_bytes + (place - uint64_t{page} * STORE_PAGE), place, slot_class))
                return slot_class;
        }
    }
    return 0;
}
