#include <vexa/zinflux/Archive.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include <vexa/arrays/Array.h>
#include <vexa/arrays/Utilities.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Reader.h>
#include <vexa/zinflux/blob_internal.h>
#include <vexa/zinflux/blob_reader_internal.h>

namespace Zinflux {
namespace {

constexpr char const* tag_key = "zinflux";

using Stack = Vexa::arrays::StackInterface;

std::filesystem::path attributes_of(std::filesystem::path const& root) {
    return root / "zarr" / "zfx" / ".zattrs";
}

/// The bytes of the samples. A block may be smaller than the shape of its stack says.
std::span<char const> bytes_of(Stack const* stack) {
    if (!stack || !stack->get_data_ptr()) throw std::runtime_error("cannot unpack empty stack");
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(stack->number_of_elements(), vexa_dt_get_size(stack->type()), &bytes))
        bytes = detail::unlimited;
    // data() hands out the block and changes nothing.
    if (auto const block = const_cast<Stack*>(stack)->data()) bytes = std::min(bytes, block->size());
    return {static_cast<char const*>(stack->get_data_ptr()), bytes};
}

/// The bytes of a stack that starts like a blob.
std::span<char const> blob_in(Stack const* stack) {
    auto const bytes = bytes_of(stack);
    constexpr auto& signature = Blob::Header::zfxdta_signature;
    if (bytes.size() < sizeof signature || std::memcmp(bytes.data(), signature, sizeof signature) != 0)
        throw std::runtime_error("signature mismatch");
    return bytes;
}

JSON::Value make_tag(std::string const& did, std::string const& label, std::string aid) {
    JSON::Value tag;
    auto& members = tag.set<JSON::Map>();
    members["aid"] = std::move(aid);
    members["did"] = did;
    members["label"] = label;
    members["sid"] = did;
    members["type"] = "data";
    return tag;
}

/// The text of a member; empty if there is none.
std::string text_in(JSON::Value const& tag, char const* key) {
    auto const* const value = tag.find(key);
    auto const* const text = value ? value->get_if<std::string>() : nullptr;
    return text ? *text : std::string();
}

} // namespace

std::shared_ptr<Stack> Archive::pack(std::filesystem::path const& root, std::string const& label,
                                     std::string aid) {
    return pack(root, label, std::move(aid), Progress());
}

std::shared_ptr<Stack> Archive::pack(std::filesystem::path const& root, std::string const& label,
                                     std::string aid, Progress const& progress) {
    auto const size = Blob::get_fs_size(root);
    auto const side = static_cast<std::size_t>(std::sqrt(static_cast<double>(size)));
    auto const stack = Vexa::create_stack(Vexa::types::uint8, {side + 1, side + 1, 1, 1});
    auto const filled =
        detail::fill_blob(Blob::Header::make_current_zfxdta(), static_cast<char*>(stack->get_data_ptr()),
                          std::min(size, stack->number_of_elements()), root, progress);
    if (filled != size)
        throw std::runtime_error(fmt::format("the tree {} changed while it was packed", root.string()));
    auto const did = std::filesystem::exists(attributes_of(root)) ? read_did(root) : std::string();
    auto const tag = make_tag(did, label, std::move(aid));
    stack->set_tag(tag_key, tag);
    return stack;
}

Blob::Header Archive::unpack(std::shared_ptr<Stack const> stack, std::filesystem::path const& destination) {
    return unpack(std::move(stack), destination, Progress());
}

Blob::Header Archive::unpack(std::shared_ptr<Stack const> stack, std::filesystem::path const& destination,
                             Progress const& progress) {
    auto const blob = blob_in(stack.get());
    return detail::write_tree(blob.data(), blob.size(), destination, progress);
}

Archive::Contents Archive::contents(std::shared_ptr<Stack const> stack) {
    return contents(std::move(stack), Visitor());
}

Archive::Contents Archive::contents(std::shared_ptr<Stack const> stack, Visitor const& visit) {
    auto const blob = blob_in(stack.get());
    detail::BlobReader reader(blob.data(), blob.size());
    Contents contents;
    contents.header = reader.header();
    for (detail::BlobEntry entry; reader.next(entry);) {
        ++(entry.is_directory ? contents.directories : contents.files);
        contents.file_bytes += entry.size;
        if (visit) visit({entry.name, entry.is_directory, entry.size});
    }
    contents.size = reader.position();
    return contents;
}

std::string Archive::read_did(std::filesystem::path const& root) {
    auto const attributes = JSON::read(attributes_of(root));
    if (attributes.is_null()) return {};
    auto const& members = attributes.get<JSON::Map>();
    auto const did = members.find("did");
    return did == members.end() || did->second.is_null() ? std::string() : did->second.get<std::string>();
}

std::string Archive::infer_data_aid(JSON::Value const& tag) {
    auto const aid = text_in(tag, "aid");
    if (!aid.empty()) return aid;
    auto const did = text_in(tag, "did");
    return did == text_in(tag, "sid") ? did : std::string();
}

std::string Archive::infer_liveview_sid(JSON::Value const& tag) {
    auto const sid = text_in(tag, "sid");
    return sid == text_in(tag, "did") ? std::string() : sid;
}

} // namespace Zinflux

JSON::Value Vexa::get_zinflux(std::shared_ptr<arrays::StackInterface> stack) {
    if (!stack) throw std::invalid_argument("No stack given.");
    return std::get<JSON::Value>(stack->tag(Zinflux::tag_key));
}
