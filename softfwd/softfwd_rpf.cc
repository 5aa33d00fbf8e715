#include "softfwd/softfwd_rpf.h"

#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_family.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_prefix.h"

static bool is_spare(uint64_t word) {
    return softfwd_rpf_value_of(word) == 0 && (word & SOFTFWD_RPF_DOUBTFUL) == 0;
}

/* The word of a key, else one that may be taken for it, else null: the table is full. */
static uint64_t *word_find(uint64_t key, bool *known) {
    uint64_t *spare = nullptr;
    *known = false;
    uint32_t at = softfwd_rpf_place(key);
    for (uint32_t step = 0; step < SOFTFWD_RPF_ROOM; step++, at = (at + 1) % SOFTFWD_RPF_ROOM) {
        uint64_t *word = &softfwd_state.rpf[at];
        if (*word == 0) return spare != nullptr ? spare : word;
        if (softfwd_rpf_key_of(*word) == key) {
            *known = true;
            return word;
        }
        if (spare == nullptr && is_spare(*word)) spare = word;
    }
    return spare;
}

/* Words that say nothing before one that was never used are as good as never used: searches stay short. */
static void words_trim(uint32_t at) {
    uint64_t *words = softfwd_state.rpf;
    if (words[(at + 1) % SOFTFWD_RPF_ROOM] != 0) return;
    while (words[at] != 0 && is_spare(words[at])) {
        softfwd_store(&words[at], uint64_t{0});
        at = (at + SOFTFWD_RPF_ROOM - 1) % SOFTFWD_RPF_ROOM;
    }
}

/* A word that says nothing need not be made. */
static int word_write(uint64_t key, uint64_t word) {
    bool known;
    uint64_t *at = word_find(key, &known);
    if (known ? *at == word : is_spare(word)) return 0;
    if (at == nullptr) return -1;
    softfwd_store(at, word);
    if (is_spare(word)) words_trim(static_cast<uint32_t>(at - softfwd_state.rpf));
    return 0;
}

int softfwd_update_intf_rpf(uint32_t vdc_id, uint32_t if_index, uint8_t v4_mode, uint8_t v6_mode) {
    if (!softfwd_state.open) return -1;
    softfwd_state.head->counters.calls[SOFTFWD_OP_UPDATE_INTF_RPF]++;
    const uint64_t key = softfwd_rpf_if_key(vdc_id, if_index);
    uint64_t word = softfwd_rpf_if_word(key, v4_mode, v6_mode);
    bool known;
    uint64_t *at = word_find(key, &known);
    if (softfwd_rpf_value_of(word) == (known ? softfwd_rpf_value_of(*at) : 0)) {
        if (known && softfwd_recovering()) softfwd_store(at, word);
        return 0;
    }
    if (softfwd_commit_told() && !softfwd_recovering()) {
        word |= SOFTFWD_RPF_DOUBTFUL;
        softfwd_state.rpf_doubtful = true;
    }
    const int status = word_write(key, word);
    softfwd_note(SOFTFWD_OP_UPDATE_INTF_RPF, status == 0 ? SOFTFWD_EFFECT_UPDATE : SOFTFWD_EFFECT_FAILURE,
                 if_index);
    return status;
}

/* Ends the doubt: modes stay, or are none. */
static void modes_settle(bool stay) {
    for (uint32_t at = 0; at < SOFTFWD_RPF_ROOM; at++) {
        const uint64_t word = softfwd_state.rpf[at];
        if ((word & SOFTFWD_RPF_PREFIX) != 0 || (word & SOFTFWD_RPF_DOUBTFUL) == 0) continue;
        softfwd_store(&softfwd_state.rpf[at], stay ? word & ~SOFTFWD_RPF_DOUBTFUL : softfwd_rpf_key_of(word));
        if (is_spare(softfwd_state.rpf[at])) words_trim(at);
    }
    softfwd_state.rpf_doubtful = false;
}

void softfwd_rpf_committed() {
    if (softfwd_state.rpf_doubtful) modes_settle(true);
}

void softfwd_rpf_recovered() { modes_settle(false); }

void softfwd_rpf_prefix_attach(uint32_t handle, uint32_t if_index) {
    const uint64_t key = softfwd_rpf_prefix_key(handle);
    (void)word_write(key, key | if_index);
}

template <typename Af> static int prefix_refresh(void *pfx) {
    if (!softfwd_state.open || pfx == nullptr) return -1;
    const uint32_t handle = Af::handle(pfx);
    if (softfwd_prefix_of(handle, Af::family, true) == nullptr) return -1;
    softfwd_rpf_prefix_attach(handle, Af::is_direct(pfx) ? Af::rpf_interface(pfx) : 0);
    return 0;
}

int softfwd_update_v4prefix_rpf(void *pfx) { return prefix_refresh<softfwd_v4>(pfx); }
int softfwd_update_v6prefix_rpf(void *pfx) { return prefix_refresh<softfwd_v6>(pfx); }

void softfwd_rpf_vdc_clear(uint32_t vdc_id) {
    if (!softfwd_state.open) return;
    for (uint32_t at = 0; at < SOFTFWD_RPF_ROOM; at++) {
        uint64_t *word = &softfwd_state.rpf[at];
        const bool interface = *word != 0 && (*word & SOFTFWD_RPF_PREFIX) == 0;
        if (interface && (*word >> 8 & 0xff) == vdc_id) softfwd_store(word, softfwd_rpf_key_of(*word));
    }
}
