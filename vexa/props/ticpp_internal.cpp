#include <vexa/props/ticpp_internal.h>

#include <mutex>

#include <fmt/format.h>

#include <vexa/props/xml_guard_internal.h>

namespace ticpp {
namespace {

/// White space is content. The switch is global to the process; it is written only when it has to be, so that
/// a parser on another thread never sees it change.
void keep_white_space() {
    static std::mutex mutex;
    std::lock_guard const lock(mutex);
    if (TiXmlBase::IsWhiteSpaceCondensed()) TiXmlBase::SetCondenseWhiteSpace(false);
}

/// Some builds of the printer pass what looks like a character reference through as it is, so that a text
/// with
/// "&#x41;" would read back as "A".
bool printer_passes_references() {
    static bool const passes = [] {
        std::string const reference = "&#x41;";
        std::string encoded;
        TiXmlBase::EncodeString(reference, &encoded);
        return encoded == reference;
    }();
    return passes;
}

/// For those builds every '&' that begins such a piece becomes a reference itself.
std::string with_safe_references(std::string const& text) {
    std::string safe;
    std::size_t done = 0;
    for (std::size_t at = text.find("&#x"); at != text.npos; at = text.find("&#x", done)) {
        safe.append(text, done, at - done).append("&#x26;");
        done = at + 1;
    }
    return safe.append(text, done);
}

class Printer final : public TiXmlPrinter {
public:
    bool Visit(TiXmlText const& node) override {
        if (!printer_passes_references() || node.ValueStr().find("&#x") == std::string::npos)
            return TiXmlPrinter::Visit(node);
        return TiXmlPrinter::Visit(TiXmlText(with_safe_references(node.ValueStr())));
    }
};

} // namespace

std::string BuildDetailedErrorString(std::string_view description, std::size_t line, std::size_t column) {
    return fmt::format("\nDescription: {}\nFile: <unnamed-file>\nLine: {}\nColumn: {}", description, line,
                       column);
}

Element::Element() : Element("DefaultValueCausedByCreatingAnElementWithNoParameters") {}

Element::Element(std::string const& name) : element_(new TiXmlElement(name)), owned_(element_) {}

std::string Element::Value() const { return Vexa::props::restore_bytes(element_->ValueStr()); }

std::string Element::GetAttribute(char const* name) const {
    char const* const text = element_->Attribute(name);
    return text ? Vexa::props::restore_bytes(text) : std::string();
}

void Element::SetText(std::string const& text) {
    element_->Clear();
    element_->LinkEndChild(new TiXmlText(text));
}

std::string Element::GetText(bool must_exist) const {
    TiXmlNode const* const child = element_->FirstChild();
    if (child && child->ToText()) return Vexa::props::restore_bytes(child->ValueStr());
    if (must_exist) throw Exception("Text does not exist in the current element");
    return {};
}

Element Element::Parent() const {
    TiXmlNode* const parent = element_->Parent();
    return Element(parent ? parent->ToElement() : nullptr);
}

void Element::LinkEndChild(Element child) { element_->LinkEndChild(child.owned_.release()); }

void Document::Parse(std::string const& text) {
    keep_white_space();
    std::string const guarded = Vexa::props::guard_xml(text);
    document_.Parse(guarded.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (document_.Error())
        throw Exception("Could not parse xml text." +
                        BuildDetailedErrorString(document_.ErrorDesc(),
                                                 static_cast<std::size_t>(document_.ErrorRow()),
                                                 static_cast<std::size_t>(document_.ErrorCol())));
}

void Document::LinkDeclaration(char const* version, char const* encoding, char const* standalone) {
    document_.LinkEndChild(new TiXmlDeclaration(version, encoding, standalone));
}

void Document::LinkEndChild(Element child) { document_.LinkEndChild(child.owned_.release()); }

std::string Document::Print() const {
    Printer printer;
    printer.SetIndent("    ");
    printer.SetLineBreak("\n");
    document_.Accept(&printer);
    return printer.Str();
}

} // namespace ticpp
