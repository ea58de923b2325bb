#include <vexa/ome/Detector.h>

#include <vexa/ome/Reference_internal.h>

JSON::String_Cast<OME::Detector_Type, 0>::Map const& JSON::String_Cast<OME::Detector_Type, 0>::map() {
    using enum OME::Detector_Type;
    static Map const names{{CCD, "CCD"},
                           {intensified_CCD, "IntensifiedCCD"},
                           {analog_video, "AnalogVideo"},
                           {PMT, "PMT"},
                           {photodiode, "Photodiode"},
                           {spectroscopy, "Spectroscopy"},
                           {lifetime_imaging, "LifetimeImaging"},
                           {correlation_spectroscopy, "CorrelationSpectroscopy"},
                           {FTIR, "FTIR"},
                           {EMCCD, "EMCCD"},
                           {APD, "APD"},
                           {CMOS, "CMOS"},
                           {EBCCD, "EBCCD"},
                           {other, "Other"},
                           {SPAD, "SPAD"},
                           {hybrid_PMT, "Hybrid_PMT"},
                           {SPAD_array, "SPAD_Array"}};
    return names;
}

namespace OME {

Detector::Detector(JSON::Proxy& parent, Position position)
    : Manufacturer_Specification_with_ID<Detector>(parent, position) {}

std::optional<Detector::Type> Detector::type() const {
    Extension const* extension = extension_.referent();
    return enumerator_in(type_, Type::other, extension ? &extension->other_type : nullptr);
}

void Detector::set_type(Type type) {
    store_enumerator(type, Type::other, type_, extension_, &Extension::other_type);
}

std::optional<double> Detector::dead_time_in_seconds() const {
    Extension const* extension = extension_.referent();
    return extension ? in_coherent_SI<Time>(extension->dead_time, extension->dead_time_unit) : std::nullopt;
}

void Detector::set_dead_time(Quantity<Time> dead_time) {
    JSON::Value const name(dead_time.unit); // refused, if need be, before an extension is made
    dead_time.store(extension_->dead_time, extension_->dead_time_unit);
}

void Detector::resolve_references() { resolve(extension_); }

std::string const& Detector::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/detector/extension";
    return text;
}

Detector::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class Reference<Detector::Extension>;
template class Element_with_ID<Detector>;
template class Manufacturer_Specification_with_ID<Detector>;
template class Array_of<Detector>;
template class Reference<Detector const>;

} // namespace OME
