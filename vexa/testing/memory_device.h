#pragma once

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::testing {

/// A device over bytes in memory, as a file would behave: seeking behind the end is allowed, writing there
/// leaves zeros, and all ones seeks to the end.
class MemoryDevice final : public Vexa::bf::DiskFileAccess {
public:
    MemoryDevice() = default;
    explicit MemoryDevice(std::vector<unsigned char> content) : bytes(std::move(content)) {}

    bool is_open_for_reading() const override { return readable; }
    bool is_open_for_writing() const override { return writable; }
    unsigned long tell() const override { return position_; }
    unsigned long seek(unsigned long pos) override {
        return position_ = pos == static_cast<unsigned long>(-1) ? bytes.size() : pos;
    }
    void read(void* buffer, unsigned long n) override {
        if (position_ > bytes.size() || n > bytes.size() - position_)
            throw std::runtime_error("end of memory");
        if (n) std::memcpy(buffer, bytes.data() + position_, n);
        position_ += n;
    }
    void write(void const* buffer, unsigned long n) override {
        if (n == 0) return;
        bytes.resize(std::max(bytes.size(), position_ + n));
        std::memcpy(bytes.data() + position_, buffer, n);
        position_ += n;
    }
    void flush_file_buffers() override { ++flushes; }
    Vexa::bf::ThreadingSupport const& threading_support() const override { return threading; }

    std::vector<unsigned char> bytes;
    bool readable = true;
    bool writable = true;
    unsigned long flushes = 0;
    Vexa::bf::ThreadingSupport threading;

private:
    unsigned long position_ = 0;
};

} // namespace Vexa::testing
