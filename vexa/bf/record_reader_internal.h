#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// Reads blocks and texts from a device, front to back, and takes no count at its word: what the device
/// cannot deliver is refused before memory is taken for it, in the words of a read that comes up short.
///
/// Borrows: the device, whose position nobody else moves meanwhile.
/// Failures: VexaError "Failed reading {n} bytes from file: {reason}".
class RecordReader {
public:
    /// \param position where the device stands.
    /// \param end behind the last byte that may be read
    RecordReader(DiskFileAccess& device, unsigned long position, unsigned long end)
        : device_(device), position_(position), end_(end) {}

    unsigned long position() const { return position_; }
    /// The bytes read or skipped so far.
    unsigned long consumed() const { return consumed_; }
    /// The bytes that may still be read.
    unsigned long left() const { return position_ < end_ ? end_ - position_ : 0; }

    /// Move to an absolute position.
    /// \throws what the device throws
    void seek(unsigned long position);
    void read(void* to, unsigned long n);
    /// Leave out \p n bytes, which need not exist.
    void skip(unsigned long n);
    /// \throws VexaError unless there are \p count elements of \p size bytes
    void require(unsigned long count, unsigned long size) const;

    template <typename T>
    T value() {
        static_assert(std::is_trivially_copyable_v<T>);
        T result;
        read(&result, sizeof result);
        return result;
    }
    template <typename T>
    std::vector<T> array(unsigned long count) {
        static_assert(std::is_trivially_copyable_v<T>);
        require(count, sizeof(T));
        std::vector<T> result(count);
        read(result.data(), count * sizeof(T));
        return result;
    }
    /// \p n bytes
    std::string text(unsigned long n);
    /// A 32-bit length and that many bytes.
    std::string counted_string();
    /// Pairs of counted strings up to an empty key. A repeated key overwrites.
    void tag_list(std::map<std::string, std::string>& tags);

private:
    DiskFileAccess& device_;
    unsigned long position_;
    unsigned long end_;
    unsigned long consumed_ = 0;
};

} // namespace Vexa::bf
