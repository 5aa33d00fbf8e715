#include "host/system/mtrack.h"

#include <cerrno>
#include <cstdlib>

/* Stands before each block. 'generation' tells blocks of an account that was reset since. */
struct alignas(16) mtrack_block {
    size_t bytes;
    uint32_t type;
    uint32_t generation;
};

struct mtrack_state {
    mtrack_account accounts[MTRACK_TYPES_MAX];
    uint32_t generation;
    bool fail_next_init;
};

static mtrack_state state;

int mtrack_init(const char *, uint32_t, const char *const *names, uint32_t count) {
    if (state.fail_next_init) {
        state.fail_next_init = false;
        return ENOMEM;
    }
    if (count > MTRACK_TYPES_MAX) return EINVAL;
    for (uint32_t type = 0; type < count; type++) state.accounts[type].name = names[type];
    return 0;
}

void mtrack_fail_next_init() { state.fail_next_init = true; }

void *mtrack_calloc(uint32_t type, size_t bytes) {
    if (type >= MTRACK_TYPES_MAX) type = 0;
    mtrack_account *account = &state.accounts[type];
    auto *head = bytes > SIZE_MAX - sizeof(mtrack_block)
                     ? nullptr
                     : static_cast<mtrack_block *>(std::calloc(1, sizeof(mtrack_block) + bytes));
    if (head == nullptr) {
        account->failures++;
        return nullptr;
    }
    *head = {bytes, type, state.generation};
    account->blocks++;
    account->allocations++;
    account->bytes += bytes;
    return head + 1;
}

void mtrack_free(void *block) {
    if (block == nullptr) return;
    mtrack_block *head = static_cast<mtrack_block *>(block) - 1;
    if (head->generation == state.generation) {
        state.accounts[head->type].blocks--;
        state.accounts[head->type].bytes -= head->bytes;
    }
    std::free(head);
}

const mtrack_account *mtrack_account_get(uint32_t type) {
    return type < MTRACK_TYPES_MAX ? &state.accounts[type] : nullptr;
}

uint32_t mtrack_blocks_in_use() {
    uint32_t blocks = 0;
    for (const mtrack_account &account : state.accounts) blocks += account.blocks;
    return blocks;
}

void mtrack_reset() {
    const uint32_t generation = state.generation + 1;
    state = {};
    state.generation = generation;
}
