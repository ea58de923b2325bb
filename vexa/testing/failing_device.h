#pragma once

#include <limits>
#include <stdexcept>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::testing {

/// Passes everything on to another device until one budget is used up; then each such call throws
/// std::runtime_error "device failure" and passes nothing on. A budget is public and can be refilled.
class FailingDevice final : public Vexa::bf::DiskFileAccess {
public:
    static constexpr unsigned long unlimited = std::numeric_limits<unsigned long>::max();

    explicit FailingDevice(Vexa::bf::DiskFileAccess& below) : below_(below) {}

    bool is_open_for_reading() const override { return below_.is_open_for_reading(); }
    bool is_open_for_writing() const override { return below_.is_open_for_writing(); }
    unsigned long tell() const override { return below_.tell(); }
    unsigned long seek(unsigned long pos) override { return below_.seek(pos); }
    void read(void* buffer, unsigned long n) override {
        spend(read_calls, 1);
        spend(read_bytes, n);
        below_.read(buffer, n);
    }
    void write(void const* buffer, unsigned long n) override {
        spend(write_calls, 1);
        spend(write_bytes, n);
        below_.write(buffer, n);
    }
    void flush_file_buffers() override {
        spend(flush_calls, 1);
        below_.flush_file_buffers();
    }
    Vexa::bf::ThreadingSupport const& threading_support() const override {
        return below_.threading_support();
    }

    unsigned long read_calls = unlimited;
    unsigned long read_bytes = unlimited;
    unsigned long write_calls = unlimited;
    unsigned long write_bytes = unlimited;
    unsigned long flush_calls = unlimited;

private:
    static void spend(unsigned long& budget, unsigned long amount) {
        if (budget == unlimited) return;
        if (budget < amount) throw std::runtime_error("device failure");
        budget -= amount;
    }

    Vexa::bf::DiskFileAccess& below_;
};

} // namespace Vexa::testing
