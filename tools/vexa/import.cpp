#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <vexa/arrays/StackInfoImp.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Root.h>

#include "commands.h"
#include "console.h"
#include "image.h"
#include "metadata.h"
#include "ome_tiff.h"
#include "output_file.h"
#include "raw.h"
#include "sidecar.h"
#include "stacks.h"
#include "text.h"
#include "workers.h"

namespace Vexa::tool {
namespace {

constexpr std::uint64_t block_bytes = 8 << 20;

std::unique_ptr<SampleSource> open_raw_input(ImportOptions const& options) {
    if (options.shape.has_value() != options.type.has_value())
        throw Failure(Exit::wrong_use, "--shape and --type belong together.");
    if (!options.shape) return open_raw(options.input, read_sidecar(options.input));
    ImageInfo info;
    info.shape = parse_shape(*options.shape);
    info.labels.resize(info.shape.size());
    info.type = type_from_text(*options.type);
    if (info.element_size() == 0)
        throw Failure(Exit::wrong_use, fmt::format("\"{}\" is no type of samples.", *options.type));
    return open_raw(options.input, info);
}

ImageFile open_input(ImportOptions const& options) {
    auto const ending = lower_ending(options.input);
    bool const is_raw = ending == ".raw" || options.shape || options.type;
    if (!is_raw && (ending == ".tif" || ending == ".tiff")) return open_tiff_file(options.input);
    ImageFile input;
    input.images.push_back(is_raw ? open_raw_input(options) : open_image(options.input));
    return input;
}

void check_shape(std::filesystem::path const& path, ImageInfo const& info) {
    for (auto const size : info.shape)
        if (size > 0xFFFFFFFF)
            throw Failure(Exit::no_input, fmt::format("{}: an axis of {} samples is too long for a stack.",
                                                      path.string(), size));
}

void describe(arrays::StackInfoInterface& stack, ImageInfo const& info, ImportOptions const& options) {
    stack.set_name(options.name.value_or(info.name.empty() ? options.input.stem().string() : info.name));
    stack.set_description(options.description.value_or(info.description));
    stack.set_labels(info.labels);
    if (!info.lengths.empty()) stack.set_lengths(info.lengths);
    for (std::size_t axis = 0; axis < info.pixel_lengths.size(); ++axis) {
        if (!(info.pixel_lengths[axis] > 0)) continue;
        units::RuntimeValue metre;
        metre.set_value("m", 1.0);
        stack.set_units(axis, metre);
        stack.set_length(axis, info.pixel_lengths[axis] * static_cast<double>(info.shape[axis]));
        stack.set_offset(axis, 0.0);
    }
}

void copy_samples(SampleSource& source, bf::StackInterface& stack) {
    auto const& info = source.info();
    auto const total = info.elements();
    if (total == 0) return stack.write_end(info.type);
    auto const block =
        std::min<std::uint64_t>(std::max<std::uint64_t>(block_bytes / info.element_size(), 1), total);
    std::vector<unsigned char> buffer(block * info.element_size());
    Progress progress("importing", total * info.element_size());
    for (std::uint64_t done = 0; done < total;) {
        auto const n = std::min(block, total - done);
        source.read(buffer.data(), n);
        stack.write(info.type, buffer.data(), nullptr, n);
        progress.add(n * info.element_size());
        done += n;
    }
}

arrays::StackInfoImp description_of(ImageInfo const& info, ImportOptions const& options) {
    check_shape(options.input, info);
    arrays::StackInfoImp description(info.type, info.shape);
    describe(description, info, options);
    return description;
}

/// Put the document of the input in place of that of the stacks. What the user has chosen stands in it, too.
void take_document(OME::Root& root, ImageFile const& input, ImportOptions const& options) {
    // Assigning would leave out what has no class.
    root.set(*OME::Root(input.document).value());
    root.resolve_references();
    if (input.images.size() != 1) return;
    OME::Image& image = root.ome.images().front();
    if (options.name) image.name().set(*options.name);
    if (options.description) image.description().set(*options.description);
}

void import_once(ImportOptions const& options, OutputFile const& output, unsigned threads) {
    auto const input = open_input(options);
    if (input.images.size() > 1 && (options.name || options.description))
        throw Failure(Exit::wrong_use, fmt::format("--name and --description are for one stack; {} has {}.",
                                                   options.input.string(), input.images.size()));
    // The descriptions come first: the images of the stacks are made of them.
    std::vector<arrays::StackInfoImp> descriptions;
    std::string no_image;
    for (auto const& source : input.images) {
        descriptions.push_back(description_of(source->info(), options));
        if (no_image.empty()) no_image = why_no_image(descriptions.back());
    }
    Workers workers(threads);
    auto const file = create_file(!no_image.empty());
    file->open(output.path(), bf::DiskFile::Mode::create);
    file->set_threading_support(workers.support());
    // An import that is given up must not fill the file with zeros before it goes away.
    bf::WriteMode const no_padding = bf::WriteModeFlags::no_padding;
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
        auto const stack = file->add_stack(descriptions[i], no_padding, 0, false);
        stack->set_compression(options.level > 0 ? 1 : 0, options.level);
        copy_samples(*input.images[i], *stack);
    }
    if (!input.document.empty()) take_document(file->metadata(), input, options);
    file->close();
    for (auto const& warning : input.warnings) complain(printable(warning));
    for (auto const& source : input.images)
        for (auto const& warning : source->warnings()) complain(printable(warning));
    if (!no_image.empty())
        complain(fmt::format("{}: has no OME document, which can't describe the stack: {}",
                             printable(options.output.string()), printable(no_image)));
}

} // namespace

Exit run_import(ImportOptions const& options) {
    OutputFile output(options.output, options.force);
    failing_as(Exit::output_failed, options.output, [&] {
        write_by_threads(options.threads, [&](unsigned threads) { import_once(options, output, threads); });
    });
    output.publish();
    return Exit::done;
}

} // namespace Vexa::tool
