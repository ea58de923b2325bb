#pragma once

#include <complex>
#include <concepts>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/foundation/types.h>
#include <vexa/props/proparr.h>
#include <vexa/props/propstring.h>

class VProp;
class VPropstruct;

/// A value that says explicitly: nothing.
struct vexa_EMPTY {};

/// A colour of three bytes. It only serves to name the type: no property can hold one.
struct _s_vexa_RGB {
    unsigned char red = 0;
    unsigned char green = 0;
    unsigned char blue = 0;
};

namespace Vexa::props {

/// The type code of each type that a property can hold, as `code_of<T>::value`.
template <typename T>
struct code_of {};
template <int Code>
using code_constant = std::integral_constant<int, Code>;

// clang-format off
template <> struct code_of<unsigned char> : code_constant<types::uint8> {};
template <> struct code_of<signed char> : code_constant<types::int8> {};
template <> struct code_of<unsigned short> : code_constant<types::uint16> {};
template <> struct code_of<short> : code_constant<types::int16> {};
template <> struct code_of<unsigned int> : code_constant<types::uint32> {};
template <> struct code_of<int> : code_constant<types::int32> {};
template <> struct code_of<float> : code_constant<types::single> {};
template <> struct code_of<double> : code_constant<types::double_> {};
template <> struct code_of<unsigned long> : code_constant<types::uint64> {};
template <> struct code_of<long> : code_constant<types::int64> {};
template <> struct code_of<VProp> : code_constant<types::cell> {};
template <> struct code_of<VPropstruct> : code_constant<types::struct_> {};
template <> struct code_of<bool> : code_constant<types::logical> {};
template <> struct code_of<VPropstring> : code_constant<types::char_> {};
template <> struct code_of<vexa_EMPTY> : code_constant<types::empty> {};
template <> struct code_of<std::complex<float>> : code_constant<types::cplx_single> {};
template <> struct code_of<std::complex<double>> : code_constant<types::cplx_double> {};
// clang-format on
template <typename T>
requires(code_of<T>::value != types::empty) struct code_of<VProparray<T>>
    : code_constant<types::array_flag | code_of<T>::value> {
};

/// A type that a property can hold.
template <typename T>
concept Value = requires {
    code_of<T>::value;
};

} // namespace Vexa::props

/// Is told when a handle stops looking at a piece of content: when it replaces or unshares it, and when it
/// goes away while somebody else keeps the observer alive.
class VEXA_API VPropInfo {
public:
    virtual ~VPropInfo();
    /// Must not throw.
    /// \param value the content's value, still valid during the call
    virtual void on_detach(void* value);
};

/// A handle on a property: nothing, a number, a boolean, a text, a structure, an array or another handle.
///
/// A handle is a value. Copying one shares its content until somebody writes: whoever wants to change a value
/// in place calls set(), which unshares it first, or own(). A tree of any depth can be made, copied and
/// destroyed.
///
/// Owns: a share of the content. A handle can carry an observer, which belongs to the handle and not to the
/// value: copies start without one, and assignment keeps that of the target.
/// Threads: all handles that share content belong to one thread at a time, copies for reading included.
class VEXA_API VProp {
public:
    struct placeholder;
    template <typename T>
    struct holder;

    VProp() noexcept = default;
    VProp(VProp const& other);
    /// Leaves \p other empty.
    VProp(VProp&& other) noexcept;
    /// Hold \p value. For a nested value use set<VProp>().
    template <typename T>
    requires(Vexa::props::Value<T> && !std::same_as<T, VProp>) VProp(T value);
    VProp& operator=(VProp const& other);
    VProp& operator=(VProp&& other) noexcept;
    ~VProp();

    /// True for a handle without content. A vexa_EMPTY is content.
    bool empty() const noexcept { return !content; }
    /// The type code of the content; 0 for an empty handle.
    int get_id() const;
    /// Drop content and observer.
    void reset() noexcept;

    /// The value. Valid until the handle is written or destroyed.
    /// \throws std::runtime_error "Type mismatch: found {}, expected {}" if there is no T inside
    template <Vexa::props::Value T>
    T const& get() const;
    /// The value, or null if there is no T inside.
    template <Vexa::props::Value T>
    T const* get_if() const;
    /// The value, to be written: an empty handle gets a default T, shared content is unshared.
    /// \throws std::runtime_error "Type mismatch: found {}, expected {}" if it holds something else
    template <Vexa::props::Value T>
    T& set();

    /// Make this handle the only owner of its content.
    void own();

    /// \throws std::runtime_error "Type mismatch: found {}, expected {}" unless the content has this type;
    /// an empty handle has type void. The codes only serve the text.
    void check_type(std::type_info const& expected, int expected_code) const;

    /// The array inside, or null. Call own() before writing to it.
    /// \throws std::runtime_error "Type mismatch: expected 'array' type." in place of null if \p
    /// must_be_array
    VProparrayBase* get_arr(bool must_be_array);
    VProparrayBase const* get_arr(bool must_be_array) const;

    /// Find the place that a path names, see VexaProps.h for the grammar. A look-up through a handle that is
    /// not const unshares what it passes, so that the result can be written; with \p create it makes what is
    /// missing.
    /// \return null on failure, with the reason in \p err
    VProp* getp(std::string const& path, std::string& err, bool create);
    VProp const* getp(std::string const& path, std::string& err) const;
    /// \throws std::runtime_error "Invalid property path '{}': {}"
    VProp& getp(std::string const& path, bool create);
    VProp const& getp(std::string const& path) const;
    /// getp() that creates.
    VProp& operator[](std::string const& path) { return getp(path, true); }
    VProp const& operator[](std::string const& path) const { return getp(path); }

    /// Exact equality, see Vexa::props::is_equal().
    bool operator==(VProp const& other) const;

protected:
    placeholder* content = nullptr;
    std::shared_ptr<VPropInfo> info;

private:
    void detached(placeholder* from) noexcept;
    static void release(placeholder* from) noexcept;
};

/// What the handles of one value share.
struct VEXA_API VProp::placeholder {
    placeholder() = default;
    placeholder(placeholder const&) = delete;
    placeholder& operator=(placeholder const&) = delete;
    virtual ~placeholder();
    virtual std::type_info const& type() const = 0;
    /// The size in bytes of the held object, without what it owns elsewhere.
    virtual std::size_t size() const = 0;
    virtual void* value_ptr() = 0;
    virtual void const* value_ptr() const = 0;
    /// A new holder with one owner and a copy of the value; deep_copy is not inherited.
    virtual placeholder* clone() const = 0;
    virtual int get_id() const = 0;

    /// The number of handles. Not atomic. While a holder without handles waits for its deletion, this is the
    /// link to the next one that does.
    unsigned long use_count = 1;
    /// Copying a handle clones the content instead of sharing it. Nothing in the library sets it.
    bool deep_copy = false;
};

template <typename T>
struct VEXA_API VProp::holder final : VProp::placeholder {
    holder() = default;
    explicit holder(T initial) : value(std::move(initial)) {}

    std::type_info const& type() const override { return typeid(T); }
    std::size_t size() const override { return sizeof(T); }
    void* value_ptr() override { return &value; }
    void const* value_ptr() const override { return &value; }
    placeholder* clone() const override { return new holder(value); }
    int get_id() const override { return Vexa::props::code_of<T>::value; }

    T value{};
};

/// An ordered list of named values. Names are compared as exact bytes and are searched linearly. Nothing
/// prevents duplicate names; only the first of them is found.
class VEXA_API VPropstruct : public std::vector<std::pair<std::string, VProp>> {
    using base = std::vector<std::pair<std::string, VProp>>;

public:
    using base::base;
    using base::erase;
    using base::operator[];

    VPropstruct() = default;

    /// The first member of that name, or end().
    iterator find(std::string const& name);
    const_iterator find(std::string const& name) const;
    bool has_key(std::string const& name) const;
    /// Remove the first member of that name; the others keep their order.
    /// \return false if there is none
    bool erase(std::string const& name);

    /// As those of VProp, with a path that starts at a member of this structure.
    VProp* getp(std::string const& path, std::string& err, bool create);
    VProp const* getp(std::string const& path, std::string& err) const;
    VProp& getp(std::string const& path, bool create);
    VProp const& getp(std::string const& path) const;
    VProp& operator[](std::string const& path) { return getp(path, true); }
    VProp const& operator[](std::string const& path) const { return getp(path); }
};

template <typename T>
requires(Vexa::props::Value<T> && !std::same_as<T, VProp>) VProp::VProp(T value)
    : content(new holder<T>(std::move(value))) {}

template <Vexa::props::Value T>
T const& VProp::get() const {
    check_type(typeid(T), Vexa::props::code_of<T>::value);
    return *static_cast<T const*>(std::as_const(*content).value_ptr());
}

template <Vexa::props::Value T>
T const* VProp::get_if() const {
    if (!content || content->type() != typeid(T)) return nullptr;
    return static_cast<T const*>(std::as_const(*content).value_ptr());
}

template <Vexa::props::Value T>
T& VProp::set() {
    if (!content) content = new holder<T>();
    own();
    check_type(typeid(T), Vexa::props::code_of<T>::value);
    return *static_cast<T*>(content->value_ptr());
}
