#include <vexa/json/Writer.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include <vexa/foundation/strings.h>
#include <vexa/json/scan_internal.h>
#include <vexa/json/text_buffer_internal.h>

namespace JSON {

namespace {

/// A container that is being written, and what comes next in it.
struct Open_Container {
    List const* list = nullptr;
    Map const* map = nullptr;
    List::const_iterator element{};
    Map::const_iterator member{};

    explicit Open_Container(List const& l) : list(&l), element(l.begin()) {}
    explicit Open_Container(Map const& m) : map(&m), member(m.begin()) {}

    bool at_begin() const { return list ? element == list->begin() : member == map->begin(); }
    bool at_end() const { return list ? element == list->end() : member == map->end(); }
};

/// Builds the text of values.
class Text {
public:
    Text(std::ostream* stream, int& indent, bool compact)
        : indent_(indent), compact_(compact), buffer_(stream) {}

    void value(Value const& value) {
        begin(value);
        finish_open();
    }
    template <typename Container>
    void container(Container const& container) {
        open(container);
        finish_open();
    }
    void string(std::string_view text);
    std::string take() { return buffer_.take(); }
    void flush() { buffer_.flush(); }

private:
    void begin(Value const& value);
    template <typename Container>
    void open(Container const& container) {
        buffer_.add(std::is_same_v<Container, List> ? '[' : '{');
        open_.emplace_back(container);
        indent_ += 2;
    }
    void finish_open();
    void next();
    void close();
    void new_line() {
        buffer_.add('\n');
        buffer_.add_blanks(static_cast<std::size_t>(std::max(indent_, 0)));
    }
    void number(Number const& number);
    void real(double value);
    void escaped(char c);

    int& indent_;
    bool compact_;
    detail::Text_Buffer buffer_;
    std::vector<Open_Container> open_;
};

void Text::begin(Value const& value) {
    std::visit(
        [this](auto const& held) {
            using T = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<T, std::string>)
                string(held);
            else if constexpr (std::is_same_v<T, Number>)
                number(held);
            else if constexpr (std::is_same_v<T, Boolean>)
                buffer_.add(static_cast<bool>(held) ? "true" : "false");
            else if constexpr (std::is_same_v<T, std::monostate>)
                buffer_.add("null");
            else
                open(held);
        },
        value.variant());
}

void Text::finish_open() {
    while (!open_.empty()) {
        if (open_.back().at_end())
            close();
        else
            next();
    }
}

void Text::next() {
    Open_Container& current = open_.back();
    if (!current.at_begin()) buffer_.add(',');
    if (!compact_) new_line();
    // begin() may open another container, which moves the current one.
    if (current.list) {
        begin(*current.element++);
    } else {
        auto const& [key, value] = *current.member++;
        string(key);
        buffer_.add(compact_ ? ":" : " : ");
        begin(value);
    }
}

void Text::close() {
    Open_Container const& closing = open_.back();
    indent_ -= 2;
    if (!compact_ && !closing.at_begin()) new_line();
    buffer_.add(closing.list ? ']' : '}');
    open_.pop_back();
}

void Text::string(std::string_view text) {
    buffer_.add('"');
    char const* pos = text.data();
    char const* const end = pos + text.size();
    while (true) {
        char const* const stop = detail::end_of_unescaped(pos, end);
        buffer_.add(std::string_view(pos, static_cast<std::size_t>(stop - pos)));
        if (stop == end) break;
        escaped(*stop);
        pos = stop + 1;
    }
    buffer_.add('"');
}

void Text::escaped(char c) {
    switch (c) {
    case '"': return buffer_.add("\\\"");
    case '\\': return buffer_.add("\\\\");
    case '\b': return buffer_.add("\\b");
    case '\t': return buffer_.add("\\t");
    case '\n': return buffer_.add("\\n");
    case '\f': return buffer_.add("\\f");
    case '\r': return buffer_.add("\\r");
    default: buffer_.add(fmt::format("\\u{:04x}", static_cast<unsigned>(static_cast<unsigned char>(c))));
    }
}

void Text::number(Number const& number) {
    std::visit(
        [this](auto value) {
            if constexpr (std::is_same_v<decltype(value), double>)
                real(value);
            else
                buffer_.add_number(value);
        },
        number.variant());
}

void Text::real(double value) {
    // Not from a constructor of Value, but it can come by calculating in place.
    if (!std::isfinite(value)) return begin(Value(value));
    char* const digits = buffer_.room(detail::Text_Buffer::longest_number);
    char* const limit = digits + detail::Text_Buffer::longest_number;
    char* end = std::to_chars(digits, limit, value).ptr;
    // Without a point or an exponent the text would read as an integer, and these have none of 64 bits.
    bool const beyond_integers = value >= 0x1p64 || value < -0x1p63;
    if (beyond_integers && std::find(digits, end, 'e') == end)
        end = std::to_chars(digits, limit, value, std::chars_format::scientific).ptr;
    buffer_.wrote(end);
}

} // namespace

Writer::Writer(std::ostream& stream, int start_indent, bool is_compact)
    : output(stream), indent(start_indent), compact(is_compact) {}

void Writer::operator()(Value const& value) {
    Text text(&output, indent, compact);
    text.value(value);
    text.flush();
}

void Writer::operator()(std::string const& string) {
    Text text(&output, indent, compact);
    text.string(string);
    text.flush();
}

void Writer::operator()(List const& list) {
    Text text(&output, indent, compact);
    text.container(list);
    text.flush();
}

void Writer::operator()(Map const& map) {
    Text text(&output, indent, compact);
    text.container(map);
    text.flush();
}

std::ostream& operator<<(std::ostream& out, Value const& value) {
    Writer(out, 0, (out.flags() & std::ios_base::skipws) != 0)(value);
    return out;
}

std::string dump(Value const& value, bool pretty) {
    int indent = 0;
    Text text(nullptr, indent, !pretty);
    text.value(value);
    return text.take();
}

void write(Value const& value, std::filesystem::path const& path) {
    std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
    if (out) out << value;
    out.close();
    if (!out)
        throw std::runtime_error(fmt::format("Cannot write JSON file '{}'.", vx::strings::to_utf8(path)));
}

} // namespace JSON
