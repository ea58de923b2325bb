#pragma once

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::testing {

/// Passes everything on to another device and counts the traffic.
class CountingDevice final : public Vexa::bf::DiskFileAccess {
public:
    explicit CountingDevice(Vexa::bf::DiskFileAccess& below) : below_(below) {}

    bool is_open_for_reading() const override { return below_.is_open_for_reading(); }
    bool is_open_for_writing() const override { return below_.is_open_for_writing(); }
    unsigned long tell() const override { return below_.tell(); }
    unsigned long seek(unsigned long pos) override {
        ++seeks;
        return below_.seek(pos);
    }
    void read(void* buffer, unsigned long n) override {
        ++reads;
        bytes_read += n;
        below_.read(buffer, n);
    }
    void write(void const* buffer, unsigned long n) override {
        ++writes;
        bytes_written += n;
        below_.write(buffer, n);
    }
    void flush_file_buffers() override {
        ++flushes;
        below_.flush_file_buffers();
    }
    Vexa::bf::ThreadingSupport const& threading_support() const override {
        return below_.threading_support();
    }

    void reset() { seeks = reads = writes = flushes = bytes_read = bytes_written = 0; }

    unsigned long seeks = 0;
    unsigned long reads = 0;
    unsigned long writes = 0;
    unsigned long flushes = 0;
    unsigned long bytes_read = 0;
    unsigned long bytes_written = 0;

private:
    Vexa::bf::DiskFileAccess& below_;
};

} // namespace Vexa::testing
