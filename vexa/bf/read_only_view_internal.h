#pragma once

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// A device as one that cannot be written.
///
/// A ChunkedSegment drops chunks when it seeks in a file that is open for writing, which is right for who
/// writes and would make a reader of the same file lose its way.
class ReadOnlyView final : public DiskFileAccess {
public:
    explicit ReadOnlyView(DiskFileAccess& device) : device_(device) {}

    bool is_open_for_reading() const override { return device_.is_open_for_reading(); }
    bool is_open_for_writing() const override { return false; }
    unsigned long tell() const override { return device_.tell(); }
    unsigned long seek(unsigned long pos) override { return device_.seek(pos); }
    void read(void* buffer, unsigned long n) override { device_.read(buffer, n); }
    void write(void const* buffer, unsigned long n) override { device_.write(buffer, n); }
    void flush_file_buffers() override { device_.flush_file_buffers(); }
    ThreadingSupport const& threading_support() const override { return device_.threading_support(); }

private:
    DiskFileAccess& device_;
};

} // namespace Vexa::bf
