#pragma once

#include <chrono>
#include <iterator>

#include <vexa/ome/Root.h>

/// A document with elements of each class, all of whose fields have values. There are two of everything that can
/// be referred to, and references lead to the second one.
namespace Vexa::testing {

namespace detail {

template <typename Product>
void fill_product(Product& product) {
    product.manufacturer().set("Maker & Sons");
    product.model().set("M \"1\"");
    product.serial_number().set("S<2>");
    product.lot_number().set("L'3");
}

template <typename Named>
void fill_texts(Named& element) {
    element.name().set("name \xc3\xa9");
    element.description().set("A description\nof two lines.");
}

inline void fill_light_sources(OME::Instrument& instrument) {
    instrument.light_sources().emplace_back();
    OME::Light_Source& source = *instrument.light_sources().emplace_back();
    fill_product(source);
    source.power().set(1.5);
    source.power_unit().set("mW");
    source.type().set("Gas");
    source.laser_medium().set("HeNe");
    source.pulse().set("CW");
    source.frequency_multiplication().set(2);
    source.tuneable().set(JSON::Boolean(true));
    source.pockel_cell().set(JSON::Boolean(false));
    source.set_wavelength({488, OME::Length::nm});
    source.set_repetition_rate({80, OME::Frequency::MHz});
}

inline void fill_detectors(OME::Instrument& instrument) {
    instrument.detectors().emplace_back()->set_type(OME::Detector::Type::PMT);
    OME::Detector& detector = *instrument.detectors().emplace_back();
    fill_product(detector);
    detector.set_type(OME::Detector::Type::SPAD);
    detector.set_gain(2.5);
    detector.voltage().set(400);
    detector.voltage_unit().set("V");
    detector.offset().set(-1);
    detector.zoom().set(3);
    detector.amplification_gain().set(0.5);
    detector.set_dead_time({40, OME::Time::ns});
}

inline void fill_objectives(OME::Instrument& instrument) {
    instrument.objectives().emplace_back()->set_immersion(OME::Objective::Immersion::oil);
    OME::Objective& objective = *instrument.objectives().emplace_back();
    fill_product(objective);
    objective.set_immersion(OME::Objective::Immersion::silicone);
    objective.set_lens_NA(1.35);
    objective.set_nominal_magnification(100);
    objective.set_calibrated_magnification(101.5);
    objective.correction().set("PlanApo");
    objective.working_distance().set(300);
    objective.working_distance_unit().set("\xc2\xb5m");
    objective.iris().set(JSON::Boolean(false));
}

inline void fill_filters(OME::Instrument& instrument) {
    instrument.filters().emplace_back();
    OME::Filter& filter = *instrument.filters().emplace_back();
    fill_product(filter);
    filter.set_type(OME::Filter::Type::band_pass);
    filter.filter_wheel().set("wheel");
    filter.set_cut_in({500, OME::Length::nm});
    filter.set_cut_out({0.55, OME::Length::um});
    filter.transmittance_range().set_cut_in_tolerance({1, OME::Length::nm});
    filter.transmittance_range().set_cut_out_tolerance({2, OME::Length::nm});
    filter.transmittance_range().transmittance().set(0.9);
}

inline void fill_instruments(OME::OME& ome) {
    OME::Instrument& instrument = ome.provide_first_instrument();
    fill_product(instrument.microscope());
    instrument.microscope().type().set("Inverted");
    instrument.set_pinhole_reference_wavelength({500, OME::Length::nm});
    fill_light_sources(instrument);
    fill_detectors(instrument);
    fill_objectives(instrument);
    fill_filters(instrument);
    ome.instruments().emplace_back();
}

inline void fill_dyes(OME::OME& ome) {
    ome.provide_dyes().emplace_back();
    OME::Dye& dye = *ome.provide_dyes().emplace_back();
    fill_texts(dye);
    dye.set_lifetime({2.5, OME::Time::ns});
    dye.set_emission_wavelength({520, OME::Length::nm});
    dye.set_color_map(OME::Dye::color_map(0xFF00FF00, false));
    dye.set_overlay_color_map(OME::Dye::color_map(0xFF00FF00, true));
    dye.set_record(JSON::Map{{"source", "table"}, {"row", 5}});
    ome.provide_bands().emplace_back();
    OME::Band& band = *ome.provide_bands().emplace_back();
    fill_texts(band);
    band.set_type(OME::Band::Type::TCSPC);
    band.add_dye(*dye.id.value());
    band.set_emission_wavelength({530, OME::Length::nm});
    band.set_color_map(OME::Dye::color_map(0xFFFF0000, false));
    band.set_overlay_color_map(OME::Dye::color_map(0xFFFF0000, true));
}

inline void fill_settings(OME::Channel& channel, OME::OME& ome) {
    channel.set_light_source(*ome.provide_light_sources().find("LightSource:2")->id.value());
    channel.light_source_settings().attenuation().set(0.25);
    channel.light_source_settings().set_wavelength({490, OME::Length::nm});
    channel.set_detector("Detector:2");
    OME::Detector_Settings& settings = channel.detector_settings();
    settings.offset().set(1);
    settings.gain().set(2);
    settings.voltage().set(3);
    settings.voltage_unit().set("kV");
    settings.zoom().set(4);
    settings.read_out_rate().set(5);
    settings.read_out_rate_unit().set("MHz");
    settings.binning().set("2x2");
    settings.integration().set(6);
    OME::Light_Path& path = channel.light_path();
    path.add_excitation_filter("Filter:2");
    path.add_emission_filter("Filter:2");
    path.set_emission_band({500, OME::Length::nm}, {550, OME::Length::nm});
    path.set_primary_spherical_aberration(0.1);
    path.set_primary_spherical_aberration_slope_z(0.2);
}

/// What the schema has no place for.
inline void fill_extension(OME::Channel& channel) {
    channel.set_acquisition_mode(OME::Channel::Acquisition_Mode::STED_RESCUE);
    channel.set_dye("Dye:2");
    channel.set_band("Band:2");
    channel.set_color_map(OME::Dye::color_map(0xFF0000FF, false));
    channel.set_overlay_color_map(OME::Dye::color_map(0xFF0000FF, true));
    channel.set_excitation_repetition_rate({40, OME::Frequency::MHz});
    channel.set_excitation_delay({1, OME::Time::ns});
    channel.set_deactivation_light_source("LightSource:2");
    channel.set_deactivation_wavelength({775, OME::Length::nm});
    channel.set_deactivation_z_component(0.3);
    channel.set_deactivation_repetition_rate({20, OME::Frequency::MHz});
    channel.set_deactivation_delay({5, OME::Time::ns});
    channel.set_gating_delay({2, OME::Time::ns});
    channel.set_gating_width({8, OME::Time::ns});
    channel.set_line_accumulation(4);
    channel.set_RESCUE_significance_level(0.5);
    channel.set_signal_level_threshold(7);
    channel.set_interpolation_threshold(9);
    channel.add_detector_element({1, OME::Length::um}, {-1, OME::Length::um});
    channel.add_detector_element({2, OME::Length::um}, {-2, OME::Length::um});
}

inline void fill_channel(OME::Channel& channel, OME::OME& ome) {
    channel.name().set("channel");
    channel.samples_per_pixel().set(1);
    channel.ND_filter().set(0.5);
    channel.pockel_cell_setting().set(3);
    channel.set_color_in_RGBA(0xFF00FFFF);
    channel.set_contrast_method(OME::Channel::Contrast_Method::fluorescence);
    channel.set_illumination_type(OME::Channel::Illumination_Type::epifluorescence);
    channel.set_pinhole_size({50, OME::Length::um});
    channel.set_emission_wavelength({520, OME::Length::nm});
    fill_settings(channel, ome);
    fill_extension(channel);
}

inline OME::Image::Dimensions divided_dimensions() {
    OME::Image::Dimensions dimensions;
    dimensions.data_type = OME::Image::Data_Type::uint16;
    dimensions.dimension_order = OME::Image::Dimension_Order::XYZTC;
    dimensions.x = 4;
    dimensions.y = 3;
    dimensions.voxel_shape_in_meters = {1e-7, 2e-7, 1e-6};
    dimensions.time_increment_in_seconds = 0.5;
    dimensions.modulo_z = dimensions.modulo_c = dimensions.modulo_t = 2;
    dimensions.modulo_type_z = OME::Image_Modulo_Type::angle;
    dimensions.modulo_type_c = OME::Image_Modulo_Type::lifetime;
    dimensions.modulo_type_t = OME::Image_Modulo_Type::tile;
    dimensions.modulo_step_z = 15;
    return dimensions;
}

inline void fill_planes(OME::Image& image) {
    image.set_position_in_meters({1e-3, -1e-3, 0});
    OME::Plane& plane = image.plane({});
    plane.set_delta_t({0.25, OME::Time::s});
    plane.set_exposure_time({20, OME::Time::ms});
}

inline void fill_images(OME::OME& ome) {
    ome.images().emplace_back(OME::Image::Dimensions(), nullptr, nullptr);
    OME::Image& image = *ome.images().emplace_back(divided_dimensions(), nullptr, nullptr);
    fill_texts(image);
    image.set_acquisition_date(JSON::Time_Point(std::chrono::seconds(1'000'000'000)));
    image.set_acquisition_end_date(JSON::Time_Point(std::chrono::seconds(1'000'000'001)));
    image.set_instrument(ome.instruments().front());
    image.set_objective("Objective:2");
    image.objective_settings().correction_collar().set(0.17);
    image.objective_settings().set_medium(OME::Objective::Immersion::oil);
    image.objective_settings().set_refractive_index(1.5);
    image.set_type(OME::Image::Type::derived);
    image.set_scan_direction(OME::Image::Scan_Direction::bidirectional);
    image.set_scan_curve(OME::Image::Scan_Curve::sinusoidal);
    image.set_frame_step(1);
    image.set_line_step(2);
    image.set_pixel_step(3);
    image.set_rotation_angle_in_degrees(30);
    image.set_derivation_description("derived");
    image.add_source_image(ome.images().front());
    image.add_parameter_image(ome.images().front());
    image.significant_bits().set(12);
    image.interleaved().set(JSON::Boolean(false));
    image.big_endian().set(JSON::Boolean(false));
    fill_channel(image.provide_first_channel(), ome);
    fill_planes(image);
}

inline OME::ROI& add_region(OME::OME& ome) {
    for (double const size : {1e-6, 2e-6}) {
        OME::ROI& rectangle = *ome.ROIs().emplace_back();
        rectangle.set_position_in_meters({0, 1e-6, 0});
        rectangle.set_shape_in_meters({size, 2e-6, 3e-6});
        rectangle.set_rotation_angle_in_radians(0.5);
    }
    OME::ROI& region = *std::next(ome.ROIs().begin());
    fill_texts(region);
    OME::Line& line = *region.lines().emplace_back();
    line.x1().set(1);
    line.y1().set(2);
    line.x2().set(3);
    line.y2().set(4);
    line.the_z().set(0);
    line.the_c().set(0);
    line.the_t().set(0);
    line.transform().set_rotation_angle_in_radians(0.25);
    return region;
}

inline void fill_folders(OME::OME& ome, OME::ROI& region) {
    OME::Folder& folder = ome.provide_first_folder();
    fill_texts(folder);
    folder.set_creation_date(JSON::Time_Point(std::chrono::seconds(1'000'000'002)));
    folder.set_has_bookmark(true);
    folder.set_is_overview(true);
    folder.set_processing_grid("grid");
    folder.add(*ome.folders().emplace_back());
    folder.add(*std::next(ome.images().begin()));
    folder.add(region);
}

} // namespace detail

/// Fill a new document.
inline void fill_document(OME::Root& root) {
    OME::OME& ome = root.ome.element();
    ome.reset_UUID();
    ome.creator().set("tests");
    detail::fill_texts(ome.provide_first_project());
    detail::fill_instruments(ome);
    detail::fill_dyes(ome);
    detail::fill_images(ome);
    OME::ROI& region = detail::add_region(ome);
    OME::Image& image = *std::next(ome.images().begin());
    image.add(region);
    detail::fill_folders(ome, region);
    ome.datasets().emplace_back();
    OME::Dataset& dataset = *ome.datasets().emplace_back();
    detail::fill_texts(dataset);
    dataset.add(image);
    ome.first_project()->add(dataset);
    OME::Annotation& annotation = *ome.annotations().emplace_back("urn:vexa/tests");
    annotation.description().set("An annotation of no class.");
    annotation.contents().set(JSON::Map{{"note", JSON::List{JSON::Map{{"", "text"}}}}});
}

} // namespace Vexa::testing
