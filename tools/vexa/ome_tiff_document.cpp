#include <charconv>
#include <cmath>
#include <iterator>
#include <new>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <vexa/arrays/StackInfoImp.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>

#include <document_tree.h>
#include <image_pixels.h>
#include <keep_images.h>

#include "exchange.h"
#include "failure.h"
#include "metadata.h"
#include "ome_tiff.h"
#include "text.h"

namespace Vexa::tool {
namespace {

using Dimensions = OME::Image::Dimensions;

/// How the samples of a stack are distributed over the pages of a TIFF file.
struct Pages {
    std::uint64_t samples = 1; ///< of a pixel
    std::uint64_t count = 1;
    std::size_t first_axis = 0; ///< the one that is X
    Dimensions dimensions;      ///< with the samples of a pixel as channels
};

/// The stack as an image sees it, which has no axis for the samples of a pixel.
Pages pages_of(bf::StackInterface const& stack, ImageInfo const& info) {
    Pages pages;
    auto const fill = [&](arrays::StackInfoInterface const& description) {
        if (auto const reason = why_no_image(description); !reason.empty())
            throw Failure(
                Exit::wrong_use,
                fmt::format("No OME image can describe the stack: {}. A .tif file can hold more.", reason));
        fill_type(pages.dimensions, description);
        fill_shape(pages.dimensions, description);
    };
    if (has_colour_axis(info)) {
        pages.samples = info.shape.front();
        pages.first_axis = 1;
        fill(arrays::StackInfoImp(info.type, {info.shape.begin() + 1, info.shape.end()}));
    } else if (info.type == types::rgb_triple) {
        pages.samples = 3;
        fill(arrays::StackInfoImp(types::uint8, info.shape));
    } else {
        fill(stack);
    }
    auto& dimensions = pages.dimensions;
    pages.count = dimensions.z * dimensions.t * dimensions.c;
    dimensions.c *= pages.samples;
    return pages;
}

/// Whether the image describes these samples, in whatever order of its axes.
bool fits(OME::Image const& image, bf::StackInterface const& stack, Pages const& pages) {
    return pages.samples == 1 && image.data_type() == pages.dimensions.data_type &&
           without_slow_ones(image.storage_shape()) == without_slow_ones(stack.shape());
}

template <typename Enum>
std::string name_of(Enum enumerator) {
    return JSON::Value(enumerator).template get<std::string>();
}

void set_dimensions(JSON::Value& image, Dimensions const& dimensions) {
    auto* const pixels = OME::pixels_of(image);
    if (!pixels) return;
    auto& attributes = pixels->get<JSON::Map>();
    attributes["Type"] = name_of(dimensions.data_type);
    attributes["DimensionOrder"] = name_of(dimensions.dimension_order);
    attributes["SizeX"] = std::to_string(dimensions.x);
    attributes["SizeY"] = std::to_string(dimensions.y);
    attributes["SizeZ"] = std::to_string(dimensions.z);
    attributes["SizeC"] = std::to_string(dimensions.c);
    attributes["SizeT"] = std::to_string(dimensions.t);
}

/// The size of a pixel along an axis in metres; 0 if it isn't known.
/// \param said what the document says
/// \param made what the library makes of the length of an axis, whatever its unit
double pixel_size(std::optional<double> said, double made, double calibrated) {
    bool const nobody_said_it = !said || *said == made || !(*said > 0);
    return nobody_said_it ? calibrated : *said;
}

void set_pixel_size(JSON::Value& image, std::string const& key, double metres) {
    auto* const pixels = OME::pixels_of(image);
    if (!pixels) return;
    auto& attributes = pixels->get<JSON::Map>();
    attributes.erase(key);
    attributes.erase(key + "Unit");
    if (!(metres > 0) || !std::isfinite(metres)) return;
    // Without the last digits, in which the product differs from 0.1 um.
    auto const text = fmt::format("{:.15g}", metres * 1e6);
    double micrometres = 0;
    std::from_chars(text.data(), text.data() + text.size(), micrometres);
    attributes[key] = JSON::Number(micrometres);
    attributes[key + "Unit"] = "\xc2\xb5m";
}

void set_pixel_sizes(JSON::Value& element, OME::Image const& image, Pages const& pages,
                     ImageInfo const& info) {
    auto const set = [&](char const* key, std::size_t axis, std::optional<double> said, double made) {
        if (pages.samples > 1) said.reset(); // the axes of the image are others
        axis += pages.first_axis;
        auto const calibrated = axis < info.pixel_lengths.size() ? info.pixel_lengths[axis] : 0.0;
        set_pixel_size(element, key, pixel_size(said, made, calibrated));
    };
    auto const& made = pages.dimensions.voxel_shape_in_meters;
    set("PhysicalSizeX", 0, image.voxel_size_x_in_meters(), made.x);
    set("PhysicalSizeY", 1, image.voxel_size_y_in_meters(), made.y);
    set("PhysicalSizeZ", 2, image.voxel_size_z_in_meters(), made.z);
}

/// An increment of 0 stands for an unknown one.
void drop_unknown_increment(JSON::Value& element, OME::Image const& image) {
    if (image.time_increment_in_seconds().value_or(0) != 0) return;
    if (auto* const pixels = OME::pixels_of(element))
        for (char const* const key : {"TimeIncrement", "TimeIncrementUnit"})
            pixels->get<JSON::Map>().erase(key);
}

/// Readers learn from the channels how many samples a pixel has. A document may speak of colours side by side where
/// each has a page of its own.
void set_samples_per_pixel(JSON::Value& element, OME::Image const& image, Pages const& pages) {
    auto const channels = pages.dimensions.c;
    auto const described = image.number_of_channels();
    if (pages.samples > 1)
        OME::provide_channels(element, channels / pages.samples, pages.samples);
    else if (described != 0 && described < channels && channels % described == 0)
        OME::split_channels(element, channels / described);
}

/// A document with the image of the stack and no other.
JSON::Value document_of(OME::Root const& root, unsigned long index, bf::StackInterface const& stack,
                        ImageInfo const& info) {
    auto const pages = pages_of(stack, info);
    auto const& images = root.ome.images();
    OME::Image const& image = *std::next(images.begin(), static_cast<std::ptrdiff_t>(index));
    JSON::Value document = *root.value();
    std::vector<bool> keep(images.size(), false);
    keep[index] = true;
    OME::keep_images(document, keep);
    // It names the file that the document was in.
    document.get<JSON::Map>()["OME"].get<JSON::List>().front().get<JSON::Map>().erase("UUID");
    JSON::Value& element = *OME::image_at(document, 0);
    if (!fits(image, stack, pages)) set_dimensions(element, pages.dimensions);
    set_pixel_sizes(element, image, pages, info);
    drop_unknown_increment(element, image);
    set_samples_per_pixel(element, image, pages);
    OME::set_TIFF_pages(element, pages.count);
    return document;
}

JSON::Value new_document_of(bf::StackInterface const& stack, ImageInfo const& info) {
    OME::Root root("");
    OME::Image& image = *root.ome.images().emplace_back(pages_of(stack, info).dimensions, nullptr, nullptr);
    fill_name(image, stack);
    fill_description(image, stack);
    fill_acquisition_date(image, stack);
    return document_of(root, 0, stack, info);
}

} // namespace

std::string ome_tiff_document(bf::FileInterface& file, unsigned long index, ImageInfo const& info,
                              std::vector<std::string>& warnings) {
    auto const stack = file.get_stack(index);
    if (!stored_document(file)) return exchange_XML(new_document_of(*stack, info), warnings);
    try {
        OME::Root const& root = file.metadata();
        if (root.ome.images().size() == file.get_num_stacks())
            return exchange_XML(document_of(root, index, *stack, info), warnings);
        warnings.push_back(fmt::format("the document is left out: it has {} images, the file has {} stacks",
                                       root.ome.images().size(), file.get_num_stacks()));
    } catch (Failure const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        warnings.push_back(fmt::format("the document is left out: {}", printable(error.what())));
    }
    return exchange_XML(new_document_of(*stack, info), warnings);
}

} // namespace Vexa::tool
