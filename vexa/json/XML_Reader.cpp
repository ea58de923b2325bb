#include <vexa/json/XML_Reader.h>

#include <algorithm>
#include <array>
#include <istream>
#include <span>

#include <vexa/json/scan_internal.h>
#include <vexa/json/stream_internal.h>

namespace JSON {

namespace {

constexpr std::string_view at_the_beginning = "at the beginning";

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_quote(char c) { return c == '"' || c == '\''; }
bool starts_tag_name(char c) { return is_letter(c) || c == '_' || c == ':'; }

void cut_prefix(std::string& name) {
    auto const colon = name.find(':');
    if (colon != std::string::npos) name.erase(0, colon + 1);
}

/// The character that a reference stands for, or 0.
char referenced(std::string_view name) {
    if (name == "lt") return '<';
    if (name == "gt") return '>';
    if (name == "amp") return '&';
    if (name == "apos") return '\'';
    if (name == "quot") return '"';
    return 0;
}

char const* end_of_name(char const* pos, char const* end) {
    return std::find_if_not(pos, end, detail::is_name_character);
}
char const* end_of_blanks(char const* pos, char const* end) {
    return std::find_if_not(pos, end, detail::is_space);
}

std::string_view stored_form(std::string_view text) {
    if (text == "INF") return "Infinity";
    if (text == "-INF") return "-Infinity";
    return text;
}

} // namespace

XML_Reader::Unexpected::Unexpected(char found, std::string_view context)
    : Unexpected(std::string_view(&found, 1), context) {}
XML_Reader::Unexpected::Unexpected(std::string_view found, std::string_view context)
    : std::runtime_error(std::string("Unexpected ").append(found).append(" ").append(context)) {}
XML_Reader::Unexpected::~Unexpected() = default;

XML_Reader::XML_Reader(Value& target) : root(target) { root.set<std::monostate>(); }
XML_Reader::~XML_Reader() = default;

void XML_Reader::clear() { prolog.clear(); }

template <typename Found>
void XML_Reader::fail(Found const& found, std::string_view context) {
    throw failure_.emplace(found, context);
}

bool XML_Reader::read(char c) {
    if (failure_) throw *failure_;
    if (in_name_) {
        if (detail::is_name_character(c)) return token_ += c, false;
        in_name_ = false;
        if (!in_attribute_) return end_tag_name(c);
        end_attribute_name(token_);
        token_.clear();
    }
    if (delimiter_ != 0) return in_value(c), false;
    if (in_attribute_) return in_attribute(c), false;
    if (in_attributes_) return in_attributes(c);
    if (in_tag_) return in_tag(c), false;
    return outside(c), false;
}

void XML_Reader::outside(char c) {
    if (c == '<')
        in_tag_ = true;
    else if (!detail::is_space(c))
        fail(c, at_the_beginning);
}

void XML_Reader::in_tag(char c) {
    if (starts_tag_name(c)) {
        token_ += c;
        in_name_ = true;
        return;
    }
    if (processing_ || end_tag_ || (c != '?' && c != '/')) fail(c, "in tag name");
    (c == '?' ? processing_ : end_tag_) = true;
}

bool XML_Reader::end_tag_name(char c) {
    if (processing_) {
        if (token_ != "xml") fail(token_, "processing tag");
    } else if (end_tag_) {
        close_element();
    } else {
        open_element();
    }
    bool done = false;
    if (detail::is_space(c)) {
        in_attributes_ = true;
    } else if (c == '?' && processing_) {
        in_attributes_ = closing_ = true;
    } else if (c == '/' && !processing_ && !end_tag_) {
        stack_.pop_back();
        in_attributes_ = closing_ = true;
    } else if (c == '>' && !processing_) {
        done = end_tag();
    } else {
        fail(c, "in tag " + token_);
    }
    token_.clear();
    return done;
}

void XML_Reader::close_element() {
    if (stack_.empty()) fail(token_, "end tag at the beginning");
    cut_prefix(token_);
    if (token_ != stack_.back()->first) fail(token_, "end tag");
    stack_.pop_back();
}

void XML_Reader::open_element() {
    Value& holder = stack_.empty() ? root : content();
    if (!holder.is_null() && !holder.get_if<Map>())
        fail(token_, stack_.empty() ? "after content" : "after value");
    cut_prefix(token_);
    Map& elements = holder.promote_as<Map>();
    Entry& entry = *elements.try_emplace(token_).first;
    entry.second.emplace_back(Value(Map()));
    stack_.push_back(&entry);
}

/// The `>` of a tag that is not a processing tag.
bool XML_Reader::end_tag() {
    in_tag_ = false;
    if (!end_tag_) {
        delimiter_ = '<';
        return false;
    }
    end_tag_ = false;
    return stack_.empty();
}

void XML_Reader::end_attribute_name(std::string_view name) {
    Map& attributes = processing_ ? prolog : element();
    auto const place = attributes.lower_bound(name);
    if (place != attributes.end() && place->first == name) fail(name, "duplicate attribute");
    value_target_ = &attributes.emplace_hint(place, name, Value())->second;
    expect_equal_ = true;
}

void XML_Reader::in_attribute(char c) {
    if (detail::is_space(c)) return;
    if (c == '=' && expect_equal_) {
        expect_equal_ = false;
        expect_quote_ = true;
    } else if (is_quote(c) && expect_quote_) {
        delimiter_ = c;
    } else {
        fail(c, "in attribute");
    }
}

bool XML_Reader::in_attributes(char c) {
    if (c == '>') {
        closing_ = in_attributes_ = false;
        if (!processing_) return end_tag();
        in_tag_ = processing_ = false;
        return false;
    }
    if (closing_) fail(c, "in tag");
    if (is_letter(c) && !end_tag_) {
        in_attribute_ = in_name_ = true;
        token_ += c;
    } else if (c == '/' && !processing_ && !end_tag_) {
        stack_.pop_back();
        end_tag_ = closing_ = true;
    } else if (c == '?' && processing_) {
        closing_ = true;
    } else if (!detail::is_space(c)) {
        fail(c, "in tag");
    }
    return false;
}

void XML_Reader::in_value(char c) {
    if (in_reference_) {
        if (c == ';')
            end_reference();
        else
            reference_ += c;
    } else if (c == '&') {
        in_reference_ = true;
    } else if (c == delimiter_) {
        end_value(token_);
        token_.clear();
    } else if (delimiter_ != '<' || !token_.empty() || !detail::is_space(c)) {
        token_ += c;
    }
}

void XML_Reader::end_reference() {
    char const c = referenced(reference_);
    if (c == 0) fail('&' + reference_ + ';', "reference");
    token_ += c;
    reference_.clear();
    in_reference_ = false;
}

void XML_Reader::end_value(std::string_view text) {
    bool const of_element = delimiter_ == '<';
    delimiter_ = 0;
    in_tag_ = true;
    if (of_element && text.empty()) return;
    if (of_element && stack_.empty()) fail(text, at_the_beginning);
    Value& target = of_element ? content() : *value_target_;
    target.set<std::string>(stored_form(text));
    value_target_ = nullptr;
    if (!of_element) in_attribute_ = expect_quote_ = false;
}

/// The innermost open element.
Map& XML_Reader::element() { return *stack_.back()->second.get_if<List>()->back().get_if<Map>(); }

/// The content of the innermost open element, null if it has none yet.
Value& XML_Reader::content() {
    Map& all = element();
    // The empty key comes before all others.
    return all.try_emplace(all.begin(), std::string())->second;
}

// What follows takes whole runs of characters, to the same effect as read(char) one by one. A run that is cut
// off by the end of the piece leaves its state in the members, like read(char) does.

bool XML_Reader::read(char const*& begin, char const* end) {
    if (failure_) throw *failure_;
    while (begin != end) {
        char const* const before = begin;
        take_run(begin, end);
        if (begin == before && read(*begin++)) return true;
    }
    return false;
}

/// Take what can be taken in one go, perhaps nothing.
void XML_Reader::take_run(char const*& pos, char const* end) {
    if (in_name_) {
        char const* const begin = pos;
        pos = end_of_name(begin, end);
        token_.append(begin, pos);
    } else if (delimiter_ != 0) {
        if (!in_reference_) take_value(pos, end);
    } else if (!in_attribute_ && !closing_ && (in_attributes_ || !in_tag_)) {
        pos = end_of_blanks(pos, end);
        if (in_attributes_ && !end_tag_ && pos != end && is_letter(*pos)) take_attribute(pos, end);
    }
}

void XML_Reader::take_value(char const*& pos, char const* end) {
    if (delimiter_ == '<' && token_.empty()) pos = end_of_blanks(pos, end);
    char const* const begin = pos;
    pos = detail::end_of_value_text(begin, end, delimiter_);
    bool const whole = pos != end && *pos == delimiter_ && token_.empty();
    if (!whole) {
        token_.append(begin, pos);
        return;
    }
    auto const size = static_cast<std::size_t>(pos - begin);
    ++pos;
    end_value({begin, size});
}

/// Take the name of an attribute, and what follows up to the quote if it follows at once.
void XML_Reader::take_attribute(char const*& pos, char const* end) {
    char const* const begin = pos;
    pos = end_of_name(begin, end);
    in_attribute_ = true;
    if (end - pos < 2 || pos[0] != '=' || !is_quote(pos[1])) {
        token_.assign(begin, pos);
        in_name_ = true;
        return;
    }
    std::string_view const name(begin, static_cast<std::size_t>(pos - begin));
    ++pos;
    end_attribute_name(name);
    expect_equal_ = false;
    expect_quote_ = true;
    delimiter_ = *pos++;
}

namespace {

/// Take characters from \p in up to the next `>`, behind which a document may end, but no more than there is
/// room for.
/// \return how many; none at the end of the stream
std::size_t take_piece(std::istream& in, std::span<char> room) {
    using Traits = std::istream::traits_type;
    std::size_t size = 0;
    while (size < room.size() && (size == 0 || room[size - 1] != '>')) {
        int const next = detail::next_character(in);
        if (next == Traits::eof()) {
            in.setstate(std::ios_base::eofbit);
            break;
        }
        room[size++] = Traits::to_char_type(next);
    }
    return size;
}

} // namespace

bool XML_Reader::read(std::istream& in) {
    std::array<char, 4096> room;
    if (std::istream::sentry const ready(in, true); ready) {
        while (in.good()) {
            char const* pos = room.data();
            if (read(pos, pos + take_piece(in, room))) return true;
        }
    }
    in.setstate(std::ios_base::failbit);
    return false;
}

} // namespace JSON
