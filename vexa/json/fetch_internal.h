#pragma once

#include <cstdint>

#include <vexa/json/Value.h>

namespace JSON::detail {

/// Hint to the processor that what \p value holds is wanted soon. Walking over a large tree is mostly waiting for
/// memory; a tree that was read in one go lies in memory in the order of its text, not in that of its keys, so
/// that the parts of an element follow it. Wrong guesses cost little: no address is touched.
inline void fetch_ahead(Value const& value) {
    constexpr std::uintptr_t line = 64, lines = 28; // some ten attributes
    auto const begin =
        reinterpret_cast<std::uintptr_t>(&value); // numbers: the addresses may lie behind all objects
    for (std::uintptr_t i = 0; i < lines; ++i)
        __builtin_prefetch(reinterpret_cast<void const*>(begin + i * line));
}

} // namespace JSON::detail
