/* Targets whose input damages what a process leaves behind; the next process starts from it. */
#include "host/store/store.h"
#include "persist/lcfwd_pss_kind.h"
#include "tests/fuzz/fuzz_process.h"
#include "tests/support/model_check.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

/* Nothing that a store can say brings objects out of order, and all of it can be torn down. What the records name may
 * not be in hardware, and the other way round. */
static void restart_and_check(lcfwd_rig &rig) {
    (void)rig.start();
    const model_check_options options = {
        .engine = false, .records = false, .values = false, .sound = false, .orphans = true};
    std::string findings = model_findings(rig, options);
    if (findings.empty()) {
        rig.vdc(1);
        rig.send(OPC_V4_ROUTES, fuzz_routes(false, false, false));
        rig.send(OPC_V6_ROUTES, fuzz_routes(true, false, false));
        rig.advance_seconds(6);
        findings = model_findings(rig, options);
    }
    for (uint16_t vdc = 1; findings.empty() && vdc <= 5; vdc++) {
        rig.send(OPC_VDC_DELETE, wire_vdc(vdc));
        findings = model_findings(rig, options);
    }
    if (!findings.empty()) fuzz_fail(findings.c_str());
}

static std::vector<std::filesystem::path> store_files(const lcfwd_rig &rig) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(rig.root + "/dev/shm"))
        if (entry.path().filename().string().rfind("lcfwd_", 0) == 0) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

enum damage : uint8_t { OVERWRITE, CUT, APPEND, DAMAGES };

static void file_damage(const std::filesystem::path &path, fuzz_input *input) {
    const uint8_t kind = input->u8() % DAMAGES;
    const uint64_t size = std::filesystem::file_size(path);
    const uint64_t at = size == 0 ? 0 : (uint64_t{input->u16()} << 16 | input->u16()) % size;
    const bytes piece = input->piece();
    if (kind == CUT) {
        std::filesystem::resize_file(path, at);
        return;
    }
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(kind == APPEND ? size : at));
    const uint64_t room = kind == APPEND ? piece.size() : std::min<uint64_t>(piece.size(), size - at);
    file.write(reinterpret_cast<const char *>(piece.data()), static_cast<std::streamsize>(room));
}

static void store_file_run(const uint8_t *data, size_t size) {
    lcfwd_rig rig(fuzz_rig_options());
    fuzz_process_make(&rig);
    rig.stop();
    const std::vector<std::filesystem::path> files = store_files(rig);
    fuzz_input input = {data, size};
    for (int count = 0; input.left != 0 && count < 8; count++)
        file_damage(files[input.u8() % files.size()], &input);
    restart_and_check(rig);
}

/* One damage a file: a byte in the header, in the first page's head, in its first record; half the file. */
static std::vector<bytes> store_file_seeds() {
    std::vector<bytes> seeds;
    for (uint8_t file = 0; file < 24; file++)
        for (const unsigned offset : {0u, 40u, 4096u, 4108u, 4112u, 4125u, 8192u}) {
            bytes seed = {file, static_cast<uint8_t>(offset == 8192 ? CUT : OVERWRITE)};
            put32(&seed, offset);
            fuzz_put_piece(&seed, {0xff, 0, 0x80});
            seeds.push_back(seed);
        }
    return seeds;
}
const fuzz_target fuzz_store_file = {"store_file", store_file_run, store_file_seeds};

/* ---- records ---- */

static void record_put(fuzz_input *input) {
    const uint32_t kind = input->u8() % (LCFWD_PSS_KIND_COUNT + 1);
    const bytes key = input->piece(), value = input->piece();
    const int id = kind == LCFWD_PSS_KIND_COUNT ? LCFWD_PSS_VDC_SERVICE_ID : lcfwd_pss_service_id(kind, 1);
    pss2_service *service = nullptr;
    if (fu_pss_service_get(id, &service) != STORE_OK || key.empty()) return;
    const pss2_datum k = {key.data(), static_cast<uint32_t>(key.size())};
    const pss2_datum v = {value.data(), static_cast<uint32_t>(value.size())};
    (void)pss2_store(service, &k, &v);
}

static void store_record_run(const uint8_t *data, size_t size) {
    lcfwd_rig rig(fuzz_rig_options());
    fuzz_process_make(&rig);
    fuzz_input input = {data, size};
    for (int count = 0; input.left != 0 && count < 16; count++) record_put(&input);
    rig.stop();
    restart_and_check(rig);
}

/* The records that a good process leaves, kind by kind. */
static std::vector<bytes> store_record_seeds() {
    lcfwd_rig rig(fuzz_rig_options());
    fuzz_process_make(&rig);
    std::vector<bytes> seeds;
    for (uint32_t kind = 0; kind <= LCFWD_PSS_KIND_COUNT; kind++) {
        const std::string file = kind == LCFWD_PSS_KIND_COUNT ? "vdc" : lcfwd_pss_file_name(kind, 1);
        bytes seed;
        for (const auto &[key, value] : rig.records(file)) {
            put8(&seed, kind);
            fuzz_put_piece(&seed, bytes_from_hex(key));
            fuzz_put_piece(&seed, bytes_from_hex(value));
        }
        if (!seed.empty()) seeds.push_back(seed);
    }
    return seeds;
}
const fuzz_target fuzz_store_record = {"store_record", store_record_run, store_record_seeds};
