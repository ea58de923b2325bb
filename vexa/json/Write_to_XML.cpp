#include <vexa/json/Write_to_XML.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include <vexa/json/Writer.h>
#include <vexa/json/fetch_internal.h>
#include <vexa/json/scan_internal.h>
#include <vexa/json/text_buffer_internal.h>

namespace JSON {

namespace {

constexpr std::size_t longest_reference = 6;

std::string_view reference_to(char c) {
    switch (c) {
    case '"': return "&quot;";
    case '&': return "&amp;";
    case '\'': return "&apos;";
    case '<': return "&lt;";
    default: return "&gt;";
    }
}

/// Write \p text with references to \p to, where there is room for nothing but references.
/// \return behind the output
char* escape(std::string_view text, char* to) {
    char const* pos = text.data();
    char const* const end = pos + text.size();
    while (true) {
        char const* const stop = detail::end_of_unescaped_xml(pos, end);
        to = detail::copy_text({pos, static_cast<std::size_t>(stop - pos)}, to);
        if (stop == end) return to;
        to = detail::copy_text(reference_to(*stop), to);
        pos = stop + 1;
    }
}

/// Writes one document.
class XML_Writer {
public:
    /// \param order null for the order of the names
    explicit XML_Writer(std::ostream& stream, XML_Order order = nullptr) : buffer_(&stream), order_(order) {}

    void document(Value const& value);

private:
    /// An element whose children are being written, and where this has come to.
    struct Open_Element {
        Open_Element(std::string_view its_name, Map const& all, std::span<std::string_view const> names)
            : name(its_name), children(&all), order(names), other(all.begin()), entry(all.end()) {
            advance();
        }
        bool at_end() const { return entry == children->end(); }
        /// Go on to the next entry: first to those that the order names, then to the others.
        void advance();

        std::string_view name;
        Map const* children;
        std::span<std::string_view const> order;
        std::size_t named = 0;     ///< how many names of the order have had their turn
        Map::const_iterator other; ///< the first entry that may come when they all have
        Map::const_iterator entry;
        List const* list = nullptr; ///< the elements of the entry, or null in front of it
        List::const_iterator item{};
    };

    void element(std::string_view name, Value const& value);
    void attributes(Map const& all, Map::const_iterator first);
    void content(std::string_view name, Value const& value);
    void next();
    void end_tag(std::string_view name);
    void escaped(Value const& value, char const* context);
    void number(Number const& value);
    void text(std::string_view text);
    template <typename... Parts>
    void add(Parts const&... parts) {
        (buffer_.add(parts), ...);
    }
    [[noreturn]] void refuse(std::string_view what, Value const& value);

    detail::Text_Buffer buffer_;
    XML_Order order_;
    std::vector<Open_Element> open_;
};

void XML_Writer::Open_Element::advance() {
    auto const end = children->end();
    list = nullptr;
    while (named < order.size()) {
        entry = children->find(order[named++]);
        if (entry != end) return;
    }
    while (other != end && std::find(order.begin(), order.end(), other->first) != order.end()) ++other;
    entry = other;
    if (other != end) ++other;
}

void XML_Writer::document(Value const& value) {
    Map const* const root = value.get_if<Map>();
    List const* const list = root && root->size() == 1 ? root->begin()->second.get_if<List>() : nullptr;
    if (!list || list->size() != 1) refuse("XML root element", value);
    add(R"(<?xml version="1.0" encoding="UTF-8"?>)");
    element(root->begin()->first, list->front());
    while (!open_.empty()) next();
    buffer_.flush();
}

void XML_Writer::element(std::string_view name, Value const& value) {
    Map const* const all = value.get_if<Map>();
    if (!all) refuse("XML element", value);
    add('<', name);
    // The content has the empty key, which comes before all others.
    bool const has_content = !all->empty() && all->begin()->first.empty();
    attributes(*all, has_content ? std::next(all->begin()) : all->begin());
    if (has_content)
        content(name, all->begin()->second);
    else
        add("/>");
}

void XML_Writer::attributes(Map const& all, Map::const_iterator first) {
    for (; first != all.end(); ++first) {
        add(' ', first->first, "=\"");
        escaped(first->second, "XML attribute");
        add('"');
    }
}

void XML_Writer::content(std::string_view name, Value const& value) {
    Map const* const children = value.get_if<Map>();
    if (children && children->empty()) return add("/>");
    add('>');
    if (children) {
        open_.emplace_back(name, *children, order_ ? order_(name) : std::span<std::string_view const>());
    } else {
        escaped(value, "XML content");
        end_tag(name);
    }
}

/// Go on by one step in the innermost open element.
void XML_Writer::next() {
    Open_Element& open = open_.back();
    if (open.at_end()) {
        end_tag(open.name);
        open_.pop_back();
    } else if (!open.list) {
        open.list = open.entry->second.get_if<List>();
        if (!open.list) refuse("array of XML elements", open.entry->second);
        open.item = open.list->begin();
    } else if (open.item == open.list->end()) {
        open.advance();
    } else {
        Value const& current = *open.item++;
        if (open.item != open.list->end()) detail::fetch_ahead(*open.item);
        element(open.entry->first, current); // may open another element, which moves this one
    }
}

void XML_Writer::end_tag(std::string_view name) { add("</", name, '>'); }

void XML_Writer::escaped(Value const& value, char const* context) {
    if (auto const* string = value.get_if<std::string>())
        text(*string);
    else if (auto const* held = value.get_if<Number>())
        number(*held);
    else if (auto const* boolean = value.get_if<Boolean>())
        add(static_cast<bool>(*boolean) ? "true" : "false");
    else
        refuse(context, value);
}

void XML_Writer::number(Number const& value) {
    std::visit(
        [this](auto held) {
            if constexpr (std::is_same_v<decltype(held), double>) {
                // Not from a constructor of Value, but it can come by calculating in place.
                if (!std::isfinite(held)) return text(Value(held).get<std::string>());
            }
            buffer_.add_number(held);
        },
        value.variant());
}

void XML_Writer::text(std::string_view text) {
    if (text == "Infinity") return add("INF");
    if (text == "-Infinity") return add("-INF");
    constexpr std::size_t longest_piece = detail::Text_Buffer::most_room / longest_reference;
    for (; text.size() > longest_piece; text.remove_prefix(longest_piece))
        buffer_.wrote(escape(text.substr(0, longest_piece), buffer_.room(detail::Text_Buffer::most_room)));
    buffer_.wrote(escape(text, buffer_.room(longest_reference * text.size())));
}

void XML_Writer::refuse(std::string_view what, Value const& value) {
    buffer_.flush();
    throw std::invalid_argument(fmt::format("Invalid {}: {}", what, dump(value, false)));
}

} // namespace

void write_to_XML(Value const& value, std::ostream& os) { XML_Writer(os).document(value); }

void write_to_XML(Value const& value, std::ostream& os, XML_Order order) {
    XML_Writer(os, order).document(value);
}

} // namespace JSON
