#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// A device over a standard I/O stream.
///
/// Owns: a stream from open(), which the destructor closes. Borrows: a stream from attach(), which the caller
/// takes back with detach() and closes.
/// Failures: every operation that needs a stream and has none throws std::runtime_error "File not open.".
/// Errors of the operating system are VexaError with the bare message. After a failed read or write the
/// position is undefined and nothing is rolled back.
/// Threads: none of the operations locks.
class VEXA_API DiskFile : public DiskFileAccess {
public:
    /// \note Deliberate: a file in any mode but closed can be read.
    enum class Mode : std::int32_t {
        closed = -1, ///< no stream is attached
        read = 0,    ///< "r"
        create = 1,  ///< "w+", an existing file is truncated
        modify = 2,  ///< "r+"
    };

    DiskFile() = default;
    /// Open at once, see open().
    DiskFile(std::filesystem::path const& path, Mode mode);
    DiskFile(DiskFile const&) = delete;
    DiskFile& operator=(DiskFile const&) = delete;
    /// Closes a stream that open() made and swallows what goes wrong.
    virtual ~DiskFile();

    /// Open the file at the lexically normal form of \p path.
    /// \throws std::runtime_error "File already open or attached."
    /// \throws std::runtime_error "Invalid file mode." for any but read, create and modify
    /// \throws VexaError "Could not open file: {reason}"
    void open(std::filesystem::path const& path, Mode mode);
    /// Work on an open stream, from where it stands. The mode is not compared with how the stream was opened.
    /// A null stream leaves the file closed.
    /// \throws std::runtime_error "File already open or attached."
    void attach(FILE*& stream, Mode mode);
    /// Give the stream away, also one from open(), with what it has buffered.
    /// \return null if there is none
    FILE* detach();
    /// Close the stream of open(); without a stream do nothing. A failure of `fclose` is ignored: who needs
    /// to know calls flush_file_buffers() before.
    /// \throws std::runtime_error "File not opened with open(), cannot close."
    void close();

    bool is_open_for_reading() const override;
    bool is_open_for_writing() const override;
    unsigned long tell() const override;
    /// \param pos all ones is the end of the file.
    /// \note Deliberate: whether the stream could move is not looked at.
    /// \throws std::runtime_error "The offset exceeds the maximum offset." for any other value with the top
    /// bit
    unsigned long seek(unsigned long pos) override;
    /// \throws VexaError "Failed reading {n} bytes from file: {reason}"
    /// \note Deliberate: at the end of the file the reason is whatever `errno` held before.
    void read(void* buffer, unsigned long n) override;
    /// \throws VexaError "Failed writing {n} bytes to file: {reason}"
    void write(void const* buffer, unsigned long n) override;
    /// Flush to the operating system; does not force the data to the disk.
    /// \throws VexaError "Failed flushing data to file: {reason}"
    void flush_file_buffers() override;
    ThreadingSupport const& threading_support() const override { return threading_support_; }
    void set_threading_support(ThreadingSupport support);

    /// The mode the stream came with, closed without a stream.
    Mode mode() const { return mode_; }
    /// Size of the file without what the stream still buffers; 0 if the system does not tell.
    unsigned long size() const;

    /// Preferred block size times allocated blocks; 0 if the system does not tell.
    /// \note Deliberate: allocated blocks count 512 bytes, so with blocks of 4096 bytes this is eight times
    /// what the file occupies.
    static unsigned long size_on_disk(std::filesystem::path const& path);
    /// \throws VexaError "Could not remove file: {reason}", also if there is no such file
    static void remove(std::filesystem::path const& path);

private:
    FILE* require_stream() const;

    ThreadingSupport threading_support_;
    FILE* stream_ = nullptr;
    bool opened_by_open_ = false;
    Mode mode_ = Mode::closed;
};

} // namespace Vexa::bf
