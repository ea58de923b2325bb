#include <vexa/ome/Folder.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

bool truth_of(JSON::Proxy const& document) { return document.value_or(false).get<bool>(); }

} // namespace

Folder::Folder(JSON::Proxy& parent, Position position) : Element_with_ID<Folder>(parent, position) {}

void Folder::remove(Folder const& folder) { folders_.remove(folder.id.value_or(JSON::Value())); }

void Folder::remove(Image const& image) { images_.remove(image.id.value_or(JSON::Value())); }

void Folder::remove(ROI const& region) { regions_.remove(region.id.value_or(JSON::Value())); }

std::optional<JSON::Time_Point> Folder::creation_date() const {
    Extension const* extension = extension_.referent();
    JSON::Value const* text = extension ? extension->creation_date.content.value() : nullptr;
    return text ? JSON::Value_Cast<JSON::Time_Point, 0>::to_if(*text) : std::nullopt;
}

void Folder::set_creation_date(JSON::Time_Point date) { extension_->creation_date.content.set(date); }

bool Folder::has_bookmark() const {
    Extension const* extension = extension_.referent();
    return extension && truth_of(extension->has_bookmark);
}

void Folder::set_has_bookmark(bool has_bookmark) { extension_->has_bookmark.set(has_bookmark); }

bool Folder::is_overview() const {
    Extension const* extension = extension_.referent();
    return extension && truth_of(extension->is_overview);
}

void Folder::set_is_overview(bool is_overview) { extension_->is_overview.set(is_overview); }

std::string Folder::processing_grid() const {
    Extension const* extension = extension_.referent();
    return extension ? extension->processing.grid.content.value_or("").get<std::string>() : std::string();
}

void Folder::set_processing_grid(std::string const& grid) { extension_->processing.grid.content.set(grid); }

void Folder::reset_processing_grid() {
    if (extension_.referent()) extension_->processing.grid.reset();
}

void Folder::resolve_references() { resolve(folders_, images_, regions_, extension_); }

Folder::Processing::Processing(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

std::string const& Folder::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/folder/extension";
    return text;
}

Folder::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class One_of<Folder::Processing>;
template class Reference<Folder::Extension>;
template class Element_with_ID<Folder>;
template class Array_of<Folder>;
template class Reference<Folder>;
template class Array_of<Reference<Folder>>;

} // namespace OME
