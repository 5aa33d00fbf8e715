/* A process that dies at any write of a batch: after the restart the batch is wholly absent, or wholly there once the
 * store has it; model, store and engine agree. The batch runs in a forked copy of the process, which ends without a
 * word at the chosen write; its tables and databases are shared memory. */
#include "platform/lcfwd_platform.h"
#include "tests/ufib/ha_rig.h"

#include <sys/wait.h>
#include <unistd.h>

static constexpr const char *MAC = "02000a000001";
static constexpr int NEVER = 1 << 30;

/* The software engine with a death after the n-th call that changes something. */
static int calls_left = NEVER;
static bool die_at_commit;
static ufib_platform_api engine;
static lcfwd_platform_api process;

static void count_down() {
    if (--calls_left == 0) _exit(42);
}
template <auto slot, typename... Args> static auto counted(Args... args) {
    const auto result = (engine.*slot)(args...);
    count_down();
    return result;
}
static void commit_told() {
    if (die_at_commit) _exit(42);
    process.pss_buf_commit();
}

static void process_init(lcfwd_platform_api *api, int restart) {
    softfwd_library()->lcfwd_api_init(api, restart);
    process = *api;
    api->pss_buf_commit = commit_told;
}
static void engine_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    softfwd_library()->ufib_api_init(api, caps, restart);
    engine = *api;
    api->insert_v4_prefix = counted<&ufib_platform_api::insert_v4_prefix>;
    api->insert_v6_prefix = counted<&ufib_platform_api::insert_v6_prefix>;
    api->delete_v4_prefix = counted<&ufib_platform_api::delete_v4_prefix>;
    api->delete_v6_prefix = counted<&ufib_platform_api::delete_v6_prefix>;
    api->insert_adj = counted<&ufib_platform_api::insert_adj>;
    api->delete_adj = counted<&ufib_platform_api::delete_adj>;
    api->insert_ecmp = counted<&ufib_platform_api::insert_ecmp>;
    api->delete_ecmp = counted<&ufib_platform_api::delete_ecmp>;
    api->insert_vobj = counted<&ufib_platform_api::insert_vobj>;
    api->update_vobj = counted<&ufib_platform_api::update_vobj>;
    api->delete_vobj = counted<&ufib_platform_api::delete_vobj>;
    api->update_v4prefix_nh = counted<&ufib_platform_api::update_v4prefix_nh>;
    api->update_v6prefix_nh = counted<&ufib_platform_api::update_v6prefix_nh>;
    api->all_writes_ready = counted<&ufib_platform_api::all_writes_ready>;
}
static void library_reset() { softfwd_library()->reset(); }
static const platform_library mortal_library = {"mortal", process_init, engine_init, library_reset};

class ufib_crash : public ha_family_test {
protected:
    void SetUp() override {
        rig.options.library = &mortal_library;
        ha_family_test::SetUp();
    }

    static std::string prefix(const family &f, unsigned n) {
        return f.index == 0 ? "30.0." + std::to_string(n) + ".0/24"
                            : "2001:db8:" + std::to_string(2000 + n) + "::/48";
    }
    wire_route to(unsigned n, const std::vector<std::string> &hops) {
        wire_route route = add(f, prefix(f, n), hops[0]);
        route.hops.clear();
        for (const std::string &hop : hops) route.hops.push_back({.address = hop, .if_index = ETH1});
        return route;
    }

    /* A recursive next hop by number, and a route over some of them. */
    std::string via(unsigned n) const {
        return (f.index == 0 ? "10.98.0." : "2001:db8:98::") + std::to_string(n + 1);
    }
    wire_route confirm(unsigned n, const std::vector<std::string> &hops) {
        wire_route route = to(0, hops);
        route.prefix = via(n) + (f.index == 0 ? "/32" : "/128");
        route.flags = 0x20;
        return route;
    }
    wire_route over(unsigned n, const std::vector<unsigned> &next_hops) {
        wire_route route = to(n, {f.hop});
        route.hops.clear();
        for (const unsigned next : next_hops)
            route.hops.push_back({.address = via(next), .flags = 0x01, .table_id = f.table});
        return route;
    }

    /* What stood before, and a batch that touches all of it. */
    std::vector<wire_route> standing() {
        std::vector<wire_route> routes;
        for (unsigned n = 0; n < 4; n++) routes.push_back(to(n, {f.hop}));
        routes.push_back(to(4, {lonely()})); /* the only user of its next hop, which no neighbour holds */
        routes.push_back(to(5, {f.hop, f.hop2}));
        routes.push_back(to(6, {f.hop, f.hop2, lonely()}));
        routes.push_back(add(f, prefix(f, 7), f.hop, ETH1, 0x01));
        return routes;
    }
    std::vector<wire_route> batch_of_all() {
        return {to(0, {f.hop2}),
                remove(f, prefix(f, 1)),
                to(20, {f.hop}),
                remove(f, prefix(f, 4)), /* takes its adjacency with it */
                to(21, {f.hop2, lonely()}),
                to(5, {f.hop}), /* the group of two goes */
                remove(f, prefix(f, 6)),
                to(1, {f.hop2}), /* comes back under another handle */
                remove(f, prefix(f, 7)),
                to(22, {f.index == 0 ? "192.0.2.77" : "fe80::77"})};
    }
    /* Recursive routes, and a batch that changes what they resolve to. Such a batch commits by itself now and then. */
    std::vector<wire_route> recursive() {
        std::vector<wire_route> routes = {confirm(0, {f.hop}), confirm(1, {f.hop}), confirm(2, {f.hop})};
        for (unsigned n = 10; n < 13; n++) routes.push_back(over(n, {0}));
        routes.push_back(over(13, {1, 2}));
        routes.push_back(to(14, {f.hop}));
        return routes;
    }
    std::vector<wire_route> recursive_batch() {
        return {confirm(0, {f.hop2}),        /* rewrites its group in place */
                confirm(1, {f.hop, f.hop2}), /* a second group of another size */
                over(10, {0, 1}),
                over(14, {3}), /* a next hop that nobody confirms */
                to(12, {f.hop2}),
                confirm(2, {f.hop2})};
    }
    std::string lonely() const { return f.index == 0 ? "192.0.2.9" : "fe80::9"; }

    /* Runs the batch in a copy of the process. True: it died. */
    bool batch_in_a_copy(const std::vector<wire_route> &routes, int write, bool at_commit) {
        const pid_t copy = fork();
        if (copy == 0) {
            calls_left = write;
            die_at_commit = at_commit;
            _exit(load(f, routes, 9) ? 0 : 1);
        }
        int status = 0;
        EXPECT_EQ(waitpid(copy, &status, 0), copy);
        EXPECT_TRUE(WIFEXITED(status));
        const int code = WEXITSTATUS(status);
        EXPECT_TRUE(code == 0 || code == 42) << code;
        return code == 42;
    }
    void restart() { ASSERT_EQ(rig.restart(), 0); }
    static softfwd_reader_stats engine_stats() {
        softfwd_reader_stats stats = {};
        softfwd_reader *reader = nullptr;
        if (softfwd_reader_attach(3, false, &reader) == 0) (void)!softfwd_reader_statistics(reader, &stats);
        softfwd_reader_detach(reader);
        return stats;
    }
};
INSTANTIATE_TEST_SUITE_P(families, ufib_crash, both_families, family_name);

TEST_P(ufib_crash, at_every_write_of_a_batch_it_is_wholly_absent) {
    ASSERT_TRUE(load(f, standing()));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC});
    const std::string before = ha_model_text();
    int writes = 1;
    for (; writes < 200; writes++) {
        if (!batch_in_a_copy(batch_of_all(), writes, false)) break;
        restart();
        ASSERT_EQ(ha_model_text(), before) << "died after write " << writes;
        ASSERT_EQ(model_findings(rig), "") << "died after write " << writes;
        for (unsigned n = 0; n < 4; n++) {
            const std::string net = prefix(f, n);
            EXPECT_EQ(lookup(f, net.substr(0, net.find('/'))), "forward") << writes;
        }
    }
    EXPECT_GT(writes, 15);
    restart(); /* the copy that lived has done the batch */
    EXPECT_EQ(model_findings(rig), "");
    EXPECT_EQ(engine_stats().groups, 1u);
    const std::string after = ha_model_text();
    EXPECT_NE(after, before);
    expect_clean_restart();
}

TEST_P(ufib_crash, once_the_store_has_it_the_batch_is_wholly_there) {
    ASSERT_TRUE(load(f, standing()));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC});
    ASSERT_TRUE(batch_in_a_copy(batch_of_all(), NEVER, true));
    restart();
    EXPECT_EQ(model_findings(rig), "");
    const std::string after = ha_model_text();
    std::vector<wire_route> again = batch_of_all(); /* the sender was not answered: it sends again */
    std::erase_if(again, [](const wire_route &route) { return route.remove; });
    EXPECT_TRUE(load(f, again, 9));
    EXPECT_EQ(ha_model_text(), after);
    EXPECT_EQ(model_findings(rig), "");
    expect_clean_restart();
    EXPECT_EQ(lookup(f, f.index == 0 ? "30.0.20.1" : "2001:db8:2020::1"), "forward");
    EXPECT_EQ(lookup(f, f.index == 0 ? "30.0.6.1" : "2001:db8:2006::1"), "no route");
}

TEST_P(ufib_crash, recursive_routes_agree_again_wherever_it_died) {
    ASSERT_TRUE(load(f, recursive()));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC});
    for (int writes = 1; writes < 200; writes++) {
        const bool died = batch_in_a_copy(recursive_batch(), writes, false);
        restart();
        ASSERT_EQ(model_findings(rig), "") << "died after write " << writes;
        for (unsigned n = 10; n < 14; n++) {
            const std::string net = prefix(f, n);
            ASSERT_EQ(lookup(f, net.substr(0, net.find('/'))), "forward") << n << " after write " << writes;
        }
        ASSERT_TRUE(load(f, recursive_batch())) << writes;
        rig.advance_seconds(2);
        ASSERT_EQ(model_findings(rig), "") << "sent again after write " << writes;
        ASSERT_TRUE(load(f, recursive()));
        rig.advance_seconds(2);
        ASSERT_EQ(model_findings(rig), "") << writes;
        if (!died) break;
        ASSERT_LT(writes, 190);
    }
}

TEST_P(ufib_crash, a_death_during_the_recovery_is_recovered_from) {
    ASSERT_TRUE(load(f, standing()));
    for (const wire_route &route : recursive()) (void)load(f, {route});
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    const std::string before = ha_model_text();
    const uint64_t old = writes();
    int deaths = 0;
    for (int calls = 1; calls < 40; calls += 3) {
        rig.stop();
        const pid_t copy = fork();
        if (copy == 0) {
            calls_left = calls;
            _exit(rig.start());
        }
        int status = 0;
        ASSERT_EQ(waitpid(copy, &status, 0), copy);
        deaths += WIFEXITED(status) && WEXITSTATUS(status) == 42;
        ASSERT_EQ(rig.start(), 0);
        ASSERT_EQ(ha_model_text(), before) << "died after call " << calls;
        ASSERT_EQ(model_findings(rig), "") << "died after call " << calls;
    }
    EXPECT_GT(deaths, 5);
    EXPECT_EQ(writes(), old);
}
