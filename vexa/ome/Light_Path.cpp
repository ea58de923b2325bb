#include <vexa/ome/Light_Path.h>

#include <iterator>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

/// Give the last one of \p count filters settings of its own. A document may have settings for fewer filters,
/// or for more.
void add_last(Array_of<Light_Path::Extension::Filter_Settings>& settings, std::size_t count) {
    while (settings.size() >= count) settings.erase(std::prev(settings.end()));
    while (settings.size() < count) settings.emplace_back();
}

} // namespace

Light_Path::Light_Path(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

void Light_Path::add_excitation_filter(JSON::Value const& filter_id) {
    excitation_filters_.emplace_back(root().find_filter(filter_id));
    add_last(extension_->excitation_filter_settings, excitation_filters_.size());
}

void Light_Path::add_emission_filter(JSON::Value const& filter_id) {
    emission_filters_.emplace_back(root().find_filter(filter_id));
    add_last(extension_->emission_filter_settings, emission_filters_.size());
}

std::optional<double> Light_Path::emission_edge(Edge edge) const {
    if (emission_filters_.empty()) return std::nullopt;
    Extension const* extension = extension_.referent();
    if (extension && !extension->emission_filter_settings.empty())
        if (auto const set = (extension->emission_filter_settings.front().transmittance_range.*edge)())
            return set;
    Filter const* filter = emission_filters_.front().referent();
    return filter ? (filter->transmittance_range().*edge)() : std::nullopt;
}

std::optional<double> Light_Path::emission_cut_in_in_meters() const {
    return emission_edge(&Transmittance_Range::cut_in_in_meters);
}

std::optional<double> Light_Path::emission_cut_out_in_meters() const {
    return emission_edge(&Transmittance_Range::cut_out_in_meters);
}

std::optional<std::pair<double, double>> Light_Path::emission_band_in_meters() const {
    auto const cut_in = emission_cut_in_in_meters(), cut_out = emission_cut_out_in_meters();
    if (!cut_in || !cut_out) return std::nullopt;
    return std::pair(*cut_in, *cut_out);
}

Transmittance_Range& Light_Path::provide_emission_range() {
    if (emission_filters_.empty()) throw Invalid_Argument("No emission filter.");
    auto& settings = extension_->emission_filter_settings;
    if (settings.empty()) settings.emplace_back();
    return settings.front().transmittance_range;
}

void Light_Path::set_emission_cut_in(Quantity<Length> edge) {
    JSON::Value const name(edge.unit); // refused, if need be, before an extension is made
    provide_emission_range().set_cut_in(edge);
}

void Light_Path::set_emission_cut_out(Quantity<Length> edge) {
    JSON::Value const name(edge.unit); // as above
    provide_emission_range().set_cut_out(edge);
}

void Light_Path::set_emission_band(Quantity<Length> cut_in, Quantity<Length> cut_out) {
    JSON::Value const names[] = {cut_in.unit, cut_out.unit}; // as above
    set_emission_cut_in(cut_in);
    set_emission_cut_out(cut_out);
}

std::optional<double> Light_Path::primary_spherical_aberration() const {
    Extension const* extension = extension_.referent();
    return extension ? real_in(extension->aberrations.primary_spherical) : std::nullopt;
}

void Light_Path::set_primary_spherical_aberration(double aberration) {
    store_real(aberration, extension_->aberrations.primary_spherical);
}

std::optional<double> Light_Path::primary_spherical_aberration_slope_z() const {
    Extension const* extension = extension_.referent();
    return extension ? real_in(extension->aberrations.primary_spherical_slope_z) : std::nullopt;
}

void Light_Path::set_primary_spherical_aberration_slope_z(double slope) {
    store_real(slope, extension_->aberrations.primary_spherical_slope_z);
}

void Light_Path::resolve_references() { resolve(excitation_filters_, emission_filters_, extension_); }

Light_Path::Extension::Filter_Settings::Filter_Settings(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

Light_Path::Extension::Aberrations::Aberrations(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::string const& Light_Path::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/light_path/extension";
    return text;
}

Light_Path::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class Array_of<Light_Path::Extension::Filter_Settings>;
template class One_of<Light_Path::Extension::Aberrations>;
template class Reference<Light_Path::Extension>;
template class One_of<Light_Path>;

} // namespace OME
