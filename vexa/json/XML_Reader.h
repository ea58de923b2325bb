#pragma once

#include <deque>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

/// Reads XML that may arrive in pieces of any size into a tree of values, the one that write_to_XML() writes.
///
/// The root is a map with one entry: the name of the root element leads to a list of one element. An element
/// is a map from the names of its attributes to strings; its entry with the empty key is its content, if it
/// has any: either a string, its text, or a map from the names of its children to lists of elements, which
/// keep their order. Values stay strings, but "INF" and "-INF" become "Infinity" and "-Infinity". The prefix
/// of an element name is cut off; attribute names keep theirs. Blanks in front of a text are dropped.
///
/// The language is what the library writes, and a little more: there are no comments, CDATA sections,
/// document types or numeric references, and names consist of ASCII letters, digits and `_-.:`. Bytes of 0x80
/// and above are plain text in values and are not decoded.
///
/// \note Deliberate: an element may have text or children, and what comes second decides. Children behind
/// text are an error. Text behind children is one too, but behind an empty element without attributes, like
/// `<b/>`, it replaces the children.
/// \note Deliberate: a root element like `<a/>`, empty and without attributes, is read but not reported as
/// closed. Text behind it is an error at the next `<`.
/// \note Deliberate: what comes behind the root element is read as well, into the same map.
/// \note Deliberate: `<?xml ... ?>` may stand wherever a tag may, and may lack the second question mark.
/// \note Deliberate: a reference goes on to the next semicolon, whatever lies between.
///
/// Borrows: the target, which nobody may change while a document is being read. Owns: the one name, text or
/// reference that is being collected. Nesting costs memory, never call stack, so that any depth reads.
/// Failures: Unexpected. The target then holds what was read so far, and all further calls throw the same.
/// Threads: one at a time.
class VEXA_API XML_Reader {
public:
    /// A syntax error.
    class VEXA_API Unexpected : public std::runtime_error {
    public:
        /// Builds the text "Unexpected ", what was found, a blank and the context.
        Unexpected(char found, std::string_view context);
        Unexpected(std::string_view found, std::string_view context);
        Unexpected(Unexpected const&) = default;
        Unexpected& operator=(Unexpected const&) = default;
        ~Unexpected() override;
    };

    /// \param target becomes null, and then the root map
    explicit XML_Reader(Value& target);
    XML_Reader(XML_Reader const&) = delete;
    XML_Reader& operator=(XML_Reader const&) = delete;
    ~XML_Reader();

    /// Empty the prolog, so that a document with another one may follow.
    void clear();

    /// Take one character.
    /// \return whether the root element has closed with it
    /// \throws Unexpected
    bool read(char c);

    /// Take characters until the root element has closed or \p end is reached, and leave \p begin behind
    /// what was taken. A document may go on in the next call.
    /// \return whether the root element has closed
    /// \throws Unexpected
    bool read(char const*& begin, char const* end);

    /// Read from where the stream stands and leave it right behind the end of the root element. A stream that
    /// ends or fails before has `failbit` set. Behind an error it stands somewhere behind the culprit.
    /// \return whether the root element has closed
    /// \throws Unexpected
    bool read(std::istream& in);

    Map_Template<std::string, Value> prolog; ///< the attributes of `<?xml ... ?>`; nothing uses them
    Value& root;                             ///< the target

private:
    using Entry = Map::value_type;

    void in_attribute(char c);
    bool in_attributes(char c);
    void in_tag(char c);
    void outside(char c);
    void in_value(char c);

    void end_attribute_name(std::string_view name);
    bool end_tag_name(char c);
    void close_element();
    void open_element();
    bool end_tag();
    void end_value(std::string_view text);
    void end_reference();
    Map& element();
    Value& content();
    void take_run(char const*& pos, char const* end);
    void take_value(char const*& pos, char const* end);
    void take_attribute(char const*& pos, char const* end);
    template <typename Found>
    [[noreturn]] void fail(Found const& found, std::string_view context);

    std::deque<Entry*> stack_;      ///< the open elements, each the last one in the list of its entry
    Value* value_target_ = nullptr; ///< what the attribute value that is being read goes to
    std::string token_;             ///< the name or the text so far
    std::string reference_;         ///< the name behind `&` so far
    bool in_tag_ = false;           ///< behind `<`
    bool in_attributes_ = false;    ///< behind the name of the tag
    bool processing_ = false;       ///< behind `<?`
    bool end_tag_ = false;          ///< behind `</`, or behind the `/` of an empty element with attributes
    bool closing_ = false;          ///< behind `/` or `?`, where only `>` may follow
    bool in_attribute_ = false;
    bool expect_equal_ = false;
    bool expect_quote_ = false;
    bool in_name_ = false;
    char delimiter_ = 0; ///< what ends the value that is being read, `<` for the text of an element, or 0
    bool in_reference_ = false;
    std::optional<Unexpected> failure_;
};

} // namespace JSON
