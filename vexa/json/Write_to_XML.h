#pragma once

#include <iosfwd>
#include <span>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

/// Write a tree of the form that XML_Reader describes as XML, in one line behind the declaration.
///
/// Children of different names come in the order of the names, and so do attributes. Attributes and texts may
/// be booleans, numbers and strings; the strings "Infinity" and "-Infinity" are written as "INF" and "-INF".
/// Names and bytes go out as they are, but for the five characters that have references. Trees of any depth
/// are written without recursion. A stream that fails shows it in its state.
///
/// A read tree reads back the same, as long as names are names behind their prefixes, too. Of other trees
/// numbers and booleans come back as strings, and these do not come back: empty texts and maps of children,
/// lists without elements, blanks at the beginning of a text, names that XML_Reader does not know.
/// \note Deliberate: an empty root without attributes is written in the form `<a/>`, which XML_Reader does not
/// report as closed.
///
/// \throws std::invalid_argument at the first value that has no form, behind the output up to there, with one
/// of these texts and the value as JSON behind it: "Invalid XML root element:", "Invalid XML element:",
/// "Invalid array of XML elements:", "Invalid XML attribute:", "Invalid XML content:"
VEXA_API void write_to_XML(Value const& value, std::ostream& os);

/// What names the children of an element in the order in which they are written, each name once. The names stay
/// as long as the tree is being written.
using XML_Order = std::span<std::string_view const> (*)(std::string_view element);

/// The same, but with the children of each element in the order that \p order gives for its name. Children that
/// it doesn't name come behind these, in the order of their names.
VEXA_API void write_to_XML(Value const& value, std::ostream& os, XML_Order order);

} // namespace JSON
