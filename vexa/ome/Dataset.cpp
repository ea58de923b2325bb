#include <vexa/ome/Dataset.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Dataset::Dataset(JSON::Proxy& parent, Position position) : Element_with_ID<Dataset>(parent, position) {}

void Dataset::remove(Image const& image) { images_.remove(image.id.value_or(JSON::Value())); }

void Dataset::resolve_references() { resolve(images_); }

template class Element_with_ID<Dataset>;
template class Array_of<Dataset>;
template class Reference<Dataset>;
template class Array_of<Reference<Dataset>>;

} // namespace OME
