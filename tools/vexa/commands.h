#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"

/// The commands of the tool. Each prints its results on standard output and all else on standard error; what
/// ends it early is a Failure.
namespace Vexa::tool {

struct LsOptions {
    std::vector<std::filesystem::path> files;
    bool json = false;
};
/// A line for each stack. Goes on with the next file when one can't be read, and returns the worst of their
/// codes.
Exit run_ls(LsOptions const& options);

struct InfoOptions {
    std::filesystem::path file;
    std::optional<std::string> stack;
    bool json = false;
};
/// All but the samples.
Exit run_info(InfoOptions const& options);

struct CatOptions {
    std::filesystem::path file;
    std::string stack;
    std::string region;
    bool raw = false;
    bool json = false;
    unsigned threads = 1;
};
/// Samples as text, as bytes or as JSON.
Exit run_cat(CatOptions const& options);

struct ImportOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::optional<std::string> shape; ///< of raw samples, slowest axis first
    std::optional<std::string> type;  ///< of raw samples
    std::optional<std::string> name;
    std::optional<std::string> description;
    int level = 1;
    unsigned threads = 1;
    bool force = false;
};
/// An image file, or one of the older array format, into a VBF file of one stack.
Exit run_import(ImportOptions const& options);

struct ExportOptions {
    std::filesystem::path file;
    std::string stack;
    std::filesystem::path output;
    std::optional<std::string> plane; ///< indices of all axes but the two fastest, slowest first
    std::optional<std::string> range; ///< "BLACK,WHITE"
    int bits = 8;
    unsigned threads = 1;
    bool force = false;
};
/// A stack into an image file.
Exit run_export(ExportOptions const& options);

struct CompactOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    bool json = false;
    bool force = false;
};
/// A VBF file without the room that its stacks reserved and did not use. With nothing to do there is no output,
/// and that is a finding.
Exit run_compact(CompactOptions const& options);

struct VerifyOptions {
    std::filesystem::path file;
    bool json = false;
    unsigned threads = 1;
};
/// Read everything and check it.
Exit run_verify(VerifyOptions const& options);

struct MetaGetOptions {
    std::filesystem::path file;
    std::string element; ///< names and indices with slashes between them; empty for the whole document
    bool xml = false;
    bool schema_order = false;
    bool json = false;
};
/// The OME document of a file, or a part of it.
Exit run_meta_get(MetaGetOptions const& options);

struct ArchivePackOptions {
    std::filesystem::path folder;
    std::filesystem::path output;
    std::optional<std::string> label; ///< without it the name of the folder
    std::optional<std::string> aid;   ///< without it a new one
    int level = 1;
    unsigned threads = 1;
    bool force = false;
};
/// A directory tree into a VBF file of one stack.
Exit run_archive_pack(ArchivePackOptions const& options);

struct ArchiveListOptions {
    std::filesystem::path file;
    std::optional<std::string> stack; ///< without it all archives
    bool json = false;
};
/// The archives of a file and what they hold. Goes on with the next archive when one is damaged.
Exit run_archive_ls(ArchiveListOptions const& options);

struct ArchiveExtractOptions {
    std::filesystem::path file;
    std::filesystem::path output;
    std::optional<std::string> stack; ///< without it the only archive
    unsigned threads = 1;
    bool force = false;
};
/// An archive of a file into a folder.
Exit run_archive_extract(ArchiveExtractOptions const& options);

} // namespace Vexa::tool
