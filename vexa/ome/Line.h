#pragma once

#include <vexa/foundation/export.h>
#include <vexa/ome/Shape.h>

namespace OME {

/// A straight line from (X1, Y1) to (X2, Y2).
class VEXA_API Line : public Shape {
public:
    Line(JSON::Proxy& parent, Position position);

    Document<double>& x1() { return x1_; }
    Document<double> const& x1() const { return x1_; }
    Document<double>& x2() { return x2_; }
    Document<double> const& x2() const { return x2_; }
    Document<double>& y1() { return y1_; }
    Document<double> const& y1() const { return y1_; }
    Document<double>& y2() { return y2_; }
    Document<double> const& y2() const { return y2_; }

private:
    Document<double> x1_{*this, "X1"};
    Document<double> x2_{*this, "X2"};
    Document<double> y1_{*this, "Y1"};
    Document<double> y2_{*this, "Y2"};
};

extern template class Array_of<Line>;

} // namespace OME
