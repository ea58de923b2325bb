#include <vexa/ome/Annotation.h>

namespace OME {

Annotation::Annotation(JSON::Proxy& parent, Position position, std::string_view namespace_text)
    : Element_with_ID<Annotation>(parent, position) {
    if (!namespace_text.empty() && !namespace_.has_value()) namespace_.set(namespace_text);
}

Annotation& Annotation::operator=(Annotation const& other) {
    JSON::Proxy::operator=(other);
    return *this;
}

bool Annotation::has_namespace(std::string_view namespace_text) const {
    return namespace_.has_value() && *namespace_.value() == JSON::Value(namespace_text);
}

Structured_Annotations::Structured_Annotations(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

template class Element_with_ID<Annotation>;
template class Array_of<Annotation>;
template class One_of<Structured_Annotations>;

} // namespace OME
