// Property trees from JSON: every text is read or refused. What the tree has as JSON goes back into it, and
// comes back equal from its text. It merges with what the text alone says.

#include <stdexcept>
#include <string>
#include <typeinfo>

#include <vexa/json/Props.h>
#include <vexa/json/Reader.h>

#include "fuzz.h"

namespace {

void check_set_value(VProp const& tree, JSON::Value const& value) {
    VProp copy = tree;
    JSON::set_value(value, copy);
    VEXA_FUZZ_CHECK(copy == tree);
    VEXA_FUZZ_CHECK(JSON::get_value(copy) == value);
}

void check_text(VProp const& tree, JSON::Value const& value) {
    std::string const text = vexa_export_json(tree);
    VEXA_FUZZ_CHECK(text == JSON::dump(value, true));
    VEXA_FUZZ_CHECK(JSON::parse(text) == value);
    VProp const again = vexa_import_json(text);
    VEXA_FUZZ_CHECK(JSON::get_value(again) == value);
    // The first text may have a "-0", which reads as the integer 0.
    std::string const stable = vexa_export_json(again);
    VEXA_FUZZ_CHECK(vexa_export_json(vexa_import_json(stable)) == stable);
}

/// What a text says may differ from what its tree has: keys are paths. Any two values merge with `replace`.
void check_merge(JSON::Value const& value, JSON::Value const& other) {
    JSON::Value merged = value;
    JSON::merge(other, merged, true, false, true);
    JSON::Value const once = merged;
    JSON::merge(other, merged, true, false, true);
    VEXA_FUZZ_CHECK(merged == once);
    JSON::merge(merged, merged, true, true, true);
}

/// Keys that this tree doesn't have, and values that don't fit, are refused.
void check_foreign(VProp const& tree, JSON::Value const& other) {
    VProp copy = tree;
    try {
        JSON::set_value(other, copy);
    } catch (std::invalid_argument const&) {
    } catch (std::bad_cast const&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    VProp tree;
    try {
        tree = vexa_import_json(text);
    } catch (std::runtime_error const&) {
        return 0;
    }
    JSON::Value const value = JSON::get_value(tree);
    JSON::Value const read = JSON::parse(text);
    check_set_value(tree, value);
    check_text(tree, value);
    check_foreign(tree, read);
    check_merge(value, read);
    return 0;
}
