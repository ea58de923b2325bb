// The planes of an image: finding, making and visiting them, and the growth of the image along T.

#include <algorithm>
#include <limits>
#include <stdexcept>

#include <vexa/ome/Image.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

using Steps = Image_Layout::Steps;

/// Go on to the next plane of a box in the sequence of storage.
/// \return whether there is one
bool advance(Steps& at, Steps const& begin, Steps const& end) {
    for (std::size_t i = 0; i < at.size(); ++i) {
        if (++at[i] < end[i]) return true;
        at[i] = begin[i];
    }
    return false;
}

} // namespace

void Image::demand_place_for(std::uint64_t number_of_planes) {
    if (number_of_planes > most_planes)
        throw Invalid_Argument("Image can't hold plane {}.", JSON::Value(JSON::Number(number_of_planes - 1)));
}

/// \pre \p index is at most the length of the list
Array_of<Plane>::const_iterator Image::plane_at(std::uint64_t index) const {
    std::size_t const size = planes_.size();
    if (index > size / 2) return std::prev(planes_.end(), static_cast<std::ptrdiff_t>(size - index));
    return std::next(planes_.begin(), static_cast<std::ptrdiff_t>(index));
}

Plane const* Image::plane(ZCT_Tuple const& tuple) const {
    if (!layout_.contains(tuple)) return nullptr;
    std::uint64_t const index = layout_.index_of(tuple);
    return index < planes_.size() ? &*plane_at(index) : nullptr;
}

Plane& Image::plane(ZCT_Tuple const& tuple) {
    Plane const* found = std::as_const(*this).plane(tuple);
    if (!found) return insert_plane(tuple);
    forget_tiles_from(tile_of(tuple));
    return const_cast<Plane&>(*found);
}

Plane& Image::insert_plane(ZCT_Tuple const& tuple) {
    if (!layout_.contains(tuple)) throw std::out_of_range("Plane is outside of the image.");
    std::uint64_t const index = layout_.index_of(tuple);
    forget_tiles_from(tile_of(tuple));
    provide_planes(index);
    return const_cast<Plane&>(*plane_at(index));
}

void Image::provide_planes(std::uint64_t last) {
    if (last < planes_.size()) return;
    demand_place_for(last == std::numeric_limits<std::uint64_t>::max() ? last : last + 1);
    while (planes_.size() <= last) make_plane(planes_.size());
}

Plane& Image::make_plane(std::uint64_t index) {
    ZCT_Tuple const at = layout_.tuple_at(index);
    auto const whole = [this](Image_Layout::Axis axis, std::uint64_t step, std::uint64_t modulo_step) {
        return static_cast<long long>(step * layout_.extents[axis].modulo_size + modulo_step);
    };
    return *planes_.emplace_back(whole(Image_Layout::Z, at.z, at.modulo_z),
                                 whole(Image_Layout::C, at.c, at.modulo_c),
                                 whole(Image_Layout::T, at.t, at.modulo_t));
}

Image::ZCT_Tuple Image::end() const { return layout_.tuple_of(layout_.sizes()); }

Image::Steps Image::end_of_box(ZCT_Tuple const& to) const {
    Steps end = layout_.steps_of(to);
    for (std::size_t i = 0; i < end.size(); ++i) end[i] = std::min(end[i], layout_.sizes()[i]);
    return end;
}

/// Stops behind the last plane in the list. The places of planes rise, so that this isn't long.
void Image::visit_planes(Steps const& begin, Steps const& end, Visitor const& visit) const {
    if (!is_below(begin, end)) return;
    std::uint64_t place = std::min<std::uint64_t>(layout_.index_of(begin), planes_.size());
    auto plane = plane_at(place);
    Steps at = begin;
    do {
        std::uint64_t const next = layout_.index_of(at);
        if (next >= planes_.size()) return;
        for (; place < next; ++place) ++plane;
        visit(at, *plane);
    } while (advance(at, begin, end));
}

void Image::visit_or_make_planes(Steps const& begin, Steps const& end,
                                 std::function<void(Steps const&, Plane&)> const& visit) {
    if (!is_below(begin, end)) return;
    Steps last = end;
    for (std::uint64_t& step : last) --step;
    provide_planes(layout_.index_of(last));
    forget_tiles_from(tile_of(layout_.tuple_of(begin)));
    visit_planes(begin, end,
                 [&](Steps const& at, Plane const& plane) { visit(at, const_cast<Plane&>(plane)); });
}

void Image::for_each_plane(ZCT_Tuple const& from, ZCT_Tuple const& to,
                           std::function<void(Plane&)> const& function) {
    visit_or_make_planes(layout_.steps_of(from), end_of_box(to),
                         [&](Steps const&, Plane& plane) { function(plane); });
}

void Image::for_each_plane(ZCT_Tuple const& from, ZCT_Tuple const& to,
                           std::function<void(Plane const&)> const& function) const {
    visit_planes(layout_.steps_of(from), end_of_box(to),
                 [&](Steps const&, Plane const& plane) { function(plane); });
}

void Image::for_each_plane(std::function<void(Plane&)> const& function) {
    for_each_plane({}, end(), function);
}

void Image::for_each_plane(std::function<void(Plane const&)> const& function) const {
    for_each_plane({}, end(), function);
}

void Image::add_t() {
    Image_Layout after = layout_;
    ZCT_Tuple const first_new{.t = after.extents[Image_Layout::T].size++};
    extend_t(after, first_new, nullptr, nullptr);
}

void Image::add_modulo_t(Image_Modulo_Type type, VX::XYZ<double> const& position) {
    dimension_at(type);
    if (modulo()) modulo()->demand_addable(Image_Layout::T, type);
    Image_Layout after = layout_;
    after.extents[Image_Layout::T].modulo_type = type;
    ZCT_Tuple const first_new{.modulo_t = after.extents[Image_Layout::T].modulo_size++};
    extend_t(
        after, first_new, [&] { modulo_.get_referent()->add_t(type); }, &position);
}

void Image::extend_t(Image_Layout after, ZCT_Tuple const& first_new,
                     std::function<void()> const& extend_modulo, VX::XYZ<double> const* position) {
    auto const& extent = after.extents[Image_Layout::T];
    constexpr std::uint64_t limit = std::numeric_limits<long long>::max();
    if (extent.size > limit / extent.modulo_size) throw Invalid_Data("Image is too large.");
    after.adjust_stride();
    demand_place_for(after.number_of_planes());
    if (extend_modulo) extend_modulo();
    size_t_.set(extent.size * extent.modulo_size);
    Image_Layout const before = std::exchange(layout_, after);
    constexpr auto tile = Image_Modulo_Type::tile;
    if (before.axis_of(tile) != layout_.axis_of(tile)) forget_tiles_from(0);
    add_missing_planes(before, first_new, position);
}

/// Where T isn't the slowest axis, new planes come between those that are there.
void Image::add_missing_planes(Image_Layout const& before, ZCT_Tuple const& first_new,
                               VX::XYZ<double> const* position) {
    bool const all_at_the_end = layout_.index_of(first_new) >= before.number_of_planes();
    std::uint64_t index = all_at_the_end ? planes_.size() : 0;
    auto next = all_at_the_end ? planes_.end() : planes_.begin();
    for (; index < layout_.number_of_planes(); ++index) {
        bool const is_new = !before.contains(layout_.tuple_at(index));
        if (!is_new && next != planes_.end()) {
            ++next;
            continue;
        }
        Plane& plane = make_plane(index);
        if (is_new && position) plane.set_position_in_meters(*position);
        planes_.move(std::prev(planes_.end()), next);
    }
}

std::optional<double> Image::delta_t(std::uint64_t c, std::uint64_t t) const {
    Plane const* first = plane({.z = 0, .c = c, .t = t});
    return first ? first->delta_t() : std::nullopt;
}

std::optional<double> Image::start_t(std::uint64_t c, std::uint64_t t) const {
    ZCT_Tuple const begin{.z = 0, .c = c, .t = t};
    ZCT_Tuple behind = end();
    behind.c = c + 1;
    behind.t = t + 1;
    std::optional<double> earliest;
    for_each_plane(begin, behind, [&](Plane const& plane) {
        auto const time = plane.delta_t();
        if (time && (!earliest || *time < *earliest)) earliest = time;
    });
    return earliest;
}

std::optional<double> Image::first_plane_exposure_time() const {
    return planes_.empty() ? std::nullopt : planes_.front().exposure_time();
}

} // namespace OME
