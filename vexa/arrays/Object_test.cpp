#include <vexa/arrays/Object.h>

#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

namespace {

class Thing : public Vexa::Object {};

} // namespace

TEST(Object, GetsARandomUuidOfItsOwn) {
    Thing const first, second;
    auto const uuid =
        testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    EXPECT_THAT(first.id, uuid);
    EXPECT_THAT(second.id, uuid);
    EXPECT_NE(first.id, second.id);
}

TEST(ObjectRegistry, FindsWhatWasRegistered) {
    auto const thing = std::make_shared<Thing>();
    EXPECT_EQ(Vexa::find_object(thing->id), nullptr);
    Vexa::register_object(thing);
    EXPECT_EQ(Vexa::find_object(thing->id), thing);
    EXPECT_EQ(Vexa::find_object(""), nullptr);
}

TEST(ObjectRegistry, KeepsTheFirstObjectOfAnId) {
    auto const first = std::make_shared<Thing>();
    auto const second = std::make_shared<Thing>();
    second->id = first->id;
    Vexa::register_object(first);
    Vexa::register_object(second);
    EXPECT_EQ(Vexa::find_object(first->id), first);
}

TEST(ObjectRegistry, KeepsItsObjectsAlive) {
    auto thing = std::make_shared<Thing>();
    std::string const id = thing->id;
    Vexa::register_object(thing);
    std::weak_ptr<Thing> const watched = thing;
    thing.reset();
    EXPECT_FALSE(watched.expired());
    EXPECT_EQ(Vexa::find_object(id), watched.lock());
}

TEST(ObjectRegistry, RefusesNull) {
    VEXA_EXPECT_THROWS(Vexa::register_object(nullptr), std::invalid_argument,
                       "Cannot register a null object.");
}

TEST(ObjectRegistry, ServesSeveralThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 50; ++i) {
                auto const thing = std::make_shared<Thing>();
                Vexa::register_object(thing);
                EXPECT_EQ(Vexa::find_object(thing->id), thing);
            }
        });
    for (auto& thread : threads) thread.join();
}
