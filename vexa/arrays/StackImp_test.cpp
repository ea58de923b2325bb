#include <vexa/arrays/StackImp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include <vexa/arrays/Array.h>
#include <vexa/arrays/StackView.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using namespace Vexa::arrays;
using callback::Token;

namespace {

using Shape = std::vector<std::size_t>;

constexpr bool sanitized =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;
#else
    false;
#endif

} // namespace

TEST(StackImp, HasAZeroedBlockOfItsSize) {
    StackImp stack(types::uint16, {3, 2});
    EXPECT_EQ(stack.data()->size(), 12u);
    EXPECT_EQ(stack.get_data_ptr(), stack.data()->data());
    EXPECT_EQ(std::as_const(stack).get_data_ptr(), stack.get_data_ptr());
    EXPECT_FALSE(stack.is_shared());
    EXPECT_TRUE(std::all_of(stack.data()->data(), stack.data()->data() + 12, [](char b) { return b == 0; }));
}

TEST(StackImp, WithoutSamplesHasNoData) {
    for (Shape const& shape : {Shape{}, Shape{0}, Shape{4, 0}}) {
        StackImp stack(types::double_, shape);
        EXPECT_EQ(stack.get_data_ptr(), nullptr);
        EXPECT_EQ(stack.data()->size(), 0u);
    }
}

TEST(StackImp, OfATypeWithoutASizeMayOnlyBeEmpty) {
    VEXA_EXPECT_THROWS(StackImp(0x20000, {3}), std::runtime_error, "Unknown type of elements.");
    EXPECT_EQ(StackImp(0x20000, {0}).type(), 0x20000);
    VEXA_EXPECT_THROWS(StackImp(types::none, {1}), std::runtime_error, "Unknown type of elements.");
    EXPECT_EQ(StackImp(types::none, {}).number_of_elements(), 0u);
}

TEST(StackImp, LargerThanTheAddressableMemoryFails) {
    VEXA_EXPECT_THROWS(StackImp(0x80, {std::size_t{1} << 62, 4}), std::runtime_error,
                       "The product exceeds the maximum size.");
    VEXA_EXPECT_THROWS(StackImp(0x80, {std::size_t{1} << 61, 1}), std::runtime_error,
                       "Invalid stack size: Larger than the addressable memory.");
    VEXA_EXPECT_THROWS(StackImp(types::uint8, {std::size_t{1} << 63}), std::length_error,
                       "cannot create std::vector larger than max_size()");
}

TEST(StackImp, WithoutEnoughMemoryFails) {
    if (sanitized) GTEST_SKIP() << "The sanitizers end the program when memory runs out.";
    VEXA_EXPECT_THROWS(StackImp(types::uint8, {std::size_t{1} << 62}), std::runtime_error, "Out of memory.");
}

TEST(StackImp, CopiesADescription) {
    StackImp source(types::uint8, {3});
    source.set_name("n");
    std::memcpy(source.get_data_ptr(), "abc", 3);
    StackImp copy(source, types::double_);
    EXPECT_EQ(copy.name(), "n");
    EXPECT_EQ(copy.type(), types::double_);
    EXPECT_EQ(copy.data()->size(), 24u);
    EXPECT_EQ(*static_cast<double*>(copy.get_data_ptr()), 0.0);
    EXPECT_EQ(StackImp(source, 0).type(), types::uint8);
}

TEST(StackImp, TakesOverADescription) {
    StackInfoImp info(types::uint16, {5});
    info.set_name("n");
    StackImp stack(std::move(info));
    EXPECT_EQ(stack.name(), "n");
    EXPECT_EQ(stack.data()->size(), 10u);
}

TEST(StackImp, TakesAGivenBlockAsItIs) {
    auto const block = std::make_shared<Array>(1);
    StackImp stack(types::uint16, {5}, block);
    EXPECT_EQ(stack.data(), block);
    EXPECT_EQ(stack.get_data_ptr(), block->data());
    VEXA_EXPECT_THROWS(StackImp(types::uint16, {5}, nullptr), std::invalid_argument,
                       "Cannot create stack: No data specified.");
}

TEST(StackImp, SharesItsBlock) {
    StackImp stack(types::uint8, {2});
    static_cast<char*>(stack.get_data_ptr())[1] = 'x';
    std::string const name = std::as_const(stack).share();
    EXPECT_TRUE(stack.is_shared());
    StackImp const other(types::uint8, {2}, std::make_shared<Array>(name));
    EXPECT_EQ(static_cast<char const*>(other.get_data_ptr())[1], 'x');
}

TEST(StackImp, LeavesItsBlockToWhoHoldsIt) {
    auto stack = std::make_unique<StackImp>(types::uint8, Shape{1});
    static_cast<char*>(stack->get_data_ptr())[0] = 'x';
    auto const block = stack->data();
    stack.reset();
    EXPECT_EQ(block->data()[0], 'x');
    EXPECT_EQ(block.use_count(), 1);
}

TEST(StackImp, IsOneDescriptionThroughAllItsBases) {
    StackImp stack(types::uint8, {1});
    StackInterface& interface = stack;
    StackInfoImp& imp = stack;
    EXPECT_EQ(&static_cast<StackInfoInterface&>(interface), &static_cast<StackInfoInterface&>(imp));
    interface.set_name("n");
    EXPECT_EQ(imp.name(), "n");
}

TEST(StackSignals, TellListenersOfData) {
    StackImp stack(types::uint8, {4});
    Token token;
    std::vector<std::pair<StackInterface*, Slice>> calls;
    stack.connect_data_changed_cb(
        [&calls](StackInterface* which, Slice const& slice) {
            calls.emplace_back(which, slice);
            return Ignore_Result{};
        },
        token);
    stack.signal_data_changed(Slice{{1, 2, 1}});
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].first, &stack);
    EXPECT_EQ(calls[0].second, (Slice{{1, 2, 1}}));
    token.release();
    stack.signal_data_changed(Slice());
    EXPECT_EQ(calls.size(), 1u);
}

TEST(StackSignals, TellListenersOfTheDescription) {
    StackImp stack(types::uint8, {4});
    Token const token;
    std::vector<unsigned int> masks;
    stack.connect_info_changed_cb(
        [&masks, &stack](StackInterface* which, unsigned int mask) {
            EXPECT_EQ(which, &stack);
            masks.push_back(mask);
            return Ignore_Result{};
        },
        token);
    stack.set_name("n");
    stack.set_name("n");
    stack.beg_defer_info_update_signals();
    stack.set_label(0, "X");
    stack.set_offset(0, 3.0);
    stack.end_defer_info_update_signals(true);
    stack.signal_info_changed(0x12345678);
    EXPECT_EQ(masks, (std::vector<unsigned int>{0x10, 0x6, 0x12345678}));
}

TEST(StackSignals, OfTheOtherKindReachNobody) {
    StackImp stack(types::uint8, {4});
    Token const token;
    int calls = 0;
    auto const count = [&calls](auto&&...) {
        ++calls;
        return Ignore_Result{};
    };
    stack.connect_data_changed_cb(count, token);
    stack.set_name("n");
    EXPECT_EQ(calls, 0);
    stack.connect_info_changed_cb(count, token);
    stack.signal_data_changed(Slice());
    EXPECT_EQ(calls, 1);
}

TEST(StackSignals, LetAThrowingListenerStopTheSetterAfterItsChange) {
    StackImp stack(types::uint8, {4});
    Token const token;
    stack.connect_info_changed_cb(
        [](StackInterface*, unsigned int) -> Ignore_Result { throw std::runtime_error("no"); }, token);
    VEXA_EXPECT_THROWS(stack.set_name("n"), std::runtime_error, "no");
    EXPECT_EQ(stack.name(), "n");
}

TEST(StackSignals, RefuseAnEmptyListener) {
    StackImp stack(types::uint8, {4});
    VEXA_EXPECT_THROWS(stack.connect_info_changed_cb(nullptr, Token()), std::invalid_argument,
                       "Cannot subscribe an empty function.");
    VEXA_EXPECT_THROWS(stack.connect_data_changed_cb(nullptr, Token()), std::invalid_argument,
                       "Cannot subscribe an empty function.");
}

TEST(StackSignals, MayBeFiredAndSubscribedByTwoThreads) {
    StackImp stack(types::uint8, {4});
    Token const token;
    std::atomic<int> calls = 0;
    auto const count = [&calls](StackInterface*, Slice const&) {
        ++calls;
        return Ignore_Result{};
    };
    std::thread firing([&] {
        for (int i = 0; i < 200; ++i) stack.signal_data_changed(Slice());
    });
    for (int i = 0; i < 50; ++i) stack.connect_data_changed_cb(count, i % 2 ? token : Token());
    firing.join();
    calls = 0;
    stack.signal_data_changed(Slice());
    EXPECT_EQ(calls, 25);
}

TEST(StackView, CouplesAStackWithARegion) {
    auto const stack = std::make_shared<StackImp>(types::uint8, Shape{4, 5});
    StackView const whole(stack);
    EXPECT_EQ(whole.shape, (Shape{4, 5}));
    EXPECT_EQ(whole.stack(), stack);
    StackView const part(stack, Region(whole, Slice{{1, 2, 1}, {0, 5, 2}}));
    EXPECT_EQ(part.shape, (Shape{1, 3}));
    EXPECT_EQ(part.base_offset, 1u);
}

TEST(StackView, NeedsAStack) {
    VEXA_EXPECT_THROWS(StackView(nullptr), std::invalid_argument, "Cannot create view: No stack specified.");
    VEXA_EXPECT_THROWS(StackView(nullptr, Region({1})), std::invalid_argument,
                       "Cannot create view: No stack specified.");
}
