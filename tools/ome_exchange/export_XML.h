#pragma once

#include <string>

#include <vexa/ome/Root.h>

namespace OME {

/// Write a document for other programs, which want the children of each element in the order that the published
/// OME-XML schema 2016-06 gives them. Root::XML() writes them in the order of their names.
///
/// Physical sizes of pixels that are not positive numbers, which stand for unknown ones, are left out with their
/// units, for the schema has no value for them. But for these it reads back to an equal tree. Children of one
/// name keep their order; that of shapes and annotations of different kinds among each other is lost when a
/// document is read, and the schema asks for none. Children that the schema doesn't name come behind those that
/// it does, in the order of their names. So do the contents of annotations of type XML, which may be anything.
/// They have lost the prefixes of their elements on reading, hence those that declare no namespace by an
/// attribute "xmlns" count as the document's, and validators check those that have the name of an element of the
/// schema.
///
/// The text is XML by the rules of other programs, but only as valid as the document: what the schema wants and
/// the tree lacks is not made up, such as the pixels of an image, an identifier, a shape in a ROI, or a number
/// in its range. Line ends and tabs in attributes are blanks to other programs.
/// \throws std::invalid_argument as JSON::write_to_XML() does
/// \throws std::invalid_argument "Cannot export XML: {} behind '{}'" with the reason and the text in front of the
/// place, for names, texts and prefixes that XML doesn't allow, such as control characters
std::string export_XML(Root const& root);
/// The same for a tree of such a form.
std::string export_XML(JSON::Value const& document);

} // namespace OME
