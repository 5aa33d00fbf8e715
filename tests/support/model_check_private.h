/* tests/support/model_check_private.h: what the parts of the model checker share. */
#pragma once

#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

class lcfwd_rig;
struct platform_library;

struct model_global {
    uint32_t vdc_id;
    uint32_t kind;
    const ufib_adj *adj;
};

/* What the walk met, and what it found wrong. */
struct model_walk {
    std::vector<std::string> findings;
    bool values = true, sound = true, orphans = false; /* as asked for */
    std::vector<uint32_t> vdcs;
    std::vector<const ufib_table *> tables;
    std::vector<const ufib_pfx *> prefixes;
    std::vector<const ufib_adj *> adjacencies; /* of interfaces */
    std::vector<model_global> globals;
    std::vector<const ufib_ecmp *> groups;
    std::vector<ufib_vobj *> vobjs;
    uint32_t interfaces = 0;
    bool exact =
        true; /* no prefix points at an object of another subsystem, which may hold references of its own */
    std::unordered_map<const ufib_obj *, uint32_t> expected; /* references */
    std::map<uint32_t, const ufib_pfx *> prefix_by_handle;
    std::map<uint32_t, const ufib_adj *> adj_by_handle;
    std::map<uint32_t, const ufib_ecmp *> group_by_handle;
    std::map<uint32_t, const ufib_vobj *> vobj_by_handle; /* of both instances */

    void wrong(const std::string &text);
    void same(const std::string &what, uint64_t is, uint64_t should);
};

/* A route may come with bits behind its mask. */
[[nodiscard]] bool model_same_prefix(const uint8_t *a, const uint8_t *b, uint32_t bits);
[[nodiscard]] std::string model_name(const ufib_pfx *pfx);
[[nodiscard]] std::string model_name(const ufib_adj *adj);
[[nodiscard]] std::string model_name(const ufib_ecmp *group);

[[nodiscard]] std::string model_name(const ufib_vobj *vobj);

/* A walk over the prefixes of a virtual object is on, or its group could not get the size that it needs: what the
 * prefixes last wrote may be of before. */
[[nodiscard]] bool model_is_moving(const ufib_vobj *vobj);

void model_check_vobjs(model_walk *walk, ufib_vdc *vdc);
void model_check_vobj_references(model_walk *walk); /* once all prefixes are counted */
void model_check_rnh(model_walk *walk, const ufib_pfx *pfx);
void model_check_engine(model_walk *walk, const lcfwd_rig &rig, const platform_library &library);
void model_check_records(model_walk *walk, const lcfwd_rig &rig);
