#include <vexa/json/Props.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <typeinfo>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include <vexa/foundation/types_internal.h>
#include <vexa/json/Writer.h>
#include <vexa/props/type_list_internal.h>

namespace JSON {

namespace {

namespace types = Vexa::types;
using Sizes = std::vector<unsigned long>;
using Vexa::props::is_array_type;
using Vexa::props::is_complex_type;
using Vexa::props::with_value_type;

class Type_Error : public std::invalid_argument {
public:
    explicit Type_Error(VProp const& prop) : Type_Error(prop.get_id()) {}
    explicit Type_Error(int code)
        : std::invalid_argument(fmt::format("Property has {} type", types::message_words(code))) {}
};

/// The extents of the nested lists that an array becomes, from the outermost to the innermost. Their product
/// is the number of elements.
Sizes get_sizes(VProparrayBase const& array) {
    if (array.size() == 1) return {1};
    if (array.size() == 0) return {};
    Sizes sizes = array.get_size(true);
    std::erase_if(sizes, [](unsigned long extent) { return extent <= 1; });
    std::reverse(sizes.begin(), sizes.end());
    return sizes;
}

/// Builds the value of a property. Properties that hold others wait until it is their turn, so that depth
/// costs no call stack.
class Getter {
public:
    Value get(VProp const& prop) {
        Value result;
        get_content(prop, result);
        while (!waiting_.empty()) {
            auto const [from, to] = waiting_.back();
            waiting_.pop_back();
            get_content(*from, *to);
        }
        return result;
    }

private:
    void get_content(VProp const& prop, Value& to) {
        bool const known =
            prop.empty() || with_value_type(prop.get_id(), [&]<typename T>(std::type_identity<T>) {
                get_value(prop.get<T>(), to);
            });
        if (!known) throw Type_Error(prop);
    }

    template <typename T>
    void get_value(T const& value, Value& to) {
        if constexpr (std::is_same_v<T, bool>) {
            to = Boolean(value);
        } else if constexpr (std::is_arithmetic_v<T>) {
            to = Number(value);
        } else if constexpr (is_complex_type<T>) {
            to = Value_Cast<T, 0>::from(value);
        } else if constexpr (std::is_same_v<T, VPropstring>) {
            to = value.to_utf8();
        } else if constexpr (is_array_type<T>) {
            Sizes const sizes = get_sizes(value);
            auto it = value.begin();
            get_values(it, sizes, to);
        } else if constexpr (std::is_same_v<T, VPropstruct>) {
            get_parameters(value, to);
        } else if constexpr (std::is_same_v<T, VProp>) {
            bool const holds_others = types::element_type(value.get_id()) & (types::cell | types::struct_);
            if (holds_others)
                waiting_.emplace_back(&value, &to);
            else
                get_content(value, to);
        }
    }

    void get_parameters(VPropstruct const& members, Value& to) {
        Map& map = to.promote_as<Map>();
        for (auto const& [name, member] : members) {
            std::size_t const before = map.size();
            auto const place = map.try_emplace(map.end(), name);
            if (map.size() > before) get_value(member, place->second);
        }
    }

    /// Every extent is at least 2, or the only one, so there are 64 levels at most.
    template <typename Iterator>
    void get_values(Iterator& it, std::span<unsigned long const> sizes, Value& to) {
        List& list = to.promote_as<List>();
        if (sizes.empty()) return;
        for (unsigned long i = 0; i < sizes[0]; ++i) {
            Value& entry = list.emplace_back();
            if (sizes.size() == 1)
                get_value(*it++, entry);
            else
                get_values(it, sizes.subspan(1), entry);
        }
    }

    std::vector<std::pair<VProp const*, Value*>> waiting_;
};

void check_not_valueless(Value const& value) {
    std::visit([](auto const&) {}, value.variant());
}

/// The value as a T, if it is the same there.
template <typename T>
std::optional<T> read_as(Value const& value) {
    check_not_valueless(value);
    if constexpr (std::is_same_v<T, VPropstring>) {
        std::string const* const text = value.get_if<std::string>();
        return text ? std::optional(VPropstring::from_utf8(*text)) : std::nullopt;
    } else {
        std::optional<T> const found = Value_Cast<T, 0>::to_if(value);
        if constexpr (std::is_same_v<T, float>) {
            Number const* const number = value.get_if<Number>();
            double const* const real = number ? std::get_if<double>(&number->variant()) : nullptr;
            if (found && real && static_cast<double>(*found) != *real && !std::isnan(*real))
                return std::nullopt;
        }
        return found;
    }
}

/// The innermost entries of nested lists that must have the given extents, one after the other.
class Leaves {
public:
    /// \param code the type that an error names
    Leaves(List const& list, Sizes sizes, int code) : sizes_(std::move(sizes)), code_(code) {
        if (!sizes_.empty())
            enter(list);
        else if (!list.empty())
            throw Type_Error(code);
    }

    /// The next entry, or null behind the last one.
    /// \throws Type_Error for a list of another length; std::bad_cast for what is no list
    Value const* next() {
        while (!open_.empty()) {
            auto& [at, end] = open_.back();
            if (at == end) {
                open_.pop_back();
                continue;
            }
            Value const& entry = *at++;
            if (open_.size() == sizes_.size()) return &entry;
            List const* const list = entry.get_if<List>();
            if (!list) throw std::bad_cast();
            enter(*list);
        }
        return nullptr;
    }

private:
    void enter(List const& list) {
        if (list.size() != sizes_[open_.size()]) throw Type_Error(code_);
        open_.emplace_back(list.begin(), list.end());
    }

    Sizes sizes_;
    int code_;
    std::vector<std::pair<List::const_iterator, List::const_iterator>> open_;
};

/// Finds members by name. A large structure in which many are looked for gets an index.
class Members {
public:
    Members(VPropstruct& members, std::size_t lookups) : members_(&members) {
        constexpr std::size_t few = 32;
        if (members.size() < few || lookups < few) return;
        for (auto& [name, member] : members) index_.emplace_back(name, &member);
        std::stable_sort(index_.begin(), index_.end(), by_name);
    }

    /// The first member of that name, or null.
    VProp* find(std::string const& name) const {
        if (index_.empty()) {
            auto const found = members_->find(name);
            return found == members_->end() ? nullptr : &found->second;
        }
        auto const found = std::lower_bound(index_.begin(), index_.end(), Entry(name, nullptr), by_name);
        return found == index_.end() || found->first != name ? nullptr : found->second;
    }

private:
    using Entry = std::pair<std::string_view, VProp*>;
    static bool by_name(Entry const& a, Entry const& b) { return a.first < b.first; }

    VPropstruct* members_;
    std::vector<Entry> index_;
};

/// Keys that carry data about the document.
bool is_note(std::string_view key) { return key.size() > 4 && key.starts_with("__") && key.ends_with("__"); }

/// Writes a value into a property. What is open, from the outermost container to the innermost, is kept in a
/// list, so that depth costs no call stack, and that an error can tell where it came from.
class Setter {
public:
    void set(Value const& value, VProp& prop) {
        try {
            begin(value, prop);
            while (!open_.empty()) {
                bool const more =
                    std::visit([this](auto& container) { return step(container); }, open_.back());
                if (!more) open_.pop_back();
            }
        } catch (std::invalid_argument const& error) {
            std::string text;
            std::size_t steps = 0;
            for (Open const& container : open_) {
                std::string const* const name =
                    std::visit([](auto const& c) { return c.entered(); }, container);
                if (!name) continue;
                text += fmt::format("Invalid argument for parameter '{}': ", *name);
                ++steps;
            }
            if (steps == 0) throw;
            throw std::invalid_argument(text + error.what() + std::string(steps, '.'));
        }
    }

private:
    struct Open_Struct {
        Members members;
        Map::const_iterator next, end;
        std::string const* inside = nullptr;
        std::string const* entered() const { return inside; }
    };
    struct Open_Cells {
        Leaves leaves;
        VProp* next;
        std::string const* entered() const { return nullptr; }
    };
    struct Open_Structs {
        Leaves leaves;
        VPropstruct* first;
        unsigned long next = 0;
        std::string inside = {};
        std::string const* entered() const { return inside.empty() ? nullptr : &inside; }
    };
    using Open = std::variant<Open_Struct, Open_Cells, Open_Structs>;

    /// Write a value that holds no others, and open one that does.
    void begin(Value const& value, VProp& prop) {
        check_not_valueless(value);
        if (value.is_null() && (prop.empty() || prop.get_if<vexa_EMPTY>())) return;
        bool const known = with_value_type(
            prop.get_id(), [&]<typename T>(std::type_identity<T>) { begin_as<T>(value, prop); });
        if (!known) throw Type_Error(prop);
    }

    template <typename T>
    void begin_as(Value const& value, VProp& prop) {
        if constexpr (std::is_same_v<T, VPropstruct>) {
            begin_struct(value, prop.set<T>());
        } else if constexpr (is_array_type<T>) {
            List const* const list = value.get_if<List>();
            if (!list) throw Type_Error(prop);
            T& array = prop.set<T>();
            begin_array(Leaves(*list, get_sizes(array), prop.get_id()), array, prop.get_id());
        } else if constexpr (std::is_same_v<T, VProp> || std::is_same_v<T, vexa_EMPTY>) {
            throw Type_Error(prop);
        } else {
            auto found = read_as<T>(value);
            if (!found) throw Type_Error(prop);
            prop.set<T>() = std::move(*found);
        }
    }

    void begin_struct(Value const& value, VPropstruct& members) {
        check_not_valueless(value);
        Map const* const map = value.get_if<Map>();
        if (!map) throw Type_Error(types::struct_);
        open_.emplace_back(Open_Struct{Members(members, map->size()), map->begin(), map->end()});
    }

    template <typename T>
    void begin_array(Leaves leaves, VProparray<T>& array, int code) {
        if constexpr (std::is_same_v<T, VProp>) {
            open_.emplace_back(Open_Cells{std::move(leaves), array.data()});
        } else if constexpr (std::is_same_v<T, VPropstruct>) {
            open_.emplace_back(Open_Structs{std::move(leaves), array.data()});
        } else {
            auto it = array.begin();
            while (Value const* const leaf = leaves.next()) {
                auto found = read_as<T>(*leaf);
                if (!found) throw Type_Error(code);
                *it++ = std::move(*found);
            }
        }
    }

    // A step enters the next entry, and then leaves its container alone, which may have moved.
    // It returns false behind the last entry.

    bool step(Open_Struct& container) {
        container.inside = nullptr;
        while (container.next != container.end && is_note(container.next->first)) ++container.next;
        if (container.next == container.end) return false;
        auto const& [key, value] = *container.next++;
        VProp* const member = container.members.find(key);
        if (!member) throw No_Property_Error(key);
        container.inside = &key;
        begin(value, *member);
        return true;
    }

    bool step(Open_Cells& container) {
        Value const* const value = container.leaves.next();
        if (value) begin(*value, *container.next++);
        return value != nullptr;
    }

    bool step(Open_Structs& container) {
        container.inside.clear();
        Value const* const value = container.leaves.next();
        if (!value) return false;
        container.inside = std::to_string(container.next);
        begin_struct(*value, container.first[container.next++]);
        return true;
    }

    std::vector<Open> open_;
};

} // namespace

No_Property_Error::No_Property_Error(std::string_view name)
    : std::invalid_argument(fmt::format("No property '{}'", name)) {}
No_Property_Error::~No_Property_Error() = default;

Value get_value(VProp const& prop) { return Getter().get(prop); }
void set_value(Value const& value, VProp& prop) { Setter().set(value, prop); }

} // namespace JSON

std::string vexa_export_json(VProp const& value) { return JSON::dump(JSON::get_value(value), true); }
