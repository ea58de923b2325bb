#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <string>

#include <vexa/foundation/export.h>

namespace Vexa::bf {

/// How many compression streams a device may use and who runs them. The library starts no thread of its own:
/// whoever asks for more than one stream supplies `execute`.
struct ThreadingSupport {
    /// Wanted parallel compression streams; 0 counts as 1.
    std::uint64_t number_of_threads = 1;
    /// Run a work item once, on any thread, at any time, and return the future of its completion. An exception
    /// in that future is passed on to the caller of the device. Must not be empty when number_of_threads is
    /// above 1.
    std::function<std::future<void>(std::function<void()>)> execute;
};

/// A sequential device of bytes with a current position: a file, or a section that lies inside of one.
///
/// Positions and sizes count bytes. Integers pass unchanged, in the byte order of the machine.
/// Threads: one at a time, the caller serialises.
class VEXA_API DiskFileAccess {
public:
    virtual bool is_open_for_reading() const = 0;
    virtual bool is_open_for_writing() const = 0;
    /// The current position.
    virtual unsigned long tell() const = 0;
    /// Move the current position.
    /// \return the new position
    virtual unsigned long seek(unsigned long pos) = 0;
    /// Fill \p buffer with exactly \p n bytes from the current position, or throw.
    virtual void read(void* buffer, unsigned long n) = 0;
    /// Put exactly \p n bytes at the current position, or throw.
    virtual void write(void const* buffer, unsigned long n) = 0;
    /// Hand everything that is buffered to the operating system.
    virtual void flush_file_buffers() = 0;
    /// The reference lives as long as the device.
    virtual ThreadingSupport const& threading_support() const = 0;

    /// Write the bytes of \p s, after their count as an unsigned 32-bit integer if \p with_length. There is
    /// no terminator.
    /// \note Deliberate: of a length of 4 GiB or more only the low 32 bits are written.
    void write_str(std::string const& s, bool with_length);
    /// Read \p n bytes into \p s; all ones stands for "the count comes first, as an unsigned 32-bit integer".
    /// A count of 0 empties \p s and reads nothing more. A count that the device cannot deliver takes no
    /// memory for the missing bytes.
    void read_str(std::string& s, unsigned long n = static_cast<unsigned long>(-1));

protected:
    /// Not virtual: devices are never owned through this class.
    ~DiskFileAccess() = default;
};

} // namespace Vexa::bf
