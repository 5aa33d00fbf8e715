/* The proof that nobody notices a restart, with real processes and a real routing table. Not a part of `make test`: it
 * takes minutes; `make hitless` runs all of it, `make hitless-short` a little. The last lines are figures.
 * HITLESS_KILLS: kills under a probe and a supervisor that never rests; HITLESS_RESTARTS: restarts in a row;
 * HITLESS_ROUTES: 0, or about so many routes of the table; HITLESS_SEED: of the random moments. */
#include "tests/process/hitless_content.h"
#include "tests/process/process_support.h"

#include "host/system/root.h"
#include "softfwd/softfwd_reader.h"
#include "tools/lcfwdctl/route_list.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>
#include <unistd.h>

using words = std::vector<std::string>;

static const words SHAPE = {"--next-hops", "64", "--aggregates", "10000"};
static constexpr uint32_t HOPS = 64;

static uint64_t setting(const char *name, uint64_t otherwise) {
    const char *text = std::getenv(name);
    return text == nullptr || *text == '\0' ? otherwise : std::stoull(text);
}

/* What the last lines tell. */
static struct {
    uint64_t kills, lookups, wrong, missing;
    uint64_t prefixes, engine_writes, restarts;
    double seconds, seconds_longest, cpu_seconds, load_seconds;
    uint64_t resident_before, resident_after, resident_last, store_bytes;
} figures;

static words operator+(words a, const words &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

static double seconds_since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/* The number of a key in one-row JSON output. */
static double number_of(const std::string &json, const std::string &key) {
    const std::string member = "\"" + key + "\": ";
    const size_t at = json.find(member);
    return at == std::string::npos ? -1 : std::strtod(json.c_str() + at + member.size(), nullptr);
}

class hitless : public process_test {
protected:
    void SetUp() override {
        /* In memory, where the store belongs; a disk would be measured otherwise. */
        if (access("/dev/shm", W_OK | X_OK) == 0 && std::filesystem::space("/dev/shm").available > 1u << 30)
            base = "/dev/shm";
        process_test::SetUp();
        random.seed(static_cast<uint32_t>(setting("HITLESS_SEED", 1)));
    }

    /* The whole table, or every n-th route of it, sorted. */
    static const std::vector<ctl_route> &table() {
        static std::vector<ctl_route> routes;
        if (!routes.empty()) return routes;
        std::string error;
        ctl_route_shape shape;
        for (const char *name : {"/data/internet-v4.txt.xz", "/data/internet-v6.txt.xz"})
            if (ctl_routes_read((LCFWD_SOURCE_DIR + std::string(name)).c_str(), shape, &routes, &error) != 0)
                ADD_FAILURE() << error;
        ctl_routes_finish(shape, &routes);
        const uint64_t wanted = setting("HITLESS_ROUTES", 0);
        const size_t step = wanted == 0 || wanted >= routes.size() ? 1 : routes.size() / wanted;
        size_t kept = 0;
        for (size_t i = 0; i < routes.size(); i += step) routes[kept++] = routes[i];
        routes.resize(kept);
        return routes;
    }
    /* A list of the routes that 'hop' gives a next hop, by number and the next hop of the table; < 0: not this one. */
    template <typename Hop> std::string list(const std::string &name, Hop hop) {
        const std::string path = folder + "/" + name;
        std::ofstream file(path);
        for (size_t i = 0; i < table().size(); i++)
            if (const int64_t to = hop(i, table()[i].hop); to >= 0)
                file << ctl_prefix_text(table()[i]) << ' ' << to << '\n';
        return path;
    }
    void load(const words &more) { expect_ctl(0, words{"load"} + more); }
    void load_fresh(const words &more, const words &shape) {
        start(root);
        expect_ctl(0, {"vdc", "create", "1"});
        load(more);
        expect_ctl(0, words{"resolve"} + shape);
    }

    /* A process that has forgotten its routes forwards all the same. */
    void model_has(const words &lists) {
        expect_ctl(0, words{"check", "routes", "--timeout", "60000", "--json"} + lists);
    }

    softfwd_reader_stats engine() {
        softfwd_reader_stats stats = {};
        softfwd_reader *reader = nullptr;
        host_root_set(root.c_str());
        if (softfwd_reader_attach(1, false, &reader) != 0 || softfwd_reader_statistics(reader, &stats) != 0)
            ADD_FAILURE() << "the engine cannot be read";
        softfwd_reader_detach(reader);
        return stats;
    }
    uint64_t resident_kb() {
        std::ifstream file("/proc/" + std::to_string(pid_of()) + "/status");
        for (std::string line; std::getline(file, line);)
            if (line.rfind("VmRSS:", 0) == 0) return std::stoull(line.substr(6));
        return 0;
    }
    double cpu_seconds() {
        std::ifstream file("/proc/" + std::to_string(pid_of()) + "/stat");
        std::string word;
        double ticks = 0;
        for (int field = 1; field <= 15 && file >> word; field++)
            if (field >= 14) ticks += std::stod(word);
        return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
    }
    void pause(double most) {
        std::this_thread::sleep_for(
            std::chrono::duration<double>(most * static_cast<double>(random() % 1000) / 1000));
    }
    /* Seconds from the start of the program to its first answer. Nothing may be written, nothing differ. */
    double clean_restart() {
        const softfwd_reader_stats before = engine();
        crash();
        const auto begin = std::chrono::steady_clock::now();
        start(root);
        const double seconds = seconds_since(begin);
        const softfwd_counters now = engine().counters;
        figures.engine_writes += now.writes - before.counters.writes;
        figures.restarts++;
        EXPECT_EQ(now.writes, before.counters.writes);
        EXPECT_EQ(now.failures, before.counters.failures);
        EXPECT_EQ(now.key_differences + now.content_differences,
                  before.counters.key_differences + before.counters.content_differences);
        return seconds;
    }

    std::minstd_rand random;
};

TEST_F(hitless, restarts_in_a_row_write_nothing_and_leave_everything_as_it_was) {
    const std::string all = list("all", [](size_t, uint32_t hop) { return int64_t{hop}; });
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    figures.load_seconds = number_of(expect_ctl(0, words{"load", all, "--json"} + SHAPE).out, "seconds");
    expect_ctl(0, words{"resolve"} + SHAPE);
    const softfwd_reader_stats loaded = engine();
    figures.prefixes = loaded.v4_prefixes + loaded.v6_prefixes;
    figures.resident_before = resident_kb();
    const auto content = hitless_engine(root, true);
    const auto records = hitless_store(root);
    figures.store_bytes = hitless_store_bytes(root);

    const uint64_t restarts = setting("HITLESS_RESTARTS", 100);
    for (uint64_t n = 0; n < restarts && !HasFailure(); n++) {
        if (n % 5 == 4) { /* dies once more before it is ready */
            crash();
            begin(root);
            pause(figures.seconds);
        }
        const double seconds = clean_restart();
        figures.seconds_longest = std::max(figures.seconds_longest, seconds);
        if (n != 0) continue;
        figures.seconds = seconds;
        figures.cpu_seconds = cpu_seconds();
        figures.resident_after = resident_kb();
        model_has(words{all} + SHAPE);
        EXPECT_EQ(hitless_difference(content, hitless_engine(root, true)), "");
    }
    figures.resident_last = resident_kb();
    EXPECT_LE(figures.resident_after, figures.resident_before * 21 / 20) << "kB, after the first";
    EXPECT_LE(figures.resident_last, figures.resident_after * 51 / 50 + 1024) << "kB, after the last";
    EXPECT_EQ(engine().memory_bytes, loaded.memory_bytes);
    EXPECT_EQ(hitless_difference(content, hitless_engine(root, true)), "");
    EXPECT_TRUE(records == hitless_store(root)) << "the records have changed";
    EXPECT_EQ(hitless_store_bytes(root), figures.store_bytes);
    expect_ctl(0, words{"verify", all} + SHAPE);
    model_has(words{all} + SHAPE);
}

TEST_F(hitless, what_the_supervisor_replays_after_a_restart_equals_a_fresh_load) {
    const std::string old_list = list("old", [](size_t, uint32_t hop) { return int64_t{hop}; });
    const std::string new_list = list("new", [](size_t i, uint32_t hop) {
        return i % 10 == 3 ? -1 : i % 10 == 7 ? (hop + 11) % HOPS : int64_t{hop};
    });
    load_fresh(words{old_list, "--epoch", "1"} + SHAPE, SHAPE);
    clean_restart();
    load(words{new_list, "--epoch", "2"} + SHAPE);
    expect_ctl(0, {"stale", "--epoch", "2"});
    expect_ctl(0, words{"verify", new_list} + SHAPE);
    const auto replayed = hitless_engine(root, false);
    auto counts = hitless_store(root);
    clean_restart();
    EXPECT_EQ(hitless_difference(replayed, hitless_engine(root, false)), "") << "after one more restart";
    stop();
    root = folder + "/fresh";
    load_fresh(words{new_list, "--epoch", "2"} + SHAPE, SHAPE);
    EXPECT_EQ(hitless_difference(replayed, hitless_engine(root, false)), "");
    for (const auto &[name, database] : hitless_store(root))
        EXPECT_EQ(counts[name].records, database.records) << name;
}

/* Moves a twentieth of the routes to other next hops, to recursive ones and back, and lets another come and go. */
class churning : public hitless {
protected:
    void churn_begin() {
        churn_folder = folder + "/churn_runs";
        std::filesystem::create_directory(churn_folder);
        supervisor = std::thread([this] {
            while (!over) {
                ask({"load", moving, "--next-hops", "32"});
                ask({"load", coming, "--next-hops", "64"});
                ask({"load", moving, "--next-hops", "64", "--recursive"});
                ask({"load", moving, "--next-hops", "64"});
                ask({"delete", coming});
            }
        });
    }
    /* It may fail: the process may be away. */
    void ask(const words &what) {
        if (over) return;
        process_run(words{LCFWDCTL_BINARY} + what +
                        words{"--batch", "100", "--root", root, "--quiet", "--timeout", "5000"},
                    churn_folder, 30);
        rounds++;
    }
    void churn_end() {
        over = true;
        supervisor.join();
    }

    std::string steady, moving, coming, churn_folder;
    std::atomic<bool> over = false;
    std::atomic<uint64_t> rounds = 0;
    std::thread supervisor;
};

static constexpr bool moves(size_t i) { return i % 20 == 3; }
static constexpr bool comes(size_t i) { return i % 20 == 7; }

TEST_F(churning, no_look_up_notices_kills_at_random_moments) {
    steady = list("steady", [](size_t i, uint32_t hop) { return comes(i) ? -1 : int64_t{hop}; });
    std::ofstream(steady, std::ios::app) << "0.0.0.0/0 5\n::/0 6\n"; /* whatever is missing was forgotten */
    moving = list("moving", [](size_t i, uint32_t hop) { return moves(i) ? int64_t{hop} : -1; });
    coming = list("coming", [](size_t i, uint32_t hop) { return comes(i) ? int64_t{hop} : -1; });
    const words hops = {"--next-hops", "64"};
    load_fresh(words{steady} + hops, hops);
    clean_restart();
    const auto fresh = hitless_engine(root, false);
    std::filesystem::create_directory(folder + "/probe");
    const pid_t probe =
        process_begin(words{LCFWDCTL_BINARY, "probe", steady, "--or-next-hops", "32", "--churn", coming,
                            "--changes", "0", "--seconds", "80000", "--json", "--root", root} +
                          hops,
                      folder + "/probe");
    churn_begin();
    const uint64_t kills = setting("HITLESS_KILLS", 100);
    for (; figures.kills < kills && !HasFatalFailure(); figures.kills++) {
        pause(0.8);
        crash();
        if (figures.kills % 4 == 3) {
            begin(root);
            pause(figures.seconds);
            crash();
        }
        start(root);
    }
    churn_end();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const process_result probed = process_end(probe, folder + "/probe", 120);
    EXPECT_EQ(probed.code, 0) << probed.out << probed.err;
    figures.lookups = static_cast<uint64_t>(number_of(probed.out, "lookups"));
    figures.wrong = static_cast<uint64_t>(number_of(probed.out, "wrong"));
    figures.missing = static_cast<uint64_t>(number_of(probed.out, "missing"));
    EXPECT_GT(figures.lookups, kills * 10000) << "the probe hardly looked";
    EXPECT_GE(rounds, kills / 2) << "the supervisor hardly came to work";

    load(words{coming} + hops); /* so that all can be deleted */
    load(words{moving} + hops);
    expect_ctl(0, {"delete", coming});
    EXPECT_EQ(hitless_difference(fresh, hitless_engine(root, false)), "");
    expect_ctl(0, words{"verify", steady} + hops);
    expect_ctl(0, {"check", "model", "--timeout", "60000"});
    EXPECT_EQ(engine().counters.violations, 0u);
}

static void print_figures() {
    const auto &f = figures;
    printf("restart.load_seconds %.3f\nrestart.seconds_longest %.3f\nrestart.cpu_seconds %.3f\n",
           f.load_seconds, f.seconds_longest, f.cpu_seconds);
    if (f.prefixes != 0)
        printf("restart.ns_per_route %.0f\nrestart.store_bytes_per_route %.1f\n",
               f.seconds * 1e9 / static_cast<double>(f.prefixes),
               static_cast<double>(f.store_bytes) / static_cast<double>(f.prefixes));
    printf("restart.resident_kb_before %lu\nrestart.resident_kb_after %lu\nrestart.resident_kb_last %lu\n",
           f.resident_before, f.resident_after, f.resident_last);
    printf("hitless.restarts %lu\nhitless.lookups %lu\nhitless.wrong %lu\nhitless.missing %lu\n", f.kills,
           f.lookups, f.wrong, f.missing);
    printf("restart.prefixes %lu\nrestart.seconds %.3f\nrestart.engine_writes %lu\n", f.prefixes, f.seconds,
           f.engine_writes);
}

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    const int code = RUN_ALL_TESTS();
    print_figures();
    return code != 0 || figures.wrong + figures.missing + figures.engine_writes != 0 ? 1 : 0;
}
