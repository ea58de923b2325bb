#pragma once

#include <type_traits>

#include <vexa/props/props.h>

namespace Vexa::props {

/// The scalar types that a property can hold, each with an array type but for vexa_EMPTY.
template <typename... T>
struct TypeList {};
using ScalarTypes = TypeList<unsigned char, signed char, unsigned short, short, unsigned int, int, float,
                             double, unsigned long, long, VProp, VPropstruct, bool, VPropstring, vexa_EMPTY,
                             std::complex<float>, std::complex<double>>;

template <typename T, typename Function>
bool call_if_type_has_code(int code, Function& function) {
    if (code == code_of<T>::value) {
        function(std::type_identity<T>{});
        return true;
    }
    if constexpr (Value<VProparray<T>>) {
        if (code == code_of<VProparray<T>>::value) {
            function(std::type_identity<VProparray<T>>{});
            return true;
        }
    }
    return false;
}

template <typename Function, typename... T>
bool call_for_code(int code, Function& function, TypeList<T...>) {
    return (call_if_type_has_code<T>(code, function) || ...);
}

/// Call `function(std::type_identity<T>{})` for the type T, scalar or array, that a property with this code
/// holds.
/// \return false, without a call, if there is none
template <typename Function>
bool with_value_type(int code, Function function) {
    return call_for_code(code, function, ScalarTypes{});
}

template <typename T>
inline constexpr bool is_array_type = std::is_base_of_v<VProparrayBase, T>;
template <typename T>
inline constexpr bool is_complex_type =
    std::is_same_v<T, std::complex<float>> || std::is_same_v<T, std::complex<double>>;

} // namespace Vexa::props
