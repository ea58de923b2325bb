#pragma once

#include <istream>

namespace JSON::detail {

/// The next character, or the end. What the stream buffer throws shows as `badbit`, like in the stream's own
/// functions.
inline int next_character(std::istream& in) {
    try {
        return in.rdbuf()->sbumpc();
    } catch (...) {
        in.setstate(std::ios_base::badbit);
        return std::istream::traits_type::eof();
    }
}

} // namespace JSON::detail
