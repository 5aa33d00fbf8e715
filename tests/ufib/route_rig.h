/* tests/ufib/route_rig.h: what tests of routes share: platform calls in words that both families share, and the
 * objects behind a route. */
#pragma once

#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_prefix.h"

#include <cstring>
#include <string>
#include <utility>

struct route_base : ufib_family_test {
    using ufib_family_test::ufib_family_test;

    static void replace(std::string *text, const std::string &from, const std::string &to) {
        for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size()))
            text->replace(at, from.size(), to);
    }
    /* The platform's calls but brackets, in words that both families share. */
    lines calls() const {
        const std::pair<std::string, std::string> words[] = {
            {"_" + std::string(f.name) + "_", "_"},
            {f.prefix, "P1"},
            {f.prefix2, "P2"},
            {f.prefix3, "P3"},
            {f.hop, "H1"},
            {f.hop2, "H2"},
            {"vdc 1 table " + std::to_string(f.table) + " ", "T "},
            {" ha 0", ""},
            {" if 0x1a01000", " if "}};
        lines out = fake_take({"insert_", "delete_"});
        for (std::string &line : out)
            for (const auto &[from, to] : words) replace(&line, from, to);
        return out;
    }
    /* Loads one route and gives the calls that it made; "failed" comes first when the batch failed. */
    lines run(const wire_route &route) {
        fake_take();
        const bool good = load(f, {route});
        lines out = calls();
        if (!good) out.insert(out.begin(), "failed");
        return out;
    }
    const ufib_family &af() const { return ufib_families[f.index]; }
    ufib_vdc *vdc() const { return ufib_vdc_get(1); }
    ufib_table *table() const { return ufib_table_search(vdc(), f.table); }
    ufib_pfx *prefix(const char *text) const {
        const std::string word = text;
        const size_t slash = word.find('/');
        const bytes address = address_bytes(word.substr(0, slash));
        return table() == nullptr
                   ? nullptr
                   : ufib_prefix_search(table(), address.data(),
                                        static_cast<uint32_t>(std::stoul(word.substr(slash + 1))), false);
    }
    ufib_adj *adj(const char *hop, uint32_t if_index = ETH1) const {
        ufib_adj_key key = {if_index, {}};
        const bytes address = address_bytes(hop);
        std::memcpy(key.address, address.data(), address.size());
        return ufib_adj_search(vdc(), af(), key);
    }
};
