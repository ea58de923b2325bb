#pragma once

#include <string>
#include <string_view>

namespace Vexa::props {

/// Check a text from outside before the XML parser sees it, and rewrite it to the plain form that the parser
/// reads safely: elements, attributes in double quotes and text, nothing else. Comments, processing
/// instructions and the document type are dropped, CDATA sections and character references become text. The
/// text must be well-formed XML in UTF-8 with one root element; a document type must not have a part in
/// brackets, and unknown entities stay what they are.
///
/// Whatever the parser would lose or trip over is escaped, see restore_bytes(): bytes that are no UTF-8,
/// control characters, byte order marks, and the blanks of an element with nothing but blanks.
/// \throws ticpp::Exception with the place, also beyond the limits of VPropXmlParser.h
std::string guard_xml(std::string_view text);

/// Undo the escapes in a piece of text from the parser.
std::string restore_bytes(std::string text);

/// Whether the parser can read this as the name of an element or attribute.
bool is_xml_name(std::string_view name);

} // namespace Vexa::props
