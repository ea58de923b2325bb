#include <vexa/ome/Reference.h>

namespace OME {

Abstract_Reference::Abstract_Reference(JSON::Proxy& parent, Position position)
    : Object_of_Documents(parent, position) {}

Abstract_References& Abstract_References::operator=(Abstract_References const& other) {
    if (this == &other) return *this;
    reset_fields();
    clear();
    return *this;
}

template class Array_of<Abstract_Reference>;

} // namespace OME
