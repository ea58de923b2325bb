#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

namespace detail {

VEXA_API std::string uuid_text(boost::uuids::uuid const& uuid);
VEXA_API std::optional<boost::uuids::uuid> uuid_from(std::string_view text);

} // namespace detail

/// UUIDs are strings of 32 lower-case digits in five groups. Reading also takes capitals, braces around the
/// text and a text without dashes.
template <>
struct Value_Cast<boost::uuids::uuid, 0> {
    static std::string from(boost::uuids::uuid const& uuid) { return detail::uuid_text(uuid); }
    static std::optional<boost::uuids::uuid> to_if(Value const& value) {
        std::string const* text = value.get_if<std::string>();
        return text ? detail::uuid_from(*text) : std::nullopt;
    }
};

} // namespace JSON
