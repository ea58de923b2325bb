#include <vexa/foundation/types.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include <vexa/foundation/types_internal.h>

namespace {

using namespace Vexa::types;

struct Type {
    int code;
    char const* name; ///< null when there is no short name
    std::size_t size;
    char const* words;
    char const* array_words;
};

constexpr char const* unsupported = "unsupported";

constexpr Type names_only(int code, char const* name) { return {code, name, 0, unsupported, unsupported}; }

constexpr std::array all_types{
    Type{none, "none", 0, unsupported, unsupported},
    Type{uint8, "uint8", 1, "8 bit unsigned integer", "8 bit unsigned integer array"},
    Type{int8, "int8", 1, "8 bit signed integer", "8 bit signed integer array"},
    Type{uint16, "uint16", 2, "16 bit unsigned integer", "16 bit unsigned integer array"},
    Type{int16, "int16", 2, "16 bit signed integer", "16 bit signed integer array"},
    Type{uint32, "uint32", 4, "32 bit unsigned integer", "32 bit unsigned integer array"},
    Type{int32, "int32", 4, "32 bit signed integer", "32 bit signed integer array"},
    Type{single, "single", 4, "32 bit real", "32 bit real array"},
    Type{double_, "double", 8, "64 bit real", "64 bit real array"},
    Type{rgb_triple, nullptr, 3, unsupported, unsupported},
    Type{rgb_word, nullptr, 4, unsupported, unsupported},
    Type{uint64, "uint64", 8, "64 bit unsigned integer", "64 bit unsigned integer array"},
    Type{int64, "int64", 8, "64 bit signed integer", "64 bit signed integer array"},
    Type{cell, "cell", 0, unsupported, "array"},
    Type{struct_, "struct", 0, "structure", "structure array"},
    Type{logical, "logical", 1, "boolean", "boolean array"},
    Type{char_, "char", 0, "string", "string array"},
    Type{empty, "empty", 0, "empty", unsupported},
    // The words name the width of one component.
    Type{cplx_single, "cplx_single", 8, "32 bit complex", "32 bit complex array"},
    Type{cplx_double, "cplx_double", 16, "64 bit complex", "64 bit complex array"},
    names_only(complex_flag | uint8, "cplx_uint8"),
    names_only(complex_flag | int8, "cplx_int8"),
    names_only(complex_flag | uint16, "cplx_uint16"),
    names_only(complex_flag | int16, "cplx_int16"),
    names_only(complex_flag | uint32, "cplx_uint32"),
    names_only(complex_flag | int32, "cplx_int32"),
    names_only(complex_flag | uint64, "cplx_uint64"),
    names_only(complex_flag | int64, "cplx_int64"),
    names_only(complex_flag | logical, "cplx_logical"),
};

Type const* find_type(int code) {
    auto const found = std::find_if(all_types.begin(), all_types.end(),
                                    [code](Type const& type) { return type.code == code; });
    return found == all_types.end() ? nullptr : &*found;
}

void initTypeNames(VTypemap<std::string>& names) {
    for (Type const& type : all_types)
        if (type.name) names.add(type.code, type.name);
}

VTypemap<std::string> const& vexa_TypeNames() {
    static VTypemap<std::string> const names(~array_flag, initTypeNames);
    return names;
}

} // namespace

std::size_t vexa_dt_get_size(int type) {
    Type const* const found = find_type(type);
    return found ? found->size : 0;
}

char const* vexa_dt_get_name(int type) {
    auto const& names = vexa_TypeNames();
    auto const found = names.forward.find(type & names.mask);
    if (found == names.forward.end())
        throw std::runtime_error("Map entry not found and no default specified.");
    return found->second.c_str();
}

int vexa_dt_from_name(char const* name) {
    if (!name) throw std::logic_error("A type name must not be null.");
    auto const& names = vexa_TypeNames();
    auto const found = names.reverse.find(name);
    return found == names.reverse.end() ? none : found->second;
}

char const* Vexa::types::message_words(int type) {
    Type const* const found = find_type(element_type(type));
    if (!found) return unsupported;
    return is_array(type) ? found->array_words : found->words;
}
