#include "tiff_notes.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace Vexa::tool {
namespace {

constexpr std::string_view note_begin = "{\"shape\": [";
constexpr std::string_view page_note_begin = "ImageJ=";

constexpr std::array<std::pair<std::string_view, double>, 10> unit_names{{{"micron", 1e-6},
                                                                          {"microns", 1e-6},
                                                                          {"um", 1e-6},
                                                                          {"\xC2\xB5m", 1e-6},
                                                                          {"\xB5m", 1e-6},
                                                                          {"\\u00B5m", 1e-6},
                                                                          {"nm", 1e-9},
                                                                          {"mm", 1e-3},
                                                                          {"cm", 1e-2},
                                                                          {"inch", 0.0254}}};

double metres_of(std::string_view unit) {
    for (auto const& [name, metres] : unit_names)
        if (name == unit) return metres;
    return 0;
}

template <typename T>
void take_number(std::string_view text, T& value) {
    T number{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size() && number > 0) value = number;
}

} // namespace

std::string shape_note(std::vector<unsigned long> const& shape) {
    return fmt::format("{}{}]}}", note_begin, fmt::join(shape.rbegin(), shape.rend(), ", "));
}

std::vector<unsigned long> parse_shape_note(std::string_view text) {
    std::vector<unsigned long> shape;
    if (text.substr(0, note_begin.size()) != note_begin) return {};
    text.remove_prefix(note_begin.size());
    for (;;) {
        unsigned long size = 0;
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
        if (error != std::errc() || size == 0) return {};
        shape.insert(shape.begin(), size);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (text.substr(0, 2) == "]}") return shape;
        if (text.substr(0, 2) != ", ") return {};
        text.remove_prefix(2);
    }
}

PageNote parse_page_note(std::string_view text) {
    PageNote note;
    if (!text.starts_with(page_note_begin)) return note;
    while (!text.empty()) {
        auto const end = text.find('\n');
        auto const line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        auto const equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        auto const key = line.substr(0, equals), value = line.substr(equals + 1);
        if (key == "channels")
            take_number(value, note.channels);
        else if (key == "slices")
            take_number(value, note.slices);
        else if (key == "frames")
            take_number(value, note.frames);
        else if (key == "spacing")
            take_number(value, note.spacing);
        else if (key == "unit")
            note.unit_metres = metres_of(value);
    }
    if (!std::isfinite(note.spacing)) note.spacing = 0;
    return note;
}

} // namespace Vexa::tool
