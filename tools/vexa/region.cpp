#include "region.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "failure.h"

namespace Vexa::tool {
namespace {

[[noreturn]] void refuse(std::string const& text) { throw Failure(Exit::wrong_use, text); }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        auto const at = text.find(separator);
        parts.push_back(trimmed(text.substr(0, at)));
        if (at == std::string_view::npos) return parts;
        text.remove_prefix(at + 1);
    }
}

std::int64_t number(std::string_view text) {
    std::int64_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        refuse(fmt::format("\"{}\" is no index or range of a region.", text));
    return value;
}

AxisRange single(std::string_view text, std::uint64_t size) {
    auto const value = number(text);
    auto const distance =
        value < 0 ? ~static_cast<std::uint64_t>(value) + 1 : static_cast<std::uint64_t>(value);
    if (value < 0 ? distance > size : distance >= size)
        refuse(fmt::format("The index {} lies outside of an axis of {}.", value, size));
    return {value < 0 ? size - distance : distance, 1, 1, true};
}

/// An end of a range: cut to the axis.
std::uint64_t bound(std::string_view text, std::uint64_t size, std::uint64_t otherwise) {
    if (text.empty()) return otherwise;
    auto const value = number(text);
    if (value >= 0) return std::min(static_cast<std::uint64_t>(value), size);
    auto const distance = ~static_cast<std::uint64_t>(value) + 1;
    return distance > size ? 0 : size - distance;
}

AxisRange range(std::string_view text, std::uint64_t size) {
    auto const parts = split(text, ':');
    if (parts.size() == 1) return single(text, size);
    if (parts.size() > 3) refuse(fmt::format("\"{}\" is no index or range of a region.", text));
    AxisRange result;
    if (parts.size() == 3 && !parts[2].empty()) {
        auto const step = number(parts[2]);
        if (step < 1) refuse("Steps of a region must be 1 or more.");
        result.step = static_cast<std::uint64_t>(step);
    }
    result.first = bound(parts[0], size, 0);
    auto const end = bound(parts[1], size, size);
    result.count = end > result.first ? (end - result.first - 1) / result.step + 1 : 0;
    return result;
}

} // namespace

std::vector<AxisRange> parse_region(std::string_view text, std::vector<unsigned long> const& shape) {
    text = trimmed(text);
    if (text.size() >= 2 && text.front() == '[' && text.back() == ']')
        text = trimmed(text.substr(1, text.size() - 2));
    std::vector<std::string_view> parts;
    if (!text.empty()) parts = split(text, ',');
    auto const gap = std::find(parts.begin(), parts.end(), "...");
    auto const named = parts.size() - (gap == parts.end() ? 0 : 1);
    if (named > shape.size())
        refuse(fmt::format("The region names {} axes and the stack has {}.", named, shape.size()));
    if (gap == parts.end()) {
        parts.resize(shape.size(), ":");
    } else {
        auto const at = parts.erase(gap);
        if (std::find(parts.begin(), parts.end(), "...") != parts.end())
            refuse("A region may have one \"...\" only.");
        parts.insert(at, shape.size() - named, ":");
    }
    std::vector<AxisRange> region;
    for (std::size_t axis = 0; axis < shape.size(); ++axis)
        region.push_back(range(parts[shape.size() - 1 - axis], shape[axis]));
    return region;
}

std::vector<unsigned long> region_shape(std::vector<AxisRange> const& region) {
    std::vector<unsigned long> shape;
    for (auto const& axis : region)
        if (!axis.single) shape.push_back(axis.count);
    return shape;
}

std::uint64_t region_size(std::vector<AxisRange> const& region) {
    if (region.empty()) return 0;
    std::uint64_t size = 1;
    for (auto const& axis : region) size *= axis.count;
    return size;
}

void for_each_run(std::vector<AxisRange> const& region, std::vector<unsigned long> const& shape,
                  std::function<void(std::uint64_t, std::uint64_t)> const& run) {
    if (region_size(region) == 0) return;
    auto const length = (region[0].count - 1) * region[0].step + 1;
    std::vector<std::uint64_t> index(region.size(), 0);
    for (;;) {
        std::uint64_t position = 0;
        for (auto axis = region.size(); axis-- > 0;)
            position = position * shape[axis] + region[axis].first + index[axis] * region[axis].step;
        run(position, length);
        std::size_t axis = 1;
        while (axis < region.size() && ++index[axis] == region[axis].count) index[axis++] = 0;
        if (axis >= region.size()) return;
    }
}

} // namespace Vexa::tool
