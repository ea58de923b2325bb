#include <algorithm>

#include <fmt/format.h>

#include "commands.h"
#include "console.h"
#include "stacks.h"
#include "text.h"

namespace Vexa::tool {
namespace {

JSON::Value brief_json(bf::StackInterface& stack, unsigned long index) {
    auto const whole = stack_json(stack, index);
    JSON::Map map;
    for (char const* key : {"index", "name", "shape", "type", "type_code", "units"})
        map[key] = whole.get<JSON::Value>(key);
    map["stored_bytes"] = JSON::Number(stored_bytes(stack));
    map["sample_bytes"] = JSON::Number(sample_bytes(stack));
    map["state"] = state_text(stack);
    return map;
}

JSON::Value listing_json(std::filesystem::path const& path) {
    JSON::Map map;
    map["path"] = as_utf8(path.string());
    auto const file = open_vbf(path);
    JSON::List stacks;
    for (unsigned long index = 0; index < file->get_num_stacks(); ++index)
        stacks.push_back(brief_json(*file->get_stack(index), index));
    map["stacks"] = std::move(stacks);
    return map;
}

} // namespace

Exit run_ls(LsOptions const& options) {
    Exit worst = Exit::done;
    JSON::List listings;
    bool first = true;
    for (auto const& path : options.files) {
        try {
            if (options.json) {
                listings.push_back(listing_json(path));
                continue;
            }
            auto const file = open_vbf(path);
            auto const table = stack_table(*file);
            if (options.files.size() > 1)
                put(fmt::format("{}{}:\n", first ? "" : "\n", printable(path.string())));
            put(table);
            first = false;
        } catch (Failure const& failure) {
            if (failure.exit() != Exit::no_input && failure.exit() != Exit::damaged) throw;
            complain(failure.what());
            worst = std::max(worst, failure.exit());
            JSON::Map map;
            map["path"] = as_utf8(path.string());
            map["error"] = as_utf8(failure.what());
            listings.push_back(std::move(map));
        }
    }
    if (options.json) {
        JSON::Map document;
        document["schema"] = "vexa.ls/1";
        document["files"] = std::move(listings);
        put(document_text(document));
    }
    return worst;
}

} // namespace Vexa::tool
