#include <algorithm>

#include <fmt/format.h>
#include <vexa/testing/check_everything.h>
#include <vexa/testing/file_walker.h>

#include "commands.h"
#include "console.h"
#include "input_file.h"
#include "metadata.h"
#include "text.h"
#include "workers.h"

namespace Vexa::tool {
namespace {

using testing::WalkedFault;

/// What is known of a stack after both passes.
struct Verdict {
    std::string name;
    std::uint64_t stored_bytes = 0;
    std::uint64_t sample_bytes = 0;
    std::vector<WalkedFault> faults; ///< of its data section
    std::string error;               ///< of the library
};

struct Findings {
    testing::WalkedFile file;
    std::vector<Verdict> stacks;
    testing::CheckReport report;
    DocumentCheck document;

    bool is_damaged() const {
        return !file.closed || !report.opened || !report.error.empty() || !document.error.empty() ||
               std::any_of(stacks.begin(), stacks.end(),
                           [](auto const& stack) { return !stack.faults.empty() || !stack.error.empty(); });
    }
    Exit exit() const {
        if (!file.is_vbf) return Exit::no_input;
        if (is_damaged()) return Exit::damaged;
        return file.faults.empty() && document.disagreements.empty() ? Exit::done : Exit::finding;
    }
};

/// The bytes of the file by themselves: what is linked, how it is laid out, and that each data section
/// inflates to what its stack needs.
void walk(testing::ByteSource const& source, Findings& findings) {
    findings.file = testing::walk_file(source);
    Progress progress("checking the sections", source.size());
    for (auto const& stack : findings.file.stacks) {
        Verdict verdict;
        verdict.name = stack.name;
        // A type without element size has no samples to check, and reading it is no fault of the file.
        if (stack.element_size != 0) {
            auto section = testing::read_section(source, stack, [](auto const&) {
                throw_if_interrupted();
                return true;
            });
            verdict.stored_bytes = section.stored_bytes;
            verdict.sample_bytes = section.sample_bytes;
            verdict.faults = std::move(section.faults);
        }
        progress.add(verdict.stored_bytes);
        findings.stacks.push_back(std::move(verdict));
    }
}

/// The same file through the library, as an application reads it.
void read(VerifyOptions const& options, Findings& findings) {
    std::uint64_t total = 0;
    for (auto const& stack : findings.stacks) total += stack.sample_bytes;
    Workers workers(options.threads);
    Progress progress("reading the samples", total);
    testing::CheckOptions check;
    check.most_bytes = std::max<std::uint64_t>(total, std::uint64_t{1} << 30);
    check.threading = workers.support();
    check.progress = [&](std::uint64_t bytes) {
        if (was_interrupted()) return false;
        progress.add(bytes);
        return true;
    };
    findings.report = testing::check_everything(options.file, check);
    throw_if_interrupted();
    for (std::size_t i = 0; i < findings.stacks.size() && i < findings.report.stacks.size(); ++i)
        if (findings.file.stacks[i].element_size != 0)
            findings.stacks[i].error = findings.report.stacks[i].error;
    if (findings.report.opened) findings.document = check_document(*open_vbf(options.file));
}

JSON::Value fault_json(WalkedFault const& fault) {
    JSON::Map map;
    map["position"] = JSON::Number(fault.position);
    map["text"] = as_utf8(fault.text);
    return map;
}

JSON::Value document_json(DocumentCheck const& check) {
    if (!check.exists) return nullptr;
    JSON::Map map;
    map["error"] = as_utf8(check.error);
    JSON::List lines;
    for (auto const& line : check.disagreements) lines.push_back(as_utf8(line));
    map["disagreements"] = std::move(lines);
    return map;
}

JSON::Value findings_json(Findings const& findings, std::filesystem::path const& path) {
    JSON::Map document;
    document["schema"] = "vexa.verify/1";
    document["path"] = as_utf8(path.string());
    document["is_vbf"] = JSON::Boolean(findings.file.is_vbf);
    document["closed"] = JSON::Boolean(findings.file.closed);
    document["exit_code"] = JSON::Number(static_cast<int>(findings.exit()));
    JSON::List faults, stacks;
    for (auto const& fault : findings.file.faults) faults.push_back(fault_json(fault));
    for (std::size_t i = 0; i < findings.stacks.size(); ++i) {
        auto const& stack = findings.stacks[i];
        JSON::Map map;
        map["index"] = JSON::Number(i);
        map["name"] = as_utf8(stack.name);
        map["stored_bytes"] = JSON::Number(stack.stored_bytes);
        map["sample_bytes"] = JSON::Number(stack.sample_bytes);
        JSON::List own;
        for (auto const& fault : stack.faults) own.push_back(fault_json(fault));
        map["faults"] = std::move(own);
        map["error"] = as_utf8(stack.error);
        stacks.push_back(std::move(map));
    }
    document["faults"] = std::move(faults);
    document["stacks"] = std::move(stacks);
    document["error"] = as_utf8(findings.report.error);
    document["ome"] = document_json(findings.document);
    return document;
}

std::string fault_line(WalkedFault const& fault) {
    return fmt::format("  {} at byte {}: {}\n", styled(Style::bad, "fault"), fault.position,
                       printable(fault.text));
}

std::string document_lines(DocumentCheck const& check) {
    if (!check.exists) return {};
    if (!check.error.empty())
        return fmt::format("  OME document: {}\n    {}: {}\n", styled(Style::bad, "damaged"),
                           styled(Style::bad, "error"), printable(check.error));
    auto text =
        fmt::format("  OME document: {}\n", check.disagreements.empty() ? styled(Style::good, "good")
                                                                        : styled(Style::bad, "disagrees"));
    for (auto const& line : check.disagreements)
        text += fmt::format("    {}: {}\n", styled(Style::bad, "finding"), line);
    return text;
}

std::string findings_text(Findings const& findings, std::filesystem::path const& path) {
    auto text = styled(Style::heading, printable(path.string())) + "\n";
    if (!findings.file.closed)
        text += fmt::format("  {}: the file is not closed; {} stacks can be reached\n",
                            styled(Style::bad, "fault"), findings.file.stacks.size());
    else if (!findings.report.error.empty())
        text += fmt::format("  {}: {}\n", styled(Style::bad, "error"), printable(findings.report.error));
    for (auto const& fault : findings.file.faults) text += fault_line(fault);
    for (std::size_t i = 0; i < findings.stacks.size(); ++i) {
        auto const& stack = findings.stacks[i];
        bool const good = stack.faults.empty() && stack.error.empty();
        text += fmt::format("  stack {} \"{}\": {} in {}, {}\n", i, printable(stack.name),
                            byte_text(stack.sample_bytes), byte_text(stack.stored_bytes),
                            good ? styled(Style::good, "good") : styled(Style::bad, "damaged"));
        for (auto const& fault : stack.faults) text += "  " + fault_line(fault);
        if (!stack.error.empty())
            text += fmt::format("    {}: {}\n", styled(Style::bad, "error"), printable(stack.error));
    }
    return text + document_lines(findings.document);
}

} // namespace

Exit run_verify(VerifyOptions const& options) {
    { InputFile const readable(options.file); }
    Findings findings;
    auto const source = testing::open_bytes(options.file);
    walk(*source, findings);
    if (!findings.file.is_vbf)
        throw Failure(Exit::no_input, fmt::format("{}: No VBF file header found.", options.file.string()));
    if (findings.file.closed) read(options, findings);
    put(options.json ? document_text(findings_json(findings, options.file))
                     : findings_text(findings, options.file));
    return findings.exit();
}

} // namespace Vexa::tool
