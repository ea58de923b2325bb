#pragma once

#include <stdexcept>
#include <variant>

#include <vexa/json/Reader.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Light_Path.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>

#include "fuzz.h"

/// \file
/// Calls all getters of images, planes and channels. They end and give a result or a documented exception.

namespace Vexa::fuzz {

template <typename Getter>
void call(Getter const& getter) {
    try {
        getter();
    } catch (std::bad_variant_access const&) { // a text that is no enumerator or no colour; children for text
    } catch (JSON::Reader::Unexpected const&) { // a color map that isn't JSON
    } catch (OME::Invalid_Data const&) {        // an image that is too large
    } catch (OME::Invalid_Argument const&) {    // a sub-dimension or a reference that can't be
    } catch (std::out_of_range const&) {        // a tile or a plane that isn't there
    }
}

template <typename Object, typename... Getters>
void call_all(Object const& object, Getters... getters) {
    (call([&] { (void)(object.*getters)(); }), ...);
}

inline void call_getters(OME::Plane const& plane) {
    using P = OME::Plane;
    call_all(plane, &P::delta_t, &P::exposure_time, &P::position_x_in_meters, &P::position_y_in_meters,
             &P::position_z_in_meters, &P::position_in_meters);
}

inline void call_getters(OME::Channel const& channel) {
    using C = OME::Channel;
    call_all(channel, &C::color_in_RGBA, &C::color_in_ARGB, &C::acquisition_mode, &C::contrast_method,
             &C::illumination_type, &C::pinhole_size_in_meters, &C::excitation_wavelength_in_meters,
             &C::emission_wavelength_in_meters, &C::light_source, &C::detector, &C::color_map,
             &C::overlay_color_map, &C::excitation_repetition_rate_in_hertz, &C::excitation_delay_in_seconds,
             &C::deactivation_light_source, &C::deactivation_wavelength_in_meters,
             &C::deactivation_z_component, &C::deactivation_repetition_rate_in_hertz,
             &C::deactivation_delay_in_seconds, &C::gating_delay_in_seconds, &C::gating_width_in_seconds,
             &C::line_accumulation, &C::RESCUE_significance_level, &C::signal_level_threshold,
             &C::interpolation_threshold, &C::detector_element_offsets_in_meters);
    call([&] { (void)channel.dye(); });
    call([&] { (void)channel.band(); });
    using L = OME::Light_Path;
    call_all(channel.light_path(), &L::emission_cut_in_in_meters, &L::emission_cut_out_in_meters,
             &L::emission_band_in_meters, &L::primary_spherical_aberration,
             &L::primary_spherical_aberration_slope_z);
}

inline void call_getters(OME::Image const& image) {
    using I = OME::Image;
    call_all(image, &I::acquisition_date, &I::acquisition_end_date, &I::type, &I::scan_direction,
             &I::scan_curve, &I::frame_step, &I::line_step, &I::pixel_step, &I::derivation_description,
             &I::source_images, &I::parameter_images, &I::data_type, &I::dimensions, &I::size, &I::stride,
             &I::storage_shape, &I::tile_shape_in_voxels, &I::first_plane_exposure_time,
             &I::voxel_shape_in_meters, &I::finite_voxel_shape_in_meters, &I::time_increment_in_seconds,
             &I::lifetime_increment_in_seconds, &I::rotation_angle_in_radians, &I::rotation_angle_in_degrees,
             &I::rotation, &I::tile_shape_in_meters, &I::shape_in_meters, &I::tile_grid_step_in_meters,
             &I::tile_grid_range_in_meters, &I::positions);
    call([&] { (void)image.position_in_meters(0); });
    call([&] { (void)image.position_in_meters(); });
    call([&] { (void)image.start_t(0, 0); });
    call([&] { (void)image.delta_t(1, 1); });
    VEXA_FUZZ_CHECK(image.positions_in_meters().size() <= image.planes().size());
    VEXA_FUZZ_CHECK(image.positions_in_tile_grid().size() == image.positions_in_meters().size());
    std::size_t visited = 0;
    image.for_each_plane([&](OME::Plane const&) { ++visited; });
    VEXA_FUZZ_CHECK(visited <= image.planes().size());
    for (OME::Plane const& plane : image.planes()) call_getters(plane);
    for (std::size_t i = 0; i < image.number_of_channels(); ++i) call_getters(image.channel(i));
}

} // namespace Vexa::fuzz
