#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vexa/bf/DiskFile.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/export.h>

namespace Vexa::bf {

class StackImp;

/// The one implementation of FileInterface, which is also the device its stacks read and write.
///
/// Always held by std::shared_ptr, since each stack keeps a std::weak_ptr to it.
class VEXA_API FileImp : public FileInterface, public DiskFile, public std::enable_shared_from_this<FileImp> {
public:
    explicit FileImp(bool no_metadata);
    FileImp(FileImp const&) = delete;
    FileImp& operator=(FileImp const&) = delete;
    ~FileImp() override;

    void attach(FILE* stream, Mode mode) override;
    void open(std::filesystem::path const& path, Mode mode) override;
    void flush() override;
    void close() override;
    FILE* detach() override;
    void set_chunk_size(unsigned long n) override;
    void set_file_desc(std::string const& description) override;
    void get_file_desc(std::string& description) const override;
    unsigned long get_num_stacks() const override;
    bool is_attached() const override;
    void set_progress_cb(std::function<bool(unsigned long)> const& callback) override;
    std::string read_tag(TagFileLocation location) override;
    void set_read_metadata_cb(
        std::function<void(std::map<std::string, TagFileLocation>)> const& callback) override;
    void start_tag(std::string const& key) override;
    void write_tag_data(char const* data, unsigned long n) override;
    void end_tag() override;
    void set_write_metadata_cb(std::function<void()> const& callback) override;
    unsigned long seek_to_end_of_stack(unsigned int index) override;
    std::shared_ptr<StackInterface> add_stack(int type, std::vector<unsigned long> const& shape,
                                              bool data_less) override;
    std::shared_ptr<StackInterface> add_stack(Vexa::arrays::StackInfoInterface const& info, int type,
                                              bool data_less) override;
    std::shared_ptr<StackInterface> add_stack(int type, std::vector<unsigned long> const& shape,
                                              WriteMode write_mode, bool data_less) override;
    std::shared_ptr<StackInterface> add_stack(Vexa::arrays::StackInfoInterface const& info,
                                              WriteMode write_mode, int type, bool data_less) override;
    std::shared_ptr<StackInterface> get_stack(unsigned long index) const override;
    void write_stack(Vexa::arrays::StackInterface const* source, int type) override;
    std::shared_ptr<Vexa::arrays::StackInterface> read_stack(unsigned long index, int type) const override;
    void write_tag(std::string const& key, std::string const& value) override;
    void set_threading_support(ThreadingSupport support) override;
    Mode mode() override;
    bool is_open() override;
    void set_tag(std::string const& key, std::string const& value) override;
    std::string tag(std::string const& key) const override;

    /// As DiskFile::seek(), but what goes wrong is told, also with the bytes that the stream still holds: who
    /// reads or writes elsewhere than he thinks would damage the file or take other data for his own.
    /// \throws VexaError "Failed seeking in file: {reason}"
    unsigned long seek(unsigned long pos) override;
    /// As seek().
    /// \return false if the stream cannot move there and stays where it is
    bool can_seek(unsigned long pos);
    void write(void const* buffer, unsigned long n) override;

    /// Open a file of the older array format, whose path ends in ".dbl", for reading: it has one stack without
    /// compression. open() tries this first when it is to read.
    /// \return -1 for any other ending, also one in capitals; 0 when the file is open
    /// \throws std::runtime_error "File already open or attached.", "Error reading .dbl file.", "Invalid stack
    ///     size: Larger than the addressable memory."
    /// \note Deliberate: a dimension below 2 ends the shape, whatever follows it.
    int open_bf_dbl(std::filesystem::path const& path);

    OME::Root& metadata() override;
    /// Write a list entry per tag, in key order, without the end of the list.
    void write_tags(std::map<std::string, std::string> const& tags);
    /// Write the end of a tag list.
    void write_sentinel_tag();
    /// Read a tag list from the current position and put its entries into \p tags.
    void read_tags(std::map<std::string, std::string>& tags);

    // What the file's bytes say, for who looks into files.

    std::uint32_t format_version() const { return format_version_; }
    /// Of the tag list; 0 while it is not on disk.
    unsigned long metadata_position() const { return metadata_position_; }
    /// The tags in memory: those of the file that was opened, and those set since.
    std::map<std::string, std::string> const& tags() const { return tags_; }

    // For the stacks of the file.

    /// Write the file header if that has not happened yet.
    void write_pending_header();
    /// Enter a stack, whose header now stands at \p stack_position, into the chain.
    void on_stack_header_written(unsigned long stack_position);
    /// Call the progress callback.
    /// \throws std::runtime_error "Cancelled by user."
    void report_progress(unsigned long bytes) const;
    unsigned long chunk_size() const { return chunk_size_; }
    /// Counts the files this object has worked on, so that a stack can tell that it belongs to an earlier
    /// one.
    std::uint64_t session() const { return session_; }
    /// The position behind the last byte. Measured once for a file that is only read.
    unsigned long end_position();
    /// Account for the bytes of a stack's record, of which each can belong to one record only.
    /// \throws std::runtime_error "Corrupt VBF file." when they are more than the file has
    void count_record_bytes(unsigned long bytes);

private:
    std::shared_ptr<StackInterface> add_stack(std::shared_ptr<StackImp> const& stack);
    void settle(StackImp& earlier, bool next_is_chunk_wise);
    void add_image_of(StackImp const& stack);

    void attach_imp(Mode mode);
    void forget_closed_file();
    void forget_tags();
    void read_file();
    void read_stack_chain(unsigned long first_position);
    void read_metadata();
    void read_tag_locations();
    void close_imp(bool truncate);
    void end_stacks(bool truncate);
    void pad(StackImp& stack);
    void end_writing(bool truncate);
    void save_metadata();
    void write_metadata();

    unsigned long link_position_ = 0; ///< of the field that receives the position of the next stack
    bool header_pending_ = false;
    bool writable_ = false;
    std::vector<std::shared_ptr<StackImp>> stacks_;
    std::vector<StackImp*>
        unfinished_; ///< those of stacks_ that were not complete when the last one was added
    std::function<bool(unsigned long)> progress_cb_;
    std::function<void(std::map<std::string, TagFileLocation>)> read_metadata_cb_;
    std::function<void()> write_metadata_cb_;
    std::string description_;
    std::uint32_t format_version_ = 2;
    std::map<std::string, std::string> tags_;
    std::unique_ptr<OME::Root> metadata_root_; ///< null until it is asked for
    bool const no_metadata_;
    unsigned long metadata_position_ = 0;
    unsigned long metadata_end_position_ = 0;
    /// Of the header's field for metadata_position_; stays 0 unless this object wrote the header.
    unsigned long metadata_link_position_ = 0;
    unsigned long chunk_size_ = 4194304;
    std::uint32_t tag_length_ = 0; ///< running length of an open tag

    bool attached_ = false;
    bool file_was_closed_ = false; ///< description and tags are those of a file that is gone
    bool unflushed_ = false;       ///< written since the stream was last flushed
    std::uint64_t session_ = 0;
    unsigned long end_position_ = 0; ///< 0: not measured
    unsigned long record_bytes_ = 0;
};

} // namespace Vexa::bf
