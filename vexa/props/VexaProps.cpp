#include <vexa/props/VexaProps.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include <vexa/props/path_budget_internal.h>
#include <vexa/props/type_list_internal.h>

namespace {

namespace types = Vexa::types;
using Indices = std::vector<unsigned long>;

constexpr char const* no_array_inside = "Type suggests an array but none found.";
constexpr char const* no_array_before_slash = "Expected an array as '/' is followed by a number.";

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool starts_name(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool is_valid_name(std::string_view name) {
    if (name.empty() || !starts_name(name[0])) return false;
    for (char const c : name)
        if (!starts_name(c) && !is_digit(c) && c != '-') return false;
    return true;
}

enum class Kind { failure = 0, member = 1, cell = 2, element = 3, slash = 4 };

/// The kind that the first character of a path announces.
Kind kind_of(std::string_view path) {
    if (path[0] == '{') return Kind::cell;
    if (path[0] == '(') return Kind::element;
    if (path[0] == '/' && path.size() > 1 && is_digit(path[1])) return Kind::slash;
    return Kind::member;
}

std::string_view tail_behind(std::string_view path, std::size_t separator) {
    if (separator >= path.size()) return {};
    char const c = path[separator];
    if (c == '{' || c == '(') return path.substr(separator);
    bool const index_follows = c == '/' && separator + 1 < path.size() && is_digit(path[separator + 1]);
    return path.substr(separator + (index_follows ? 0 : 1));
}

/// The low 32 bits of a decimal number of any length, which saturates at 63 bits.
std::int32_t number_from(std::string_view digits) {
    constexpr unsigned long most = ~0ul >> 1;
    unsigned long value = 0;
    for (char const c : digits) {
        auto const digit = static_cast<unsigned long>(c - '0');
        value = value > (most - digit) / 10 ? most : value * 10 + digit;
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

bool parse_indices(std::string_view head, std::size_t end, Indices& indices, std::string& err) {
    std::size_t at = 1;
    do {
        while (at < end && head[at] == ' ') ++at;
        std::size_t const stop = std::min(head.find(',', at), end);
        std::string_view const number = head.substr(at, stop - at);
        for (char const c : number) {
            if (is_digit(c)) continue;
            err = fmt::format("Invalid character specified in index segment '{}'.", head);
            return false;
        }
        std::int32_t const index = number_from(number);
        if (index < 0) {
            err = fmt::format("Invalid index '{}' specified in segment '{}'.", number, head);
            return false;
        }
        indices.push_back(static_cast<unsigned long>(index));
        at = stop + 1;
    } while (at < end);
    if (indices.size() == 1) indices.insert(indices.begin(), 0);
    return true;
}

/// Split the first segment off \p path.
/// \param indices receives the numbers of an index; may be null
Kind _s_split(std::string_view path, std::string_view& head, std::string_view& tail, Indices* indices,
              std::string& err) {
    head = tail = {};
    if (path.empty()) {
        err = "Path unexpectedly empty.";
        return Kind::failure;
    }
    Kind const kind = kind_of(path);
    std::size_t const separator = path.find_first_of("{(./", kind == Kind::member ? 0 : 1);
    head = path.substr(0, separator);
    if (head.empty()) {
        err = "Path starts with empty segment.";
        return Kind::failure;
    }
    tail = tail_behind(path, separator);
    if (kind == Kind::member) {
        if (is_valid_name(head)) return kind;
        err = fmt::format("Path contains invalid struct member name '{}'.", head);
        return Kind::failure;
    }
    if ((kind == Kind::cell && head.back() != '}') || (kind == Kind::element && head.back() != ')')) {
        err = "Brackets not matched.";
        return Kind::failure;
    }
    Indices dropped;
    std::size_t const end = kind == Kind::slash ? head.size() : head.size() - 1;
    return parse_indices(head, end, indices ? *indices : dropped, err) ? kind : Kind::failure;
}

/// The number of elements that an array has when it has grown to take in a position.
unsigned long grown_count(VProparrayBase const& array, Indices const& position) {
    Indices shape = array.get_size(true);
    shape.resize(std::max(shape.size(), position.size()), 1);
    for (std::size_t k = 0; k < position.size(); ++k) shape[k] = std::max(shape[k], position[k] + 1);
    return VProparrayBase::size(shape);
}

/// Take \p cost from one part of a budget.
/// \return false if less is left
bool take(unsigned long& left, unsigned long cost) {
    if (cost > left) return false;
    left -= cost;
    return true;
}

/// A walk along a path. It holds the place reached so far, a handle or a structure, and takes one segment
/// after the other, so that the length of a path costs no call stack.
class Walk {
public:
    /// \param unshare call own() on everything passed; without it nothing is written at all
    /// \param budget what the walk may cost; null for no limit
    Walk(std::string& err, bool create, bool unshare, Vexa::props::PathBudget* budget = nullptr)
        : err_(err), create_(create), unshare_(unshare), budget_(budget) {}

    std::pair<VProp*, Indices> from(VProp* root, std::string_view path) {
        place_ = root;
        tail_ = path;
        return finish();
    }

    std::pair<VProp*, Indices> from(VPropstruct& root, std::string_view path) {
        tail_ = path;
        enter_struct(root);
        return finish();
    }

private:
    /// Each step sets the place, null on failure, and the tail that is left.
    std::pair<VProp*, Indices> finish() {
        while (place_ && !tail_.empty() && !done_) step();
        return {place_, std::move(position_)};
    }

    void step() {
        Indices indices;
        std::string_view head;
        std::string_view const path = tail_;
        switch (_s_split(path, head, tail_, &indices, err_)) {
        case Kind::failure: place_ = nullptr; break;
        case Kind::member: tail_ = path, step_member(); break;
        case Kind::cell: step_cell(indices); break;
        case Kind::element: step_element(std::move(indices)); break;
        case Kind::slash: step_slash(std::move(indices)); break;
        }
    }

    void fail(std::string text) {
        err_ = std::move(text);
        place_ = nullptr;
    }

    /// Make an empty place hold a T if that is wanted.
    /// \return whether a T is there
    template <typename T>
    bool ensure() {
        if (create_ && place_->empty()) place_->set<T>();
        return place_->get_if<T>() != nullptr;
    }

    template <typename T>
    T& writable() {
        return unshare_ ? place_->set<T>() : const_cast<T&>(place_->get<T>());
    }

    void step_member() {
        if (!ensure<VPropstruct>()) return fail("Expected a struct.");
        enter_struct(writable<VPropstruct>());
    }

    void step_cell(Indices const& indices) {
        if (!ensure<VProparray<VProp>>())
            return fail("Not a cell array but encountered cell array index {...}.");
        enter_cell(writable<VProparray<VProp>>(), indices);
    }

    void step_element(Indices indices) {
        if (ensure<VProparray<VPropstruct>>()) return enter_struct_array(indices);
        if (!types::is_array(place_->get_id()) || place_->get_if<VProparray<VProp>>())
            return fail("Expected a value or struct array.");
        end_in_value_array(std::move(indices), true);
    }

    void step_slash(Indices indices) {
        if (place_->empty() && create_)
            return fail("Path leads to empty entry but array type to create is unknown in '/' notation.");
        if (!types::is_array(place_->get_id())) return fail(no_array_before_slash);
        if (place_->get_if<VProparray<VProp>>()) return enter_cell(writable<VProparray<VProp>>(), indices);
        if (!place_->get_if<VProparray<VPropstruct>>()) return end_in_value_array(std::move(indices), false);
        if (flat_index(indices) == VProparrayBase::none)
            place_ = nullptr;
        else
            enter_struct_array(indices);
    }

    /// The flat index in the array that the place holds; failures are reported.
    unsigned long flat_index(Indices const& indices) {
        // Growing would show through other handles on the same content.
        if (create_) place_->own();
        VProparrayBase* const array = place_->get_arr(false);
        if (!array) {
            err_ = no_array_inside;
            return VProparrayBase::none;
        }
        return index_in(*array, indices, &err_);
    }

    unsigned long index_in(VProparrayBase& array, Indices const& indices, std::string* err) {
        if (budget_) {
            unsigned long const count = grown_count(array, indices);
            if (count > array.size() && !take(budget_->elements, count - array.size()))
                throw std::runtime_error(fmt::format("Property array of {} elements is too large.", count));
        }
        return array.get_idx(indices, create_, err);
    }

    void enter_cell(VProparray<VProp>& cells, Indices const& indices) {
        unsigned long const index = index_in(cells, indices, &err_);
        place_ = index == VProparrayBase::none ? nullptr : &cells[index];
    }

    void enter_struct_array(Indices const& indices) {
        if (tail_.empty()) return fail("Path ends in struct array.");
        auto& structs = writable<VProparray<VPropstruct>>();
        enter_struct(structs[index_in(structs, indices, nullptr)]);
    }

    /// \param keep_position leave the position in the result of a failure
    void end_in_value_array(Indices indices, bool keep_position) {
        done_ = true;
        if (flat_index(indices) == VProparrayBase::none) {
            place_ = nullptr;
            if (!keep_position) return;
        } else if (!tail_.empty()) {
            fail("Additional path elements after ending in value array.");
        }
        position_ = std::move(indices);
    }

    /// Take the member that the tail begins with.
    void enter_struct(VPropstruct& members) {
        std::string_view head;
        std::string_view const path = tail_;
        Kind const kind = _s_split(path, head, tail_, nullptr, err_);
        place_ = nullptr;
        if (kind == Kind::failure) return;
        if (kind != Kind::member)
            return fail(fmt::format("Encountered array index '{}' instead of struct member name.", head));
        if (budget_ && !take(budget_->members, members.size()))
            throw std::runtime_error("Too many names to search.");
        auto const found = members.find(std::string(head));
        if (found != members.end())
            place_ = &found->second;
        else if (create_)
            place_ = &members.emplace_back(head, VProp()).second;
        else
            fail(fmt::format("Struct member '{}' does not exist.", head));
    }

    std::string& err_;
    bool create_;
    bool unshare_;
    Vexa::props::PathBudget* budget_;
    VProp* place_ = nullptr;
    std::string_view tail_;
    Indices position_;
    bool done_ = false;
};

/// The place must have a handle of its own. A look-up that has come to a value array says only that.
template <typename Root>
VProp* find_handle(Root root, std::string const& path, std::string& err, Walk walk) {
    auto const [place, position] = walk.from(root, path);
    if (position.empty()) return place;
    err = "Path ended at value array element.";
    return nullptr;
}

template <typename Find>
VProp& find_or_throw(std::string const& path, Find find) {
    std::string err;
    VProp* place = nullptr;
    try {
        place = find(err);
    } catch (std::runtime_error const& error) {
        err = error.what();
    }
    if (place) return *place;
    throw std::runtime_error(
        fmt::format("Invalid property path '{}': {}", path, err.empty() ? "Unknown error." : err));
}

} // namespace

std::pair<VProp*, std::vector<unsigned long>> vexa_prop_getp_ex(VProp* root, std::string const& path,
                                                                std::string& err, bool create) {
    return Walk(err, create, true).from(root, path);
}

bool vexa_prop_is_valid_name(std::string const& name) { return is_valid_name(name); }

bool vexa_prop_is_valid_path(std::string const& path) {
    // From nothing, whatever a segment needs can be made. So the segments alone decide.
    std::string_view head;
    std::string_view tail = path;
    std::string err;
    bool in_structs = false;
    while (!tail.empty()) {
        Kind const kind = _s_split(tail, head, tail, nullptr, err);
        bool const fits = in_structs ? kind == Kind::member : kind != Kind::slash;
        if (kind == Kind::failure || !fits) return false;
        in_structs = kind == Kind::element;
    }
    return !in_structs;
}

std::type_info const& vexa_dt_get_type(int type) {
    int const element = types::element_type(type);
    if (element == types::rgb_triple)
        return types::is_array(type) ? typeid(VProparray<_s_vexa_RGB>) : typeid(_s_vexa_RGB);
    int const stands_for = element == types::rgb_word ? (type & types::array_flag) | types::uint32 : type;
    std::type_info const* result = &typeid(void);
    if (element != types::empty)
        Vexa::props::with_value_type(stands_for,
                                     [&]<typename T>(std::type_identity<T>) { result = &typeid(T); });
    return *result;
}

VProp* VProp::getp(std::string const& path, std::string& err, bool create) {
    return find_handle(this, path, err, Walk(err, create, true));
}

VProp const* VProp::getp(std::string const& path, std::string& err) const {
    return find_handle(const_cast<VProp*>(this), path, err, Walk(err, false, false));
}

VProp& VProp::getp(std::string const& path, bool create) {
    return find_or_throw(path, [&](std::string& err) { return getp(path, err, create); });
}

VProp const& VProp::getp(std::string const& path) const {
    return find_or_throw(path, [&](std::string& err) { return const_cast<VProp*>(getp(path, err)); });
}

VProp* VPropstruct::getp(std::string const& path, std::string& err, bool create) {
    return find_handle<VPropstruct&>(*this, path, err, Walk(err, create, true));
}

VProp const* VPropstruct::getp(std::string const& path, std::string& err) const {
    return find_handle<VPropstruct&>(const_cast<VPropstruct&>(*this), path, err, Walk(err, false, false));
}

VProp& VPropstruct::getp(std::string const& path, bool create) {
    return find_or_throw(path, [&](std::string& err) { return getp(path, err, create); });
}

VProp const& VPropstruct::getp(std::string const& path) const {
    return find_or_throw(path, [&](std::string& err) { return const_cast<VProp*>(getp(path, err)); });
}

VProp& Vexa::props::create_place(VPropstruct& root, std::string const& path, PathBudget& budget) {
    return find_or_throw(path, [&](std::string& err) {
        return find_handle<VPropstruct&>(root, path, err, Walk(err, true, true, &budget));
    });
}
