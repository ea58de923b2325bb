#include <vexa/ome/Transmittance_Range.h>

namespace OME {

Transmittance_Range::Transmittance_Range(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::optional<double> Transmittance_Range::cut_in_in_meters() const {
    return in_coherent_SI<Length>(cut_in_, cut_in_unit_);
}

void Transmittance_Range::set_cut_in(Quantity<Length> edge) { edge.store(cut_in_, cut_in_unit_); }

std::optional<double> Transmittance_Range::cut_out_in_meters() const {
    return in_coherent_SI<Length>(cut_out_, cut_out_unit_);
}

void Transmittance_Range::set_cut_out(Quantity<Length> edge) { edge.store(cut_out_, cut_out_unit_); }

std::optional<double> Transmittance_Range::cut_in_tolerance_in_meters() const {
    return in_coherent_SI<Length>(cut_in_tolerance_, cut_in_tolerance_unit_);
}

void Transmittance_Range::set_cut_in_tolerance(Quantity<Length> tolerance) {
    tolerance.store(cut_in_tolerance_, cut_in_tolerance_unit_);
}

std::optional<double> Transmittance_Range::cut_out_tolerance_in_meters() const {
    return in_coherent_SI<Length>(cut_out_tolerance_, cut_out_tolerance_unit_);
}

void Transmittance_Range::set_cut_out_tolerance(Quantity<Length> tolerance) {
    tolerance.store(cut_out_tolerance_, cut_out_tolerance_unit_);
}

template class One_of<Transmittance_Range>;

} // namespace OME
