#pragma once

#include <vexa/foundation/export.h>

namespace OME {

class VEXA_API Bond;

/// What references can be bound to. It unbinds them when it goes, so that no reference outlives what it
/// refers to. Assignment leaves the bonds of both sides alone.
class VEXA_API Referable {
public:
    Referable(Referable const&) = delete;
    Referable& operator=(Referable const&) { return *this; }

    /// Whether a reference is bound to this.
    bool is_referred() const { return first_ != nullptr; }

protected:
    Referable() = default;
    ~Referable();

private:
    friend class Bond;
    Bond* first_ = nullptr;
};

/// The part of a reference that knows whether its referent is still there.
class VEXA_API Bond {
public:
    Bond() = default;
    Bond(Bond const&) = delete;
    Bond& operator=(Bond const&) = delete;
    ~Bond() { unbind(); }

    void bind(Referable& target);
    void unbind();
    explicit operator bool() const { return target_ != nullptr; }

private:
    friend class Referable;
    Referable* target_ = nullptr;
    Bond* previous_ = nullptr;
    Bond* next_ = nullptr;
};

} // namespace OME
