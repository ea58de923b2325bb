// XML from other programs: it is refused, or becomes text that the library's reader takes to the end, of a tree
// that is written and read back as the same.

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <vexa/json/Write_to_XML.h>
#include <vexa/json/XML_Reader.h>

#include "fuzz.h"
#include "import_XML.h"

namespace {

std::optional<std::string> import(std::string_view text) {
    try {
        std::vector<std::string> dropped;
        return OME::import_XML(text, &dropped);
    } catch (std::runtime_error const& error) {
        VEXA_FUZZ_CHECK(std::string_view(error.what()).starts_with("Cannot import XML, line "));
        return std::nullopt;
    }
}

/// \return whether the root has closed at the end of the text
bool read_all(std::string_view text, JSON::Value& tree) {
    char const* pos = text.data();
    return JSON::XML_Reader(tree).read(pos, pos + text.size()) && pos == text.data() + text.size();
}

bool is_empty_root(JSON::Value const& tree) {
    return tree.get<JSON::Map>().begin()->second.get<JSON::List>().front().get<JSON::Map>().empty();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const text = import({reinterpret_cast<char const*>(data), size});
    if (!text) return 0;
    JSON::Value tree;
    VEXA_FUZZ_CHECK(read_all(*text, tree));
    std::ostringstream out;
    JSON::write_to_XML(tree, out);
    JSON::Value again;
    VEXA_FUZZ_CHECK(read_all(out.view(), again) || is_empty_root(tree));
    VEXA_FUZZ_CHECK(again == tree);
    return 0;
}
