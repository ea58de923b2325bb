#pragma once

#include <string_view>

namespace OME {

/// The text of an attribute as Root reads it, by the name of the attribute.
///
/// Other programs may put blanks around numbers and booleans, a plus in front of numbers, and write booleans as
/// "0" and "1". For an attribute that is a number or a boolean in the OME-XML schema, these go; all else stays, as
/// do texts in other attributes that merely look like numbers.
/// \return a part of \p text, or a literal
std::string_view plain_number_text(std::string_view attribute, std::string_view text);

} // namespace OME
