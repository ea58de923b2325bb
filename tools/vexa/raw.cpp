#include "raw.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>

#include "failure.h"
#include "input_file.h"

namespace Vexa::tool {
namespace {

class RawSource : public SampleSource {
public:
    RawSource(InputFile file, ImageInfo const& info) : file_(std::move(file)) { info_ = info; }
    void read(void* to, std::uint64_t count) override {
        file_.read(to, static_cast<std::size_t>(count) * info_.element_size());
    }

private:
    InputFile file_;
};

class ByteSink : public SampleSink {
public:
    ByteSink(OutputFile const& file, std::string const& header, std::size_t element_size)
        : output_(file), element_size_(element_size), file_(std::fopen(file.path().c_str(), "wb")) {
        if (!file_) fail();
        put(header.data(), header.size());
    }
    void write(void const* from, std::uint64_t count) override {
        put(from, static_cast<std::size_t>(count) * element_size_);
    }
    void finish() override {
        if (std::fclose(file_.release()) != 0) fail();
    }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] void fail() const {
        throw Failure(Exit::output_failed, fmt::format("{}: cannot be written: {}", output_.target().string(),
                                                       std::strerror(errno)));
    }
    void put(void const* from, std::size_t n) {
        if (n != 0 && std::fwrite(from, 1, n, file_.get()) != n) fail();
    }

    OutputFile const& output_;
    std::size_t element_size_;
    std::unique_ptr<std::FILE, Close> file_;
};

/// \throws Failure with Exit::wrong_use
std::uint64_t bytes_of(ImageInfo const& info) {
    std::uint64_t bytes = info.element_size();
    for (auto const size : info.shape)
        if (__builtin_mul_overflow(bytes, std::uint64_t{size}, &bytes))
            throw Failure(Exit::wrong_use, "The shape has more bytes than 64 bits count.");
    return bytes;
}

[[noreturn]] void refuse_size(InputFile const& file, std::uint64_t bytes) {
    throw Failure(Exit::damaged, fmt::format("{}: the shape needs {} bytes and the file has {}.",
                                             file.path().string(), bytes, file.left()));
}

} // namespace

std::unique_ptr<SampleSource> open_raw(std::filesystem::path const& path, ImageInfo const& info) {
    InputFile file(path);
    auto const bytes = bytes_of(info);
    if (bytes != file.size()) refuse_size(file, bytes);
    return std::make_unique<RawSource>(std::move(file), info);
}

std::unique_ptr<SampleSource> open_raw(InputFile file, std::size_t header_size, ImageInfo const& info) {
    std::string header(header_size, '\0');
    file.read(header.data(), header.size());
    auto const bytes = bytes_of(info);
    if (bytes > file.left()) refuse_size(file, bytes);
    return std::make_unique<RawSource>(std::move(file), info);
}

std::unique_ptr<SampleSink> write_bytes(OutputFile const& file, std::string const& header,
                                        std::size_t element_size) {
    return std::make_unique<ByteSink>(file, header, element_size);
}

} // namespace Vexa::tool
