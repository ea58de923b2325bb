#include <vexa/props/VPropFormat.h>

#include <cmath>
#include <limits>
#include <locale>
#include <type_traits>

#include <vexa/props/type_list_internal.h>

namespace {

template <typename T>
constexpr bool is_byte = std::is_same_v<T, unsigned char> || std::is_same_v<T, signed char>;

/// Read a number that the stream knows how to read.
template <typename T>
bool extract(std::istringstream& stream, T& value) {
    T found{};
    if (std::is_unsigned_v<T> && !std::is_same_v<T, bool> && (stream >> std::ws).peek() == '-') return false;
    if (!(stream >> found)) return false;
    value = found;
    return true;
}

template <typename T>
bool extract_byte(std::istringstream& stream, T& value) {
    int found = 0;
    if (!extract(stream, found)) return false;
    if (found < std::numeric_limits<T>::min() || found > std::numeric_limits<T>::max()) return false;
    value = static_cast<T>(found);
    return true;
}

bool expect(std::istringstream& stream, char wanted) {
    char found = 0;
    return stream >> found && found == wanted;
}

} // namespace

std::istringstream VPropFormat::new_input(std::string const& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    return stream;
}

std::ostringstream VPropFormat::new_output() {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    return stream;
}

template <typename T>
bool VPropFormat::real2string(T const& value, std::ostringstream& stream) const {
    if (std::isnan(value)) {
        stream << "NaN";
    } else if (std::isinf(value)) {
        stream << (value < 0 ? "-Inf" : "Inf");
    } else {
        stream.precision(17);
        stream << static_cast<double>(value);
    }
    return !stream.fail();
}

template <typename T>
bool VPropFormat::string2real(std::istringstream& stream, T& value) const {
    if (!stream.good()) return false;
    stream >> std::ws;
    if (!stream.good()) return false;
    auto const begin = stream.tellg();
    if (extract(stream, value)) return true;
    stream.clear();
    stream.seekg(begin);
    char text[3] = {};
    stream.read(text, sizeof text);
    std::string_view const word(text, static_cast<std::size_t>(stream.gcount()));
    if (word == "Inf") return value = std::numeric_limits<T>::infinity(), true;
    if (word == "NaN") return value = std::numeric_limits<T>::quiet_NaN(), true;
    if (word == "-In" && stream.get() == 'f') return value = -std::numeric_limits<T>::infinity(), true;
    stream.clear();
    stream.seekg(begin);
    return false;
}

template <typename T>
bool VPropFormat::val2stream(T const& value, std::ostringstream& stream) const {
    if constexpr (std::is_floating_point_v<T>) {
        return real2string(value, stream);
    } else if constexpr (Vexa::props::is_complex_type<T>) {
        stream << '(';
        real2string(value.real(), stream);
        stream << ',';
        real2string(value.imag(), stream);
        stream << ')';
    } else if constexpr (is_byte<T>) {
        stream << static_cast<int>(value);
    } else if constexpr (std::is_same_v<T, VPropstring>) {
        stream << value.to_utf8();
    } else {
        stream << value;
    }
    return !stream.fail();
}

template <typename T>
std::string VPropFormat::val2string(T const& value, char separator) const {
    auto stream = new_output();
    if constexpr (Vexa::props::is_array_type<T>) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (i > 0) stream << separator;
            val2stream(value[i], stream);
        }
    } else {
        val2stream(value, stream);
    }
    return stream.str();
}

template <typename T>
bool VPropFormat::stream2val(std::istringstream& stream, T& value) const {
    if constexpr (std::is_floating_point_v<T>) {
        return string2real(stream, value);
    } else if constexpr (Vexa::props::is_complex_type<T>) {
        typename T::value_type real{}, imaginary{};
        bool const found = expect(stream, '(') && string2real(stream, real) && expect(stream, ',') &&
                           string2real(stream, imaginary) && expect(stream, ')');
        if (found) value = T(real, imaginary);
        return found;
    } else if constexpr (is_byte<T>) {
        return extract_byte(stream, value);
    } else {
        return extract(stream, value);
    }
}

template <typename T>
bool VPropFormat::string2val(std::string const& text, T& value) const {
    auto stream = new_input(text);
    return stream2val(stream, value);
}

#define VEXA_INSTANTIATE_OUTPUT(T)                                                                           \
    template VEXA_API bool VPropFormat::val2stream(T const&, std::ostringstream&) const;                     \
    template VEXA_API std::string VPropFormat::val2string(T const&, char) const;                             \
    template VEXA_API std::string VPropFormat::val2string(VProparray<T> const&, char) const;
#define VEXA_INSTANTIATE(T)                                                                                  \
    VEXA_INSTANTIATE_OUTPUT(T)                                                                               \
    template VEXA_API bool VPropFormat::stream2val(std::istringstream&, T&) const;                           \
    template VEXA_API bool VPropFormat::string2val(std::string const&, T&) const;
VEXA_INSTANTIATE(unsigned char)
VEXA_INSTANTIATE(signed char)
VEXA_INSTANTIATE(unsigned short)
VEXA_INSTANTIATE(short)
VEXA_INSTANTIATE(unsigned int)
VEXA_INSTANTIATE(int)
VEXA_INSTANTIATE(unsigned long)
VEXA_INSTANTIATE(long)
VEXA_INSTANTIATE(bool)
VEXA_INSTANTIATE(float)
VEXA_INSTANTIATE(double)
VEXA_INSTANTIATE(std::complex<float>)
VEXA_INSTANTIATE(std::complex<double>)
VEXA_INSTANTIATE_OUTPUT(VPropstring)
#undef VEXA_INSTANTIATE
#undef VEXA_INSTANTIATE_OUTPUT

template VEXA_API bool VPropFormat::real2string(float const&, std::ostringstream&) const;
template VEXA_API bool VPropFormat::real2string(double const&, std::ostringstream&) const;
template VEXA_API bool VPropFormat::string2real(std::istringstream&, float&) const;
template VEXA_API bool VPropFormat::string2real(std::istringstream&, double&) const;
