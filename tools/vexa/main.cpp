#include <algorithm>
#include <clocale>
#include <cstdio>
#include <functional>
#include <new>
#include <thread>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <vexa/foundation/error.h>

#include "commands.h"
#include "console.h"
#include "text.h"

namespace Vexa::tool {
namespace {

constexpr char const* exit_codes =
    "Exit codes: 0 done; 1 done with a finding; 2 wrong use, or the target exists;\n"
    "3 input missing, unreadable or no VBF file; 4 input damaged or not closed;\n"
    "5 output failed; 130 interrupted.";
constexpr char const* stack_help = "Index of a stack, or =NAME";

/// All commands with their options, and the one that was chosen.
class CommandLine {
public:
    CommandLine() {
        app_.require_subcommand(1);
        app_.footer(exit_codes);
        app_.set_version_flag("--version", VEXA_VERSION);
        add_ls();
        add_info();
        add_cat();
        add_import();
        add_export();
        add_compact();
        add_verify();
        add_meta();
        add_archive();
    }

    Exit run(int argc, char** argv) {
        try {
            app_.parse(argc, argv);
        } catch (CLI::ParseError const& error) {
            return app_.exit(error) == 0 ? Exit::done : Exit::wrong_use;
        }
        auto const exit = chosen_();
        flush_output();
        return exit;
    }

private:
    CLI::App* add(char const* name, char const* description, std::function<Exit()> run) {
        return add(app_, name, description, run);
    }
    CLI::App* add(CLI::App& parent, char const* name, char const* description, std::function<Exit()> run) {
        auto* const command = parent.add_subcommand(name, description);
        command->footer(exit_codes);
        command->callback([this, run] { chosen_ = run; });
        return command;
    }
    static void add_level(CLI::App* command, int& level) {
        command->add_option("--level", level, "Compression, 0 (none) to 9")
            ->check(CLI::Range(0, 9))
            ->capture_default_str();
    }
    static void add_threads(CLI::App* command, unsigned& threads) {
        threads = std::clamp(std::thread::hardware_concurrency(), 1u, 16u);
        command->add_option("-j,--threads", threads, "Threads that compress and decompress")
            ->check(CLI::Range(1, 256))
            ->capture_default_str();
    }
    static void add_json(CLI::App* command, bool& json) {
        command->add_flag("--json", json, "Print one JSON document");
    }
    static void add_force(CLI::App* command, bool& force) {
        command->add_flag("-f,--force", force, "Replace an existing output");
    }

    void add_ls() {
        auto* const command = add("ls", "Print a line for each stack", [this] { return run_ls(ls_); });
        command->add_option("FILE", ls_.files, "VBF or .dbl files")->required();
        add_json(command, ls_.json);
    }
    void add_info() {
        auto* const command = add("info", "Print all but the samples", [this] { return run_info(info_); });
        command->add_option("FILE", info_.file, "VBF or .dbl file")->required();
        command->add_option("STACK", info_.stack, stack_help);
        add_json(command, info_.json);
    }
    void add_cat() {
        auto* const command =
            add("cat", "Print samples, a line for each line of the stack", [this] { return run_cat(cat_); });
        command->add_option("FILE", cat_.file, "VBF or .dbl file")->required();
        command->add_option("STACK", cat_.stack, stack_help)->required();
        command->add_option("REGION", cat_.region,
                            "Part of the stack as in NumPy, slowest axis first: \"3, :, 100:200\"");
        auto* const raw = command->add_flag("--raw", cat_.raw, "Print the samples' little-endian bytes");
        add_json(command, cat_.json);
        command->get_option("--json")->excludes(raw);
        add_threads(command, cat_.threads);
    }
    void add_import() {
        auto* const command = add("import", "Make a VBF file of a TIFF, OME-TIFF, NumPy, .dbl or raw file",
                                  [this] { return run_import(import_); });
        command
            ->add_option("IN", import_.input,
                         ".tif or .tiff, whose OME document comes along with a stack for each of its images; "
                         ".npy, .dbl, or .raw with a .json beside it")
            ->required();
        command->add_option("OUT", import_.output, "VBF file")->required();
        command->add_option("--shape", import_.shape, "Shape of raw samples, slowest axis first: 10,512,512");
        command->add_option("--type", import_.type, "Type of raw samples, such as uint16 or single");
        command->add_option("--name", import_.name, "Name of the stack, in place of that of the input");
        command->add_option("--description", import_.description, "Description of the stack");
        add_level(command, import_.level);
        add_threads(command, import_.threads);
        add_force(command, import_.force);
    }
    void add_export() {
        auto* const command = add("export", "Write a stack as a NumPy, TIFF, OME-TIFF, raw or PNG file",
                                  [this] { return run_export(export_); });
        command->add_option("FILE", export_.file, "VBF or .dbl file")->required();
        command->add_option("STACK", export_.stack, stack_help)->required();
        command
            ->add_option(
                "OUT", export_.output,
                ".npy, .tif, .ome.tif (with the OME document of the stack), .raw (with a .json beside "
                "it), or .png of one plane")
            ->required();
        command->add_option("--plane", export_.plane,
                            "Plane of a .png: an index for each axis but the two fastest, slowest first");
        command->add_option("--range", export_.range,
                            "Values that become black and white in a .png: BLACK,WHITE. Without it, the "
                            "lowest and the highest");
        command->add_option("--bits", export_.bits, "Bits of a .png")
            ->check(CLI::IsMember({8, 16}))
            ->capture_default_str();
        add_threads(command, export_.threads);
        add_force(command, export_.force);
    }
    void add_compact() {
        auto* const command =
            add("compact", "Copy a VBF file without the room that its stacks reserved and did not use",
                [this] { return run_compact(compact_); });
        command->add_option("IN", compact_.input, "VBF file")->required();
        command->add_option("OUT", compact_.output, "VBF file; not written when there is nothing to do")
            ->required();
        add_json(command, compact_.json);
        add_force(command, compact_.force);
    }
    void add_verify() {
        auto* const command =
            add("verify",
                "Read everything and check it: links, records, checksums, flush positions, the OME document",
                [this] { return run_verify(verify_); });
        command->add_option("FILE", verify_.file, "VBF file")->required();
        add_json(command, verify_.json);
        add_threads(command, verify_.threads);
    }

    void add_meta() {
        auto* const meta = app_.add_subcommand("meta", "Look into the OME documents of VBF files");
        meta->footer(exit_codes);
        meta->require_subcommand(1);
        auto* const command =
            add(*meta, "get", "Print the OME document of a file", [this] { return run_meta_get(meta_get_); });
        command->add_option("FILE", meta_get_.file, "VBF file")->required();
        auto* const path = command->add_option("PATH", meta_get_.element,
                                               "Part of the document below its top element: names of "
                                               "children and their indices, perhaps with an "
                                               "attribute at the end, and slashes between them: "
                                               "Image/0/Pixels/SizeX. An index may be left out where "
                                               "there is one child of that name");
        auto* const xml =
            command->add_flag("--xml", meta_get_.xml, "Print the whole document as it is stored");
        auto* const order =
            command->add_flag("--schema-order", meta_get_.schema_order,
                              "Print the whole document as XML in the order that the published schema "
                              "wants, for other programs");
        add_json(command, meta_get_.json);
        xml->excludes(path)->excludes(order);
        order->excludes(path);
        command->get_option("--json")->excludes(xml)->excludes(order);
    }

    void add_archive() {
        auto* const archive = app_.add_subcommand("archive", "Keep directory trees in VBF files");
        archive->footer(exit_codes);
        archive->require_subcommand(1);
        add_archive_pack(*archive);
        add_archive_ls(*archive);
        add_archive_extract(*archive);
    }
    void add_archive_pack(CLI::App& archive) {
        auto* const command = add(archive, "pack", "Make a VBF file of a directory tree",
                                  [this] { return run_archive_pack(pack_); });
        command->add_option("DIR", pack_.folder, "Folder; symbolic links in it are followed")->required();
        command->add_option("OUT", pack_.output, "VBF file")->required();
        command->add_option("--label", pack_.label, "Label, in place of the name of the folder");
        command->add_option("--aid", pack_.aid, "Identifier of the archive, in place of a new UUID");
        add_level(command, pack_.level);
        add_threads(command, pack_.threads);
        add_force(command, pack_.force);
    }
    void add_archive_ls(CLI::App& archive) {
        auto* const command = add(archive, "ls", "Print the archives of a file and what they hold",
                                  [this] { return run_archive_ls(archive_ls_); });
        command->add_option("FILE", archive_ls_.file, "VBF file")->required();
        command->add_option("-s,--stack", archive_ls_.stack, stack_help);
        add_json(command, archive_ls_.json);
    }
    void add_archive_extract(CLI::App& archive) {
        auto* const command = add(archive, "extract", "Write the directory tree of an archive",
                                  [this] { return run_archive_extract(extract_); });
        command->add_option("FILE", extract_.file, "VBF file")->required();
        command->add_option("DIR", extract_.output, "Folder to make")->required();
        command->add_option("-s,--stack", extract_.stack,
                            "Index of a stack, or =NAME; needed when the file has several archives");
        add_threads(command, extract_.threads);
        command->add_flag("-f,--force", extract_.force,
                          "Unpack into a folder that exists, and replace the files that are in the way");
    }

    CLI::App app_{"Look into VBF files, make them from images and images from them.", "vexa"};
    std::function<Exit()> chosen_;
    LsOptions ls_;
    InfoOptions info_;
    CatOptions cat_;
    ImportOptions import_;
    ExportOptions export_;
    CompactOptions compact_;
    VerifyOptions verify_;
    MetaGetOptions meta_get_;
    ArchivePackOptions pack_;
    ArchiveListOptions archive_ls_;
    ArchiveExtractOptions extract_;
};

Exit guarded(int argc, char** argv) {
    try {
        return CommandLine().run(argc, argv);
    } catch (Failure const& failure) {
        if (was_interrupted()) return Exit::interrupted;
        complain(printable(failure.what()));
        return failure.exit();
    } catch (std::bad_alloc const&) {
        complain("Not enough memory.");
        return Exit::damaged;
    } catch (std::exception const& error) {
        if (was_interrupted()) return Exit::interrupted;
        complain(printable(error.what()));
        return Exit::damaged;
    }
}

} // namespace
} // namespace Vexa::tool

int main(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");
    Vexa::tool::catch_interrupts();
    VexaError::set_global_warning_callback([](VexaError const& warning) {
        Vexa::tool::complain("warning: " + Vexa::tool::printable(warning.message));
    });
    return static_cast<int>(Vexa::tool::guarded(argc, argv));
}
