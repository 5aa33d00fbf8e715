#include "tools/lcfwdctl/engine_try.h"

#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/options.h"

#include "softfwd/softfwd_damage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static constexpr uint32_t PACKET_BYTES = 64;

/* --- packets --- */

struct count_plan {
    uint32_t handle = 0, packets = 0, bytes = 0;
};

static int count_work(uint32_t slot, softfwd_reader *reader, void *context) {
    const auto *plan = static_cast<const count_plan *>(context);
    const int error = softfwd_reader_count_add(reader, plan->handle, plan->packets, plan->bytes);
    if (error == ENOENT) {
        ctl_error("slot %u: no adjacency has handle %u; see: lcfwdctl engine adjacencies", slot,
                  plan->handle);
        return CTL_REFUSED;
    }
    return error == 0 ? CTL_GOOD : ctl_engine_failure(slot, error);
}

static int count(const std::vector<const char *> &words) {
    count_plan plan;
    const bool good = (words.size() == 3 || words.size() == 4) &&
                      ctl_number_parse(words[1], 1, UINT32_MAX, &plan.handle) &&
                      ctl_number_parse(words[2], 0, UINT32_MAX / PACKET_BYTES, &plan.packets) &&
                      (words.size() == 3 || ctl_number_parse(words[3], 0, UINT32_MAX, &plan.bytes));
    if (!good) {
        ctl_error("usage: lcfwdctl engine count HANDLE PACKETS [BYTES]");
        return CTL_USAGE;
    }
    if (words.size() == 3) plan.bytes = plan.packets * PACKET_BYTES;
    return ctl_engine_for_each_slot(true, count_work, &plan);
}

/* --- damage --- */

static constexpr struct {
    const char *name;
    softfwd_damage what;
    const char *object;
} damages[] = {{"mac", SOFTFWD_DAMAGE_MAC, "adjacency"},
               {"address", SOFTFWD_DAMAGE_ADDRESS, "prefix"},
               {"next", SOFTFWD_DAMAGE_NEXT, "prefix"},
               {"host-bits", SOFTFWD_DAMAGE_HOST_BITS, "prefix"}};

static int damage_slot(uint32_t slot, softfwd_damage what, uint32_t handle, const char *object) {
    ctl_use_root(slot);
    const int error = softfwd_damage_table(slot, what, handle);
    if (error == ENOENT) {
        ctl_error("slot %u: no engine, or no %s has handle %u; see: lcfwdctl engine", slot, object, handle);
        return CTL_REFUSED;
    }
    if (error != 0) return ctl_engine_failure(slot, error);
    fprintf(stderr, "slot %u: %s %u is damaged: packets go wrong until the same command repairs it\n", slot,
            object, handle);
    return CTL_GOOD;
}

static int damage(const std::vector<const char *> &words, bool sure) {
    uint32_t handle = 0;
    for (const auto &each : damages) {
        if (words.size() != 3 || strcmp(words[1], each.name) != 0 ||
            !ctl_number_parse(words[2], 1, UINT32_MAX, &handle))
            continue;
        if (!sure) {
            ctl_error("this makes the engine forward packets wrongly, for trying out lcfwdctl check; say "
                      "--damage-forwarding if that is meant");
            return CTL_USAGE;
        }
        int worst = CTL_GOOD;
        for (const uint32_t slot : ctl.slots)
            worst = ctl_worse(worst, damage_slot(slot, each.what, handle, each.object));
        return worst;
    }
    ctl_error("usage: lcfwdctl engine corrupt mac|address|next|host-bits HANDLE --damage-forwarding");
    return CTL_USAGE;
}

bool ctl_engine_tries(const std::vector<const char *> &words) {
    return !words.empty() && (strcmp(words[0], "count") == 0 || strcmp(words[0], "corrupt") == 0);
}

int ctl_engine_try(const std::vector<const char *> &words, bool sure) {
    return strcmp(words[0], "count") == 0 ? count(words) : damage(words, sure);
}
