#include <vexa/arrays/Utilities.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include <vexa/arrays/Array.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using namespace Vexa::arrays;

namespace {

using Shape = std::vector<std::size_t>;

char const* const outside = "Cannot copy samples: The region lies outside the stack.";

/// A stack whose samples are 0, 1, 2, ... in memory order.
template <typename T>
std::shared_ptr<StackInterface> counting(int type, Shape const& shape) {
    auto const stack = create_stack(type, shape);
    auto* const samples = static_cast<T*>(stack->get_data_ptr());
    std::iota(samples, samples + stack->number_of_elements(), T{0});
    return stack;
}

template <typename T>
std::vector<T> samples_of(StackInterface const& stack) {
    auto const* const samples = static_cast<T const*>(stack.get_data_ptr());
    return {samples, samples + stack.number_of_elements()};
}

using Bytes = std::vector<std::uint8_t>;

} // namespace

TEST(CreateStack, MakesAZeroedStack) {
    auto const stack = create_stack(types::uint8, {2, 3});
    EXPECT_EQ(stack->shape(), (Shape{2, 3}));
    EXPECT_EQ(samples_of<std::uint8_t>(*stack), Bytes(6, 0));
    VEXA_EXPECT_THROWS(create_stack(types::char_, {3}), std::runtime_error, "Unknown type of elements.");
}

TEST(CreateStack, FromADescriptionTakesItsTypeOrAnother) {
    StackInfoImp info(types::uint8, {2});
    info.set_name("n");
    EXPECT_EQ(create_stack(info, 0)->type(), types::uint8);
    EXPECT_EQ(create_stack(info, types::single)->type(), types::single);
    EXPECT_EQ(create_stack(info, types::single)->name(), "n");
}

TEST(CreateStackCopy, WithoutDataIsZero) {
    auto const source = counting<std::uint8_t>(types::uint8, {4});
    auto const copy = create_stack(*source, 0, false);
    EXPECT_EQ(samples_of<std::uint8_t>(*copy), Bytes(4, 0));
}

TEST(CreateStackCopy, OfTheSameTypeCopiesTheBytesAndTheDescription) {
    auto const source = counting<std::uint8_t>(types::uint8, {2, 2});
    source->set_name("n");
    auto const copy = create_stack(*source, 0, true);
    EXPECT_EQ(copy->name(), "n");
    EXPECT_EQ(samples_of<std::uint8_t>(*copy), (Bytes{0, 1, 2, 3}));
    static_cast<std::uint8_t*>(source->get_data_ptr())[0] = 9;
    EXPECT_EQ(samples_of<std::uint8_t>(*copy)[0], 0);
}

TEST(CreateStackCopy, CopiesTypesThatHaveNoConversion) {
    for (int const type : {types::logical, types::rgb_triple, types::rgb_word}) {
        auto const source = create_stack(type, {5});
        std::memset(source->get_data_ptr(), 7, source->data()->size());
        auto const copy = create_stack(*source, type, true);
        EXPECT_EQ(std::memcmp(copy->get_data_ptr(), source->get_data_ptr(), source->data()->size()), 0);
    }
}

TEST(CreateStackCopy, ConvertsTheSamples) {
    auto const source = create_stack(types::int32, {3});
    static_cast<std::int32_t*>(source->get_data_ptr())[0] = 300;
    static_cast<std::int32_t*>(source->get_data_ptr())[1] = -1;
    EXPECT_EQ(samples_of<std::uint8_t>(*create_stack(*source, types::uint8, true)), (Bytes{44, 255, 0}));
    EXPECT_EQ(samples_of<std::complex<double>>(*create_stack(*source, types::cplx_double, true))[0], 300.0);
}

TEST(CreateStackCopy, OfTypesThatDoNotConvertThrows) {
    auto const source = create_stack(types::cplx_double, {3});
    VEXA_EXPECT_THROWS(create_stack(*source, types::double_, true), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_double' to 'double'.");
    VEXA_EXPECT_THROWS(create_stack(*source, types::rgb_triple, true), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_double' to '0x400'.");
    VEXA_EXPECT_THROWS(create_stack(StackView(source), types::uint8, true), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_double' to 'uint8'.");
    EXPECT_EQ(create_stack(*source, types::double_, false)->type(), types::double_);
}

TEST(CreateStackCopy, OfAnEmptyStackIsEmpty) {
    for (Shape const& shape : {Shape{}, Shape{0}, Shape{3, 0}}) {
        auto const source = create_stack(types::uint8, shape);
        EXPECT_EQ(create_stack(*source, types::double_, true)->number_of_elements(), 0u);
        EXPECT_EQ(create_stack(StackView(source), types::double_, true)->shape(), shape);
    }
    auto const texts = create_stack(types::char_, {0});
    EXPECT_EQ(create_stack(*texts, 0, true)->type(), types::char_);
}

TEST(CreateStackCopy, OfABlockThatIsTooSmallThrows) {
    auto const small = std::make_shared<StackImp>(types::uint16, Shape{4}, std::make_shared<Array>(7));
    VEXA_EXPECT_THROWS(create_stack(*small, 0, true), std::runtime_error, outside);
    VEXA_EXPECT_THROWS(create_stack(StackView(small), types::uint8, true), std::runtime_error, outside);
    VEXA_EXPECT_THROWS(create_iterator(*small), std::runtime_error,
                       "Cannot create iterator: The region lies outside the stack.");
    EXPECT_EQ(create_stack(*small, 0, false)->data()->size(), 8u);
}

TEST(CreateStackFromView, TakesWhatTheViewShows) {
    auto const source = counting<std::uint8_t>(types::uint8, {4, 3});
    StackView const view(source, Region(Region({4, 3}), Slice{{1, 4, 2}, {0, 2, 1}}));
    EXPECT_EQ(samples_of<std::uint8_t>(*create_stack(view, 0, true)), (Bytes{1, 3, 5, 7}));
    auto const empty = create_stack(view, 0, false);
    EXPECT_EQ(empty->shape(), (Shape{2, 2}));
    EXPECT_EQ(samples_of<std::uint8_t>(*empty), Bytes(4, 0));
}

TEST(CreateStackFromView, FollowsPermutedAxes) {
    auto const source = counting<std::uint8_t>(types::uint8, {2, 3});
    StackView const view(source, Region({2, 3}).permute({1, 0}));
    auto const turned = create_stack(view, types::int16, true);
    EXPECT_EQ(turned->shape(), (Shape{3, 2}));
    EXPECT_EQ(samples_of<std::int16_t>(*turned), (std::vector<std::int16_t>{0, 2, 4, 1, 3, 5}));
}

TEST(CreateStackFromView, FillsARegionOfALargerStack) {
    auto const source = counting<std::uint8_t>(types::uint8, {2, 2});
    static_cast<std::uint8_t*>(source->get_data_ptr())[0] = 9;
    Region const region(Region({4, 3}), Slice{{0, 4, 3}, {1, 3, 1}});
    auto const large = create_stack(StackView(source), region, 0, true);
    EXPECT_EQ(large->shape(), (Shape{4, 3}));
    EXPECT_EQ(samples_of<std::uint8_t>(*large), (Bytes{0, 0, 0, 0, 9, 0, 0, 1, 2, 0, 0, 3}));
    VEXA_EXPECT_THROWS(create_stack(StackView(source), Region({4, 3}), 0, true), std::runtime_error,
                       "Cannot transform meta-data: Source and destination slice shapes do not match.");
}

TEST(CreateStackFromView, CopiesStridedSamplesOfEveryTypeWithASize) {
    for (int const type :
         {types::uint8, types::int8, types::uint16, types::int16, types::uint32, types::int32, types::single,
          types::double_, types::rgb_triple, types::rgb_word, types::uint64, types::int64, types::logical,
          types::cplx_single, types::cplx_double}) {
        SCOPED_TRACE(type);
        std::size_t const size = vexa_dt_get_size(type);
        auto const source = create_stack(type, {5});
        auto* const bytes = static_cast<std::uint8_t*>(source->get_data_ptr());
        // All patterns of bits, those of signalling NaN included.
        for (std::size_t i = 0; i < 5 * size; ++i) bytes[i] = static_cast<std::uint8_t>(0xF0 + i);
        StackView const view(source, Region(Region({5}), Slice{{1, 5, 2}}));
        auto const copy = create_stack(view, type, true);
        auto const* const copied = static_cast<std::uint8_t const*>(std::as_const(*copy).get_data_ptr());
        EXPECT_EQ(std::memcmp(copied, bytes + size, size), 0);
        EXPECT_EQ(std::memcmp(copied + size, bytes + 3 * size, size), 0);
    }
}

TEST(CreateStackFromView, FollowsStridesThatLeadBack) {
    auto const source = counting<std::uint8_t>(types::uint8, {4});
    Region backwards({4});
    backwards.strides[0] = SIZE_MAX;
    backwards.base_offset = 3;
    EXPECT_EQ(samples_of<std::uint8_t>(*create_stack(StackView(source, backwards), 0, true)),
              (Bytes{3, 2, 1, 0}));
    EXPECT_EQ(samples_of<std::uint16_t>(*create_stack(StackView(source, backwards), types::uint16, true)),
              (std::vector<std::uint16_t>{3, 2, 1, 0}));
    EXPECT_EQ(samples_of<std::uint8_t>(*create_stack(StackView(source), backwards, 0, true)),
              (Bytes{3, 2, 1, 0}));
}

TEST(CreateStackFromView, OfARegionOutsideTheStackThrows) {
    auto const source = create_stack(types::uint8, {4});
    VEXA_EXPECT_THROWS(create_stack(StackView(source, Region({5})), 0, true), std::runtime_error, outside);
    Region far({4});
    far.base_offset = SIZE_MAX;
    VEXA_EXPECT_THROWS(create_stack(StackView(source, far), 0, true), std::runtime_error, outside);
    VEXA_EXPECT_THROWS(create_stack(StackView(source), far, 0, true), std::runtime_error, outside);
    far.strides.clear();
    VEXA_EXPECT_THROWS(create_stack(StackView(source, far), 0, true), std::runtime_error, outside);
}

TEST(CreateStackFromView, AtRankFifteenCopiesEverySample) {
    Shape shape(15, 1);
    shape[0] = shape[7] = shape[14] = 3;
    auto const source = counting<std::uint8_t>(types::uint8, shape);
    Shape order(15);
    std::iota(order.rbegin(), order.rend(), std::size_t{0});
    StackView const view(source, Region(shape).permute(order));
    auto const turned = create_stack(view, 0, true);
    auto const samples = samples_of<std::uint8_t>(*turned);
    for (std::size_t x = 0; x < 3; ++x)
        for (std::size_t y = 0; y < 3; ++y)
            for (std::size_t z = 0; z < 3; ++z) EXPECT_EQ(samples[z + 3 * y + 9 * x], x + 3 * y + 9 * z);
}

TEST(CreateStackFromView, OfRandomViewsCopiesWhatOffsetAtFinds) {
    std::mt19937 random(20261122);
    SCOPED_TRACE("seed 20261122");
    for (int round = 0; round < 200; ++round) {
        std::size_t const rank = 1 + random() % 4;
        Shape shape(rank);
        Slice slice;
        for (std::size_t& size : shape) {
            size = 1 + random() % 5;
            auto const begin = static_cast<std::int64_t>(random() % size);
            slice.ranges.push_back(
                {begin, static_cast<std::int64_t>(size), static_cast<std::int64_t>(1 + random() % 2)});
        }
        Shape order(rank);
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
        auto const source = counting<std::uint16_t>(types::uint16, shape);
        StackView const view(source, Region(Region(shape), slice).permute(order));
        auto const copy = create_stack(view, types::single, true);

        Region const plain(view.shape);
        Shape position(rank);
        auto const samples = samples_of<float>(*copy);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            std::size_t rest = i;
            for (std::size_t axis = 0; axis < rank; ++axis) {
                position[axis] = rest % plain.shape[axis];
                rest /= plain.shape[axis];
            }
            ASSERT_EQ(samples[i], static_cast<float>(view.offset_at(position)));
        }
    }
}

TEST(Iterator, WorksInBytes) {
    auto const stack = create_stack(types::uint16, {4, 5});
    Iterator const iterator = create_iterator(*stack);
    EXPECT_EQ(iterator.data, static_cast<char*>(stack->get_data_ptr()));
    EXPECT_EQ(iterator.element_size, 2u);
    EXPECT_EQ(iterator.rank, 2u);
    EXPECT_EQ(iterator.strides, (Shape{2, 8}));
    EXPECT_EQ(iterator.shape, (Shape{4, 5}));
    EXPECT_EQ(iterator.at({3, 4}), iterator.data + 38);
    VEXA_EXPECT_THROWS(iterator.at({1}), std::invalid_argument, "Wrong number of positions.");
}

TEST(Iterator, OfARegionStartsAtItsFirstSample) {
    auto const stack = counting<std::uint8_t>(types::uint8, {4, 3});
    Iterator const iterator = create_iterator(*stack, Region(Region({4, 3}), Slice{{1, 4, 2}, {1, 3, 1}}));
    std::vector<int> seen;
    iterator.for_each([&seen](char const* sample) { seen.push_back(*sample); });
    EXPECT_EQ(seen, (std::vector<int>{5, 7, 9, 11}));
}

TEST(Iterator, OfNoSamplesCallsNothing) {
    int calls = 0;
    for (Shape const& shape : {Shape{}, Shape{0}, Shape{3, 0}}) {
        auto const stack = create_stack(types::uint8, shape);
        create_iterator(*stack).for_each([&calls](char*) { ++calls; });
    }
    auto const stack = create_stack(types::uint8, {3});
    Iterator const empty = create_iterator(*stack, Region(Region({3}), Slice{{3, 3, 1}}));
    empty.for_each([&calls](char*) { ++calls; });
    EXPECT_EQ(empty.data, static_cast<char*>(stack->get_data_ptr()));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(create_iterator(*create_stack(types::char_, {0})).element_size, 0u);
}

TEST(Iterator, WritesThroughStridesThatLeadBack) {
    auto const stack = create_stack(types::uint16, {3});
    Region backwards({3});
    backwards.strides[0] = SIZE_MAX;
    backwards.base_offset = 2;
    std::uint16_t next = 0;
    create_iterator(*stack, backwards).for_each([&next](char* sample) {
        std::memcpy(sample, &next, sizeof next);
        ++next;
    });
    EXPECT_EQ(samples_of<std::uint16_t>(*stack), (std::vector<std::uint16_t>{2, 1, 0}));
}

TEST(Iterator, OfARegionOutsideTheStackThrows) {
    auto const stack = create_stack(types::uint8, {3});
    VEXA_EXPECT_THROWS(create_iterator(*stack, Region({4})), std::runtime_error,
                       "Cannot create iterator: The region lies outside the stack.");
}
