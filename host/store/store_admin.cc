#include "host/store/store_admin.h"

#include "host/store/store_inspect.h"
#include "host/store/store_private.h"
#include "host/system/root.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

constexpr size_t STORE_PATH = 4096;

store_state store;
pss2_service store_services[STORE_SERVICE_IDS];

void store_log_set(store_log_fn log, void *ctx) {
    store.log = log;
    store.log_ctx = ctx;
}

void store_say(const char *format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (store.log != nullptr)
        store.log(store.log_ctx, text);
    else
        std::fprintf(stderr, "store: %s\n", text);
}

bool store_fault_fires(store_fault_point point, int *code) {
    store_fault *fault = &store.faults[point];
    if (fault->countdown == 0 || --fault->countdown != 0) return false;
    fault->struck++;
    if (fault->keep_failing) fault->countdown = 1;
    *code = fault->code;
    return true;
}

void store_fault_set(store_fault_point point, uint32_t nth, int code, bool keep_failing) {
    store.faults[point] = {nth, code, keep_failing, 0};
}

uint32_t store_fault_struck(store_fault_point point) { return store.faults[point].struck; }

void store_step_hook_set(store_step_fn hook) { store.hook = hook; }

void store_hard_bound_set(uint64_t bytes) {
    store.hard_bound = bytes == 0 ? STORE_HARD_BOUND : bytes;
    store.hard_bound_said = false;
}

static int folder_open() {
    char path[STORE_PATH];
    if (host_path(STORE_FOLDER, path, sizeof path) != 0) {
        store_say("the root directory's name is too long");
        return STORE_IO;
    }
    store.folder_fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (store.folder_fd < 0 && errno == ENOENT && host_make_directories(STORE_FOLDER) == 0)
        store.folder_fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (store.folder_fd >= 0) return 0;
    store_say("%s: %s", path, std::strerror(errno));
    return STORE_IO;
}

static void disown() {
    store_file_close(&store.redo);
    if (store.folder_fd >= 0) close(store.folder_fd);
    store.folder_fd = -1;
    store.owned = false;
}

int store_own(bool forget) {
    if (store.owned) return 0;
    int code = folder_open();
    if (code == 0) code = store_redo_open();
    if (code == 0 && forget) store_redo_clear();
    if (code == 0) code = store_redo_replay();
    if (code != 0)
        disown();
    else
        store.owned = true;
    return code;
}

int store_claim(bool forget) { return store_own(forget); }

static void note_records(void *ctx, const store_file_info *info) {
    if (info->state == STORE_FILE_GOOD && info->records != 0) *static_cast<bool *>(ctx) = true;
}

bool store_usable_state() {
    char path[STORE_PATH];
    bool found = false;
    if (store_own(false) != 0 || host_path(STORE_FOLDER, path, sizeof path) != 0) return false;
    if (store_inspect_list(path, note_records, &found, nullptr) != 0) return false;
    return found || store.replayed != 0;
}

static bool any_open() {
    for (const pss2_service &service : store_services)
        if (service.open) return true;
    return false;
}

int store_remove_leftovers() {
    if (any_open()) return STORE_IN_USE;
    int code = store_own(true);
    if (code != 0) return code;
    /* The log stays, empty: its lock is what tells others that the store has an owner. */
    DIR *folder = fdopendir(openat(store.folder_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder == nullptr) return STORE_IO;
    while (const dirent *entry = readdir(folder)) {
        if (std::strncmp(entry->d_name, STORE_PREFIX, sizeof STORE_PREFIX - 1) != 0) continue;
        if (std::strcmp(entry->d_name, STORE_REDO_NAME) == 0) continue;
        if (unlinkat(store.folder_fd, entry->d_name, 0) == 0) continue;
        store_say("%s: cannot be removed: %s", entry->d_name, std::strerror(errno));
        code = STORE_IO;
    }
    closedir(folder);
    return code;
}

int store_open_report_get(int id, store_open_report *out) {
    pss2_service *service;
    const int code = fu_pss_service_get(id, &service);
    if (code == 0) *out = service->db.report;
    return code;
}

uint32_t store_replayed_operations() { return store.replayed; }

int store_memory_get(int id, store_memory *out) {
    pss2_service *service;
    const int code = fu_pss_service_get(id, &service);
    if (code != 0) return code;
    const store_db *db = &service->db;
    *out = {db->file.size,
            uint64_t{db->index.chunk_count} * sizeof(store_chunk) + store_walk_bytes(db->walk)};
    return 0;
}

void store_reset() {
    for (pss2_service &service : store_services) {
        if (service.open) store_db_close(&service.db);
        const uint32_t generation = service.generation + 1;
        service = {};
        service.generation = generation;
    }
    disown();
    for (pss2_ops &ops : store.buffers) std::free(ops.ops);
    store = {};
}
