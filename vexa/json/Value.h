#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Bad_Access.h>
#include <vexa/json/Number.h>

namespace JSON {

/// A `bool` of its own type, so that a truth value doesn't turn into a number by accident.
class VEXA_API Boolean {
public:
    /// False.
    constexpr Boolean() noexcept : value_(false) {}
    template <std::same_as<bool> T>
    constexpr Boolean(T value) noexcept : value_(value) {}

    constexpr explicit operator bool() const noexcept { return value_; }
    constexpr bool operator==(Boolean const&) const noexcept = default;

private:
    bool value_;
};

/// Elements stay where they are when the list grows, so pointers and iterators to them hold.
template <typename T>
using List_Template = std::list<T>;

/// Sorted by the bytes of the keys; looked up by anything that compares with K.
template <typename K, typename T>
using Map_Template = std::map<K, T, std::less<void>>;

/// The three families that teach Value about other types. A specialisation has two static functions:
/// `from(x)`, which gives what the value will hold, and `to_if(value)`, which gives a std::optional that is
/// empty if the value can't be read as a T and never throws for a wrong type. `to(value)`, where a
/// specialisation has it, throws std::bad_variant_access or Bad_Access instead.
///
/// Value_Cast: a T to and from a Value. Key_Cast: a T to and from a map key, which is also a string value.
/// String_Cast: an enumeration to and from a string, where `to_if` takes the std::string.
template <typename T, int = 0>
struct Value_Cast;
template <typename T, int = 0>
struct Key_Cast;
template <typename T, int = 0>
struct String_Cast;

template <typename T>
concept Has_Value_Cast = requires(T const& x) {
    Value_Cast<T, 0>::from(x);
};
template <typename T>
concept Has_Key_Cast = requires(T const& x) {
    Key_Cast<T, 0>::from(x);
};
template <typename T>
concept Has_String_Cast = requires(T const& x) {
    String_Cast<T, 0>::from(x);
};

class VEXA_API Value;
using List = List_Template<Value>;
using Map = Map_Template<std::string, Value>;

/// The types that a Value holds as they are.
template <typename T>
concept Alternative = std::same_as<T, std::monostate> || std::same_as<T, Boolean> ||
    std::same_as<T, Number> || std::same_as<T, std::string> || std::same_as<T, List> || std::same_as<T, Map>;

/// A JSON value: null, a boolean, a number, a string in UTF-8, a list or a map.
///
/// Owns: all below it; copies are deep. Lists and maps may nest to any depth: destruction, copying and
/// comparison need no more stack for a deep value than for a flat one.
/// Invariants: numbers are finite when they come in through a constructor; infinities and NaN have no JSON
/// form and are held as the strings "Infinity", "-Infinity" and "NaN", which read as numbers again. Threads:
/// one at a time; different values are independent.
class VEXA_API Value {
public:
    using Variant = std::variant<std::monostate, Boolean, Number, std::string, List, Map>;

    /// Null.
    Value() noexcept = default;
    Value(std::monostate) noexcept {}
    Value(std::nullptr_t) noexcept {}
    Value(Boolean value) noexcept : data_(value) {}
    Value(Number value);
    Value(std::string value) noexcept : data_(std::move(value)) {}
    Value(std::string_view value) : data_(std::string(value)) {}
    /// \param value ends with a zero; a null pointer gives null.
    Value(char const* value);
    Value(List value) noexcept : data_(std::move(value)) {}
    Value(Map value) noexcept : data_(std::move(value)) {}
    /// What the cast of T makes of \p value.
    template <typename T>
    requires(Has_Value_Cast<T> || Has_Key_Cast<T> || Has_String_Cast<T>) Value(T const& value)
        : Value(made_from(value)) {}

    Value(Value const& other);
    Value(Value&&) noexcept = default;
    /// \note \p other may be a part of this value.
    Value& operator=(Value const& other);
    Value& operator=(Value&& other) noexcept;
    ~Value() {
        if (data_.index() > last_scalar) release();
    }

    /// 0 null, 1 boolean, 2 number, 3 string, 4 list, 5 map.
    std::size_t index() const noexcept { return data_.index(); }
    bool is_null() const noexcept { return data_.index() == 0; }
    Variant const& variant() const noexcept { return data_; }
    Variant& variant() noexcept { return data_; }
    /// "null", "boolean", "number", "string", "list" or "map".
    std::string_view type_name() const noexcept;

    template <Alternative T>
    T const* get_if() const noexcept {
        return std::get_if<T>(&data_);
    }
    template <Alternative T>
    T* get_if() noexcept {
        return std::get_if<T>(&data_);
    }

    /// The alternative T.
    /// \throws std::bad_variant_access "bad variant access"
    template <Alternative T, int = 0>
    T const& get() const {
        return *existing(get_if<T>());
    }
    template <Alternative T, int = 0>
    T& get() {
        return *existing(get_if<T>());
    }
    /// The value read as a T through its cast.
    /// \throws std::bad_variant_access or Bad_Access, as the cast does
    template <typename T, int = 0>
    requires(!Alternative<T>) T get()
    const { return read_as<T>(); }

    /// The place below this one that \p path leads to, or null. A step is a key or an index into a list.
    template <typename... Steps>
    Value const* find(Steps const&... path) const {
        Value const* place = this;
        ((place = place ? place->step(path) : nullptr), ...);
        return place;
    }
    template <typename... Steps>
    Value* find(Steps const&... path) {
        return const_cast<Value*>(std::as_const(*this).find(path...));
    }
    /// The place that \p path leads to, read as by get<T>(). `get<Value>(path...)` gives the place itself.
    /// \throws Bad_Access "JSON path '{}' not found." with the steps separated by slashes
    template <typename T, typename Step, typename... Steps>
    decltype(auto) get(Step const& first, Steps const&... rest) const {
        Value const* place = find(first, rest...);
        if (!place) throw_path_not_found((step_text(first) + ... + ("/" + step_text(rest))));
        if constexpr (std::same_as<T, Value>)
            return *place;
        else
            return place->get<T>();
    }

    /// Assign the alternative T, built from \p arguments.
    template <Alternative T, typename... Arguments>
    T& set(Arguments&&... arguments) {
        T value(std::forward<Arguments>(arguments)...);
        return data_.emplace<T>(std::move(value));
    }

    /// Make null into an empty T and give access to it.
    /// \throws Bad_Access "Type mismatch: found {}, expected {}" with the type names, if this holds another
    /// type
    template <Alternative T>
    T& promote_as();

    /// Append to this list. Null is an empty list; anything else becomes the first element of a new list.
    /// \return the new element, which stays where it is
    Value& push_back(Value const& value) { return emplace_back(Value(value)); }
    Value& emplace_back(Value&& value);

    /// Equal alternatives with equal contents; numbers by their value.
    bool operator==(Value const& other) const;

private:
    static constexpr std::size_t last_scalar = 3;

    template <typename T>
    static Value made_from(T const& value) {
        if constexpr (Has_Value_Cast<T>)
            return Value(Value_Cast<T, 0>::from(value));
        else if constexpr (Has_Key_Cast<T>)
            return Value(Key_Cast<T, 0>::from(value));
        else
            return Value(std::string(String_Cast<T, 0>::from(value)));
    }

    template <typename T>
    T read_as() const {
        if constexpr (requires { Value_Cast<T, 0>::to(*this); })
            return Value_Cast<T, 0>::to(*this);
        else if constexpr (Has_Value_Cast<T>)
            return *existing(Value_Cast<T, 0>::to_if(*this));
        else if constexpr (Has_Key_Cast<T>)
            return *existing(Key_Cast<T, 0>::to_if(*this));
        else
            return *existing(String_Cast<T, 0>::to_if(get<std::string>()));
    }

    template <typename Optional>
    static Optional existing(Optional found) {
        if (!found) throw std::bad_variant_access();
        return found;
    }

    template <typename S>
    Value const* step(S const& s) const {
        if constexpr (std::integral<S>)
            return element(s < S{} ? ~std::size_t{} : static_cast<std::size_t>(s));
        else if constexpr (Has_Key_Cast<S>)
            return member(Key_Cast<S, 0>::from(s));
        else
            return member(s);
    }
    template <typename S>
    static std::string step_text(S const& s) {
        if constexpr (std::integral<S>)
            return std::to_string(s);
        else if constexpr (Has_Key_Cast<S>)
            return Key_Cast<S, 0>::from(s);
        else
            return std::string(s);
    }
    Value const* member(std::string_view key) const noexcept;
    Value const* element(std::size_t index) const noexcept;
    [[noreturn]] static void throw_path_not_found(std::string const& path);
    [[noreturn]] void throw_mismatch(std::size_t expected) const;

    void copy_containers(Value const& other);
    void release() noexcept;
    void flatten() noexcept;

    Variant data_;
};

template <Alternative T>
T& Value::promote_as() {
    if (is_null()) return data_.emplace<T>(T{});
    if (T* held = get_if<T>()) return *held;
    throw_mismatch(Variant(std::in_place_type<T>).index());
}

} // namespace JSON

#include <vexa/json/Value_Cast.h> // part of what a Value accepts
