#include <vexa/json/Format.h>

#include <string_view>

#include <vexa/json/Writer.h>

namespace JSON {

namespace {

struct Unit {
    char const* pattern;
    std::string_view suffix;
};

template <typename U>
constexpr Unit unit_of{};
template <>
constexpr Unit unit_of<Degree>{"°?", "°"};
template <>
constexpr Unit unit_of<Percentage>{R"(\s?%?)", " %"};
template <>
constexpr Unit unit_of<Pixel>{R"(\s?(?:px)?)", " px"};

std::string const& anything() {
    static std::string const pattern;
    return pattern;
}

} // namespace

template <>
std::string const& type_pattern<std::monostate>() {
    static std::string const pattern("(null)");
    return pattern;
}

template <>
std::string const& type_pattern<Boolean>() {
    static std::string const pattern("(false|true)");
    return pattern;
}

template <>
std::string const& type_pattern<long long>() {
    static std::string const pattern("([+-]?[0-9]+)");
    return pattern;
}

template <>
std::string const& type_pattern<Number>() {
    static std::string const pattern("([+-]?(?:(?:[0-9]+[.]?[0-9]*)|(?:[.][0-9]+))(?:[eE][+-]?[0-9]+)?)");
    return pattern;
}

template <>
std::string const& type_pattern<std::string>() {
    return anything();
}

template <>
std::string const& type_pattern<List>() {
    return anything();
}

template <>
std::string const& type_pattern<Map>() {
    return anything();
}

template <typename U>
std::string const& Format<U>::unit_pattern() {
    static std::string const pattern(unit_of<U>.pattern);
    return pattern;
}

template <typename U>
std::string Format<U>::display(Value const& value) {
    std::string const* text = value.get_if<std::string>();
    std::string displayed = text ? *text : dump(value, false);
    return displayed.append(unit_of<U>.suffix);
}

template struct Format<Degree>;
template struct Format<Percentage>;
template struct Format<Pixel>;

std::map<std::string, double> const& Quantity::prefix_factors() {
    static std::map<std::string, double> const factors{
        {"y", 1e-24}, {"z", 1e-21}, {"a", 1e-18}, {"f", 1e-15}, {"p", 1e-12}, {"n", 1e-9},
        {"u", 1e-6},  {"µ", 1e-6},  {"m", 1e-3},  {"", 1.0},    {"k", 1e3},   {"M", 1e6},
        {"G", 1e9},   {"T", 1e12},  {"P", 1e15},  {"E", 1e18},  {"Z", 1e21},  {"Y", 1e24}};
    return factors;
}

std::string const& Quantity::prefix_pattern() {
    static std::string const pattern(R"(([yzafpnumkMGTPEZY\x{00B5}]?))");
    return pattern;
}

} // namespace JSON
