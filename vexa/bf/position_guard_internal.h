#pragma once

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// Brings a device back to where it stood, at the latest when the scope ends.
class PositionGuard {
public:
    explicit PositionGuard(DiskFileAccess& device) : device_(device), position_(device.tell()) {}
    PositionGuard(PositionGuard const&) = delete;
    PositionGuard& operator=(PositionGuard const&) = delete;
    /// Restores if nobody did, on the way of an exception: what goes wrong here would hide it.
    ~PositionGuard() {
        if (!armed_) return;
        try {
            device_.seek(position_);
        } catch (...) {
        }
    }

    unsigned long position() const { return position_; }
    /// Go back now, unless released, with failures reported.
    void restore() {
        if (!armed_) return;
        armed_ = false;
        device_.seek(position_);
    }
    /// Stay where the device is.
    void release() { armed_ = false; }

private:
    DiskFileAccess& device_;
    unsigned long position_;
    bool armed_ = true;
};

} // namespace Vexa::bf
