#include <vexa/ome/Channel_Extension.h>

#include <utility>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

using Extension = Channel::Extension;

} // namespace

Extension::Other_Light_Source_Settings::Other_Light_Source_Settings(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::optional<double> Extension::Other_Light_Source_Settings::repetition_rate_in_hertz() const {
    return in_coherent_SI<Frequency>(repetition_rate_, repetition_rate_unit_);
}

void Extension::Other_Light_Source_Settings::set_repetition_rate(Quantity<Frequency> rate) {
    rate.store(repetition_rate_, repetition_rate_unit_);
}

std::optional<double> Extension::Other_Light_Source_Settings::delay_in_seconds() const {
    return in_coherent_SI<Time>(delay_, delay_unit_);
}

void Extension::Other_Light_Source_Settings::set_delay(Quantity<Time> delay) {
    delay.store(delay_, delay_unit_);
}

Extension::Excitation::Excitation(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

Extension::Deactivation::Deactivation(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::optional<double> Extension::Deactivation::wavelength_in_meters() const {
    if (wavelength_) return in_coherent_SI<Length>(wavelength_, wavelength_unit_);
    return light_source_settings.wavelength_in_meters();
}

void Extension::Deactivation::set_wavelength(Quantity<Length> wavelength) {
    wavelength.store(wavelength_, wavelength_unit_);
}

void Extension::Deactivation::set_light_source(Light_Source const& source) {
    light_source_settings.assign(source);
    if (auto const wavelength = light_source_settings.wavelength()) set_wavelength(*wavelength);
}

Extension::Gating::Gating(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::optional<double> Extension::Gating::delay_in_seconds() const {
    return in_coherent_SI<Time>(delay_, delay_unit_);
}

void Extension::Gating::set_delay(Quantity<Time> delay) { delay.store(delay_, delay_unit_); }

std::optional<double> Extension::Gating::width_in_seconds() const {
    return in_coherent_SI<Time>(width_, width_unit_);
}

void Extension::Gating::set_width(Quantity<Time> width) { width.store(width_, width_unit_); }

Extension::Line::Line(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

Extension::RESCUE::RESCUE(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

JSON::Proxy& Extension::RESCUE::with_blank_in_key(JSON::Proxy& element) {
    JSON::Map* attributes = element.has_value() ? element.get_value().get_if<JSON::Map>() : nullptr;
    auto attribute = attributes ? attributes->extract("significance_level") : JSON::Map::node_type();
    if (attribute) {
        attribute.key().insert(0, 1, ' ');
        attributes->insert(std::move(attribute));
    }
    return element;
}

Extension::Detector_Element::Detector_Element(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::optional<double> Extension::Detector_Element::offset_x_in_meters() const {
    return in_coherent_SI<Length>(offset_x_, offset_x_unit_);
}

std::optional<double> Extension::Detector_Element::offset_y_in_meters() const {
    return in_coherent_SI<Length>(offset_y_, offset_y_unit_);
}

void Extension::Detector_Element::set_offset(Quantity<Length> x, Quantity<Length> y) {
    x.store(offset_x_, offset_x_unit_);
    y.store(offset_y_, offset_y_unit_);
}

Extension::Other_Detector_Settings::Other_Detector_Settings(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::string const& Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/channel/extension";
    return text;
}

Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

void Extension::resolve_references() {
    resolve(dye_reference, band_reference, deactivation.light_source_settings);
}

template class One_of<Extension::Other_Light_Source_Settings>;
template class One_of<Extension::Excitation>;
template class One_of<Extension::Deactivation>;
template class One_of<Extension::Gating>;
template class One_of<Extension::Line>;
template class One_of<Extension::RESCUE>;
template class Array_of<Extension::Detector_Element>;
template class One_of<Extension::Other_Detector_Settings>;
template class One_of<Reference<Dye>>;
template class One_of<Reference<Band>>;
template class Reference<Extension>;

} // namespace OME
