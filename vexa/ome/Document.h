#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Schema.h>
#include <vexa/ome/Units.h>

namespace OME {

namespace detail {
/// Replace text by the value that it is the text of; leave anything else.
/// \throws std::bad_variant_access "bad variant access" if the text is none of such a value
VEXA_API void read_integer(JSON::Value& value);
VEXA_API void read_boolean(JSON::Value& value);
VEXA_API void read_real(JSON::Value& value);
} // namespace detail

/// An attribute or a text. XML holds text only, so whatever is not a string gets its type when the view is
/// made: integers "-12", booleans "true" and "false", reals as std::from_chars reads them. Reals that are not
/// finite become the strings "NaN", "Infinity" and "-Infinity".
template <typename T, typename... Options>
class VEXA_API Document : public JSON::Document<T, Options...> {
    using Base = JSON::Document<T, Options...>;

public:
    Document(JSON::Proxy& parent, JSON::Proxy::Position position) : Base(parent, position) {}
    /// \throws std::bad_variant_access "bad variant access" for a text of another type, for an enumerator that
    /// the options don't allow, and for null
    Document(JSON::Proxy& parent, char const* key);
    /// Copy what \p other holds, which set() might refuse: a non-finite number, which is a string, or children
    /// where a text belongs.
    Document& operator=(Document const& other);
};

template <typename T, typename... Options>
Document<T, Options...>::Document(JSON::Proxy& parent, char const* key) : Base(parent, key) {
    if (!JSON::Proxy::has_value()) return;
    JSON::Value& value = this->get_value();
    if (value.is_null()) throw std::bad_variant_access(); // the document ended before the text did
    if constexpr (std::is_same_v<T, long long>) detail::read_integer(value);
    if constexpr (std::is_same_v<T, JSON::Boolean>) detail::read_boolean(value);
    if constexpr (std::is_same_v<T, JSON::Number> || std::is_same_v<T, double>) detail::read_real(value);
    Base::check_options(value);
}

template <typename T, typename... Options>
Document<T, Options...>& Document<T, Options...>::operator=(Document const& other) {
    if (this == &other) return *this;
    if (JSON::Value const* value = other.JSON::Proxy::value())
        JSON::Proxy::set(*value);
    else
        this->reset();
    return *this;
}

/// The enumerator whose name the document holds; empty without a value.
/// \throws std::bad_variant_access for a string that is no name
template <typename E>
std::optional<E> enumerator_in(JSON::Proxy const& document) {
    JSON::Value const* value = document.value();
    return value ? std::optional<E>(value->get<E>()) : std::nullopt;
}

/// The enumerator in \p standard, or, where that is \p other, the one in \p extended, if that is there. The
/// schema knows the former; what goes beyond it stands in an annotation, which may be missing.
/// \throws std::bad_variant_access as above
template <typename E>
std::optional<E> enumerator_in(JSON::Proxy const& standard, E other, JSON::Proxy const* extended) {
    auto const found = enumerator_in<E>(standard);
    return found == other && extended && extended->has_value() ? enumerator_in<E>(*extended) : found;
}

/// Store an enumerator where the function above finds it. One beyond \p other, the last of the schema, goes
/// into the annotation, which is made if need be, and the schema sees `other`.
/// \param reference the Reference to the annotation, and its member
/// \throws std::bad_variant_access for an enumerator without a name, before anything changes
template <typename E, typename Reference_to_Annotation, typename Annotation_Class, typename Extended>
void store_enumerator(E enumerator, E other, JSON::Proxy& standard, Reference_to_Annotation& reference,
                      Extended Annotation_Class::*extended) {
    JSON::Value const name(enumerator);
    if (enumerator > other) {
        standard.set(JSON::Value(other));
        ((*reference).*extended).set(name);
    } else {
        standard.set(name);
        if (reference.referent()) ((*reference).*extended).reset();
    }
}

/// The integer in the document; empty without one.
VEXA_API std::optional<long long> integer_in(JSON::Proxy const& document);
/// The number in the document, which may be one that is not finite; empty without a number.
VEXA_API std::optional<double> real_in(JSON::Proxy const& document);
/// Store a number, one that is not finite as its string.
VEXA_API void store_real(double number, JSON::Proxy& document);

/// The JSON that a text holds; null without a text.
/// \throws JSON::Reader::Unexpected as JSON::parse() does
VEXA_API JSON::Value JSON_in(Document<std::string> const& text);
/// Store a value as compact JSON.
VEXA_API void store_JSON(JSON::Value const& value, Document<std::string>& text);

extern template class Document<std::string>;
extern template class Document<JSON::Number>;
extern template class Document<double>;
extern template class Document<long long>;
extern template class Document<JSON::Boolean>;
extern template class Document<JSON::Boolean, JSON::Default<false>>;
extern template class Document<std::string, JSON::Enum<Length>>;
extern template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>>;
extern template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::um>>;
extern template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::reference_frame>>;
extern template class Document<std::string, JSON::Enum<Time>>;
extern template class Document<std::string, JSON::Enum<Time>, JSON::Default<Time::s>>;
extern template class Document<std::string, JSON::Enum<Frequency>>;
extern template class Document<std::string, JSON::Enum<Frequency>, JSON::Default<Frequency::Hz>>;
extern template class Document<std::string, JSON::Enum<Angle>>;

} // namespace OME
