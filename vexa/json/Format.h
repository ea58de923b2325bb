#pragma once

#include <map>
#include <string>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

/// A regular expression with one group for the text of a T, for user interfaces that read values. It is empty
/// for types whose text can be anything.
/// T is std::monostate, Boolean, `long long`, Number, std::string, List or Map.
template <typename T>
std::string const& type_pattern();
template <>
VEXA_API std::string const& type_pattern<std::monostate>();
template <>
VEXA_API std::string const& type_pattern<Boolean>();
template <>
VEXA_API std::string const& type_pattern<long long>();
template <>
VEXA_API std::string const& type_pattern<Number>();
template <>
VEXA_API std::string const& type_pattern<std::string>();
template <>
VEXA_API std::string const& type_pattern<List>();
template <>
VEXA_API std::string const& type_pattern<Map>();

/// Units of numbers that have no prefix.
struct VEXA_API Degree;
struct VEXA_API Percentage;
struct VEXA_API Pixel;

/// The text of values with the unit U: Degree, Percentage or Pixel.
template <typename U>
struct VEXA_API Format {
    /// A regular expression for the unit behind a number, which may be left out.
    static std::string const& unit_pattern();
    /// The text of the value, strings without quotes, with the unit behind it.
    static std::string display(Value const& value);
};
extern template struct Format<Degree>;
extern template struct Format<Percentage>;
extern template struct Format<Pixel>;

/// The prefixes of units in the text of quantities.
struct VEXA_API Quantity {
    /// The factor of each prefix, none included. Those for 100, 10, 0.1 and 0.01 are not among them.
    static std::map<std::string, double> const& prefix_factors();
    /// A regular expression with one group for the prefix, which may be left out.
    static std::string const& prefix_pattern();
};

} // namespace JSON
