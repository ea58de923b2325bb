#pragma once

#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Detector.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

/// A reference to a detector, and how it is set for one channel.
class VEXA_API Detector_Settings : public Reference<Detector const> {
public:
    Detector_Settings(JSON::Proxy& parent, Position position);

    Document<JSON::Number>& offset() { return offset_; }
    Document<JSON::Number> const& offset() const { return offset_; }
    Document<JSON::Number>& gain() { return gain_; }
    Document<JSON::Number> const& gain() const { return gain_; }
    /// Number and unit, such as "V".
    Document<JSON::Number>& voltage() { return voltage_; }
    Document<JSON::Number> const& voltage() const { return voltage_; }
    Document<std::string>& voltage_unit() { return voltage_unit_; }
    Document<std::string> const& voltage_unit() const { return voltage_unit_; }
    Document<JSON::Number>& zoom() { return zoom_; }
    Document<JSON::Number> const& zoom() const { return zoom_; }
    /// Number and unit, such as "MHz".
    Document<JSON::Number>& read_out_rate() { return read_out_rate_; }
    Document<JSON::Number> const& read_out_rate() const { return read_out_rate_; }
    Document<std::string>& read_out_rate_unit() { return read_out_rate_unit_; }
    Document<std::string> const& read_out_rate_unit() const { return read_out_rate_unit_; }
    /// Free text, such as "2x2".
    Document<std::string>& binning() { return binning_; }
    Document<std::string> const& binning() const { return binning_; }
    /// How many frames are integrated.
    Document<long long>& integration() { return integration_; }
    Document<long long> const& integration() const { return integration_; }

private:
    Document<JSON::Number> offset_{*this, "Offset"};
    Document<JSON::Number> gain_{*this, "Gain"};
    Document<JSON::Number> voltage_{*this, "Voltage"};
    Document<std::string> voltage_unit_{*this, "VoltageUnit"};
    Document<JSON::Number> zoom_{*this, "Zoom"};
    Document<JSON::Number> read_out_rate_{*this, "ReadOutRate"};
    Document<std::string> read_out_rate_unit_{*this, "ReadOutRateUnit"};
    Document<std::string> binning_{*this, "Binning"};
    Document<long long> integration_{*this, "Integration"};
};

extern template class One_of<Detector_Settings>;

} // namespace OME
