#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <vexa/arrays/StackInfoInterface.h>
#include <vexa/foundation/export.h>
#include <vexa/ome/Image.h>

/// \file
/// A stack and an image describe the same samples in two vocabularies. These functions translate, and change
/// only what they are asked to fill. What the stack doesn't know, they leave as it is.

namespace Vexa {

/// Fill sizes, order and voxel shape. The axes of the stack are X, Y, Z, time and channel, those that it lacks
/// have one sample. A stack without samples changes nothing.
///
/// The length of an axis is taken as meters, whatever its unit.
/// \note Deliberate: the lengths 0 and 1 count as unknown, and leave the voxel shape of their axis alone.
/// \throws std::invalid_argument "Unsupported zero dimension", or "Unsupported number of {} dimensions" for more
/// than 5; the order has been filled by then
VEXA_API void fill_shape(OME::Image::Dimensions& dimensions, arrays::StackInfoInterface const& info);

/// Fill the data type. The type 0 changes nothing.
/// \throws OME::Invalid_Argument "Unsupported OME image type" for 64-bit integers, truth values and triples of
/// bytes
/// \throws std::invalid_argument "Unknown Vexa type '{}'." for what is no type of samples
VEXA_API void fill_type(OME::Image::Dimensions& dimensions, arrays::StackInfoInterface const& info);

/// Why no image can describe a stack, in the words of fill_type() or else of fill_shape(); empty if one can. A file
/// that keeps a document takes no other stacks.
VEXA_API std::string why_no_image(arrays::StackInfoInterface const& info);

/// Fill the name. An empty one changes nothing, and so do the description and the date.
VEXA_API void fill_name(OME::Image& image, arrays::StackInfoInterface const& info);
VEXA_API void fill_description(OME::Image& image, arrays::StackInfoInterface const& info);
VEXA_API void fill_acquisition_date(OME::Image& image, arrays::StackInfoInterface const& info);

/// The shape of the stack that holds the samples of an image, fastest axis first.
VEXA_API std::vector<std::size_t> stack_size(OME::Image const& image);

/// The type code of that stack.
/// \note Deliberate: bits are held as 8-bit signed integers, so they don't come back as bits.
/// \throws OME::Invalid_Argument "Unknown OME image data type '{}'." with the index, or null for an image that
/// has none
/// \throws std::bad_variant_access for an image with a type that has no index
VEXA_API int stack_type(OME::Image const& image);
VEXA_API int stack_type(OME::Image::Data_Type type);

} // namespace Vexa
