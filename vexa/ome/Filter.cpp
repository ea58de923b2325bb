#include <vexa/ome/Filter.h>

#include <vexa/ome/Reference_internal.h>

JSON::String_Cast<OME::Filter_Type, 0>::Map const& JSON::String_Cast<OME::Filter_Type, 0>::map() {
    using enum OME::Filter_Type;
    static Map const names{{dichroic, "Dichroic"},    {long_pass, "LongPass"},
                           {short_pass, "ShortPass"}, {band_pass, "BandPass"},
                           {multi_pass, "MultiPass"}, {neutral_density, "NeutralDensity"},
                           {tuneable, "Tuneable"},    {other, "Other"}};
    return names;
}

namespace OME {

Filter::Filter(JSON::Proxy& parent, Position position)
    : Manufacturer_Specification_with_ID<Filter>(parent, position) {}

template class Element_with_ID<Filter>;
template class Manufacturer_Specification_with_ID<Filter>;
template class Array_of<Filter>;
template class Reference<Filter const>;
template class Array_of<Reference<Filter const>>;

} // namespace OME
