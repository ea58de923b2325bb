#include <vexa/props/xml_guard_internal.h>

#include <algorithm>
#include <charconv>
#include <vector>

#include <fmt/format.h>

#include <vexa/foundation/strings.h>
#include <vexa/props/VPropXmlParser.h>
#include <vexa/props/ticpp_internal.h>

namespace Vexa::props {
namespace {

constexpr std::string_view blanks = " \t\r\n";

bool is_blank(char c) { return blanks.find(c) != blanks.npos; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_ascii(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool starts_name(char c) { return is_letter(c) || c == '_' || !is_ascii(c); }
bool is_in_name(char c) { return starts_name(c) || is_digit(c) || c == '-' || c == '.' || c == ':'; }

// An escaped byte is the three-byte form of the code 0xDC00 + byte. Codes from there are no characters, so
// well-formed UTF-8 never has this form.
void append_escaped(std::string& out, char byte) {
    auto const b = static_cast<unsigned char>(byte);
    out.push_back('\xED');
    out.push_back(static_cast<char>(0xB0 | b >> 6));
    out.push_back(static_cast<char>(0x80 | (b & 0x3F)));
}

bool is_plain(char c) { return (c >= ' ' && c <= '~') || is_blank(c); }

bool must_be_escaped(wchar_t c) {
    bool const control = c < L' ' && !(c == L'\t' || c == L'\r' || c == L'\n');
    bool const raw_byte = c >= 0xDC00 && c <= 0xDFFF;
    return control || raw_byte || c == 0xFEFF || c == 0xFFFE || c == 0xFFFF;
}

/// Append characters that have no meaning as markup.
void append_clean(std::string& out, std::string_view piece) {
    if (std::all_of(piece.begin(), piece.end(), is_plain)) {
        out.append(piece);
        return;
    }
    for (wchar_t const c : vx::strings::detail::convert_encoding(piece)) {
        std::string const bytes = vx::strings::detail::convert_encoding(std::wstring_view(&c, 1));
        if (!must_be_escaped(c))
            out.append(bytes);
        else
            for (char const byte : bytes) append_escaped(out, byte);
    }
}

/// Append characters of which some may mean markup.
void append_text(std::string& out, std::string_view piece) {
    while (!piece.empty()) {
        std::size_t const special = std::min(piece.find_first_of("&<\""), piece.size());
        append_clean(out, piece.substr(0, special));
        if (special == piece.size()) return;
        out.append(piece[special] == '&' ? "&amp;" : piece[special] == '<' ? "&lt;" : "&quot;");
        piece.remove_prefix(special + 1);
    }
}

class Guard {
public:
    explicit Guard(std::string_view text) : text_(text) {}

    std::string run() {
        if (text_.size() > VPropXmlParser::largest_text) fail("The text is too large.");
        out_.reserve(text_.size());
        skip("\xEF\xBB\xBF");
        while (at_ < text_.size()) text_[at_] == '<' ? markup() : characters();
        if (!open_.empty()) fail(fmt::format("Element '{}' has no end.", open_.back()));
        if (!has_root_) fail("There is no element.");
        return std::move(out_);
    }

private:
    [[noreturn]] void fail(std::string_view description) const {
        auto const before = text_.substr(0, at_);
        auto const line = 1 + std::count(before.begin(), before.end(), '\n');
        std::size_t const last = before.rfind('\n');
        std::size_t const column = at_ - (last == before.npos ? 0 : last + 1) + 1;
        throw ticpp::Exception(
            "Could not parse xml text." +
            ticpp::BuildDetailedErrorString(description, static_cast<std::size_t>(line), column));
    }

    bool at(std::string_view what) const { return text_.substr(at_, what.size()) == what; }

    bool skip(std::string_view what) {
        if (!at(what)) return false;
        at_ += what.size();
        return true;
    }

    void skip_blanks() { at_ = std::min(text_.find_first_not_of(blanks, at_), text_.size()); }

    /// Take everything up to \p end, and \p end.
    std::string_view take_until(std::string_view end, std::string_view unclosed) {
        std::size_t const stop = text_.find(end, at_);
        if (stop == text_.npos) fail(unclosed);
        std::string_view const taken = text_.substr(at_, stop - at_);
        at_ = stop + end.size();
        return taken;
    }

    std::string_view take_name() {
        std::size_t const begin = at_;
        if (at_ < text_.size() && starts_name(text_[at_]))
            while (at_ < text_.size() && is_in_name(text_[at_])) ++at_;
        if (at_ == begin) fail("A name is missing.");
        return text_.substr(begin, at_ - begin);
    }

    void markup() {
        if (skip("<!--")) {
            take_until("-->", "A comment has no end.");
        } else if (skip("<![CDATA[")) {
            if (open_.empty()) fail("Text stands outside of the root element.");
            append_text(content_, take_until("]]>", "A CDATA section has no end."));
        } else if (skip("<?")) {
            take_until("?>", "A processing instruction has no end.");
        } else if (skip("<!")) {
            if (take_until(">", "A document type has no end.").find('[') != text_.npos)
                fail("A document type with declarations of its own is not supported.");
        } else if (skip("</")) {
            end_tag();
        } else {
            ++at_;
            start_tag();
        }
    }

    void characters() {
        std::size_t const stop = std::min(text_.find_first_of("<&", at_), text_.size());
        std::string_view const piece = text_.substr(at_, stop - at_);
        if (open_.empty() && (piece.find_first_not_of(blanks) != piece.npos || stop == at_))
            fail("Text stands outside of the root element.");
        if (!open_.empty()) append_text(content_, piece);
        at_ = stop;
        if (at_ < text_.size() && text_[at_] == '&') reference(content_);
    }

    /// Take what stands at an '&'. Entities without a known name are text.
    void reference(std::string& out) {
        ++at_;
        if (skip("#")) return append_text(out, numbered_character());
        for (char const* known : {"amp;", "lt;", "gt;", "quot;", "apos;"}) {
            if (!skip(known)) continue;
            out.append("&").append(known);
            return;
        }
        out.append("&amp;");
    }

    std::string numbered_character() {
        int const base = skip("x") ? 16 : 10;
        unsigned long value = 0;
        char const* const end = text_.data() + text_.size();
        auto const [stop, error] = std::from_chars(text_.data() + at_, end, value, base);
        bool const surrogate = value >= 0xD800 && value <= 0xDFFF;
        if (error != std::errc() || stop == end || *stop != ';' || value > 0x10FFFF || surrogate)
            fail("A character reference is invalid.");
        at_ = static_cast<std::size_t>(stop - text_.data()) + 1;
        auto const c = static_cast<wchar_t>(value);
        return vx::strings::to_utf8(std::wstring_view(&c, 1));
    }

    /// Put out the text collected since the last tag.
    void flush_content(bool whole_element) {
        bool const blank = content_.find_first_not_of(blanks) == content_.npos;
        if (blank && whole_element)
            for (char const c : content_) append_escaped(out_, c);
        else
            out_.append(content_);
        content_.clear();
    }

    void count() {
        if (++count_ > VPropXmlParser::largest_count) fail("There are too many elements and attributes.");
    }

    void start_tag() {
        if (open_.empty() && has_root_) fail("There is more than one root element.");
        std::string_view const name = take_name();
        if (open_.size() >= VPropXmlParser::largest_depth)
            fail(fmt::format("Elements are nested more than {} levels deep.", VPropXmlParser::largest_depth));
        has_root_ = true;
        count();
        flush_content(false);
        out_.push_back('<');
        append_clean(out_, name);
        attributes();
        bool const closed = skip("/>");
        if (!closed && !skip(">")) fail("A tag has no end.");
        out_.append(closed ? "/>" : ">");
        if (!closed) open_.push_back(name);
        childless_ = !closed;
    }

    void attributes() {
        std::vector<std::string_view> names;
        for (skip_blanks(); at_ < text_.size() && starts_name(text_[at_]); skip_blanks()) {
            std::string_view const name = take_name();
            if (std::find(names.begin(), names.end(), name) != names.end())
                fail(fmt::format("Attribute '{}' is given twice.", name));
            if (names.size() == VPropXmlParser::largest_attribute_count)
                fail("There are too many attributes.");
            names.push_back(name);
            count();
            skip_blanks();
            if (!skip("=")) fail("An attribute has no value.");
            skip_blanks();
            out_.push_back(' ');
            append_clean(out_, name);
            attribute_value();
        }
    }

    void attribute_value() {
        bool const single = at("'");
        if (!single && !at("\"")) fail("An attribute value is not quoted.");
        ++at_;
        std::string_view const quote = single ? "'" : "\"";
        std::size_t const stop = text_.find(quote, at_);
        if (stop == text_.npos) fail("An attribute value has no end.");
        out_.append("=\"");
        while (at_ < stop) {
            std::string_view const rest = text_.substr(at_, stop - at_);
            std::size_t const plain = std::min(rest.find('&'), rest.size());
            append_text(out_, rest.substr(0, plain));
            at_ += plain;
            if (at_ < stop) reference(out_);
        }
        ++at_;
        out_.push_back('"');
    }

    void end_tag() {
        std::string_view const name = take_name();
        skip_blanks();
        if (!skip(">")) fail("A tag has no end.");
        if (open_.empty() || open_.back() != name)
            fail(fmt::format("There is no element '{}' to end.", name));
        flush_content(childless_);
        out_.append("</");
        append_clean(out_, name);
        out_.push_back('>');
        open_.pop_back();
        childless_ = false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string out_;
    std::string content_;                ///< in its rewritten form
    std::vector<std::string_view> open_; ///< the names of the open elements
    bool childless_ = false;             ///< the innermost open element has had no child so far
    bool has_root_ = false;
    unsigned long count_ = 0;
};

} // namespace

std::string guard_xml(std::string_view text) {
    // Texts from fixed-size fields end in zero bytes.
    while (!text.empty() && text.back() == '\0') text.remove_suffix(1);
    return Guard(text).run();
}

std::string restore_bytes(std::string text) {
    std::size_t to = 0;
    for (std::size_t from = 0; from < text.size(); ++from, ++to) {
        auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
        if (byte(from) == 0xED && from + 2 < text.size() && byte(from + 1) >= 0xB0 &&
            byte(from + 1) <= 0xB3) {
            text[to] = static_cast<char>((byte(from + 1) & 0x03) << 6 | (byte(from + 2) & 0x3F));
            from += 2;
        } else {
            text[to] = text[from];
        }
    }
    text.resize(to);
    return text;
}

bool is_xml_name(std::string_view name) {
    return !name.empty() && starts_name(name[0]) && std::all_of(name.begin(), name.end(), is_in_name);
}

} // namespace Vexa::props
