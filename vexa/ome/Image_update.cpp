// How images of earlier releases are brought up to date.

#include <vexa/ome/Image.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Old_Annotation_internal.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

constexpr char const* group = "rotation";

JSON::Value const* old_rotation_in(JSON::Value const& contents) {
    JSON::Value const* rotation = contents.find(group, 0);
    bool const complete =
        rotation && detail::has_value(*rotation, "angle") && detail::has_value(*rotation, "angle_unit");
    return complete ? rotation : nullptr;
}

} // namespace

bool Image::update_1() {
    detail::Annotation_Users users(*root().value());
    return update_1(users);
}

bool Image::update_1(detail::Annotation_Users& users) {
    auto const take = [this](JSON::Value const& contents) {
        JSON::Value const* rotation = old_rotation_in(contents);
        if (!rotation) return false;
        double const angle = detail::real_in(*rotation, group, "angle");
        auto const unit = JSON::Value(detail::text_in(*rotation, group, "angle_unit")).get<Angle>();
        if (!extension_->rotation_angle()) extension_->set_rotation_angle({angle, unit});
        return true;
    };
    bool updated =
        detail::take_old_annotations(annotations_, root().ome.element().annotations(), users, {group}, take);
    for (Channel& channel : channels_) updated |= channel.update_1(users);
    return updated;
}

void Image::update_2() {
    for (Channel& channel : channels_) channel.update_2();
}

} // namespace OME
