/* A batch: planned (hashes, room), written to the redo log, sealed, carried out, cleared. Everything that can fail
 * fails before the seal. While it is planned, the index lines of all its keys are fetched, and while it is carried
 * out, the records a few operations ahead: so the cache misses of a batch overlap. */
#include "host/store/store_private.h"

constexpr uint32_t STORE_AHEAD = 8;

struct batch {
    uint32_t db_count;
    uint16_t services[STORE_SERVICE_IDS]; /* in the order of the redo log */
    uint32_t live;                        /* operations not skipped */
    uint64_t log_bytes;
    int code; /* of the first operation that was skipped */
};

static void skip(batch *b, store_op *op, int code) {
    op->kind = STORE_OP_SKIPPED;
    if (b->code == 0) b->code = code;
}

static store_batch_share *share_of(batch *b, uint16_t service) {
    store_db *db = &store_services[service].db;
    if (db->share.number != store.batch) {
        db->share = {};
        db->share.number = store.batch;
        db->share.log_index = b->db_count;
        b->services[b->db_count++] = service;
        b->log_bytes += store_redo_db_size(db->name);
    }
    return &db->share;
}

static void plan_op(batch *b, store_op *op) {
    const pss2_service *service = &store_services[op->service];
    if (!service->open || service->generation != op->generation) {
        skip(b, op, STORE_CLOSED);
        return;
    }
    op->hash = store_hash(op->key, op->key_len);
    store_index_prefetch(&service->db.index, op->hash);
    store_batch_share *share = share_of(b, op->service);
    b->log_bytes += store_redo_op_size(op->key_len, op->value_len);
    b->live++;
    if (op->kind != STORE_OP_STORE) return;
    const uint32_t slot_class = store_class_of(STORE_SLOT_HEAD + op->key_len + op->value_len);
    const store_class &row = store_classes[slot_class];
    share->classes[slot_class / 64] |= uint64_t{1} << slot_class % 64;
    share->bytes += (uint64_t{row.pages} * STORE_PAGE + row.slots - 1) / row.slots;
    share->stores++;
}

/* Room for the case that all stores are new: for each class the part of a page that they fill, and one page more. */
static void reserve(store_db *db) {
    const store_batch_share *share = &db->share;
    if (share->stores == 0) return;
    const int classes = __builtin_popcountll(share->classes[0]) + __builtin_popcountll(share->classes[1]);
    const uint64_t pages = share->bytes / STORE_PAGE + static_cast<uint32_t>(classes);
    bool tight = store.pages_used * STORE_PAGE >= store.hard_bound;
    if (tight && !store.hard_bound_said) {
        store.hard_bound_said = true;
        store_say("the store has reached its bound of %llu bytes; new records are refused",
                  static_cast<unsigned long long>(store.hard_bound));
    }
    if (!tight) tight = store_db_reserve(db, pages, share->stores) != 0;
    db->share.tight = tight;
    if (!tight) return;
    std::memset(db->tight_used, 0, sizeof db->tight_used);
    db->share.stores = 0;
}

/* Without room to grow: a store that stays in its slot, or finds a free slot that no earlier one was promised. */
static bool fits_tight(store_db *db, const store_op *op) {
    const uint32_t slot_class = store_class_of(STORE_SLOT_HEAD + op->key_len + op->value_len);
    const uint32_t *ref = store_db_find(db, op->hash, op->key, op->key_len);
    if (ref != nullptr && store_class_of_lengths(store_slot_head(store_slot_at(db, *ref))) == slot_class)
        return true;
    if (db->tight_used[slot_class] >= db->free_count[slot_class]) return false;
    if (!store_index_fits(&db->index, db->share.stores + 1)) return false;
    db->tight_used[slot_class]++;
    db->share.stores++;
    return true;
}

static void refuse_what_does_not_fit(batch *b, store_op *ops, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) {
        if (ops[i].kind != STORE_OP_STORE) continue;
        store_db *db = &store_services[ops[i].service].db;
        if (!db->share.tight || fits_tight(db, &ops[i])) continue;
        skip(b, &ops[i], STORE_NO_SPACE);
        b->live--;
    }
}

static void plan(batch *b, store_op *ops, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) plan_op(b, &ops[i]);
    bool tight = false;
    for (uint32_t i = 0; i < b->db_count; i++) {
        store_db *db = &store_services[b->services[i]].db;
        reserve(db);
        tight = tight || db->share.tight;
    }
    if (tight) refuse_what_does_not_fit(b, ops, count);
}

static void write_log(const batch *b, const store_op *ops, uint32_t count) {
    store_redo_begin();
    for (uint32_t i = 0; i < b->db_count; i++) store_redo_database(&store_services[b->services[i]].db);
    for (uint32_t i = 0; i < count; i++) {
        if (ops[i].kind == STORE_OP_SKIPPED) continue;
        store_redo_op(&ops[i], store_services[ops[i].service].db.share.log_index);
        store_step_at(STORE_STEP_LOG_OP, i);
    }
    store_step_at(STORE_STEP_LOGGED, count);
}

static void prefetch_record(const store_op *op) {
    const store_db *db = &store_services[op->service].db;
    const uint32_t ref = store_index_candidate(&db->index, op->hash);
    if (ref == 0) return;
    __builtin_prefetch(store_slot_at(db, ref), 1);
    __builtin_prefetch(store_slot_at(db, ref) + 63, 1);
}

static void apply(const store_op *ops, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) {
        if (i + STORE_AHEAD < count && ops[i + STORE_AHEAD].kind != STORE_OP_SKIPPED)
            prefetch_record(&ops[i + STORE_AHEAD]);
        if (ops[i].kind == STORE_OP_SKIPPED) continue;
        store_db_apply(&store_services[ops[i].service].db, &ops[i]);
        store_step_at(STORE_STEP_APPLIED_OP, i);
    }
    store_step_at(STORE_STEP_APPLIED, count);
}

/* The limit is told once for each opening of a database, its count goes on in the file. */
static void count_over_limit(store_db *db) {
    if (db->soft_limit == 0 || db->share.came == 0) return;
    const uint64_t bytes = uint64_t{db->pages} * STORE_PAGE;
    if (bytes <= db->soft_limit) return;
    db->over_limit += db->share.came;
    if (!db->over_said)
        store_say("%s: has passed its limit of %u bytes; records are still stored", db->name, db->soft_limit);
    db->over_said = true;
    store_db_publish(db);
}

int store_exec(store_op *ops, uint32_t count) {
    batch b{};
    store.batch++;
    store_step_at(STORE_STEP_BEGIN, count);
    plan(&b, ops, count);
    if (b.live == 0) return b.code;
    if (store_redo_room(b.log_bytes) != 0) {
        store_say("%s: no room for a batch of %u operations, it is refused", STORE_REDO_NAME, count);
        return STORE_NO_SPACE;
    }
    write_log(&b, ops, count);
    store_redo_seal();
    store_step_at(STORE_STEP_SEALED, count);
    apply(ops, count);
    store_redo_clear();
    store_step_at(STORE_STEP_CLEARED, count);
    for (uint32_t i = 0; i < b.db_count; i++) count_over_limit(&store_services[b.services[i]].db);
    return b.code;
}
