#pragma once

#include <cstddef>
#include <cstdint>

#include <vexa/json/Value.h>

/// \file
/// Where the samples of an image are, as its "Pixels" say. All take the element of an image in the tree of a
/// document, and do nothing for one without "Pixels".

namespace OME {

/// The first "Pixels"; null if there are none.
JSON::Value* pixels_of(JSON::Value& image);
JSON::Value const* pixels_of(JSON::Value const& image);

/// The image of this index in a document; null if there is none.
JSON::Value* image_at(JSON::Value& document, std::size_t index);

/// Say that the samples are not in a file that the document knows.
void set_metadata_only(JSON::Value& image);
/// Say that the planes are the pages of the TIFF file around the document, in their order.
void set_TIFF_pages(JSON::Value& image, std::uint64_t pages);

/// Divide each channel of several samples into channels of one sample. The first one keeps all that the channel had;
/// the others get its attributes and identifiers of their own. Three of them without a colour are red, green and
/// blue.
/// \param samples how many each channel has
void split_channels(JSON::Value& image, std::uint64_t samples);
/// Leave so many channels, or make what is missing, each of so many samples.
void provide_channels(JSON::Value& image, std::uint64_t count, std::uint64_t samples);

} // namespace OME
