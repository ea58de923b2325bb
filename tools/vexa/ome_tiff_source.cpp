#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <new>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include <fmt/format.h>
#include <vexa/json/Write_to_XML.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>

#include <document_tree.h>
#include <image_pixels.h>
#include <import_XML.h>
#include <keep_images.h>

#include "ome_tiff.h"
#include "text.h"
#include "tiff_image.h"
#include "tiff_pages.h"
#include "tiff_planes.h"

namespace Vexa::tool {
namespace {

using Axis = OME::Image_Layout::Axis;

constexpr std::uint64_t most_planes = OME::Image::most_planes;
/// Of a pixel, which become channels.
constexpr std::uint16_t most_samples = 64;

/// Why the samples of an image can't be taken from the file.
struct Misfit {
    std::string reason;
};

/// A number that is counted from 0; \p otherwise if there is none.
std::uint64_t number_of(JSON::Value const& element, char const* name, std::uint64_t otherwise) {
    auto const* const text = OME::attribute(element, name);
    if (!text) return otherwise;
    std::uint64_t number = 0;
    auto const* const end = text->data() + text->size();
    auto const [at, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || at != end)
        throw Misfit{fmt::format("\"{}\" is no {}", printable(*text), name)};
    return number;
}

/// Pages that hold planes one after the other, as an element "TiffData" says.
struct Block {
    std::uint64_t z = 0, c = 0, t = 0; ///< of the first plane; c counts channels of a page together
    std::uint64_t page = 0;
    std::optional<std::uint64_t> count; ///< as many as there are if empty
};

/// Finds the planes of one image of a document.
class PlaneFinder {
public:
    PlaneFinder(TiffPages& file, JSON::Value const& ome, JSON::Value const& element, OME::Image const& image)
        : file_(file), ome_(ome), element_(element), image_(image), axes_(image.layout().axes()) {
        auto const shape = image.storage_shape();
        width_ = shape[0];
        height_ = shape[1];
        std::copy_n(shape.begin() + 2, sizes_.size(), sizes_.begin());
    }

    /// \throws Misfit
    std::vector<TiffPlane> planes() {
        auto const blocks = find_blocks();
        if (blocks.empty()) throw Misfit{"the document names no pages for it"};
        check_page(blocks.front().page);
        first_ = blocks.front().page;
        check_form();
        assign_pages(blocks);
        file_.check(first_);
        return in_storage_order();
    }
    /// How many channels a page holds.
    std::uint16_t samples() const { return file_.pages()[first_].samples; }

private:
    /// Documents of sets of files tell which planes are in which file.
    bool is_elsewhere(JSON::Value const& data) const {
        auto const* const ids = OME::elements_of(OME::children(data), "UUID");
        if (!ids || ids->empty()) return false;
        auto const* const content = OME::children(ids->front());
        auto const* const theirs = content ? content->get_if<std::string>() : nullptr;
        if (auto const* const ours = OME::attribute(ome_, "UUID"); ours && theirs) return *theirs != *ours;
        auto const* const name = OME::attribute(ids->front(), "FileName");
        return name && *name != file_.path().filename().string();
    }

    std::vector<Block> find_blocks() const {
        std::vector<Block> blocks;
        auto const* const pixels = OME::pixels_of(element_);
        OME::for_each(pixels ? OME::children(*pixels) : nullptr, "TiffData", [&](JSON::Value const& data) {
            if (is_elsewhere(data)) throw Misfit{"planes of it are in other files"};
            Block block{number_of(data, "FirstZ", 0), number_of(data, "FirstC", 0),
                        number_of(data, "FirstT", 0), number_of(data, "IFD", 0), std::nullopt};
            if (OME::attribute(data, "IFD")) block.count = 1;
            if (OME::attribute(data, "PlaneCount")) block.count = number_of(data, "PlaneCount", 0);
            blocks.push_back(block);
        });
        return blocks;
    }

    void check_page(std::uint64_t page) const {
        if (page >= file_.pages().size())
            throw Misfit{fmt::format("it needs page {}, the file has {}", page, file_.pages().size())};
    }

    /// Whether pages like the first one can be its planes.
    void check_form() {
        auto const& page = file_.pages()[first_];
        if (page.width != width_ || page.height != height_)
            throw Misfit{fmt::format("its planes have {} x {} pixels, page {} has {} x {}", height_, width_,
                                     first_, page.height, page.width)};
        auto const type = image_.data_type();
        if (!type || stack_type(*type) != page.type())
            throw Misfit{fmt::format("its samples are {}, those of page {} {}",
                                     type ? JSON::Value(*type).get<std::string>() : "of no type", first_,
                                     page.type() ? type_text(page.type()) : "of a kind that can't be read")};
        for (std::size_t i = 0; i < axes_.size(); ++i) {
            page_sizes_[i] = sizes_[i];
            if (axes_[i] != Axis::C || page.samples == 1) continue;
            if (page.samples > most_samples || sizes_[i] % page.samples != 0)
                throw Misfit{
                    fmt::format("it has {} channels, page {} holds {}", sizes_[i], first_, page.samples)};
            page_sizes_[i] /= page.samples;
        }
    }

    /// The place of a plane among the pages of the image.
    std::uint64_t place_of(Block const& block) const {
        std::uint64_t place = 0;
        for (std::size_t i = axes_.size(); i-- > 0;) {
            auto const index = axes_[i] == Axis::Z ? block.z : axes_[i] == Axis::C ? block.c : block.t;
            if (index >= page_sizes_[i]) throw Misfit{"the document has pages for planes outside of it"};
            place = place * page_sizes_[i] + index;
        }
        return place;
    }

    void assign_pages(std::vector<Block> const& blocks) {
        std::uint64_t count = 1, planes = samples();
        for (auto const size : page_sizes_)
            if (__builtin_mul_overflow(count, size, &count) ||
                __builtin_mul_overflow(planes, size, &planes) || planes > most_planes ||
                count > file_.pages().size())
                throw Misfit{fmt::format("it has more planes than the {} pages of the file hold",
                                         file_.pages().size())};
        if (count == 0) throw Misfit{"it has no planes"};
        constexpr auto none = std::numeric_limits<std::size_t>::max();
        pages_.assign(count, none);
        for (auto const& block : blocks) assign(block);
        if (auto const missing = std::count(pages_.begin(), pages_.end(), none))
            throw Misfit{fmt::format("{} of its planes are in no page", missing)};
        for (auto const page : pages_)
            if (!file_.pages()[page].has_form_of(file_.pages()[first_]))
                throw Misfit{fmt::format("page {} has another size or type than page {}", page, first_)};
    }

    void assign(Block const& block) {
        check_page(block.page);
        auto const place = place_of(block);
        auto const fitting = std::min(pages_.size() - place, file_.pages().size() - block.page);
        if (block.count.value_or(0) > fitting)
            throw Misfit{
                fmt::format("it has no place for {} planes from page {} on", *block.count, block.page)};
        for (std::uint64_t i = 0; i < block.count.value_or(fitting); ++i)
            pages_[place + i] = static_cast<std::size_t>(block.page + i);
    }

    std::vector<TiffPlane> in_storage_order() const {
        std::vector<TiffPlane> planes;
        planes.reserve(pages_.size() * samples());
        std::array<std::uint64_t, 3> at{};
        for (at[2] = 0; at[2] < sizes_[2]; ++at[2])
            for (at[1] = 0; at[1] < sizes_[1]; ++at[1])
                for (at[0] = 0; at[0] < sizes_[0]; ++at[0]) planes.push_back(plane_at(at));
        return planes;
    }

    TiffPlane plane_at(std::array<std::uint64_t, 3> const& at) const {
        Block place;
        std::uint16_t sample = 0;
        for (std::size_t i = 0; i < axes_.size(); ++i) {
            if (axes_[i] == Axis::Z) place.z = at[i];
            if (axes_[i] == Axis::T) place.t = at[i];
            if (axes_[i] != Axis::C) continue;
            place.c = at[i] / samples();
            sample = static_cast<std::uint16_t>(at[i] % samples());
        }
        auto const page = pages_[place_of(place)];
        if (samples() == 1) return {page, 0, std::nullopt};
        if (file_.pages()[page].parts() > 1) return {page, sample, std::nullopt};
        return {page, 0, sample};
    }

    TiffPages& file_;
    JSON::Value const& ome_;
    JSON::Value const& element_;
    OME::Image const& image_;
    std::array<Axis, 3> axes_;
    std::uint64_t width_ = 0, height_ = 0;
    std::array<std::uint64_t, 3> sizes_{};      ///< of the axes behind X and Y, fastest first
    std::array<std::uint64_t, 3> page_sizes_{}; ///< the same, with the channels of a page counted as one
    std::size_t first_ = 0;                     ///< page
    std::vector<std::size_t> pages_;            ///< for each plane, channels of a page counted as one
};

ImageInfo info_of(OME::Image const& image) {
    ImageInfo info;
    auto const shape = image.storage_shape();
    info.shape.assign(shape.begin(), shape.end());
    while (info.shape.size() > 2 && info.shape.back() == 1) info.shape.pop_back();
    info.labels.resize(info.shape.size());
    info.type = stack_type(image);
    auto const text = [](OME::Document<std::string> const& document) {
        return document ? document.value()->get<std::string>() : std::string();
    };
    info.name = text(image.name());
    info.description = text(image.description());
    auto const voxel = image.finite_voxel_shape_in_meters();
    auto const calibrate = [&](std::size_t axis, char const* label, double length) {
        if (axis >= info.shape.size() || !(length > 0)) return;
        info.pixel_lengths.resize(info.shape.size());
        info.pixel_lengths[axis] = length;
        info.labels[axis] = label;
    };
    calibrate(0, "X", voxel.x);
    calibrate(1, "Y", voxel.y);
    auto const& axes = image.layout().axes();
    auto const z = static_cast<std::size_t>(std::find(axes.begin(), axes.end(), Axis::Z) - axes.begin());
    calibrate(2 + z, "Z", voxel.z);
    return info;
}

std::string written(JSON::Value const& tree) {
    std::ostringstream stream;
    JSON::write_to_XML(tree, stream);
    return std::move(stream).str();
}

/// Whether the description of a page looks like an OME document.
bool is_ome_document(std::string const& description) {
    auto const begin = description.find_first_not_of(" \t\r\n");
    return begin != std::string::npos && description[begin] == '<' &&
           (description.find("<OME") != std::string::npos || description.find(":OME") != std::string::npos);
}

ImageFile images_of_document(std::shared_ptr<TiffPages> const& file) {
    OME::Root const root(OME::import_XML(file->description(0)));
    ImageFile result;
    JSON::Value tree = *root.value();
    JSON::Value const& ome = root.value()->get<JSON::Value>("OME").get<JSON::List>().front();
    std::vector<bool> keep;
    for (OME::Image const& image : root.ome.images()) {
        JSON::Value& element = *OME::image_at(tree, keep.size());
        try {
            PlaneFinder finder(*file, ome, element, image);
            auto planes = finder.planes();
            result.images.push_back(std::make_unique<TiffPlanes>(file, info_of(image), std::move(planes)));
            OME::split_channels(element, finder.samples());
            OME::set_metadata_only(element);
            keep.push_back(true);
        } catch (Misfit const& misfit) {
            result.warnings.push_back(fmt::format("{}: image {} of the document is left out: {}.",
                                                  file->path().string(), keep.size(), misfit.reason));
            keep.push_back(false);
        }
    }
    if (result.images.empty()) return result;
    OME::keep_images(tree, keep);
    result.document = written(tree);
    return result;
}

} // namespace

ImageFile open_tiff_file(std::filesystem::path const& path) {
    auto const pages = std::make_shared<TiffPages>(path);
    ImageFile file;
    if (is_ome_document(pages->description(0))) {
        try {
            file = images_of_document(pages);
            if (file.images.empty())
                file.warnings.push_back(
                    fmt::format("{}: the OME document is left out, since none of its images is in the file.",
                                path.string()));
        } catch (Failure const&) {
            throw;
        } catch (std::bad_alloc const&) {
            throw;
        } catch (std::exception const& error) {
            file.warnings.push_back(
                fmt::format("{}: the OME document is left out: {}", path.string(), error.what()));
        }
    }
    if (file.images.empty()) file.images.push_back(stack_of_pages(pages));
    return file;
}

} // namespace Vexa::tool
