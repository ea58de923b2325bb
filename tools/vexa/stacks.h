#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/json/Value.h>

#include "failure.h"

namespace Vexa::tool {

using FilePtr = std::shared_ptr<bf::FileInterface>;
using StackPtr = std::shared_ptr<bf::StackInterface>;

/// Open a VBF file, or one of the older array format, for reading.
/// \throws Failure with Exit::no_input when there is no such file or it is no VBF file, Exit::damaged when it
/// is not closed or its records make no sense
FilePtr open_vbf(std::filesystem::path const& path);

/// The stack that an argument names: its index, or "=" and its name.
/// \return the index
/// \throws Failure with Exit::wrong_use
unsigned long find_stack(bf::FileInterface const& file, std::string const& argument);

/// Run a part of a command: what the library throws becomes a Failure with this exit code, and the path before
/// the text. Failures pass, and so does std::bad_alloc.
void failing_as(Exit exit, std::filesystem::path const& path, std::function<void()> const& part);
/// Run a part of a command that reads samples: what the library throws becomes a Failure with Exit::damaged.
void reading(std::filesystem::path const& path, std::function<void()> const& part);

/// Call \p take with all samples of a stack in order, in its own type, a bounded number at a time.
void for_each_block(bf::StackInterface const& stack,
                    std::function<void(void const* samples, std::uint64_t count)> const& take);

/// What the bytes of the file say of a stack.
bf::StackRecord record_of(bf::StackInterface const& stack);
/// Where the tag list of a file stands.
unsigned long metadata_position(bf::FileInterface const& file);
/// The text of a file's OME document, null without one. Valid as long as the file.
std::string const* stored_document(bf::FileInterface const& file);

/// Bytes of the data section, without what other stacks wrote between its pieces.
std::uint64_t stored_bytes(bf::StackInterface const& stack);
/// Bytes of all samples of the shape; 0 for types without element size.
std::uint64_t sample_bytes(bf::StackInterface const& stack);
/// "complete", "data-less", "short" (fewer samples were written than the shape has), "unreadable" (a type
/// without element size).
std::string state_text(bf::StackInterface& stack);

/// All of a stack but its samples.
JSON::Value stack_json(bf::StackInterface& stack, unsigned long index);
/// All of a file but the samples of its stacks.
/// \param only a stack, or null for all
JSON::Value file_json(bf::FileInterface& file, std::filesystem::path const& path, unsigned long const* only);

/// The table of `vexa ls`: a line with headings, then a line for each stack.
std::string stack_table(bf::FileInterface& file);

} // namespace Vexa::tool
