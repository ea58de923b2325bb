#include <vexa/ome/Objective_Settings.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Objective_Settings::Objective_Settings(JSON::Proxy& parent, Position position)
    : Reference<Objective const>(parent, position) {}

template class One_of<Objective_Settings>;

} // namespace OME
