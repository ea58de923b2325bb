#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include <vexa/testing/bytes.h>
#include <vexa/testing/temporary_folder.h>

namespace Vexa::testing {

/// The published schema of OME-XML documents, with xmllint as its validator. Both may be missing.
class OmeSchema {
public:
    /// \param folder holds the schema "ome.xsd", and the catalog that keeps xmllint from the network
    explicit OmeSchema(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// Why no document can be checked; empty if it can.
    std::string missing() const {
        if (!std::filesystem::exists(folder_ / "ome.xsd"))
            return "There is no ome.xsd in " + folder_.string();
        if (std::system("xmllint --version >/dev/null 2>&1") != 0) return "There is no xmllint.";
        return {};
    }

    /// What is wrong with a document; empty if it is valid.
    std::string faults_of(std::string const& text) const {
        TemporaryFolder const temporary;
        write_bytes(temporary / "document", text);
        std::string const command = "XML_CATALOG_FILES=" + quoted(folder_ / "catalog.xml") +
                                    " xmllint --nonet --noout --schema " + quoted(folder_ / "ome.xsd") + " " +
                                    quoted(temporary / "document") + " 2>&1";
        FILE* const output = ::popen(command.c_str(), "r");
        if (!output) throw std::runtime_error("Cannot run xmllint.");
        std::string said;
        for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) said += static_cast<char>(c);
        return ::pclose(output) == 0 ? "" : "xmllint says: " + said;
    }

private:
    static std::string quoted(std::filesystem::path const& path) {
        std::string text = "'";
        for (char const c : path.string()) text += c == '\'' ? "'\\''" : std::string(1, c);
        return text + "'";
    }

    std::filesystem::path folder_;
};

} // namespace Vexa::testing
