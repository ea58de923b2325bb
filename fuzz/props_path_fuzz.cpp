// Property paths on a prepared tree. The look-ups of one path agree with each other, those that do not create
// leave the tree as it was, and what a creation has made is found again.

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <vexa/props/VexaProps.h>

#include "fuzz.h"

namespace {

VProp sample() {
    VProp p;
    p["s.x"] = 1;
    p["s.t.u"] = VPropstring(L"u");
    p["cells"] = VProparray<VProp>{VProp(10), VProp(11), VProparray<VProp>(2)};
    p["cells{1}"].reset();
    p["cells{1}.name"] = 3;
    p["v"] = VProparray<double>{0.5, 1.5, 2.5};
    p["structs(1).x"] = 7;
    p["strings"] = VProparray<VPropstring>{L"a", L"b"};
    p["grid"].set<VProparray<VProp>>().set_size({2, 3}, VProparrayBase::resize_clear);
    p["nested"].set<VProp>() = VProp(1);
    p["none"];
    return p;
}

/// A bound for the number of elements that the numbers in a path can call for.
bool is_cheap(std::string const& path) {
    constexpr unsigned long most = 10000;
    unsigned long product = 1;
    unsigned long number = 0;
    for (char const c : path) {
        number = c >= '0' && c <= '9' ? std::min(most, number * 10 + static_cast<unsigned long>(c - '0')) : 0;
        product = std::min(most * 2, number == 0 ? product : product * (number + 1));
    }
    return product <= most;
}

/// The place that a look-up finds; null and the reason after a failure.
struct Result {
    VProp const* place = nullptr;
    std::vector<unsigned long> position;
    std::string reason;
};

Result look_up(VProp& p, std::string const& path, bool create) {
    Result result;
    try {
        auto const [place, position] = vexa_prop_getp_ex(&p, path, result.reason, create);
        result.place = place;
        result.position = position;
    } catch (std::runtime_error const& error) {
        result.reason = error.what();
    }
    VEXA_FUZZ_CHECK(result.place || !result.reason.empty());
    return result;
}

/// What what() shows of the message of a throwing look-up, which may have zero bytes.
bool is_wrapped(std::runtime_error const& error, std::string const& path) {
    std::string const begin = "Invalid property path '" + path + "': ";
    return std::string_view(error.what()).starts_with(begin.c_str());
}

void check_look_ups(VProp& p, std::string const& path) {
    VProp const before = sample();
    Result const found = look_up(p, path, false);
    VEXA_FUZZ_CHECK(p == before);
    VProp const* handle = nullptr;
    std::string reason;
    try {
        handle = std::as_const(p).getp(path, reason);
    } catch (std::runtime_error const& error) {
        VEXA_FUZZ_CHECK(found.reason == error.what());
        return;
    }
    VEXA_FUZZ_CHECK(handle == (found.position.empty() ? found.place : nullptr));
    VEXA_FUZZ_CHECK(handle || !reason.empty());
    try {
        VEXA_FUZZ_CHECK(&std::as_const(p)[path] == handle);
    } catch (std::runtime_error const& error) {
        VEXA_FUZZ_CHECK(!handle && is_wrapped(error, path));
    }
}

void check_creation(VProp& p, std::string const& path) {
    VProp const copy = p;
    Result const made = look_up(p, path, true);
    VEXA_FUZZ_CHECK(copy == sample());
    if (!made.place) return;
    Result const found = look_up(p, path, false);
    VEXA_FUZZ_CHECK(found.place == made.place && found.position == made.position);
}

void check_from_nothing(std::string const& path) {
    VProp nothing;
    Result const made = look_up(nothing, path, true);
    VEXA_FUZZ_CHECK(vexa_prop_is_valid_path(path) == (made.place && made.position.empty()));
}

void check_find_property(VProp& p, std::string const& path) {
    auto const [place, rest] = JSON::find_property(p, path);
    VEXA_FUZZ_CHECK(place || rest.empty());
    VEXA_FUZZ_CHECK(path.ends_with(rest));
    VEXA_FUZZ_CHECK(p == sample());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const path(reinterpret_cast<char const*>(data), size);
    VProp p = sample();
    check_find_property(p, path);
    check_look_ups(p, path);
    if (!is_cheap(path)) return 0;
    check_creation(p, path);
    check_from_nothing(path);
    return 0;
}
