#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include <vexa/foundation/export.h>

/// The type codes of samples and property values. They are stored in files and never change.
namespace Vexa::types {

inline constexpr int none = 0x00000000;
inline constexpr int uint8 = 0x00000001;
inline constexpr int int8 = 0x00000002;
inline constexpr int uint16 = 0x00000004;
inline constexpr int int16 = 0x00000008;
inline constexpr int uint32 = 0x00000010;
inline constexpr int int32 = 0x00000020;
inline constexpr int single = 0x00000040;
inline constexpr int double_ = 0x00000080;
inline constexpr int rgb_triple = 0x00000400; ///< three bytes
inline constexpr int rgb_word = 0x00000800;   ///< one 32-bit word
inline constexpr int uint64 = 0x00001000;
inline constexpr int int64 = 0x00002000;
inline constexpr int cell = 0x00004000;
inline constexpr int struct_ = 0x00008000;
inline constexpr int logical = 0x00010000;
inline constexpr int char_ = 0x00020000;
inline constexpr int empty = 0x00040000;

inline constexpr int complex_flag = 0x40000000;
inline constexpr int array_flag = static_cast<int>(0x80000000u); ///< makes a code negative

inline constexpr int cplx_single = complex_flag | single;
inline constexpr int cplx_double = complex_flag | double_;

constexpr bool is_complex(int type) { return (type & complex_flag) != 0; }
constexpr bool is_array(int type) { return type < 0; }
constexpr int element_type(int type) { return type & ~array_flag; }

} // namespace Vexa::types

/// A two-way map between type codes and values of type T. Keys are masked on the way in; a repeated key or
/// value overwrites.
template <typename T>
struct VTypemap {
    VTypemap(int key_mask, std::function<void(VTypemap<T>&)> const& fill) : mask(key_mask) { fill(*this); }

    void add(int key, T const& value) {
        forward[key & mask] = value;
        reverse[value] = key & mask;
    }

    int mask;
    std::map<int, T> forward;
    std::map<T, int> reverse;
};

extern "C" {

/// The element size in bytes. Takes the code exactly as given: 0 for any code with the array flag, for types
/// without a fixed size and for unknown codes. Safe from any thread.
/// \note Deliberate: the complex integers have names but no size; the colour types have a size but no name.
VEXA_API std::size_t vexa_dt_get_size(int type);

/// The short name of a code; an array code gives the name of its element type. Valid until process exit.
/// Safe from any thread.
/// \throws std::runtime_error "Map entry not found and no default specified." for a code without a name.
VEXA_API char const* vexa_dt_get_name(int type);

/// The code of a short name, exact and case-sensitive; 0 for an unknown name. Safe from any thread.
/// \throws std::logic_error "A type name must not be null." for a null pointer.
VEXA_API int vexa_dt_from_name(char const* name);

} // extern "C"
