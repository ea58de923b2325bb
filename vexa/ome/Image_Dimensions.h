#pragma once

#include <cstdint>
#include <vector>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/json/String_Cast.h>
#include <vexa/json/Value.h>

/// \file
/// What describes the dimensions of an image. The class calls the types by the second part of their names.

namespace OME {

enum class VEXA_API Image_Type { original, derived };
enum class VEXA_API Image_Scan_Direction { unidirectional, bidirectional };
enum class VEXA_API Image_Scan_Curve { linear, sinusoidal };
/// The type of the samples.
enum class VEXA_API Image_Data_Type {
    bit,
    int8,
    int16,
    int32,
    uint8,
    uint16,
    uint32,
    float_,
    double_,
    complex,
    double_complex
};
/// The sequence of the dimensions in storage, fastest first.
enum class VEXA_API Image_Dimension_Order { XYZCT, XYZTC, XYCTZ, XYCZT, XYTCZ, XYTZC };
/// What the sub-dimension means by which an axis is divided.
enum class VEXA_API Image_Modulo_Type : unsigned char { none, angle, phase, tile, lifetime, lambda, other };
/// All dimensions that an image may have: the five axes, and a sub-dimension of each type.
enum class VEXA_API Image_Dimension : unsigned char {
    x,
    y,
    z,
    c,
    t,
    angle,
    phase,
    tile,
    lifetime,
    lambda,
    other
};

/// The description with which an image is made.
///
/// Each of the axes Z, C and T can be divided by one sub-dimension, its modulo. The size of an axis is
/// without that of its modulo: 6 positions along Z in storage may be a Z of 2 with 3 angles.
struct VEXA_API Image_Dimensions {
    Image_Data_Type data_type{};
    Image_Dimension_Order dimension_order{};
    std::uint64_t x = 1, y = 1, z = 1, c = 1, t = 1;
    std::uint64_t modulo_z = 1, modulo_c = 1, modulo_t = 1;
    /// 0 where it isn't known.
    VX::XYZ<double> voxel_shape_in_meters{};
    double time_increment_in_seconds = 0;
    Image_Modulo_Type modulo_type_z{}, modulo_type_c{}, modulo_type_t{};
    double modulo_step_z = 1.0, modulo_step_c = 1.0, modulo_step_t = 1.0;
    /// A number each, or null, which counts as 0 where there is a modulo.
    JSON::Value modulo_start_z{}, modulo_start_c{}, modulo_start_t{};

    friend bool operator==(Image_Dimensions const&, Image_Dimensions const&) = default;
};

/// The indices of one plane, those of the sub-dimensions included.
struct VEXA_API Image_ZCT_Tuple {
    std::uint64_t z = 0, c = 0, t = 0;
    std::uint64_t modulo_z = 0, modulo_c = 0, modulo_t = 0;

    bool operator==(Image_ZCT_Tuple const&) const = default;
};

/// Stage positions in meters: one for each tile or one for each plane, in the order of storage. NaN stands
/// for a component that isn't known.
struct VEXA_API Image_Positions {
    enum class VEXA_API Per { tile, plane };

    Per per = Per::tile;
    std::vector<VX::XYZ<double>> in_meters;
};

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Image_Type, 0> : JSON::Enum_Cast<OME::Image_Type> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Image_Scan_Direction, 0> : JSON::Enum_Cast<OME::Image_Scan_Direction> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Image_Scan_Curve, 0> : JSON::Enum_Cast<OME::Image_Scan_Curve> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Image_Data_Type, 0> : JSON::Enum_Cast<OME::Image_Data_Type> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Image_Dimension_Order, 0>
    : JSON::Enum_Cast<OME::Image_Dimension_Order> {
    static Map const& map();
};
/// `none` has no name.
template <>
struct VEXA_API JSON::String_Cast<OME::Image_Modulo_Type, 0> : JSON::Enum_Cast<OME::Image_Modulo_Type> {
    static Map const& map();
};
