#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>
#include <vexa/props/props.h>

/// \file The JSON form of property trees.
///
/// | Property                        | JSON                                                          |
/// |---------------------------------|---------------------------------------------------------------|
/// | empty handle, vexa_EMPTY        | null                                                          |
/// | bool                            | boolean                                                       |
/// | integers                        | number, signed or unsigned as the property                    |
/// | float, double                   | number; "Infinity", "-Infinity" and "NaN" if not finite       |
/// | complex                         | map: the real part under "", the imaginary part under "i"     |
/// | string                          | string in UTF-8                                               |
/// | structure                       | map, without the order of the members                         |
/// | nested value                    | what its inner handle has                                     |
/// | array                           | nested lists                                                  |
///
/// The outermost list of an array runs over its last dimension and the innermost over the first one.
/// Extents of 1 vanish, so rows and columns are flat lists; an array of one element is a list of one, and one
/// without elements an empty list.
///
/// Trees and values may have any depth: no function recurses.
/// Threads: none of its own; those of VProp and JSON::Value hold.

namespace JSON {

/// A JSON map names a member that a structure doesn't have.
class VEXA_API No_Property_Error : public std::invalid_argument {
public:
    /// Builds the text "No property '{}'".
    explicit No_Property_Error(std::string_view name);
    No_Property_Error(No_Property_Error const&) = default;
    No_Property_Error& operator=(No_Property_Error const&) = default;
    ~No_Property_Error() override;
};

/// The JSON form of a property. Of members with the same name the first one counts.
/// \throws std::invalid_argument "Property has {} type" for content of a type that the library doesn't know
/// \throws std::runtime_error as VProparrayBase::get_size(true)
VEXA_API Value get_value(VProp const& prop);

/// Make a property where no type is given; what \p prop held is replaced. Null does nothing. Whole numbers
/// become `long`, or `unsigned long` where only that holds them, and others `double`. Lists become cell
/// arrays of shape (1, n). Maps become structures, or complex numbers if they can be read as one.
///
/// So this doesn't undo get_value(): numeric arrays come back as cell arrays. To update a tree use
/// set_value(), which keeps the types.
/// \note Deliberate: keys are property paths, so "a.b" makes a structure inside a structure, and a key that
/// is no path is an error. The paths of one call may add 65536 elements to arrays and look at 2^24 members.
/// \throws std::runtime_error "Invalid property path '{}': {}", and \p prop is as before
VEXA_API void create_value(Value const& value, VProp& prop);

/// Write a value into a property that has its type. The JSON must fit what is there: arrays keep their shape,
/// and each key needs a member. Keys such as "__note__", longer than four characters, speak of the document
/// and are skipped. Null fits an empty handle and a vexa_EMPTY, and nothing else fits them.
///
/// Numbers must come through exactly: whole reals go into integers in range, and integers and reals into
/// reals that hold them. The parts of complex numbers are read as Value_Cast does, which rounds reals.
/// \note Deliberate: 0.1 doesn't go into a float, nor anything into a nested value.
///
/// On failure, what was set so far stays set.
/// \throws std::invalid_argument "Property has {} type", with the word for the type, where the value doesn't
/// fit; No_Property_Error for an unknown key. Inside a structure, and an element of a structure array, both
/// come as std::invalid_argument "Invalid argument for parameter '{}': {}." with the name or flat index.
/// \throws std::bad_cast for an array of several dimensions, if something else stands in place of a list
/// \throws std::bad_variant_access "std::visit: variant is valueless"
/// \throws std::runtime_error as VProparrayBase::get_size(true)
VEXA_API void set_value(Value const& value, VProp& prop);

/// Combine \p source with \p target, which may be parts of each other. Maps are merged key by key. Null in
/// \p source changes nothing.
/// \param add insert what only \p source has into maps; otherwise it is dropped
/// \param append append the elements of lists; otherwise a list is like any other value
/// \param replace replace other values, null too. Without it null stays, and a value that meets another one,
/// be it equal, is an error
/// \throws std::invalid_argument "Cannot merge '{}' into '{}'." with the two values as JSON. What was merged
/// so far stays.
VEXA_API void merge(Value const& source, Value& target, bool add, bool append, bool replace);

} // namespace JSON

/// get_value() as indented text.
/// \throws as JSON::get_value()
VEXA_API std::string vexa_export_json(VProp const& value);

/// create_value() of the first value in \p text.
/// \throws JSON::Reader::Unexpected; std::runtime_error "Incomplete Json::Value read."; as
/// JSON::create_value()
VEXA_API VProp vexa_import_json(std::string const& text);
