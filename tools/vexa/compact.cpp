#include <fmt/format.h>
#include <vexa/bf/Compacter.h>

#include "commands.h"
#include "console.h"
#include "input_file.h"
#include "output_file.h"
#include "stacks.h"
#include "text.h"

namespace Vexa::tool {
namespace {

constexpr std::string_view corrupt = "Corrupt VBF file.";
constexpr std::string_view no_header = "No VBF file header found.";

void refuse_same_file(CompactOptions const& options) {
    std::error_code neither_exists;
    if (std::filesystem::equivalent(options.input, options.output, neither_exists))
        throw Failure(Exit::wrong_use, "IN and OUT are the same file.");
}

/// What the library calls corrupt although each stack can be read.
enum class Layout { unknown, room_is_gone, interleaved };

/// Records that reach into what follows: with their rooms, which a compacted file no longer has, or with their
/// data.
Layout find_layout(std::filesystem::path const& path) {
    auto const file = open_file(path, bf::DiskFile::Mode::read);
    auto found = Layout::unknown;
    for (unsigned long index = 0; index < file->get_num_stacks(); ++index) {
        bool const last = index + 1 == file->get_num_stacks();
        auto const record = record_of(*file->get_stack(index));
        auto const next =
            last ? metadata_position(*file) : record_of(*file->get_stack(index + 1)).stack_position;
        if (record.data_start_position + record.data_length > next) return Layout::interleaved;
        if (record.end_of_stack_position > next) found = Layout::room_is_gone;
    }
    return found;
}

Layout layout_of(std::filesystem::path const& path) {
    try {
        return find_layout(path);
    } catch (std::exception const&) {
        return Layout::unknown;
    }
}

[[noreturn]] void fail(CompactOptions const& options, std::string const& reason) {
    bool const is_output = reason.starts_with("Failed writing") || reason.starts_with("Failed flushing");
    auto const& path = is_output ? options.output : options.input;
    auto const exit = is_output                                            ? Exit::output_failed
                      : reason == no_header || InputFile(path).size() < 26 ? Exit::no_input
                                                                           : Exit::damaged;
    throw Failure(
        exit, fmt::format("{}: {}", path.string(), exit == Exit::no_input ? no_header : printable(reason)));
}

/// \return false when there is nothing to do
bool write_compacted(CompactOptions const& options, OutputFile const& output) {
    auto const input_size = InputFile(options.input).size();
    Progress progress("compacting", input_size);
    bf::Compacter compacter(options.input, output.path());
    compacter.set_progress_cb([&](unsigned long bytes) {
        progress.add(bytes);
        return true;
    });
    try {
        return compacter.compact();
    } catch (Failure const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        std::string const reason = error.what();
        auto const layout = reason == corrupt ? layout_of(options.input) : Layout::unknown;
        if (layout == Layout::room_is_gone) return false;
        if (layout == Layout::interleaved)
            throw Failure(Exit::wrong_use,
                          fmt::format("{}: holds stacks that were written in turn; such a file can't be "
                                      "compacted.",
                                      options.input.string()));
        fail(options, reason);
    }
}

JSON::Value result_json(CompactOptions const& options, std::uint64_t before, std::uint64_t after) {
    JSON::Map document;
    document["schema"] = "vexa.compact/1";
    document["path"] = as_utf8(options.input.string());
    document["output"] =
        after == before ? JSON::Value(nullptr) : JSON::Value(as_utf8(options.output.string()));
    document["bytes_before"] = JSON::Number(before);
    document["bytes_after"] = JSON::Number(after);
    document["bytes_saved"] = JSON::Number(before - after);
    return document;
}

std::string result_text(CompactOptions const& options, std::uint64_t before, std::uint64_t after) {
    if (after == before)
        return fmt::format("{}: nothing to do, no stack has room that it does not use.\n",
                           printable(options.input.string()));
    return fmt::format("{}: {} in place of {}, {} saved.\n", printable(options.output.string()),
                       byte_text(after), byte_text(before), byte_text(before - after));
}

} // namespace

Exit run_compact(CompactOptions const& options) {
    auto const before = InputFile(options.input).size();
    refuse_same_file(options);
    OutputFile output(options.output, options.force);
    bool const done = write_compacted(options, output);
    auto const after = done ? InputFile(output.path()).size() : before;
    if (done) output.publish();
    put(options.json ? document_text(result_json(options, before, after))
                     : result_text(options, before, after));
    return done ? Exit::done : Exit::finding;
}

} // namespace Vexa::tool
