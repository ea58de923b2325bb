// Metadata documents for other programs: what opens is refused, or becomes XML that a full parser takes and that
// opens again to an equal tree, but for physical sizes that are not known.

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>

#include "export_XML.h"
#include "fuzz.h"
#include "import_XML.h"
#include "ome_document.h"

namespace {

bool opens_equal(std::string const& xml, OME::Root const& root) {
    bool const may_have_unknown_sizes = root.XML().find("PhysicalSize") != std::string::npos;
    try {
        OME::Root const opened(xml);
        return may_have_unknown_sizes ? OME::export_XML(opened) == xml : *opened.value() == *root.value();
    } catch (std::exception const&) {
        return false;
    }
}

void check_export(OME::Root const& root) {
    std::string xml;
    try {
        xml = OME::export_XML(root);
    } catch (std::invalid_argument const& refusal) {
        std::string_view const message = refusal.what();
        VEXA_FUZZ_CHECK(message.starts_with("Cannot export XML: ") || message.starts_with("Invalid "));
        return;
    }
    VEXA_FUZZ_CHECK(opens_equal(xml, root));
    OME::import_XML(xml);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::optional<OME::Root> root;
    open_document(data, size, root);
    if (!root) return 0;
    check_export(*root);
    return 0;
}
