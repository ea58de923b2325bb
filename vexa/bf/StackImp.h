#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/bf/ChunkedSegment.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/bf/WriteModeFlags.h>
#include <vexa/bf/ZippedSegment.h>
#include <vexa/foundation/export.h>

namespace Vexa::bf {

class FileImp;
class ReadOnlyView;
class RecordReader;
struct StackFooter;

/// What the file's bytes say of one stack beside its description. Positions are absolute, in bytes; 0 while
/// nothing is on disk.
struct StackRecord {
    unsigned long stack_position = 0;
    unsigned long data_start_position = 0;
    unsigned long data_length = 0; ///< from the start of the section to the footer, with gaps
    unsigned long end_of_stack_position = 0;
    std::uint32_t stack_format_version = 0;
    unsigned long samples_written = 0;
    unsigned long flush_block_size = 0; ///< bytes of samples; 0 for none
    std::vector<unsigned long> flush_positions;
    std::vector<std::pair<unsigned long, unsigned long>> chunk_records;
    int compression_type = 0;
    int compression_level = 0;
    bool data_less = false;
    bool variable_size = false;
};

/// The stack in a file: its description, its record on disk, and the way of its samples through compression.
///
/// Owns: buffers and zlib streams. Refers to the file weakly; each operation holds the file while it runs.
/// Invariants: flush positions ascend; from write_header() on the description is locked. The destructor
/// writes nothing: finishing a stack is the business of the file.
class VEXA_API StackImp : public StackInterface, public Vexa::arrays::StackInfoImp {
public:
    /// For writing, with the defaults of the file.
    /// \throws std::invalid_argument "A stack in a file can have at most 15 axes."
    StackImp(int type, std::vector<unsigned long> const& shape, bool data_less,
             std::shared_ptr<FileImp> const& file);
    /// For writing, with a copy of a description.
    /// \param type 0 takes the type of the description
    StackImp(Vexa::arrays::StackInfoInterface const& info, int type, bool data_less,
             std::shared_ptr<FileImp> const& file);
    /// For reading, see read_info().
    explicit StackImp(std::shared_ptr<FileImp> const& file);
    StackImp(StackImp const&) = delete;
    StackImp& operator=(StackImp const&) = delete;
    ~StackImp() override;

    void write(int type, void const* re, void const* im, unsigned long n) override;
    void write_end(int type) override;
    void truncate() override;
    void truncate_at(unsigned long k) override;
    void reserve(unsigned long extra) override;
    unsigned long samples_written() const override;
    unsigned long read(int type, void* re, void* im, unsigned long n, unsigned long& pos) const override;
    unsigned long read(int type, void* re, void* im) const override;
    std::vector<std::pair<unsigned long, unsigned long>>
    get_aligned_compressed_chunk_ranges(std::pair<unsigned long, unsigned long> range) override;
    void set_compression(int type, int level) override;
    void get_compression(int& type, int& level) const override;
    void set_flush_block_size(unsigned long size) override;
    int io_status() override;

    /// Take over the file's default compression and write mode.
    void apply_file_defaults(std::shared_ptr<FileImp> const& file);
    /// \throws std::runtime_error "Invalid attempt to change write flags." once the stack is committed
    void set_write_mode(WriteMode mode);
    WriteMode write_mode() const { return write_mode_; }
    /// \throws std::runtime_error "Cannot set values: Object locked."
    void set_type(int type);
    /// Set a type that is still open.
    /// \throws std::runtime_error "The type is already set to '{}'."
    void set_variable_type(int type);
    /// Change shape and rank, whether locked or not. New axes have the length 1.0.
    /// \throws std::invalid_argument "A stack in a file can have at most 15 axes."
    void set_shape(std::vector<unsigned long> const& shape);
    /// Set the last axis to \p n samples of the length \p step each, whether locked or not: a stack of
    /// variable size grows after its header is on disk.
    void set_variable_size(unsigned long n, double step);

    /// The file, which the caller holds while it works on it.
    /// \throws std::runtime_error "Cannot access File_Stack, file has been closed."
    std::shared_ptr<FileImp> file() const;
    /// A copy of the record, for who looks into files. Works at any time and leaves the stream alone.
    StackRecord record() const;
    /// Where the next stack can begin.
    unsigned long end_of_stack_position() const { return end_of_stack_position_; }

    // The record on disk. The file is given by the caller, since it also works while it is being destroyed.

    /// Write header, name and description where the file stands and enter the stack into the chain.
    /// \throws std::runtime_error "Invalid compression type specified."
    void write_header(FileImp* file);
    /// Read what write_header() wrote.
    /// \return the position of the next stack, 0 for none
    /// \throws std::runtime_error "Cannot set data layout." unless made for reading
    unsigned long read_header(FileImp* file);
    /// Write the footer where the file stands, and what became known since into the header.
    /// \throws std::runtime_error "Trying to write beyond file segment boundary." when it does not fit into
    ///     the reserved room
    void write_footer(FileImp* file);
    void read_footer(FileImp* file);
    /// Read the whole record.
    /// \return the position of the next stack, 0 for none
    unsigned long read_info();
    /// Let bare samples, which stand at \p position in the file without a record of their own, be read.
    /// \param lengths one for each axis
    /// \throws std::runtime_error "Invalid stack size: Larger than the addressable memory."
    void set_bare_samples(unsigned long position, std::vector<double> const& lengths);
    /// Let a stack that was read be used.
    void set_complete() { status_ = stack_status::complete; }

    // The working halves of the public operations.

    void write_imp(int type, void const* re, void const* im, unsigned long n, FileImp* file);
    void truncate_imp(FileImp* file);
    void truncate_imp(FileImp* file, unsigned long k);
    unsigned long read_imp(int type, void* re, void* im, unsigned long n, unsigned long& pos,
                           FileImp* file) const;

private:
    struct Samples;
    struct Target;

    void start_uncommitted(bool data_less);

    unsigned long read_header(RecordReader& in);
    void read_footer(RecordReader& in);
    void read_footer_tail(RecordReader& in, StackFooter const& footer);
    void read_columns(RecordReader& in, StackFooter const& footer);
    StackFooter make_footer() const;
    void complete_header(FileImp& file) const;
    std::string footer_tail(std::map<std::string, std::string> const& tags) const;

    void write_at_position(Samples samples, FileImp& file);
    void commit(Samples& samples, FileImp& file);
    void settle_type(Samples const& samples);
    void check_size() const;
    void open_section(FileImp& file);
    bool check_write(Samples const& samples, bool committing) const;
    void check_imaginary(Samples const& samples) const;
    void write_samples(Samples samples, bool last, FileImp& file);
    void const* converted(Samples const& samples);
    void finish(FileImp& file);
    void close_section(FileImp& file);
    unsigned long planes(unsigned long samples) const;
    void check_reserve() const;
    unsigned long room_after(unsigned long extra) const;
    void move_behind_room(unsigned long room, FileImp& file);

    void check_read(Target const& target) const;
    void read_samples(Target target, unsigned long n, unsigned long pos, FileImp& file) const;
    void open_section_for_reading(FileImp& file) const;
    int effective_level() const;

    std::weak_ptr<FileImp> file_;
    std::uint64_t session_ = 0; ///< of the file; another one means that it has been opened anew
    bool data_less_ = false;
    std::int32_t compression_type_ = 0;
    std::int32_t compression_level_ = 1;
    WriteMode write_mode_;
    int status_ = stack_status::unread;
    bool footer_written_ = false;
    unsigned long data_start_position_ = 0;
    unsigned long data_length_ = 0; ///< from the start of the section to the footer, with gaps
    unsigned long stack_position_ = 0;
    std::uint32_t stack_format_version_ = 0;
    unsigned long end_of_stack_position_ = 0;
    unsigned long samples_per_plane_ = 1; ///< of a stack of variable size: all axes but the last
    double plane_length_ = 0.0;           ///< of one step along the last axis of a stack of variable size
    unsigned long samples_left_ = 0;      ///< 0 for a stack of variable size
    unsigned long samples_written_ = 0;
    mutable unsigned long read_position_ = 0;
    unsigned long write_position_ = static_cast<unsigned long>(-1); ///< all ones until first used
    mutable std::vector<unsigned char> conversion_buffer_;
    mutable ZippedSegment zipped_;
    mutable ChunkedSegment chunked_;
    mutable std::unique_ptr<ReadOnlyView> view_; ///< what the segments read from
    bool variable_size_ = false;
    bool truncating_ = false;
    bool reserving_ = false;
    unsigned long flush_block_size_ = static_cast<unsigned long>(-1); ///< all ones until decided
    std::vector<unsigned long> flush_positions_;
    std::vector<std::pair<unsigned long, unsigned long>> chunk_records_;
};

} // namespace Vexa::bf
