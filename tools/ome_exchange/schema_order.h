#pragma once

#include <span>
#include <string_view>

namespace OME {

/// The children of an element in the order of the OME-XML schema 2016-06, by the name of the element.
///
/// Elements whose children may come in any order are left out, as are those with children of one name and those
/// of free content. The name of an element is enough: wherever it stands, its children have the same order.
/// \return empty for an element that has no order
std::span<std::string_view const> schema_order(std::string_view element);

} // namespace OME
