#pragma once

#include <optional>

#include <vexa/bf/record_reader_internal.h>
#include <vexa/bf/records_internal.h>

namespace Vexa::bf {

/// Read the fixed part of a footer. One that is shorter than ours leaves the later fields at their defaults,
/// of a longer one the rest is passed over.
/// \throws std::runtime_error "Invalid footer size {}."
StackFooter read_footer_block(RecordReader& in);

/// Pass over what follows the fixed part, without keeping any of it.
/// \return where it ends; nothing when it does not fit into what may be read
std::optional<unsigned long> skip_footer_tail(RecordReader& in, StackHeader const& header,
                                              StackFooter const& footer);

} // namespace Vexa::bf
