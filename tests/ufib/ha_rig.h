/* tests/ufib/ha_rig.h: the unicast domain over the software engine, for tests of restarts: a text of the whole model
 * to compare before and after, and what the engine was asked to do meanwhile. */
#pragma once

#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_log.h"
#include "softfwd/softfwd_reader.h"
#include "tests/support/model_check.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vobj.h"

#include <cstdio>
#include <filesystem>

/* Next objects by what they are, not by where they lie. */
inline std::string ha_object_text(const ufib_obj *obj) {
    char text[96];
    if (obj == nullptr) return "none";
    std::snprintf(text, sizeof text, "%s %u refs %u", ufib_obj_get_name(ufib_obj_type_of(obj)), obj->handle,
                  ufib_obj_refs(obj));
    return text;
}

/* How many hops a route had that is gone, but for those who resolve through it, is not kept. */
inline void ha_side_text(const ufib_table_side &side, std::string *out) {
    char text[256];
    for (const ufib_pfx *pfx = ufib_prefix_get_first(&side); pfx != nullptr;
         pfx = ufib_prefix_get_next(&side, ufib_pfx_address(pfx), pfx->mask_len)) {
        const bool dropping_rnh = ufib_prefix_is_rnh(pfx) && (pfx->route_flags & ROUTE_DROP) != 0;
        std::snprintf(text, sizeof text,
                      "  %s handle %u flags %#x/%#x holders %#x epoch %u hops %u if %#x to %s\n",
                      ufib_pfx_str(pfx), pfx->obj.handle, pfx->route_flags, pfx->flags, pfx->holders,
                      pfx->epoch, dropping_rnh ? 0 : pfx->nh_count,
                      (pfx->route_flags & ROUTE_DIRECT) != 0 ? pfx->attached_if_index : 0,
                      ha_object_text(pfx->obj.next).c_str());
        *out += text;
    }
}

/* Glean means nothing beside drop: whether it is set there depends on the order of the past. */
inline void ha_adj_text(const ufib_adj *adj, std::string *out) {
    char text[256];
    uint32_t flags = adj->flags & ~UFIB_ADJ_FROM_AM;
    if ((flags & UFIB_ADJ_DROP) != 0) flags &= ~UFIB_ADJ_GLEAN;
    std::snprintf(text, sizeof text,
                  "  adj %s handle %u refs %u flags %#x holders %#x pbr %u wccp %u mac %02x\n",
                  ufib_adj_str(adj), adj->obj.handle, ufib_obj_refs(&adj->obj), flags, adj->holders,
                  adj->pbr_count, adj->wccp_count,
                  (adj->flags & UFIB_ADJ_RESOLVED) != 0 ? adj->rewrite.bytes[UFIB_REWRITE_DMAC + 5] : 0);
    *out += text;
}

/* Tables with their routes, interfaces with their adjacencies, and the globals, of one VDC. */
inline std::string ha_model_text(uint16_t vdc_id = 1) {
    std::string out;
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    if (vdc == nullptr) return "no model";
    ravl_iterator at;
    for (ufib_table *table = ufib_table_get_first(vdc_id, &at); table != nullptr;
         table = ufib_table_get_next(vdc_id, &at)) {
        out += "table " + std::to_string(table->table_id) + " handle " + std::to_string(table->obj.handle) +
               " flags " + std::to_string(table->flags) + " hops " + std::to_string(table->main.nh_count) +
               "\n";
        ha_side_text(table->main, &out);
        ha_side_text(table->rnh, &out);
    }
    for (ufib_idb *idb = ufib_idb_get_first(vdc); idb != nullptr; idb = ufib_idb_get_next(idb)) {
        char text[96];
        std::snprintf(text, sizeof text, "interface %#x holders %#x rpf %u %u\n", idb->if_index, idb->holders,
                      idb->rpf_mode[0], idb->rpf_mode[1]);
        out += text;
        for (const ufib_family &family : ufib_families)
            for (ufib_adj *adj = ufib_adj_if_get_first(idb, family); adj != nullptr;
                 adj = ufib_adj_if_get_next(adj))
                ha_adj_text(adj, &out);
    }
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++) {
        out += "global " + std::to_string(kind) + " " +
               ha_object_text(vdc->global_adj[kind] == nullptr ? nullptr : &vdc->global_adj[kind]->obj) +
               "\n";
    }
    return out;
}

inline std::string ha_paths_text(const ufib_obj *next) {
    std::string out = ufib_obj_get_name(ufib_obj_type_of(next));
    auto *obj = const_cast<ufib_obj *>(next);
    if (ufib_obj_is_adj(obj))
        out += std::string(" ") + ufib_adj_str(reinterpret_cast<ufib_adj *>(obj));
    else if (ufib_obj_is_vobj(obj))
        for (uint32_t i = 0; i < ufib_obj_to_vobj(obj)->row_count; i++)
            out += std::string(" ") + ufib_pfx_str(ufib_vobj_rows(ufib_obj_to_vobj(obj))[i].rnh);
    else
        for (uint32_t i = 0; i < reinterpret_cast<ufib_ecmp *>(obj)->key->count; i++)
            out += " " + ha_paths_text(reinterpret_cast<ufib_ecmp *>(obj)->paths[i]);
    return out;
}

/* Routes of VDC 1 by what was asked for, without handles. What only dependents keep of a next hop that was deleted or never confirmed
 * says nothing: it drops. */
inline std::string ha_routes_text() {
    std::string out;
    char text[128];
    ravl_iterator at;
    for (ufib_table *table = ufib_table_get_first(1, &at); table != nullptr;
         table = ufib_table_get_next(1, &at))
        for (const ufib_table_side *side : {&table->main, &table->rnh})
            for (ufib_pfx *pfx = ufib_prefix_get_first(side); pfx != nullptr;
                 pfx = ufib_prefix_get_next(side, ufib_pfx_address(pfx), pfx->mask_len)) {
                if ((pfx->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0) continue;
                std::snprintf(text, sizeof text, "%u %s flags %#x holders %#x epoch %u if %#x ",
                              table->table_id, ufib_pfx_str(pfx), pfx->route_flags, pfx->holders, pfx->epoch,
                              (pfx->route_flags & ROUTE_DIRECT) != 0 ? pfx->attached_if_index : 0);
                out += text + ha_paths_text(pfx->obj.next) + "\n";
            }
    return out;
}

struct ha_test : ufib_test {
    ha_test() : ufib_test(softfwd_library()) {}
    void SetUp() override {
        *softfwd_config_get() = softfwd_config{};
        softfwd_config_get()->slot = 3;
        ufib_test::SetUp();
    }

    /* Another process, of which nothing is left of the old one. */
    void from_nothing() {
        rig.stop();
        std::filesystem::remove_all(rig.root + "/dev/shm");
        std::filesystem::create_directories(rig.root + "/dev/shm");
        ASSERT_EQ(rig.start(), 0);
        rig.vdc(1);
    }

    /* All records of all databases. */
    std::string store_text() const {
        std::string out;
        for (const auto &entry : std::filesystem::directory_iterator(rig.root + "/dev/shm")) {
            const std::string name = entry.path().filename();
            if (!name.starts_with("lcfwd_") || name == "lcfwd_redo") continue;
            for (const auto &[key, value] : rig.records(name.substr(6)))
                out += name + " " + key + " " + value + "\n";
        }
        return out;
    }

    /* Kills the process and starts it again: nothing may have been written, and everything must be as before. */
    void expect_clean_restart() {
        const std::string before = ha_model_text(), records = store_text();
        EXPECT_EQ(model_findings(rig), "");
        softfwd_counters old = {}, now = {};
        softfwd_counters_get(&old);
        rig.stop();
        ASSERT_EQ(rig.start(), 0);
        softfwd_counters_get(&now);
        EXPECT_EQ(now.writes - old.writes, 0u);
        EXPECT_EQ(now.failures - old.failures, 0u);
        EXPECT_EQ(now.key_differences - old.key_differences, 0u);
        EXPECT_EQ(ha_model_text(), before);
        EXPECT_EQ(store_text(), records);
        EXPECT_EQ(model_findings(rig), "");
        EXPECT_TRUE(ufib_ha_is_recovery_done());
    }

    uint64_t writes() {
        softfwd_counters counters = {};
        softfwd_counters_get(&counters);
        return counters.writes;
    }

    /* What a packet to 'address' gets; "gone" when no route covers it. */
    std::string lookup(const family &f, const std::string &address) {
        softfwd_reader *reader = nullptr;
        if (softfwd_reader_attach(3, false, &reader) != 0) return "no engine";
        const bytes raw = address_bytes(address);
        uint8_t key[16] = {};
        std::copy(raw.begin(), raw.end(), key);
        softfwd_result result = {};
        const auto af = f.index == 0 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
        const int status = softfwd_lookup(reader, af, 1, f.table, key, &result);
        softfwd_reader_detach(reader);
        return status == 0 ? softfwd_action_name(result.hop.action) : "stale";
    }
};

struct ha_family_test : ha_test, testing::WithParamInterface<const family *> {
    const family &f = *GetParam();
};
