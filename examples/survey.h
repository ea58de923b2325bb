#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/box.h>
#include <vexa/json/Time_Point.h>
#include <vexa/ome/Root.h>

#include "specimen.h"

inline OME::Quantity<OME::Length> nanometers(double value) { return {value, OME::Length::nm}; }

/// How one dye is seen: the line that excites it, and the band of its light that reaches the detector.
struct Stain {
    char const* channel;
    char const* dye;
    Specimen::Part stained;
    unsigned color; ///< as red, green, blue and alpha
    double excitation_nm, emission_nm, cut_in_nm, cut_out_nm;
};

/// One field of view, an image with a channel for each stain.
struct Tile {
    std::string name;
    std::uint32_t left = 0, top = 0; ///< its first sample in a plane of the specimen
    VX::XYZ<double> position;        ///< of its centre on the stage, in meters
    JSON::Time_Point date;
};

/// Looks over the middle plane of a specimen before it's acquired: four tiles that overlap a little, each a
/// stack with two channels, and in the document of the file all that an instrument knows about them.
///
/// Borrows: the specimen.
class Survey {
public:
    /// The corner of the specimen where its first sample is, on the stage and in meters.
    static constexpr VX::XYZ<double> corner{12.5e-3, 8e-3, 1.25e-3};
    static std::array<Stain, 2> const stains;

    /// \pre the specimen is as high as it is wide
    explicit Survey(Specimen const& specimen);

    /// Move the stage from tile to tile and write them to a new file.
    void run(std::filesystem::path const& path);
    /// Open that file again, and check that it says what it was told.
    void check_file(std::filesystem::path const& path) const;

    std::vector<Tile> const& tiles() const { return tiles_; }
    std::uint32_t tile_size() const { return tile_size_; }

private:
    using Samples = std::vector<std::uint16_t>;

    void place_tiles();
    Samples samples_at(std::size_t stain, std::uint32_t left, std::uint32_t top) const;
    bool shows_specimen(OME::Image const& image, Vexa::bf::StackInterface const& stack) const;

    Specimen const& specimen_;
    std::uint32_t tile_size_, step_; ///< in pixels
    std::vector<Tile> tiles_;        ///< in the order of acquisition
    std::array<Samples, 2> planes_;  ///< what the specimen shows of each stain
};
