#include <vexa/json/Proxy.h>

#include <iterator>
#include <stdexcept>
#include <string_view>

namespace JSON {

Proxy::Proxy(Value& tree) : value_(&tree) {}

Proxy::Proxy(Value&& tree)
    : place_(std::make_unique<Value>(std::move(tree))), value_(std::get<Owned>(place_).get()) {}

Proxy::Proxy(Proxy& parent, char const* key) : parent_(&parent), place_(key), value_(parent.member(key)) {
    join_fields();
}

Proxy::Proxy(Proxy& parent, Position position)
    : parent_(&parent), place_(position), value_(position ? &**position : nullptr) {}

Proxy::~Proxy() {
    if (!parent_) return;
    // Members are destroyed in the reverse order of their construction, so the first one found is the one.
    for (Proxy** field = &parent_->fields_; *field; field = &(*field)->next_) {
        if (*field != this) continue;
        *field = next_;
        break;
    }
}

Proxy::operator bool() const { return has_value(); }

bool Proxy::has_value() const { return value_ != nullptr; }

Value const* Proxy::value() const { return value_; }

void Proxy::set(Value const& value, bool quiet) {
    Value& place = get_value();
    if (place == value) return;
    if (fields_) {
        Value copy(value); // may be a part of what the fields stand on
        for (Proxy* field = fields_; field; field = field->next_) field->follow(nullptr);
        place = std::move(copy);
        fields_follow();
    } else {
        place = value;
    }
    if (!quiet) signal();
}

void Proxy::signal() {}

void Proxy::reset() {
    if (!value_ || (!parent_ && value_->is_null())) return;
    if (!parent_) throw std::invalid_argument("Cannot reset root model");
    point_to(nullptr);
    if (parent_->value_) {
        if (char const* under = key())
            remove_member(under);
        else
            remove_entry();
    }
    signal();
}

Proxy& Proxy::operator=(Proxy const& other) {
    if (this == &other) return *this;
    if (other.value_)
        set(*other.value_, false);
    else
        reset();
    return *this;
}

Proxy::Position Proxy::position() const {
    Position const* position = std::get_if<Position>(&place_);
    return position ? *position : std::nullopt;
}

void Proxy::set_position(Position position) {
    place_ = position;
    point_to(position ? &**position : nullptr);
}

char const* Proxy::key() const {
    char const* const* key = std::get_if<char const*>(&place_);
    return key ? *key : nullptr;
}

Proxy& Proxy::root() {
    Proxy* place = this;
    while (place->parent_) place = place->parent_;
    return *place;
}

Proxy const& Proxy::root() const { return const_cast<Proxy*>(this)->root(); }

Value const& Proxy::value_or(Value const& other) const {
    Value const* held = value();
    return held ? *held : other;
}

Value& Proxy::get_value() {
    if (value_) return *value_;
    Value& holder = parent_->get_value();
    if (char const* under = key()) {
        value_ = &holder.promote_as<Map>()[under];
    } else {
        List& list = holder.promote_as<List>();
        list.emplace_back();
        place_ = std::prev(list.end());
        value_ = &list.back();
    }
    return *value_;
}

void Proxy::reset_fields() {
    for (Proxy* field = fields_; field; field = field->next_) field->reset();
}

void Proxy::follow(Value* place) { point_to(place); }

void Proxy::point_to(Value* place) {
    value_ = place;
    fields_follow();
}

void Proxy::join_fields() {
    next_ = parent_->fields_;
    parent_->fields_ = this;
}

Value* Proxy::member(char const* key) const {
    Map* map = value_ ? value_->get_if<Map>() : nullptr;
    if (!map) return nullptr;
    auto const found = map->find(std::string_view(key));
    return found == map->end() ? nullptr : &found->second;
}

void Proxy::fields_follow() {
    for (Proxy* field = fields_; field; field = field->next_) {
        char const* under = field->key();
        field->follow(under ? member(under) : nullptr);
    }
}

void Proxy::remove_member(char const* key) {
    // Other views may stand at the same place.
    for (Proxy* field = parent_->fields_; field; field = field->next_)
        if (field != this && field->value_ && field->key() && std::string_view(key) == field->key())
            field->follow(nullptr);
    Map& map = parent_->value_->promote_as<Map>();
    if (auto const found = map.find(std::string_view(key)); found != map.end()) map.erase(found);
}

void Proxy::remove_entry() {
    Position const here = position();
    if (!here) return;
    place_ = Position();
    parent_->value_->promote_as<List>().erase(*here);
}

} // namespace JSON
