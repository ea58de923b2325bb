#include <vexa/ome/Objective.h>

#include <vexa/ome/Reference_internal.h>

JSON::String_Cast<OME::Objective_Immersion, 0>::Map const&
JSON::String_Cast<OME::Objective_Immersion, 0>::map() {
    using enum OME::Objective_Immersion;
    static Map const names{{oil, "Oil"},     {water, "Water"},      {water_dipping, "WaterDipping"},
                           {air, "Air"},     {multi, "Multi"},      {glycerol, "Glycerol"},
                           {other, "Other"}, {silicone, "Silicone"}};
    return names;
}

namespace OME {

Objective::Objective(JSON::Proxy& parent, Position position)
    : Manufacturer_Specification_with_ID<Objective>(parent, position) {}

std::optional<double> Objective::refractive_index(Immersion immersion) {
    switch (immersion) {
    case Immersion::oil: return 1.518;
    case Immersion::water: return 1.333;
    case Immersion::air: return 1.0003;
    case Immersion::glycerol: return 1.518;
    case Immersion::silicone: return 1.405;
    default: return std::nullopt;
    }
}

std::optional<Objective::Immersion> Objective::immersion() const {
    Extension const* extension = extension_.referent();
    return enumerator_in(immersion_, Immersion::other, extension ? &extension->other_immersion : nullptr);
}

void Objective::set_immersion(Immersion immersion) {
    store_enumerator(immersion, Immersion::other, immersion_, extension_, &Extension::other_immersion);
}

std::optional<double> Objective::magnification() const {
    return real_in(calibrated_magnification_ ? calibrated_magnification_ : nominal_magnification_);
}

void Objective::set_nominal_magnification(double magnification) {
    store_real(magnification, nominal_magnification_);
}

void Objective::set_calibrated_magnification(double magnification) {
    store_real(magnification, calibrated_magnification_);
}

void Objective::resolve_references() { resolve(extension_); }

std::string const& Objective::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/objective/extension";
    return text;
}

Objective::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class Reference<Objective::Extension>;
template class Element_with_ID<Objective>;
template class Manufacturer_Specification_with_ID<Objective>;
template class Array_of<Objective>;
template class Reference<Objective const>;

} // namespace OME
