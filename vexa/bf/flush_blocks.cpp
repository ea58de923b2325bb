#include <vexa/bf/flush_blocks_internal.h>

#include <algorithm>
#include <limits>

namespace Vexa::bf {

namespace {

constexpr unsigned long smallest = 65536;
constexpr unsigned long largest = 262144;

/// Cut an axis of \p count entries, each of \p entry bytes, into equal blocks of whole entries, as large as
/// allowed.
/// \return 0 if it cannot be done
unsigned long equal_blocks(unsigned long entry, unsigned long count) {
    if (entry == 0) return 0;
    for (unsigned long n = std::min(largest / entry, count / 2); n != 0 && n * entry >= smallest; --n)
        if (count % n == 0) return n * entry;
    return 0;
}

} // namespace

unsigned long choose_flush_block_size(std::vector<unsigned long> const& shape, unsigned long element_size) {
    unsigned long entry = element_size;
    unsigned long bytes = element_size;
    unsigned long count = 1;
    for (auto axis = shape.begin(); axis != shape.end() && bytes < smallest; ++axis) {
        entry = bytes;
        count = *axis;
        if (__builtin_mul_overflow(entry, count, &bytes)) bytes = std::numeric_limits<unsigned long>::max();
    }
    if (bytes <= largest) return bytes;
    unsigned long const block = equal_blocks(entry, count);
    return block != 0 ? block : bytes / (bytes / smallest);
}

} // namespace Vexa::bf
