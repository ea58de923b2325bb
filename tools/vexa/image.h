#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Vexa::tool {

/// The samples of an image file, as a stack sees them.
struct ImageInfo {
    int type = 0;                      ///< a code of Vexa::types
    std::vector<unsigned long> shape;  ///< axis 0, the fastest, first; never empty
    std::vector<std::string> labels;   ///< one for each axis; may be empty texts
    std::vector<double> pixel_lengths; ///< metres along each axis, 0 where unknown; empty when all are
    std::vector<double> lengths;       ///< of each axis as a whole, in no known unit; empty where unknown
    std::string name;                  ///< empty where unknown
    std::string description;

    /// Samples in all. Readers have made sure that it fits, and its bytes too.
    std::uint64_t elements() const;
    std::size_t element_size() const;
};

/// A label that marks axis 0 as the interleaved colour samples of a pixel.
inline constexpr char const* colour_label = "S";
bool has_colour_axis(ImageInfo const& info);

/// Image data that is read from its beginning to its end, a bounded part of it in memory at any time.
///
/// Failures are Failure with Exit::no_input or Exit::damaged.
class SampleSource {
public:
    virtual ~SampleSource() = default;
    ImageInfo const& info() const { return info_; }
    /// Deliver the next \p count samples, axis 0 fastest, in the machine's byte order.
    virtual void read(void* to, std::uint64_t count) = 0;
    /// What the user should know although reading goes on.
    std::vector<std::string> const& warnings() const { return warnings_; }

protected:
    ImageInfo info_;
    std::vector<std::string> warnings_;
};

/// What an image file holds.
struct ImageFile {
    std::vector<std::unique_ptr<SampleSource>> images;
    std::string document; ///< the OME document of these images in their order; empty if there is none
    std::vector<std::string> warnings;
};

/// Image data that is written from its beginning to its end. Failures are Failure with Exit::output_failed,
/// or Exit::wrong_use where the form can't hold such a stack.
class SampleSink {
public:
    virtual ~SampleSink() = default;
    virtual void write(void const* from, std::uint64_t count) = 0;
    /// To be called once, after the last sample.
    virtual void finish() = 0;
};

/// Open an image by the ending of its name: .npy, .tif, .tiff, .dbl.
std::unique_ptr<SampleSource> open_image(std::filesystem::path const& path);

/// The ending in lower case, with its dot.
std::string lower_ending(std::filesystem::path const& path);

} // namespace Vexa::tool
