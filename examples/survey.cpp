#include "survey.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>

#include <fmt/format.h>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/types.h>

#include "acquisition.h"

namespace {

constexpr char const* maker = "Example Optics";
constexpr auto immersion = OME::Objective::Immersion::oil;
constexpr double exposure_seconds = 0.1;

/// The identifiers of what a channel needs to show a stain.
struct Parts {
    JSON::Value laser, filter, detector, dye, band;
};

void describe_stand(OME::Instrument& instrument) {
    instrument.microscope().manufacturer().set(maker);
    instrument.microscope().model().set("Bench 1");
    instrument.microscope().type().set("Inverted");
    auto& objective = *instrument.objectives().emplace_back();
    objective.manufacturer().set(maker);
    objective.model().set("Plan 60");
    objective.set_nominal_magnification(60);
    objective.set_lens_NA(1.4);
    objective.set_immersion(immersion);
    auto& detector = *instrument.detectors().emplace_back();
    detector.manufacturer().set(maker);
    detector.model().set("Counter 6");
    detector.set_type(OME::Detector::Type::CMOS);
}

/// Add a laser and a filter to the instrument, and a dye with its band to the project.
Parts describe_stain(OME::OME& document, Stain const& stain) {
    auto& laser = *document.provide_light_sources().emplace_back();
    laser.manufacturer().set(maker);
    laser.model().set(fmt::format("Line {:g}", stain.excitation_nm));
    laser.set_wavelength(nanometers(stain.excitation_nm));
    laser.power().set(50);
    laser.power_unit().set("mW");
    auto& filter = *document.provide_filters().emplace_back();
    filter.set_type(OME::Filter::Type::band_pass);
    filter.set_cut_in(nanometers(stain.cut_in_nm));
    filter.set_cut_out(nanometers(stain.cut_out_nm));
    auto& dye = *document.provide_dyes().emplace_back();
    dye.name().set(stain.dye);
    dye.set_emission_wavelength(nanometers(stain.emission_nm));
    auto& band = *document.provide_bands().emplace_back();
    band.name().set(stain.channel);
    band.add_dye(*dye.id.value());
    return {*laser.id.value(), *filter.id.value(), *document.detectors()->front().id.value(), *dye.id.value(),
            *band.id.value()};
}

void describe_channel(OME::Channel& channel, Stain const& stain, Parts const& parts) {
    channel.name().set(stain.channel);
    channel.set_color_in_RGBA(stain.color);
    channel.set_acquisition_mode(OME::Channel::Acquisition_Mode::wide_field);
    channel.set_contrast_method(OME::Channel::Contrast_Method::fluorescence);
    channel.set_light_source(parts.laser); // and its wavelength
    channel.light_path().add_emission_filter(parts.filter);
    channel.set_detector(parts.detector);
    channel.detector_settings().binning().set("1x1");
    channel.set_emission_wavelength(nanometers(stain.emission_nm));
    channel.set_dye(parts.dye);
    channel.set_band(parts.band);
}

/// All tiles have the same channels, with identifiers of their own.
void describe_channels(OME::Image& image, OME::Image const& first, std::vector<Parts> const& parts) {
    if (&image != &first) return image.add_channels(first);
    image.provide_first_channel();
    image.add_channels(image); // a second one
    for (std::size_t i = 0; i < parts.size(); ++i)
        describe_channel(image.channel(i), Survey::stains[i], parts[i]);
}

/// What differs from tile to tile, and how the instrument is set. The name and the date came with the stack.
void describe_tile(OME::Image& image, Tile const& tile, OME::OME& document) {
    image.set_instrument(document.provide_first_instrument());
    image.set_objective(*document.objectives()->front().id.value());
    image.objective_settings().set_medium(immersion);
    image.objective_settings().set_refractive_index(*OME::Objective::refractive_index(immersion));
    image.set_position_in_meters(tile.position);
    image.for_each_plane([](OME::Plane& plane) {
        plane.set_exposure_time({exposure_seconds, OME::Time::s});
    });
}

/// The stage counts in nanometers.
double stage_position(double meters) { return std::round(meters * 1e9) / 1e9; }

Vexa::arrays::StackInfoImp description(Tile const& tile, std::size_t size) {
    Vexa::arrays::StackInfoImp stack(Vexa::types::uint16, {size, size, 1, 1, Survey::stains.size()});
    stack.set_name(tile.name);
    stack.set_timestamp(tile.date);
    calibrate(stack, {Specimen::pixel_metres, Specimen::pixel_metres, Specimen::plane_metres});
    stack.set_label(3, "T");
    stack.set_length(3, exposure_seconds);
    stack.set_offset(3, 0);
    stack.set_label(4, "C");
    return stack;
}

} // namespace

std::array<Stain, 2> const Survey::stains{
    {{"filaments", "fluorescein", Specimen::Part::filaments, 0x00FF00FF, 488, 515, 500, 540},
     {"beads", "rhodamine B", Specimen::Part::beads, 0xFFA500FF, 561, 585, 570, 620}}};

Survey::Survey(Specimen const& specimen)
    : specimen_(specimen),
      // Neighbours have a sixteenth of the specimen in common.
      tile_size_((specimen.width() + 1) / 2 + std::max(specimen.width() / 32, 2u)),
      step_(specimen.width() - tile_size_) {
    place_tiles();
    for (std::size_t i = 0; i < stains.size(); ++i)
        planes_[i] = specimen.plane(specimen.planes() / 2, stains[i].stained);
}

/// The stage takes the shortest way: back in the second row.
void Survey::place_tiles() {
    constexpr double pixel = Specimen::pixel_metres;
    for (auto const& [column, row] : {std::pair(0u, 0u), {1u, 0u}, {1u, 1u}, {0u, 1u}}) {
        Tile tile;
        tile.name = fmt::format("tile {}", tiles_.size());
        tile.left = column * step_;
        tile.top = row * step_;
        tile.position = {stage_position(corner.x + (tile.left + tile_size_ / 2.0) * pixel),
                         stage_position(corner.y + (tile.top + tile_size_ / 2.0) * pixel),
                         stage_position(corner.z + specimen_.planes() / 2 * Specimen::plane_metres)};
        tiles_.push_back(std::move(tile));
    }
}

/// What one tile shows of a stain.
Survey::Samples Survey::samples_at(std::size_t stain, std::uint32_t left, std::uint32_t top) const {
    Samples samples;
    for (std::uint32_t y = top; y < top + tile_size_; ++y) {
        auto const line = planes_[stain].begin() + std::ptrdiff_t{specimen_.width()} * y + left;
        samples.insert(samples.end(), line, line + tile_size_);
    }
    return samples;
}

void Survey::run(std::filesystem::path const& path) {
    auto const file = Vexa::create_file(false);
    file->default_compression_type = 1;
    file->open(path, Vexa::bf::DiskFile::Mode::create);
    auto& document = file->metadata().ome.element();
    document.creator().set("vexa_demo");
    document.provide_first_project().name().set("Survey");
    describe_stand(document.provide_first_instrument());
    std::vector<Parts> parts;
    for (auto const& stain : stains) parts.push_back(describe_stain(document, stain));
    for (auto& tile : tiles_) {
        tile.date = std::chrono::system_clock::now();
        auto const stack = file->add_stack(description(tile, tile_size_), 0, false);
        auto& image = *std::prev(document.images().end());
        describe_tile(image, tile, document);
        describe_channels(image, document.images().front(), parts);
        for (std::size_t i = 0; i < stains.size(); ++i) {
            auto const samples = samples_at(i, tile.left, tile.top);
            stack->write(Vexa::types::uint16, samples.data(), nullptr, samples.size());
        }
    }
    file->close();
}
