/* tests/host/containers/trie_model.h: the slow obvious prefix table that the tries are compared with, and random
 * prefixes that meet each other often. */
#pragma once

#include "host/containers/lpm_trie.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <utility>

/* The seed of this run, printed; LCFWD_TEST_SEED repeats one. */
inline unsigned test_seed() {
    const char *given = std::getenv("LCFWD_TEST_SEED");
    const unsigned seed =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 0)) : std::random_device{}();
    std::printf("LCFWD_TEST_SEED=%u\n", seed);
    return seed;
}

struct model_prefix {
    std::array<uint8_t, 16> bytes;
    unsigned bits;
    auto operator<=>(const model_prefix &) const = default;
    lpm_key key() const { return lpm_key_load(bytes.data(), bits); }
};

/* The first 'bits' bits of an address. */
inline model_prefix model_cut(std::array<uint8_t, 16> bytes, unsigned bits) {
    for (unsigned i = bits; i < 128; i++)
        bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] & ~(0x80u >> (i % 8)));
    return {bytes, bits};
}

struct trie_model {
    std::map<model_prefix, uint32_t> routes; /* by address, then by length: the order of the walks */

    /* The longest route of at most 'max_bits' that covers the address. */
    std::pair<uint32_t, unsigned> match(const std::array<uint8_t, 16> &address, unsigned max_bits) const {
        for (unsigned bits = max_bits;; bits--) {
            const auto found = routes.find(model_cut(address, bits));
            if (found != routes.end()) return {found->second, bits};
            if (bits == 0) return {0, 0};
        }
    }
};

/* Prefixes of one family. Few distinct bytes in few places, so that they nest, branch at every depth, leave long runs
 * without a branch, and fill nodes. */
struct prefix_source {
    std::mt19937 random;
    unsigned width; /* 32 or 128 */

    unsigned below(unsigned end) { return static_cast<unsigned>(random() % end); }

    std::array<uint8_t, 16> address() {
        std::array<uint8_t, 16> bytes{};
        const unsigned style = below(4);
        for (unsigned i = 0; i < width / 8; i++) {
            const unsigned dice = below(8);
            if (style == 0)
                bytes[i] = static_cast<uint8_t>(dice == 0 ? random() : 0);
            else if (style == 1)
                bytes[i] = static_cast<uint8_t>(i + 1 < width / 8 ? 10 : random());
            else if (style == 2)
                bytes[i] = static_cast<uint8_t>(dice < 6 ? 10 : 10 ^ (1u << below(8)));
            else
                bytes[i] = static_cast<uint8_t>(i % 3 == 2 ? random() : dice < 7 ? 0 : 0xff);
        }
        return bytes;
    }

    model_prefix prefix() {
        model_prefix made{address(), below(width + 1)};
        if (below(3) == 0) made.bits = width - below(9);
        return model_cut(made.bytes, made.bits);
    }

    uint32_t value() { return static_cast<uint32_t>(random()) | 1; }
};
