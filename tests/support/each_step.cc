#include "tests/support/each_step.h"

#include "core/lcfwd_stats.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "softfwd/softfwd_reader.h"
#include "tests/support/fake_platform.h"
#include "tests/support/lcfwd_rig.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_rnh.h"

#include <cstdlib>

bool each_step_restarts() {
    static const bool wanted = [] {
        const char *value = std::getenv("LCFWD_RESTART_EACH_STEP");
        return value != nullptr && *value == '1';
    }();
    return wanted;
}

/* What the software engine has done so far; zeros where another library serves. */
static softfwd_reader_stats engine_stats(const lcfwd_rig &rig) {
    softfwd_reader_stats stats = {};
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(rig.options.slot, false, &reader) != 0) return stats;
    (void)softfwd_reader_statistics(reader, &stats);
    softfwd_reader_detach(reader);
    return stats;
}

/* The counters of a process that dies start again; a test goes on counting. */
struct counters {
    uint32_t errors[UFIB_ERR_COUNT];
    ufib_vdc_stats vdc[LCFWD_VDC_MAX + 1];
};

static void counters_copy(counters *kept, bool back) {
    for (uint32_t i = 0; i < UFIB_ERR_COUNT; i++)
        (back ? ufib_errors[i] : kept->errors[i]) = back ? kept->errors[i] : ufib_errors[i];
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        const auto *row = lcfwd_vdc_row(id);
        if (row == nullptr || row->ufib_stats == nullptr) continue;
        (back ? *row->ufib_stats : kept->vdc[id]) = back ? kept->vdc[id] : *row->ufib_stats;
    }
}

/* The newest writes in words. */
static std::string engine_words(const lcfwd_rig &rig, uint64_t count) {
    std::string out;
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(rig.options.slot, false, &reader) != 0) return out;
    std::vector<softfwd_log_entry> entries(SOFTFWD_LOG_ENTRIES);
    entries.resize(softfwd_reader_log(reader, 0, entries.data(), entries.size()));
    for (auto at = entries.rbegin(); at != entries.rend() && count > 0; at++) {
        if (at->effect == SOFTFWD_EFFECT_REATTACH || at->effect >= SOFTFWD_EFFECT_PENDING) continue;
        count--;
        out = std::string(softfwd_op_name(at->op)) + " " + softfwd_effect_name(at->effect) + " " +
              std::to_string(at->handle) + "\n" + out;
    }
    softfwd_reader_detach(reader);
    return out;
}

bool each_step_at_rest() {
    return ufib_dirty_vobj_list.count + ufib_rnh_update_pending_list.count + ufib_vobj_rpf_list.count == 0;
}

std::string each_step_restart(lcfwd_rig *rig) {
    const softfwd_reader_stats before = engine_stats(*rig);
    const fake_asked asked = fake_asked_take();
    static counters kept;
    kept = {};
    counters_copy(&kept, false);
    const int code = rig->restart();
    counters_copy(&kept, true);
    const std::vector<std::string> written = fake.written;
    fake_asked_put(asked);
    if (code != 0) return "exit code " + std::to_string(code);
    const softfwd_reader_stats now = engine_stats(*rig);
    /* A table that waited for its end when the process died goes with the restart. */
    const uint64_t tables_gone = before.tables > now.tables ? before.tables - now.tables : 0;
    const uint64_t writes = now.counters.writes - before.counters.writes - tables_gone;
    std::string out;
    if (writes != 0) out = std::to_string(writes) + " engine writes\n" + engine_words(*rig, writes);
    for (const std::string &line : written) out += "written " + line + "\n";
    return out;
}
