#include <vexa/bf/dbl.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vexa/bf/dbl_layout_internal.h>

namespace {

using Vexa::bf::DblHeaderLayout;

constexpr std::size_t block_bytes = 1048576;
constexpr std::size_t most_samples = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
constexpr std::uint64_t most_missing_bytes = 16 << 20; ///< of what a header announces

/// A file of the operating system. No operation throws.
class File {
public:
    File(char const* path, int flags, mode_t mode = 0) : descriptor_(::open(path, flags | O_CLOEXEC, mode)) {}
    File(File const&) = delete;
    File& operator=(File const&) = delete;
    ~File() { close(); }

    bool is_open() const { return descriptor_ >= 0; }
    bool close() {
        bool const good = !is_open() || ::close(descriptor_) == 0;
        descriptor_ = -1;
        return good;
    }
    /// 0 if the system does not tell.
    std::uint64_t size() const {
        struct stat status;
        return ::fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    /// \return how many of \p n bytes there are
    std::size_t read(void* to, std::size_t n) {
        std::size_t done = 0;
        while (done < n) {
            ssize_t const part = ::read(descriptor_, static_cast<char*>(to) + done, n - done);
            if (part < 0 && errno == EINTR) continue;
            if (part <= 0) break;
            done += static_cast<std::size_t>(part);
        }
        return done;
    }
    /// \return false when not all of a block goes out
    bool write(void const* from, std::size_t n) {
        for (std::size_t done = 0; done < n;) {
            std::size_t const part = std::min(n - done, block_bytes);
            ssize_t const written = ::write(descriptor_, static_cast<char const*>(from) + done, part);
            if (written < 0 && errno == EINTR) continue;
            if (written != static_cast<ssize_t>(part)) return false;
            done += part;
        }
        return true;
    }

private:
    int descriptor_;
};

struct Header {
    std::array<int, 4> dims{};
    std::array<float, 4> lengths{};
    bool holds_single = false;

    using Bytes = std::array<std::byte, DblHeaderLayout::size>;
    Bytes encode() const;
    static Header decode(Bytes const& block);
    /// The product of the dimensions.
    /// \return false when it cannot be that of samples in memory
    bool count(std::size_t& samples) const;
};

std::uint16_t from_big_endian(std::uint16_t value) {
    return static_cast<std::uint16_t>(value << 8 | value >> 8);
}

Header::Bytes Header::encode() const {
    using L = DblHeaderLayout;
    Bytes block{};
    std::array<std::uint16_t, 4> sizes{};
    std::array<float, 4> reals{};
    for (std::size_t i = 0; i < 4; ++i) {
        sizes[i] = from_big_endian(static_cast<std::uint16_t>(dims[L::order[i]]));
        reals[i] = lengths[L::order[i]];
    }
    L::dims.store(block, sizes);
    L::lengths.store(block, reals);
    L::sample_format.store(block, holds_single ? 1 : 0);
    return block;
}

Header Header::decode(Bytes const& block) {
    using L = DblHeaderLayout;
    auto const sizes = L::dims.load(block);
    auto const reals = L::lengths.load(block);
    Header header;
    for (std::size_t i = 0; i < 4; ++i) {
        header.dims[L::order[i]] = from_big_endian(sizes[i]);
        header.lengths[L::order[i]] = reals[i];
    }
    header.holds_single = L::sample_format.load(block) == 1;
    return header;
}

bool Header::count(std::size_t& samples) const {
    samples = 1;
    for (int const size : dims) {
        if (size < 0) return false;
        // Each size has 31 bits at most, so that the product may wrap only behind the limit.
        if (__builtin_mul_overflow(samples, static_cast<std::size_t>(size), &samples)) return false;
    }
    return samples <= most_samples;
}

/// What a mode asks for.
struct Request {
    enum class Kind { stored, single, real };
    bool header_only = false;
    bool new_memory = false;
    Kind kind = Kind::stored;

    explicit Request(unsigned long mode) {
        switch (mode) {
        case 160:
        case 173: header_only = true; break;
        case 170: kind = Kind::single; break;
        case 171: break;
        case 172: kind = Kind::real; break;
        case 174:
            kind = Kind::single;
            new_memory = true;
            break;
        case 175: new_memory = true; break;
        default:
            kind = Kind::real;
            new_memory = true;
            break;
        }
    }
    bool delivers_single(Header const& header) const {
        return kind == Kind::stored ? header.holds_single : kind == Kind::single;
    }
};

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<void, Free>;

std::size_t sample_size(bool single) { return single ? sizeof(float) : sizeof(double); }

/// Zeroed memory for both kinds of samples; null when there is none, or when the file lacks so many of its
/// samples that its header is not to be believed.
Memory allocate(File const& file, std::size_t samples, bool holds_single, bool delivers_single) {
    std::uint64_t const announced = DblHeaderLayout::size + samples * sample_size(holds_single);
    std::uint64_t const present = file.size();
    if (announced > present && announced - present > most_missing_bytes) return nullptr;
    std::size_t const larger = std::max(sample_size(holds_single), sample_size(delivers_single));
    return Memory(std::calloc(std::max<std::size_t>(samples, 1), larger));
}

/// Read samples of one kind as those of another, as many as there are.
template <typename Stored, typename Delivered>
void read_samples(File& file, void* data, std::size_t samples) {
    auto* to = static_cast<char*>(data);
    std::array<Stored, 8192> stored;
    std::array<Delivered, 8192> delivered;
    while (samples != 0) {
        std::size_t const wanted = std::min(samples, stored.size());
        std::size_t const n = file.read(stored.data(), wanted * sizeof(Stored)) / sizeof(Stored);
        for (std::size_t i = 0; i < n; ++i) delivered[i] = static_cast<Delivered>(stored[i]);
        std::memcpy(to, delivered.data(), n * sizeof(Delivered));
        if (n < wanted) return;
        to += n * sizeof(Delivered);
        samples -= n;
    }
}

void read_samples(File& file, void* data, std::size_t samples, bool holds_single, bool delivers_single) {
    if (holds_single == delivers_single)
        file.read(data, samples * sample_size(holds_single));
    else if (holds_single)
        read_samples<float, double>(file, data, samples);
    else
        read_samples<double, float>(file, data, samples);
}

bool write_as_single(File& file, void const* data, std::size_t samples) {
    constexpr std::size_t block = block_bytes / sizeof(float);
    Memory const memory(std::malloc(block_bytes));
    if (!memory) return false;
    auto* const singles = static_cast<float*>(memory.get());
    auto const* from = static_cast<char const*>(data);
    while (samples != 0) {
        std::size_t const n = std::min(samples, block);
        for (std::size_t i = 0; i < n; ++i) {
            double value;
            std::memcpy(&value, from + i * sizeof value, sizeof value);
            singles[i] = static_cast<float>(value);
        }
        if (!file.write(singles, n * sizeof(float))) return false;
        from += n * sizeof(double);
        samples -= n;
    }
    return true;
}

} // namespace

int vexa_dbl_write(char const* path, int* dims, float* lengths, void const* data, int mode) {
    if (!path || !dims || !lengths) return 0;
    Header header;
    std::copy_n(dims, 4, header.dims.begin());
    std::copy_n(lengths, 4, header.lengths.begin());
    header.holds_single = mode != 0;
    std::size_t samples = 0;
    if (!header.count(samples) || (!data && samples != 0)) return 0;

    // Deliberate: without O_TRUNC.
    File file(path, O_WRONLY | O_CREAT, 0755);
    if (!file.is_open()) return 0;
    auto const block = header.encode();
    bool const written = file.write(block.data(), block.size()) &&
                         (mode == 1 ? write_as_single(file, data, samples)
                                    : file.write(data, samples * sample_size(header.holds_single)));
    return file.close() && written;
}

int vexa_dbl_read(char const* path, void* dims_or_data, float* lengths, unsigned long* mode_and_result) {
    if (!path || !dims_or_data || !mode_and_result) return 0;
    Request const request(*mode_and_result);
    File file(path, O_RDONLY);
    Header::Bytes block;
    if (!file.is_open() || file.read(block.data(), block.size()) != block.size()) return 0;
    Header const header = Header::decode(block);
    bool const single = request.delivers_single(header);

    if (!request.header_only) {
        std::size_t samples = 0;
        if (!header.count(samples)) return 0;
        Memory memory;
        if (request.new_memory) {
            memory = allocate(file, samples, header.holds_single, single);
            if (!memory) return 0;
        }
        void* const data = request.new_memory ? memory.get() : dims_or_data;
        read_samples(file, data, samples, header.holds_single, single);
        *mode_and_result = std::bit_cast<unsigned long>(data);
        (void)memory.release();
    }
    if (request.header_only || request.new_memory)
        std::memcpy(dims_or_data, header.dims.data(), sizeof header.dims);
    if (lengths) std::copy_n(header.lengths.begin(), 4, lengths);
    return single ? 2 : 1;
}
