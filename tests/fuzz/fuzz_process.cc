#include "tests/fuzz/fuzz_process.h"

#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "tests/support/model_check.h"
#include "ufib/ufib_vdc.h"

constexpr size_t MESSAGES_MAX = 12; /* of an input */
constexpr uint32_t SLOT = 3;
constexpr uint32_t OPC_CLEAR_ADJACENCIES = 74772;

rig_options fuzz_rig_options() {
    softfwd_config_reset();
    softfwd_config_get()->slot = SLOT;
    softfwd_config_get()->say = [](const char *) {};
    rig_options options;
    options.library = softfwd_library();
    options.ufib = ufib_domain();
    options.slot = SLOT;
    return options;
}

static wire_hop hop(const char *address, uint32_t port, uint8_t flags = 0) {
    wire_hop out;
    out.address = address;
    out.if_index = 0x1a000000 + port;
    out.flags = flags;
    return out;
}

static wire_route route(const std::string &prefix, std::vector<wire_hop> hops, bool remove) {
    wire_route out;
    out.prefix = prefix;
    if (!remove) out.hops = std::move(hops);
    out.remove = remove;
    out.table_id = prefix.find(':') != std::string::npos ? 0x80000001 : 1;
    return out;
}

/* One hop, two, one that resolves through a route, one with everything that can hang on it; and flags. */
bytes fuzz_routes(bool v6, bool version0, bool remove) {
    const char *const net = v6 ? "2001:db8:" : "10.";
    const char *const tail = v6 ? "::/48" : ".0.0/16";
    const char *const first = v6 ? "fe80::1" : "192.0.2.1";
    const char *const second = v6 ? "fe80::2" : "192.0.2.2";
    const std::string base = net;
    wire_hop rich = hop(first, 2);
    rich.xri = bytes(24, 0x5a);
    if (!version0) {
        rich.labels = {16, 3};
        rich.segment = 4711;
    }
    wire_batch batch;
    batch.table_id = v6 ? 0x80000001 : 1;
    batch.routes = {route(base + "1" + tail, {hop(first, 1)}, remove),
                    route(base + "2" + tail, {hop(first, 1), hop(second, 2)}, remove),
                    route(base + "3" + tail, {rich}, remove),
                    route(base + "4" + tail, {hop(v6 ? "2001:db8:1::9" : "10.1.0.9", 0, 1)}, remove)};
    if (version0) batch.routes.pop_back();
    static constexpr uint8_t kinds[] = {1, 2, 4, 8, 0x40};
    for (const uint8_t flags : kinds) {
        batch.routes.push_back(route(base + std::to_string(4 + flags % 60) + tail, {hop(second, 1)}, remove));
        batch.routes.back().flags = flags;
    }
    if (!version0) batch.routes.back().extended = 1;
    return version0 ? wire_batch_v0(batch) : wire_batch_v1(batch);
}

bytes fuzz_neighbour_notice(bool resolved) {
    const std::string mac = resolved ? "020000000001" : "";
    return wire_am_notice({{"192.0.2.1", 0x1a000001, mac},
                           {"fe80::1", 0x1a000001, mac, 4},
                           {"192.0.2.2", 0x1a000002, "", 0x80},
                           {"fe80::2", 0x1a000002, "", 0x90},
                           {"192.0.2.7", 0x1a000007, mac, 8}});
}

void fuzz_process_make(lcfwd_rig *rig) {
    if (rig->start() != 0) fuzz_fail("the process does not start");
    rig->vdc(1);
    for (const uint8_t operation : {uint8_t{1}, uint8_t{2}})
        rig->send(OPC_DOWNLOAD, wire_download(operation));
    rig->send(OPC_V4_ROUTES, fuzz_routes(false, false, false));
    rig->send(OPC_V6_ROUTES, fuzz_routes(true, false, false));
    rig->send(OPC_AM_NOTICE, fuzz_neighbour_notice(true));
    rig->take();
}

void fuzz_process_check(lcfwd_rig &rig, bool engine, bool records) {
    const model_check_options options = {
        .engine = engine, .records = records, .values = false, .orphans = true};
    for (const uint32_t seconds : {0u, 6u}) {
        rig.advance_seconds(seconds);
        const std::string findings = model_findings(rig, options);
        if (!findings.empty()) fuzz_fail(findings.c_str());
    }
    if (!rig.exits.empty()) fuzz_fail("the process ends");
}

void fuzz_messages_run(const std::vector<fuzz_opcode> &opcodes, const uint8_t *data, size_t size) {
    lcfwd_rig rig(fuzz_rig_options());
    fuzz_process_make(&rig);
    fuzz_input input = {data, size};
    bool engine = true;
    for (size_t count = 0; input.left != 0 && count < MESSAGES_MAX; count++) {
        const fuzz_opcode &opcode = opcodes[input.u8() % opcodes.size()];
        const uint8_t how = input.u8();
        /* Clearing takes the resolved mark in the model alone: the next notice brings both together again. */
        engine = engine && opcode.opcode != OPC_CLEAR_ADJACENCIES;
        rig_send_options options;
        options.vdc = static_cast<uint16_t>(how >> 4 == 0 ? 1 : how >> 4);
        options.version = opcode.version ^ (how & 3);
        options.request = (how & 4) == 0;
        options.response = (how & 8) != 0;
        rig.send(opcode.opcode, input.piece(), options);
    }
    fuzz_process_check(rig, engine, true);
}

void fuzz_put_message(bytes *out, uint8_t opcode_index, const bytes &payload, uint8_t how) {
    put8(out, opcode_index);
    put8(out, how);
    fuzz_put_piece(out, payload);
}
