#include "softfwd/softfwd_group.h"

#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_grace.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_takeover.h"

#include <cstring>

static softfwd_kind kind_of(uint32_t handle) {
    if (handle == 0 || handle >= softfwd_state.head->adj_bump) return SOFTFWD_KIND_NONE;
    return softfwd_place_kind(softfwd_state.directory[handle]);
}

const softfwd_group *softfwd_group_of(uint32_t handle) {
    if (kind_of(handle) != SOFTFWD_KIND_GROUP) return nullptr;
    return softfwd_group_record(softfwd_place_index(softfwd_state.directory[handle]));
}

bool softfwd_next_is_live(uint32_t handle) {
    const softfwd_kind kind = kind_of(handle);
    return kind == SOFTFWD_KIND_ADJ || kind == SOFTFWD_KIND_GROUP;
}

uint32_t softfwd_base_handle(uint32_t handle) {
    const softfwd_kind kind = kind_of(handle);
    if (kind == SOFTFWD_KIND_ADJ) return handle;
    const uint32_t first =
        kind == SOFTFWD_KIND_MEMBER ? softfwd_place_index(softfwd_state.directory[handle]) : handle;
    const softfwd_group *group = softfwd_group_of(first);
    if (group == nullptr || handle - first >= group->count) return 0;
    return softfwd_group_adjs(group)[handle - first];
}

/* What flows are weighed with: of the adjacency, and of how often it stood in the group before, so that a member that
 * stands twice gets two shares. Nothing else: a group with the same members treats flows in the same way. */
static uint32_t weight_of(const softfwd_group_plan *plan, uint32_t at) {
    uint32_t before = 0;
    for (uint32_t i = 0; i < at; i++) before += plan->adjs[i] == plan->adjs[at];
    uint32_t mix = plan->adjs[at] * 0x9e3779b1u + before * 0x7feb352du + 0x165667b1u;
    mix = (mix ^ mix >> 16) * 0x85ebca6bu;
    return mix ^ mix >> 13;
}

/* Fills a free record with the first 'count' members; the places behind them name nothing. */
static void record_fill(softfwd_group *group, uint32_t handle, uint32_t size,
                        const softfwd_group_plan *plan) {
    const uint32_t count = plan->count < size ? plan->count : size;
    const softfwd_adj *first = softfwd_adj_of(plan->adjs[0]);
    *group = {};
    group->handle = handle;
    group->vdc_id = plan->vdc_id;
    group->id = plan->id;
    group->count = static_cast<uint8_t>(count);
    group->size = static_cast<uint8_t>(size);
    group->origin = plan->origin;
    group->family = first == nullptr ? uint8_t{ADDRESS_FAMILY_NONE} : first->family;
    group->holder = plan->holder;
    auto *adjs = reinterpret_cast<uint32_t *>(group + 1);
    std::memset(adjs, 0, 3u * sizeof(uint32_t) * size);
    for (uint32_t i = 0; i < count; i++) {
        adjs[i] = plan->adjs[i];
        adjs[size + i] = weight_of(plan, i);
        adjs[2 * size + i] = plan->labels[i];
    }
}

uint32_t softfwd_group_install(const softfwd_group_plan *plan) {
    softfwd_engine *engine = &softfwd_state;
    const uint32_t size = plan->count;
    if (size == 0 || size > SOFTFWD_MEMBERS_MAX) return 0;
    if (engine->head->group_count >= softfwd_config_get()->max_groups) return 0;
    const uint32_t unit = softfwd_group_record_take(softfwd_group_units(size));
    const uint32_t handle = unit == 0 ? 0 : softfwd_group_handles_take(size);
    if (handle == 0) {
        if (unit != 0) softfwd_group_record_release(unit, softfwd_group_units(size));
        return 0;
    }
    record_fill(softfwd_group_record(unit), handle, size, plan);
    softfwd_group_record(unit)->doubtful = 1;
    for (uint32_t i = 1; i < size; i++)
        softfwd_store(&engine->directory[handle + i], softfwd_place(SOFTFWD_KIND_MEMBER, handle));
    softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_GROUP, unit));
    engine->head->group_count++;
    softfwd_adj_claim(handle);
    return handle;
}

bool softfwd_group_rewrite(uint32_t handle, const softfwd_group_plan *plan) {
    const softfwd_group *standing = softfwd_group_of(handle);
    if (standing == nullptr || plan->count == 0 || plan->count > SOFTFWD_MEMBERS_MAX) return false;
    const uint32_t units = softfwd_group_units(standing->size);
    const uint32_t unit = softfwd_group_record_take(units);
    if (unit == 0) return false;
    record_fill(softfwd_group_record(unit), handle, standing->size, plan);
    uint32_t *place = &softfwd_state.directory[handle];
    const uint32_t old = softfwd_place_index(*place);
    softfwd_store(place, softfwd_place(SOFTFWD_KIND_GROUP, unit));
    softfwd_grace_retire(SOFTFWD_GARBAGE_GROUP_RECORD, old, units);
    softfwd_adj_claim(handle);
    return true;
}

bool softfwd_group_remove(uint32_t handle) {
    if (softfwd_group_of(handle) == nullptr) return false;
    uint32_t *place = &softfwd_state.directory[handle];
    softfwd_store(place, softfwd_place(SOFTFWD_KIND_GROUP_LEAVING, softfwd_place_index(*place)));
    softfwd_grace_retire(SOFTFWD_GARBAGE_GROUP, handle, 0);
    softfwd_state.head->group_count--;
    softfwd_adj_claim(handle);
    return true;
}

uint8_t softfwd_group_difference(const softfwd_group *group, const softfwd_group_plan *plan) {
    const uint32_t count = plan->count < group->size ? plan->count : group->size;
    unsigned difference = 0;
    if (group->origin != plan->origin || group->vdc_id != plan->vdc_id) difference |= SOFTFWD_DIFFERS_KEY;
    if (group->count != count ||
        std::memcmp(softfwd_group_adjs(group), plan->adjs, count * sizeof(uint32_t)) != 0 ||
        std::memcmp(softfwd_group_labels(group), plan->labels, count * sizeof(uint32_t)) != 0)
        difference |= SOFTFWD_DIFFERS_CONTENT;
    return static_cast<uint8_t>(difference);
}
