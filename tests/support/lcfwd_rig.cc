#include "tests/support/lcfwd_rig.h"

#include "core/lcfwd_process.h"
#include "core/lcfwd_pump.h"
#include "diag/show_table.h"
#include "host/bus/bus.h"
#include "host/bus/bus_local.h"
#include "host/bus/fu_mts.h"
#include "host/engine/engine.h"
#include "host/store/store_inspect.h"
#include "host/system/root.h"
#include "host/trace/bl_reader.h"
#include "tests/support/each_step.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/statvfs.h>
#include <unistd.h>

static lcfwd_rig *current;

/* In memory, where the system keeps such files too: on a disk each start and stop of a process waits for it. */
static std::string folder_of_files() {
    constexpr uint64_t room = uint64_t{1} << 30;
    struct statvfs status;
    const bool good = statvfs("/dev/shm", &status) == 0 && access("/dev/shm", W_OK | X_OK) == 0 &&
                      uint64_t{status.f_bavail} * status.f_frsize >= room;
    return good ? "/dev/shm" : "/tmp";
}

lcfwd_rig::lcfwd_rig(const rig_options &rig_opts) : clock{}, options(rig_opts) {
    if (current != nullptr) throw std::logic_error("one rig at a time");
    root = folder_of_files() + "/lcfwd_rig.XXXXXX";
    if (mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp");
    std::filesystem::create_directories(root + "/dev/shm");
    std::filesystem::create_directories(root + "/proc/self");
    clock.monotonic_ns = 1000000000;
    clock.wall_ns = 1700000000000000000;
    current = this;
}

lcfwd_rig::~lcfwd_rig() {
    stop();
    host_clock_reset();
    host_root_set(nullptr);
    lcfwd_exit_function_set(nullptr);
    for (int id = 0; id < LCFWD_DOMAIN_COUNT; id++)
        lcfwd_domain_bind(static_cast<lcfwd_domain_id>(id), nullptr);
    platform_library_use(nullptr);
    current = nullptr;
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

static void exit_note(int code) { current->exits.push_back(code); }

void lcfwd_rig::prepare() {
    host_root_set(root.c_str());
    host_manual_clock_set(&clock);
    lcfwd_exit_function_set(exit_note);
    lcfwd_domain_bind(LCFWD_DOMAIN_UFIB, options.ufib);
    if (options.ufib != nullptr) diag_init();
    lcfwd_domain_bind(LCFWD_DOMAIN_MFIB, options.mfib);
    lcfwd_domain_bind(LCFWD_DOMAIN_LFIB, options.lfib);
    platform_library_use(options.library);
    mts_config config = {};
    config.transport = MTS_TRANSPORT_LOCAL;
    config.slot = options.slot;
    if (mts_start(&config) != 0) throw std::runtime_error(mts_error_text());
    started_ = true;
}

int lcfwd_rig::start(lcfwd_start_mode mode) {
    if (!started_) prepare();
    lcfwd_options start_options = {};
    start_options.root = root.c_str();
    start_options.slot = options.slot;
    start_options.bus_is_set = true;
    start_options.library_mode = options.library_mode;
    start_options.start_mode = mode;
    const int code = lcfwd_start(&start_options);
    collect();
    return code;
}

void lcfwd_rig::stop() {
    if (!started_) return;
    lcfwd_process_reset();
    sent_.clear();
    started_ = queued_ = false;
}

uint32_t lcfwd_rig::inject(uint32_t opcode, const bytes &payload, const rig_send_options &send_options) {
    bytes copy = payload;
    mts_msg message = {};
    message.opcode = opcode;
    message.version = send_options.version;
    message.source = {MTS_NODE_SUPERVISOR, 1000};
    message.destination = {options.slot, send_options.sap != 0 ? send_options.sap : mts_opc_sap_get(opcode)};
    message.source_vdc = send_options.vdc;
    message.token = next_token_++;
    if (send_options.request) message.flags = MTS_FLAG_REQUEST;
    if (send_options.response) message.flags = MTS_FLAG_RESPONSE;
    message.payload = copy.empty() ? nullptr : copy.data();
    message.payload_size = static_cast<uint32_t>(copy.size());
    if (mts_local_inject(&message) != 0) throw std::runtime_error("inject of " + std::to_string(opcode));
    queued_ = true;
    return message.token;
}

void lcfwd_rig::run() {
    for (int turns = 0; fu_fsm_step(); turns++) {
        if (turns > 1000000) throw std::runtime_error("the engine does not come to rest");
    }
    queued_ = false;
    collect();
}

void lcfwd_rig::between_steps() {
    if (!each_step_restarts() || !started_ || queued_ || !exits.empty() || !each_step_at_rest()) return;
    std::vector<rig_message> seen = take();
    const std::string fault = each_step_restart(this);
    if (!fault.empty()) throw std::runtime_error("restart between two steps: " + fault);
    take(); /* the reports of the start */
    sent_ = std::move(seen);
}

std::optional<rig_message> lcfwd_rig::send(uint32_t opcode, const bytes &payload,
                                           const rig_send_options &send_options) {
    between_steps();
    const uint32_t token = inject(opcode, payload, send_options);
    const size_t before = sent_.size();
    run();
    for (size_t i = before; i < sent_.size(); i++) {
        if (sent_[i].response && sent_[i].token == token) return sent_[i];
    }
    return {};
}

int lcfwd_rig::dispatch(uint32_t opcode, const bytes &payload, const rig_send_options &send_options) {
    between_steps();
    inject(opcode, payload, send_options);
    fu_event event;
    fu_fsm_event_init(&event);
    if (const int status = lcfwd_dequeue(&event); status != 0) return status;
    fu_event_node *out = nullptr;
    const int status = lcfwd_demux(&event, &out);
    lcfwd_free_demux_list(out);
    fu_mts_drop(event.message);
    queued_ = false;
    collect();
    return status;
}

void lcfwd_rig::advance_ms(uint32_t milliseconds) {
    between_steps();
    while (milliseconds > 0) {
        const uint32_t step = milliseconds < 1000 ? milliseconds : 1000;
        host_manual_clock_advance(&clock, uint64_t{step} * 1000000);
        run();
        milliseconds -= step;
    }
}

void lcfwd_rig::advance_seconds(uint32_t seconds) { advance_ms(seconds * 1000); }

void lcfwd_rig::vdc(uint16_t vdc_id) {
    send(OPC_VDC_CREATE, wire_vdc(vdc_id));
    take();
}

void lcfwd_rig::collect() {
    mts_msg message;
    bytes payload;
    while (mts_local_take(&message, &payload)) {
        payload.resize(message.payload_size);
        sent_.push_back({message.opcode, message.destination.node, message.destination.sap,
                         message.source_vdc, message.token, (message.flags & MTS_FLAG_RESPONSE) != 0,
                         (message.flags & MTS_FLAG_REJECT) != 0, payload});
    }
}

std::vector<rig_message> lcfwd_rig::take() {
    collect();
    std::vector<rig_message> out;
    out.swap(sent_);
    return out;
}

std::vector<rig_message> lcfwd_rig::take(uint32_t opcode) {
    std::vector<rig_message> out;
    for (rig_message &message : take()) {
        if (message.opcode == opcode) out.push_back(message);
    }
    return out;
}

static bool record_note(void *ctx, const void *key, uint32_t key_len, const void *value, uint32_t value_len) {
    const uint8_t *k = static_cast<const uint8_t *>(key);
    const uint8_t *v = static_cast<const uint8_t *>(value);
    auto *out = static_cast<std::map<std::string, std::string> *>(ctx);
    (*out)[hex_from_bytes(bytes(k, k + key_len))] = hex_from_bytes(bytes(v, v + value_len));
    return true;
}

std::map<std::string, std::string> lcfwd_rig::records(const std::string &file) const {
    std::map<std::string, std::string> out;
    const std::string path = root + "/dev/shm/lcfwd_" + file;
    if (!std::filesystem::exists(path)) return out;
    if (store_inspect_file(path.c_str(), record_note, &out, nullptr) != 0) {
        throw std::runtime_error("cannot read " + path);
    }
    return out;
}

std::string lcfwd_rig::log_text() const {
    std::ifstream file(root + "/var/sysmgr/tmp_logs/lcfwd_log.txt");
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> lcfwd_rig::traces(uint32_t vdc_id, const std::string &prefix) const {
    std::vector<std::string> out;
    bl_reader *reader = nullptr;
    if (bl_reader_open(vdc_id, 1, &reader) != 0) return out;
    bl_record record;
    char text[1024];
    while (bl_reader_next(reader, &record)) {
        bl_render(bl_reader_format(reader, record.event), &record, text, sizeof text);
        if (std::string(text).rfind(prefix, 0) == 0) out.push_back(text);
    }
    bl_reader_close(reader);
    return out;
}
