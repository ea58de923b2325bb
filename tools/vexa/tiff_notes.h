#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Vexa::tool {

/// The note of a shape: `{"shape": [..]}`, slowest axis first.
std::string shape_note(std::vector<unsigned long> const& shape);
/// Read such a note.
/// \return the shape, axis 0 first; empty when \p text is none
std::vector<unsigned long> parse_shape_note(std::string_view text);

/// What the description of a TIFF file may say about its pages: lines of `key=value`, the first of them the
/// name and version of the program that wrote it.
struct PageNote {
    unsigned long channels = 1, slices = 1, frames = 1; ///< pages run through channels first, then slices
    double unit_metres = 0;                             ///< what a length of 1 is, 0 when unknown
    double spacing = 0;                                 ///< of slices, in that unit, 0 when unknown
};
/// \return the defaults when \p text is no such note
PageNote parse_page_note(std::string_view text);

} // namespace Vexa::tool
