#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>

namespace Vexa {

static_assert(std::endian::native == std::endian::little,
              "blocks on disk are read and written in machine order");

/// Where a value of type T stands in a block.
template <typename T>
struct Field {
    static_assert(std::is_trivially_copyable_v<T>);

    std::size_t offset;

    /// The offset behind this field, at which the next one starts.
    constexpr std::size_t end() const { return offset + sizeof(T); }

    T load(std::span<std::byte const> block) const {
        T value;
        std::memcpy(&value, block.subspan(offset, sizeof(T)).data(), sizeof(T));
        return value;
    }

    void store(std::span<std::byte> block, T const& value) const {
        std::memcpy(block.subspan(offset, sizeof(T)).data(), &value, sizeof(T));
    }

    /// The offset of element \p index of an array field.
    constexpr std::size_t element(std::size_t index) const {
        return offset + index * sizeof(typename T::value_type);
    }
};

} // namespace Vexa
