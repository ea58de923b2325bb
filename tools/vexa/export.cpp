#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>
#include <vexa/foundation/types.h>

#include "commands.h"
#include "console.h"
#include "image.h"
#include "npy.h"
#include "ome_tiff.h"
#include "output_file.h"
#include "picture.h"
#include "raw.h"
#include "region.h"
#include "sidecar.h"
#include "stacks.h"
#include "text.h"
#include "tiff_image.h"
#include "workers.h"

namespace Vexa::tool {
namespace {

constexpr std::uint64_t most_pixels = 1 << 28; ///< of a PNG file, whose plane is held in memory

bool is_length(units::RuntimeValue const& unit) {
    if (!unit.valid) return false;
    for (std::size_t i = 0; i < unit.exponents.size(); ++i)
        if (unit.exponents[i].numerator != (i == 0 ? 1 : 0) || unit.exponents[i].denominator != 1)
            return false;
    return true;
}

ImageInfo describe(bf::StackInterface const& stack) {
    ImageInfo info;
    info.type = stack.type();
    info.shape = stack.shape();
    info.labels = stack.labels();
    info.description = stack.description();
    info.pixel_lengths.assign(info.shape.size(), 0.0);
    for (std::size_t axis = 0; axis < info.shape.size(); ++axis)
        if (is_length(stack.units(axis)) && info.shape[axis] != 0)
            info.pixel_lengths[axis] = std::abs(stack.length(axis) * stack.units(axis).value) /
                                       static_cast<double>(info.shape[axis]);
    return info;
}

void copy_samples(ExportOptions const& options, bf::StackInterface const& stack, SampleSink& sink) {
    auto const size = vexa_dt_get_size(stack.type());
    Progress progress("exporting", sample_bytes(stack));
    reading(options.file, [&] {
        for_each_block(stack, [&](void const* samples, std::uint64_t count) {
            sink.write(samples, count);
            progress.add(count * size);
        });
    });
    sink.finish();
}

void export_raw(ExportOptions const& options, bf::StackInterface const& stack, ImageInfo const& info) {
    OutputFile raw(options.output, options.force);
    OutputFile sidecar(sidecar_path(options.output), options.force);
    copy_samples(options, stack, *write_bytes(raw, "", info.element_size()));
    write_bytes(sidecar, document_text(sidecar_json(info)), 1)->finish();
    sidecar.publish();
    raw.publish();
}

/// OUT.ome.tif or OUT.ome.tiff
bool is_ome_tiff(std::filesystem::path const& path) {
    auto const ending = lower_ending(path);
    return (ending == ".tif" || ending == ".tiff") && lower_ending(path.stem()) == ".ome";
}

void export_ome_tiff(ExportOptions const& options, bf::FileInterface& file, unsigned long index,
                     bf::StackInterface const& stack, ImageInfo const& info) {
    std::vector<std::string> warnings;
    auto const document = ome_tiff_document(file, index, info, warnings);
    OutputFile output(options.output, options.force);
    copy_samples(options, stack, *write_tiff(output, info, document));
    output.publish();
    for (auto const& warning : warnings)
        complain(fmt::format("{}: {}.", printable(options.file.string()), warning));
}

template <typename Writer>
void export_image(ExportOptions const& options, bf::StackInterface const& stack, ImageInfo const& info,
                  Writer write) {
    OutputFile output(options.output, options.force);
    copy_samples(options, stack, *write(output, info));
    output.publish();
}

/// The region of one plane: all of the two fastest axes that are no colours, one index of each other axis.
std::vector<AxisRange> plane_region(ExportOptions const& options, ImageInfo const& info) {
    std::size_t const x = has_colour_axis(info) ? 1 : 0;
    std::vector<unsigned long> others;
    for (std::size_t axis = 0; axis < info.shape.size(); ++axis)
        if (axis != x && axis != x + 1) others.push_back(info.shape[axis]);
    std::uint64_t planes = 1;
    for (auto const size : others) planes *= size;
    if (!options.plane && planes != 1)
        throw Failure(Exit::wrong_use,
                      fmt::format("The stack has {} planes; --plane says which one, by the indices "
                                  "of {}, slowest axis first.",
                                  planes, shape_text(others)));
    auto const indices = parse_region(options.plane.value_or(""), others);
    std::vector<AxisRange> region;
    for (std::size_t axis = 0, other = 0; axis < info.shape.size(); ++axis) {
        bool const whole = axis == x || axis == x + 1;
        region.push_back(whole ? AxisRange{0, info.shape[axis], 1, false} : indices[other++]);
        if (!whole && region.back().count != 1)
            throw Failure(Exit::wrong_use, "--plane takes one index for each axis.");
    }
    return region;
}

Contrast parse_range(std::string const& text) {
    Contrast range;
    auto const* const end = text.data() + text.size();
    auto const first = std::from_chars(text.data(), end, range.black);
    bool const comma = first.ec == std::errc() && first.ptr != end && *first.ptr == ',';
    auto const second = comma ? std::from_chars(first.ptr + 1, end, range.white) : first;
    if (!comma || second.ec != std::errc() || second.ptr != end || !(range.black <= range.white) ||
        !std::isfinite(range.black) || !std::isfinite(range.white))
        throw Failure(Exit::wrong_use, fmt::format("\"{}\" is no range: BLACK,WHITE.", text));
    return range;
}

void export_png(ExportOptions const& options, bf::StackInterface const& stack, ImageInfo const& info) {
    auto const region = plane_region(options, info);
    std::size_t const x = has_colour_axis(info) ? 1 : 0;
    auto const height = x + 1 < info.shape.size() ? info.shape[x + 1] : 1;
    if (info.shape[x] > most_pixels || height > most_pixels / std::max(info.shape[x], 1ul))
        throw Failure(Exit::wrong_use, "The plane is too large for a PNG file.");
    std::optional<Contrast> range;
    if (options.range) range = parse_range(*options.range);
    OutputFile output(options.output, options.force);
    std::vector<double> values;
    auto const size = info.element_size();
    Progress progress("reading the plane", region_size(region) * size);
    reading(options.file, [&] {
        std::vector<unsigned char> row;
        for_each_run(region, info.shape, [&](std::uint64_t position, std::uint64_t length) {
            row.resize(length * size);
            unsigned long at = position;
            stack.read(info.type, row.data(), nullptr, length, at);
            for (std::uint64_t i = 0; i < length; ++i)
                values.push_back(sample_value(row.data() + i * size, info.type));
            progress.add(length * size);
        });
    });
    if (!range) range = find_contrast(values);
    auto const picture = make_picture(values, static_cast<std::uint32_t>(info.shape[x]),
                                      static_cast<std::uint32_t>(height), options.bits, *range);
    write_png(output, picture);
    output.publish();
    complain(
        fmt::format("{}: black is {}, white is {}.", options.output.string(), range->black, range->white));
}

} // namespace

Exit run_export(ExportOptions const& options) {
    Workers workers(options.threads);
    auto const file = open_vbf(options.file);
    file->set_threading_support(workers.support());
    auto const index = find_stack(*file, options.stack);
    auto const stack = file->get_stack(index);
    auto const info = describe(*stack);
    if (info.shape.empty()) throw Failure(Exit::wrong_use, "A stack without axes has nothing to export.");
    if (info.element_size() == 0)
        throw Failure(Exit::no_input, fmt::format("Samples of type {} have no size and can't be read.",
                                                  type_text(info.type)));
    auto const ending = lower_ending(options.output);
    if (ending != ".png" && (options.plane || options.range))
        throw Failure(Exit::wrong_use, "--plane and --range are for .png files.");
    if (ending == ".npy")
        export_image(options, *stack, info, write_npy);
    else if (is_ome_tiff(options.output))
        export_ome_tiff(options, *file, index, *stack, info);
    else if (ending == ".tif" || ending == ".tiff")
        export_image(options, *stack, info, write_shaped_tiff);
    else if (ending == ".raw")
        export_raw(options, *stack, info);
    else if (ending == ".png")
        export_png(options, *stack, info);
    else
        throw Failure(Exit::wrong_use, fmt::format("{}: don't know how to write '{}' files; .npy, .tif, "
                                                   ".tiff, .ome.tif, .raw and .png are known.",
                                                   options.output.string(), ending));
    return Exit::done;
}

} // namespace Vexa::tool
