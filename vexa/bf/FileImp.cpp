#include <vexa/bf/FileImp.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include <vexa/bf/StackImp.h>
#include <vexa/bf/position_guard_internal.h>
#include <vexa/bf/record_reader_internal.h>
#include <vexa/bf/records_internal.h>
#include <vexa/foundation/error.h>
#include <vexa/ome/Root.h>

namespace Vexa {

namespace bf {

namespace {

constexpr unsigned long end_of_file = static_cast<unsigned long>(-1);

} // namespace

FileInterface::~FileInterface() = default;

FileImp::FileImp(bool no_metadata) : no_metadata_(no_metadata) {}

FileImp::~FileImp() {
    try {
        close_imp(true);
    } catch (...) {
    }
}

// Opening

void FileImp::attach(FILE* stream, Mode mode) {
    DiskFile::attach(stream, mode);
    if (!stream) throw std::runtime_error("File not open.");
    attached_ = true;
    attach_imp(mode);
}

void FileImp::open(std::filesystem::path const& path, Mode mode) {
    if (mode == Mode::read && open_bf_dbl(path) == 0) return;
    DiskFile::open(path, mode);
    attached_ = false;
    try {
        attach_imp(mode);
    } catch (std::exception const&) {
        DiskFile::close();
        file_was_closed_ = true;
        throw;
    }
}

void FileImp::attach_imp(Mode mode) {
    unfinished_.clear();
    stacks_.clear();
    forget_closed_file();
    if (mode == Mode::create) {
        header_pending_ = true;
        writable_ = true;
        return;
    }
    if (mode != Mode::read && mode != Mode::modify) throw std::runtime_error("Invalid opening mode.");
    read_file();
    if (mode == Mode::modify) {
        seek(end_of_file);
        writable_ = true;
    }
}

/// Nothing of an earlier file may show in the next one, apart from tags that were set for it.
void FileImp::forget_closed_file() {
    if (std::exchange(file_was_closed_, false)) forget_tags();
    description_.clear();
    format_version_ = 2;
    link_position_ = metadata_position_ = metadata_end_position_ = metadata_link_position_ = 0;
    end_position_ = record_bytes_ = 0;
    tag_length_ = 0;
    header_pending_ = writable_ = unflushed_ = false;
    ++session_;
}

void FileImp::read_file() {
    unsigned long const start = tell();
    link_position_ = start + FileHeaderLayout::first_stack_position.offset;
    RecordReader in(*this, start, end_position());
    FileHeader const header = FileHeader::decode(in.value<FileHeader::Bytes>());
    format_version_ = header.format_version;
    description_ = in.text(header.description_length);
    if (format_version_ > 1) {
        metadata_position_ = in.value<std::uint64_t>();
        if (metadata_position_ == 0) throw std::runtime_error("File incomplete. Metadata missing.");
        PositionGuard back(*this);
        seek(metadata_position_);
        read_metadata();
        metadata_root_.reset();
        metadata_end_position_ = tell();
        back.restore();
    }
    read_stack_chain(header.first_stack_position);
}

unsigned long FileImp::end_position() {
    if (end_position_ != 0 && !writable_) return end_position_;
    PositionGuard back(*this);
    end_position_ = seek(end_of_file);
    back.restore();
    return end_position_;
}

// Closing

void FileImp::flush() {
    if (!is_open() || !writable_) return;
    write_pending_header();
    end_stacks(false);
}

void FileImp::close() {
    if (is_attached()) throw std::runtime_error("File not opened with open(), cannot close.");
    close_imp(false);
    DiskFile::close();
    header_pending_ = writable_ = false;
}

FILE* FileImp::detach() {
    close_imp(false);
    header_pending_ = writable_ = false;
    return DiskFile::detach();
}

void FileImp::close_imp(bool truncate) {
    if (is_open()) {
        if (writable_)
            end_writing(truncate);
        else if (format_version_ > 1)
            seek(metadata_end_position_);
        file_was_closed_ = true;
    }
    unfinished_.clear();
    stacks_.clear();
}

void FileImp::end_writing(bool truncate) {
    write_pending_header();
    end_stacks(truncate);
    if (format_version_ > 1) {
        try {
            save_metadata();
        } catch (std::exception const&) {
            // A document that can't be written must not cost the stacks of a file that is let go.
            if (!truncate) throw;
        }
        metadata_position_ = tell();
        PositionGuard back(*this);
        seek(metadata_link_position_);
        write(&metadata_position_, sizeof metadata_position_);
        back.restore();
        write_metadata();
    }
    flush_file_buffers();
}

// The header and the chain of stacks

void FileImp::write_pending_header() {
    if (!header_pending_) return;
    unsigned long const start = tell();
    auto const block = FileHeader{.format_version = format_version_,
                                  .description_length = static_cast<std::uint32_t>(description_.size())}
                           .encode();
    std::string bytes(reinterpret_cast<char const*>(block.data()), block.size());
    bytes += description_;
    metadata_link_position_ = start + bytes.size();
    if (format_version_ > 1) bytes.append(sizeof metadata_position_, '\0');
    write(bytes.data(), bytes.size());
    link_position_ = start + FileHeaderLayout::first_stack_position.offset;
    header_pending_ = false;
}

void FileImp::on_stack_header_written(unsigned long stack_position) {
    if (link_position_ != 0) {
        PositionGuard back(*this);
        seek(link_position_);
        write(&stack_position, sizeof stack_position);
        back.restore();
    }
    link_position_ = stack_position + StackHeaderLayout::next_stack_position.offset;
}

// Settings

void FileImp::set_chunk_size(unsigned long n) { chunk_size_ = n; }

void FileImp::set_file_desc(std::string const& description) {
    if (!writable_) throw std::runtime_error("Read-only handle specified in write function.");
    if (!header_pending_) throw std::runtime_error("Header already written. Cannot set file description.");
    description_ = description;
}

void FileImp::get_file_desc(std::string& description) const { description = description_; }

bool FileImp::is_attached() const { return DiskFile::mode() != Mode::closed && attached_; }

FileImp::Mode FileImp::mode() { return DiskFile::mode(); }

bool FileImp::is_open() { return DiskFile::mode() != Mode::closed; }

void FileImp::set_progress_cb(std::function<bool(unsigned long)> const& callback) { progress_cb_ = callback; }

void FileImp::report_progress(unsigned long bytes) const {
    if (progress_cb_ && !progress_cb_(bytes)) throw std::runtime_error("Cancelled by user.");
}

void FileImp::set_threading_support(ThreadingSupport support) {
    DiskFile::set_threading_support(std::move(support));
}

// The device

bool FileImp::can_seek(unsigned long pos) {
    // Where nothing is written, a stream need not be told to change its direction.
    if (!writable_ && pos == tell()) return true;
    // A stream that moves empties its buffer first and keeps a failure to itself.
    if (std::exchange(unflushed_, false)) flush_file_buffers();
    unsigned long const reached = DiskFile::seek(pos);
    return pos == end_of_file ? reached != pos : reached == pos;
}

unsigned long FileImp::seek(unsigned long pos) {
    if (!can_seek(pos)) {
        VexaError error(nullptr, nullptr, 0);
        error.message = fmt::format("Failed seeking in file: {}", std::strerror(errno));
        throw error;
    }
    return tell();
}

void FileImp::write(void const* buffer, unsigned long n) {
    unflushed_ = true;
    DiskFile::write(buffer, n);
}

} // namespace bf

std::shared_ptr<bf::FileInterface> create_file(bool no_metadata) {
    return std::make_shared<bf::FileImp>(no_metadata);
}

std::shared_ptr<bf::FileInterface> open_file(std::filesystem::path const& path, bf::DiskFile::Mode mode) {
    auto file = create_file(false);
    file->open(path, mode);
    return file;
}

} // namespace Vexa
