#include <vexa/foundation/exclusive_access.h>

#include <atomic>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

using Zinflux::exclusive_access;

TEST(ExclusiveAccess, GivesTheValueItWasMadeWith) {
    exclusive_access<std::string> text(std::string("abc"));
    EXPECT_EQ(*text.lock(), "abc");
    EXPECT_EQ(text.lock()->size(), 3u);
    EXPECT_EQ(*exclusive_access<int>().lock(), 0);
}

TEST(ExclusiveAccess, OfAConstObjectGivesAConstValue) {
    exclusive_access<int> const value(7);
    EXPECT_EQ(*value.lock(), 7);
    static_assert(std::is_same_v<decltype(*value.lock()), int const&>);
}

TEST(ExclusiveAccess, KeepsChangesBetweenLocks) {
    exclusive_access<std::map<std::string, exclusive_access<int>>> map;
    *(*map.lock())["a"].lock() = 3;
    EXPECT_EQ(*map.lock()->at("a").lock(), 3);
}

TEST(ExclusiveAccess, MovesTheValue) {
    exclusive_access<std::unique_ptr<int>> first(std::make_unique<int>(5));
    exclusive_access<std::unique_ptr<int>> const second(std::move(first));
    ASSERT_TRUE(*second.lock());
    EXPECT_EQ(**second.lock(), 5);
    EXPECT_FALSE(*first.lock());
}

TEST(ExclusiveAccess, CountsEveryIncrementOfFourThreads) {
    exclusive_access<int> count;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&count] {
            for (int i = 0; i < 1000; ++i) ++*count.lock();
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(*count.lock(), 4000);
}

TEST(ExclusiveAccess, WaitsForAHolderBeforeItIsDestroyed) {
    auto value = std::make_unique<exclusive_access<int>>();
    std::atomic<bool> finished = false;
    std::promise<void> locked;
    std::thread holder([&finished, &locked, held = value.get()] {
        auto const access = held->lock();
        locked.set_value();
        for (int i = 0; i < 100; ++i) std::this_thread::yield();
        *access = 1;
        finished = true;
    });
    locked.get_future().wait();
    value.reset();
    EXPECT_TRUE(finished);
    holder.join();
}
