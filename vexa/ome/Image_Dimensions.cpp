#include <vexa/ome/Image_Dimensions.h>

JSON::String_Cast<OME::Image_Type, 0>::Map const& JSON::String_Cast<OME::Image_Type, 0>::map() {
    using enum OME::Image_Type;
    static Map const names{{original, "original"}, {derived, "derived"}};
    return names;
}

JSON::String_Cast<OME::Image_Scan_Direction, 0>::Map const&
JSON::String_Cast<OME::Image_Scan_Direction, 0>::map() {
    using enum OME::Image_Scan_Direction;
    static Map const names{{unidirectional, "unidirectional"}, {bidirectional, "bidirectional"}};
    return names;
}

JSON::String_Cast<OME::Image_Scan_Curve, 0>::Map const& JSON::String_Cast<OME::Image_Scan_Curve, 0>::map() {
    using enum OME::Image_Scan_Curve;
    static Map const names{{linear, "linear"}, {sinusoidal, "sinusoidal"}};
    return names;
}

JSON::String_Cast<OME::Image_Data_Type, 0>::Map const& JSON::String_Cast<OME::Image_Data_Type, 0>::map() {
    using enum OME::Image_Data_Type;
    static Map const names{{bit, "bit"},
                           {int8, "int8"},
                           {int16, "int16"},
                           {int32, "int32"},
                           {uint8, "uint8"},
                           {uint16, "uint16"},
                           {uint32, "uint32"},
                           {float_, "float"},
                           {double_, "double"},
                           {complex, "complex"},
                           {double_complex, "double-complex"}};
    return names;
}

JSON::String_Cast<OME::Image_Dimension_Order, 0>::Map const&
JSON::String_Cast<OME::Image_Dimension_Order, 0>::map() {
    using enum OME::Image_Dimension_Order;
    static Map const names{{XYZCT, "XYZCT"}, {XYZTC, "XYZTC"}, {XYCTZ, "XYCTZ"},
                           {XYCZT, "XYCZT"}, {XYTCZ, "XYTCZ"}, {XYTZC, "XYTZC"}};
    return names;
}

JSON::String_Cast<OME::Image_Modulo_Type, 0>::Map const& JSON::String_Cast<OME::Image_Modulo_Type, 0>::map() {
    using enum OME::Image_Modulo_Type;
    static Map const names{{angle, "angle"},       {phase, "phase"},   {tile, "tile"},
                           {lifetime, "lifetime"}, {lambda, "lambda"}, {other, "other"}};
    return names;
}
