#pragma once

#include <cstddef>
#include <memory>

#include <vexa/foundation/export.h>
#include <vexa/props/props.h>

namespace Vexa::props {

/// A handle made from a pointer to a value inside a property tree, for a host that has kept only the pointer
/// and the type code. It shares the value with the handles that are there, and tells its observer when it
/// stops looking at it: when it unshares or replaces the value, and when it is destroyed while the host still
/// holds the observer.
///
/// Owns: a share of the content, so that the value outlives the handles it was taken from.
/// Threads: those of VProp; it must be made on the thread that uses the tree.
class VEXA_API ValueReference : public VProp {
public:
    /// \param value what value_ptr(), get() or set() of a handle gave, and nothing else: it must lie in the
    /// content that handles share. The elements of an array do not. Null gives an empty handle.
    /// \param code the value's type code, with the array flag for an array. A code that no property can have
    /// gives an empty handle.
    /// \param info the observer; may be null
    ValueReference(void* value, int code, std::shared_ptr<VPropInfo> info);

    /// The content that holds \p value.
    template <Value T>
    static VProp::placeholder* content_ptr(T* value) {
        // Every holder of a T has its value at the same distance from its start.
        static std::ptrdiff_t const n_bytes = [] {
            VProp::holder<T> const h;
            T const* const t = &h.value;
            return reinterpret_cast<char const*>(t) - reinterpret_cast<char const*>(&h);
        }();
        void* const start = reinterpret_cast<char*>(value) - n_bytes;
        return static_cast<VProp::holder<T>*>(start);
    }
};

} // namespace Vexa::props
