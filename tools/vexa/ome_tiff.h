#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>

#include "image.h"

/// \file
/// TIFF files, whose first page may have an OME document in place of its description.

namespace Vexa::tool {

/// The images of the file's OME document whose planes are all in this file. The others are left out of the
/// document, with a warning. Each image is a stack in the order of its dimensions, without the slowest ones that
/// have one sample; samples side by side become channels. In the document, each channel has one sample then, and
/// the places of planes in the file are gone.
///
/// Without a document, or with one that can't be used, all pages are one stack.
ImageFile open_tiff_file(std::filesystem::path const& path);

/// What the OME document of a TIFF file with one stack says: the file's document without the other images, or
/// a new one where the file has none for the stack. Dimensions and type are those of the stack. Sizes of pixels
/// that nobody set are those of the stack's axes, in micrometres, or left out if their unit is no length.
/// \param warnings gets what the user should know of the document
/// \throws Failure with Exit::wrong_use for a stack that no image can describe
std::string ome_tiff_document(bf::FileInterface& file, unsigned long stack, ImageInfo const& info,
                              std::vector<std::string>& warnings);

} // namespace Vexa::tool
