#include <locale>
#include <sstream>
#include <string_view>

#include <vexa/props/VexaProps.h>
#include <vexa/props/type_list_internal.h>

namespace {

/// Take the text before the first slash, and the slash, off \p path.
std::string take_segment(std::string_view& path) {
    std::size_t const slash = path.find('/');
    std::string segment(path.substr(0, slash));
    path.remove_prefix(slash == path.npos ? path.size() : slash + 1);
    return segment;
}

/// The element of \p array that a segment names, or null.
template <typename T>
T* element(VProparray<T>& array, std::string const& segment) {
    std::istringstream stream(segment);
    stream.imbue(std::locale::classic());
    unsigned long index = 0;
    if (!(stream >> index) || index >= array.size()) return nullptr;
    return &array[index];
}

} // namespace

namespace JSON {

std::pair<VProp*, std::string> find_property(VProp& prop, std::string const& path) {
    VProp* place = &prop;
    std::string_view rest = path;
    while (!rest.empty()) {
        VPropstruct* members = nullptr;
        if (place->get_if<VPropstruct>()) {
            members = &place->set<VPropstruct>();
        } else if (place->get_if<VProparray<VPropstruct>>()) {
            if (rest.find('/') == rest.npos) return {place, std::string(rest)};
            members = element(place->set<VProparray<VPropstruct>>(), take_segment(rest));
            if (!members) return {nullptr, {}};
        } else if (place->get_if<VProparray<VProp>>()) {
            place = element(place->set<VProparray<VProp>>(), take_segment(rest));
            if (!place) return {nullptr, {}};
            continue;
        } else if (Vexa::types::is_array(place->get_id())) {
            return {place, std::string(rest)};
        } else {
            return {nullptr, {}};
        }
        auto const found = members->find(take_segment(rest));
        if (found == members->end()) return {nullptr, {}};
        place = &found->second;
    }
    return {place, {}};
}

std::pair<VProp const*, std::string> find_property(VProp const& prop, std::string const& path) {
    return find_property(const_cast<VProp&>(prop), path);
}

} // namespace JSON
