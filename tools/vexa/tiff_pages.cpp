#include "tiff_pages.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include <fmt/format.h>
#include <vexa/foundation/types.h>

#include "input_file.h"

namespace Vexa::tool {
namespace {

/// No compression in use makes data smaller by more than this: who claims more has a hostile header.
constexpr std::uint64_t most_shrinking = 4096;
constexpr std::size_t most_warnings = 100;
constexpr auto nowhere = std::numeric_limits<std::size_t>::max();

} // namespace

int TiffPage::type() const {
    switch (format) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
        switch (bits) {
        case 8: return types::uint8;
        case 16: return types::uint16;
        case 32: return types::uint32;
        case 64: return types::uint64;
        default: return types::none;
        }
    case SAMPLEFORMAT_INT:
        switch (bits) {
        case 8: return types::int8;
        case 16: return types::int16;
        case 32: return types::int32;
        case 64: return types::int64;
        default: return types::none;
        }
    case SAMPLEFORMAT_IEEEFP: return bits == 32 ? types::single : bits == 64 ? types::double_ : types::none;
    case SAMPLEFORMAT_COMPLEXIEEEFP:
        return bits == 64 ? types::cplx_single : bits == 128 ? types::cplx_double : types::none;
    default: return types::none;
    }
}

bool TiffPage::has_form_of(TiffPage const& other) const {
    return width == other.width && height == other.height && samples == other.samples && bits == other.bits &&
           format == other.format && planar == other.planar;
}

TiffPages::TiffPages(std::filesystem::path const& path)
    : path_(path), file_size_(InputFile(path).size()), handle_(path.string(), "r") {
    if (!handle_) fail(Exit::no_input, "not a TIFF file, or its first page can't be read");
    pages_.push_back(look_at_page());
    // Asked before reading on: a damaged page may itself say that it is the last.
    while (!::TIFFLastDirectory(handle_.get())) {
        if (!::TIFFReadDirectory(handle_.get()))
            fail(Exit::damaged, fmt::format("page {} can't be read", pages_.size()));
        pages_.push_back(look_at_page());
    }
    at_ = pages_.size() - 1;
}

void TiffPages::fail(Exit exit, std::string const& what) {
    throw Failure(exit, fmt::format("{}: {}: {}.", path_.string(), what, handle_.take_error()));
}

void TiffPages::refuse(std::string const& what) {
    throw Failure(Exit::no_input, fmt::format("{}: {}", path_.string(), what));
}

void TiffPages::warn(std::string const& text) {
    auto line = fmt::format("{}: {}", path_.string(), text);
    for (auto const* const warnings : {&warnings_, &old_warnings_})
        if (std::find(warnings->begin(), warnings->end(), line) != warnings->end()) return;
    if (warnings_.size() + old_warnings_.size() < most_warnings) warnings_.push_back(std::move(line));
}

std::vector<std::string> TiffPages::take_warnings() {
    for (auto const& text : handle_.take_warnings()) warn(text);
    old_warnings_.insert(old_warnings_.end(), warnings_.begin(), warnings_.end());
    return std::exchange(warnings_, {});
}

TiffPage TiffPages::look_at_page() {
    TiffPage page;
    page.directory = ::TIFFCurrentDirOffset(handle_.get());
    page.width = field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    page.height = field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    page.samples = field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    page.bits = field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    page.format = field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    page.planar = field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (page.samples == 1) page.planar = PLANARCONFIG_CONTIG;
    page.is_extra =
        (field<std::uint32_t>(TIFFTAG_SUBFILETYPE, 0) & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
    return page;
}

void TiffPages::go_to(std::size_t page) {
    if (at_ == page) return;
    at_ = nowhere; // until all is well
    // Not by its number, which would walk through all pages before it.
    if (!::TIFFSetSubDirectory(handle_.get(), pages_[page].directory))
        fail(Exit::damaged, fmt::format("page {} can't be read", page));
    if (!look_at_page().has_form_of(pages_[page]))
        fail(Exit::damaged, fmt::format("page {} has changed", page));
    at_ = page;
}

std::string TiffPages::description(std::size_t page) {
    go_to(page);
    char const* text = nullptr;
    bool const found = ::TIFFGetField(handle_.get(), TIFFTAG_IMAGEDESCRIPTION, &text);
    return found && text ? text : std::string();
}

void TiffPages::check(std::size_t number) {
    go_to(number);
    TiffPage const& page = pages_[number];
    auto const photometric = field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    auto const compression = field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (page.width == 0 || page.height == 0 || page.samples == 0) refuse("a page has no pixels.");
    if (compression != COMPRESSION_JPEG && photometric == PHOTOMETRIC_YCBCR)
        refuse("pixels with subsampled colours can't be read.");
    if (photometric == PHOTOMETRIC_LOGL || photometric == PHOTOMETRIC_LOGLUV)
        refuse("logarithmic pixels can't be read.");
    if (page.type() == types::none)
        refuse(fmt::format("{}-bit samples of format {} can't be read.", page.bits, page.format));
    if (photometric == PHOTOMETRIC_PALETTE) warn("the colour map is left out, samples are its indices.");
    if (photometric == PHOTOMETRIC_MINISWHITE) warn("low values mean white; samples are kept as they are.");
    measure(page);
}

/// Find the size of a row of the page that the handle is at.
void TiffPages::measure(TiffPage const& page) {
    bool const plain = field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE;
    auto const most = plain ? file_size_ : file_size_ * most_shrinking;
    std::uint64_t bytes = vexa_dt_get_size(page.type());
    for (std::uint64_t const factor :
         {std::uint64_t{page.samples_side_by_side()}, std::uint64_t{page.width}, std::uint64_t{page.height}})
        if (__builtin_mul_overflow(bytes, factor, &bytes) || bytes > most)
            throw Failure(Exit::damaged, fmt::format("{}: a page claims more pixels than the file can hold.",
                                                     path_.string()));
    row_bytes_ = static_cast<std::size_t>(bytes / page.height);
}

void TiffPages::begin(std::size_t page, std::uint16_t part) {
    go_to(page);
    measure(pages_[page]);
    // Data of a picture codec come as plain colours. The setting holds for a page.
    if (field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG)
        ::TIFFSetField(handle_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    part_ = part;
    row_ = 0;
}

std::span<unsigned char const> TiffPages::next_rows() {
    if (row_ == pages_.at(at_).height) return {};
    row_ += ::TIFFIsTiled(handle_.get()) ? read_tiles() : read_strip();
    return {buffer_.get(), filled_};
}

/// Room for \p rows rows, left as it is: a hostile size costs address space only.
void TiffPages::make_room(std::uint32_t rows) {
    filled_ = row_bytes_ * rows;
    if (filled_ <= room_) return;
    buffer_.reset(new unsigned char[filled_]);
    room_ = filled_;
}

std::uint32_t TiffPages::read_strip() {
    auto const height = pages_[at_].height;
    auto const rows_per_strip = field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, height);
    auto const rows = std::min(std::max(rows_per_strip, 1u), height - row_);
    make_room(rows);
    auto const strip = ::TIFFComputeStrip(handle_.get(), row_, part_);
    auto const wanted = static_cast<tmsize_t>(filled_);
    if (::TIFFReadEncodedStrip(handle_.get(), strip, buffer_.get(), wanted) != wanted)
        fail(Exit::damaged, fmt::format("strip {} can't be read", strip));
    return rows;
}

std::uint32_t TiffPages::read_tiles() {
    TiffPage const& page = pages_[at_];
    auto const width = field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
    auto const height = field<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    auto const size = ::TIFFTileSize64(handle_.get());
    auto const pixel = row_bytes_ / page.width;
    // As for pages: no file can hold a tile that is so much larger than itself.
    if (width == 0 || height == 0 || size > (file_size_ + 4096) * most_shrinking ||
        std::uint64_t{width} * height > size || std::uint64_t{width} * height * pixel != size)
        fail(Exit::damaged, "the size of the tiles makes no sense");
    auto const rows = std::min(height, page.height - row_);
    make_room(rows);
    std::unique_ptr<unsigned char[]> const tile(new unsigned char[size]);
    for (std::uint32_t x = 0; x < page.width; x += std::min(width, page.width - x)) {
        auto const index = ::TIFFComputeTile(handle_.get(), x, row_, 0, part_);
        auto const wanted = static_cast<tmsize_t>(size);
        if (::TIFFReadEncodedTile(handle_.get(), index, tile.get(), wanted) != wanted)
            fail(Exit::damaged, fmt::format("tile {} can't be read", index));
        auto const columns = std::min(width, page.width - x);
        for (std::uint32_t row = 0; row < rows; ++row)
            std::memcpy(buffer_.get() + row_bytes_ * row + pixel * x, tile.get() + pixel * width * row,
                        pixel * columns);
    }
    return rows;
}

} // namespace Vexa::tool
