#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/ome/Document.h>
#include <vexa/ome/Registry.h>

namespace OME {

class VEXA_API Root;

/// The root that a view belongs to.
/// \throws std::bad_cast if the tree has another kind of root
VEXA_API Root& root_of(JSON::Proxy& view);

/// The identifier of an element of type E, or a reference to one: a string such as "Dye:3", with the word of
/// the type and a number. Text in place of the number is kept as it is and counts nowhere.
///
/// Numeric identifiers are subscribed: the registry in the root holds their numbers. That of an element is
/// assigned by itself, that of a reference isn't.
/// Invariants: the registry holds one entry for each identifier with a number, but for changes by
/// set_actual(), after which subscribe() is due.
template <typename E>
class VEXA_API ID_of : public Document<std::string> {
public:
    /// \param auto_assign whether an element bears this identifier, which then is never without one
    /// \throws std::bad_variant_access for a value that is no identifier of this type
    ID_of(JSON::Proxy& parent, char const* key, bool auto_assign);
    ~ID_of() override;
    /// Take the identifier of \p other over, or reset().
    ID_of& operator=(ID_of const& other);

    /// The text behind the colon; valid until the identifier changes.
    /// \throws std::bad_variant_access unless the value is a string that starts with the word and a colon
    std::string_view string() const;
    /// The number behind the colon, or else the text.
    /// \throws std::bad_variant_access as string()
    JSON::Value actual() const;
    /// Store the word, a colon and \p value, and leave the registry as it is.
    void set_actual(JSON::Value const& value);

    /// Enter the number. Without a value, assign a fresh number first.
    /// \throws std::bad_variant_access as string()
    void subscribe();
    void unsubscribe();
    /// How many identifiers have this number; 0 without a number.
    std::size_t count() const;
    /// See Numbers::changes().
    std::uint64_t changes() const { return numbers_->changes(); }
    Numbers& numbers() const { return *numbers_; }

    /// \note Deliberate: a string of another type can be stored; it is not subscribed, and string() fails.
    /// \throws std::bad_variant_access unless \p value is a string
    void set(JSON::Value const& value, bool quiet = false) override;
    /// Remove the identifier; that of an element is replaced by a fresh one.
    void reset() override;
    Root& root() { return root_of(*this); }

protected:
    void follow(JSON::Value* place) override;

private:
    std::optional<std::string_view> suffix() const;
    void subscribe_if_readable();
    void note_change();

    Numbers* numbers_;
    std::optional<int> subscribed_;
    bool auto_assign_;
};

extern template class ID_of<Project>;
extern template class ID_of<Dye>;
extern template class ID_of<Band>;
extern template class ID_of<Dataset>;
extern template class ID_of<Folder>;
extern template class ID_of<Instrument>;
extern template class ID_of<Light_Source>;
extern template class ID_of<Detector>;
extern template class ID_of<Objective>;
extern template class ID_of<Filter>;
extern template class ID_of<Image>;
extern template class ID_of<Pixels>;
extern template class ID_of<Channel>;
extern template class ID_of<Shape>;
extern template class ID_of<ROI>;
extern template class ID_of<Annotation>;

} // namespace OME
