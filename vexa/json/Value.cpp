#include <vexa/json/Value.h>

#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

#include <fmt/format.h>

#include <vexa/json/fetch_internal.h>

namespace JSON {

namespace {

constexpr std::array<std::string_view, 6> type_names{"null", "boolean", "number", "string", "list", "map"};
constexpr std::string_view infinity = "Infinity", minus_infinity = "-Infinity", not_a_number = "NaN";

std::string_view non_finite_text(double value) {
    if (std::isnan(value)) return not_a_number;
    return value < 0 ? minus_infinity : infinity;
}

/// Destruction recurses this deep, which is the fast way, before it goes on without recursion.
constexpr int recursion_limit = 64;

bool nests(Value const& value) {
    if (auto const* list = value.get_if<List>()) return !list->empty();
    if (auto const* map = value.get_if<Map>()) return !map->empty();
    return false;
}

/// Takes the nodes of any map in constant time each, whatever their keys are.
struct Unordered {
    bool operator()(std::string const&, std::string const&) const noexcept { return false; }
};

/// Values that wait for their destruction, in the very nodes that held them, so that nothing is allocated.
struct Pending {
    List elements;
    std::multimap<std::string, Value, Unordered> members;

    /// Move all that nests out of \p value.
    void take_from(Value& value) noexcept {
        if (auto* list = value.get_if<List>()) {
            for (auto it = list->begin(); it != list->end();) {
                auto const here = it++;
                if (nests(*here)) elements.splice(elements.end(), *list, here);
            }
        } else if (auto* map = value.get_if<Map>()) {
            for (auto it = map->begin(); it != map->end();) {
                auto const here = it++;
                if (nests(here->second)) members.insert(members.end(), map->extract(here));
            }
        }
    }

    void drain() noexcept {
        while (!elements.empty() || !members.empty()) {
            if (!elements.empty()) {
                List one;
                one.splice(one.end(), elements, elements.begin());
                take_from(one.front());
            } else {
                auto one = members.extract(members.begin());
                take_from(one.mapped());
            }
        }
    }
};

using Pair = std::pair<Value const*, Value const*>;

bool same_lists(List const& a, List const& b, std::vector<Pair>& todo) {
    if (a.size() != b.size()) return false;
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) todo.emplace_back(&*i, &*j);
    return true;
}

bool same_maps(Map const& a, Map const& b, std::vector<Pair>& todo) {
    if (a.size() != b.size()) return false;
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
        if (i->first != j->first) return false;
        todo.emplace_back(&i->second, &j->second);
    }
    return true;
}

/// Compare two values but for the contents of their lists and maps, which go to \p todo.
bool same_so_far(Value const& a, Value const& b, std::vector<Pair>& todo) {
    if (a.index() != b.index()) return false;
    if (auto const* list = a.get_if<List>()) return same_lists(*list, *b.get_if<List>(), todo);
    if (auto const* map = a.get_if<Map>()) return same_maps(*map, *b.get_if<Map>(), todo);
    if (auto const* text = a.get_if<std::string>()) return *text == *b.get_if<std::string>();
    if (auto const* number = a.get_if<Number>()) return *number == *b.get_if<Number>();
    if (auto const* boolean = a.get_if<Boolean>()) return *boolean == *b.get_if<Boolean>();
    return true;
}

} // namespace

Value::Value(Number value) {
    double const* real = std::get_if<double>(&value.variant());
    if (real && !std::isfinite(*real))
        data_.emplace<std::string>(non_finite_text(*real));
    else
        data_.emplace<Number>(value);
}

Value::Value(char const* value) {
    if (value) data_.emplace<std::string>(value);
}

Value::Value(Value const& other) {
    if (auto const* text = other.get_if<std::string>())
        data_.emplace<std::string>(*text);
    else if (auto const* number = other.get_if<Number>())
        data_.emplace<Number>(*number);
    else if (auto const* boolean = other.get_if<Boolean>())
        data_.emplace<Boolean>(*boolean);
    else if (!other.is_null())
        copy_containers(other);
}

Value& Value::operator=(Value const& other) {
    if (this != &other) *this = Value(other);
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    data_ = std::move(taken.data_);
    return *this;
}

void Value::copy_containers(Value const& other) {
    std::vector<std::pair<Value const*, Value*>> todo{{&other, this}};
    auto const copy = [&todo](Value const& from, Value& to) {
        if (from.index() > last_scalar)
            todo.emplace_back(&from, &to);
        else
            to = Value(from);
    };
    while (!todo.empty()) {
        auto const [from, to] = todo.back();
        todo.pop_back();
        if (auto const* list = from->get_if<List>()) {
            List& target = to->data_.emplace<List>();
            for (Value const& element : *list) copy(element, target.emplace_back());
        } else if (auto const* map = from->get_if<Map>()) {
            Map& target = to->data_.emplace<Map>();
            for (auto const& [key, member] : *map)
                copy(member, target.emplace_hint(target.end(), key, Value())->second);
        }
    }
}

void Value::release() noexcept {
    static thread_local int depth = 0;
    if (depth == recursion_limit) flatten();
    constexpr std::size_t small = 3;
    if (Map const* const map = get_if<Map>(); map && map->size() > small) detail::fetch_ahead(*this);
    ++depth;
    data_.emplace<std::monostate>();
    --depth;
}

void Value::flatten() noexcept {
    Pending pending;
    pending.take_from(*this);
    pending.drain();
}

std::string_view Value::type_name() const noexcept {
    return index() < type_names.size() ? type_names[index()] : "valueless";
}

Value const* Value::member(std::string_view key) const noexcept {
    Map const* map = get_if<Map>();
    if (!map) return nullptr;
    auto const found = map->find(key);
    return found == map->end() ? nullptr : &found->second;
}

Value const* Value::element(std::size_t index) const noexcept {
    List const* list = get_if<List>();
    if (!list || index >= list->size()) return nullptr;
    return &*std::next(list->begin(), static_cast<std::ptrdiff_t>(index));
}

Value& Value::emplace_back(Value&& value) {
    Value added(std::move(value));
    if (List* list = get_if<List>()) return list->emplace_back(std::move(added));
    List list;
    if (!is_null()) list.emplace_back(std::move(*this));
    Value& place = list.emplace_back(std::move(added));
    data_.emplace<List>(std::move(list));
    return place;
}

bool Value::operator==(Value const& other) const {
    std::vector<Pair> todo;
    if (!same_so_far(*this, other, todo)) return false;
    while (!todo.empty()) {
        auto const [a, b] = todo.back();
        todo.pop_back();
        if (!same_so_far(*a, *b, todo)) return false;
    }
    return true;
}

void Value::throw_path_not_found(std::string const& path) {
    throw Bad_Access(fmt::format("JSON path '{}' not found.", path));
}

void Value::throw_mismatch(std::size_t expected) const {
    throw Bad_Access(type_name(), type_names.at(expected));
}

namespace detail {

void throw_not_narrow(Number from, std::string_view to) {
    throw Bad_Access(std::visit([](auto value) { return fmt::to_string(value); }, from.variant()), to);
}

void throw_mismatch(Value const& found, std::string_view expected) {
    throw Bad_Access(found.type_name(), expected);
}

std::optional<double> non_finite(std::string_view text) noexcept {
    using Limits = std::numeric_limits<double>;
    if (text == infinity) return Limits::infinity();
    if (text == minus_infinity) return -Limits::infinity();
    if (text == not_a_number) return Limits::quiet_NaN();
    return std::nullopt;
}

Value from_real(double value) { return Number(value); }

} // namespace detail
} // namespace JSON
