#include <vexa/json/Props.h>

#include <vector>

#include <fmt/format.h>

#include <vexa/json/Writer.h>

namespace JSON {

namespace {

/// Merges a value into another one, from a copy of its own that it takes apart. The maps that are open, from
/// the outermost to the innermost, are kept in a list, so that depth costs no call stack.
class Merger {
public:
    Merger(bool add, bool append, bool replace) : add_(add), append_(append), replace_(replace) {}

    void merge(Value source, Value& target) {
        begin(source, target);
        while (!open_.empty()) {
            auto& [next, end, into] = open_.back();
            if (next == end) {
                open_.pop_back();
                continue;
            }
            auto& [key, value] = *next++;
            auto const place = into->lower_bound(key);
            if (place != into->end() && place->first == key)
                begin(value, place->second);
            else if (add_)
                into->emplace_hint(place, key, std::move(value));
        }
    }

private:
    struct Open {
        Map::iterator next, end;
        Map* into;
    };

    void begin(Value& source, Value& target) {
        if (source.is_null()) return;
        Map* const from_map = source.get_if<Map>();
        Map* const to_map = target.get_if<Map>();
        List* const from_list = source.get_if<List>();
        List* const to_list = target.get_if<List>();
        if (from_map && to_map)
            open_.push_back({from_map->begin(), from_map->end(), to_map});
        else if (from_list && to_list && append_)
            to_list->splice(to_list->end(), *from_list);
        else if (replace_)
            target = std::move(source);
        else if (!target.is_null())
            throw std::invalid_argument(
                fmt::format("Cannot merge '{}' into '{}'.", dump(source, false), dump(target, false)));
    }

    bool add_, append_, replace_;
    std::vector<Open> open_;
};

} // namespace

void merge(Value const& source, Value& target, bool add, bool append, bool replace) {
    Merger(add, append, replace).merge(source, target);
}

} // namespace JSON
