#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include <sys/types.h>

namespace Vexa::testing {

/// A standard I/O stream over bytes in memory that fails where a test wants it to, for DiskFile::attach().
///
/// Each budget counts down; when it is used up, the operating system part of the stream fails with `error`. A
/// write is cut at the last byte that fits, as on a full disk. The stream buffers as any other, so that a
/// failure may show only at a flush.
class FailingStream {
public:
    static constexpr unsigned long unlimited = std::numeric_limits<unsigned long>::max();

    explicit FailingStream(std::vector<unsigned char> content = {}) : bytes(std::move(content)) {
        cookie_io_functions_t const functions{&on_read, &on_write, &on_seek, nullptr};
        stream_ = ::fopencookie(this, "r+", functions);
        if (!stream_) throw std::runtime_error("Cannot make a stream.");
    }
    FailingStream(FailingStream const&) = delete;
    FailingStream& operator=(FailingStream const&) = delete;
    ~FailingStream() {
        if (stream_) std::fclose(stream_);
    }

    /// Closed by this object. Not const, as DiskFile::attach() takes a reference.
    FILE*& stream() { return stream_; }

    std::vector<unsigned char> bytes;
    int error = ENOSPC;
    unsigned long read_calls = unlimited;
    unsigned long read_bytes = unlimited;
    unsigned long write_calls = unlimited;
    unsigned long write_bytes = unlimited;
    bool once = false; ///< fail one time only, and then have no limits any more

private:
    static FailingStream& self(void* cookie) { return *static_cast<FailingStream*>(cookie); }

    /// How many of \p n bytes the budgets allow; 0 sets errno.
    std::size_t grant(unsigned long& calls, unsigned long& budget, std::size_t n) {
        std::size_t const granted = calls == 0 ? 0 : std::min(n, budget);
        if (calls != unlimited && calls != 0) --calls;
        if (budget != unlimited) budget -= granted;
        if (granted == 0) {
            errno = error;
            if (once) calls = budget = unlimited;
        }
        return granted;
    }

    static ssize_t on_read(void* cookie, char* buffer, std::size_t n) {
        FailingStream& s = self(cookie);
        std::size_t const here = s.position_ < s.bytes.size() ? std::min(n, s.bytes.size() - s.position_) : 0;
        if (here == 0) return 0;
        std::size_t const granted = s.grant(s.read_calls, s.read_bytes, here);
        if (granted == 0) return -1;
        std::memcpy(buffer, s.bytes.data() + s.position_, granted);
        s.position_ += granted;
        return static_cast<ssize_t>(granted);
    }
    static ssize_t on_write(void* cookie, char const* buffer, std::size_t n) {
        FailingStream& s = self(cookie);
        std::size_t const granted = s.grant(s.write_calls, s.write_bytes, n);
        if (granted == 0) return 0; // a write function reports failure by 0
        s.bytes.resize(std::max(s.bytes.size(), s.position_ + granted));
        std::memcpy(s.bytes.data() + s.position_, buffer, granted);
        s.position_ += granted;
        return static_cast<ssize_t>(granted);
    }
    static int on_seek(void* cookie, off64_t* offset, int whence) {
        FailingStream& s = self(cookie);
        off64_t const base = whence == SEEK_SET   ? 0
                             : whence == SEEK_CUR ? static_cast<off64_t>(s.position_)
                                                  : static_cast<off64_t>(s.bytes.size());
        if (*offset < -base) return -1;
        *offset += base;
        s.position_ = static_cast<std::size_t>(*offset);
        return 0;
    }

    FILE* stream_ = nullptr;
    std::size_t position_ = 0;
};

} // namespace Vexa::testing
