#include <algorithm>
#include <stdexcept>

#include <vexa/foundation/io.h>
#include <vexa/props/VPropFormat.h>
#include <vexa/props/VexaProps.h>
#include <vexa/props/type_list_internal.h>

namespace {

namespace types = Vexa::types;
using Vexa::props::code_of;
using Vexa::props::is_array_type;
using Vexa::props::is_complex_type;
using Vexa::props::with_value_type;

template <typename T>
constexpr bool is_number = std::is_arithmetic_v<T> || is_complex_type<T>;
template <typename T>
constexpr bool is_boolean = std::is_same_v<T, bool>;

/// Complex numbers come from numbers and become none but complex ones.
template <typename From, typename To>
constexpr bool is_castable = is_number<From>&& is_number<To> &&
                             (is_complex_type<To> ? !is_boolean<From> : !is_complex_type<From>);

/// The types whose reals sample conversion would bring into 32 signed bits, though more of them fit.
template <typename From, typename To>
constexpr bool needs_long = std::is_floating_point_v<From>&& std::is_same_v<To, unsigned int>;

template <typename From, typename To>
void convert(From const* from, To* to, std::size_t count) {
    if constexpr (needs_long<From, To>) {
        std::vector<long> whole(count);
        convert(from, whole.data(), count);
        std::transform(whole.begin(), whole.end(), to, [](long value) { return static_cast<To>(value); });
    } else {
        vexa_dt_convert(code_of<From>::value, code_of<To>::value, from, to, count, nullptr, nullptr);
    }
}

template <typename To, typename From>
To cast_value(From value) {
    if constexpr (is_boolean<To>) {
        return value != From{};
    } else if constexpr (is_boolean<From>) {
        return static_cast<To>(value ? 1 : 0);
    } else {
        To result{};
        convert(&value, &result, 1);
        return result;
    }
}

/// From and To are array types.
template <typename From, typename To>
void _s_cast_a2a(VProp const& src, To* dst, From*) {
    using From_value = typename From::value_type;
    using To_value = typename To::value_type;
    From const& from = src.get<From>();
    if constexpr (std::is_same_v<From, To>)
        if (&from == dst) return;
    dst->set_size(from.get_size(true), VProparrayBase::resize_clear);
    if constexpr (is_boolean<From_value> || is_boolean<To_value>)
        std::transform(from.begin(), from.end(), dst->begin(),
                       [](From_value value) { return cast_value<To_value>(value); });
    else
        convert(from.data(), dst->data(), from.size());
}

/// From and To are scalar types.
template <typename From, typename To>
void cast(VProp const& src, void* dst, bool to_array) {
    if (!types::is_array(src.get_id())) {
        To const value = cast_value<To>(src.get<From>());
        if (!to_array) {
            *static_cast<To*>(dst) = value;
            return;
        }
        auto& array = *static_cast<VProparray<To>*>(dst);
        array.set_size(1, 1, VProparrayBase::none, VProparrayBase::none, VProparrayBase::resize_clear);
        array.front() = value;
    } else if (to_array) {
        _s_cast_a2a(src, static_cast<VProparray<To>*>(dst), static_cast<VProparray<From>*>(nullptr));
    } else {
        throw std::runtime_error("Cannot cast from array to scalar.");
    }
}

template <typename From>
bool cast_from(VProp const& src, void* dst, int code) {
    bool castable = false;
    with_value_type(types::element_type(code), [&]<typename To>(std::type_identity<To>) {
        if constexpr (is_castable<From, To>) {
            castable = true;
            cast<From, To>(src, dst, types::is_array(code));
        }
    });
    return castable;
}

} // namespace

void vexa_prop_cast(VProp const& src, void* dst, int code) {
    bool castable = false;
    with_value_type(types::element_type(src.get_id()), [&]<typename From>(std::type_identity<From>) {
        if constexpr (is_number<From>) castable = cast_from<From>(src, dst, code);
    });
    if (!castable) throw std::runtime_error("Invalid cast.");
}

/// The pointer only selects the type.
template <typename T>
static VProp _vexa_string2val(std::string const& text, T*) {
    if constexpr (std::is_same_v<T, VPropstring>) {
        return VPropstring::from_utf8(text);
    } else if constexpr (is_number<T>) {
        T value{};
        VPropFormat().string2val(text, value);
        return value;
    } else {
        return T{};
    }
}

VProp vexa_string2val(std::string const& text, int code) {
    VProp result;
    bool known = code == types::none;
    with_value_type(code, [&]<typename T>(std::type_identity<T>) {
        if constexpr (is_number<T> || std::is_same_v<T, VPropstring> || std::is_same_v<T, vexa_EMPTY>) {
            known = true;
            result = _vexa_string2val(text, static_cast<T*>(nullptr));
        }
    });
    if (!known) throw std::runtime_error("Conversion of string to invalid type.");
    return result;
}

/// The pointer only selects the type, that of an element if \p is_array.
template <typename T>
static std::string _vexa_val2string(VProp const& value, T*, bool is_array) {
    VPropFormat const format;
    return is_array ? format.val2string(value.get<VProparray<T>>(), ' ')
                    : format.val2string(value.get<T>(), ' ');
}

std::string vexa_val2string(VProp const& value) {
    int const code = value.get_id();
    if (code == types::none || code == types::empty) return {};
    std::string result;
    bool known = false;
    with_value_type(types::element_type(code), [&]<typename T>(std::type_identity<T>) {
        if constexpr (is_number<T> || std::is_same_v<T, VPropstring>) {
            known = true;
            result = _vexa_val2string(value, static_cast<T*>(nullptr), types::is_array(code));
        }
    });
    if (!known) throw std::runtime_error("Conversion of unknown type to string.");
    return result;
}
