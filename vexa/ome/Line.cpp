#include <vexa/ome/Line.h>

namespace OME {

Line::Line(JSON::Proxy& parent, Position position) : Shape(parent, position) {}

template class Array_of<Line>;

} // namespace OME
