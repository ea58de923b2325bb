#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace OME {

/// Turn XML from other programs into text that JSON::XML_Reader reads and reports as closed.
///
/// The text is any well-formed document in UTF-8, UTF-16, ISO-8859-1 or another encoding that it declares and
/// that has one byte per character. Comments, processing instructions and the document type are left out; CDATA
/// sections and references become text. No network and no other file is touched.
///
/// What has no place in the reader's trees is treated so:
/// - text beside child elements is left out, also to \p dropped unless it is only blanks; blanks at the beginning
///   of a text are lost on reading;
/// - the prefixes of element names are left out; of names in other scripts each character beyond `A-Za-z0-9_.-`
///   becomes `_xHHHH_`, its code in hexadecimal; an attribute whose name begins otherwise than with a letter
///   gets an "x" in front;
/// - a document type with declarations in brackets is refused, and with it all entities but the five that need
///   no declaration. If there is a document type, other references in attribute values are left out.
///
/// In a document whose root is "OME" these change, too, so that Root reads what other programs and older
/// releases write. What an annotation of type XML holds stays as it is, but for the first.
/// - "urn:lsid:AUTHORITY:WORD:TEXT" becomes "WORD:AUTHORITY:TEXT" in the attributes that hold identifiers: "ID",
///   "Annotator" and those whose names end in "Ref" or "Pixels";
/// - an identifier that does not begin with the word of its type gets that and a colon in front, as do references
///   to it: "Microscope" becomes "Instrument:Microscope";
/// - of identifiers that differ and would become the same by this, the later one gets "_" behind it;
/// - of numbers and booleans, which are known by the names of their attributes, blanks around them and a leading
///   plus go, and booleans "1" and "0" become "true" and "false";
/// - a "LightSource" or "Shape" that holds a light source or a shape in front of anything else becomes that, with
///   the attributes of both, unless they have one in common;
/// - the first instrument that an image refers to goes in front of the others, since Root takes light sources,
///   detectors, objectives and filters from the first one.
///
/// Nesting and size cost memory only, in proportion to the text.
/// \param dropped if not null, gets "NAME: TEXT" for each text that is left out, by the name of its element
/// \throws std::runtime_error "Cannot import XML, line {}, column {}: {}" with the reason
std::string import_XML(std::string_view text, std::vector<std::string>* dropped = nullptr);

} // namespace OME
