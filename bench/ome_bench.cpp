// Metadata documents: opening and filling must take time in proportion to their size. Each comparison sets a
// large document against a small one and scales by the ratio of their sizes, so that 1 means linear.

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <string>

#include <vexa/ome/Root.h>

#include "bench.h"

namespace {

constexpr char const* project_namespace = "urn:vexa/ome/project/extension";
constexpr char const* folder_namespace = "urn:vexa/ome/folder/extension";

std::string numbered(char const* front, int number, char const* back) {
    return front + std::to_string(number) + back;
}

std::string annotation(int number, char const* space, std::string const& contents) {
    return numbered("<XMLAnnotation ID=\"Annotation:", number, "\" Namespace=\"") + space +
           "\"><Value><extension" + contents + "</extension></Value></XMLAnnotation>";
}

std::string plane(int number) {
    return numbered("<Plane TheZ=\"", number, "\" TheC=\"0\" TheT=\"0\" DeltaT=\"") +
           std::to_string(number * 0.25) +
           "\" ExposureTime=\"0.01\" PositionX=\"1.25e-3\" PositionY=\"2.5e-3\" PositionZ=\"0\" "
           "PositionXUnit=\"m\"/>";
}

/// A document of about that many bytes: one part in ten are planes, the others are folders with annotations of
/// their own that refer to each other, datasets, dyes and bands.
std::string document(std::size_t size) {
    std::string folders, datasets, references, annotations, dyes, planes;
    int n = 0;
    while (folders.size() + datasets.size() + references.size() + annotations.size() + dyes.size() +
               planes.size() <
           size) {
        ++n;
        folders += numbered("<Folder ID=\"Folder:", n, "\" Name=\"a folder\">") +
                   numbered("<FolderRef ID=\"Folder:", (n + 1) / 2, "\"/>") +
                   numbered("<AnnotationRef ID=\"Annotation:", n + 1, "\"/></Folder>");
        annotations += annotation(n + 1, folder_namespace, " has_bookmark=\"true\">");
        datasets += numbered("<Dataset ID=\"Dataset:", n, "\" Name=\"a dataset\"/>");
        references += numbered("<DatasetRef ID=\"Dataset:", n, "\"/>");
        dyes += numbered("<dye ID=\"Dye:", n, "\" name=\"a dye\" emission_wavelength=\"520\"/>") +
                numbered("<band ID=\"Band:", n, "\">") +
                numbered("<dye_reference ID=\"Dye:", n, "\"/></band>");
        planes += plane(n);
    }
    return "<OME><Project ID=\"Project:1\">" + references + "<AnnotationRef ID=\"Annotation:1\"/></Project>" +
           datasets + folders + "<Image ID=\"Image:1\"><Pixels>" + planes +
           "</Pixels></Image><StructuredAnnotations>" + annotation(1, project_namespace, ">" + dyes) +
           annotations + "</StructuredAnnotations></OME>";
}

void open(std::string const& xml) { Vexa::bench::keep(OME::Root(xml).ome.folders().size()); }

void create_dyes(int count) {
    OME::Root root("");
    auto& dyes = root.ome.provide_dyes();
    for (int i = 0; i < count; ++i) dyes.emplace_back()->set_lifetime({1.5 * i, OME::Time::ns});
    Vexa::bench::keep(dyes.size());
}

/// Planes one by one, as they arrive during acquisition.
void create_planes(int count) {
    OME::Root root("");
    OME::Image::Dimensions const dimensions{.t = static_cast<std::uint64_t>(count)};
    auto& image = *root.ome.images().emplace_back<OME::Image>(dimensions, nullptr, nullptr);
    for (std::uint64_t t = 0; t < dimensions.t; ++t)
        image.plane({.t = t}).set_position_in_meters({1e-3, 2e-3, 0});
    Vexa::bench::keep(image.planes().size());
}

/// Time points one by one.
void add_time_points(int count) {
    OME::Root root("");
    auto& image = *root.ome.images().emplace_back<OME::Image>(OME::Image::Dimensions{}, nullptr, nullptr);
    for (int t = 1; t < count; ++t) image.add_t();
    Vexa::bench::keep(image.planes().size());
}

std::size_t bytes_in_use() {
    auto const info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void report_memory(std::string const& xml) {
    std::size_t const before = bytes_in_use();
    OME::Root root(xml);
    std::size_t const opened = bytes_in_use();
    constexpr int count = 10'000;
    auto& datasets = root.ome.datasets();
    for (int i = 0; i < count; ++i) datasets.emplace_back();
    std::fprintf(stderr,
                 "Memory: %.1f bytes per byte of XML; %.0f bytes per dataset with nothing but its ID.\n",
                 static_cast<double>(opened - before) / static_cast<double>(xml.size()),
                 static_cast<double>(bytes_in_use() - opened) / count);
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    std::string const small = document(10'000'000), large = document(50'000'000);
    double const sizes = static_cast<double>(large.size()) / static_cast<double>(small.size());
    report_memory(small);
    table.compare({.name = "open/50MB over 10MB",
                   .target = 5.0 / 6,
                   .candidate = [&] { open(large); },
                   .baseline = [&] { open(small); },
                   .scale = sizes,
                   .clock = Vexa::bench::Clock::thread});
    table.compare({.name = "create/200000 over 20000 dyes",
                   .target = 5.0 / 6,
                   .candidate = [] { create_dyes(200'000); },
                   .baseline = [] { create_dyes(20'000); },
                   .scale = 10,
                   .clock = Vexa::bench::Clock::thread});
    table.compare({.name = "create/100000 over 10000 planes",
                   .target = 5.0 / 6,
                   .candidate = [] { create_planes(100'000); },
                   .baseline = [] { create_planes(10'000); },
                   .scale = 10,
                   .clock = Vexa::bench::Clock::thread});
    table.compare({.name = "create/100000 over 10000 time points",
                   .target = 5.0 / 6,
                   .candidate = [] { add_time_points(100'000); },
                   .baseline = [] { add_time_points(10'000); },
                   .scale = 10,
                   .clock = Vexa::bench::Clock::thread});
    return table.run();
}
