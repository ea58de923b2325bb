#pragma once

#include <string>
#include <vector>

#include <vexa/json/Value.h>
#include <vexa/ome/OME_Utilities.h>

#include "stacks.h"

/// \file
/// The OME document of a file, which has an image for each stack, in their order.

namespace Vexa::tool {

/// A shape, fastest axis first, without the last axes of one sample, which stacks and images may have or lack.
std::vector<unsigned long> without_slow_ones(std::vector<unsigned long> shape);

/// The images of a document with their channels, and the instruments. Lengths are in meters, shapes fastest axis
/// first, and null stands for what the document doesn't say. For a damaged document a map with the key "error"
/// in place of all others; null for a file without a document.
/// \param only an image, or null for all
JSON::Value document_json(bf::FileInterface& file, unsigned long const* only);
/// The same for a reader; empty for a file without a document.
std::string document_lines(JSON::Value const& document);

/// What is wrong with the document of a file.
struct DocumentCheck {
    bool exists = false;
    std::string error;                      ///< why it can't be read
    std::vector<std::string> disagreements; ///< with the stacks, a line each
};
/// Compare document and stacks. A size or a type that wasn't known when a stack was added is in no image: it has a
/// single sample then, or samples of bits, and any stack agrees with that, such as one that has grown.
DocumentCheck check_document(bf::FileInterface& file);

} // namespace Vexa::tool
