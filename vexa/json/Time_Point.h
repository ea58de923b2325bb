#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

using Time_Point = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

namespace detail {

VEXA_API std::string time_point_text(Time_Point time);
VEXA_API std::optional<Time_Point> time_point_from(std::string_view text);

} // namespace detail

/// Time points are strings such as "2024-02-29T13:05:09.000000250+01:00": local time with nine digits behind
/// the second and the offset of local time. Any instant reads back as itself.
///
/// Reading takes any number of digits behind the second (what is below a nanosecond is cut off) or none, and
/// then `Z`, `+hh:mm`, `+hhmm`, or nothing, which means local time. All else, dates that don't exist and
/// instants that nanoseconds of 64 bits can't hold give an empty result.
template <>
struct Value_Cast<Time_Point, 0> {
    static std::string from(Time_Point time) { return detail::time_point_text(time); }
    static std::optional<Time_Point> to_if(Value const& value) {
        std::string const* text = value.get_if<std::string>();
        return text ? detail::time_point_from(*text) : std::nullopt;
    }
};

} // namespace JSON
