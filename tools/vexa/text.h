#pragma once

#include <complex>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <vexa/json/Value.h>
#include <vexa/units/RuntimeValue.h>

namespace Vexa::tool {

/// Text from a file that is safe to print: control characters and bytes that are no UTF-8 become \xNN.
std::string printable(std::string_view text);
/// Text from a file as UTF-8, which JSON demands: bytes that are none become U+FFFD.
std::string as_utf8(std::string_view text);
/// The same, where characters that XML doesn't have become U+FFFD too.
std::string as_xml(std::string_view text);

/// "64 x 512 x 512", slowest axis first, as NumPy has it; "-" for rank 0.
std::string shape_text(std::vector<unsigned long> const& shape);
/// The short name of a type, or its code in hexadecimal where it has none.
std::string type_text(int type);
/// The type that a name stands for, names of NumPy such as "float32" included; 0 for none.
int type_from_text(std::string_view name);
/// "10,512,512", slowest axis first.
/// \return axis 0 first
/// \throws Failure with Exit::wrong_use
std::vector<unsigned long> parse_shape(std::string_view text);
/// A unit such as "um"; empty for the number 1, "invalid" for an invalid value.
std::string unit_text(units::RuntimeValue const& unit);

/// A number, or one of the texts "Infinity", "-Infinity" and "NaN".
JSON::Value json_number(double value);

/// A sample at \p from as text: numbers in their shortest form, complex ones as "1.5-2j", colours as "1/2/3".
/// \param type one with an element size
std::string sample_text(void const* from, int type);
/// The same as JSON: complex numbers and colours are lists.
JSON::Value sample_json(void const* from, int type);
/// The sample as a number, of complex ones the absolute value, of colours the mean.
double sample_value(void const* from, int type);

/// The document, indented, with a line end. Keys are sorted.
std::string document_text(JSON::Value const& document);

} // namespace Vexa::tool
