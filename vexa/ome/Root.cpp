#include <vexa/ome/Root.h>

#include <sstream>

#include <vexa/json/Write_to_XML.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Old_Annotation_internal.h>

namespace OME {

namespace {

JSON::Value convert(std::string const& xml) {
    JSON::Value tree;
    if (xml.empty()) return tree;
    JSON::XML_Reader reader(tree);
    char const* begin = xml.data();
    reader.read(begin, begin + xml.size());
    return tree;
}

template <typename Array>
auto& found_in(Array* array, JSON::Value const& id, char const* message) {
    if (array)
        if (auto const found = array->find(id); found != array->end()) return *found;
    throw Invalid_Argument(message, id);
}

} // namespace

Root::Root(std::string const& xml) : Object_of_Documents(convert(xml)) {
    resolve_references();
    update();
}

Root& Root::operator=(Root const& other) {
    if (this == &other) return *this;
    ome = other.ome;
    resolve_references();
    return *this;
}

void Root::resolve_references() { ome.resolve_references(); }

void Root::update() {
    update_1();
    update_2();
}

void Root::update_1() {
    Project* const project = ome.first_project();
    bool const project_updated = project && project->update_1();
    detail::Annotation_Users users(*value());
    for (Image& image : ome.images())
        if (!image.update_1(users) && !project_updated) return;
}

void Root::update_2() {
    if (Project* const project = ome.first_project()) project->update_2();
    for (Image& image : ome.images()) image.update_2();
}

void Root::write_XML(std::ostream& stream) const { JSON::write_to_XML(*value(), stream); }

std::string Root::XML() const {
    std::ostringstream stream;
    write_XML(stream);
    return stream.str();
}

Dye& Root::find_dye(JSON::Value const& id) { return found_in(ome.element().dyes(), id, "Unknown dye '{}'."); }

Dye const& Root::find_dye(JSON::Value const& id) const {
    return found_in(ome.element().dyes(), id, "Unknown dye '{}'.");
}

Band& Root::find_band(JSON::Value const& id) {
    return found_in(ome.element().bands(), id, "Unknown band '{}'.");
}

Band const& Root::find_band(JSON::Value const& id) const {
    return found_in(ome.element().bands(), id, "Unknown band '{}'.");
}

Light_Source& Root::find_light_source(JSON::Value const& id) {
    return found_in(ome.element().light_sources(), id, "Unknown light source '{}'.");
}

Light_Source const& Root::find_light_source(JSON::Value const& id) const {
    return found_in(ome.element().light_sources(), id, "Unknown light source '{}'.");
}

Detector& Root::find_detector(JSON::Value const& id) {
    return found_in(ome.element().detectors(), id, "Unknown detector '{}'.");
}

Detector const& Root::find_detector(JSON::Value const& id) const {
    return found_in(ome.element().detectors(), id, "Unknown detector '{}'.");
}

Objective& Root::find_objective(JSON::Value const& id) {
    return found_in(ome.element().objectives(), id, "Unknown objective '{}'.");
}

Objective const& Root::find_objective(JSON::Value const& id) const {
    return found_in(ome.element().objectives(), id, "Unknown objective '{}'.");
}

Filter& Root::find_filter(JSON::Value const& id) {
    return found_in(ome.element().filters(), id, "Unknown filter '{}'.");
}

Filter const& Root::find_filter(JSON::Value const& id) const {
    return found_in(ome.element().filters(), id, "Unknown filter '{}'.");
}

} // namespace OME
