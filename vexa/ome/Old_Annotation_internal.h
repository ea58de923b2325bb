#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>

#include <vexa/ome/Annotation.h>
#include <vexa/ome/Reference.h>

/// \file
/// What earlier releases kept in annotations without a class: groups, which are the elements under "Value", with
/// values that are attributes of the group or children of the same name.

namespace OME::detail {

/// Whether a group has a value under this name, be it empty.
bool has_value(JSON::Value const& group, std::string_view key);
/// The text of the value; null if there is none.
std::string const* text_if(JSON::Value const& group, std::string_view key);
/// The text of the value.
/// \param name of the group, for the message
/// \throws JSON::Bad_Access "JSON path '{}' not found." if there is no text
std::string const& text_in(JSON::Value const& group, std::string_view name, std::string_view key);
/// The number that the text of a value begins with, in the form that the language C knows, whatever the locale.
/// \throws std::invalid_argument "stod" and "stoi" if there is none
/// \throws std::out_of_range with the same texts
double real_in(JSON::Value const& group, std::string_view name, std::string_view key);
int integer_in(JSON::Value const& group, std::string_view name, std::string_view key);

/// How many elements of a document name each annotation. Counted when it is first asked for: most documents have
/// nothing old in them.
class Annotation_Users {
public:
    explicit Annotation_Users(JSON::Value const& tree) : tree_(tree) {}
    /// One element less names this annotation.
    /// \return whether it was the last one
    bool remove_one(std::string const& id);

private:
    void count();

    JSON::Value const& tree_;
    bool counted_ = false;
    std::unordered_map<std::string, std::size_t> counts_;
};

/// Hand the contents of each annotation that \p references names over to \p take, which gives true for what it
/// knows. Then the reference to it is removed, and the annotation too if no other element names it. One that has
/// become an object of a derived class, by its namespace, stays and loses what is in \p groups.
/// \return whether there was one
bool take_old_annotations(Abstract_References& references, Array_of<Annotation>& annotations,
                          Annotation_Users& users, std::initializer_list<char const*> groups,
                          std::function<bool(JSON::Value const&)> const& take);

} // namespace OME::detail
