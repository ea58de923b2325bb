#include <vexa/ome/Band.h>

#include <vexa/ome/Reference_internal.h>

JSON::String_Cast<OME::Band_Type, 0>::Map const& JSON::String_Cast<OME::Band_Type, 0>::map() {
    static Map const names{{OME::Band_Type::plain, "Plain"}, {OME::Band_Type::TCSPC, "TCSPC"}};
    return names;
}

namespace OME {

Band::Band(JSON::Proxy& parent, Position position) : Element_with_ID<Band>(parent, position) {}

Dye const* Band::first_dye() const { return dyes_.empty() ? nullptr : dyes_.front().referent(); }

void Band::add_dye(JSON::Value const& dye_id) { dyes_.emplace_back(root().find_dye(dye_id)); }

std::optional<double> Band::emission_wavelength_in_meters() const {
    if (emission_wavelength_) return in_coherent_SI<Length>(emission_wavelength_, emission_wavelength_unit_);
    Dye const* dye = first_dye();
    return dye ? dye->emission_wavelength_in_meters() : std::nullopt;
}

void Band::set_emission_wavelength(Quantity<Length> wavelength) {
    wavelength.store(emission_wavelength_, emission_wavelength_unit_);
}

void Band::resolve_references() { resolve(dyes_); }

template class Element_with_ID<Band>;
template class Array_of<Band>;
template class Reference<Band>;

} // namespace OME
