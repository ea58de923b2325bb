#include <algorithm>
#include <ctime>

#include <fmt/format.h>
#include <vexa/zinflux/Archive.h>
#include <vexa/zinflux/Common.h>

#include "commands.h"
#include "console.h"
#include "input_file.h"
#include "output_file.h"
#include "stacks.h"
#include "text.h"
#include "workers.h"

namespace Vexa::tool {
namespace {

using Zinflux::Archive;
using Contents = Archive::Contents;
using MemoryStack = std::shared_ptr<arrays::StackInterface>;

constexpr char const* tag_key = "zinflux";
/// Deflate makes no more of a byte.
constexpr std::uint64_t most_inflation = 1032;

/// The tag that makes a stack an archive; null for other stacks.
JSON::Value const* archive_tag(bf::StackInterface const& stack) {
    auto const keys = stack.tag_keys();
    if (std::find(keys.begin(), keys.end(), tag_key) == keys.end()) return nullptr;
    return std::get_if<JSON::Value>(&stack.tag(tag_key));
}

/// The archives that a command means: the one that is named, or all.
std::vector<unsigned long> find_archives(bf::FileInterface const& file, std::filesystem::path const& path,
                                         std::optional<std::string> const& named) {
    if (named) {
        auto const index = find_stack(file, *named);
        if (!archive_tag(*file.get_stack(index)))
            throw Failure(Exit::wrong_use,
                          fmt::format("Stack {} is no archive: it has no tag \"{}\".", index, tag_key));
        return {index};
    }
    std::vector<unsigned long> found;
    for (unsigned long index = 0; index < file.get_num_stacks(); ++index)
        if (archive_tag(*file.get_stack(index))) found.push_back(index);
    if (found.empty()) throw Failure(Exit::no_input, fmt::format("{}: holds no archive.", path.string()));
    return found;
}

/// Read an archive into memory.
MemoryStack load(bf::FileInterface& file, std::filesystem::path const& path, unsigned long index) {
    auto const stack = file.get_stack(index);
    auto const bytes = sample_bytes(*stack);
    // The shape in a damaged file may be anything.
    if (state_text(*stack) != "complete" || bytes / most_inflation > InputFile(path).size())
        throw Failure(Exit::damaged,
                      fmt::format("{}: the archive in stack {} is not complete.", path.string(), index));
    Progress progress("reading", bytes);
    file.set_progress_cb([&](unsigned long n) { return progress.add(n), true; });
    MemoryStack loaded;
    reading(path, [&] { loaded = file.read_stack(index, 0); });
    file.set_progress_cb({});
    return loaded;
}

// Packing

std::string label_of(ArchivePackOptions const& options) {
    if (options.label) return *options.label;
    auto const folder = std::filesystem::absolute(options.folder).lexically_normal();
    return (folder.has_filename() ? folder : folder.parent_path()).filename().string();
}

/// A tree without an identifier is fine, one whose identifier can't be read is not.
void check_identifier(std::filesystem::path const& folder) {
    auto const attributes = folder / "zarr" / "zfx" / ".zattrs";
    failing_as(Exit::no_input, attributes, [&] {
        try {
            if (std::filesystem::is_regular_file(attributes)) Archive::read_did(folder);
        } catch (std::bad_variant_access const&) {
            throw std::runtime_error("expected an object with a text under \"did\".");
        }
    });
}

MemoryStack pack_tree(ArchivePackOptions const& options) {
    check_identifier(options.folder);
    MemoryStack stack;
    Progress progress("packing", 0);
    failing_as(Exit::no_input, options.folder, [&] {
        stack = Archive::pack(options.folder, label_of(options), options.aid.value_or(Zinflux::make_uid()),
                              [&](std::size_t bytes) { progress.add(bytes); });
    });
    stack->set_name(label_of(options));
    return stack;
}

void write_archive(arrays::StackInterface const& archive, ArchivePackOptions const& options,
                   std::filesystem::path const& path, unsigned threads) {
    Workers workers(threads);
    auto const file = create_file(false);
    file->open(path, bf::DiskFile::Mode::create);
    file->set_threading_support(workers.support());
    Progress progress("writing", archive.number_of_elements());
    file->set_progress_cb([&](unsigned long n) { return progress.add(n), true; });
    bf::WriteMode const no_padding = bf::WriteModeFlags::no_padding;
    auto const stack = file->add_stack(archive, no_padding, 0, false);
    stack->set_compression(options.level > 0 ? 1 : 0, options.level);
    stack->write(archive.type(), archive.get_data_ptr(), nullptr, archive.number_of_elements());
    file->close();
}

// Listing

std::string time_text(std::int64_t seconds) {
    std::time_t const time = seconds;
    std::tm parts{};
    char text[64];
    if (!::gmtime_r(&time, &parts) || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return fmt::format("{} s after 1970", seconds);
    return text;
}

/// Strings in the tag as UTF-8.
JSON::Value tag_json(JSON::Value const& tag) {
    JSON::Map map;
    for (char const* key : {"aid", "did", "label", "sid", "type"}) {
        auto const* const value = tag.find(key);
        auto const* const text = value ? value->get_if<std::string>() : nullptr;
        if (text) map[key] = as_utf8(*text);
    }
    return map;
}

JSON::Value entry_json(Zinflux::Blob::Entry const& entry) {
    JSON::Map map;
    map["name"] = as_utf8(entry.name);
    map["type"] = entry.is_directory ? "directory" : "file";
    if (!entry.is_directory) map["size"] = JSON::Number(entry.size);
    return map;
}

JSON::Value archive_json(bf::StackInterface const& stack, MemoryStack const& loaded) {
    JSON::List entries;
    auto const contents =
        Archive::contents(loaded, [&](auto const& entry) { entries.push_back(entry_json(entry)); });
    JSON::Map map;
    map["name"] = as_utf8(stack.name());
    map["tag"] = tag_json(*archive_tag(stack));
    map["data_aid"] = as_utf8(Archive::infer_data_aid(*archive_tag(stack)));
    map["liveview_sid"] = as_utf8(Archive::infer_liveview_sid(*archive_tag(stack)));
    map["version"] = JSON::Number(contents.header.version);
    map["creation_time"] = JSON::Number(contents.header.creation_time);
    map["blob_bytes"] = JSON::Number(contents.size);
    map["entries"] = std::move(entries);
    return map;
}

std::string heading_text(bf::StackInterface const& stack, unsigned long index, Contents const& contents) {
    auto const heading =
        fmt::format("archive {} \"{}\": {} files, {} directories, {}, packed {}", index,
                    printable(stack.name()), contents.files, contents.directories,
                    byte_text(contents.file_bytes), time_text(contents.header.creation_time));
    std::string text = styled(Style::heading, heading) + "\n";
    auto const tag = tag_json(*archive_tag(stack));
    for (char const* key : {"aid", "did", "sid", "label"})
        if (auto const* const value = tag.find(key); value && !value->get<std::string>().empty())
            text += fmt::format("{}: {}\n", key, printable(value->get<std::string>()));
    return text;
}

void put_entry(Zinflux::Blob::Entry const& entry) {
    auto const name = printable(entry.name);
    put(entry.is_directory ? fmt::format("{:>12}  {}/\n", "-", name)
                           : fmt::format("{:>12}  {}\n", entry.size, name));
}

void put_archive(bf::StackInterface const& stack, unsigned long index, MemoryStack const& loaded) {
    put(heading_text(stack, index, Archive::contents(loaded)));
    Archive::contents(loaded, put_entry);
}

} // namespace

Exit run_archive_pack(ArchivePackOptions const& options) {
    OutputFile::check_target(options.output, options.force);
    auto const archive = pack_tree(options);
    // Only now, since the output may stand in the tree.
    OutputFile output(options.output, options.force);
    failing_as(Exit::output_failed, options.output, [&] {
        write_by_threads(options.threads,
                         [&](unsigned threads) { write_archive(*archive, options, output.path(), threads); });
    });
    output.publish();
    return Exit::done;
}

Exit run_archive_ls(ArchiveListOptions const& options) {
    auto const file = open_vbf(options.file);
    JSON::List archives;
    Exit worst = Exit::done;
    for (auto const index : find_archives(*file, options.file, options.stack)) {
        JSON::Value archive;
        try {
            auto const stack = file->get_stack(index);
            auto const loaded = load(*file, options.file, index);
            reading(options.file, [&] {
                if (options.json)
                    archive = archive_json(*stack, loaded);
                else
                    put_archive(*stack, index, loaded);
            });
        } catch (Failure const& failure) {
            if (failure.exit() != Exit::damaged) throw;
            complain(failure.what());
            worst = failure.exit();
            archive = JSON::Map{{"error", as_utf8(failure.what())}};
        }
        archive.promote_as<JSON::Map>()["index"] = JSON::Number(index);
        archives.push_back(std::move(archive));
    }
    if (options.json) {
        JSON::Map document;
        document["schema"] = "vexa.archive-ls/1";
        document["path"] = as_utf8(options.file.string());
        document["archives"] = std::move(archives);
        put(document_text(document));
    }
    return worst;
}

Exit run_archive_extract(ArchiveExtractOptions const& options) {
    Workers workers(options.threads);
    auto const file = open_vbf(options.file);
    file->set_threading_support(workers.support());
    auto const archives = find_archives(*file, options.file, options.stack);
    if (archives.size() > 1)
        throw Failure(Exit::wrong_use, fmt::format("{}: has {} archives; --stack says which one.",
                                                   options.file.string(), archives.size()));
    OutputFolder output(options.output, options.force);
    auto const stack = load(*file, options.file, archives.front());
    std::uint64_t total = 0;
    reading(options.file, [&] { total = Archive::contents(stack).file_bytes; });
    Progress progress("unpacking", total);
    failing_as(Exit::output_failed, options.output, [&] {
        Archive::unpack(stack, output.path(), [&](std::size_t bytes) { progress.add(bytes); });
    });
    output.publish();
    return Exit::done;
}

} // namespace Vexa::tool
