#include <vexa/ome/Microscope.h>

namespace OME {

Microscope::Microscope(JSON::Proxy& parent, Position position)
    : Manufacturer_Specification_with_ID<void>(parent, position) {}

template class Manufacturer_Specification_with_ID<void>;
template class One_of<Microscope>;

} // namespace OME
