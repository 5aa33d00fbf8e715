/* The cursor: what it shows while the database changes under it. */
#include "tests/host/store/store_rig.h"

class store_walk_case : public store_rig {
protected:
    pss2_service *service = nullptr;
    void SetUp() override {
        store_rig::SetUp();
        service = open(41, "prefix_vdc_1");
        for (const char *key : {"d", "b", "ba", "f", "\xff", "h"}) ASSERT_EQ(put(service, key, key), 0);
    }
    std::string next() {
        return pss2_move2location(service, 1, PSS2_NEXT) == 0 ? cursor_key(service) : "(end)";
    }
    std::string first() {
        return pss2_move2location(service, 1, PSS2_FIRST) == 0 ? cursor_key(service) : "(end)";
    }
};

TEST_F(store_walk_case, survives_the_deletion_of_its_record_and_ends_for_good) {
    EXPECT_EQ(next(), "(end)") << "no position yet";
    EXPECT_EQ(first(), "b");
    EXPECT_EQ(drop(service, "b"), 0);
    EXPECT_EQ(drop(service, "ba"), 0);
    EXPECT_EQ(cursor_key(service), "b");
    pss2_datum out{};
    EXPECT_EQ(pss2_getvalue(service, &out), STORE_ABSENT);
    EXPECT_EQ(next(), "d");
    EXPECT_EQ(put(service, "f", std::string(900, 'f')), 0) << "moves to another slot";
    EXPECT_EQ(next(), "f");
    EXPECT_EQ(pss2_getvalue(service, &out), 0);
    EXPECT_EQ(out.len, 900u);
    for (const char *key : {"h", "\xff", "(end)", "(end)"}) EXPECT_EQ(next(), key);
    EXPECT_EQ(pss2_getkey(service, &out), STORE_ABSENT);
    EXPECT_EQ(first(), "d");
}

TEST_F(store_walk_case, can_be_placed_on_a_key) {
    const pss2_datum f{"f", 1}, none{"e", 1}, b{"b", 1};
    EXPECT_EQ(pss2_move2key(service, &f), 0);
    EXPECT_EQ(pss2_move2key(service, &none), STORE_ABSENT);
    EXPECT_EQ(cursor_key(service), "f");
    EXPECT_EQ(next(), "h");
    EXPECT_EQ(drop(service, "f"), 0);
    EXPECT_EQ(drop(service, "ba"), 0);
    EXPECT_EQ(pss2_move2key(service, &b), 0);
    EXPECT_EQ(next(), "d") << "back, over freed slots";
    EXPECT_EQ(next(), "h");
}

TEST_F(store_walk_case, goes_on_in_order_when_more_comes_than_its_view_can_take) {
    EXPECT_EQ(first(), "b");
    for (uint32_t done = 0; done < 40000;) {
        store_batch batch(queue());
        for (uint32_t i = 0; i < 5000; i++, done++)
            ASSERT_EQ(batch.add(service, PSS2_OP_STORE, "c" + std::to_string(1000000 + done), "x"), 0);
        ASSERT_EQ(pss2_ops_exec(batch.ops), 0);
    }
    EXPECT_EQ(next(), "ba");
    for (uint32_t i = 0; i < 40000; i++) ASSERT_EQ(next(), "c" + std::to_string(1000000 + i));
    EXPECT_EQ(next(), "d");
}
