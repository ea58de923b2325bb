// Property trees from XML: every text is read or refused, and what is read comes back the same from each form
// that it is written in. The first byte chooses the form that the text is read as.

#include <stdexcept>
#include <string>

#include <vexa/props/VPropXmlExport.h>
#include <vexa/props/VPropXmlParser.h>

#include "fuzz.h"

namespace {

/// Trees at the limit of nesting can be read but not wrapped into one more element.
bool is_limit(std::runtime_error const& error) {
    return std::string(error.what()) == "Property tree exceeds the limits of its xml form.";
}

void check_round_trip(VProp const& value, int form) {
    std::string text;
    try {
        text = vexa_export_xml(value, form);
    } catch (std::runtime_error const& error) {
        VEXA_FUZZ_CHECK(is_limit(error));
        return;
    }
    VProp const again = vexa_import_xml(text, form);
    // A structure with two members of one name differs even from its like, since only the first is found.
    if (vexa_import_xml(text, form) == again) {
        VEXA_FUZZ_CHECK(again == value);
        VEXA_FUZZ_CHECK(vexa_import_xml(text, 0) == value);
    }
    VEXA_FUZZ_CHECK(vexa_export_xml(again, form) == text);
}

/// The text alone exists for all but containers.
void check_text_only(VProp const& value) {
    try {
        vexa_export_xml(value, 3);
    } catch (std::runtime_error const& error) {
        bool const no_text = std::string(error.what()) == "Text does not exist in the current element";
        VEXA_FUZZ_CHECK(no_text || is_limit(error));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) return 0;
    int const form = data[0] % 4;
    std::string const text(reinterpret_cast<char const*>(data + 1), size - 1);
    VProp value;
    try {
        value = vexa_import_xml(text, form);
    } catch (std::runtime_error const&) {
        return 0;
    }
    check_round_trip(value, 1);
    check_round_trip(value, 2);
    check_text_only(value);
    return 0;
}
