#pragma once

#include <string>
#include <utility>
#include <vector>

#include <vexa/bf/records_internal.h>
#include <vexa/testing/bytes.h>

/// VBF files put together block by block, for tests that need what the library would not write.
namespace Vexa::testing {

template <std::size_t N>
std::string bytes_of_block(std::array<std::byte, N> const& block) {
    return {reinterpret_cast<char const*>(block.data()), block.size()};
}

/// The parts of a stack's record. Lengths that follow from other parts are entered by bytes().
struct RawStack {
    bf::StackHeader header;
    std::string name;
    std::string description;
    std::string data;
    bool has_footer = true;
    bf::StackFooter footer;
    std::string beyond; ///< bytes of a footer that is longer than we know
    std::string tail;   ///< the variable part of the footer

    /// A stack with these samples and nothing else: no labels, no tags.
    RawStack(int type, std::vector<std::uint32_t> const& shape, std::string samples)
        : data(std::move(samples)) {
        header.type = type;
        header.rank = static_cast<std::uint32_t>(shape.size());
        header.has_data = 1;
        header.data_length = data.size();
        for (std::size_t i = 0; i < shape.size(); ++i) {
            header.shape[i] = shape[i];
            header.lengths[i] = shape[i];
        }
        footer.footer_size = bf::FooterLayout::size;
        footer.tag_bytes = 4;
        for (std::size_t i = 0; i < shape.size(); ++i) tail += counted("");
        tail += counted("");
    }

    std::string bytes(std::uint64_t next) const {
        bf::StackHeader head = header;
        head.name_length = static_cast<std::uint32_t>(name.size());
        head.description_length = static_cast<std::uint32_t>(description.size());
        head.next_stack_position = next;
        std::string record = bytes_of_block(head.encode()) + name + description + data;
        if (!has_footer) return record;
        std::string const block = bytes_of_block(footer.encode()).substr(0, footer.footer_size);
        return record + block + beyond + tail;
    }
};

/// A file of these stacks, one behind the other, with an empty tag list. Version 2.
inline std::string file_of(std::vector<RawStack> const& stacks) {
    bf::FileHeader header;
    std::string file = bytes_of_block(header.encode()) + zero_bytes(8);
    if (!stacks.empty()) put(file, 14, std::uint64_t{file.size()});
    for (std::size_t i = 0; i < stacks.size(); ++i) {
        std::uint64_t const next = file.size() + stacks[i].bytes(0).size();
        file += stacks[i].bytes(i + 1 < stacks.size() ? next : 0);
    }
    put(file, 26, std::uint64_t{file.size()});
    return file + zero_bytes(4);
}

} // namespace Vexa::testing
