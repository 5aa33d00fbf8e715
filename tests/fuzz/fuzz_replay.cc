/* lcfwd_fuzz_replay TARGET [FILE...]: the target over its seeds, over damaged forms of them, and over the files.
 * lcfwd_fuzz_replay TARGET --write FOLDER: the seeds as files, for a fuzzer to begin with.
 * LCFWD_FUZZ_ROUNDS: damaged inputs for each seed (by default some 2000 in all); LCFWD_FUZZ_SEED: of the random
 * numbers. */
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

static bytes last_input;
static const char *const last_input_file = "fuzz-last-input";

/* What brought the process down can be given again as a file. */
static void input_save() {
    std::ofstream(last_input_file, std::ios::binary)
        .write(reinterpret_cast<const char *>(last_input.data()),
               static_cast<std::streamsize>(last_input.size()));
}

extern "C" void __asan_on_error();
extern "C" void __asan_on_error() { input_save(); }

static void run(const fuzz_target &target, const bytes &input) {
    last_input = input;
    target.run(input.data(), input.size());
}

static bytes damaged(bytes input, const std::vector<bytes> &seeds, std::mt19937_64 &random) {
    static constexpr uint8_t telling[] = {0,    1,    2,    3,    4,    0x1b, 0x1e,
                                          0x23, 0x40, 0x41, 0x7f, 0x80, 0xfe, 0xff};
    const auto below = [&](size_t n) { return n == 0 ? 0 : static_cast<size_t>(random() % n); };
    for (size_t changes = 1 + below(4); changes > 0; changes--) {
        const size_t at = below(input.size());
        switch (below(6)) {
        case 0:
            if (!input.empty()) input[at] = static_cast<uint8_t>(random());
            break;
        case 1:
            if (!input.empty()) input[at] = telling[below(sizeof telling)];
            break;
        case 2:
            if (!input.empty()) input[at] = static_cast<uint8_t>(input[at] ^ 1u << below(8));
            break;
        case 3: input.resize(at); break;
        case 4:
            input.erase(input.begin() + static_cast<long>(at),
                        input.begin() +
                            static_cast<long>(at + below(std::min<size_t>(input.size() - at, 16))));
            break;
        default: {
            const bytes &other = seeds[below(seeds.size())];
            const size_t from = below(other.size());
            input.insert(input.begin() + static_cast<long>(at), other.begin() + static_cast<long>(from),
                         other.begin() + static_cast<long>(from + below(other.size() - from)));
        }
        }
    }
    return input;
}

static void replay(const fuzz_target &target) {
    const char *rounds_text = std::getenv("LCFWD_FUZZ_ROUNDS"), *seed_text = std::getenv("LCFWD_FUZZ_SEED");
    const std::vector<bytes> seeds = target.seeds();
    const unsigned long rounds =
        rounds_text == nullptr ? 1 + 2000 / seeds.size() : std::strtoul(rounds_text, nullptr, 0);
    const unsigned long long seed = seed_text == nullptr ? 1 : std::strtoull(seed_text, nullptr, 0);
    std::printf("%s: LCFWD_FUZZ_SEED=%llu LCFWD_FUZZ_ROUNDS=%lu\n", target.name, seed, rounds);
    std::fflush(stdout);
    std::mt19937_64 random(seed);
    size_t count = seeds.size();
    for (const bytes &input : seeds) run(target, input);
    for (const bytes &input : seeds)
        for (unsigned long round = 0; round < rounds; round++, count++)
            run(target, damaged(input, seeds, random));
    std::printf("%s: %zu inputs\n", target.name, count);
}

static int seeds_write(const fuzz_target &target, const std::filesystem::path &folder) {
    std::filesystem::create_directories(folder);
    size_t number = 0;
    for (const bytes &seed : target.seeds()) {
        std::ofstream file(folder / ("seed-" + std::to_string(number++)), std::ios::binary);
        file.write(reinterpret_cast<const char *>(seed.data()), static_cast<std::streamsize>(seed.size()));
        if (!file) return 1;
    }
    return 0;
}

int main(int argc, char **argv) {
    const fuzz_target *target = argc < 2 ? nullptr : fuzz_find(argv[1]);
    if (target == nullptr) {
        std::fprintf(stderr, "usage: lcfwd_fuzz_replay TARGET [FILE... | --write FOLDER]; targets:");
        for (const fuzz_target *known : fuzz_targets()) std::fprintf(stderr, " %s", known->name);
        std::fprintf(stderr, "\n");
        return 2;
    }
    if (argc == 4 && std::strcmp(argv[2], "--write") == 0) return seeds_write(*target, argv[3]);
    std::signal(SIGABRT, [](int) { input_save(); });
    for (int i = 2; i < argc; i++) {
        std::ifstream file(argv[i], std::ios::binary);
        run(*target, bytes(std::istreambuf_iterator<char>(file), {}));
    }
    if (argc == 2) replay(*target);
    return 0;
}
