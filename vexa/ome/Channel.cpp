#include <vexa/ome/Channel.h>

#include <bit>
#include <limits>
#include <variant>

#include <vexa/ome/Channel_Extension.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

Channel::Channel(JSON::Proxy& parent, Position position) : Element_with_ID<Channel>(parent, position) {}

unsigned Channel::color_in_RGBA() const {
    auto const color = JSON::Value_Cast<int, 0>::to_if(*color_.value());
    if (!color) throw std::bad_variant_access();
    return static_cast<unsigned>(*color);
}

void Channel::set_color_in_RGBA(unsigned color) { color_.set(static_cast<int>(color)); }

unsigned Channel::color_in_ARGB() const { return std::rotr(color_in_RGBA(), 8); }

void Channel::set_color_in_ARGB(unsigned color) { set_color_in_RGBA(std::rotl(color, 8)); }

std::optional<Channel::Acquisition_Mode> Channel::acquisition_mode() const {
    Extension const* extension = extension_.referent();
    return enumerator_in(acquisition_mode_, Acquisition_Mode::other,
                         extension ? &extension->other_acquisition_mode : nullptr);
}

void Channel::set_acquisition_mode(Acquisition_Mode mode) {
    store_enumerator(mode, Acquisition_Mode::other, acquisition_mode_, extension_,
                     &Extension::other_acquisition_mode);
}

std::optional<Channel::Contrast_Method> Channel::contrast_method() const {
    return enumerator_in<Contrast_Method>(contrast_method_);
}

std::optional<Channel::Illumination_Type> Channel::illumination_type() const {
    return enumerator_in<Illumination_Type>(illumination_type_);
}

std::optional<double> Channel::pinhole_size_in_meters() const {
    return in_coherent_SI<Length>(pinhole_size_, pinhole_size_unit_);
}

void Channel::set_pinhole_size(Quantity<Length> size) { size.store(pinhole_size_, pinhole_size_unit_); }

std::optional<double> Channel::excitation_wavelength_in_meters() const {
    if (excitation_wavelength_)
        return in_coherent_SI<Length>(excitation_wavelength_, excitation_wavelength_unit_);
    return light_source_settings_.wavelength_in_meters();
}

void Channel::set_excitation_wavelength(Quantity<Length> wavelength) {
    wavelength.store(excitation_wavelength_, excitation_wavelength_unit_);
}

std::optional<double> Channel::emission_wavelength_in_meters() const {
    return in_coherent_SI<Length>(emission_wavelength_, emission_wavelength_unit_);
}

void Channel::set_emission_wavelength(Quantity<Length> wavelength) {
    wavelength.store(emission_wavelength_, emission_wavelength_unit_);
}

void Channel::set_light_source(JSON::Value const& light_source_id) {
    light_source_settings_.assign(root().find_light_source(light_source_id));
    if (auto const wavelength = light_source_settings_.wavelength()) set_excitation_wavelength(*wavelength);
}

void Channel::set_detector(JSON::Value const& detector_id) {
    detector_settings_.assign(root().find_detector(detector_id));
}

/// The extension, made if need be, but not for a unit that can't be stored.
template <typename Unit>
Channel::Extension& Channel::extension_for(Quantity<Unit> quantity) {
    JSON::Value const name(quantity.unit);
    return *extension_;
}

Dye* Channel::dye() { return extension_.referent() ? extension_->dye_reference.referent() : nullptr; }

Dye const* Channel::dye() const { return const_cast<Channel*>(this)->dye(); }

Band* Channel::band() { return extension_.referent() ? extension_->band_reference.referent() : nullptr; }

Band const* Channel::band() const { return const_cast<Channel*>(this)->band(); }

void Channel::set_dye(JSON::Value const& dye_id) {
    Dye& dye = root().find_dye(dye_id);
    extension_->dye_reference.assign(dye);
    fluor_ = dye.name();
}

void Channel::set_band(JSON::Value const& band_id) {
    Band& band = root().find_band(band_id);
    extension_->band_reference.assign(band);
    if (Dye const* dye = band.first_dye()) fluor_ = dye->name();
}

void Channel::clear_dye() {
    if (extension_.referent()) extension_->dye_reference.reset();
    fluor_.reset();
}

void Channel::clear_band() {
    if (extension_.referent()) extension_->band_reference.reset();
    fluor_.reset();
}

JSON::Value Channel::color_map() const {
    Extension const* extension = extension_.referent();
    return extension ? JSON_in(extension->color_map.content) : JSON::Value();
}

void Channel::set_color_map(JSON::Value const& map) { store_JSON(map, extension_->color_map.content); }

void Channel::reset_color_map() {
    if (extension_.referent()) extension_->color_map.reset();
}

JSON::Value Channel::overlay_color_map() const {
    Extension const* extension = extension_.referent();
    return extension ? JSON_in(extension->overlay_color_map.content) : JSON::Value();
}

void Channel::set_overlay_color_map(JSON::Value const& map) {
    store_JSON(map, extension_->overlay_color_map.content);
}

void Channel::reset_overlay_color_map() {
    if (extension_.referent()) extension_->overlay_color_map.reset();
}

std::optional<double> Channel::excitation_repetition_rate_in_hertz() const {
    Extension const* in = extension_.referent();
    return in ? in->excitation.other_light_source_settings.repetition_rate_in_hertz() : std::nullopt;
}

void Channel::set_excitation_repetition_rate(Quantity<Frequency> rate) {
    extension_for(rate).excitation.other_light_source_settings.set_repetition_rate(rate);
}

std::optional<double> Channel::excitation_delay_in_seconds() const {
    Extension const* in = extension_.referent();
    return in ? in->excitation.other_light_source_settings.delay_in_seconds() : std::nullopt;
}

void Channel::set_excitation_delay(Quantity<Time> delay) {
    extension_for(delay).excitation.other_light_source_settings.set_delay(delay);
}

Light_Source const* Channel::deactivation_light_source() const {
    Extension const* in = extension_.referent();
    return in ? in->deactivation.light_source_settings.referent() : nullptr;
}

void Channel::set_deactivation_light_source(JSON::Value const& light_source_id) {
    Light_Source const& source = root().find_light_source(light_source_id);
    extension_->deactivation.set_light_source(source);
}

std::optional<double> Channel::deactivation_wavelength_in_meters() const {
    Extension const* in = extension_.referent();
    return in ? in->deactivation.wavelength_in_meters() : std::nullopt;
}

void Channel::set_deactivation_wavelength(Quantity<Length> wavelength) {
    extension_for(wavelength).deactivation.set_wavelength(wavelength);
}

std::optional<double> Channel::deactivation_z_component() const {
    Extension const* in = extension_.referent();
    return in ? real_in(in->deactivation.z_component) : std::nullopt;
}

void Channel::set_deactivation_z_component(double component) {
    store_real(component, extension_->deactivation.z_component);
}

std::optional<double> Channel::deactivation_repetition_rate_in_hertz() const {
    Extension const* in = extension_.referent();
    return in ? in->deactivation.other_light_source_settings.repetition_rate_in_hertz() : std::nullopt;
}

void Channel::set_deactivation_repetition_rate(Quantity<Frequency> rate) {
    extension_for(rate).deactivation.other_light_source_settings.set_repetition_rate(rate);
}

std::optional<double> Channel::deactivation_delay_in_seconds() const {
    Extension const* in = extension_.referent();
    return in ? in->deactivation.other_light_source_settings.delay_in_seconds() : std::nullopt;
}

void Channel::set_deactivation_delay(Quantity<Time> delay) {
    extension_for(delay).deactivation.other_light_source_settings.set_delay(delay);
}

std::optional<double> Channel::gating_delay_in_seconds() const {
    Extension const* in = extension_.referent();
    return in ? in->gating.delay_in_seconds() : std::nullopt;
}

void Channel::set_gating_delay(Quantity<Time> delay) { extension_for(delay).gating.set_delay(delay); }

std::optional<double> Channel::gating_width_in_seconds() const {
    Extension const* in = extension_.referent();
    return in ? in->gating.width_in_seconds() : std::nullopt;
}

void Channel::set_gating_width(Quantity<Time> width) { extension_for(width).gating.set_width(width); }

std::optional<long long> Channel::line_accumulation() const {
    Extension const* in = extension_.referent();
    return in ? integer_in(in->line.accumulation) : std::nullopt;
}

void Channel::set_line_accumulation(int accumulation) { extension_->line.accumulation.set(accumulation); }

std::optional<double> Channel::RESCUE_significance_level() const {
    Extension const* in = extension_.referent();
    return in ? real_in(in->rescue.significance_level) : std::nullopt;
}

void Channel::set_RESCUE_significance_level(double level) {
    store_real(level, extension_->rescue.significance_level);
}

std::optional<long long> Channel::signal_level_threshold() const {
    Extension const* in = extension_.referent();
    return in ? integer_in(in->rescue.signal_level_threshold) : std::nullopt;
}

void Channel::set_signal_level_threshold(int threshold) {
    extension_->rescue.signal_level_threshold.set(threshold);
}

std::optional<long long> Channel::interpolation_threshold() const {
    Extension const* in = extension_.referent();
    return in ? integer_in(in->rescue.interpolation_threshold) : std::nullopt;
}

void Channel::set_interpolation_threshold(int threshold) {
    extension_->rescue.interpolation_threshold.set(threshold);
}

std::vector<std::pair<double, double>> Channel::detector_element_offsets_in_meters() const {
    std::vector<std::pair<double, double>> offsets;
    Extension const* in = extension_.referent();
    if (!in) return offsets;
    constexpr double missing = std::numeric_limits<double>::quiet_NaN();
    for (auto const& element : in->other_detector_settings.detector_elements)
        offsets.emplace_back(element.offset_x_in_meters().value_or(missing),
                             element.offset_y_in_meters().value_or(missing));
    return offsets;
}

void Channel::add_detector_element(Quantity<Length> x, Quantity<Length> y) {
    JSON::Value const name(x.unit);
    extension_for(y).other_detector_settings.detector_elements.emplace_back()->set_offset(x, y);
}

void Channel::resolve_references() {
    resolve(light_source_settings_, detector_settings_, extension_, light_path_);
}

template class Element_with_ID<Channel>;
template class Array_of<Channel>;

} // namespace OME
