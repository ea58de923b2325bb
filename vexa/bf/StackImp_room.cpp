// Reserving room for a stack, and filling up a stack that lacks samples.

#include <vexa/bf/StackImp.h>

#include <stdexcept>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/layout_internal.h>
#include <vexa/foundation/types.h>
#include <vexa/foundation/utility.h>

namespace Vexa::bf {

namespace {

/// For what zlib adds to data that can't be compressed.
constexpr unsigned long margin = 2097152;
/// Far behind any real file, and low enough that sums of a few of it don't overflow.
constexpr unsigned long largest_room = 1ul << 61;

} // namespace

void StackImp::truncate() {
    auto const held = file();
    truncate_imp(held.get());
}

void StackImp::truncate_at(unsigned long k) {
    auto const held = file();
    if (k == 0 || samples_per_plane_ == 0 || k % samples_per_plane_ != 0)
        throw std::runtime_error("Custom varsize chunk size must be multiple of default chunk size");
    truncate_imp(held.get(), k);
}

void StackImp::truncate_imp(FileImp* file) { truncate_imp(file, samples_per_plane_); }

void StackImp::truncate_imp(FileImp* file, unsigned long k) {
    vx::utility::scope_exit const over([this] { truncating_ = false; });
    unsigned long count = samples_left_;
    if (variable_size_) {
        truncating_ = true;
        unsigned long const open = k == 0 ? 0 : samples_written_ % k;
        count = open == 0 ? 0 : k - open;
    } else if (data_less_) {
        count = 0;
    } else if (status_ == stack_status::uncommitted) {
        count = all;
    }
    write_imp(type(), zeros, nullptr, count, file);
}

void StackImp::reserve(unsigned long extra) {
    auto const held = file();
    check_reserve();
    room_after(extra);
    if (status_ == stack_status::uncommitted) {
        vx::utility::scope_exit const over([this] { reserving_ = false; });
        reserving_ = true;
        write(0, nullptr, nullptr, 0);
        if (status_ == stack_status::complete) return;
    }
    move_behind_room(room_after(extra), *held);
}

void StackImp::check_reserve() const {
    switch (status_) {
    case stack_status::unread:
        throw std::runtime_error("Cannot reserve space: Stack is in an invalid state.");
    case stack_status::complete:
        throw std::runtime_error("Cannot reserve space: Stack is already completely written to disk.");
    case stack_status::uncommitted: break;
    default: return;
    }
    if (variable_size_)
        throw std::runtime_error("Cannot reserve space: The last dimension of the stack is variable sized.");
    if (data_less_) throw std::runtime_error("Cannot reserve space: Stack was created as data less.");
    if (type_ == 0)
        throw std::runtime_error("Cannot reserve space: The data type of the stack is not (yet) determined.");
    if (write_mode_.test(WriteModeFlags::chunk_wise))
        throw std::runtime_error("Invalid attempt to reserve space: Stack is written chunk wise.");
}

/// How many bytes to set aside behind the write position.
unsigned long StackImp::room_after(unsigned long extra) const {
    unsigned long const samples = status_ == stack_status::uncommitted ? number_of_elements() : samples_left_;
    unsigned long bytes = 0;
    if (extra > largest_room || __builtin_mul_overflow(samples, vexa_dt_get_size(type_), &bytes) ||
        bytes > largest_room)
        throw std::runtime_error("The offset exceeds the maximum offset.");
    return extra + margin + bytes;
}

void StackImp::move_behind_room(unsigned long room, FileImp& file) {
    unsigned long const end = write_position_ + room;
    bool const enclosed = status_ == stack_status::reserved && end_of_stack_position_ != 0 &&
                          file.tell() != end_of_stack_position_;
    if (enclosed || file.tell() > end)
        throw std::runtime_error("Cannot reserve space: Other data stand in the way.");
    if (!file.can_seek(end)) {
        if (status_ == stack_status::reserved && end_of_stack_position_ == 0) status_ = stack_status::writing;
        throw std::runtime_error("The offset exceeds the maximum offset.");
    }
    zipped_.set_file_boundary(end - FooterLayout::size);
    end_of_stack_position_ = end;
    if (status_ == stack_status::writing) status_ = stack_status::reserved;
}

} // namespace Vexa::bf
