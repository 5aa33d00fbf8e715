/* host/trace/bt.h: binary histories: for each key the last few records of what happened to it, kept in memory after the
 * object is gone. Keys and records are bytes of a fixed length for each instance; what they mean is the caller's.
 *
 * A record costs one look-up and one copy; short records of an order queue wait for a few others first, since together
 * they cost half as much. Room for all entries of an instance is taken at its first record, in one piece, so that the
 * system gives memory only for what is used; nothing is allocated after that. At the maximum of
 * entries a new key takes the place of the entry that has waited longest for a record. Sticky entries stay.
 *
 * Instances may be joined in an order queue, which walks the records of all of them by arrival. One thread. */
#pragma once

#include "host/containers/ravl.h"

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t BT_KEY_MAX = RAVL_KEY_BYTES_MAX;
inline constexpr uint32_t BT_FILTERS_MAX = 16;
inline constexpr uint32_t BT_ENTRY_HEAD = 38;     /* bytes of an entry before its key */
inline constexpr uint32_t BT_ORDER_ROWS_MAX = 31; /* instances in one order queue */
inline constexpr uint32_t BT_STAGED_MAX = 16;
inline constexpr uint32_t BT_STAGED_BYTES = 64; /* key and record of one that may wait */
inline constexpr uint32_t BT_ENTRIES_MAX = 1u << 19;

struct bt_entry;
struct bt_filter_set;
struct bt_order_row;
struct bt_pool;
struct bt_slot;

/* An instance. A global of its owner; set up with bt_init(), read freely, changed by the calls below only. */
struct bt_desc {
    uint32_t enabled;       /* 1: records are taken */
    bt_filter_set *filters; /* null: none defined */
    bt_order_row *order;    /* null: in no order queue */
    ravl_tree keys;         /* entries by key; the newest may still be missing, see bt_private.h */
    uint32_t max_entries;
    uint32_t records_per_entry;
    void *(*alloc)(size_t bytes);
    void (*release)(void *block);
    bt_slot *oldest; /* entries that may be taken away, by their last record */
    bt_slot **newest;
    uint32_t entries; /* that exist, but for records that wait */
    uint32_t key_len; /* bytes */
    uint32_t rec_len;
    uint32_t head_len; /* of an entry, key included */
    bt_pool *pool;     /* null until the first entry */
};

/* A place in a walk: it names keys and holds no pointer, so it survives any change and may be sent away. What comes
 * back is checked with bt_pos_ok() or bt_pos_in_queue() first. All zero: the beginning. */
struct bt_pos {
    uint32_t instance; /* the caller's: of which history this is a place */
    uint32_t shown;    /* the caller's */
    uint64_t sequence; /* order queue: of the record */
    uint32_t row;      /* order queue: of its instance */
    uint16_t record;   /* walks over one entry or over filters: index */
    uint16_t key_len;
    uint8_t key[BT_KEY_MAX];
    uint8_t zero[16];
};
static_assert(sizeof(bt_pos) == 136);

/* 0; -1 for lengths or counts of 0, a key above BT_KEY_MAX, more than 255 records an entry or BT_ENTRIES_MAX
 * entries. Enabled afterwards. 'alloc' and 'release' as malloc() and free(). */
[[nodiscard]] int bt_init(bt_desc *desc, uint32_t key_len, uint32_t rec_len, uint32_t max_entries,
                          uint32_t records_per_entry, void *(*alloc)(size_t bytes),
                          void (*release)(void *block));
void bt_reset(bt_desc *desc); /* gives everything back; all zero afterwards */

/* Keeps a record. 0, also when the instance is disabled or a filter keeps the key out; -1, with nothing changed: no
 * memory, or all entries are sticky. */
int bt_add_rec(bt_desc *desc, const void *key, const void *rec);

void bt_enable(bt_desc *desc, bool on);   /* entries stay either way */
int bt_delete_all_entries(bt_desc *desc); /* sticky ones too; how many there were */
[[nodiscard]] uint32_t bt_get_num_entries(const bt_desc *desc);
[[nodiscard]] inline uint32_t bt_get_num_records(const bt_desc *desc) { return desc->records_per_entry; }

/* Entries in the order of their keys' bytes. They note their place in '*pos'; next goes on from there, whether that
 * entry still exists or not. Null at the end. The caller's words of '*pos' stay. */
[[nodiscard]] const bt_entry *bt_get_first_entry(bt_desc *desc, bt_pos *pos);
[[nodiscard]] const bt_entry *bt_get_next_entry(bt_desc *desc, bt_pos *pos);
[[nodiscard]] const bt_entry *bt_get_entry(const bt_desc *desc, const void *key); /* null: none */
[[nodiscard]] const void *bt_entry_key(const bt_entry *entry);

/* Records of an entry, oldest first; null at the end. Good until the next record is added. */
[[nodiscard]] const void *bt_get_first_record(const bt_desc *desc, const bt_entry *entry, bt_pos *pos);
[[nodiscard]] const void *bt_get_next_record(const bt_desc *desc, const bt_entry *entry, bt_pos *pos);

/* Filters: with any defined, only records of equal keys are taken. add: 0, also when it is there; -1: no room or no
 * memory. delete: 0, or -1 when there is none. Walks give the keys. */
[[nodiscard]] int bt_filter_add(bt_desc *desc, const void *key);
[[nodiscard]] int bt_filter_delete(bt_desc *desc, const void *key);
[[nodiscard]] const void *bt_get_first_filter(const bt_desc *desc, bt_pos *pos);
[[nodiscard]] const void *bt_get_next_filter(const bt_desc *desc, bt_pos *pos);

/* Sticky entries are never taken away for a new key. add makes an empty one for a key that has none. 0; -1: no memory,
 * or all entries are sticky. delete: 0, or -1 when the key is not sticky; an entry without records goes. */
[[nodiscard]] int bt_sticky_add(bt_desc *desc, const void *key);
[[nodiscard]] int bt_sticky_delete(bt_desc *desc, const void *key);
[[nodiscard]] const void *bt_get_first_sticky(bt_desc *desc, bt_pos *pos);
[[nodiscard]] const void *bt_get_next_sticky(bt_desc *desc, bt_pos *pos);

/* True when '*pos' can be a place in a walk over the entries of 'desc'. */
[[nodiscard]] bool bt_pos_ok(const bt_desc *desc, const bt_pos *pos);

/* ---- records of several instances by arrival ---- */

struct bt_order_row {
    bt_desc *desc; /* null: nobody has this row */
    struct bt_order_q *queue;
    bt_pool *pool; /* of the instance */
};

/* A record that waits: key, then record. */
struct bt_staged {
    bt_desc *desc;
    uint32_t hash; /* of the key */
    uint8_t bytes[BT_STAGED_BYTES];
};

struct bt_order_q {
    uint32_t rows;
    uint32_t first, last; /* references to nodes; 0: none */
    uint64_t sequence;    /* of the newest record */
    bt_order_row row[BT_ORDER_ROWS_MAX];
    uint32_t staged_count;
    bt_staged staged[BT_STAGED_MAX];
};

/* 0; -1 for more than BT_ORDER_ROWS_MAX rows. */
[[nodiscard]] int bt_init_rec_order_queue(bt_order_q *queue, uint32_t rows);
/* Joins an instance that has no record yet. 0; -1: it has, the row is not there or has another instance. */
[[nodiscard]] int bt_set_rec_order(bt_desc *desc, bt_order_q *queue, uint32_t row);

struct bt_ordered_rec {
    const bt_desc *desc;
    const bt_entry *entry;
    const void *rec;
};
/* Oldest first; false at the end. When the record of '*pos' is gone, next goes on with the first that came after it. */
[[nodiscard]] bool bt_get_first_rec_queue(bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out);
/* The oldest of the newest 'count' records (at least 1); takes so many steps. */
[[nodiscard]] bool bt_get_newest_rec_queue(bt_order_q *queue, uint32_t count, bt_pos *pos,
                                           bt_ordered_rec *out);
[[nodiscard]] bool bt_get_next_rec_queue(bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out);
[[nodiscard]] bool bt_pos_in_queue(const bt_order_q *queue, const bt_pos *pos);
