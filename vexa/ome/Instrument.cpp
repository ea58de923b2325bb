#include <vexa/ome/Instrument.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Instrument::Instrument(JSON::Proxy& parent, Position position)
    : Element_with_ID<Instrument>(parent, position) {}

std::optional<double> Instrument::pinhole_reference_wavelength_in_meters() const {
    Extension const* extension = extension_.referent();
    if (!extension) return std::nullopt;
    auto const& pinhole = extension->pinhole;
    return in_coherent_SI<Length>(pinhole.reference_wavelength, pinhole.reference_wavelength_unit);
}

void Instrument::set_pinhole_reference_wavelength(Quantity<Length> wavelength) {
    JSON::Value const name(wavelength.unit); // refused, if need be, before an extension is made
    auto& pinhole = extension_->pinhole;
    wavelength.store(pinhole.reference_wavelength, pinhole.reference_wavelength_unit);
}

void Instrument::resolve_references() { resolve(detectors_, objectives_, extension_); }

Instrument::Extension::Pinhole::Pinhole(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::string const& Instrument::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/instrument/extension";
    return text;
}

Instrument::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class One_of<Instrument::Extension::Pinhole>;
template class Reference<Instrument::Extension>;
template class Element_with_ID<Instrument>;
template class Array_of<Instrument>;
template class Reference<Instrument>;

} // namespace OME
