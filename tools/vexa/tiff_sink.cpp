#include <algorithm>

#include <fmt/format.h>
#include <vexa/foundation/types.h>

#include "failure.h"
#include "tiff_handle.h"
#include "tiff_image.h"
#include "tiff_notes.h"

namespace Vexa::tool {
namespace {

constexpr std::uint64_t strip_bytes = 256 * 1024;
constexpr std::uint64_t classic_limit = 0xFFFFFFFF; ///< of the places in a file that isn't BigTIFF
constexpr std::uint64_t directory_bytes = 1024;     ///< more than that of a page takes, without its strips
constexpr std::uint64_t strip_entry_bytes = 16;     ///< of its place and size

std::uint16_t sample_format(int type) {
    switch (type) {
    case types::uint8:
    case types::uint16:
    case types::uint32:
    case types::uint64:
    case types::logical:
    case types::rgb_word: return SAMPLEFORMAT_UINT;
    case types::int8:
    case types::int16:
    case types::int32:
    case types::int64: return SAMPLEFORMAT_INT;
    case types::single:
    case types::double_: return SAMPLEFORMAT_IEEEFP;
    case types::cplx_single:
    case types::cplx_double: return SAMPLEFORMAT_COMPLEXIEEEFP;
    default:
        throw Failure(Exit::wrong_use, fmt::format("A TIFF file can't hold samples of type {:#x}.", type));
    }
}

class TiffSink : public SampleSink {
public:
    TiffSink(OutputFile const& file, ImageInfo const& info, std::string const& description)
        : output_(file), description_(description), shape_(info.shape), type_(info.type) {
        bool coloured = has_colour_axis(info);
        if (type_ == types::rgb_triple) {
            type_ = types::uint8;
            shape_.insert(shape_.begin(), 3);
            coloured = true;
        }
        format_ = sample_format(type_);
        samples_per_pixel_ = coloured ? shape_[0] : 1;
        auto const size_at = [&](std::size_t axis) { return axis < shape_.size() ? shape_[axis] : 1ul; };
        width_ = size_at(coloured ? 1 : 0);
        height_ = size_at(coloured ? 2 : 1);
        if (info.elements() == 0)
            throw Failure(Exit::wrong_use, "A TIFF file can't hold a stack without samples.");
        if (samples_per_pixel_ > 0xFFFF || width_ > 0x7FFFFFFF || height_ > 0x7FFFFFFF)
            throw Failure(Exit::wrong_use, "The stack is too large for the pages of a TIFF file.");
        element_size_ = info.element_size();
        sample_size_ = vexa_dt_get_size(type_);
        row_bytes_ = samples_per_pixel_ * width_ * sample_size_;
        rows_per_strip_ = std::clamp<std::uint64_t>(strip_bytes / row_bytes_, 1, height_);
        handle_ = std::make_unique<TiffHandle>(file.path().string(), needs_big_file() ? "w8" : "w");
        if (!*handle_) fail();
        pixel_lengths_ = info.pixel_lengths;
        strip_.reserve(row_bytes_ * rows_per_strip_);
    }

    void write(void const* from, std::uint64_t count) override {
        auto const* at = static_cast<unsigned char const*>(from);
        std::uint64_t bytes = count * element_size_;
        while (bytes != 0) {
            auto const full = row_bytes_ * std::min(rows_per_strip_, height_ - row_number_);
            auto const n = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, full - strip_.size()));
            strip_.insert(strip_.end(), at, at + n);
            at += n;
            bytes -= n;
            if (strip_.size() == full) write_strip();
        }
    }

    void finish() override {
        if (!handle_->close()) fail();
    }

private:
    [[noreturn]] void fail() {
        throw Failure(Exit::output_failed, fmt::format("{}: cannot be written: {}", output_.target().string(),
                                                       handle_->take_error()));
    }

    bool needs_big_file() const {
        std::uint64_t const page = row_bytes_ * height_ + directory_bytes +
                                   strip_entry_bytes * ((height_ - 1) / rows_per_strip_ + 1);
        std::uint64_t samples = 1, bytes = 0;
        for (auto const size : shape_) samples *= size;
        auto const pages = samples / (samples_per_pixel_ * width_ * height_);
        return __builtin_mul_overflow(pages, page, &bytes) ||
               __builtin_add_overflow(bytes, description_.size(), &bytes) || bytes > classic_limit;
    }

    void write_strip() {
        if (row_number_ == 0) begin_page();
        auto const index = static_cast<std::uint32_t>(row_number_ / rows_per_strip_);
        auto const size = static_cast<tmsize_t>(strip_.size());
        if (::TIFFWriteEncodedStrip(handle_->get(), index, strip_.data(), size) != size) fail();
        row_number_ += strip_.size() / row_bytes_;
        strip_.clear();
        if (row_number_ < height_) return;
        if (!::TIFFWriteDirectory(handle_->get())) fail();
        row_number_ = 0;
    }

    void begin_page() {
        auto* const tiff = handle_->get();
        auto const samples = static_cast<std::uint16_t>(samples_per_pixel_);
        bool const rgb = (samples == 3 || samples == 4) && format_ == SAMPLEFORMAT_UINT && sample_size_ <= 2;
        ::TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width_));
        ::TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height_));
        ::TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
        ::TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, static_cast<std::uint16_t>(8 * sample_size_));
        ::TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, format_);
        ::TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        ::TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        ::TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, rgb ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        ::TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rows_per_strip_));
        if (samples > (rgb ? 3 : 1)) {
            std::vector<std::uint16_t> const extra(samples - (rgb ? 3u : 1u), EXTRASAMPLE_UNSPECIFIED);
            ::TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(extra.size()),
                           extra.data());
        }
        if (!first_page_) return;
        first_page_ = false;
        ::TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description_.c_str());
        set_resolution();
    }

    void set_resolution() {
        std::size_t const x = samples_per_pixel_ > 1 ? 1 : 0;
        if (pixel_lengths_.size() < x + 2 || !(pixel_lengths_[x] > 0) || !(pixel_lengths_[x + 1] > 0)) return;
        ::TIFFSetField(handle_->get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        ::TIFFSetField(handle_->get(), TIFFTAG_XRESOLUTION, 0.01 / pixel_lengths_[x]);
        ::TIFFSetField(handle_->get(), TIFFTAG_YRESOLUTION, 0.01 / pixel_lengths_[x + 1]);
    }

    OutputFile const& output_;
    std::string description_;
    std::vector<unsigned long> shape_;
    std::vector<double> pixel_lengths_;
    int type_;
    std::uint16_t format_ = SAMPLEFORMAT_UINT;
    std::uint64_t samples_per_pixel_ = 1, row_bytes_ = 1, width_ = 1, height_ = 1, rows_per_strip_ = 1;
    std::size_t element_size_ = 1, sample_size_ = 1;
    std::unique_ptr<TiffHandle> handle_;

    std::vector<unsigned char> strip_;
    std::uint64_t row_number_ = 0;
    bool first_page_ = true;
};

} // namespace

std::unique_ptr<SampleSink> write_tiff(OutputFile const& file, ImageInfo const& info,
                                       std::string const& description) {
    return std::make_unique<TiffSink>(file, info, description);
}

std::unique_ptr<SampleSink> write_shaped_tiff(OutputFile const& file, ImageInfo const& info) {
    auto shape = info.shape;
    if (info.type == types::rgb_triple) shape.insert(shape.begin(), 3);
    return write_tiff(file, info, shape_note(shape));
}

} // namespace Vexa::tool
