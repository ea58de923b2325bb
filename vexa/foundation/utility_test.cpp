#include <vexa/foundation/utility.h>

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/foundation/flags.h>

namespace {
enum class Option { first = 1, second = 2, both = 3 };
}

TEST(CompareSet, AssignsOnlyWhatDiffers) {
    std::string text = "a";
    EXPECT_FALSE(vx::utility::compare_set(text, "a"));
    EXPECT_TRUE(vx::utility::compare_set(text, "b"));
    EXPECT_EQ(text, "b");
}

TEST(EraseIf, RemovesEveryMatchAndKeepsTheOrder) {
    std::vector<int> values{1, 2, 3, 4, 5, 6};
    vx::utility::erase_if(values, [](int value) { return value % 2 == 0; });
    EXPECT_EQ(values, (std::vector<int>{1, 3, 5}));
}

TEST(ScopeExit, RunsAtTheEndOfTheScopeAndOnExceptions) {
    int calls = 0;
    {
        vx::utility::scope_exit const guard([&calls] { ++calls; });
        EXPECT_EQ(calls, 0);
    }
    EXPECT_EQ(calls, 1);
    try {
        vx::utility::scope_exit const guard([&calls] { ++calls; });
        throw std::runtime_error("left");
    } catch (std::runtime_error const&) {
        EXPECT_EQ(calls, 2);
    }
}

TEST(Flags, SetTestAndCombineBits) {
    using Flags = vx::utility::flags<Option>;
    Flags flags;
    EXPECT_FALSE(flags);
    flags.set(Option::first);
    EXPECT_TRUE(flags.test(Option::first));
    EXPECT_FALSE(flags.test(Option::second));
    EXPECT_FALSE(flags.test(Option::both));
    EXPECT_EQ((flags | Option::second).value(), 3u);
    EXPECT_EQ((Flags(7u) & Option::both).value(), 3u);
    flags.set(Option::first, false);
    EXPECT_EQ(flags, Flags());
}
