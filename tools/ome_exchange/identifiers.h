#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace OME {

/// Whether an attribute of that name holds the identifier of an element, be it its own or that of another one.
bool holds_identifier(std::string_view attribute);

/// The word that identifiers in elements of that name begin with, which are the elements that bear one and those
/// that refer to them; empty for elements that Root passes through as they are.
std::string_view identifier_word(std::string_view element);

/// Brings identifiers into the form that Root wants: a word, a colon and any text.
///
/// "urn:lsid:AUTHORITY:WORD:TEXT" becomes "WORD:AUTHORITY:TEXT". What then doesn't begin with the word of its
/// element gets that and a colon in front. All others stay. Equal identifiers stay equal; those that differ never
/// become the same, for the later one then gets "_" behind it.
class Identifiers {
public:
    /// \param word as identifier_word() gives it; must outlive this
    std::string const& in_form(std::string const& text, std::string_view word);

private:
    std::map<std::pair<std::string_view, std::string>, std::string> forms_; ///< by word and text
    std::map<std::string, std::string> originals_;                          ///< by their form
};

} // namespace OME
