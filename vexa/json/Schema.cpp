#include <vexa/json/Schema.h>

#include <stdexcept>

#include <fmt/format.h>

namespace JSON {

namespace detail {

void throw_duplicate_enumerator(long long enumerator, std::string_view text) {
    throw std::invalid_argument(
        fmt::format("Duplicate enumeration key '{}' for string value '{}'.", enumerator, text));
}

void throw_duplicate_name(std::string_view text, long long enumerator) {
    throw std::invalid_argument(
        fmt::format("Duplicate string key '{}' for enumeration value '{}'.", text, enumerator));
}

void demand_alternative(Value const& value, std::size_t index) {
    // The visit is there for its exception, which says what a valueless variant is.
    std::visit([](auto const&) {}, value.variant());
    if (value.index() != index) throw std::bad_variant_access();
}

void demand_integer(Value const& value) {
    if (!narrow_if<long long>(value.get<Number>())) throw std::bad_variant_access();
}

} // namespace detail

template class Document<std::string>;
template class Document<Number>;
template class Document<double>;
template class Document<long long>;
template class Document<Boolean>;
template class Document<List>;
template class Document<Map>;

} // namespace JSON
