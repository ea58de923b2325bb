// Reading and writing of JSON text, beside another library that builds a tree of the same kind.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>

#include <nlohmann/json.hpp>

#include <vexa/json/Reader.h>

#include "bench.h"

namespace {

namespace fs = std::filesystem;

struct Document {
    std::string text;
    JSON::Value value;
    nlohmann::json other;
};

std::string read_file(fs::path const& path) {
    std::ifstream in(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

fs::path large_documents() {
    char const* const shared = std::getenv("VEXA_SHARED_DATA");
    return (shared ? fs::path(shared) : fs::path(VEXA_SOURCE_DIR) / ".." / "shared" / "data") / "json" /
           "large";
}

/// Ten megabytes of records as metadata has them: names, short texts, integers, reals and nested lists. Made
/// as text, so that no tree has stirred the heap before the two sides build theirs.
std::string generated_document() {
    constexpr std::size_t size = 10'000'000;
    std::mt19937 random(42);
    std::string text = "[";
    auto const add = [&text](auto const&... parts) { ((text += parts), ...); };
    auto const number = [&random](unsigned limit) { return std::to_string(random() % limit); };
    for (int id = 0; text.size() < size; ++id) {
        if (id > 0) add(',');
        add("{\"acquired\":", random() % 2 == 0 ? "true" : "false");
        add(",\"channel\":{\"gain\":", number(1000), ",\"name\":\"channel name of some length\"}");
        add(",\"description\":\"", std::string(random() % 80, 'x'), " \\\"quoted\\\"\\n\"");
        add(",\"exposure\":", number(5000), ".", number(1'000'000), "1");
        add(",\"id\":\"Image:", std::to_string(id), "\",\"position\":[", number(100'000));
        for (int i = 1; i < 12; ++i) add(",", number(100'000));
        add("]}");
    }
    add("]");
    return text;
}

void compare(Vexa::bench::Table& table, std::string const& name, std::string text) {
    auto const document = std::make_shared<Document>();
    document->value = JSON::parse(text);
    document->other = nlohmann::json::parse(text);
    document->text = std::move(text);
    table.compare({.name = "json parse " + name,
                   .target = 2.0,
                   .candidate = [document] { Vexa::bench::keep(JSON::parse(document->text)); },
                   .baseline = [document] { Vexa::bench::keep(nlohmann::json::parse(document->text)); }});
    table.compare({.name = "json dump " + name,
                   .target = 1.2,
                   .candidate = [document] { Vexa::bench::keep(JSON::dump(document->value, false)); },
                   .baseline = [document] { Vexa::bench::keep(document->other.dump()); }});
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    for (char const* name : {"twitter", "citm_catalog", "mesh"}) {
        fs::path const path = large_documents() / (std::string(name) + ".json");
        if (fs::exists(path)) compare(table, name, read_file(path));
    }
    compare(table, "generated 10 MB", generated_document());
    return table.run();
}
