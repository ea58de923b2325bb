#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tiff_image.h"
#include "tiff_notes.h"
#include "tiff_pages.h"
#include "tiff_planes.h"

namespace Vexa::tool {
namespace {

/// Makes one stack of all pages of a file.
class StackOfPages {
public:
    explicit StackOfPages(std::shared_ptr<TiffPages> file) : file_(std::move(file)) {
        choose_pages();
        describe();
    }

    std::unique_ptr<SampleSource> source() && {
        return std::make_unique<TiffPlanes>(std::move(file_), std::move(info_), planes());
    }

private:
    TiffPage const& page() const { return file_->pages()[first_]; }

    void choose_pages() {
        auto const& pages = file_->pages();
        for (std::size_t i = 0; i < pages.size(); ++i)
            if (!pages[i].is_extra) data_.push_back(i);
        if (data_.empty()) file_->refuse("there are only pages with reduced images or masks.");
        first_ = data_.front();
        file_->check(first_);
        for (auto const i : data_)
            if (!pages[i].has_form_of(page()))
                file_->refuse(fmt::format("page {} has another size or type than page {}.", i, first_));
        if (auto const extra = pages.size() - data_.size())
            file_->warn(fmt::format("{} pages with reduced images or masks are left out.", extra));
    }

    std::vector<TiffPlane> planes() const {
        std::vector<TiffPlane> planes;
        planes.reserve(data_.size());
        for (auto const i : data_)
            for (std::uint16_t part = 0; part < page().parts(); ++part)
                planes.push_back({i, part, std::nullopt});
        return planes;
    }

    void describe() {
        bool const planar = page().parts() > 1;
        info_.type = page().type();
        if (page().samples_side_by_side() > 1) add_axis(page().samples, colour_label);
        add_axis(page().width, "X");
        add_axis(page().height, "Y");
        if (planar) add_axis(page().samples, "");
        info_.description = file_->description(first_);
        note_ = parse_page_note(info_.description);
        add_page_axes();
        take_noted_shape();
        take_resolution();
    }
    void add_axis(std::uint64_t size, char const* label) {
        info_.shape.push_back(size);
        info_.labels.emplace_back(label);
    }
    /// One axis for all pages, or several where a note says how they are ordered.
    void add_page_axes() {
        std::uint64_t noted = 0;
        bool const fits = !__builtin_mul_overflow(note_.channels, note_.slices, &noted) &&
                          !__builtin_mul_overflow(noted, note_.frames, &noted) && noted == data_.size();
        if (!fits) {
            if (data_.size() > 1) add_axis(data_.size(), "");
            return;
        }
        if (note_.channels > 1) add_axis(note_.channels, "");
        if (note_.slices > 1) add_axis(note_.slices, "Z");
        if (note_.frames > 1) add_axis(note_.frames, "");
    }
    /// Use the shape in the description where it splits the pages and nothing else.
    void take_noted_shape() {
        auto const shape = parse_shape_note(info_.description);
        std::size_t const fixed = page().samples_side_by_side() > 1 ? 3 : 2;
        if (shape.empty() || shape.size() > 15) return;
        info_.description.clear();
        std::uint64_t pages = 1;
        for (std::size_t axis = 0; axis < shape.size(); ++axis) {
            if (axis < fixed && shape[axis] != info_.shape[axis]) return;
            if (axis >= fixed && __builtin_mul_overflow(pages, std::uint64_t{shape[axis]}, &pages)) return;
        }
        if (shape.size() >= fixed ? pages != data_.size() * page().parts() : !is_line(shape, fixed)) return;
        info_.shape = shape;
        info_.labels.resize(shape.size());
    }
    /// A stack of one axis is written as a page of one line.
    bool is_line(std::vector<unsigned long> const& shape, std::size_t fixed) const {
        return shape.size() + 1 == fixed && page().height == 1 && data_.size() == 1;
    }
    /// An axis called X without a unit would be taken for micrometres, not for pixels.
    void drop_labels() {
        for (auto& label : info_.labels)
            if (label != colour_label) label.clear();
    }
    void take_resolution() {
        auto const field = [&](std::uint32_t tag) { return file_->field<float>(first_, tag, 0); };
        float const x = field(TIFFTAG_XRESOLUTION), y = field(TIFFTAG_YRESOLUTION);
        auto const unit = file_->field<std::uint16_t>(first_, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
        double const metres = unit == RESUNIT_CENTIMETER ? 0.01 : note_.unit_metres;
        if (metres == 0 || !(x > 0) || !(y > 0)) return drop_labels();
        info_.pixel_lengths.assign(info_.shape.size(), 0.0);
        for (std::size_t axis = 0; axis < info_.labels.size(); ++axis) {
            auto& label = info_.labels[axis];
            if (label == "X") info_.pixel_lengths[axis] = metres / static_cast<double>(x);
            if (label == "Y") info_.pixel_lengths[axis] = metres / static_cast<double>(y);
            if (label == "Z") info_.pixel_lengths[axis] = note_.unit_metres * note_.spacing;
            if (label == "Z" && info_.pixel_lengths[axis] == 0) label.clear();
        }
    }

    std::shared_ptr<TiffPages> file_;
    std::vector<std::size_t> data_; ///< the pages that are no reduced images or masks
    std::size_t first_ = 0;         ///< of them
    PageNote note_;
    ImageInfo info_;
};

} // namespace

std::unique_ptr<SampleSource> open_tiff(std::filesystem::path const& path) {
    return stack_of_pages(std::make_shared<TiffPages>(path));
}

std::unique_ptr<SampleSource> stack_of_pages(std::shared_ptr<TiffPages> file) {
    return StackOfPages(std::move(file)).source();
}

} // namespace Vexa::tool
