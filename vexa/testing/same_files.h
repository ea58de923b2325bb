#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Writer.h>
#include <vexa/props/VPropXmlExport.h>

/// Whether two VBF files say the same, as far as the library reads them; where their parts stand in the file
/// may differ.
namespace Vexa::testing {

namespace detail {

inline bool same(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}
inline bool same(std::vector<double> const& a, std::vector<double> const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) { return same(x, y); });
}
inline bool same(std::vector<std::pair<double, double>> const& a,
                 std::vector<std::pair<double, double>> const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](auto const& x, auto const& y) {
        return same(x.first, y.first) && same(x.second, y.second);
    });
}
inline bool same(units::RuntimeValue const& a, units::RuntimeValue const& b) {
    for (std::size_t i = 0; i < a.exponents.size(); ++i)
        if (a.exponents[i].numerator != b.exponents[i].numerator ||
            a.exponents[i].denominator != b.exponents[i].denominator)
            return false;
    return a.valid == b.valid && same(a.value, b.value);
}

inline std::string tag_text(arrays::Tag const& tag) {
    if (auto const* const tree = std::get_if<VProp>(&tag)) return vexa_export_xml(*tree, 2);
    return JSON::dump(std::get<JSON::Value>(tag), false);
}

inline std::string axis_difference(bf::StackInterface const& a, bf::StackInterface const& b,
                                   std::size_t axis) {
    if (!same(a.length(axis), b.length(axis))) return "a length";
    if (!same(a.offset(axis), b.offset(axis))) return "an offset";
    if (a.label(axis) != b.label(axis)) return "a label";
    if (!same(a.units(axis), b.units(axis))) return "a unit";
    if (a.col_labels(axis) != b.col_labels(axis)) return "column labels";
    if (a.is_equidistant(axis) != b.is_equidistant(axis)) return "equidistant";
    if (!a.is_equidistant(axis) && !same(a.col_positions(axis), b.col_positions(axis)))
        return "column positions";
    if (!same(a.xy_col_positions(axis), b.xy_col_positions(axis))) return "positions in the plane";
    return {};
}

inline std::string description_difference(bf::StackInterface const& a, bf::StackInterface const& b) {
    if (a.type() != b.type()) return "type";
    if (a.shape() != b.shape()) return "shape";
    if (a.name() != b.name()) return "name";
    if (a.description() != b.description()) return "description";
    if (!same(a.data_units(), b.data_units())) return "unit of the samples";
    for (std::size_t axis = 0; axis < a.shape().size(); ++axis)
        if (auto const difference = axis_difference(a, b, axis); !difference.empty()) return difference;
    if (a.tag_keys() != b.tag_keys()) return "tag keys";
    for (auto const& key : a.tag_keys())
        if (tag_text(a.tag(key)) != tag_text(b.tag(key))) return "tag " + key;
    return {};
}

inline std::string record_difference(bf::StackInterface const& a, bf::StackInterface const& b) {
    auto const x = dynamic_cast<bf::StackImp const&>(a).record();
    auto const y = dynamic_cast<bf::StackImp const&>(b).record();
    if (x.data_start_position - x.stack_position != y.data_start_position - y.stack_position)
        return "start of the data";
    if (x.data_length != y.data_length) return "length of the data";
    if (x.stack_format_version != y.stack_format_version) return "version";
    if (x.samples_written != y.samples_written) return "samples written";
    if (x.flush_block_size != y.flush_block_size) return "flush block size";
    if (x.flush_positions != y.flush_positions) return "flush positions";
    if (x.chunk_records != y.chunk_records) return "chunk records";
    if (x.compression_type != y.compression_type || x.compression_level != y.compression_level)
        return "compression";
    if (x.data_less != y.data_less || x.variable_size != y.variable_size) return "kind of stack";
    return {};
}

/// Samples at a place, or why they cannot be read.
inline std::string samples_at(bf::StackInterface const& stack, unsigned long first, unsigned long count) {
    std::string bytes(count * vexa_dt_get_size(stack.type()), '\0');
    try {
        unsigned long const n = stack.read(stack.type(), bytes.data(), nullptr, count, first);
        return std::to_string(n) + ":" + bytes;
    } catch (std::exception const& error) {
        return error.what();
    }
}

inline std::string sample_difference(bf::StackInterface const& a, bf::StackInterface const& b,
                                     std::uint64_t& bytes_left) {
    auto const size = vexa_dt_get_size(a.type());
    if (size == 0) return {};
    unsigned long const block = std::max<unsigned long>((1 << 20) / size, 1);
    unsigned long const total = std::min<std::uint64_t>(a.number_of_elements(), bytes_left / size);
    for (unsigned long at = 0; at < total; at += block) {
        unsigned long const n = std::min(block, total - at);
        if (samples_at(a, at, n) != samples_at(b, at, n)) return "samples from " + std::to_string(at);
        bytes_left -= n * size;
    }
    return {};
}

inline std::string stack_difference(bf::StackInterface const& a, bf::StackInterface const& b,
                                    std::uint64_t& bytes_left) {
    if (auto const difference = description_difference(a, b); !difference.empty()) return difference;
    if (auto const difference = record_difference(a, b); !difference.empty()) return difference;
    return sample_difference(a, b, bytes_left);
}

} // namespace detail

/// \param most_bytes of samples are compared
/// \return the first difference in words; empty when there is none
/// \throws what opening throws
inline std::string first_difference(std::filesystem::path const& a, std::filesystem::path const& b,
                                    std::uint64_t most_bytes = std::uint64_t{1} << 30) {
    auto const x = open_file(a, bf::DiskFile::Mode::read), y = open_file(b, bf::DiskFile::Mode::read);
    std::string description_x, description_y;
    x->get_file_desc(description_x);
    y->get_file_desc(description_y);
    if (description_x != description_y) return "description of the file";
    auto const &imp_x = dynamic_cast<bf::FileImp const&>(*x), &imp_y = dynamic_cast<bf::FileImp const&>(*y);
    if (imp_x.format_version() != imp_y.format_version()) return "version of the file";
    if (imp_x.tags() != imp_y.tags()) return "tags of the file";
    if (x->get_num_stacks() != y->get_num_stacks()) return "number of stacks";
    for (unsigned long i = 0; i < x->get_num_stacks(); ++i) {
        auto const difference = detail::stack_difference(*x->get_stack(i), *y->get_stack(i), most_bytes);
        if (!difference.empty()) return "stack " + std::to_string(i) + ": " + difference;
    }
    return {};
}

} // namespace Vexa::testing
