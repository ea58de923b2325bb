// The stacks of a file.

#include <vexa/bf/FileImp.h>

#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/bf/layout_internal.h>
#include <vexa/bf/visited_positions_internal.h>
#include <vexa/foundation/error.h>

namespace Vexa::bf {

namespace {

/// No location: what() is the bare message.
VexaError stack_error(std::string message) {
    VexaError error(nullptr, nullptr, 0);
    error.message = std::move(message);
    return error;
}

} // namespace

unsigned long FileImp::get_num_stacks() const { return stacks_.size(); }

std::shared_ptr<StackInterface> FileImp::get_stack(unsigned long index) const {
    if (index >= stacks_.size()) throw stack_error(fmt::format("Invalid stack index '{}'.", index));
    return stacks_[index];
}

// Adding

std::shared_ptr<StackInterface> FileImp::add_stack(int type, std::vector<unsigned long> const& shape,
                                                   bool data_less) {
    return add_stack(std::make_shared<StackImp>(type, shape, data_less, shared_from_this()));
}

std::shared_ptr<StackInterface> FileImp::add_stack(Vexa::arrays::StackInfoInterface const& info, int type,
                                                   bool data_less) {
    return add_stack(std::make_shared<StackImp>(info, type, data_less, shared_from_this()));
}

std::shared_ptr<StackInterface> FileImp::add_stack(int type, std::vector<unsigned long> const& shape,
                                                   WriteMode write_mode, bool data_less) {
    auto const stack = std::make_shared<StackImp>(type, shape, data_less, shared_from_this());
    stack->set_write_mode(write_mode);
    return add_stack(stack);
}

std::shared_ptr<StackInterface> FileImp::add_stack(Vexa::arrays::StackInfoInterface const& info,
                                                   WriteMode write_mode, int type, bool data_less) {
    auto const stack = std::make_shared<StackImp>(info, type, data_less, shared_from_this());
    stack->set_write_mode(write_mode);
    return add_stack(stack);
}

std::shared_ptr<StackInterface> FileImp::add_stack(std::shared_ptr<StackImp> const& stack) {
    if (!is_open() || !writable_) throw std::runtime_error("File not open for writing.");
    write_pending_header();
    bool const chunk_wise = stack->write_mode().test(WriteModeFlags::chunk_wise);
    for (StackImp* const earlier : unfinished_) settle(*earlier, chunk_wise);
    std::erase_if(unfinished_,
                  [](StackImp* earlier) { return earlier->io_status() == stack_status::complete; });
    stacks_.push_back(stack);
    unfinished_.push_back(stack.get());
    if (!no_metadata_) add_image_of(*stack);
    return stack;
}

/// Only chunk wise and reserved stacks may stay open beside a later one.
void FileImp::settle(StackImp& earlier, bool next_is_chunk_wise) {
    switch (earlier.io_status()) {
    case stack_status::uncommitted:
        if (next_is_chunk_wise && earlier.write_mode().test(WriteModeFlags::chunk_wise)) {
            if (earlier.type() == 0)
                throw stack_error("Cannot add next stack: Previous stack has undetermined data type.");
            earlier.write(0, nullptr, nullptr, 0);
        }
        if (earlier.io_status() != stack_status::chunk_wise_writing)
            throw stack_error("Cannot add next stack: Could not start chunk wise writing on previous stack.");
        break;
    case stack_status::writing: earlier.write_end(0); break;
    case stack_status::chunk_wise_writing:
        if (!next_is_chunk_wise) earlier.write_end(0);
        break;
    default: break;
    }
}

// Whole stacks

void FileImp::write_stack(Vexa::arrays::StackInterface const* source, int type) {
    if (!source) throw std::invalid_argument("No stack given.");
    auto const stack = add_stack(*source, type, false);
    stack->write(source->type(), source->get_data_ptr(), nullptr, StackInterface::all);
}

std::shared_ptr<Vexa::arrays::StackInterface> FileImp::read_stack(unsigned long index, int type) const {
    auto const stack = get_stack(index);
    auto const copy = std::make_shared<Vexa::arrays::StackImp>(*stack, type);
    stack->read(copy->type(), copy->get_data_ptr(), nullptr);
    return copy;
}

unsigned long FileImp::seek_to_end_of_stack(unsigned int index) {
    if (!is_open() || writable_)
        throw std::runtime_error("File must be open in read mode to allow seeking to end of file.");
    if (index >= stacks_.size()) throw std::runtime_error("Invalid stack number.");
    return seek(stacks_[index]->end_of_stack_position());
}

// The chain

void FileImp::read_stack_chain(unsigned long first_position) {
    unsigned long const back = tell();
    VisitedPositions visited;
    for (unsigned long position = first_position; position != 0;) {
        if (!visited.add(position) || !can_seek(position))
            throw std::runtime_error("Invalid stack position specified in header.");
        link_position_ = position + StackHeaderLayout::next_stack_position.offset;
        auto const stack = std::make_shared<StackImp>(shared_from_this());
        position = stack->read_info();
        stack->set_complete();
        stacks_.push_back(stack);
    }
    seek(back);
}

void FileImp::count_record_bytes(unsigned long bytes) {
    record_bytes_ += bytes;
    if (record_bytes_ > end_position_) throw std::runtime_error("Corrupt VBF file.");
}

// Ending

void FileImp::end_stacks(bool truncate) {
    for (std::size_t i = 0; i < stacks_.size(); ++i) {
        StackImp& stack = *stacks_[i];
        if (stack.io_status() == stack_status::complete) continue;
        if (truncate)
            pad(stack);
        else
            stack.write_end(0);
    }
}

/// A stack that never got as far as the disk is left out, for the sake of the others.
void FileImp::pad(StackImp& stack) {
    try {
        stack.truncate_imp(this);
    } catch (std::exception const&) {
        if (stack.io_status() != stack_status::uncommitted) throw;
    }
}

} // namespace Vexa::bf
