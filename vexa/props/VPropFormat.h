#pragma once

#include <complex>
#include <sstream>
#include <string>

#include <vexa/foundation/export.h>

/// How numbers stand in a text. Reals are written with 17 significant digits, so that a double keeps its
/// bits, and as "Inf", "-Inf" and "NaN"; a float is widened first. Booleans are "1" and "0", 8-bit integers
/// are numbers and complex numbers "(re,im)".
///
/// Streams must have the classic locale, as those of new_input() and new_output(). A failed read leaves the
/// value alone. Numbers that the type cannot hold fail, a minus before an unsigned one too.
class VEXA_API VPropFormat {
public:
    explicit VPropFormat(int version = 1, int format = 2)
        : write_version(version), write_format(format), read_version(version), read_format(format) {}

    static std::istringstream new_input(std::string const& text);
    static std::ostringstream new_output();

    /// For float and double.
    /// \return whether the stream took it
    template <typename T>
    bool real2string(T const& value, std::ostringstream& stream) const;
    /// For float and double. A failed read restores the position.
    template <typename T>
    bool string2real(std::istringstream& stream, T& value) const;

    /// For numbers, booleans and complex numbers; strings are written only, as UTF-8.
    template <typename T>
    bool val2stream(T const& value, std::ostringstream& stream) const;
    template <typename T>
    bool stream2val(std::istringstream& stream, T& value) const;
    /// Read the number that \p text begins with.
    template <typename T>
    bool string2val(std::string const& text, T& value) const;
    /// The text of what val2stream() writes, or of an array of that, with \p separator between the elements.
    template <typename T>
    std::string val2string(T const& value, char separator) const;

    // The form that is written and read. There is one form so far.
    int write_version;
    int write_format;
    int read_version;
    int read_format;
};
