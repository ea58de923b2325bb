// How projects of earlier releases are brought up to date.

#include <vexa/ome/Old_Annotation_internal.h>
#include <vexa/ome/Project.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

constexpr char const* group = "dye";

/// The list of old dyes; null if there is none, or if an entry lacks one of its values.
JSON::List const* old_dyes_in(JSON::Value const& contents) {
    JSON::Value const* entries = contents.find(group);
    JSON::List const* dyes = entries ? entries->get_if<JSON::List>() : nullptr;
    if (!dyes || dyes->empty()) return nullptr;
    for (JSON::Value const& dye : *dyes)
        for (char const* key : {"name", "display_color", "description"})
            if (!detail::has_value(dye, key)) return nullptr;
    return dyes;
}

void copy_text(JSON::Value const& old, char const* key, Document<std::string>& target) {
    if (std::string const* text = detail::text_if(old, key); text && !text->empty()) target.set(*text);
}

void take_over(JSON::Value const& old, Dye& dye) {
    copy_text(old, "name", dye.name());
    copy_text(old, "description", dye.description());
    auto const color = static_cast<unsigned>(std::stoul(detail::text_in(old, group, "display_color")));
    dye.set_color_map(Dye::color_map(color, false));
    dye.set_overlay_color_map(Dye::color_map(color, true));
}

} // namespace

bool Project::update_1() {
    auto const take = [this](JSON::Value const& contents) {
        JSON::List const* old_dyes = old_dyes_in(contents);
        if (!old_dyes) return false;
        for (JSON::Value const& old : *old_dyes) take_over(old, *provide_dyes().emplace_back());
        return true;
    };
    detail::Annotation_Users users(*root().value());
    bool const updated =
        detail::take_old_annotations(annotations_, root().ome.element().annotations(), users, {group}, take);
    if (updated) extension_.resolve_references();
    return updated;
}

bool Project::update_2() {
    Extension* extension = extension_.referent();
    if (!extension || !extension->dyes().has_value() || extension->bands().has_value()) return false;
    extension->bands().set(JSON::List());
    for (Dye const& dye : extension->dyes()) extension->bands().emplace_back()->add_dye(*dye.id.value());
    return true;
}

} // namespace OME
