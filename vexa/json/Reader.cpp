#include <vexa/json/Reader.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <istream>
#include <iterator>

#include <fmt/format.h>

#include <vexa/json/scan_internal.h>
#include <vexa/json/stream_internal.h>

namespace JSON {

namespace {

constexpr char const* in_string_value = "string value";
constexpr char const* in_number = "number value";
constexpr char const* in_value = "value";
constexpr char const* in_comment_start = "comment (missing '/' or '*')";
constexpr char const* in_array = "array (missing ',' or ']')";
constexpr char const* in_object = "object (missing ',' or '}')";
constexpr char const* in_key = "object (missing '\"key\"' or '}')";
constexpr char const* in_pair = "unicode surrogate pair continuation";

template <typename T>
bool convert(std::string_view text, T& value) {
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}

/// The end of the run of bytes of a number. Sets \p is_real if there is a byte that only reals have.
char const* end_of_number(char const* pos, char const* end, bool& is_real) {
    for (; pos != end; ++pos) {
        detail::Number_Byte const byte = detail::number_byte(*pos);
        if (byte == detail::Number_Byte::none) break;
        if (byte == detail::Number_Byte::real) is_real = true;
    }
    return pos;
}

} // namespace

Reader::Unexpected::Unexpected(char found, std::string_view context)
    : std::runtime_error(fmt::format("Unexpected '{}' character in {}.", found, context)) {}
Reader::Unexpected::Unexpected(std::string_view found, std::string_view context)
    : std::runtime_error(fmt::format("Unexpected '{}' string in {}.", found, context)) {}
Reader::Unexpected::~Unexpected() = default;

Reader::Reader() = default;
Reader::~Reader() = default;

Value Reader::take() {
    Value taken = std::move(result_);
    result_.variant().emplace<std::monostate>();
    return taken;
}

bool Reader::read_at(char const*& pos) {
    char const c = *pos++;
    switch (state_) {
    case State::string: return in_string(c);
    case State::escape: return after_backslash(c), false;
    case State::code_unit: return in_code_unit(c), false;
    case State::pair_backslash:
    case State::pair_u: return between_surrogates(c), false;
    case State::literal: return in_literal(c);
    case State::number:
        if (take_number(&c, &c + 1) != &c) return false;
        store_number(number_, number_is_real_);
        if (end_value()) {
            --pos;
            return true;
        }
        return between_tokens(c);
    default: return between_tokens(c);
    }
}

bool Reader::between_tokens(char c) {
    if (comment_ != Comment::none) return in_comment(c), false;
    if (detail::is_space(c)) return false;
    if (c == '/') return comment_ = Comment::slash, false;
    switch (state_) {
    case State::first_element:
        if (c != ']') return start_value(c), false;
        list_->clear();
        return close_container();
    case State::after_value: return list_ ? after_element(c) : after_member(c);
    case State::first_key:
        if (c == '}') return close_container();
        return start_key(c), false;
    case State::key: return start_key(c), false;
    case State::colon:
        if (c != ':') throw Unexpected(c, in_object);
        state_ = State::value;
        return false;
    default: return start_value(c), false;
    }
}

void Reader::in_comment(char c) {
    switch (comment_) {
    case Comment::slash:
        if (c != '/' && c != '*') throw Unexpected(c, in_comment_start);
        comment_ = c == '/' ? Comment::line : Comment::block;
        break;
    case Comment::line:
        if (c == '\n') comment_ = Comment::none;
        break;
    case Comment::block_star:
        if (c == '/') {
            comment_ = Comment::none;
            break;
        }
        [[fallthrough]];
    default: comment_ = c == '*' ? Comment::block_star : Comment::block;
    }
}

void Reader::start_value(char c) {
    switch (c) {
    case '"': return start_string(slot_->variant().emplace<std::string>());
    case '[': return open_list();
    case '{': return open_map();
    case 't': slot_->variant().emplace<Boolean>(true); return start_literal("rue", "'true' value");
    case 'f': slot_->variant().emplace<Boolean>(false); return start_literal("alse", "'false' value");
    case 'n': slot_->variant().emplace<std::monostate>(); return start_literal("ull", "'null' value");
    default:
        if (c != '-' && !detail::is_digit(c)) throw Unexpected(c, in_value);
        start_number();
        number_ += c;
    }
}

bool Reader::after_element(char c) {
    if (c == ']') return close_container();
    if (c != ',') throw Unexpected(c, in_array);
    next_element();
    return false;
}

void Reader::next_element() {
    slot_ = &list_->emplace_back();
    state_ = State::value;
}

bool Reader::after_member(char c) {
    if (c == '}') return close_container();
    if (c != ',') throw Unexpected(c, in_object);
    state_ = State::key;
    return false;
}

void Reader::start_key(char c) {
    if (c != '"') throw Unexpected(c, in_key);
    start_string(key_);
}

void Reader::start_string(std::string& target) {
    text_ = &target;
    state_ = State::string;
}

bool Reader::in_string(char c) {
    if (c == '"') return end_string();
    if (c == '\\')
        state_ = State::escape;
    else
        *text_ += c;
    return false;
}

bool Reader::end_string() {
    if (text_ != &key_) return end_value();
    enter_member(std::move(key_));
    key_.clear();
    return false;
}

template <typename Key>
void Reader::enter_member(Key&& key) {
    // Keys mostly come sorted, as they were written, so the end is the best guess.
    slot_ = &map_->emplace_hint(map_->end(), std::forward<Key>(key), Value())->second;
    state_ = State::colon;
}

void Reader::after_backslash(char c) {
    state_ = State::string;
    switch (c) {
    case '"':
    case '\\':
    case '/': *text_ += c; break;
    case 'b': *text_ += '\b'; break;
    case 'f': *text_ += '\f'; break;
    case 'n': *text_ += '\n'; break;
    case 'r': *text_ += '\r'; break;
    case 't': *text_ += '\t'; break;
    case 'u': return start_code_unit();
    default: throw Unexpected(c, in_string_value);
    }
}

void Reader::in_code_unit(char c) {
    std::uint32_t digit = 0;
    if (detail::is_digit(c))
        digit = static_cast<std::uint32_t>(c - '0');
    else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))
        digit = static_cast<std::uint32_t>((c | 0x20) - 'a' + 10);
    else
        throw Unexpected(c, in_string_value);
    unit_ = unit_ << 4 | digit;
    if (++unit_digits_ == 4) end_code_unit(c);
}

void Reader::end_code_unit(char last) {
    if (high_unit_ != 0) {
        std::uint32_t const pair = high_unit_ << 16 | unit_;
        if ((pair & 0xFC00FC00) != 0xD800DC00) throw Unexpected(last, in_pair);
        append_utf8(0x10000 + ((high_unit_ & 0x3FF) << 10 | (unit_ & 0x3FF)));
        high_unit_ = 0;
    } else if ((unit_ & 0xFC00) == 0xD800) {
        high_unit_ = unit_;
        state_ = State::pair_backslash;
        return;
    } else {
        append_utf8(unit_);
    }
    state_ = State::string;
}

void Reader::between_surrogates(char c) {
    bool const backslash = state_ == State::pair_backslash;
    if (c != (backslash ? '\\' : 'u')) throw Unexpected(c, in_pair);
    if (backslash)
        state_ = State::pair_u;
    else
        start_code_unit();
}

void Reader::start_code_unit() {
    unit_ = 0;
    unit_digits_ = 0;
    state_ = State::code_unit;
}

void Reader::append_utf8(std::uint32_t code_point) {
    auto const byte = [](std::uint32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    auto const tail = [&](int shift) { *text_ += byte(0x80 | (code_point >> shift & 0x3F)); };
    if (code_point < 0x80) {
        *text_ += byte(code_point);
    } else if (code_point < 0x800) {
        *text_ += byte(0xC0 | code_point >> 6);
        tail(0);
    } else if (code_point < 0x10000) {
        *text_ += byte(0xE0 | code_point >> 12);
        tail(6);
        tail(0);
    } else {
        *text_ += byte(0xF0 | code_point >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

void Reader::start_literal(char const* word, char const* context) {
    literal_ = word;
    literal_context_ = context;
    state_ = State::literal;
}

bool Reader::in_literal(char c) {
    if (c != *literal_) throw Unexpected(c, literal_context_);
    return *++literal_ == '\0' && end_value();
}

void Reader::start_number() {
    number_.clear();
    number_is_real_ = false;
    state_ = State::number;
}

void Reader::store_number(std::string_view text, bool is_real) {
    bool ok = false;
    if (is_real) {
        double value = 0;
        ok = convert(text, value);
        *slot_ = Value(value);
    } else if (text.front() == '-') {
        long long value = 0;
        ok = convert(text, value);
        slot_->variant().emplace<Number>(value);
    } else {
        unsigned long long value = 0;
        ok = convert(text, value);
        slot_->variant().emplace<Number>(value);
    }
    if (!ok) throw Unexpected(text, in_number);
}

bool Reader::end_value() {
    state_ = State::after_value;
    if (!open_.empty()) return false;
    slot_ = &result_;
    state_ = State::value;
    return true;
}

void Reader::open_list() {
    open_.push_back(slot_);
    list_ = &slot_->variant().emplace<List>();
    map_ = nullptr;
    slot_ = &list_->emplace_back();
    state_ = State::first_element;
}

void Reader::open_map() {
    open_.push_back(slot_);
    map_ = &slot_->variant().emplace<Map>();
    list_ = nullptr;
    state_ = State::first_key;
}

bool Reader::close_container() {
    open_.pop_back();
    Value* const outer = open_.empty() ? nullptr : open_.back();
    list_ = outer ? outer->get_if<List>() : nullptr;
    map_ = outer ? outer->get_if<Map>() : nullptr;
    return end_value();
}

// What follows takes whole runs of bytes, to the same effect as read_at() byte by byte. A run that is cut off
// by the end of the piece leaves its state in the members, like read_at() does.

std::optional<Value> Reader::read(char const*& pos, char const* end) {
    while (pos != end) {
        bool done = false;
        if (state_ <= State::colon && comment_ == Comment::none) {
            done = read_token(pos, end);
        } else {
            if (state_ == State::string) pos = take_text(pos, end);
            if (state_ == State::number) pos = take_number(pos, end);
            done = pos != end && read_at(pos);
        }
        if (done) return take();
    }
    return std::nullopt;
}

char const* Reader::take_text(char const* pos, char const* end) {
    char const* const stop = detail::end_of_plain_text(pos, end);
    text_->append(pos, stop);
    return stop;
}

char const* Reader::take_number(char const* pos, char const* end) {
    bool is_real = number_is_real_;
    char const* const stop = end_of_number(pos, end, is_real);
    number_is_real_ = is_real;
    number_.append(pos, stop);
    return stop;
}

bool Reader::read_token(char const*& pos, char const* end) {
    while (detail::is_space(*pos))
        if (++pos == end) return false;
    char const c = *pos;
    switch (state_) {
    case State::value:
    case State::first_element: return read_value(pos, end);
    case State::first_key:
    case State::key:
        if (c != '"') return read_at(pos);
        read_key(pos, end);
        return false;
    case State::after_value:
        if (c != ',' || !list_) return read_at(pos);
        ++pos;
        next_element();
        return false;
    default: return read_at(pos);
    }
}

bool Reader::read_value(char const*& pos, char const* end) {
    if (*pos == '"') return read_string(pos, end);
    if (*pos == '-' || detail::is_digit(*pos)) return read_number(pos, end);
    return read_at(pos);
}

bool Reader::read_string(char const*& pos, char const* end) {
    char const* const begin = pos + 1;
    pos = detail::end_of_plain_text(begin, end);
    start_string(slot_->variant().emplace<std::string>(begin, pos));
    if (pos == end || *pos != '"') return false;
    ++pos;
    return end_value();
}

bool Reader::read_number(char const*& pos, char const* end) {
    char const* const begin = pos;
    start_number();
    pos = end_of_number(begin, end, number_is_real_);
    if (pos == end) {
        number_.assign(begin, pos);
        return false;
    }
    store_number(std::string_view(begin, static_cast<std::size_t>(pos - begin)), number_is_real_);
    return end_value();
}

void Reader::read_key(char const*& pos, char const* end) {
    char const* const begin = pos + 1;
    pos = detail::end_of_plain_text(begin, end);
    if (pos == end || *pos != '"') {
        key_.assign(begin, pos);
        start_string(key_);
        return;
    }
    enter_member(std::string_view(begin, static_cast<std::size_t>(pos - begin)));
    ++pos;
    if (pos == end || *pos != ':') return;
    ++pos;
    state_ = State::value;
}

namespace {

Value complete(Reader& reader, std::optional<Value> value) {
    char const blank = ' ';
    char const* pos = &blank;
    if (!value && reader.read_at(pos)) value = reader.take();
    if (!value) throw std::runtime_error("Incomplete Json::Value read.");
    return std::move(*value);
}

} // namespace

std::optional<Value> Reader::read(std::istream& in) {
    using Traits = std::istream::traits_type;
    if (std::istream::sentry const ready(in, true); ready) {
        for (int next = detail::next_character(in); next != Traits::eof();
             next = detail::next_character(in)) {
            char const c = Traits::to_char_type(next);
            char const* pos = &c;
            if (!read_at(pos)) continue;
            if (pos == &c) in.unget();
            return take();
        }
    }
    char const blank = ' ';
    char const* pos = &blank;
    bool const done = read_at(pos);
    in.setstate(done ? std::ios_base::eofbit : std::ios_base::eofbit | std::ios_base::failbit);
    return done ? std::optional(take()) : std::nullopt;
}

Value parse(std::string const& text) {
    Reader reader;
    char const* pos = text.data();
    return complete(reader, reader.read(pos, pos + text.size()));
}

Value read(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios_base::binary);
    Reader reader;
    std::optional<Value> value;
    std::array<char, 1 << 16> piece;
    while (in && !value) {
        in.read(piece.data(), piece.size());
        char const* pos = piece.data();
        value = reader.read(pos, pos + in.gcount());
    }
    return complete(reader, std::move(value));
}

std::istream& operator>>(std::istream& in, Value& value) {
    std::optional<Value> read = Reader().read(in);
    if (!read) throw std::runtime_error("Incomplete Json::Value read.");
    value = std::move(*read);
    return in;
}

} // namespace JSON
