#pragma once

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <tinyxml.h>

/// A thin layer on TinyXML: exceptions instead of error states, ownership in the type, and texts that
/// survive.
///
/// What reaches the parser below has been checked and rewritten first (see xml_guard_internal.h), so it never
/// sees malformed text. Bytes that it cannot hold are escaped on the way in; Element undoes that in what it
/// returns.
namespace ticpp {

class Exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A view of an element that lives in a document or below another element; an element that was made here is
/// owned until it is linked. An empty view stands for "no such element"; only operator bool may be called on
/// it.
class Element {
public:
    /// A new element with the name "DefaultValueCausedByCreatingAnElementWithNoParameters".
    Element();
    explicit Element(std::string const& name);
    explicit Element(TiXmlElement* view) : element_(view) {}

    explicit operator bool() const { return element_; }
    Element view() const { return Element(element_); }

    std::string Value() const;
    void SetValue(std::string const& name) { element_->SetValue(name); }

    template <typename T>
    void SetAttribute(char const* name, T const& value) {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << value;
        element_->SetAttribute(name, text.str());
    }
    bool HasAttribute(char const* name) const { return element_->Attribute(name); }
    /// The text of the attribute; empty if there is none.
    std::string GetAttribute(char const* name) const;
    /// Read the attribute as a number; \p value stays as it is if there is none.
    /// \throws Exception "Could not convert \"{}\" to target type"
    template <typename T>
    void GetAttribute(char const* name, T& value) const {
        if (!HasAttribute(name)) return;
        std::string const text = GetAttribute(name);
        std::istringstream stream(text);
        stream.imbue(std::locale::classic());
        if (!(stream >> value)) throw Exception("Could not convert \"" + text + "\" to target type");
    }

    /// Make \p text the only child.
    void SetText(std::string const& text);
    /// The text if that is what the first child node is, else empty.
    /// \throws Exception "Text does not exist in the current element" in place of an empty text without node,
    /// if \p must_exist
    std::string GetText(bool must_exist) const;

    Element Parent() const;
    Element FirstChildElement() const { return Element(element_->FirstChildElement()); }
    Element NextSiblingElement() const { return Element(element_->NextSiblingElement()); }
    /// Take over \p child as the last one.
    void LinkEndChild(Element child);

private:
    friend class Document;
    TiXmlElement* element_ = nullptr;
    std::unique_ptr<TiXmlElement> owned_;
};

class Document {
public:
    /// \throws Exception with the place in the text
    void Parse(std::string const& text);
    Element FirstChildElement() { return Element(document_.FirstChildElement()); }
    void LinkDeclaration(char const* version, char const* encoding, char const* standalone);
    void LinkEndChild(Element child);
    /// The text, indented by four blanks a level.
    std::string Print() const;

private:
    TiXmlDocument document_;
};

/// The details of an error as the end of a message.
/// \param line,column count from 1
std::string BuildDetailedErrorString(std::string_view description, std::size_t line, std::size_t column);

} // namespace ticpp
