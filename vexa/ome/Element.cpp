#include <vexa/ome/Element.h>

#include <vexa/ome/One_of.h>

namespace OME {

void Object_of_Documents::resolve_references() {}

void Object_of_Documents::reset() {
    if (!has_value()) return;
    reset_fields();
    JSON::Proxy::reset();
}

template class Element<Object_of_Documents>;
template class Element<Document<std::string>>;
template class One_of<Text>;
template class One_of<Element<Object_of_Documents>>;

} // namespace OME
