#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// Bytes of files in tests, as strings.
namespace Vexa::testing {

/// The bytes of a value in memory, which are little-endian.
template <typename T>
std::string bytes_of(T value) {
    return {reinterpret_cast<char const*>(&value), sizeof value};
}

inline std::string zero_bytes(std::size_t n) { return std::string(n, '\0'); }

/// A 32-bit length and the text.
inline std::string counted(std::string const& text) {
    return bytes_of(static_cast<std::uint32_t>(text.size())) + text;
}

/// The value that stands at a position.
template <typename T>
T value_at(std::string const& bytes, std::size_t position) {
    T value;
    bytes.substr(position, sizeof value).copy(reinterpret_cast<char*>(&value), sizeof value);
    return value;
}

/// Put a value to a position.
template <typename T>
void put(std::string& bytes, std::size_t position, T value) {
    bytes.replace(position, sizeof value, bytes_of(value));
}

inline std::string read_bytes(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("Cannot read " + path.string());
    std::string bytes(std::filesystem::file_size(path), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

inline void write_bytes(std::filesystem::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A stream without a name that holds bytes, at its start; closed when the object goes.
class ByteStream {
public:
    explicit ByteStream(std::string const& content = {}) : stream_(std::tmpfile()) {
        if (!stream_) throw std::runtime_error("Cannot make a temporary file.");
        if (std::fwrite(content.data(), 1, content.size(), stream_) != content.size())
            throw std::runtime_error("Cannot fill a temporary file.");
        std::rewind(stream_);
    }
    ByteStream(ByteStream const&) = delete;
    ByteStream& operator=(ByteStream const&) = delete;
    ~ByteStream() { std::fclose(stream_); }

    FILE* get() const { return stream_; }
    long position() const { return std::ftell(stream_); }
    /// All bytes, those still in the buffer included. The position stays.
    std::string bytes() const {
        long const back = position();
        std::fflush(stream_);
        std::fseek(stream_, 0, SEEK_END);
        std::string all(static_cast<std::size_t>(position()), '\0');
        std::rewind(stream_);
        if (std::fread(all.data(), 1, all.size(), stream_) != all.size())
            throw std::runtime_error("Cannot read a temporary file.");
        std::fseek(stream_, back, SEEK_SET);
        return all;
    }

private:
    FILE* stream_;
};

} // namespace Vexa::testing
