/* Codes, names, ownership, knobs. */
#include "tests/host/child.h"
#include "tests/host/store/store_rig.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class store_api : public store_rig {};

TEST_F(store_api, codes_of_the_immediate_calls) {
    pss2_service *service = open(41, "prefix_vdc_1");
    const std::string long_key(65, 'k');
    EXPECT_EQ(get(service, "k"), "(none)");
    EXPECT_EQ(drop(service, "k"), 0x40480003);
    EXPECT_EQ(put(service, "k", ""), 0) << "an empty value is a value";
    EXPECT_EQ(get(service, "k"), "");
    EXPECT_EQ(put(service, "", "v"), STORE_BAD_ARGUMENT);
    EXPECT_EQ(put(service, long_key, "v"), STORE_BAD_ARGUMENT);
    EXPECT_EQ(put(nullptr, "k", "v"), STORE_BAD_ARGUMENT);
    const pss2_datum key{"k", 1}, too_long = {"", STORE_VALUE_MAX + 1};
    EXPECT_EQ(pss2_store(service, &key, &too_long), STORE_BAD_ARGUMENT);
    const std::string biggest(STORE_VALUE_MAX, 'z');
    EXPECT_EQ(put(service, std::string(64, 'k'), biggest), 0);
    EXPECT_EQ(get(service, std::string(64, 'k')), biggest);
}

TEST_F(store_api, an_operations_buffer_takes_5120_and_is_spent_by_exec) {
    pss2_service *service = open(41, "prefix_vdc_1");
    store_batch batch(queue());
    const pss2_datum key{"k", 1};
    EXPECT_EQ(pss2_ops_add(batch.ops, PSS2_OP_STORE, &key, &key), STORE_BAD_ARGUMENT)
        << "no database selected";
    for (uint32_t i = 0; i < 5120; i++) ASSERT_EQ(batch.add(service, PSS2_OP_STORE, u32_key(i), "v"), 0);
    EXPECT_EQ(batch.add(service, PSS2_OP_STORE, "more", "v"), 0x40480013);
    EXPECT_EQ(pss2_ops_exec(batch.ops), 0);
    EXPECT_EQ(all(service).size(), 5120u);
    EXPECT_EQ(pss2_ops_add_db(batch.ops, service), STORE_BAD_ARGUMENT);
    EXPECT_EQ(queue(), batch.ops) << "the same area is the same buffer";
    EXPECT_EQ(pss2_ops_exec(batch.ops), 0x40480020);
    int status = 0;
    EXPECT_EQ(pss2_ops_init(area, 7, &status), nullptr);
    EXPECT_EQ(status, STORE_BAD_ARGUMENT);
}

TEST_F(store_api, operations_refer_to_bytes_and_copy_descriptors) {
    pss2_service *service = open(41, "prefix_vdc_1");
    pss2_ops *ops = queue();
    std::string value = "early";
    const std::string bytes = "key";
    pss2_datum k = datum(bytes), v = datum(value);
    ASSERT_EQ(pss2_ops_add_db(ops, service), 0);
    ASSERT_EQ(pss2_ops_add(ops, PSS2_OP_STORE, &k, &v), 0);
    k = v = {nullptr, 0};
    value = "later";
    ASSERT_EQ(pss2_ops_exec(ops), 0);
    EXPECT_EQ(get(service, "key"), "later");
}

TEST_F(store_api, operations_on_a_closed_service_are_skipped_and_the_others_done) {
    pss2_service *a = open(41, "prefix_vdc_1"), *b = open(44, "v4adj_vdc_1");
    store_batch batch(queue());
    ASSERT_EQ(batch.add(a, PSS2_OP_STORE, "k", "v"), 0);
    ASSERT_EQ(batch.add(b, PSS2_OP_STORE, "k", "v"), 0);
    ASSERT_EQ(fu_vdc_pss_close_and_destroy(1, 41), 0);
    EXPECT_FALSE(std::filesystem::exists(file("prefix_vdc_1")));
    EXPECT_EQ(fu_vdc_pss_close_and_destroy(1, 41), STORE_ABSENT);
    EXPECT_EQ(pss2_ops_add_db(batch.ops, a), STORE_CLOSED);
    EXPECT_EQ(put(a, "k", "v"), STORE_CLOSED);
    a = open(41, "prefix_vdc_1");
    EXPECT_EQ(pss2_ops_exec(batch.ops), STORE_CLOSED) << "opened again is not the same database";
    EXPECT_TRUE(all(a).empty());
    EXPECT_EQ(get(b, "k"), "v");
}

TEST_F(store_api, names_of_databases) {
    static const struct {
        int id;
        const char *uri;
        int want;
        const char *file;
    } rows[] = {
        {30, "volatile:/dev/shm/lcfwd_vdc", 0, "lcfwd_vdc"},
        {75, "volatile:/dev/shm/lcfwd_vpn_id array_vdc_1", 0, "lcfwd_vpn_id array_vdc_1"},
        {2, "saved_config", 0, "lcfwd_saved_config_2"},
        {1, "saved_config", 0, "lcfwd_saved_config_1"},
        {30, "volatile:/dev/shm/lcfwd_vdc", 0, "lcfwd_vdc"},
        {30, "volatile:/dev/shm/lcfwd_other", STORE_IN_USE, nullptr},
        {32, "volatile:/dev/shm/lcfwd_vdc", STORE_IN_USE, nullptr},
        {33, "volatile:/dev/shm/lcfwd_redo", STORE_BAD_ARGUMENT, nullptr},
        {33, "volatile:/dev/shm/other", STORE_BAD_ARGUMENT, nullptr},
        {33, "volatile:/dev/shm/lcfwd_/../../x", STORE_BAD_ARGUMENT, nullptr},
        {33, "volatile:/etc/lcfwd_x", STORE_BAD_ARGUMENT, nullptr},
        {33, "", STORE_BAD_ARGUMENT, nullptr},
        {-1, "x", STORE_BAD_ARGUMENT, nullptr},
        {256, "x", STORE_BAD_ARGUMENT, nullptr},
    };
    for (const auto &row : rows) {
        fu_pss_service_arg arg;
        fu_global_pss_service_default_arg(&arg);
        arg.id = row.id;
        ASSERT_EQ(fu_pss_service_arg_uri_set(&arg, row.uri), 0);
        EXPECT_EQ(fu_pss_entry_install(nullptr, 1, &arg), row.want) << row.uri;
        struct stat status;
        if (row.file == nullptr) continue;
        ASSERT_EQ(stat((folder() + "/" + row.file).c_str(), &status), 0) << row.file;
        EXPECT_EQ(status.st_mode & 0777, 0600u);
    }
    pss2_service *service;
    EXPECT_EQ(fu_pss_service_get(33, &service), STORE_ABSENT);
    EXPECT_EQ(service, nullptr);
    const pss2_datum key{"\x04", 1}, value{"1000", 4};
    EXPECT_EQ(fu_vdc_pss_store(1, 2, &key, &value), 0);
    EXPECT_EQ(fu_vdc_pss_delete(1, 2, &key), 0);
    EXPECT_EQ(fu_vdc_pss_delete(1, 2, &key), STORE_ABSENT);
    EXPECT_EQ(fu_vdc_pss_store(1, 3, &key, &value), STORE_ABSENT);
}

TEST_F(store_api, knows_a_cold_start_from_a_restart) {
    EXPECT_FALSE(store_usable_state());
    pss2_service *service = open(30, "vdc");
    start();
    EXPECT_FALSE(store_usable_state()) << "a database without records";
    service = open(30, "vdc");
    ASSERT_EQ(put(service, "k", "v"), 0);
    start();
    EXPECT_TRUE(store_usable_state());
    service = open(30, "vdc");
    EXPECT_EQ(store_remove_leftovers(), STORE_IN_USE);
    file_write(folder() + "/other", "not ours");
    start();
    EXPECT_EQ(store_remove_leftovers(), 0);
    EXPECT_FALSE(store_usable_state());
    EXPECT_FALSE(std::filesystem::exists(file("vdc")));
    EXPECT_TRUE(std::filesystem::exists(folder() + "/other"));
    EXPECT_TRUE(all(open(30, "vdc")).empty());
}

TEST_F(store_api, has_one_owner_at_a_time_and_any_readers) {
    ASSERT_EQ(put(open(30, "vdc"), "k", "v"), 0);
    const int status = in_child([this] {
        start(); /* closes the child's copies; the parent still holds the lock */
        const fu_pss_service_arg arg = args(30, "vdc");
        const bool refused = fu_pss_entry_install(nullptr, 1, &arg) == STORE_IN_USE;
        store_file_info info;
        _exit(refused && file_records(file("vdc"), &info).at("k") == "v" && !store_usable_state() ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
}

TEST_F(store_api, a_reader_from_outside_sees_only_whole_records_of_a_busy_writer) {
    const pid_t child = fork();
    if (child == 0) {
        pss2_service *service = open(41, "prefix_vdc_1");
        for (uint32_t n = 0;; n++) {
            store_batch batch(queue());
            for (uint32_t i = 0; i < 200; i++)
                static_cast<void>(batch.add(service, (n + i) % 5 != 0 ? PSS2_OP_STORE : PSS2_OP_DELETE,
                                            u32_key(i),
                                            std::string(n % 90, static_cast<char>('A' + n % 26))));
            if (pss2_ops_exec(batch.ops) != 0) _exit(1);
        }
    }
    const std::string path = file("prefix_vdc_1");
    store_file_info info{};
    while (store_inspect_file(path.c_str(), nullptr, nullptr, &info) != 0) usleep(1000);
    for (int round = 0; round < 200; round++)
        for (const auto &[key, value] : file_records(path, &info))
            EXPECT_EQ(value.find_first_not_of(value.substr(0, 1)), std::string::npos);
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
}
