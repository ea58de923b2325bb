#include <vexa/json/Writer.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <ostream>
#include <vector>

#include <fmt/format.h>

#include <vexa/foundation/strings.h>
#include <vexa/json/scan_internal.h>

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

/// Builds the text in a buffer, which goes to the stream, if there is one, piece by piece.
class Text {
public:
    Text(std::ostream* stream, int& indent, bool compact)
        : stream_(stream), indent_(indent), compact_(compact) {}

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
    std::string take() { return std::move(buffer_); }
    void flush() {
        if (stream_) stream_->write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        buffer_.clear();
    }

private:
    static constexpr std::size_t piece = 1 << 16;

    void begin(Value const& value);
    template <typename Container>
    void open(Container const& container) {
        buffer_ += std::is_same_v<Container, List> ? '[' : '{';
        open_.emplace_back(container);
        indent_ += 2;
    }
    void finish_open();
    void next(Open_Container& current);
    void close();
    void new_line() {
        buffer_ += '\n';
        buffer_.append(static_cast<std::size_t>(std::max(indent_, 0)), ' ');
    }
    void number(Number const& number);
    void real(double value);
    template <typename T>
    void integer(T value) {
        char digits[24];
        buffer_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    }
    void escaped(char c);

    std::ostream* stream_;
    int& indent_;
    bool compact_;
    std::string buffer_;
    std::vector<Open_Container> open_;
};

void Text::begin(Value const& value) {
    if (auto const* text = value.get_if<std::string>())
        string(*text);
    else if (auto const* number_value = value.get_if<Number>())
        number(*number_value);
    else if (auto const* map = value.get_if<Map>())
        open(*map);
    else if (auto const* list = value.get_if<List>())
        open(*list);
    else if (auto const* boolean = value.get_if<Boolean>())
        buffer_ += static_cast<bool>(*boolean) ? "true" : "false";
    else
        buffer_ += "null";
}

void Text::finish_open() {
    while (!open_.empty()) {
        if (open_.back().at_end())
            close();
        else
            next(open_.back());
        if (stream_ && buffer_.size() >= piece) flush();
    }
}

void Text::next(Open_Container& current) {
    if (!current.at_begin()) buffer_ += ',';
    if (!compact_) new_line();
    // begin() may open another container, which moves the current one.
    if (current.list) {
        begin(*current.element++);
    } else {
        auto const& [key, value] = *current.member++;
        string(key);
        buffer_ += compact_ ? ":" : " : ";
        begin(value);
    }
}

void Text::close() {
    Open_Container const& closing = open_.back();
    indent_ -= 2;
    if (!compact_ && !closing.at_begin()) new_line();
    buffer_ += closing.list ? ']' : '}';
    open_.pop_back();
}

void Text::string(std::string_view text) {
    buffer_ += '"';
    char const* pos = text.data();
    char const* const end = pos + text.size();
    while (true) {
        char const* const stop = detail::end_of_unescaped(pos, end);
        buffer_.append(pos, stop);
        if (stop == end) break;
        escaped(*stop);
        pos = stop + 1;
    }
    buffer_ += '"';
}

void Text::escaped(char c) {
    switch (c) {
    case '"':
    case '\\': (buffer_ += '\\') += c; break;
    case '\b': buffer_ += "\\b"; break;
    case '\t': buffer_ += "\\t"; break;
    case '\n': buffer_ += "\\n"; break;
    case '\f': buffer_ += "\\f"; break;
    case '\r': buffer_ += "\\r"; break;
    default: buffer_ += fmt::format("\\u{:04x}", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
}

void Text::number(Number const& number) {
    std::visit(
        [this](auto value) {
            if constexpr (std::is_same_v<decltype(value), double>)
                real(value);
            else
                integer(value);
        },
        number.variant());
}

void Text::real(double value) {
    // Not from a constructor of Value, but it can come by calculating in place.
    if (!std::isfinite(value)) return begin(Value(value));
    char digits[32];
    char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    // Without a point or an exponent the text would read as an integer, and these have none of 64 bits.
    bool const beyond_integers = value >= 0x1p64 || value < -0x1p63;
    if (beyond_integers && std::string_view(digits, end).find('e') == std::string_view::npos)
        end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific).ptr;
    buffer_.append(digits, end);
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
