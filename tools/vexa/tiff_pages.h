#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "failure.h"
#include "image.h"
#include "tiff_handle.h"

namespace Vexa::tool {

/// What one page of a TIFF file is.
struct TiffPage {
    std::uint64_t directory = 0; ///< where in the file it is described
    std::uint32_t width = 0, height = 0;
    std::uint16_t samples = 1, bits = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    bool is_extra = false; ///< a smaller copy or a mask of another one, which is no data

    /// The code of its samples; 0 for those that can't be read.
    int type() const;
    /// Parts of a page are read one after the other: a plane for each colour, or one with all of them.
    std::uint16_t parts() const { return planar == PLANARCONFIG_SEPARATE ? samples : 1; }
    std::uint16_t samples_side_by_side() const { return planar == PLANARCONFIG_CONTIG ? samples : 1; }
    bool has_form_of(TiffPage const& other) const;
};

/// The pages of a TIFF file, which are read in any order, a few rows at a time.
///
/// Failures are Failure with Exit::no_input for what can't be read, and Exit::damaged. Nothing is allocated for
/// pages that claim more than the file can hold.
class TiffPages {
public:
    explicit TiffPages(std::filesystem::path const& path);

    std::filesystem::path const& path() const { return path_; }
    std::vector<TiffPage> const& pages() const { return pages_; }
    /// The description of a page; empty if it has none.
    std::string description(std::size_t page);
    /// The value of a field of a page.
    template <typename T>
    T field(std::size_t page, std::uint32_t tag, T otherwise) {
        go_to(page);
        return field(tag, otherwise);
    }

    /// Refuse a page whose pixels can't be read, and note what they lose.
    void check(std::size_t page);
    /// Begin to read a part of a page from its first row.
    void begin(std::size_t page, std::uint16_t part);
    /// The next rows of that part; empty behind the last one. Valid until the next call.
    /// \throws std::out_of_range where no page has been begun since one failed
    std::span<unsigned char const> next_rows();
    /// What came up since the last call, each once.
    std::vector<std::string> take_warnings();

    [[noreturn]] void fail(Exit exit, std::string const& what);
    [[noreturn]] void refuse(std::string const& what);
    void warn(std::string const& text);

private:
    template <typename T>
    T field(std::uint32_t tag, T otherwise) {
        T value{};
        return ::TIFFGetFieldDefaulted(handle_.get(), tag, &value) ? value : otherwise;
    }
    TiffPage look_at_page();
    void go_to(std::size_t page);
    void measure(TiffPage const& page);
    void make_room(std::uint32_t rows);
    std::uint32_t read_strip();
    std::uint32_t read_tiles();

    std::filesystem::path path_;
    std::uint64_t file_size_;
    TiffHandle handle_;
    std::vector<TiffPage> pages_;
    std::vector<std::string> warnings_, old_warnings_;
    std::size_t at_ = 0;        ///< the page that the handle is at
    std::size_t row_bytes_ = 0; ///< of a row of a part of it
    std::uint16_t part_ = 0;
    std::uint32_t row_ = 0; ///< its first row that has not been read
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t room_ = 0, filled_ = 0;
};

} // namespace Vexa::tool
