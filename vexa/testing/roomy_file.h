#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <vexa/testing/file_builder.h>

namespace Vexa::testing {

/// A stack, and the unused bytes behind its footer.
using StackWithRoom = std::pair<RawStack, std::size_t>;

/// A file of these stacks, version 2. Footers say where they and their rooms end; rooms are full of 'r'.
inline std::string roomy_file(std::vector<StackWithRoom> stacks,
                              std::string const& tag_list = zero_bytes(4)) {
    std::string file = bytes_of_block(bf::FileHeader{}.encode()) + zero_bytes(8);
    if (!stacks.empty()) put(file, 14, std::uint64_t{file.size()});
    for (auto& [stack, room] : stacks) {
        std::uint64_t const end = file.size() + stack.bytes(0).size();
        stack.footer.footer_end_position = end;
        stack.footer.end_of_stack_position = end + room;
        bool const last = &stack == &stacks.back().first;
        file += stack.bytes(last ? 0 : end + room) + std::string(room, 'r');
    }
    put(file, 26, std::uint64_t{file.size()});
    return file + tag_list;
}

/// Three stacks, the first two with room. Where things stand:
///
///     first    header   34   footer  404 .. 1940   room up to 2040
///     second   header 2040   footer 2411 .. 3947   room up to 3997
///     third    header 3997   footer 4366 .. 5902   none; then the tag list
inline std::string three_stacks_with_room() {
    constexpr int uint8 = 1;
    return roomy_file({{{uint8, {2}, "ab"}, 100}, {{uint8, {3}, "cde"}, 50}, {{uint8, {1}, "f"}, 0}},
                      counted("key") + counted("value") + counted(""));
}

} // namespace Vexa::testing
