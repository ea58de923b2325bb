#pragma once

#include <array>
#include <cstdint>
#include <vector>

/// A simulated specimen, filaments and beads in a volume, as a microscope with a photon counter sees it plane
/// by plane. The same seed gives the same photons.
class Specimen {
public:
    static constexpr double pixel_metres = 1e-7;
    static constexpr double plane_metres = 2e-7;
    /// What emits light. Filaments and beads can be stained with dyes of their own.
    enum class Part { all, filaments, beads };

    Specimen(std::uint32_t width, std::uint32_t height, std::uint32_t planes, std::uint64_t seed);

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t planes() const { return planes_; }

    /// The photons of one plane that come from a part, row by row. May be called by several threads at once.
    std::vector<std::uint16_t> plane(std::uint32_t index, Part part = Part::all) const;

private:
    struct Emitter {
        float x, y, z, brightness;
        Part part;
    };

    void add_filament(std::uint64_t seed);
    void add_bead(std::uint64_t seed);
    void add_light(std::vector<float>& light, Emitter const& emitter, float defocus) const;

    std::uint32_t width_, height_, planes_;
    std::uint64_t seed_;
    std::vector<Emitter> emitters_; ///< sorted by z
};
