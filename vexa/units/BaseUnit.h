#pragma once

#include <string>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/units/RuntimeValue.h>
#include <vexa/units/constants.h>

namespace Vexa::units {

/// A named unit: one row of the unit table, and the parser of unit text.
///
/// Threads: the static functions may be called from any thread.
class VEXA_API BaseUnit : public RuntimeValue {
public:
    BaseUnit(std::string const& unit_name, RuntimeValue unit_value, int lowest_prefix, int highest_prefix);

    /// The table of 41 units, the nine base units first. Every lookup takes the first row that fits. Built on
    /// the first call, then constant until process exit.
    ///
    /// \note Deliberate: "Bq" stands in it twice; row 9 has an empty name and stands for a plain number.
    static std::vector<BaseUnit> const& get_unit_array();

    /// The SI prefix for a power of ten; empty for an exponent that has none, 1 among them.
    /// \param ascii "u" in place of the micro sign for -6.
    static std::string get_prefix(int exponent, bool ascii);

    /// Read a prefix at the start of \p name. Both Unicode characters for micro are known, as well as "u".
    ///
    /// \note Deliberate: "a" is no prefix here, although get_prefix() gives it for -18.
    /// \param[out] length bytes of the prefix.
    /// \return the power of ten; 0 with length 0 for an empty name, 1000 with length 0 if there is no prefix.
    static int match_prefix(std::string const& name, int& length);

    /// Read text such as "2.5 mm/s^2", in time and memory proportional to its length.
    ///
    /// "^" binds most tightly, then "*" and "/" from left to right; round brackets group. A power is a whole
    /// number or a fraction in brackets, "m^(1/2)". A factor is a number, a unit with or without prefix, or
    /// both, with blanks only between them. The decimal point is "." in every locale.
    ///
    /// \note Deliberate: a power takes the number in front of its unit along, "5 m^2" is 25 square metres;
    /// write "5*m^2". Outer brackets are stripped without a look at whether they belong together, so
    /// "(m)*(s)" fails. "m^" is m to the power of 0. A blank may not stand behind a factor. "kg", grams from
    /// 10^4 on, tonnes up to 10^1 and seconds from 10^1 on take no prefix, while a prefix without unit is a
    /// number: "k" is 1000. Of a number, "e" needs a digit or sign behind it, "1eV" fails, and what the sign
    /// or a point in the exponent leaves unread is skipped: "1e+ m" is 1 m.
    /// \param[out] result the value; unchanged if the result is false.
    /// \return false for any other text.
    static bool parse(std::string const& text, RuntimeValue& result);

    int min_prefix; ///< lowest power of ten that format() may use with this unit
    int max_prefix; ///< highest such power
    std::string name;
};

} // namespace Vexa::units
