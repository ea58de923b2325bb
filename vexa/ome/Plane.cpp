#include <vexa/ome/Plane.h>

namespace OME {

Plane::Plane(JSON::Proxy& parent, Position position) : Element<Object_of_Documents>(parent, position) {}

Plane::Plane(JSON::Proxy& parent, Position position, long long z, long long c, long long t)
    : Plane(parent, position) {
    z_.set(z);
    c_.set(c);
    t_.set(t);
}

std::optional<double> Plane::delta_t() const { return in_coherent_SI<Time>(delta_t_, delta_t_unit_); }

void Plane::set_delta_t(Quantity<Time> time) { time.store(delta_t_, delta_t_unit_); }

std::optional<double> Plane::exposure_time() const {
    return in_coherent_SI<Time>(exposure_time_, exposure_time_unit_);
}

void Plane::set_exposure_time(Quantity<Time> time) { time.store(exposure_time_, exposure_time_unit_); }

std::optional<double> Plane::position_x_in_meters() const {
    return in_coherent_SI<Length>(position_x_, position_x_unit_);
}

std::optional<double> Plane::position_y_in_meters() const {
    return in_coherent_SI<Length>(position_y_, position_y_unit_);
}

std::optional<double> Plane::position_z_in_meters() const {
    return in_coherent_SI<Length>(position_z_, position_z_unit_);
}

std::optional<VX::XYZ<double>> Plane::position_in_meters() const {
    auto const x = position_x_in_meters(), y = position_y_in_meters(), z = position_z_in_meters();
    if (!x || !y || !z) return std::nullopt;
    return VX::XYZ<double>{*x, *y, *z};
}

void Plane::set_position_x_in_meters(double x) {
    Quantity<Length>{x, Length::m}.store(position_x_, position_x_unit_);
}

void Plane::set_position_y_in_meters(double y) {
    Quantity<Length>{y, Length::m}.store(position_y_, position_y_unit_);
}

void Plane::set_position_z_in_meters(double z) {
    Quantity<Length>{z, Length::m}.store(position_z_, position_z_unit_);
}

void Plane::set_position_in_meters(VX::XYZ<double> const& position) {
    set_position_x_in_meters(position.x);
    set_position_y_in_meters(position.y);
    set_position_z_in_meters(position.z);
}

template class Array_of<Plane>;

} // namespace OME
