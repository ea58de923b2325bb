#include <vexa/json/Props.h>

#include <variant>
#include <vector>

#include <vexa/json/Reader.h>
#include <vexa/props/VexaProps.h>
#include <vexa/props/path_budget_internal.h>

namespace JSON {

namespace {

/// Makes the property of a value. The lists and maps that are open, from the outermost to the innermost, are
/// kept in a list, so that depth costs no call stack.
class Creator {
public:
    VProp create(Value const& value) {
        VProp result;
        begin(value, result);
        while (!open_.empty()) {
            bool const more = std::visit([this](auto& container) { return step(container); }, open_.back());
            if (!more) open_.pop_back();
        }
        return result;
    }

private:
    struct Open_List {
        List::const_iterator next, end;
        VProp* element;
    };
    struct Open_Map {
        Map::const_iterator next, end;
        VPropstruct* members;
    };

    void begin(Value const& value, VProp& prop) {
        std::visit([&](auto const& held) { make(held, value, prop); }, value.variant());
    }

    void make(std::monostate, Value const&, VProp&) {}
    void make(Boolean held, Value const&, VProp& prop) { prop = static_cast<bool>(held); }
    void make(std::string const& held, Value const&, VProp& prop) { prop = VPropstring::from_utf8(held); }

    void make(Number const& held, Value const&, VProp& prop) {
        if (auto const whole = narrow_if<long>(held))
            prop = *whole;
        else if (auto const large = narrow_if<unsigned long>(held))
            prop = *large;
        else
            prop = held.to_double();
    }

    void make(List const& held, Value const&, VProp& prop) {
        prop = VProparray<VProp>();
        auto& cells = prop.set<VProparray<VProp>>();
        cells.set_size({1, held.size()}, VProparrayBase::resize_clear);
        open_.emplace_back(Open_List{held.begin(), held.end(), cells.data()});
    }

    void make(Map const& held, Value const& value, VProp& prop) {
        if (auto const complex = Value_Cast<std::complex<double>, 0>::to_if(value)) {
            prop = *complex;
            return;
        }
        prop = VPropstruct();
        auto& members = prop.set<VPropstruct>();
        members.reserve(held.size());
        open_.emplace_back(Open_Map{held.begin(), held.end(), &members});
    }

    // A step enters the next entry, and then leaves its container alone, which may have moved.
    // It returns false behind the last entry.

    bool step(Open_List& container) {
        if (container.next == container.end) return false;
        Value const& value = *container.next++;
        begin(value, *container.element++);
        return true;
    }

    bool step(Open_Map& container) {
        if (container.next == container.end) return false;
        auto const& [key, value] = *container.next++;
        // A name sorts before all paths that begin with it, so there is no member of that name yet.
        VProp& place = vexa_prop_is_valid_name(key)
                           ? container.members->emplace_back(key, VProp()).second
                           : Vexa::props::create_place(*container.members, key, budget_);
        begin(value, place);
        return true;
    }

    std::vector<std::variant<Open_List, Open_Map>> open_;
    Vexa::props::PathBudget budget_;
};

} // namespace

void create_value(Value const& value, VProp& prop) {
    if (!value.is_null()) prop = Creator().create(value);
}

} // namespace JSON

VProp vexa_import_json(std::string const& text) {
    VProp result;
    JSON::create_value(JSON::parse(text), result);
    return result;
}
