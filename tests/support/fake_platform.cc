#include "tests/support/fake_platform.h"

#include "platform/lcfwd_platform.h"
#include "platform/ufib_pi.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

fake_platform fake;

void fake_platform_reset() { fake = {}; }

fake_asked fake_asked_take() {
    fake_asked asked = {fake.log, fake.fail_at, fake.fail_all, fake.on_all_writes, fake.restarts};
    fake.log.clear();
    fake.written.clear();
    fake.fail_at.clear();
    fake.fail_all.clear();
    fake.on_all_writes = nullptr;
    return asked;
}

void fake_asked_put(const fake_asked &asked) {
    fake.log = asked.log;
    fake.fail_at = asked.fail_at;
    fake.fail_all = asked.fail_all;
    fake.on_all_writes = asked.on_all_writes;
    fake.restarts = asked.restarts;
}

static bool refused(const std::string &slot) {
    if (fake.fail_all.count(slot) != 0) return true;
    auto found = fake.fail_at.find(slot);
    return found != fake.fail_at.end() && --found->second == 0;
}

static void note(const std::string &line) { fake.log.push_back(line); }

static std::string number(uint32_t value) { return std::to_string(value); }

static std::string v4_text(uint32_t host_order) {
    char text[INET_ADDRSTRLEN];
    const uint32_t network = htonl(host_order);
    return inet_ntop(AF_INET, &network, text, sizeof text);
}

static std::string v6_text(const uint8_t address[16]) {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, address, text, sizeof text);
}

static std::string prefix_text(const void *pfx) {
    if (ufib_pi_is_v4_prefix(pfx)) {
        return v4_text(ufib_pi_v4prefix_get_prefix(pfx)) + "/" + number(ufib_pi_v4prefix_get_prefix_len(pfx));
    }
    uint8_t address[16];
    ufib_pi_v6prefix_get_prefix(pfx, address);
    return v6_text(address) + "/" + number(ufib_pi_v6prefix_get_prefix_len(pfx));
}

static std::string adj_text(const void *adj) {
    std::string address;
    uint32_t if_index;
    if (ufib_pi_adj_is_v4(adj)) {
        address = v4_text(ufib_pi_v4adj_get_nh_addr(adj));
        if_index = ufib_pi_v4adj_get_if_index(adj);
    } else {
        uint8_t v6[16];
        ufib_pi_v6adj_get_nh_addr(adj, v6);
        address = v6_text(v6);
        if_index = ufib_pi_v6adj_get_if_index(adj);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%s if 0x%x", address.c_str(), if_index);
    return text;
}

/* All changes of entries go through here; what already stands is no change. */
static void entry_put(uint32_t handle, const std::string &kind, const std::string &content) {
    fake_entry &entry = fake.entries[handle];
    if (entry.kind == kind && entry.content == content) return;
    fake.written.push_back(number(handle) + ": " + entry.kind + " " + entry.content + " -> " + kind + " " +
                           content);
    entry.kind = kind;
    entry.content = content;
}

/* Takes a new entry, or the one of a restart or of an update. 0 when the slot was told to refuse. What a restart takes
 * up again stays as it is. */
static uint32_t entry_write(const std::string &slot, const std::string &kind, const std::string &content,
                            uint32_t ha, uint32_t present) {
    uint32_t handle = 0;
    if (!refused(slot)) handle = ha != 0 ? ha : present != 0 ? present : ++fake.last_handle;
    const bool taken_up = ha != 0 && fake.entries.count(ha) != 0;
    if (handle != 0 && !taken_up) entry_put(handle, kind, content);
    note(slot + " " + content + " ha " + number(ha) + (present != 0 ? " update" : " new") + " = " +
         number(handle));
    return handle;
}

static void entry_erase(const std::string &slot, const std::string &content, uint32_t handle) {
    note(slot + " " + content + " " + number(handle));
    const auto found = fake.entries.find(handle);
    if (found == fake.entries.end()) return;
    fake.written.push_back(number(handle) + ": " + found->second.kind + " " + found->second.content + " -> ");
    fake.entries.erase(found);
}

static uint32_t table_find_or_write(const std::string &slot, uint32_t vdc_id, uint32_t table_id,
                                    uint32_t ha) {
    const std::string content = "vdc " + number(vdc_id) + " table " + number(table_id);
    for (const auto &[handle, entry] : fake.entries) {
        if (entry.kind != "table") continue;
        /* The ids of both families differ; a table that VDCs share stays under the first one's name. */
        const bool shared = fake.optimize_wildcard && table_id >= 65534 && table_id <= 65535 &&
                            entry.content.substr(entry.content.find("table")) == "table " + number(table_id);
        if (entry.content == content || shared) return handle;
    }
    return entry_write(slot, "table", content, ha, 0);
}
static uint32_t table_insert(const std::string &slot, uint32_t vdc_id, uint32_t table_id, uint32_t ha) {
    const uint32_t handle = table_find_or_write(slot, vdc_id, table_id, ha);
    fake.tables_made.insert(handle);
    return handle;
}
static uint32_t insert_v4_table(uint32_t vdc_id, uint32_t table_id, const void *, uint32_t ha) {
    return table_insert("insert_v4_table", vdc_id, table_id, ha);
}
static uint32_t insert_v6_table(uint32_t vdc_id, uint32_t table_id, const void *, uint32_t ha) {
    return table_insert("insert_v6_table", vdc_id, table_id, ha);
}
static void delete_v4_table(uint32_t handle) { entry_erase("delete_v4_table", "", handle); }
static void delete_v6_table(uint32_t handle) { entry_erase("delete_v6_table", "", handle); }

static void prefix_route_fill(uint32_t handle, uint32_t table_handle, const void *pfx) {
    ufib_ha_route &route = fake.entries[handle].route;
    route = {};
    route.vdc_id = static_cast<uint16_t>(ufib_pi_prefix_get_vdc_id(pfx));
    if (ufib_pi_is_v4_prefix(pfx)) {
        const uint32_t network = htonl(ufib_pi_v4prefix_get_prefix(pfx));
        std::memcpy(route.address, &network, sizeof network);
        route.mask_len = static_cast<uint8_t>(ufib_pi_v4prefix_get_prefix_len(pfx));
        route.table_id = ufib_pi_v4prefix_get_table_id(pfx);
        route.family_flags = UFIB_HA_IPV4;
    } else {
        ufib_pi_v6prefix_get_prefix(pfx, route.address);
        route.mask_len = static_cast<uint8_t>(ufib_pi_v6prefix_get_prefix_len(pfx));
        route.table_id = ufib_pi_v6prefix_get_table_id(pfx);
    }
    route.table_handle = table_handle;
    uint16_t tag = 0;
    if (ufib_pi_prefix_get_sgt(pfx, &tag) == 0) route.tag = tag;
}

static uint32_t prefix_insert(const char *slot, uint32_t table_handle, void *pfx, uint32_t ha, bool update) {
    const std::string content = "table " + number(table_handle) + " " + prefix_text(pfx) + " to " +
                                number(ufib_pi_prefix_get_adj_handle(pfx));
    const uint32_t present = update ? ufib_pi_obj_get_hh(pfx) : 0;
    const uint32_t handle = entry_write(slot, "prefix", content, ha, present);
    if (handle != 0) prefix_route_fill(handle, table_handle, pfx);
    return handle;
}
static uint32_t insert_v4_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool update) {
    return prefix_insert("insert_v4_prefix", table_handle, pfx, ha, update);
}
static uint32_t insert_v6_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool update) {
    return prefix_insert("insert_v6_prefix", table_handle, pfx, ha, update);
}
static int delete_v4_prefix(uint32_t, void *pfx) {
    entry_erase("delete_v4_prefix", prefix_text(pfx), ufib_pi_obj_get_hh(pfx));
    return 0;
}
static int delete_v6_prefix(uint32_t, void *pfx) {
    entry_erase("delete_v6_prefix", prefix_text(pfx), ufib_pi_obj_get_hh(pfx));
    return 0;
}

static std::string adj_content(const void *adj, uint8_t mac[6]) {
    std::string content = adj_text(adj);
    const bool v4 = ufib_pi_adj_is_v4(adj);
    const int known = v4 ? ufib_pi_v4adj_get_dmac(adj, mac) : ufib_pi_v6adj_get_dmac(adj, mac);
    if (known == 0) {
        char text[32];
        std::snprintf(text, sizeof text, " mac %02x%02x%02x%02x%02x%02x", mac[0], mac[1], mac[2], mac[3],
                      mac[4], mac[5]);
        content += text;
    }
    if (v4 ? ufib_pi_v4adj_is_drop(adj) : ufib_pi_v6adj_is_drop(adj)) content += " drop";
    if (v4 ? ufib_pi_v4adj_is_glean(adj) : ufib_pi_v6adj_is_glean(adj)) content += " glean";
    if (v4 ? ufib_pi_v4adj_is_punt(adj) : ufib_pi_v6adj_is_punt(adj)) content += " punt";
    if (ufib_pi_adj_is_peer_gw(adj)) content += " gateway";
    return content;
}
static uint32_t insert_adj(void *adj, uint32_t ha, uint32_t) {
    uint8_t mac[6] = {};
    const std::string content = adj_content(adj, mac);
    const bool taken_up = ha != 0 && fake.entries.count(ha) != 0;
    const uint32_t handle = entry_write("insert_adj", "adj", content, ha, ufib_pi_adj_get_hh(adj));
    if (handle != 0 && !taken_up)
        std::memcpy(fake.entries[handle].rewrite.bytes + UFIB_REWRITE_DMAC, mac, sizeof mac);
    return handle;
}
static bool consistency_check_adj(void *adj) {
    uint8_t mac[6] = {};
    const auto found = fake.entries.find(ufib_pi_adj_get_hh(adj));
    return found != fake.entries.end() && found->second.content == adj_content(adj, mac);
}
static int delete_adj(void *adj) {
    if (refused("delete_adj")) return -1;
    entry_erase("delete_adj", adj_text(adj), ufib_pi_adj_get_hh(adj));
    return 0;
}

/* As many handles in a row as it has paths. */
static uint32_t insert_ecmp(void *group, uint32_t ha, uint32_t) {
    std::vector<uint32_t> members;
    std::string content = "to";
    uint32_t position;
    for (const void *adj = ufib_pi_ecmp_get_first(group, &position); adj != nullptr;
         adj = ufib_pi_ecmp_get_next(group, &position)) {
        members.push_back(ufib_pi_adj_get_hh(adj));
        content += " " + number(members.back());
    }
    const uint32_t present = ufib_pi_obj_get_hh(group);
    const uint32_t handle = entry_write("insert_ecmp", "ecmp", content, ha, present);
    if (handle == 0) return 0;
    if (ha == 0 && present == 0) fake.last_handle += static_cast<uint32_t>(members.size()) - 1;
    fake.entries[handle].members = members;
    return handle;
}
static int delete_ecmp(void *group) {
    if (refused("delete_ecmp")) return -1;
    entry_erase("delete_ecmp", "of " + number(ufib_pi_ecmp_get_nhcount(group)), ufib_pi_obj_get_hh(group));
    return 0;
}
static uint32_t ecmp_space_len(uint8_t) { return fake.ecmp_space_len; }

/* Instances of virtual objects: "insert_vobj to 7 8 = 12". The size is that of the first write. */
static std::vector<uint32_t> vobj_members(const void *vobj) {
    std::vector<uint32_t> members;
    for (uint32_t i = 0; i < ufib_pi_vobj_get_num_cnhs(vobj); i++)
        members.push_back(ufib_pi_adj_get_hh(ufib_pi_vobj_cnh_get_adj(ufib_pi_vobj_get_cnh_at_idx(vobj, i))));
    return members;
}
static std::string members_text(const std::vector<uint32_t> &members) {
    std::string text = "to";
    for (const uint32_t member : members) text += " " + number(member);
    return text;
}
static bool is_vobj(uint32_t handle) {
    const auto found = fake.entries.find(handle);
    return found != fake.entries.end() && found->second.kind == "vobj";
}
static int insert_vobj(void *vobj, const ufib_ha_route *record) {
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    const std::vector<uint32_t> members = vobj_members(vobj);
    const bool two = is_vobj(params.old_handle) && is_vobj(params.new_handle);
    const bool keep = record != nullptr && is_vobj(params.new_handle) &&
                      (two || fake.entries[params.new_handle].members.size() == members.size());
    if (two && !keep) note("insert_vobj third");
    if (two && !keep) return -1;
    const uint32_t handle =
        entry_write("insert_vobj", "vobj", members_text(members), keep ? params.new_handle : 0, 0);
    if (handle == 0) return -1;
    if (!keep) fake.entries[handle].members = members;
    return static_cast<int>(handle);
}
/* The first members, as many as there are places; a smaller set leaves the other places empty. */
static void vobj_rewrite(uint32_t handle, std::vector<uint32_t> members) {
    if (!is_vobj(handle)) return;
    fake_entry &entry = fake.entries[handle];
    const size_t places = entry.places != 0 ? entry.places : entry.members.size();
    entry.places = places;
    if (members.size() > places) members.resize(places);
    entry.members = members;
    entry_put(handle, entry.kind, members_text(members));
    note("update_vobj " + entry.content + " " + number(handle));
}
static int update_vobj(void *vobj, uint32_t) {
    if (refused("update_vobj")) return -1;
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    vobj_rewrite(params.new_handle, vobj_members(vobj));
    vobj_rewrite(params.old_handle, vobj_members(vobj));
    return 0;
}
static int delete_vobj(void *vobj, uint32_t instance) {
    if (refused("delete_vobj")) return -1;
    ufib_pi_nhcount_params params;
    ufib_pi_vobj_get_nhcount_params(vobj, &params);
    if (instance != 1 && params.old_handle != 0) entry_erase("delete_vobj", "old", params.old_handle);
    if (instance != 0 && params.new_handle != 0) entry_erase("delete_vobj", "new", params.new_handle);
    return 0;
}
static int update_vobj_fec(void *) {
    if (refused("update_vobj_fec")) return -1;
    note("update_vobj_fec = " + number(++fake.last_handle));
    return static_cast<int>(fake.last_handle);
}
static int delete_vobj_fec(void *, uint32_t instance) {
    note("delete_vobj_fec " + number(instance));
    return 0;
}
static int update_prefix_nh(void *pfx) {
    if (refused("update_prefix_nh")) return -1;
    const uint32_t next = ufib_pi_prefix_get_adj_handle(pfx);
    const std::string content = "table " + number(ufib_pi_prefix_get_table_handle(pfx)) + " " +
                                prefix_text(pfx) + " to " + number(next);
    entry_put(ufib_pi_obj_get_hh(pfx), "prefix", content);
    note("update_prefix_nh " + prefix_text(pfx) + " to " + number(next));
    return 0;
}
static int update_prefix_rpf(void *pfx) {
    note("update_prefix_rpf " + prefix_text(pfx));
    return 0;
}

static void ufib_recovery_start() { note("ufib_restart_recovery_start"); }
/* A table that waited for its end when the process died has no record; it goes as soon as nobody made it again. */
static void ufib_recovery_end() {
    note("ufib_restart_recovery_end");
    std::erase_if(fake.entries, [](const auto &row) {
        if (row.second.kind != "table" || fake.tables_made.count(row.first) != 0) return false;
        return std::none_of(fake.entries.begin(), fake.entries.end(), [&row](const auto &other) {
            return other.second.kind == "prefix" && other.second.route.table_handle == row.first;
        });
    });
}
static void ha_get_route(uint32_t handle, ufib_ha_route *record) {
    const auto found = fake.entries.find(handle);
    if (found == fake.entries.end() || found->second.kind != "prefix") return;
    const ufib_ha_route &known = found->second.route;
    record->family_flags |= known.family_flags;
    record->vdc_id = known.vdc_id;
    record->table_id = known.table_id;
    record->mask_len = known.mask_len;
    std::memcpy(record->address, known.address, sizeof known.address);
    record->table_handle = known.table_handle;
    record->tag = known.tag;
}
static int get_rewrite_info(uint32_t handle, ufib_platform_rewrite *rewrite) {
    const auto found = fake.entries.find(handle);
    if (found == fake.entries.end()) return -1;
    *rewrite = found->second.rewrite;
    return 0;
}
/* An adjacency's own handle, or a group's member's. */
static uint32_t get_adj_base_handle(uint32_t handle) {
    auto found = fake.entries.upper_bound(handle);
    if (found == fake.entries.begin()) return handle;
    --found;
    const uint32_t member = handle - found->first;
    return member < found->second.members.size() ? found->second.members[member] : handle;
}
static int ecmp_get_adj_ha_handles(ufib_ha_route *record) {
    const auto found = fake.entries.find(record->next_handle);
    if (found == fake.entries.end()) return -1;
    for (size_t i = 0; i < found->second.members.size() && i < 64; i++)
        record->adj_handles[i] = found->second.members[i];
    return 0;
}
static void ha_clean_v4_pfx(uint32_t handle, uint8_t, uint32_t) {
    entry_erase("ha_clean_v4_pfx", "", handle);
}
static void ha_clean_v6_pfx(uint32_t handle, uint8_t, const uint8_t *) {
    entry_erase("ha_clean_v6_pfx", "", handle);
}

static int one_write_ready() {
    note("one_write_ready");
    return fake.one_write_result;
}
static int all_writes_ready() {
    note("all_writes_ready");
    if (fake.on_all_writes != nullptr) fake.on_all_writes();
    return fake.all_writes_result;
}
static bool table_required(const ufib_platform_table_request *request) {
    return fake.table_required && fake.tables_not_required.count(request->table_id) == 0;
}
static void cli_show_command(cmd_handle *handle, uint32_t vdc_id, uint32_t command) {
    note("cli_show_command " + number(command));
    if (fake.show_command != nullptr) fake.show_command(handle, vdc_id, command);
}
static bool optimize_wildcard_table() { return fake.optimize_wildcard; }

static void ufib_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int) {
    api->cli_show_command = cli_show_command;
    api->insert_v4_table = insert_v4_table;
    api->insert_v6_table = insert_v6_table;
    api->delete_v4_table = delete_v4_table;
    api->delete_v6_table = delete_v6_table;
    api->insert_v4_prefix = insert_v4_prefix;
    api->insert_v6_prefix = insert_v6_prefix;
    api->delete_v4_prefix = delete_v4_prefix;
    api->delete_v6_prefix = delete_v6_prefix;
    api->insert_vobj = insert_vobj;
    api->update_vobj = update_vobj;
    api->delete_vobj = delete_vobj;
    api->update_vobj_fec = update_vobj_fec;
    api->delete_vobj_fec = delete_vobj_fec;
    api->update_v4prefix_nh = update_prefix_nh;
    api->update_v6prefix_nh = update_prefix_nh;
    api->update_v4prefix_rpf = update_prefix_rpf;
    api->update_v6prefix_rpf = update_prefix_rpf;
    api->insert_adj = insert_adj;
    api->delete_adj = delete_adj;
    api->consistency_check_adj = consistency_check_adj;
    api->consistency_check_v6_adj = consistency_check_adj;
    api->insert_ecmp = insert_ecmp;
    api->delete_ecmp = delete_ecmp;
    api->ecmp_space_len = ecmp_space_len;
    api->restart_recovery_start = ufib_recovery_start;
    api->restart_recovery_end = ufib_recovery_end;
    api->ha_get_route = ha_get_route;
    api->get_rewrite_info = get_rewrite_info;
    api->get_adj_base_handle = get_adj_base_handle;
    api->ecmp_get_adj_ha_handles = ecmp_get_adj_ha_handles;
    api->ha_clean_v4_pfx = ha_clean_v4_pfx;
    api->ha_clean_v6_pfx = ha_clean_v6_pfx;
    api->one_write_ready = one_write_ready;
    api->all_writes_ready = all_writes_ready;
    api->table_required = table_required;
    api->optimize_wildcard_table = optimize_wildcard_table;
    *caps = fake.caps;
}

static int mts_msg_handler(const mts_msg *) {
    note("mts_msg_handler");
    return refused("mts_msg_handler") ? 5 : 0;
}
static void recovery_start() { note("restart_recovery_start"); }
static void recovery_end() { note("restart_recovery_end"); }
static void pss_buf_commit() { note("pss_buf_commit"); }
static void vdc_init(uint32_t vdc_id, bool restart) {
    note("vdc_init " + number(vdc_id) + (restart ? " restart" : ""));
}
static void vdc_delete(uint32_t vdc_id) { note("vdc_delete " + number(vdc_id)); }
static void process_pervpn_ilm_base(uint32_t base) { note("pervpn_ilm_base " + number(base)); }

static void lcfwd_api_init(lcfwd_platform_api *api, int restart) {
    fake.tables_made.clear();
    if (restart != 0)
        fake.restarts++;
    else
        fake.entries.clear();
    api->mts_msg_handler = mts_msg_handler;
    api->restart_recovery_start = recovery_start;
    api->restart_recovery_end = recovery_end;
    api->pss_buf_commit = pss_buf_commit;
    api->vdc_init = vdc_init;
    api->vdc_delete = vdc_delete;
    api->process_pervpn_ilm_base = process_pervpn_ilm_base;
}

const platform_library *fake_platform_library() {
    static const platform_library library = {"fake", lcfwd_api_init, ufib_api_init, nullptr};
    return &library;
}

static bool begins_with_one_of(const std::string &line, const std::vector<std::string> &names) {
    for (const std::string &name : names) {
        if (line.rfind(name, 0) == 0) return true;
    }
    return names.empty();
}

std::vector<std::string> fake_take(const std::vector<std::string> &names) {
    std::vector<std::string> out;
    for (const std::string &line : fake.log) {
        if (begins_with_one_of(line, names)) out.push_back(line);
    }
    fake.log.clear();
    return out;
}

size_t fake_count(const std::string &name) {
    size_t count = 0;
    for (const std::string &line : fake.log) count += begins_with_one_of(line, {name});
    return count;
}

std::vector<std::string> fake_entries(const std::string &kind) {
    std::vector<std::string> out;
    for (const auto &[handle, entry] : fake.entries) {
        if (entry.kind == kind) out.push_back(entry.content);
    }
    return out;
}
