/* Targets whose input is a row of messages. */
#include "core/lcfwd_opcodes.h"
#include "diag/show_params.h"
#include "host/bus/bus_frame.h"
#include "host/bus/bus_local.h"
#include "host/command/command_wire.h"
#include "tests/fuzz/fuzz_process.h"

static const std::vector<fuzz_opcode> v1_opcodes = {
    {OPC_V4_ROUTES, 1}, {OPC_V6_ROUTES, 1}, {OPC_AM_NOTICE, 1}};
static const std::vector<fuzz_opcode> v0_opcodes = {
    {OPC_V4_ROUTES, 0}, {OPC_V6_ROUTES, 0}, {OPC_AM_NOTICE, 1}};

static std::vector<bytes> route_seeds(bool version0) {
    std::vector<bytes> seeds;
    for (const bool v6 : {false, true}) {
        bytes seed;
        fuzz_put_message(&seed, v6 ? 1 : 0, fuzz_routes(v6, version0, false));
        seeds.push_back(seed);
        fuzz_put_message(&seed, 2, fuzz_neighbour_notice(false));
        fuzz_put_message(&seed, v6 ? 1 : 0, fuzz_routes(v6, version0, true));
        seeds.push_back(seed);
    }
    return seeds;
}

static void routes_v1_run(const uint8_t *data, size_t size) { fuzz_messages_run(v1_opcodes, data, size); }
static std::vector<bytes> routes_v1_seeds() { return route_seeds(false); }
const fuzz_target fuzz_routes_v1 = {"routes_v1", routes_v1_run, routes_v1_seeds};

static void routes_v0_run(const uint8_t *data, size_t size) { fuzz_messages_run(v0_opcodes, data, size); }
static std::vector<bytes> routes_v0_seeds() { return route_seeds(true); }
const fuzz_target fuzz_routes_v0 = {"routes_v0", routes_v0_run, routes_v0_seeds};

static void neighbours_run(const uint8_t *data, size_t size) {
    static const std::vector<fuzz_opcode> opcodes = {{OPC_AM_NOTICE, 1}};
    fuzz_messages_run(opcodes, data, size);
}
static std::vector<bytes> neighbours_seeds() {
    bytes both;
    fuzz_put_message(&both, 0, fuzz_neighbour_notice(true));
    fuzz_put_message(&both, 0, fuzz_neighbour_notice(false));
    return {both};
}
const fuzz_target fuzz_neighbours = {"neighbours", neighbours_run, neighbours_seeds};

/* ---- every opcode ---- */

static const std::vector<fuzz_opcode> &all_opcodes() {
    static const std::vector<fuzz_opcode> opcodes = [] {
        std::vector<fuzz_opcode> out;
        for (size_t i = 0; i < lcfwd_mts_msg_info_count; i++)
            out.push_back({lcfwd_mts_msg_info_array[i].opcode, 1});
        for (size_t i = 0; i < lcfwd_mts_sys_msg_info_count; i++)
            out.push_back({lcfwd_mts_sys_msg_info_array[i].opcode, 1});
        return out;
    }();
    return opcodes;
}

static uint8_t index_of(uint32_t opcode) {
    for (size_t i = 0; i < all_opcodes().size(); i++)
        if (all_opcodes()[i].opcode == opcode) return static_cast<uint8_t>(i);
    fuzz_fail("an opcode of the seeds is not known");
}

static void control_run(const uint8_t *data, size_t size) { fuzz_messages_run(all_opcodes(), data, size); }

static std::vector<bytes> control_seeds() {
    bytes life, notices;
    fuzz_put_message(&life, index_of(OPC_DOWNLOAD), wire_download(1));
    fuzz_put_message(&life, index_of(OPC_V4_ROUTES), fuzz_routes(false, false, false));
    fuzz_put_message(&life, index_of(OPC_DOWNLOAD), wire_download(2));
    fuzz_put_message(&life, index_of(OPC_UP), wire_up(2));
    fuzz_put_message(&life, index_of(OPC_STALE_DELETE), wire_stale_delete(1, 0, 2));
    fuzz_put_message(&life, index_of(OPC_VDC_CREATE), wire_vdc(2));
    fuzz_put_message(&life, index_of(OPC_V6_ROUTES), fuzz_routes(true, false, false), 0x20);
    fuzz_put_message(&life, index_of(OPC_VDC_DELETE), wire_vdc(1));
    fuzz_put_message(&notices, index_of(OPC_LC_INSERTED), wire_line_card(3, 1, 4, 5));
    fuzz_put_message(&notices, index_of(OPC_LC_REMOVED), wire_line_card(3, 1, 4, 5));
    fuzz_put_message(&notices, index_of(OPC_MFDM_DOWNLOAD), wire_mfdm_download(1));
    fuzz_put_message(&notices, index_of(OPC_STATUS_REQUEST), bytes(4));
    std::vector<bytes> seeds = {life, notices};
    for (size_t i = 0; i < all_opcodes().size(); i++) {
        bytes one; /* each opcode with bytes that mean something in many layouts */
        fuzz_put_message(&one, static_cast<uint8_t>(i),
                         bytes_from_hex("0001 0a01 0000 0001 1a00 0001 c000 0201 "
                                        "0200 0000 0001 0010 0000 0001 0102 0304"));
        seeds.push_back(one);
    }
    return seeds;
}
const fuzz_target fuzz_control = {"control", control_run, control_seeds};

/* ---- operators' requests ---- */

static void commands_run(const uint8_t *data, size_t size) {
    static const std::vector<fuzz_opcode> opcodes = {{OPC_COMMAND, 1}};
    fuzz_messages_run(opcodes, data, size);
}

static bytes command_request(uint32_t command, cmd_action action, const bytes &cookie,
                             const bytes &attributes) {
    bytes request(1024);
    request.resize(cmd_request_write(request.data(), request.size(), 1, action, command, cookie.data(),
                                     static_cast<uint32_t>(cookie.size()), attributes.data(),
                                     static_cast<uint32_t>(attributes.size())));
    return request;
}

/* The cookie that a walk over routes would give behind its first one. */
static bytes show_cookie(ufib_show_what what, const ufib_family *family) {
    ufib_show_params params = {};
    params.layout = UFIB_SHOW_LAYOUT;
    params.what = what;
    params.mode = UFIB_SHOW_ALL;
    params.flags = UFIB_SHOW_CONTINUING;
    params.vdc_id = 1;
    params.afi = family == nullptr ? 0 : family->afi;
    params.asked_table_id = family == nullptr || family->index == 0 ? UFIB_DEFAULT_V4 : UFIB_DEFAULT_V6;
    params.table_id = params.asked_table_id;
    const auto *raw = reinterpret_cast<const uint8_t *>(&params);
    return bytes(raw, raw + sizeof params);
}

static std::vector<bytes> commands_seeds() {
    std::vector<bytes> seeds;
    static constexpr uint32_t commands[] = {0x10001, 0x10002, 0x10003, 0x10004, 0x10005, 0x10006,
                                            0x10007, 0x10008, 0x1000a, 0x1000b, 0x10010, 0x10030,
                                            0x10037, 0x1004e, 0x100b0, 0x100c0, 0x100d6, 0x100e7,
                                            0x100f1, 0x10104, 0x10108, 0x10109, 0x1010b, 0x20000};
    const bytes whats[] = {bytes_from_hex("0001 000f 0002 0007 6465 6661 756c 74"), /* VRF "default" */
                           bytes_from_hex("0003 0011 0001 0000 000c 0000 000a 0001 0e")};
    for (const uint32_t command : commands) {
        bytes seed;
        for (const bytes &attributes : whats)
            fuzz_put_message(&seed, 0, command_request(command, CMD_ACTION_GET, {}, attributes));
        fuzz_put_message(&seed, 0, command_request(command, CMD_ACTION_SET, {'c', 'o'}, {}));
        seeds.push_back(seed);
    }
    const struct {
        uint32_t command;
        ufib_show_what what;
        const ufib_family *family;
    } walks[] = {{0x10001, UFIB_SHOW_ROUTES, &ufib_v4}, {0x10002, UFIB_SHOW_ROUTES, &ufib_v6},
                 {0x10003, UFIB_SHOW_ADJ, &ufib_v4},    {0x10005, UFIB_SHOW_ECMP, nullptr},
                 {0x10006, UFIB_SHOW_VOBJ, nullptr},    {0x10008, UFIB_SHOW_STORED_ROUTES, &ufib_v6},
                 {0x10109, UFIB_SHOW_TABLES, nullptr}};
    for (const auto &walk : walks) {
        bytes seed;
        fuzz_put_message(
            &seed, 0, command_request(walk.command, CMD_ACTION_GET, show_cookie(walk.what, walk.family), {}));
        seeds.push_back(seed);
    }
    return seeds;
}
const fuzz_target fuzz_commands = {"commands", commands_run, commands_seeds};

/* ---- frames ---- */

static void frames_run(const uint8_t *data, size_t size) {
    lcfwd_rig rig(fuzz_rig_options());
    fuzz_process_make(&rig);
    fuzz_input input = {data, size};
    while (input.left != 0) {
        const uint32_t opcode = all_opcodes()[input.u8() % all_opcodes().size()].opcode;
        const bytes frame = input.piece();
        (void)mts_local_inject_frame(mts_opc_sap_get(opcode), frame.data(), frame.size());
        rig.run();
    }
    fuzz_process_check(rig, true, true);
}

static std::vector<bytes> frames_seeds() {
    std::vector<bytes> seeds;
    for (const uint32_t opcode : {OPC_V4_ROUTES, OPC_AM_NOTICE, OPC_STALE_DELETE}) {
        bytes payload = opcode == OPC_V4_ROUTES   ? fuzz_routes(false, false, false)
                        : opcode == OPC_AM_NOTICE ? fuzz_neighbour_notice(true)
                                                  : wire_stale_delete(1, 0, 2);
        mts_msg message = {};
        message.opcode = opcode;
        message.version = 1;
        message.source = {MTS_NODE_SUPERVISOR, 1000};
        message.destination = {3, mts_opc_sap_get(opcode)};
        message.source_vdc = 1;
        message.flags = MTS_FLAG_REQUEST;
        message.payload_size = static_cast<uint32_t>(payload.size());
        bytes frame(BUS_FRAME_HEADER);
        bus_frame_encode(&message, BUS_FRAME_MESSAGE, frame.data());
        put_bytes(&frame, payload);
        bytes seed = {index_of(opcode)};
        fuzz_put_piece(&seed, frame);
        seeds.push_back(seed);
    }
    return seeds;
}
const fuzz_target fuzz_frames = {"frames", frames_run, frames_seeds};
