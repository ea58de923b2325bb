#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <bench/bench.h>
#include <vexa/foundation/io.h>
#include <vexa/foundation/types.h>

// Sample conversion beside memcpy that moves as many bytes, and conversion with strides beside the plain
// loop. This source is compiled at -O2, so that the plain loops stay plain.

namespace {

using Vexa::bench::Table;

using Types = std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                         float, double, std::uint64_t, std::int64_t>;
constexpr std::array codes{Vexa::types::uint8,  Vexa::types::int8,  Vexa::types::uint16, Vexa::types::int16,
                           Vexa::types::uint32, Vexa::types::int32, Vexa::types::single, Vexa::types::double_,
                           Vexa::types::uint64, Vexa::types::int64};
constexpr std::size_t type_count = codes.size();

using NaiveLoop = void (*)(void const*, std::size_t, void*, std::size_t, std::size_t);

template <typename From, typename To>
void naive(void const* src, std::size_t src_stride, void* dst, std::size_t dst_stride, std::size_t count) {
    auto const* const from = static_cast<From const*>(src);
    auto* const to = static_cast<To*>(dst);
    for (std::size_t i = 0; i < count; ++i) to[i * dst_stride] = static_cast<To>(from[i * src_stride]);
}

template <std::size_t... Pairs>
constexpr std::array<NaiveLoop, sizeof...(Pairs)> all_naive(std::index_sequence<Pairs...>) {
    return {naive<std::tuple_element_t<Pairs / type_count, Types>,
                  std::tuple_element_t<Pairs % type_count, Types>>...};
}
constexpr auto naive_loops = all_naive(std::make_index_sequence<type_count * type_count>{});

/// Of the source and the target.
constexpr std::array<std::pair<std::size_t, std::size_t>, 6> strides{
    {{2, 1}, {1, 2}, {2, 2}, {3, 1}, {1, 3}, {3, 3}}};

/// Two buffers that all comparisons share.
struct Buffers {
    explicit Buffers(std::size_t size) : source(size, 1), target(size, 2) {}
    std::vector<unsigned char> source, target;
};

std::string pair_name(std::size_t from, std::size_t to) {
    return std::string(vexa_dt_get_name(codes[from])) + "->" + vexa_dt_get_name(codes[to]);
}

void add_contiguous(Table& table, Buffers& buffers, std::size_t from, std::size_t to, std::size_t bytes,
                    std::string const& where, double target) {
    bool const wide = from >= 8 || to >= 8;
    std::size_t const count = bytes / (vexa_dt_get_size(codes[from]) + vexa_dt_get_size(codes[to]));
    table.compare({.name = where + "/" + pair_name(from, to),
                   .target = wide ? 0 : target,
                   .candidate =
                       [&buffers, from, to, count] {
                           vexa_dt_convert(codes[from], codes[to], buffers.source.data(),
                                           buffers.target.data(), count, nullptr, nullptr);
                           Vexa::bench::keep(buffers.target);
                       },
                   .baseline =
                       [&buffers, bytes] {
                           std::memcpy(buffers.target.data(), buffers.source.data(), bytes / 2);
                           Vexa::bench::keep(buffers.target);
                       },
                   .clock = Vexa::bench::Clock::thread});
}

/// Samples that are written apart need a store each, which bounds them.
void add_strided(Table& table, Buffers& buffers, std::size_t from, std::size_t to, std::size_t bytes,
                 std::size_t ss, std::size_t ds) {
    std::size_t const count = bytes / (ss * vexa_dt_get_size(codes[from]) + ds * vexa_dt_get_size(codes[to]));
    NaiveLoop const loop = naive_loops[from * type_count + to];
    table.compare(
        {.name = "strides/" + std::to_string(ss) + "," + std::to_string(ds) + "/" + pair_name(from, to),
         .target = 2.0,
         .candidate =
             [&buffers, from, to, count, ss, ds] {
                 vexa_dt_convert_with_strides(codes[from], codes[to], buffers.source.data(), ss,
                                              buffers.target.data(), ds, count, nullptr, nullptr);
                 Vexa::bench::keep(buffers.target);
             },
         .baseline =
             [&buffers, loop, count, ss, ds] {
                 loop(buffers.source.data(), ss, buffers.target.data(), ds, count);
                 Vexa::bench::keep(buffers.target);
             },
         .clock = Vexa::bench::Clock::thread});
}

/// Stores that are apart, of \p Size bytes each, and nothing else.
template <std::size_t Size>
void store_each(unsigned char* to, std::size_t stride, std::size_t count) {
    std::uint64_t const value = 0;
#pragma GCC unroll 4
    for (; count != 0; --count, to += stride * Size) {
        std::memcpy(to, &value, Size);
        asm volatile("");
    }
}
constexpr std::array stores{store_each<1>, store_each<2>, store_each<4>, store_each<8>};
constexpr std::array<std::size_t, stores.size()> of_size{0, 2, 4, 8}; // unsigned integers among the types

/// How far the plain loop is from what no loop can do without: a store for each sample that stands apart, or,
/// into a dense target, a look at each line of the source.
void add_floor(Table& table, Buffers& buffers, std::size_t from, std::size_t to, std::size_t bytes,
               std::size_t ss, std::size_t ds) {
    std::size_t const from_size = std::size_t{1} << from, to_size = std::size_t{1} << to;
    std::size_t const count = bytes / (ss * from_size + ds * to_size);
    NaiveLoop const loop = naive_loops[of_size[from] * type_count + of_size[to]];
    auto const store = stores[to];
    auto const look = [&buffers, read = count * ss * from_size] {
        constexpr std::size_t line = 64;
        for (std::size_t i = 0; i < read; i += line) Vexa::bench::keep(buffers.source[i]);
    };
    auto const store_all = [&buffers, store, ds, count] { store(buffers.target.data(), ds, count); };
    table.compare({.name = "floor/" + std::to_string(ss) + "," + std::to_string(ds) + "/" +
                           std::to_string(from_size) + "->" + std::to_string(to_size) + " bytes",
                   .candidate = ds == 1 ? Vexa::bench::Action(look) : Vexa::bench::Action(store_all),
                   .baseline =
                       [&buffers, loop, count, ss, ds] {
                           loop(buffers.source.data(), ss, buffers.target.data(), ds, count);
                           Vexa::bench::keep(buffers.target);
                       },
                   .clock = Vexa::bench::Clock::thread});
}

} // namespace

int main(int argc, char** argv) {
    Table table(argc, argv);
    constexpr std::size_t large = std::size_t{256} << 20;
    constexpr std::size_t small = std::size_t{192} << 10;
    Buffers large_buffers(large), small_buffers(small);
    for (std::size_t from = 0; from < type_count; ++from)
        for (std::size_t to = 0; to < type_count; ++to) {
            add_contiguous(table, large_buffers, from, to, large, "256MiB", 1.0);
            add_contiguous(table, small_buffers, from, to, small, "192KiB", 0.7);
            for (auto [ss, ds] : strides) add_strided(table, small_buffers, from, to, small, ss, ds);
        }
    for (std::size_t from = 0; from < stores.size(); ++from)
        for (std::size_t to = 0; to < stores.size(); ++to)
            for (auto [ss, ds] : strides) add_floor(table, small_buffers, from, to, small, ss, ds);
    return table.run();
}
