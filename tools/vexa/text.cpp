#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Writer.h>

#include "failure.h"

namespace Vexa::tool {
namespace {

bool is_continuation(std::string_view text, std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

/// The length of the well-formed UTF-8 sequence at \p at, 0 where there is none.
std::size_t sequence_length(std::string_view text, std::size_t at) {
    auto const lead = static_cast<unsigned char>(text[at]);
    auto const next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0u;
    if (lead < 0x80) return 1;
    std::size_t const length = lead >= 0xC2 && lead < 0xE0   ? 2
                               : (lead & 0xF0) == 0xE0       ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!is_continuation(text, at + i)) return 0;
    // Overlong forms, surrogates and codes above 0x10FFFF.
    if ((lead == 0xE0 && next < 0xA0) || (lead == 0xED && next >= 0xA0)) return 0;
    if ((lead == 0xF0 && next < 0x90) || (lead == 0xF4 && next >= 0x90)) return 0;
    return length;
}

/// Calls \p good with each well-formed sequence and \p bad with each other byte.
template <typename Good, typename Bad>
void for_each_character(std::string_view text, Good good, Bad bad) {
    for (std::size_t at = 0; at < text.size();) {
        auto const length = sequence_length(text, at);
        if (length == 0)
            bad(static_cast<unsigned char>(text[at]));
        else
            good(text.substr(at, length));
        at += std::max<std::size_t>(length, 1);
    }
}

/// Whether XML has the character of a well-formed sequence.
bool is_in_xml(std::string_view character) {
    auto const first = static_cast<unsigned char>(character.front());
    if (first < 0x20) return first == '\t' || first == '\n' || first == '\r';
    return character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF"; // U+FFFE and U+FFFF
}

/// The text with U+FFFD for bytes that are no UTF-8 and for characters that \p allowed refuses.
template <typename Allowed>
std::string with_replacements(std::string_view text, Allowed allowed) {
    constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string result;
    for_each_character(
        text, [&](std::string_view character) { result += allowed(character) ? character : replacement; },
        [&](unsigned char) { result += replacement; });
    return result;
}

struct Alias {
    std::string_view name;
    int type;
};
constexpr std::array<Alias, 5> aliases{{{"float32", types::single},
                                        {"float64", types::double_},
                                        {"complex64", types::cplx_single},
                                        {"complex128", types::cplx_double},
                                        {"bool", types::logical}}};

template <typename T>
T sample(void const* from, std::size_t index = 0) {
    T value;
    std::memcpy(&value, static_cast<char const*>(from) + index * sizeof value, sizeof value);
    return value;
}

/// Calls \p function with the numbers of a sample, each in its own type.
template <typename Function>
void with_numbers(void const* from, int type, Function function) {
    switch (type) {
    case types::uint8: return function(sample<std::uint8_t>(from));
    case types::logical: return function(sample<std::uint8_t>(from));
    case types::int8: return function(sample<std::int8_t>(from));
    case types::uint16: return function(sample<std::uint16_t>(from));
    case types::int16: return function(sample<std::int16_t>(from));
    case types::uint32: return function(sample<std::uint32_t>(from));
    case types::rgb_word: return function(sample<std::uint32_t>(from));
    case types::int32: return function(sample<std::int32_t>(from));
    case types::uint64: return function(sample<std::uint64_t>(from));
    case types::int64: return function(sample<std::int64_t>(from));
    case types::single: return function(sample<float>(from));
    case types::double_: return function(sample<double>(from));
    case types::cplx_single: return function(sample<float>(from), sample<float>(from, 1));
    case types::cplx_double: return function(sample<double>(from), sample<double>(from, 1));
    case types::rgb_triple:
        return function(sample<std::uint8_t>(from), sample<std::uint8_t>(from, 1),
                        sample<std::uint8_t>(from, 2));
    default: throw std::logic_error("A type without samples.");
    }
}

template <typename T>
JSON::Value number_json(T value) {
    if constexpr (std::is_same_v<T, float>) {
        // The shortest text of a float is longer when it goes through double.
        double shortest = static_cast<double>(value);
        auto const text = fmt::format("{}", value);
        if (std::isfinite(value)) std::from_chars(text.data(), text.data() + text.size(), shortest);
        return json_number(shortest);
    } else if constexpr (std::is_same_v<T, double>) {
        return json_number(value);
    } else {
        return JSON::Number(value);
    }
}

/// fmt writes numbers in their shortest form, independent of the locale.
struct ToText {
    std::string& text;
    template <typename T>
    void operator()(T value) const {
        text = fmt::format("{}", value);
    }
    template <typename T>
    void operator()(T re, T im) const {
        text = fmt::format("{}{:+}j", re, im);
    }
    void operator()(std::uint8_t a, std::uint8_t b, std::uint8_t c) const {
        text = fmt::format("{}/{}/{}", a, b, c);
    }
};

struct ToJson {
    JSON::Value& value;
    template <typename T>
    void operator()(T number) const {
        value = number_json(number);
    }
    template <typename... T>
    void operator()(T... numbers) const {
        (value.push_back(number_json(numbers)), ...);
    }
};

struct ToValue {
    double& value;
    template <typename T>
    void operator()(T number) const {
        value = static_cast<double>(number);
    }
    template <typename T>
    void operator()(T re, T im) const {
        value = std::hypot(static_cast<double>(re), static_cast<double>(im));
    }
    void operator()(std::uint8_t a, std::uint8_t b, std::uint8_t c) const { value = (a + b + c) / 3.0; }
};

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    for_each_character(
        text,
        [&](std::string_view character) {
            auto const code = static_cast<unsigned char>(character.front());
            bool const control = code < 0x20 || code == 0x7F ||
                                 (code == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0);
            if (!control)
                result += character;
            else
                for (char const c : character)
                    result += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        },
        [&](unsigned char byte) { result += fmt::format("\\x{:02x}", byte); });
    return result;
}

std::string as_utf8(std::string_view text) {
    return with_replacements(text, [](std::string_view) { return true; });
}

std::string as_xml(std::string_view text) { return with_replacements(text, &is_in_xml); }

std::string shape_text(std::vector<unsigned long> const& shape) {
    if (shape.empty()) return "-";
    return fmt::format("{}", fmt::join(shape.rbegin(), shape.rend(), " x "));
}

std::string type_text(int type) {
    try {
        return vexa_dt_get_name(type);
    } catch (std::runtime_error const&) {
        return fmt::format("{:#x}", static_cast<unsigned>(type));
    }
}

int type_from_text(std::string_view name) {
    for (auto const& alias : aliases)
        if (alias.name == name) return alias.type;
    return vexa_dt_from_name(std::string(name).c_str());
}

std::vector<unsigned long> parse_shape(std::string_view text) {
    std::vector<unsigned long> shape;
    auto const* at = text.data();
    auto const* const end = at + text.size();
    for (;;) {
        while (at != end && *at == ' ') ++at;
        unsigned long size = 0;
        auto const [next, error] = std::from_chars(at, end, size);
        at = next;
        while (at != end && *at == ' ') ++at;
        if (error != std::errc() || (at != end && *at != ',') || shape.size() == 15)
            throw Failure(
                Exit::wrong_use,
                fmt::format("\"{}\" is no shape: up to 15 numbers with commas between them.", text));
        shape.insert(shape.begin(), size);
        if (at++ == end) return shape;
    }
}

std::string unit_text(units::RuntimeValue const& unit) {
    if (!unit.valid) return "invalid";
    if (unit.is_dimensionless() && unit.value == 1.0) return {};
    std::string number, name;
    unit.format(number, name, 6, units::format_flags::text_form | units::format_flags::prefixes, -100, 100);
    // The number comes with all its digits, "1.00000".
    double value = 0;
    auto const* const end = number.data() + number.size();
    if (std::from_chars(number.data(), end, value).ptr == end) number = fmt::format("{:g}", value);
    if (name.empty()) return number;
    return number == "1" ? name : number + " " + name;
}

JSON::Value json_number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
    return JSON::Number(value);
}

std::string sample_text(void const* from, int type) {
    std::string text;
    with_numbers(from, type, ToText{text});
    return text;
}

JSON::Value sample_json(void const* from, int type) {
    JSON::Value value;
    with_numbers(from, type, ToJson{value});
    return value;
}

double sample_value(void const* from, int type) {
    double value = 0;
    with_numbers(from, type, ToValue{value});
    return value;
}

std::string document_text(JSON::Value const& document) { return JSON::dump(document, true) + "\n"; }

} // namespace Vexa::tool
