// Metadata documents: a text opens or is refused by one of the documented exceptions; what opens is written,
// opens again and is written as the same text; and it can be copied, cleared and filled.

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include <vexa/json/Bad_Access.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>

#include "fuzz.h"
#include "ome_document.h"
#include "ome_getters.h"

namespace {

/// The text of a document; empty if its tree has something that XML can't hold, such as a second root element
/// or an attribute whose text never came.
std::string written(OME::Root const& root) {
    try {
        return root.XML();
    } catch (std::invalid_argument const&) {
        return {};
    }
}

/// Whether each element comes back under its name: cutting the prefix may leave a name with another prefix, or
/// one that isn't read.
bool names_come_back(std::string const& xml) {
    std::size_t at = xml.find('<', 1); // behind the declaration
    for (; at != xml.npos; at = xml.find('<', at + 1)) {
        std::size_t const start = xml[at + 1] == '/' ? at + 2 : at + 1;
        std::string const name = xml.substr(start, xml.find_first_of(" />", start) - start);
        if (name.empty() || name.find(':') != name.npos ||
            std::string_view("0123456789-.").find(name[0]) != name.npos)
            return false;
    }
    return true;
}

/// A tree that was changed may hold empty lists, which XML can't tell from none.
void check_that_it_reads_back(OME::Root const& root, bool is_changed) {
    std::string const xml = written(root);
    if (xml.empty() || !names_come_back(xml)) return;
    bool opens = true;
    try {
        OME::Root const again(xml);
        VEXA_FUZZ_CHECK(again.XML() == xml || is_changed);
        VEXA_FUZZ_CHECK(*again.value() == *root.value() || is_changed);
        if (is_changed) check_that_it_reads_back(again, false);
    } catch (std::exception const&) {
        opens = false;
    }
    VEXA_FUZZ_CHECK(opens);
}

/// Change an image and let it grow. Where that is refused, it stays as it was, but for the last step.
void change(OME::Image& image) {
    using Vexa::fuzz::call;
    using Type = OME::Image_Modulo_Type;
    call([&] { image.set_metadata_only(); });
    call([&] { image.set_rotation_angle_in_degrees(30); });
    call([&] { image.set_lifetime_increment_in_seconds(1e-9); });
    call([&] { image.set_voxel_shape_in_meters({1, 2, 3}); });
    constexpr std::uint64_t few = 1000; // a document may say that there are billions
    if (image.layout().number_of_planes() < few) {
        call([&] { image.plane({}).set_position_in_meters({1, 2, 3}); });
        call([&] { image.add_t(); });
        call([&] { image.add_modulo_t(Type::tile, {4, 5, 6}); });
        call([&] { image.set_position_in_meters(VX::XYZ<double>{7, 8, 9}); });
    }
    call([&] { image.plane(image.end()); });
    call([&] { image.add_channels(image); });
    Vexa::fuzz::call_getters(image);
}

void check_copy(OME::Root const& root) {
    OME::Root copy("<OME><Project><AnnotationRef ID='Annotation:1'/></Project></OME>");
    try {
        copy = root;
    } catch (std::runtime_error const& refusal) { // a malformed UUID
        VEXA_FUZZ_CHECK(std::string(refusal.what()).starts_with("Invalid UUID string at position "));
        return;
    }
    check_that_it_reads_back(copy, true);
    try {
        copy.ome.provide_first_folder() = *copy.ome.folders().emplace_back();
        copy.ome.provide_bands().emplace_back()->add_dye(*copy.ome.provide_dyes().emplace_back()->id.value());
        OME::Detector& detector = *copy.ome.provide_detectors().emplace_back();
        detector = copy.ome.detectors()->front();
        detector.set_type(OME::Detector::Type::SPAD);
        VEXA_FUZZ_CHECK(detector.type() == OME::Detector::Type::SPAD);
        if (!root.ome.ROIs().empty()) copy.ome.ROIs().emplace_back(root.ome.ROIs().front());
        OME::ROI& region = *copy.ome.ROIs().emplace_back();
        region.set_position_in_meters({1, 2, 3});
        copy.ome.provide_first_folder().add(region);
        copy.ome.provide_first_instrument().set_pinhole_reference_wavelength({5, OME::Length::nm});
    } catch (JSON::Bad_Access const&) { // text in place of children
    }
    for (OME::Image& image : copy.ome.images()) change(image);
    check_that_it_reads_back(copy, true);
    copy.ome.clear();
    VEXA_FUZZ_CHECK(copy.registry().numbers<OME::Annotation>().all().empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::optional<OME::Root> root;
    open_document(data, size, root);
    if (!root) return 0;
    root->resolve_references();
    for (OME::Image const& image : root->ome.images()) Vexa::fuzz::call_getters(image);
    check_that_it_reads_back(*root, false);
    check_copy(*root);
    root->ome.reset();
    VEXA_FUZZ_CHECK(root->registry().numbers<OME::Dye>().all().empty());
    return 0;
}
