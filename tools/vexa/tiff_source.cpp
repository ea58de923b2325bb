#include <algorithm>
#include <cstring>

#include <fmt/format.h>
#include <vexa/foundation/types.h>

#include "failure.h"
#include "input_file.h"
#include "tiff_handle.h"
#include "tiff_image.h"
#include "tiff_notes.h"

namespace Vexa::tool {
namespace {

/// No compression in use makes data smaller by more than this: who claims more has a hostile header.
constexpr std::uint64_t most_shrinking = 4096;

/// What one page of a file is.
struct Page {
    std::uint32_t width = 0, height = 0;
    std::uint16_t samples = 1, bits = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    friend bool operator==(Page const&, Page const&) = default;
};

int type_of(Page const& page) {
    switch (page.format) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
        switch (page.bits) {
        case 8: return types::uint8;
        case 16: return types::uint16;
        case 32: return types::uint32;
        case 64: return types::uint64;
        default: return types::none;
        }
    case SAMPLEFORMAT_INT:
        switch (page.bits) {
        case 8: return types::int8;
        case 16: return types::int16;
        case 32: return types::int32;
        case 64: return types::int64;
        default: return types::none;
        }
    case SAMPLEFORMAT_IEEEFP:
        return page.bits == 32 ? types::single : page.bits == 64 ? types::double_ : types::none;
    default: return types::none;
    }
}

class TiffSource : public SampleSource {
public:
    explicit TiffSource(std::filesystem::path const& path)
        : path_(path), file_size_(InputFile(path).size()), handle_(path.string(), "r") {
        if (!handle_) fail(Exit::no_input, "not a TIFF file, or its first page can't be read");
        look_at_pages();
        describe();
        take_warnings();
        if (!::TIFFSetDirectory(handle_.get(), first_)) fail(Exit::damaged, "the first page can't be read");
    }

    void read(void* to, std::uint64_t count) override {
        auto const size = info_.element_size();
        auto* at = static_cast<unsigned char*>(to);
        std::uint64_t bytes = count * size;
        while (bytes != 0) {
            if (taken_ == filled_) next_piece();
            auto const n = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, filled_ - taken_));
            std::memcpy(at, buffer_.get() + taken_, n);
            at += n;
            taken_ += n;
            bytes -= n;
        }
    }

private:
    [[noreturn]] void fail(Exit exit, std::string const& what) {
        throw Failure(exit, fmt::format("{}: {}: {}.", path_.string(), what, handle_.take_error()));
    }
    [[noreturn]] void refuse(std::string const& what) {
        throw Failure(Exit::no_input, fmt::format("{}: {}", path_.string(), what));
    }
    void take_warnings() {
        for (auto const& text : handle_.take_warnings()) {
            auto const line = fmt::format("{}: {}", path_.string(), text);
            if (std::find(warnings_.begin(), warnings_.end(), line) == warnings_.end())
                warnings_.push_back(line);
        }
    }
    template <typename T>
    T field(std::uint32_t tag, T otherwise) {
        T value{};
        return ::TIFFGetFieldDefaulted(handle_.get(), tag, &value) ? value : otherwise;
    }

    Page look_at_page() {
        Page page;
        page.width = field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
        page.height = field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
        page.samples = field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
        page.bits = field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
        page.format = field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        page.planar = field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        if (page.samples == 1) page.planar = PLANARCONFIG_CONTIG;
        return page;
    }
    /// Pages that are a smaller copy or a mask of another one are no data.
    bool is_extra() {
        return (field<std::uint32_t>(TIFFTAG_SUBFILETYPE, 0) & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
    }

    void look_at_pages() {
        bool found = false;
        std::uint32_t extra = 0;
        tdir_t index = 0;
        do {
            auto const page = look_at_page();
            if (is_extra()) {
                ++extra;
            } else if (!found) {
                found = true;
                page_ = page;
                first_ = index;
                check_page();
            } else if (page != page_) {
                refuse(fmt::format("page {} has another size or type than page {}.", index, first_));
            }
            if (!is_extra()) ++pages_;
            ++index;
        } while (::TIFFReadDirectory(handle_.get()));
        if (!found) refuse("there are only pages with reduced images or masks.");
        if (extra != 0)
            warnings_.push_back(fmt::format("{}: {} pages with reduced images or masks are left out.",
                                            path_.string(), extra));
        if (!::TIFFLastDirectory(handle_.get()))
            fail(Exit::damaged, fmt::format("page {} can't be read", index));
    }

    void check_page() {
        auto const photometric = field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        auto const compression = field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        if (page_.width == 0 || page_.height == 0 || page_.samples == 0) refuse("a page has no pixels.");
        if (compression == COMPRESSION_JPEG)
            ::TIFFSetField(handle_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        else if (photometric == PHOTOMETRIC_YCBCR)
            refuse("pixels with subsampled colours can't be read.");
        if (photometric == PHOTOMETRIC_LOGL || photometric == PHOTOMETRIC_LOGLUV)
            refuse("logarithmic pixels can't be read.");
        if (photometric == PHOTOMETRIC_PALETTE)
            warnings_.push_back(
                fmt::format("{}: the colour map is left out, samples are its indices.", path_.string()));
        if (photometric == PHOTOMETRIC_MINISWHITE)
            warnings_.push_back(
                fmt::format("{}: low values mean white; samples are kept as they are.", path_.string()));
        info_.type = type_of(page_);
        if (info_.type == types::none)
            refuse(fmt::format("{}-bit samples of format {} can't be read.", page_.bits, page_.format));
        part_bytes_ = vexa_dt_get_size(info_.type);
        auto const colours = page_.planar == PLANARCONFIG_CONTIG ? page_.samples : std::uint16_t{1};
        auto const most = compression == COMPRESSION_NONE ? file_size_ : file_size_ * most_shrinking;
        for (std::uint64_t const factor :
             {std::uint64_t{colours}, std::uint64_t{page_.width}, std::uint64_t{page_.height}})
            if (__builtin_mul_overflow(part_bytes_, factor, &part_bytes_) || part_bytes_ > most)
                throw Failure(
                    Exit::damaged,
                    fmt::format("{}: a page claims more pixels than the file can hold.", path_.string()));
        row_bytes_ = static_cast<std::size_t>(part_bytes_ / page_.height);
    }

    void describe() {
        bool const planar = page_.planar == PLANARCONFIG_SEPARATE;
        if (page_.samples > 1 && !planar) add_axis(page_.samples, colour_label);
        add_axis(page_.width, "X");
        add_axis(page_.height, "Y");
        if (page_.samples > 1 && planar) add_axis(page_.samples, "");
        char const* text = nullptr;
        ::TIFFSetDirectory(handle_.get(), first_);
        if (::TIFFGetField(handle_.get(), TIFFTAG_IMAGEDESCRIPTION, &text) && text) info_.description = text;
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
                          !__builtin_mul_overflow(noted, note_.frames, &noted) && noted == pages_;
        if (!fits) {
            if (pages_ > 1) add_axis(pages_, "");
            return;
        }
        if (note_.channels > 1) add_axis(note_.channels, "");
        if (note_.slices > 1) add_axis(note_.slices, "Z");
        if (note_.frames > 1) add_axis(note_.frames, "");
    }
    /// Use the shape in the description where it splits the pages and nothing else.
    void take_noted_shape() {
        auto const shape = parse_shape_note(info_.description);
        std::size_t const fixed = page_.samples > 1 && page_.planar == PLANARCONFIG_CONTIG ? 3 : 2;
        if (shape.empty() || shape.size() > 15) return;
        info_.description.clear();
        std::uint64_t pages = 1;
        for (std::size_t axis = 0; axis < shape.size(); ++axis) {
            if (axis < fixed && shape[axis] != info_.shape[axis]) return;
            if (axis >= fixed && __builtin_mul_overflow(pages, std::uint64_t{shape[axis]}, &pages)) return;
        }
        auto const parts = pages_ * (fixed == 2 ? page_.samples : std::uint64_t{1});
        if (shape.size() >= fixed ? pages != parts : !is_line(shape, fixed)) return;
        info_.shape = shape;
        info_.labels.resize(shape.size());
    }
    /// A stack of one axis is written as a page of one line.
    bool is_line(std::vector<unsigned long> const& shape, std::size_t fixed) const {
        return shape.size() + 1 == fixed && page_.height == 1 && pages_ == 1;
    }
    /// An axis called X without a unit would be taken for micrometres, not for pixels.
    void drop_labels() {
        for (auto& label : info_.labels)
            if (label != colour_label) label.clear();
    }
    void take_resolution() {
        float const x = field<float>(TIFFTAG_XRESOLUTION, 0), y = field<float>(TIFFTAG_YRESOLUTION, 0);
        auto const unit = field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
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

    /// Bring in the next strip or the next row of tiles; behind the last one of a page that of the next page,
    /// or of its next colour plane.
    void next_piece() {
        if (row_ == page_.height) {
            row_ = 0;
            if (++part_ == parts_of_page()) next_page();
        }
        // Data of a picture codec come as plain colours. The setting holds for a page.
        if (field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG)
            ::TIFFSetField(handle_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        row_ += ::TIFFIsTiled(handle_.get()) ? read_tiles() : read_strip();
        taken_ = 0;
        take_warnings();
    }

    std::uint16_t parts_of_page() const { return page_.planar == PLANARCONFIG_SEPARATE ? page_.samples : 1; }

    void next_page() {
        do {
            if (!::TIFFReadDirectory(handle_.get())) fail(Exit::damaged, "a page can't be read");
        } while (is_extra());
        part_ = 0;
        if (look_at_page() != page_) fail(Exit::damaged, "a page has changed");
    }

    /// Room for \p rows rows, left as it is: a hostile size costs address space only.
    void make_room(std::uint32_t rows) {
        filled_ = row_bytes_ * rows;
        if (filled_ <= room_) return;
        buffer_.reset(new unsigned char[filled_]);
        room_ = filled_;
    }

    std::uint32_t read_strip() {
        auto const rows_per_strip = field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, page_.height);
        auto const rows = std::min(std::max(rows_per_strip, 1u), page_.height - row_);
        make_room(rows);
        auto const strip = ::TIFFComputeStrip(handle_.get(), row_, part_);
        auto const wanted = static_cast<tmsize_t>(filled_);
        if (::TIFFReadEncodedStrip(handle_.get(), strip, buffer_.get(), wanted) != wanted)
            fail(Exit::damaged, fmt::format("strip {} can't be read", strip));
        return rows;
    }

    std::uint32_t read_tiles() {
        auto const width = field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
        auto const height = field<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
        auto const size = ::TIFFTileSize64(handle_.get());
        auto const pixel = row_bytes_ / page_.width;
        // As for pages: no file can hold a tile that is so much larger than itself.
        if (width == 0 || height == 0 || size > (file_size_ + 4096) * most_shrinking ||
            std::uint64_t{width} * height > size || std::uint64_t{width} * height * pixel != size)
            fail(Exit::damaged, "the size of the tiles makes no sense");
        auto const rows = std::min(height, page_.height - row_);
        make_room(rows);
        std::unique_ptr<unsigned char[]> const tile(new unsigned char[size]);
        for (std::uint32_t x = 0; x < page_.width; x += std::min(width, page_.width - x)) {
            auto const index = ::TIFFComputeTile(handle_.get(), x, row_, 0, part_);
            auto const wanted = static_cast<tmsize_t>(size);
            if (::TIFFReadEncodedTile(handle_.get(), index, tile.get(), wanted) != wanted)
                fail(Exit::damaged, fmt::format("tile {} can't be read", index));
            auto const columns = std::min(width, page_.width - x);
            for (std::uint32_t row = 0; row < rows; ++row)
                std::memcpy(buffer_.get() + row_bytes_ * row + pixel * x, tile.get() + pixel * width * row,
                            pixel * columns);
        }
        return rows;
    }

    std::filesystem::path path_;
    std::uint64_t file_size_;
    TiffHandle handle_;
    Page page_;
    PageNote note_;
    tdir_t first_ = 0;
    std::uint64_t pages_ = 0;
    std::uint64_t part_bytes_ = 0; ///< of a page, or of one colour plane
    std::size_t row_bytes_ = 0;    ///< of a row of it
    std::uint16_t part_ = 0;       ///< the colour plane at hand
    std::uint32_t row_ = 0;        ///< its first row that has not been brought in
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t room_ = 0, filled_ = 0, taken_ = 0;
};

} // namespace

std::unique_ptr<SampleSource> open_tiff(std::filesystem::path const& path) {
    return std::make_unique<TiffSource>(path);
}

} // namespace Vexa::tool
