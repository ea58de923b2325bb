#include <vexa/ome/Detector_Settings.h>

namespace OME {

Detector_Settings::Detector_Settings(JSON::Proxy& parent, Position position)
    : Reference<Detector const>(parent, position) {}

template class One_of<Detector_Settings>;

} // namespace OME
