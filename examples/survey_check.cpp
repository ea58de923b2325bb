// What the file of a survey says, against what it was told.

#include "survey.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <tuple>

#include <fmt/format.h>

#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Tile_Grid.h>

#include "checks.h"

namespace {

std::string bytes_of(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool says(JSON::Proxy const& field, JSON::Value const& expected) {
    return field.value() && *field.value() == expected;
}

/// Wavelengths come back in meters, which are rounded.
bool is_nanometers(std::optional<double> const& meters, double nanometers) {
    return meters && VX::is_equal(*meters, nanometers * 1e-9);
}

bool has_voxels_of_specimen(OME::Image const& image) {
    auto const voxel = image.finite_voxel_shape_in_meters();
    return VX::is_equal(voxel.x, Specimen::pixel_metres) && VX::is_equal(voxel.y, Specimen::pixel_metres) &&
           VX::is_equal(voxel.z, Specimen::plane_metres);
}

/// Whether there are as many elements as expected, each as it should be.
template <typename Elements, typename Expected, typename Predicate>
bool all_match(Elements const& elements, Expected const& expected, Predicate matches) {
    return std::equal(elements.begin(), elements.end(), expected.begin(), expected.end(), matches);
}

/// Whether all is there that the checks below look at.
bool is_complete(OME::OME const& document, std::size_t tiles) {
    constexpr auto stains = std::tuple_size_v<decltype(Survey::stains)>;
    return document.images().size() == tiles && document.instruments().size() == 1 &&
           document.objectives()->size() == 1 && document.detectors()->size() == 1 &&
           document.light_sources()->size() == stains && document.filters()->size() == stains &&
           document.dyes() && document.dyes()->size() == stains && document.bands() &&
           document.bands()->size() == stains;
}

void check_instrument(OME::OME const& document) {
    auto const& microscope = document.first_instrument()->microscope();
    check(says(microscope.manufacturer(), "Example Optics") && says(microscope.model(), "Bench 1") &&
              says(microscope.type(), "Inverted"),
          "survey: the microscope has its name");
    auto const& objective = document.objectives()->front();
    check(says(objective.model(), "Plan 60") && objective.magnification() == 60 &&
              objective.lens_NA() == 1.4 && objective.immersion() == OME::Objective::Immersion::oil,
          "survey: the objective has its magnification, aperture and immersion");
    check(document.detectors()->front().type() == OME::Detector::Type::CMOS,
          "survey: the detector has its type");
    auto const is_laser = [](OME::Light_Source const& laser, Stain const& stain) {
        return is_nanometers(laser.wavelength_in_meters(), stain.excitation_nm) && says(laser.power(), 50) &&
               says(laser.power_unit(), "mW");
    };
    check(all_match(*document.light_sources(), Survey::stains, is_laser), "survey: each dye has a laser");
    auto const is_filter = [](OME::Filter const& filter, Stain const& stain) {
        return is_nanometers(filter.cut_in_in_meters(), stain.cut_in_nm) &&
               is_nanometers(filter.cut_out_in_meters(), stain.cut_out_nm);
    };
    check(all_match(*document.filters(), Survey::stains, is_filter), "survey: each dye has a filter");
}

/// Whether a channel shows a stain through the parts of the instrument at \p index.
bool shows(OME::Channel const& channel, std::size_t index, OME::OME const& document) {
    auto const& stain = Survey::stains[index];
    auto const at = [&](auto const& elements) {
        return &*std::next(elements.begin(), static_cast<std::ptrdiff_t>(index));
    };
    auto const& filters = channel.light_path().emission_filters();
    return says(channel.name(), stain.channel) && says(channel.fluor(), stain.dye) &&
           channel.color_in_RGBA() == stain.color && channel.dye() == at(*document.dyes()) &&
           channel.band() == at(*document.bands()) &&
           channel.light_source() == at(*document.light_sources()) &&
           channel.detector() == &document.detectors()->front() && filters.size() == 1 &&
           filters.front().referent() == at(*document.filters()) &&
           is_nanometers(channel.excitation_wavelength_in_meters(), stain.excitation_nm) &&
           is_nanometers(channel.emission_wavelength_in_meters(), stain.emission_nm);
}

void check_channels(OME::OME const& document) {
    auto const is_dye = [](OME::Dye const& dye, Stain const& stain) {
        return says(dye.name(), stain.dye) &&
               is_nanometers(dye.emission_wavelength_in_meters(), stain.emission_nm);
    };
    check(all_match(*document.dyes(), Survey::stains, is_dye), "survey: the dyes have names and wavelengths");
    std::set<std::string> ids;
    std::size_t good = 0, all = 0;
    for (auto const& image : document.images())
        for (std::size_t i = 0; i < image.number_of_channels(); ++i, ++all) {
            good += i < Survey::stains.size() && shows(image.channel(i), i, document);
            ids.insert(image.channel(i).id.value()->get<std::string>());
        }
    check(good == all && good == ids.size() && good == document.images().size() * Survey::stains.size(),
          fmt::format("survey: {} channels share dyes, lasers, filters and the detector", good));
}

void check_tiles(OME::OME const& document, std::vector<Tile> const& tiles) {
    auto const is_tile = [](OME::Image const& image, Tile const& tile) {
        return says(image.name(), tile.name) && image.acquisition_date() == tile.date &&
               has_voxels_of_specimen(image);
    };
    check(all_match(document.images(), tiles, is_tile), "survey: each tile has its name, date and voxels");
    auto const is_set_up = [&](OME::Image const& image, Tile const&) {
        auto const& settings = image.objective_settings();
        return image.instrument() == document.first_instrument() &&
               settings.referent() == &document.objectives()->front() &&
               settings.medium() == OME::Objective::Immersion::oil && settings.refractive_index() == 1.518;
    };
    check(all_match(document.images(), tiles, is_set_up), "survey: each tile was seen through the objective");
    auto const is_in_place = [](OME::Image const& image, Tile const& tile) {
        std::size_t planes = 0;
        for (auto const& plane : image.planes())
            planes += plane.position_in_meters() == tile.position && plane.exposure_time() == 0.1;
        return planes == Survey::stains.size() && image.position_in_meters(0) == tile.position;
    };
    check(all_match(document.images(), tiles, is_in_place), "survey: the positions of the stage are exact");
}

/// The tiles of a document, as a grid.
OME::Tile_Grid grid_of(OME::OME const& document) {
    auto const& first = document.images().front();
    OME::Tile_Grid grid(first.tile_shape_in_meters(), first.finite_voxel_shape_in_meters());
    for (auto const& image : document.images()) grid.add(image.position_in_meters(0));
    return grid;
}

void check_grid(OME::OME const& document, Specimen const& specimen) {
    auto const grid = grid_of(document);
    using Index = VX::XYZ<std::int64_t>;
    check(grid.positions_in_tile_grid() == std::vector<Index>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}},
          fmt::format("survey: the tiles are a grid, in steps of {:.4g} um", grid.step().x * 1e6));
    double area = 0;
    for (auto const& [low, high] : grid.paraxial_region()) area += (high.x - low.x) * (high.y - low.y);
    double const width = specimen.width() * Specimen::pixel_metres;
    double const height = specimen.height() * Specimen::pixel_metres;
    check(std::abs(area - width * height) < 1e-9 * width * height,
          fmt::format("survey: together they cover the specimen, {:.4g} um2", area * 1e12));
}

} // namespace

/// Whether a stack holds what the specimen shows where the stage stood.
bool Survey::shows_specimen(OME::Image const& image, Vexa::bf::StackInterface const& stack) const {
    if (stack.shape() != Vexa::stack_size(image) || stack.type() != Vexa::stack_type(image)) return false;
    auto const tile = image.tile_shape_in_meters(), centre = image.position_in_meters(0);
    auto const left = std::lround((centre.x - tile.x / 2 - corner.x) / Specimen::pixel_metres);
    auto const top = std::lround((centre.y - tile.y / 2 - corner.y) / Specimen::pixel_metres);
    if (left < 0 || top < 0 || left + tile_size_ > specimen_.width() || top + tile_size_ > specimen_.height())
        return false;
    Samples samples(stack.number_of_elements());
    stack.read(Vexa::types::uint16, samples.data(), nullptr);
    Samples expected;
    for (std::size_t stain = 0; stain < stains.size(); ++stain) {
        auto const part =
            samples_at(stain, static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top));
        expected.insert(expected.end(), part.begin(), part.end());
    }
    return samples == expected;
}

void Survey::check_file(std::filesystem::path const& path) const {
    auto const before = bytes_of(path);
    auto const file = Vexa::open_file(path, Vexa::bf::DiskFile::Mode::read);
    auto const& root = file->metadata();
    auto const& document = root.ome.element();
    bool const complete = is_complete(document, tiles_.size()) && file->get_num_stacks() == tiles_.size();
    check(complete, fmt::format("survey: {} tiles, each with an image", file->get_num_stacks()));
    if (!complete) return;
    check_instrument(document);
    check_channels(document);
    check_tiles(document, tiles_);
    check_grid(document, specimen_);
    unsigned long index = 0, good = 0;
    for (auto const& image : document.images()) good += shows_specimen(image, *file->get_stack(index++));
    check(good == tiles_.size(), "survey: the samples are those of the specimen where the stage stood");
    bool const same_document = root.XML() == file->tag("ome_xml");
    file->close();
    check(same_document && bytes_of(path) == before, "survey: reading left document and file as they were");
}
