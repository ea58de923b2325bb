#include <vexa/zinflux/blob_reader_internal.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>

#include <fmt/format.h>

namespace Zinflux::detail {
namespace {

[[noreturn]] void refuse_blob(std::string const& reason) {
    throw std::runtime_error("cannot unpack blob: " + reason);
}

Blob::Header header_of(char const* from) {
    auto const block = std::as_bytes(std::span(from, HeaderLayout::size));
    Blob::Header header;
    auto const signature = HeaderLayout::signature.load(block);
    std::copy(signature.begin(), signature.end(), header.signature);
    header.version = HeaderLayout::version.load(block);
    header.creation_time = HeaderLayout::creation_time.load(block);
    auto const reserved = HeaderLayout::reserved.load(block);
    std::copy(reserved.begin(), reserved.end(), header.reserved);
    return header;
}

/// The name without empty parts and ".", which lead nowhere.
std::string checked_name(std::string_view original) {
    std::string slashed(original);
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    if (slashed.find('\0') != std::string::npos) refuse_entry(original, "the name has a zero byte");
    if (slashed.front() == '/') refuse_entry(original, "the name is absolute");
    std::string name;
    for (std::size_t at = 0; at <= slashed.size();) {
        auto const end = std::min(slashed.find('/', at), slashed.size());
        auto const part = std::string_view(slashed).substr(at, end - at);
        at = end + 1;
        if (part == "..") refuse_entry(original, "the name has a part \"..\"");
        if (part.size() > longest_part)
            refuse_entry(original, fmt::format("the name has a part of {} bytes, {} are allowed", part.size(),
                                               longest_part));
        if (part.empty() || part == ".") continue;
        if (!name.empty()) name += '/';
        name += part;
    }
    return name;
}

/// Whether a name has a last part for a file to have.
bool names_a_file(std::string_view name) {
    auto const end = name.find_last_of("/\\");
    auto const last = end == std::string_view::npos ? name : name.substr(end + 1);
    return !last.empty() && last != ".";
}

} // namespace

std::string shown(std::string_view name) {
    constexpr std::size_t most = 100;
    std::string text;
    for (char const c : name.substr(0, most)) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F)
            text += fmt::format("\\x{:02x}", byte);
        else
            text += c;
    }
    return name.size() > most ? text + "..." : text;
}

void refuse_entry(std::string_view name, std::string_view reason) {
    throw std::runtime_error(fmt::format("cannot unpack \"{}\": {}", shown(name), reason));
}

BlobReader::BlobReader(char const* blob, std::size_t size) : blob_(blob), size_(size) {
    header_ = header_of(take(HeaderLayout::size, "the header"));
}

char const* BlobReader::take(std::size_t n, char const* what) {
    if (n > size_ - position_)
        refuse_blob(
            fmt::format("{} at byte {} has {} bytes, {} are left", what, position_, n, size_ - position_));
    char const* const taken = blob_ + position_;
    position_ += n;
    return taken;
}

template <typename T>
T BlobReader::value(char const* what) {
    T value;
    std::memcpy(&value, take(sizeof value, what), sizeof value);
    return value;
}

std::string BlobReader::name(Length n) {
    if (n < 0) refuse_blob(fmt::format("the name at byte {} has the negative length {}", position_, n));
    auto const length = static_cast<std::size_t>(n);
    auto const begin = take(length, "the name");
    if (length > longest_name)
        refuse_entry({begin, longest_name},
                     fmt::format("the name has {} bytes, {} are allowed", length, longest_name));
    return {begin, length};
}

bool BlobReader::next(BlobEntry& entry) {
    auto const length = value<Length>("the length of a name");
    if (length == end_mark) return false;
    auto const original = name(length);
    entry.name = checked_name(original);
    entry.is_directory = value<Flag>("the kind of an entry") != 0;
    entry.content = nullptr;
    entry.size = 0;
    if (entry.is_directory) return true;
    if (!names_a_file(original)) refuse_entry(original, "not the name of a file");
    auto const size = value<Length>("the size of a file");
    if (size < 0) refuse_entry(original, fmt::format("the size {} is negative", size));
    if (static_cast<std::size_t>(size) > size_ - position_)
        refuse_entry(original, fmt::format("the file has {} bytes, {} are left", size, size_ - position_));
    entry.size = static_cast<std::size_t>(size);
    entry.content = take(entry.size, "a file");
    return true;
}

} // namespace Zinflux::detail
