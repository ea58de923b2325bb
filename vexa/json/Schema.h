#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Proxy.h>
#include <vexa/json/String_Cast.h>
#include <vexa/json/Value.h>

namespace JSON {

/// What the options of a Schema derive from, but for Item.
struct VEXA_API Keyword {};

/// On a list: the class through which each entry is viewed.
template <typename... E>
struct VEXA_API Item {};
template <typename E>
struct VEXA_API Item<E> : Item<> {};

/// On a list: the greatest number of entries, which the shape of the view keeps. Setting a whole list is not
/// checked.
template <std::size_t n>
struct VEXA_API Max_Items : Keyword {};

/// On a string: the name of an enumerator of E.
/// \note Deliberate: any string can be set, and an unknown one fails when it is read as an E. The two forms
/// below refuse it at once.
template <typename E>
struct VEXA_API Enum : String_Cast<E, 0>, Keyword {};

/// On a string: the name of one of the enumerators from \p first to \p last, both included.
template <typename E, auto first, auto last>
struct VEXA_API Enum_Range : Enum<E> {
    static void check(Value const& value) {
        E const found = value.get<E>();
        if (found < static_cast<E>(first) || found > static_cast<E>(last)) throw std::bad_variant_access();
    }
};

/// On a string: the name of one of these enumerators.
template <typename E, auto... valid>
struct VEXA_API Enum_Values : Enum<E> {
    static void check(Value const& value) {
        E const found = value.get<E>();
        if (((found != static_cast<E>(valid)) && ...)) throw std::bad_variant_access();
    }
};

/// The value that a document has in place of none: a literal, or an enumerator, which is held as its name.
template <auto...>
struct VEXA_API Default : Keyword {};
template <auto literal>
struct VEXA_API Default<literal> : Default<> {
    /// One object for all documents.
    /// \throws std::bad_variant_access for an enumerator without a name
    static Value const& default_value() {
        static Value const value(literal);
        return value;
    }
};

/// What a document knows of its value at compile time: the type T, and options from the list above. It costs
/// no memory.
template <typename T, typename... Options>
class VEXA_API Schema : public Options... {
public:
    static constexpr bool has_default = (std::derived_from<Options, Default<>> || ...);

    /// Check a value against the type and the options.
    ///
    /// T stands for the alternative of a Value; `long long` and `double` stand for numbers, the former for
    /// those that are integers in range.
    /// \throws std::bad_variant_access "bad variant access"; "std::visit: variant is valueless" for a value
    /// that has lost its content in a failed assignment
    static void check(Value const& value);
    /// Check it against the options alone.
    /// \throws std::bad_variant_access
    static void check_options(Value const& value) { (check_option<Options>(value), ...); }

private:
    template <typename Option>
    static void check_option([[maybe_unused]] Value const& value) {
        if constexpr (requires { Option::check(value); }) Option::check(value);
    }
};

namespace detail {
VEXA_API void demand_alternative(Value const& value, std::size_t index);
VEXA_API void demand_integer(Value const& value);
} // namespace detail

template <typename T, typename... Options>
void Schema<T, Options...>::check(Value const& value) {
    using Held = std::conditional_t<std::is_arithmetic_v<T>, Number, T>;
    detail::demand_alternative(value, Value::Variant(std::in_place_type<Held>).index());
    if constexpr (std::integral<T>) detail::demand_integer(value);
    check_options(value);
}

/// A view that knows the type of its value and lets only valid values in.
///
/// With a Default it always has a value: the one in the tree or else the default, which gets into the tree
/// only if somebody sets it.
template <typename T, typename... Options>
class VEXA_API Document : public Proxy, public Schema<T, Options...> {
    using The_Schema = Schema<T, Options...>;

public:
    explicit Document(Value& tree) : Proxy(tree) { provide_default(); }
    explicit Document(Value&& tree) : Proxy(std::move(tree)) { provide_default(); }
    /// \throws std::bad_variant_access if the default is an enumerator without a name
    Document(Proxy& parent, char const* key) : Proxy(parent, key) { provide_default(); }
    Document(Proxy& parent, Position position) : Proxy(parent, position) { provide_default(); }
    Document& operator=(Document const&) = default;

    explicit operator bool() const override { return has_value(); }
    bool has_value() const override { return The_Schema::has_default || Proxy::has_value(); }
    Value const* value() const override;
    /// \throws std::bad_variant_access as Schema::check(), before anything changes
    void set(Value const& value, bool quiet = false) override;

private:
    static void provide_default() {
        if constexpr (The_Schema::has_default) The_Schema::default_value();
    }
};

template <typename T, typename... Options>
Value const* Document<T, Options...>::value() const {
    Value const* held = Proxy::value();
    if constexpr (The_Schema::has_default)
        return held ? held : &The_Schema::default_value();
    else
        return held;
}

template <typename T, typename... Options>
void Document<T, Options...>::set(Value const& value, bool quiet) {
    The_Schema::check(value);
    Proxy::set(value, quiet);
}

extern template class Document<std::string>;
extern template class Document<Number>;
extern template class Document<double>;
extern template class Document<long long>;
extern template class Document<Boolean>;
extern template class Document<List>;
extern template class Document<Map>;

} // namespace JSON
