#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include <vexa/foundation/export.h>

namespace Vexa {

/// Base of classes whose objects live in std::shared_ptr only. The class keeps its constructors and its
/// destructor out of reach and names its factory a friend:
///
///     class Listener : public enable_make_shared {
///         friend class SharedPtrFactory<Listener>;
///         Listener();
///         ~Listener() override;
///     };
///     std::shared_ptr<Listener> const listener = SharedPtrFactory<Listener>::make();
class VEXA_API enable_make_shared {
public:
    enable_make_shared(enable_make_shared const&) = delete;
    enable_make_shared& operator=(enable_make_shared const&) = delete;

protected:
    enable_make_shared() = default;
    virtual ~enable_make_shared() = default;
};

/// Makes the shared pointers to objects of a class that nobody else can construct or destroy.
template <typename T>
class SharedPtrFactory {
public:
    /// Construct a T and hand it out.
    template <typename... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        return from(new T(std::forward<Args>(args)...));
    }
    /// Take over an object made by `new`; null gives an empty pointer. A failure destroys the object.
    static std::shared_ptr<T> from(T* object) {
        static_assert(std::is_base_of_v<enable_make_shared, T>, "T has to derive from enable_make_shared.");
        return object ? std::shared_ptr<T>(object, &SharedPtrFactory::deleter) : nullptr;
    }
    /// What the last std::shared_ptr calls.
    static void deleter(T* object) { delete object; }
};

} // namespace Vexa
