#include <vexa/ome/OME.h>

#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include <vexa/foundation/uuid_internal.h>
#include <vexa/json/Uuid.h>

namespace OME {

namespace {

constexpr std::string_view schema_namespace = "http://www.openmicroscopy.org/Schemas/OME/2016-06";
constexpr std::string_view instance_namespace = "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::string_view schema_location = "http://www.openmicroscopy.org/Schemas/OME/2016-06 "
                                             "http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd";
constexpr std::string_view UUID_prefix = "urn:uuid:";

std::optional<boost::uuids::uuid> UUID_in(std::string_view text) {
    if (!text.starts_with(UUID_prefix)) return std::nullopt;
    return JSON::Value_Cast<boost::uuids::uuid, 0>::to_if(text.substr(UUID_prefix.size()));
}

/// Where the text behind the prefix stops to look like a UUID: groups of 8, 4, 4, 4 and 12 digits.
std::size_t first_fault_in(std::string_view text) {
    if (text.starts_with(UUID_prefix)) text.remove_prefix(UUID_prefix.size());
    constexpr std::string_view form = "00000000-0000-0000-0000-000000000000";
    std::size_t at = 0;
    while (at < text.size() && at < form.size()) {
        bool const is_digit = std::string_view("0123456789abcdefABCDEF").find(text[at]) != text.npos;
        if (form[at] == '-' ? text[at] != '-' : !is_digit) break;
        ++at;
    }
    return at;
}

} // namespace

OME::OME(JSON::Proxy& parent, Position position) : Element<Object_of_Documents>(parent, position) {
    namespace_.set(schema_namespace);
    instance_namespace_.set(instance_namespace);
    schema_location_.set(schema_location);
}

OME& OME::operator=(OME const& other) {
    if (this == &other) return *this;
    if (other.UUID_) {
        std::string const& text = other.UUID_.value()->get<std::string>();
        if (!UUID_in(text))
            throw std::runtime_error(fmt::format("Invalid UUID string at position {}", first_fault_in(text)));
        UUID_ = other.UUID_;
    }
    creator_ = other.creator_;
    projects_.clear();
    datasets_.clear();
    folders_.clear();
    instruments_.clear();
    images_.clear();
    ROIs_.clear();
    annotations().clear();
    // Annotations with an owner are copied with it, and get identifiers above those that are copied here.
    for (Annotation const& annotation : other.annotations())
        if (!annotation.is_referred()) *annotations().emplace_back() = annotation;
    projects_ = other.projects_;
    datasets_ = other.datasets_;
    folders_ = other.folders_;
    instruments_ = other.instruments_;
    images_ = other.images_;
    ROIs_ = other.ROIs_;
    return *this;
}

Project& OME::provide_first_project() {
    if (projects_.empty()) projects_.emplace_back();
    return projects_.front();
}

Folder& OME::provide_first_folder() {
    if (folders_.empty()) folders_.emplace_back();
    return folders_.front();
}

Instrument& OME::provide_first_instrument() {
    if (instruments_.empty()) instruments_.emplace_back();
    return instruments_.front();
}

Array_of<Dye>* OME::dyes() {
    Project* project = first_project();
    return project ? project->dyes() : nullptr;
}

Array_of<Dye> const* OME::dyes() const { return const_cast<OME*>(this)->dyes(); }

Array_of<Band>* OME::bands() {
    Project* project = first_project();
    return project ? project->bands() : nullptr;
}

Array_of<Band> const* OME::bands() const { return const_cast<OME*>(this)->bands(); }

Array_of<Light_Source>* OME::light_sources() {
    Instrument* instrument = first_instrument();
    return instrument ? &instrument->light_sources() : nullptr;
}

Array_of<Light_Source> const* OME::light_sources() const { return const_cast<OME*>(this)->light_sources(); }

Array_of<Detector>* OME::detectors() {
    Instrument* instrument = first_instrument();
    return instrument ? &instrument->detectors() : nullptr;
}

Array_of<Detector> const* OME::detectors() const { return const_cast<OME*>(this)->detectors(); }

Array_of<Objective>* OME::objectives() {
    Instrument* instrument = first_instrument();
    return instrument ? &instrument->objectives() : nullptr;
}

Array_of<Objective> const* OME::objectives() const { return const_cast<OME*>(this)->objectives(); }

Array_of<Filter>* OME::filters() {
    Instrument* instrument = first_instrument();
    return instrument ? &instrument->filters() : nullptr;
}

Array_of<Filter> const* OME::filters() const { return const_cast<OME*>(this)->filters(); }

template <>
Array_of<Dataset>* OME::array<Dataset>() {
    return &datasets_;
}

template <>
Array_of<Folder>* OME::array<Folder>() {
    return &folders_;
}

template <>
Array_of<Dye>* OME::array<Dye>() {
    return dyes();
}

template <>
Array_of<Band>* OME::array<Band>() {
    return bands();
}

template <>
Array_of<Instrument>* OME::array<Instrument>() {
    return &instruments_;
}

template <>
Array_of<Light_Source>* OME::array<Light_Source>() {
    return light_sources();
}

template <>
Array_of<Detector>* OME::array<Detector>() {
    return detectors();
}

template <>
Array_of<Objective>* OME::array<Objective>() {
    return objectives();
}

template <>
Array_of<Filter>* OME::array<Filter>() {
    return filters();
}

template <>
Array_of<Image>* OME::array<Image>() {
    return &images_;
}

template <>
Array_of<ROI>* OME::array<ROI>() {
    return &ROIs_;
}

template <>
Array_of<Annotation>* OME::array<Annotation>() {
    return &annotations();
}

template <>
Array_of<Dye>& OME::provide_array<Dye>() {
    return provide_dyes();
}

template <>
Array_of<Band>& OME::provide_array<Band>() {
    return provide_bands();
}

std::optional<boost::uuids::uuid> OME::UUID() const {
    if (!UUID_) return std::nullopt;
    auto const uuid = UUID_in(UUID_.value()->get<std::string>());
    if (!uuid) throw std::bad_variant_access();
    return uuid;
}

void OME::reset_UUID() { UUID_.set(std::string(UUID_prefix) + Vexa::random_uuid()); }

void OME::clear() {
    UUID_.reset();
    creator_.reset();
    projects_.clear();
    datasets_.clear();
    folders_.clear();
    instruments_.clear();
    images_.clear();
    ROIs_.clear();
    annotations().clear();
}

void OME::resolve_references() { resolve(projects_, datasets_, folders_, images_, instruments_, ROIs_); }

template class One_of<OME>;

} // namespace OME
