/* The services: which database is open under which id, the immediate operations, the cursors, the queues. */
#include "host/store/store_private.h"

#include <unistd.h>

static bool key_usable(const pss2_datum *key) {
    return key != nullptr && key->p != nullptr && key->len != 0 && key->len <= STORE_KEY_MAX;
}

static bool value_usable(const pss2_datum *value) {
    return value != nullptr && (value->p != nullptr || value->len == 0) && value->len <= STORE_VALUE_MAX;
}

static int service_usable(const pss2_service *service) {
    return service == nullptr ? STORE_BAD_ARGUMENT : service->open ? STORE_OK : STORE_CLOSED;
}

void fu_global_pss_service_default_arg(fu_pss_service_arg *arg) {
    *arg = {};
    arg->id = -1;
}

int fu_pss_service_arg_uri_set(fu_pss_service_arg *arg, const char *uri) {
    arg->uri[0] = 0;
    if (uri == nullptr || std::strlen(uri) >= sizeof arg->uri) return STORE_BAD_ARGUMENT;
    std::strcpy(arg->uri, uri);
    return STORE_OK;
}

static bool ends_with(const char *text, const char *end) {
    const size_t text_len = std::strlen(text);
    const size_t end_len = std::strlen(end);
    return text_len >= end_len && std::strcmp(text + text_len - end_len, end) == 0;
}

/* The file's name within the store's folder; false when the uri names a file that cannot be a database. */
static bool file_name(const fu_pss_service_arg *arg, char *name, size_t size) {
    const char *uri = arg->uri;
    if (std::memchr(uri, 0, sizeof arg->uri) == nullptr) return false;
    const char *scheme = std::strchr(uri, ':');
    const char *path = scheme == nullptr ? uri : scheme + 1;
    int len;
    if (path[0] != '/') {
        if (path[0] == 0 || std::strchr(path, '/') != nullptr) return false;
        len = std::snprintf(name, size, "%s%s_%d", STORE_PREFIX, path, arg->id);
    } else {
        const size_t folder_len = sizeof STORE_FOLDER - 1;
        if (std::strncmp(path, STORE_FOLDER, folder_len) != 0 || path[folder_len] != '/') return false;
        len = std::snprintf(name, size, "%s", path + folder_len + 1);
    }
    if (len < 0 || static_cast<size_t>(len) >= size || std::strchr(name, '/') != nullptr) return false;
    if (std::strncmp(name, STORE_PREFIX, sizeof STORE_PREFIX - 1) != 0) return false;
    return std::strcmp(name, STORE_REDO_NAME) != 0 && !ends_with(name, ".aside") && !ends_with(name, ".new");
}

int fu_pss_entry_install(fu_global *, int, const fu_pss_service_arg *arg) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_OPEN, &code)) return code;
    char name[STORE_NAME_MAX + 1];
    if (arg == nullptr || arg->id < 0 || arg->id >= STORE_SERVICE_IDS) return STORE_BAD_ARGUMENT;
    if (!file_name(arg, name, sizeof name)) return STORE_BAD_ARGUMENT;
    pss2_service *service = &store_services[arg->id];
    if (service->open) return std::strcmp(service->db.name, name) == 0 ? STORE_OK : STORE_IN_USE;
    for (const pss2_service &other : store_services)
        if (other.open && std::strcmp(other.db.name, name) == 0) return STORE_IN_USE;
    code = store_own(false);
    if (code == 0) code = store_db_open(&service->db, name, arg, 0);
    if (code != 0) return code;
    service->open = true;
    service->id = arg->id;
    service->cursor = STORE_CURSOR_NOWHERE;
    return STORE_OK;
}

int fu_pss_service_get(int id, pss2_service **out) {
    *out = nullptr;
    if (id < 0 || id >= STORE_SERVICE_IDS || !store_services[id].open) return STORE_ABSENT;
    *out = &store_services[id];
    return STORE_OK;
}

int fu_vdc_pss_close_and_destroy(int, int id) {
    pss2_service *service;
    if (fu_pss_service_get(id, &service) != 0) return STORE_ABSENT;
    char name[STORE_NAME_MAX + 1];
    std::memcpy(name, service->db.name, sizeof name);
    store_db_close(&service->db);
    service->open = false;
    service->generation++;
    return unlinkat(store.folder_fd, name, 0) == 0 ? STORE_OK : STORE_IO;
}

static int immediate(pss2_service *service, store_op_kind kind, const pss2_datum *key,
                     const pss2_datum *value) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (!key_usable(key) || (kind == STORE_OP_STORE && !value_usable(value))) return STORE_BAD_ARGUMENT;
    store_op op{};
    op.key = static_cast<const uint8_t *>(key->p);
    op.key_len = static_cast<uint8_t>(key->len);
    op.kind = kind;
    op.service = static_cast<uint16_t>(service->id);
    op.generation = service->generation;
    if (kind == STORE_OP_STORE) {
        op.value = static_cast<const uint8_t *>(value->p);
        op.value_len = value->len;
    }
    return store_exec(&op, 1);
}

int pss2_store(pss2_service *service, const pss2_datum *key, const pss2_datum *value) {
    return immediate(service, STORE_OP_STORE, key, value);
}

static uint32_t find(const store_db *db, const void *key, uint32_t key_len) {
    const uint32_t *ref = store_db_find(db, store_hash(key, key_len), key, key_len);
    return ref == nullptr ? 0 : *ref;
}

int pss2_delete(pss2_service *service, const pss2_datum *key) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (!key_usable(key)) return STORE_BAD_ARGUMENT;
    if (find(&service->db, key->p, key->len) == 0) return STORE_ABSENT;
    return immediate(service, STORE_OP_DELETE, key, nullptr);
}

int fu_vdc_pss_store(int, int type, const pss2_datum *key, const pss2_datum *value) {
    pss2_service *service;
    const int code = fu_pss_service_get(type, &service);
    return code != 0 ? code : pss2_store(service, key, value);
}

int fu_vdc_pss_delete(int, int type, const pss2_datum *key) {
    pss2_service *service;
    const int code = fu_pss_service_get(type, &service);
    return code != 0 ? code : pss2_delete(service, key);
}

static void value_at(const store_db *db, uint32_t ref, pss2_datum *out) {
    const uint8_t *slot = store_slot_at(db, ref);
    const uint64_t head = store_slot_head(slot);
    *out = {store_slot_key(slot) + store_key_len(head), store_value_len(head)};
}

int pss2_fetch(pss2_service *service, const pss2_datum *key, pss2_datum *out) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (!key_usable(key) || out == nullptr) return STORE_BAD_ARGUMENT;
    const uint32_t ref = find(&service->db, key->p, key->len);
    if (ref == 0) return STORE_ABSENT;
    value_at(&service->db, ref, out);
    return STORE_OK;
}

static void cursor_set(pss2_service *service, uint32_t ref) {
    const uint8_t *slot = store_slot_at(&service->db, ref);
    service->cursor = STORE_CURSOR_ON;
    service->cursor_ref = ref;
    service->cursor_changes = service->db.changes;
    service->cursor_key_len = store_key_len(store_slot_head(slot));
    std::memcpy(service->cursor_key, store_slot_key(slot), service->cursor_key_len);
}

int pss2_move2location(pss2_service *service, int unit, int where) {
    int code = service_usable(service);
    if (code != 0) return code;
    if (unit != 1 || (where != PSS2_FIRST && where != PSS2_NEXT)) return STORE_BAD_ARGUMENT;
    if (where == PSS2_NEXT && service->cursor != STORE_CURSOR_ON) return STORE_ABSENT;
    if (where == PSS2_FIRST) service->cursor_key_len = 0;
    uint32_t ref = 0;
    code = store_walk_next(&service->db, service->cursor_key, service->cursor_key_len, where == PSS2_FIRST,
                           &ref);
    if (code == 0)
        cursor_set(service, ref);
    else
        service->cursor = STORE_CURSOR_END;
    return code;
}

int pss2_move2key(pss2_service *service, const pss2_datum *key) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (!key_usable(key)) return STORE_BAD_ARGUMENT;
    const uint32_t ref = find(&service->db, key->p, key->len);
    if (ref == 0) return STORE_ABSENT;
    cursor_set(service, ref);
    if (service->db.walk != nullptr) service->db.walk->placed = false;
    return STORE_OK;
}

int pss2_getkey(pss2_service *service, pss2_datum *out) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (out == nullptr) return STORE_BAD_ARGUMENT;
    if (service->cursor != STORE_CURSOR_ON) return STORE_ABSENT;
    *out = {service->cursor_key, service->cursor_key_len};
    return STORE_OK;
}

int pss2_getvalue(pss2_service *service, pss2_datum *out) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (out == nullptr) return STORE_BAD_ARGUMENT;
    if (service->cursor != STORE_CURSOR_ON) return STORE_ABSENT;
    if (service->cursor_changes != service->db.changes) {
        service->cursor_ref = find(&service->db, service->cursor_key, service->cursor_key_len);
        service->cursor_changes = service->db.changes;
    }
    if (service->cursor_ref == 0) return STORE_ABSENT;
    value_at(&service->db, service->cursor_ref, out);
    return STORE_OK;
}

int pss2_get_key_count(pss2_service *service, uint32_t *count) {
    const int code = service_usable(service);
    if (code != 0) return code;
    if (count == nullptr) return STORE_BAD_ARGUMENT;
    *count = service->db.records;
    return STORE_OK;
}

int pss2_set_max_dbsize(pss2_service *service, uint32_t size) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_MAX_DBSIZE, &code)) return code;
    code = service_usable(service);
    if (code != 0) return code;
    service->db.soft_limit = size;
    store_db_publish(&service->db);
    return STORE_OK;
}
