#include "npy.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vexa/foundation/types.h>

#include "failure.h"
#include "input_file.h"
#include "raw.h"

namespace Vexa::tool {
namespace {

constexpr std::string_view magic{"\x93NUMPY", 6};
constexpr std::size_t longest_header = 1 << 20;
constexpr std::size_t most_axes = 15;

struct NpyType {
    std::string_view name;
    int type;
};
constexpr std::array<NpyType, 13> npy_types{{{"u1", types::uint8},
                                             {"u2", types::uint16},
                                             {"u4", types::uint32},
                                             {"u8", types::uint64},
                                             {"i1", types::int8},
                                             {"i2", types::int16},
                                             {"i4", types::int32},
                                             {"i8", types::int64},
                                             {"f4", types::single},
                                             {"f8", types::double_},
                                             {"c8", types::cplx_single},
                                             {"c16", types::cplx_double},
                                             {"b1", types::uint8}}};

/// Reads the dictionary, which is a Python literal of a known form.
class HeaderParser {
public:
    explicit HeaderParser(std::string_view text) : text_(text) {}

    NpyHeader parse() {
        expect('{');
        while (!accept('}')) {
            auto const key = quoted();
            expect(':');
            if (key == "descr")
                take_descr();
            else if (key == "fortran_order")
                header_.fortran_order = boolean();
            else if (key == "shape")
                header_.shape = tuple();
            else
                throw std::runtime_error(fmt::format("the header has the unknown key '{}'.", key));
            if (std::find(seen_.begin(), seen_.end(), key) != seen_.end())
                throw std::runtime_error(fmt::format("the header has the key '{}' twice.", key));
            seen_.push_back(key);
            if (!accept(',')) {
                expect('}');
                break;
            }
        }
        if (seen_.size() != 3)
            throw std::runtime_error("the header lacks one of descr, fortran_order and shape.");
        skip_space();
        if (at_ != text_.size()) throw std::runtime_error("the header goes on behind its dictionary.");
        return header_;
    }

private:
    void skip_space() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n' || text_[at_] == '\t')) ++at_;
    }
    bool accept(char c) {
        skip_space();
        if (at_ >= text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }
    void expect(char c) {
        if (!accept(c)) throw std::runtime_error(fmt::format("the header lacks a '{}' at byte {}.", c, at_));
    }
    std::string_view quoted() {
        skip_space();
        char const quote = at_ < text_.size() ? text_[at_] : '\0';
        if (quote != '\'' && quote != '"')
            throw std::runtime_error(fmt::format("the header lacks a text at byte {}.", at_));
        auto const end = text_.find(quote, at_ + 1);
        if (end == std::string_view::npos) throw std::runtime_error("the header has a text without an end.");
        auto const value = text_.substr(at_ + 1, end - at_ - 1);
        at_ = end + 1;
        return value;
    }
    bool boolean() {
        skip_space();
        for (auto const word : {std::string_view("True"), std::string_view("False")})
            if (text_.substr(at_, word.size()) == word) {
                at_ += word.size();
                return word == "True";
            }
        throw std::runtime_error("the header's fortran_order is neither True nor False.");
    }
    unsigned long number() {
        skip_space();
        unsigned long value = 0;
        auto const* begin = text_.data() + at_;
        auto const [end, error] = std::from_chars(begin, text_.data() + text_.size(), value);
        if (error != std::errc())
            throw std::runtime_error(fmt::format("the header lacks a size at byte {}.", at_));
        at_ += static_cast<std::size_t>(end - begin);
        if (at_ < text_.size() && text_[at_] == 'L') ++at_; // very old writers mark long numbers
        return value;
    }
    std::vector<unsigned long> tuple() {
        std::vector<unsigned long> sizes;
        expect('(');
        while (!accept(')')) {
            if (sizes.size() == most_axes)
                throw std::runtime_error(fmt::format("the array has more than {} axes.", most_axes));
            sizes.push_back(number());
            if (!accept(',')) {
                expect(')');
                break;
            }
        }
        return sizes;
    }
    void take_descr() {
        skip_space();
        if (at_ < text_.size() && text_[at_] == '[')
            throw std::runtime_error("structured types can't be read.");
        auto const descr = quoted();
        header_.type = npy_type(descr);
        if (header_.type == 0) throw std::runtime_error(fmt::format("the type '{}' can't be read.", descr));
        header_.element_size = vexa_dt_get_size(header_.type) / (types::is_complex(header_.type) ? 2 : 1);
        header_.swapped = descr.front() == '>' && header_.element_size > 1;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    NpyHeader header_;
    std::vector<std::string_view> seen_;
};

/// Turn the bytes of each number around.
void swap_numbers(void* data, std::size_t bytes, std::size_t size) {
    auto* at = static_cast<unsigned char*>(data);
    for (std::size_t i = 0; i + size <= bytes; i += size) std::reverse(at + i, at + i + size);
}

NpyHeader read_header(InputFile& file) {
    std::array<char, 8> start{};
    if (file.size() >= start.size()) file.read(start.data(), start.size());
    if (std::string_view(start.data(), 6) != magic)
        throw Failure(Exit::no_input, fmt::format("{}: not a .npy file.", file.path().string()));
    if (start[6] < 1 || start[6] > 3)
        throw Failure(Exit::no_input,
                      fmt::format("{}: version {} of the .npy form is not known.", file.path().string(),
                                  static_cast<unsigned char>(start[6])));
    std::uint32_t length = 0;
    file.read(&length, start[6] == 1 ? 2 : 4);
    if (length > longest_header || length > file.left())
        throw Failure(Exit::damaged, fmt::format("{}: the header has {} bytes and {} are left.",
                                                 file.path().string(), length, file.left()));
    std::string text(length, '\0');
    file.read(text.data(), text.size());
    try {
        return parse_npy_header(text);
    } catch (std::runtime_error const& error) {
        throw Failure(Exit::no_input, fmt::format("{}: {}", file.path().string(), error.what()));
    }
}

/// \return the bytes of the array
std::uint64_t check_size(InputFile const& file, NpyHeader const& header) {
    std::uint64_t bytes = vexa_dt_get_size(header.type);
    bool const empty = std::count(header.shape.begin(), header.shape.end(), 0ul) != 0;
    for (auto const size : header.shape)
        if (!empty && __builtin_mul_overflow(bytes, std::uint64_t{size}, &bytes))
            throw Failure(Exit::damaged, fmt::format("{}: the array has more bytes than 64 bits count.",
                                                     file.path().string()));
    if (empty) bytes = 0;
    if (bytes > file.left())
        throw Failure(Exit::damaged, fmt::format("{}: the array needs {} bytes and the file has {} left.",
                                                 file.path().string(), bytes, file.left()));
    return bytes;
}

/// The samples stand in the file in the order in which they are wanted.
class NpySource : public SampleSource {
public:
    NpySource(InputFile file, NpyHeader const& header, ImageInfo info, std::vector<std::string> warnings)
        : file_(std::move(file)), header_(header) {
        info_ = std::move(info);
        warnings_ = std::move(warnings);
    }
    void read(void* to, std::uint64_t count) override {
        auto const bytes = static_cast<std::size_t>(count) * info_.element_size();
        file_.read(to, bytes);
        if (header_.swapped) swap_numbers(to, bytes, header_.element_size);
    }

private:
    InputFile file_;
    NpyHeader header_;
};

/// An array in Fortran order: its first axis is the fastest in the file and the slowest of the stack. Samples
/// are picked through a mapping of the file, as many as fit a buffer at a time, so that the pages of the file
/// come in a few times and not once for each plane.
class FortranSource : public SampleSource {
public:
    FortranSource(InputFile file, NpyHeader const& header, ImageInfo info, std::vector<std::string> warnings)
        : file_(std::move(file)), header_(header) {
        info_ = std::move(info);
        warnings_ = std::move(warnings);
        map_size_ = static_cast<std::size_t>(file_.size());
        void* const map = ::mmap(nullptr, map_size_, PROT_READ, MAP_PRIVATE, file_.descriptor(), 0);
        if (map == MAP_FAILED)
            throw Failure(Exit::no_input, fmt::format("{}: cannot be mapped.", file_.path().string()));
        map_ = static_cast<unsigned char const*>(map);
        samples_ = map_ + file_.position();
        total_ = info_.elements();
        slice_ = total_ / header.shape.front();
        width_ =
            std::clamp<std::uint64_t>(buffer_bytes / info_.element_size() / slice_, 1, header.shape.front());
    }
    FortranSource(FortranSource const&) = delete;
    FortranSource& operator=(FortranSource const&) = delete;
    ~FortranSource() override { ::munmap(const_cast<unsigned char*>(map_), map_size_); }

    void read(void* to, std::uint64_t count) override {
        auto const size = info_.element_size();
        auto* at = static_cast<unsigned char*>(to);
        while (count != 0) {
            if (taken_ == filled_) fill();
            auto const n = std::min(count, filled_ - taken_);
            std::memcpy(at, buffer_.data() + taken_ * size, static_cast<std::size_t>(n) * size);
            at += n * size;
            taken_ += n;
            count -= n;
        }
    }

private:
    static constexpr std::size_t buffer_bytes = 64 << 20;

    /// Bring in the next `width_` slices along the first axis of the array.
    void fill() {
        auto const size = info_.element_size();
        auto const first = header_.shape.front();
        auto const n = std::min<std::uint64_t>(width_, first - next_);
        buffer_.resize(static_cast<std::size_t>(n * slice_) * size);
        std::vector<unsigned long> index(header_.shape.size(), 0); // of the other axes, last fastest
        for (std::uint64_t i = 0; i < slice_; ++i) {
            std::uint64_t offset = 0;
            for (auto axis = header_.shape.size(); axis-- > 1;)
                offset = offset * header_.shape[axis] + index[axis];
            auto const* from = samples_ + (offset * first + next_) * size;
            for (std::uint64_t k = 0; k < n; ++k)
                std::memcpy(buffer_.data() + (k * slice_ + i) * size, from + k * size, size);
            for (auto axis = header_.shape.size(); axis-- > 1;) {
                if (++index[axis] < header_.shape[axis]) break;
                index[axis] = 0;
            }
        }
        if (header_.swapped) swap_numbers(buffer_.data(), buffer_.size(), header_.element_size);
        next_ += n;
        taken_ = 0;
        filled_ = n * slice_;
    }

    InputFile file_;
    NpyHeader header_;
    unsigned char const* map_ = nullptr;
    unsigned char const* samples_ = nullptr;
    std::size_t map_size_ = 0;
    std::uint64_t total_ = 0;
    std::uint64_t slice_ = 0; ///< samples for each index of the first axis
    std::uint64_t width_ = 0; ///< slices that the buffer holds
    std::uint64_t next_ = 0;  ///< first index that has not been brought in
    std::vector<unsigned char> buffer_;
    std::uint64_t taken_ = 0, filled_ = 0;
};

} // namespace

int npy_type(std::string_view descr) {
    if (descr.size() < 3 || std::string_view("<>|=").find(descr.front()) == std::string_view::npos) return 0;
    for (auto const& entry : npy_types)
        if (entry.name == descr.substr(1)) return entry.type;
    return 0;
}

std::string npy_descr(int type) {
    if (type == types::logical) return "|b1";
    if (type == types::rgb_word) type = types::uint32;
    for (auto const& entry : npy_types)
        if (entry.type == type) return (vexa_dt_get_size(type) == 1 ? "|" : "<") + std::string(entry.name);
    return {};
}

NpyHeader parse_npy_header(std::string_view text) { return HeaderParser(text).parse(); }

std::unique_ptr<SampleSource> open_npy(std::filesystem::path const& path) {
    InputFile file(path);
    auto const header = read_header(file);
    auto const bytes = check_size(file, header);
    std::vector<std::string> warnings;
    if (bytes < file.left())
        warnings.push_back(
            fmt::format("{}: {} bytes behind the array are left out.", path.string(), file.left() - bytes));
    ImageInfo info;
    info.type = header.type;
    info.shape.assign(header.shape.rbegin(), header.shape.rend());
    if (info.shape.empty()) info.shape.push_back(1);
    info.labels.resize(info.shape.size());
    if (header.fortran_order && header.shape.size() > 1 && bytes != 0)
        return std::make_unique<FortranSource>(std::move(file), header, std::move(info), std::move(warnings));
    return std::make_unique<NpySource>(std::move(file), header, std::move(info), std::move(warnings));
}

std::unique_ptr<SampleSink> write_npy(OutputFile const& file, ImageInfo const& info) {
    auto shape = info.shape;
    auto type = info.type;
    if (type == types::rgb_triple) {
        type = types::uint8;
        shape.insert(shape.begin(), 3);
    }
    auto const descr = npy_descr(type);
    if (descr.empty())
        throw Failure(Exit::wrong_use,
                      fmt::format("A .npy file can't hold samples of type {:#x}.", info.type));
    std::reverse(shape.begin(), shape.end());
    auto text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}{}), }}", descr,
                            fmt::join(shape, ", "), shape.size() == 1 ? "," : "");
    constexpr std::size_t before = 10; // magic, version and length
    text.resize((before + text.size() + 1 + 63) / 64 * 64 - before - 1, ' ');
    text += '\n';
    std::string header(magic);
    header += '\1';
    header += '\0';
    header += static_cast<char>(text.size() & 0xFF);
    header += static_cast<char>(text.size() >> 8);
    return write_bytes(file, header + text, info.element_size());
}

} // namespace Vexa::tool
