#include "tests/ufib/ufib_random_reference.h"

#include <arpa/inet.h>
#include <cstdio>
#include <vector>

std::string ref_text(const ref_address &address, bool v6) {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(v6 ? AF_INET6 : AF_INET, address.data(), text, sizeof text);
}

std::string ref_text(const ref_result &result) {
    static constexpr const char *names[] = {"no route", "drop", "punt", "glean", "forward"};
    char text[160];
    std::snprintf(text, sizeof text, "%s /%u if 0x%x hop %s mac ..%02x%02x",
                  names[static_cast<int>(result.action)], result.bits, result.hop.if_index,
                  ref_text(result.hop.address, true).c_str(), result.mac[4], result.mac[5]);
    return text;
}

static ref_address masked(ref_address address, unsigned bits) {
    for (unsigned i = 0; i < address.size(); i++) {
        const unsigned kept = bits > i * 8 ? bits - i * 8 : 0;
        if (kept < 8) address[i] = static_cast<uint8_t>(address[i] & ~(0xffu >> kept));
    }
    return address;
}

/* A route asks for a neighbour: a new one is unresolved, so it gleans, or drops when it is attached. An attached
 * route sets an existing one anew. */
void ref_model::neighbours_take(const ref_table &table, const route &r) {
    if (!uses_neighbour(r.kind)) return;
    for (const ref_hop &hop : r.hops) {
        const auto [at, made] = neighbours_.try_emplace({table.vdc, table.v6, hop});
        neighbour &n = at->second;
        if (made || r.kind == ref_kind::attached) {
            n.attached = n.drop = r.kind == ref_kind::attached && !n.resolved;
            if (!n.drop) n.glean = !n.resolved;
        }
        n.routes++;
    }
    changed(table.vdc, table.v6);
}

void ref_model::neighbours_give_back(const ref_table &table, const route &r) {
    if (!uses_neighbour(r.kind)) return;
    for (const ref_hop &hop : r.hops) {
        const auto found = neighbours_.find({table.vdc, table.v6, hop});
        if (--found->second.routes == 0 && !found->second.held) neighbours_.erase(found);
    }
    changed(table.vdc, table.v6);
}

bool ref_model::add(const ref_table &table, const ref_prefix &prefix, ref_kind kind, const ref_hops &hops,
                    uint8_t epoch) {
    routes &rows = tables_[table];
    const auto old = rows.find(prefix);
    const bool existed = old != rows.end();
    const route before = existed ? old->second : route{};
    const route now = {kind, hops, epoch};
    neighbours_take(table, now);
    rows[prefix] = now;
    lengths_.insert(prefix.bits);
    changed(table.vdc, table.v6);
    if (existed) neighbours_give_back(table, before);
    return true;
}

void ref_model::add_fails_late(const ref_table &table, const ref_prefix &prefix, ref_kind kind,
                               const ref_hops &hops) {
    add(table, prefix, kind, hops, 0);
    routes &rows = tables_[table];
    const route gone = rows.at(prefix);
    rows.erase(prefix);
    changed(table.vdc, table.v6);
    neighbours_give_back(table, gone);
}

/* A neighbour that drops only because it is attached and unresolved stops doing so with the first route that leaves. */
void ref_model::attached_drop_ends(const ref_table &table, const route &r) {
    if (!uses_neighbour(r.kind) || r.hops.size() != 1) return;
    neighbour &n = neighbours_.at({table.vdc, table.v6, r.hops[0]});
    if (!n.attached || !n.drop || n.resolved) return;
    n.attached = n.drop = false;
    n.glean = true;
    changed(table.vdc, table.v6);
}

bool ref_model::remove(const ref_table &table, const ref_prefix &prefix) {
    routes &rows = tables_[table];
    const auto found = rows.find(prefix);
    if (found == rows.end()) return false;
    const route gone = found->second;
    attached_drop_ends(table, gone);
    rows.erase(found);
    if (rows.empty() && table.vdc == 0) emptied_.insert({table.v6, owner[table.v6 ? 1 : 0]});
    changed(table.vdc, table.v6);
    neighbours_give_back(table, gone);
    return true;
}

void ref_model::resolve(uint32_t vdc, bool v6, const ref_hop &hop, const std::array<uint8_t, 6> &mac) {
    neighbour &n = neighbours_[{vdc, v6, hop}];
    n.held = n.resolved = true;
    n.glean = n.drop = n.attached = false;
    n.mac = mac;
    changed(vdc, v6);
}

/* True when nobody needs it any more. */
bool ref_model::neighbour_leaves(neighbour *n, bool set_drop) {
    n->held = false;
    if (n->routes == 0) return true;
    n->resolved = false;
    if (!n->drop) n->glean = true;
    n->drop = set_drop;
    return false;
}

void ref_model::unresolve(uint32_t vdc, bool v6, const ref_hop &hop) {
    const auto found = neighbours_.find({vdc, v6, hop});
    if (found == neighbours_.end()) return;
    if (neighbour_leaves(&found->second, false)) neighbours_.erase(found);
    changed(vdc, v6);
}

void ref_model::interface_down(uint32_t vdc, bool v6, uint32_t if_index) {
    for (auto at = neighbours_.begin(); at != neighbours_.end();) {
        const auto &[of_vdc, of_v6, hop] = at->first;
        const bool meant = of_vdc == vdc && of_v6 == v6 && hop.if_index == if_index;
        at = meant && neighbour_leaves(&at->second, true) ? neighbours_.erase(at) : std::next(at);
    }
    changed(vdc, v6);
}

void ref_model::stale_delete(uint32_t vdc, bool v6, uint32_t table_id, uint8_t epoch) {
    for (auto &[table, rows] : tables_) {
        const uint32_t in = table.vdc == 0 ? owner[v6 ? 1 : 0] : table.vdc;
        if (in != vdc || table.v6 != v6 || (table_id != 0 && table.id != table_id)) continue;
        std::vector<ref_prefix> stale;
        for (const auto &[prefix, r] : rows)
            if (r.epoch != epoch && r.kind != ref_kind::never_stale) stale.push_back(prefix);
        for (const ref_prefix &prefix : stale) remove(table, prefix);
    }
}

/* A shared wildcard table goes on with another VDC, which is there. */
void ref_model::vdc_delete(uint32_t vdc) {
    for (uint32_t &o : owner)
        if (o == vdc) o = 3 - vdc;
    for (auto &[table, rows] : tables_) {
        if (table.vdc != vdc) continue;
        while (!rows.empty()) remove(table, rows.begin()->first);
    }
    std::erase_if(neighbours_, [&](const auto &row) { return std::get<0>(row.first) == vdc; });
}

void ref_model::restarted() {
    if (owner[0] + owner[1] != 0) owner[0] = owner[1] = 1;
    emptied_.clear();
    for (auto &[key, n] : neighbours_)
        if (!n.resolved && (n.drop || !n.glean)) n.drop = n.glean = true;
}

void ref_model::empty_wildcards_end() {
    for (const auto &[v6, owned_by] : emptied_) {
        uint32_t &now = owner[v6 ? 1 : 0];
        if (now == owned_by && tables_[{0, v6, v6 ? 65535u : 65534u}].empty()) now = 0;
    }
    emptied_.clear();
}

std::optional<ref_result> ref_model::via(const ref_table &table, unsigned bits, const ref_hop &hop) const {
    const auto found = neighbours_.find({table.vdc, table.v6, hop});
    if (found == neighbours_.end()) return {};
    const neighbour &n = found->second;
    ref_result result = {ref_action::drop, bits, hop, {}};
    if (n.drop) return result;
    if (n.glean) result.action = ref_action::glean;
    if (n.glean || !n.resolved) return result;
    result.action = ref_action::forward;
    result.mac = n.mac;
    return result;
}

void ref_model::results_of(const ref_table &table, const ref_prefix &prefix, const route &r,
                           const std::function<void(const ref_result &)> &visit) const {
    if (uses_neighbour(r.kind)) {
        for (const ref_hop &hop : r.hops) visit(via(table, prefix.bits, hop).value());
        return;
    }
    ref_result result = {ref_action::drop, prefix.bits, {}, {}};
    if (r.kind == ref_kind::local || r.kind == ref_kind::never_stale) result.action = ref_action::punt;
    if (r.kind == ref_kind::direct) result.action = ref_action::glean;
    visit(result);
}

void ref_model::covering(const ref_table &table, const ref_address &address,
                         const std::function<void(const ref_result &)> &visit) const {
    const auto rows = tables_.find(table);
    if (rows == tables_.end()) return;
    for (const unsigned bits : lengths_) {
        const auto found = rows->second.find({masked(address, bits), bits});
        if (found != rows->second.end()) results_of(table, found->first, found->second, visit);
    }
}

std::set<ref_result> ref_model::lookup(const ref_table &table, const ref_address &address) const {
    std::set<ref_result> best;
    covering(table, address, [&](const ref_result &result) {
        if (best.empty() || best.begin()->bits == result.bits) best.insert(result);
    });
    if (best.empty()) best.insert(ref_result{});
    return best;
}

size_t ref_model::route_count() const {
    size_t count = 0;
    for (const auto &[table, rows] : tables_) count += rows.size();
    return count;
}

void ref_model::each_route(
    const std::function<void(const ref_table &, const ref_prefix &, const ref_hops &)> &visit) const {
    for (const auto &[table, rows] : tables_)
        for (const auto &[prefix, r] : rows) visit(table, prefix, r.hops);
}
