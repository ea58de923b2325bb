#include <vexa/ome/Project.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Project::Project(JSON::Proxy& parent, Position position) : Element_with_ID<Project>(parent, position) {}

Array_of<Dye>* Project::dyes() { return extension_.referent() ? &extension_->dyes() : nullptr; }

Array_of<Dye> const* Project::dyes() const { return extension_.referent() ? &extension_->dyes() : nullptr; }

Array_of<Band>* Project::bands() { return extension_.referent() ? &extension_->bands() : nullptr; }

Array_of<Band> const* Project::bands() const {
    return extension_.referent() ? &extension_->bands() : nullptr;
}

Array_of<Dye>& Project::provide_dyes() { return extension_->dyes(); }

Array_of<Band>& Project::provide_bands() { return extension_->bands(); }

void Project::remove(Dataset const& dataset) { datasets_.remove(dataset.id.value_or(JSON::Value())); }

void Project::resolve_references() { resolve(datasets_, extension_); }

std::string const& Project::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/project/extension";
    return text;
}

Project::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

void Project::Extension::resolve_references() { resolve(bands_); }

template class Reference<Project::Extension>;
template class Element_with_ID<Project>;
template class Array_of<Project>;

} // namespace OME
