#pragma once

#include <vector>

namespace Vexa::bf {

/// Choose the size of flush blocks, in bytes of samples: between 64 and 256 KiB, and whole lines or planes
/// where that is possible. Small stacks are one block.
/// \note Deliberate: a stack of variable size whose planes have less than 64 KiB gets 0, which means no
///     blocks, because its last axis is still 0.
unsigned long choose_flush_block_size(std::vector<unsigned long> const& shape, unsigned long element_size);

} // namespace Vexa::bf
