#include <vexa/ome/Dataset.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Dataset::Dataset(JSON::Proxy& parent, Position position) : Element_with_ID<Dataset>(parent, position) {}

template class Element_with_ID<Dataset>;
template class Array_of<Dataset>;
template class Reference<Dataset>;
template class Array_of<Reference<Dataset>>;

} // namespace OME
