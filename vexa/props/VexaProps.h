#pragma once

#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/props/props.h>

/// \file Property paths: one text that names a place in a property tree.
///
/// A path is a list of segments, walked from left to right:
///
/// | Segment                   | Leads to                                                     |
/// |---------------------------|--------------------------------------------------------------|
/// | `name`                    | a member of a structure                                      |
/// | `{i}`, `{i,j,...}`        | an element of a cell array                                   |
/// | `(i).name`, `(i,j).name`  | a member of an element of a structure array                  |
/// | `(i)`, `(i,j,...)` at end | an element of a value array                                  |
/// | `/i`, `/i,j,...`          | an element of any array                                      |
///
/// Names are separated by `.` or `/`, as in "a.b", "a/b", "a{1}.b", "a(2).b" and "a/2/b". A name begins with
/// an ASCII letter or `_` and goes on with letters, digits, `_` and `-`. Indices count from 0 and a single
/// one is a place in a row: `{3}` is the position (0, 3). Blanks may stand before a number, not after it. An
/// empty number reads as 0. The empty path names the root.
///
/// With `create` an empty handle on the way becomes what the next segment needs, members are appended and
/// arrays grow as VProparrayBase::get_idx() allows; `/i` and a final `(i)` cannot create, since they do not
/// say of what type. What a failed creation has made stays.
///
/// Reasons for failure:
/// - "Path unexpectedly empty.", "Path starts with empty segment.", "Brackets not matched."
/// - "Path contains invalid struct member name '{}'.", "Invalid character specified in index segment '{}'.",
///   "Invalid index '{}' specified in segment '{}'."
/// - "Struct member '{}' does not exist.", "Expected a struct.", "Path ends in struct array.",
///   "Encountered array index '{}' instead of struct member name.",
///   "Not a cell array but encountered cell array index {...}.", "Expected a value or struct array.",
///   "Additional path elements after ending in value array.",
///   "Expected an array as '/' is followed by a number.",
///   "Path leads to empty entry but array type to create is unknown in '/' notation."
/// - what VProparrayBase::get_idx() reports
///
/// \note Deliberate: a bad index into a structure array is not stored in an error text but thrown, as
/// std::runtime_error.
///
/// Threads: a look-up through a handle that is not const writes, see VProp.

/// The general look-up, and the only one that can end on an element of a value array.
/// \param err receives the reason of a failure; otherwise it is left alone
/// \return the handle found, null on failure; and, when the path ends in a value array, that array's handle
/// with the element's position. Null \p root gives null.
VEXA_API std::pair<VProp*, std::vector<unsigned long>> vexa_prop_getp_ex(VProp* root, std::string const& path,
                                                                         std::string& err, bool create);

/// Whether \p name can be a segment of a path.
VEXA_API bool vexa_prop_is_valid_name(std::string const& name);

/// Whether \p path leads to a handle that can be created from nothing. Sizes do not matter: nothing is
/// created.
VEXA_API bool vexa_prop_is_valid_path(std::string const& path);

/// The type of the values with this code, that of the array if it has the array flag; `void` for an unknown
/// code, for "empty" and for codes that are only names. Safe from any thread.
VEXA_API std::type_info const& vexa_dt_get_type(int type);

/// Read a number, a boolean or an array of them as another type.
///
/// Between numbers the value is cast, as vexa_dt_convert() does it: reals lose their fraction and what does
/// not fit wraps. To "uint32" all reals in the range of 64 signed bits come through, cut to 32 bits. Any
/// number but 0, a NaN too, is true; true is 1. A complex number has the number as its real part. Complex
/// numbers become nothing but complex numbers, and booleans don't become complex.
///
/// An array gives the target its shape, and a scalar makes it an array of shape (1, 1). User bits stay.
/// \param dst an object of the type that \p code stands for, such as a `VProparray<double>` for 0x80000080.
/// Left alone on failure.
/// \throws std::runtime_error "Invalid cast." for types between which there is none; "Cannot cast from array
/// to scalar."; as VProparrayBase::get_size(true) for a source whose shape is not valid
VEXA_API void vexa_prop_cast(VProp const& src, void* dst, int code);

/// A property of the type \p code, read from the beginning of \p text in the forms of VPropFormat: a number,
/// a boolean, a complex number, a string, a vexa_EMPTY, or an empty handle for 0.
/// \note Deliberate: a number that cannot be read, or that the type cannot hold, is 0 and no failure.
/// \throws std::runtime_error "Conversion of string to invalid type." for other types and for arrays
VEXA_API VProp vexa_string2val(std::string const& text, int code);

/// The text of a number, a boolean or a string, in the forms of VPropFormat; that of an array has one blank
/// between the elements and doesn't show the shape. Nothing, be it an empty handle or a vexa_EMPTY, has no
/// text.
/// \throws std::runtime_error "Conversion of unknown type to string." for structures, cells and nested values
VEXA_API std::string vexa_val2string(VProp const& value);

namespace JSON {

/// Follow a path whose segments are separated by `/`: member names, and indices of cell and structure arrays.
/// It knows no escapes and does not check names. Of a number only the leading digits count: `12x` reads
/// as 12.
/// \return the place and what is left of the path; the rest is not empty where the place is a value or
/// string array, or a structure array and the path has no `/` any more. (null, empty) if the path leads
/// nowhere.
VEXA_API std::pair<VProp*, std::string> find_property(VProp& prop, std::string const& path);
/// \note Deliberate: unshares what it passes, as the other one does.
VEXA_API std::pair<VProp const*, std::string> find_property(VProp const& prop, std::string const& path);

} // namespace JSON
