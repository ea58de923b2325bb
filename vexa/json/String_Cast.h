#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

namespace detail {
[[noreturn]] VEXA_API void throw_duplicate_enumerator(long long enumerator, std::string_view text);
[[noreturn]] VEXA_API void throw_duplicate_name(std::string_view text, long long enumerator);
} // namespace detail

/// The names of the enumerators of E, in both directions.
/// Invariants: one name for each enumerator and one enumerator for each name.
template <typename E>
class Enum_Map {
public:
    /// \throws std::invalid_argument "Duplicate enumeration key '{}' for string value '{}'." or "Duplicate
    /// string key '{}' for enumeration value '{}'."; enumerators are written as numbers
    Enum_Map(std::initializer_list<std::pair<E, std::string_view>> pairs) {
        for (auto const& [enumerator, name] : pairs) {
            if (!names_.emplace(enumerator, name).second)
                detail::throw_duplicate_enumerator(static_cast<long long>(enumerator), name);
            if (!enumerators_.emplace(name, enumerator).second)
                detail::throw_duplicate_name(name, static_cast<long long>(enumerator));
        }
    }

    std::map<E, std::string> const& names() const { return names_; }
    std::map<std::string, E, std::less<>> const& enumerators() const { return enumerators_; }

private:
    std::map<E, std::string> names_;
    std::map<std::string, E, std::less<>> enumerators_;
};

/// What the String_Cast of an enumeration derives from. It adds `static Map const& map()`, which returns a
/// static Map of the names:
///
///     template <>
///     struct JSON::String_Cast<Colour, 0> : JSON::Enum_Cast<Colour> {
///         static Map const& map();
///     };
template <typename E>
struct Enum_Cast {
    using Map = Enum_Map<E>;

    /// \throws std::bad_variant_access for a value without a name
    static std::string const& from(E enumerator) {
        auto const& names = String_Cast<E, 0>::map().names();
        auto const found = names.find(enumerator);
        if (found == names.end()) throw std::bad_variant_access();
        return found->second;
    }
    static std::optional<E> to_if(std::string_view name) {
        auto const& enumerators = String_Cast<E, 0>::map().enumerators();
        auto const found = enumerators.find(name);
        return found == enumerators.end() ? std::nullopt : std::optional<E>(found->second);
    }
};

} // namespace JSON
