#pragma once

#include <memory>
#include <optional>
#include <variant>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

/// A place in a tree of values that may not exist yet. Reading never creates anything; the first write
/// through a view creates the whole path to its place.
///
/// A view stands at the root, under a key of its parent's map, or at a position in its parent's list. It
/// caches where its value is. Views under keys are the fields of their parent: whatever is done through the
/// views of one tree of views, their caches stay right. Entries of lists are cached by whoever owns their
/// views.
///
/// Owns: a tree that was moved into the root. Borrows: otherwise the tree; its parent; the key.
/// Invariants: a view outlives neither its tree nor its parent, keeps its address, and is neither copied nor
/// moved. Assignment copies what the tree holds, never the place.
/// Threads: all views of a tree belong to one thread at a time.
class VEXA_API Proxy {
public:
    using Position = std::optional<List::iterator>;

    /// The root of a tree that lives elsewhere.
    explicit Proxy(Value& tree);
    /// The root of a tree that it takes over.
    explicit Proxy(Value&& tree);
    /// The place under \p key, a literal, which may be empty. Nothing is created.
    Proxy(Proxy& parent, char const* key);
    /// An entry of the parent's list, or none yet. The first write then appends one.
    Proxy(Proxy& parent, Position position);
    Proxy(Proxy const&) = delete;
    virtual ~Proxy();

    /// Whether there is a value.
    virtual explicit operator bool() const;
    virtual bool has_value() const;
    /// The value, or null while there is none.
    virtual Value const* value() const;
    /// Make the value equal to \p value, creating it if need be. Where they differ, signal() is called,
    /// unless \p quiet.
    /// \throws Bad_Access if the path to this place leads through something that is neither null nor a
    /// container of the right kind
    virtual void set(Value const& value, bool quiet = false);
    /// Called after a change; does nothing.
    virtual void signal();
    /// Remove the key or the list entry from the tree. Without a value nothing happens, not even a signal.
    /// \throws std::invalid_argument "Cannot reset root model" at a root that is not null
    virtual void reset();

    /// Set this place to what \p other holds, or reset it if \p other has no value.
    Proxy& operator=(Proxy const& other);

    /// The position of a list entry; empty for everything else and for an entry that doesn't exist yet.
    Position position() const;
    /// Stand at another entry of the parent's list, or at none.
    void set_position(Position position);
    /// The key in the parent's map, or null.
    char const* key() const;

    Proxy* parent() { return parent_; }
    Proxy const* parent() const { return parent_; }
    Proxy& root();
    Proxy const& root() const;

    /// The value if there is one, else \p other, which must live as long as the result is used.
    Value const& value_or(Value const& other) const;
    /// The value, created with all its missing ancestors. Contents of containers that views stand on must
    /// not be removed through the result.
    /// \throws Bad_Access as set()
    Value& get_value();
    /// Reset each field, the last one first.
    void reset_fields();

protected:
    /// The value of this view has gone elsewhere, or nowhere. Overrides bring along what is theirs.
    virtual void follow(Value* place);
    /// See \p place, and let the fields follow.
    void point_to(Value* place);
    /// Become a field of the parent, though not under a key.
    void join_fields();

private:
    using Owned = std::unique_ptr<Value>;
    using Place = std::variant<Owned, char const*, Position>;

    Value* member(char const* key) const;
    void fields_follow();
    void remove_member(char const* key);
    void remove_entry();

    Proxy* parent_ = nullptr;
    Place place_;
    Value* value_ = nullptr;
    Proxy* fields_ = nullptr; ///< the field that was made last
    Proxy* next_ = nullptr;   ///< the field of the same parent that was made before
};

} // namespace JSON
