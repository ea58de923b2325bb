#include "import_XML.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <map>
#include <set>
#include <stdexcept>

#include <fmt/format.h>
#include <iconv.h>

#include "identifiers.h"
#include "number_text.h"
#include "parser.h"

namespace OME {

namespace {

constexpr std::string_view header = R"(<?xml version="1.0" encoding="UTF-8"?>)";

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_plain_in_names(char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
}

/// The first character of valid UTF-8, which is cut off.
std::uint32_t take_code_point(std::string_view& text) {
    auto const byte = [&text](std::size_t i) { return static_cast<std::uint32_t>(text[i]) & 0xFF; };
    std::size_t const size = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    std::uint32_t code = size == 1 ? byte(0) : byte(0) & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) code = code << 6 | (byte(i) & 0x3F);
    text.remove_prefix(size);
    return code;
}

/// A name of the characters that the reader takes, but for \p also, which stays.
std::string plain_name(std::string_view name, char also) {
    std::string result;
    while (!name.empty()) {
        char const c = name.front();
        if (is_plain_in_names(c) || c == also) {
            result += c;
            name.remove_prefix(1);
        } else {
            result += fmt::format("_x{:04X}_", take_code_point(name));
        }
    }
    return result;
}

std::string element_name(std::string_view name) {
    auto const colon = name.find(':');
    if (colon != std::string_view::npos && colon + 1 < name.size()) name.remove_prefix(colon + 1);
    std::string result = plain_name(name, '_');
    if (!is_letter(result.front()) && result.front() != '_') result.insert(0, 1, '_');
    return result;
}

std::string attribute_name(std::string_view name) {
    std::string result = plain_name(name, ':');
    if (!is_letter(result.front())) result.insert(0, 1, 'x');
    return result;
}

bool is_blank(std::string_view text) { return text.find_first_not_of(" \t\n\r") == std::string_view::npos; }

void append_escaped(std::string& out, std::string_view text) {
    for (auto at = text.find_first_of("\"&'<>"); at != std::string_view::npos;
         at = text.find_first_of("\"&'<>")) {
        out += text.substr(0, at);
        switch (text[at]) {
        case '"': out += "&quot;"; break;
        case '&': out += "&amp;"; break;
        case '\'': out += "&apos;"; break;
        case '<': out += "&lt;"; break;
        default: out += "&gt;";
        }
        text.remove_prefix(at + 1);
    }
    out += text;
}

/// Fill the table of an encoding in which each byte is a character.
bool describe_encoding(char const* name, std::array<int, 256>& codes) {
    iconv_t const converter = iconv_open("UTF-32LE", name);
    if (converter == iconv_t(-1)) return false;
    bool single = true;
    for (int byte = 0; byte < 256; ++byte) {
        char in = static_cast<char>(byte);
        std::uint32_t code = 0;
        char* from = &in;
        char* to = reinterpret_cast<char*>(&code);
        std::size_t from_left = 1, to_left = sizeof code;
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        bool const converted = iconv(converter, &from, &from_left, &to, &to_left) != std::size_t(-1);
        if (!converted && errno == EINVAL) single = false; // the first byte of several
        codes[static_cast<std::size_t>(byte)] = converted && to_left == 0 ? static_cast<int>(code) : -1;
    }
    iconv_close(converter);
    return single;
}

/// Elements of older releases that wrap one of those behind them, which bears the identifier now.
std::map<std::string_view, std::set<std::string_view>> const wrappers = {
    {"LightSource", {"Laser", "Arc", "Filament", "LightEmittingDiode", "GenericExcitationSource"}},
    {"Shape", {"Rectangle", "Mask", "Point", "Ellipse", "Line", "Polyline", "Polygon", "Label"}}};

/// One document on its way through the parser. What the functions throw waits until the parser has returned.
class Import {
public:
    explicit Import(std::vector<std::string>* dropped)
        : dropped_(dropped), parser_(owned(XML_ParserCreate(nullptr))) {
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), &on_start, &on_end);
        XML_SetCharacterDataHandler(parser_.get(), &on_text);
        XML_SetStartDoctypeDeclHandler(parser_.get(), &on_document_type);
        XML_SetSkippedEntityHandler(parser_.get(), &on_skipped_entity);
        XML_SetUnknownEncodingHandler(parser_.get(), &on_encoding, nullptr);
    }

    std::string run(std::string_view text) {
        out_ = header;
        if (!parse(parser_.get(), text)) fail();
        put_used_instrument_first();
        return std::move(out_);
    }

private:
    [[noreturn]] void fail() {
        if (failure_) std::rethrow_exception(failure_);
        std::string const reason =
            refusal_.empty() ? XML_ErrorString(XML_GetErrorCode(parser_.get())) : refusal_;
        throw std::runtime_error(fmt::format("Cannot import XML, line {}, column {}: {}",
                                             XML_GetCurrentLineNumber(parser_.get()),
                                             XML_GetCurrentColumnNumber(parser_.get()) + 1, reason));
    }

    void refuse(std::string reason) {
        refusal_ = std::move(reason);
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    template <typename Action>
    static void guarded(void* self, Action action) {
        Import& import = *static_cast<Import*>(self);
        if (import.failure_ || !import.refusal_.empty()) return;
        try {
            action(import);
        } catch (...) {
            import.failure_ = std::current_exception();
            XML_StopParser(import.parser_.get(), XML_FALSE);
        }
    }

    static void on_start(void* self, char const* name, char const** attributes) {
        guarded(self, [&](Import& import) { import.start(name, attributes); });
    }
    static void on_end(void* self, char const* name) {
        guarded(self, [&](Import& import) { import.end(name); });
    }
    static void on_text(void* self, char const* text, int size) {
        guarded(self, [&](Import& import) { import.text_.append(text, static_cast<std::size_t>(size)); });
    }
    static void on_document_type(void* self, char const*, char const*, char const*, int has_declarations) {
        guarded(self, [&](Import& import) {
            if (has_declarations) import.refuse("declarations in the document type are not supported");
        });
    }
    static void on_skipped_entity(void* self, char const* name, int) {
        guarded(self, [&](Import& import) { import.refuse(fmt::format("undefined entity &{};", name)); });
    }
    static int on_encoding(void*, char const* name, XML_Encoding* encoding) {
        std::array<int, 256> codes{};
        if (!describe_encoding(name, codes)) return XML_STATUS_ERROR;
        std::copy(codes.begin(), codes.end(), encoding->map);
        encoding->data = nullptr;
        encoding->convert = nullptr;
        encoding->release = nullptr;
        return XML_STATUS_OK;
    }

    struct Open_Element {
        std::string name;
        std::string id;
        std::size_t place = 0;  ///< of its start tag in the output
        bool is_of_OME = false; ///< whether the schema knows it, which it doesn't for contents of annotations
        bool has_children = false;
        std::set<std::string> attributes; ///< if it can be a wrapper
        bool is_merged = false;           ///< whether the element around it has become this one
    };

    void start(char const* name, char const** attributes) {
        Open_Element element;
        element.name = element_name(name);
        element.place = out_.size();
        if (open_.empty()) {
            is_OME_ = element.is_of_OME = element.name == "OME";
        } else {
            element.is_of_OME = has_children_of_OME();
            drop_text(open_.back().name);
            element.is_merged = can_become(open_.back(), element.name, attributes);
            open_.back().has_children = true;
        }
        if (element.is_merged) {
            rename(open_.back(), element.name);
            out_.pop_back();
            element.has_children = true; // its text is beside those of the other
        } else {
            out_ += '<';
            out_ += element.name;
        }
        open_.push_back(std::move(element));
        add_attributes(attributes);
        out_ += '>';
    }

    /// Whether the innermost element has children that the schema knows.
    bool has_children_of_OME() const {
        if (!open_.back().is_of_OME) return false;
        bool const is_in_annotation = open_.size() > 1 && open_[open_.size() - 2].name == "XMLAnnotation";
        return !(is_in_annotation && open_.back().name == "Value");
    }

    /// Whether an element of older releases is but a wrapper of its first child, which has no attribute of the
    /// same name.
    bool can_become(Open_Element const& wrapper, std::string const& child, char const** attributes) const {
        auto const wrapped = wrappers.find(wrapper.name);
        if (wrapped == wrappers.end() || !wrapped->second.contains(child)) return false;
        if (!wrapper.is_of_OME || wrapper.has_children) return false;
        for (char const** attribute = attributes; *attribute; attribute += 2)
            if (wrapper.attributes.contains(attribute_name(attribute[0]))) return false;
        return true;
    }

    void rename(Open_Element& element, std::string const& name) {
        out_.replace(element.place + 1, element.name.size(), name);
        element.name = name;
    }

    void add_attributes(char const** attributes) {
        std::vector<std::string> names;
        bool changed = false;
        for (char const** attribute = attributes; *attribute; attribute += 2) {
            names.push_back(attribute_name(attribute[0]));
            changed = changed || names.back() != attribute[0];
            out_ += ' ';
            out_ += names.back();
            out_ += "=\"";
            append_escaped(out_, plain_value(names.back(), attribute[1]));
            out_ += '"';
        }
        if (wrappers.contains(open_.back().name)) open_.back().attributes.insert(names.begin(), names.end());
        if (changed && std::set<std::string>(names.begin(), names.end()).size() != names.size())
            refuse("attribute names that become the same");
    }

    /// The value of an attribute of the innermost element in the form that Root reads.
    std::string plain_value(std::string const& name, std::string const& value) {
        if (!is_OME_) return value;
        bool const is_of_OME = open_.back().is_of_OME;
        if (!holds_identifier(name)) return std::string(is_of_OME ? plain_number_text(name, value) : value);
        bool const has_word = is_of_OME && name == "ID";
        std::string const& form =
            identifiers_.in_form(value, has_word ? identifier_word(open_.back().name) : "");
        if (has_word) note_identifier(form);
        return form;
    }

    void note_identifier(std::string const& id) {
        open_.back().id = id;
        bool const is_first_reference = open_.back().name == "InstrumentRef" && used_instrument_.empty();
        if (is_first_reference && open_[open_.size() - 2].name == "Image") used_instrument_ = id;
    }

    struct Instrument {
        std::string id;
        std::size_t begin = 0, end = 0; ///< in the output
    };

    /// Root takes light sources and the like from the first instrument only, whichever the images refer to.
    void put_used_instrument_first() {
        auto const used = std::find_if(instruments_.begin(), instruments_.end(),
                                       [this](Instrument const& one) { return one.id == used_instrument_; });
        if (used == instruments_.end()) return;
        auto const place = [this](std::size_t offset) {
            return out_.begin() + static_cast<std::ptrdiff_t>(offset);
        };
        std::rotate(place(instruments_.front().begin), place(used->begin), place(used->end));
    }

    void end(char const*) {
        if (open_.back().has_children)
            drop_text(open_.back().name);
        else if (!is_blank(text_))
            append_escaped(out_, text_);
        text_.clear();
        if (!open_.back().is_merged) {
            out_ += "</";
            out_ += open_.back().name;
            out_ += '>';
        }
        if (is_OME_ && open_.size() == 2 && open_.back().name == "Instrument")
            instruments_.push_back({open_.back().id, open_.back().place, out_.size()});
        open_.pop_back();
    }

    void drop_text(std::string const& name) {
        if (dropped_ && !is_blank(text_)) dropped_->push_back(name + ": " + text_);
        text_.clear();
    }

    std::vector<std::string>* dropped_;
    std::string out_;
    std::string text_; ///< of the innermost element, since its last child
    std::vector<Open_Element> open_;
    bool is_OME_ = false; ///< whether that is the name of the root
    Identifiers identifiers_;
    std::vector<Instrument> instruments_;
    std::string used_instrument_; ///< by the first image that refers to one
    std::exception_ptr failure_;
    std::string refusal_;
    Parser parser_;
};

} // namespace

std::string import_XML(std::string_view text, std::vector<std::string>* dropped) {
    return Import(dropped).run(text);
}

} // namespace OME
