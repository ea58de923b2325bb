#include <vexa/ome/Root.h>

#include <sstream>

#include <vexa/json/Write_to_XML.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>

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

Root::Root(std::string const& xml) : Object_of_Documents(convert(xml)) { resolve_references(); }

Root& Root::operator=(Root const& other) {
    if (this == &other) return *this;
    ome = other.ome;
    resolve_references();
    return *this;
}

void Root::resolve_references() { ome.resolve_references(); }

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

} // namespace OME
