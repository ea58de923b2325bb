#include <vexa/ome/Shape.h>

#include <cmath>
#include <limits>
#include <numbers>

#include <vexa/foundation/box.h>

namespace OME {

namespace {

struct Direction {
    double cosine, sine;

    double angle() const { return std::atan2(sine, cosine); }
};

/// The number that is some steps of rounding away.
double stepped(double number, int steps) {
    double const to =
        steps < 0 ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
    for (int i = std::abs(steps); i > 0; --i) number = std::nextafter(number, to);
    return number;
}

/// Cosine and sine, of which some pair in reach of their rounding errors has exactly this angle.
Direction direction_of(double angle) {
    Direction const nearest{std::cos(angle), std::sin(angle)};
    constexpr int reach = 3;
    for (int distance = 0; distance <= reach; ++distance)
        for (int i = -distance; i <= distance; ++i)
            for (int j = -distance; j <= distance; ++j) {
                Direction const near{stepped(nearest.cosine, i), stepped(nearest.sine, j)};
                if (near.angle() == angle) return near;
            }
    return nearest;
}

} // namespace

Shape::Shape(JSON::Proxy& parent, Position position) : Element_with_ID<Shape>(parent, position) {}

Shape::Transform::Transform(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

double Shape::Transform::rotation_angle_in_radians() const {
    constexpr double tolerance = 1e-6; // for those who write six digits
    auto const a00 = real_in(A00), a10 = real_in(A10), a01 = real_in(A01), a11 = real_in(A11);
    if (!a00 || !a10 || !a01 || !a11) return 0;
    if (!VX::is_equal(*a00, *a11, tolerance) || !VX::is_equal(*a10, -*a01, tolerance)) return 0;
    return std::atan2(*a10, *a00);
}

void Shape::Transform::set_rotation_angle_in_radians(double angle) {
    Document<double>::check(JSON::Value(angle));
    bool const is_within_a_turn = std::abs(angle) <= std::numbers::pi;
    Direction const direction =
        direction_of(is_within_a_turn ? angle : std::remainder(angle, 2 * std::numbers::pi));
    A00.set(direction.cosine);
    A10.set(direction.sine);
    A01.set(0.0 - direction.sine); // not -0
    A11.set(direction.cosine);
    A02.set(0.0);
    A12.set(0.0);
}

template class Element_with_ID<Shape>;
template class One_of<Shape::Transform>;

} // namespace OME
