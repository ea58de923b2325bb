#include <vexa/ome/Modulo.h>

#include <cmath>

#include <fmt/format.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

using Axis = Image_Layout::Axis;

char letter_of(Axis axis) { return "ZCT"[axis]; }

/// \throws Invalid_Data
void demand_step(Axis axis, double step) {
    if (step == 0 || !std::isfinite(step))
        throw Invalid_Data(fmt::format("Invalid step modulo {}.", letter_of(axis)));
}

/// \throws Invalid_Data
std::uint64_t demand_count(Axis axis, Image::Modulo::Range const& range) {
    demand_step(axis, range.step);
    auto const count = range.count();
    if (!count) throw Invalid_Data(fmt::format("Invalid range modulo {}.", letter_of(axis)));
    return *count;
}

} // namespace

std::optional<std::uint64_t> Image::Modulo::Range::count() const {
    double const count = std::trunc((end - start) / step + 0.5) + 1;
    constexpr double limit = 9223372036854775808.0; // sizes are integers of 63 bits
    if (!(count >= 1 && count < limit)) return std::nullopt;
    return static_cast<std::uint64_t>(count);
}

Image::Modulo::Range Image::Modulo::Range::with_count(std::uint64_t count) const {
    return {start, step, start + static_cast<double>(count - 1) * step, unit};
}

Image::Modulo::Along::Along(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

Image::Modulo::Modulo(JSON::Proxy& parent, Position position)
    : Annotation(parent, position, namespace_text()) {
    modulo_namespace_.set(MODULO_ELEMENT_NAMESPACE);
}

One_of<Image::Modulo::Along>& Image::Modulo::along(Axis axis) {
    return axis == Image_Layout::Z ? along_z_ : axis == Image_Layout::C ? along_c_ : along_t_;
}

std::optional<Image::Modulo::Axis> Image::Modulo::axis_of(Type of) const {
    for (Axis const axis : {Image_Layout::Z, Image_Layout::C, Image_Layout::T})
        if (type(axis) == of) return axis;
    return std::nullopt;
}

std::optional<Image::Modulo::Range> Image::Modulo::range(Axis axis) const {
    if (!has(axis)) return std::nullopt;
    Along const& fields = along(axis);
    auto const start = real_in(fields.start), step = real_in(fields.step), end = real_in(fields.end);
    if (step) demand_step(axis, *step);
    if (!start || !step || !end) return std::nullopt;
    return Range{*start, *step, *end, fields.unit.value_or("").get<std::string>()};
}

std::optional<Image::Modulo::Range> Image::Modulo::range(Type type) const {
    auto const axis = axis_of(type);
    return axis ? range(*axis) : std::nullopt;
}

std::uint64_t Image::Modulo::count(Axis axis) const {
    auto const found = range(axis);
    return found ? demand_count(axis, *found) : 1;
}

void Image::Modulo::set_range(Axis axis, Type type, Range const& range) {
    dimension_at(type);
    Range const whole = range.with_count(demand_count(axis, range));
    Along& fields = along(axis);
    fields.type.set(type);
    store_real(whole.start, fields.start);
    store_real(whole.step, fields.step);
    store_real(whole.end, fields.end);
    if (!whole.unit.empty()) fields.unit.set(whole.unit);
}

void Image::Modulo::set_range(Type type, Range const& range) {
    dimension_at(type);
    auto const axis = axis_of(type);
    if (!axis) throw Invalid_Argument("No modulo of type {}.", JSON::Value(type));
    set_range(*axis, type, range);
}

void Image::Modulo::set_end(Axis axis, std::uint64_t count) {
    Along& fields = along(axis);
    Range const range{real_in(fields.start).value_or(0), real_in(fields.step).value_or(1), 0, {}};
    Range const whole = range.with_count(count);
    if (count == 0 || demand_count(axis, whole) != count)
        throw Invalid_Data(fmt::format("Invalid range modulo {}.", letter_of(axis)));
    store_real(whole.start, fields.start);
    store_real(whole.end, fields.end);
}

void Image::Modulo::demand_addable(Axis axis, Type added) const {
    dimension_at(added);
    auto const present = type(axis);
    if (present && *present != added)
        throw Invalid_Argument(fmt::format("Modulo along {} already has type {{}}.", letter_of(axis)),
                               JSON::Value(*present));
}

void Image::Modulo::add(Axis axis, Type added) {
    demand_addable(axis, added);
    set_end(axis, count(axis) + 1);
    Along& fields = along(axis);
    fields.type.set(added);
    store_real(real_in(fields.step).value_or(1), fields.step);
}

template class Document<JSON::Number, JSON::Default<1>>;
template class Document<std::string, JSON::Enum<Image_Modulo_Type>>;
template class One_of<Image::Modulo::Along>;
template class Reference<Image::Modulo>;

} // namespace OME
