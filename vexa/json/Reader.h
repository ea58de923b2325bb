#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>
#include <vexa/json/Writer.h>

namespace JSON {

/// Reads JSON text that may arrive in pieces of any size. A document ends as soon as its value is complete,
/// so that a stream can hold several, one behind the other; a number at the top ends with the byte that
/// follows.
///
/// More than strict JSON is taken: `//` and `/* */` comments wherever white space may stand, vertical tabs
/// and form feeds as white space, control characters inside strings, surrogates without a partner if they are
/// low, and numbers in any form that reads in full ("01", "1.", "-.5"). A key that comes twice keeps the
/// later value.
///
/// Owns: the value that is built. Nesting costs memory, never call stack, so that any depth reads.
/// Failures: Unexpected; a reader that threw is of no more use, and its partial value is lost.
/// Threads: one at a time.
class VEXA_API Reader {
public:
    /// A syntax error.
    class VEXA_API Unexpected : public std::runtime_error {
    public:
        /// Builds the text "Unexpected '{}' character in {}."
        Unexpected(char found, std::string_view context);
        /// Builds the text "Unexpected '{}' string in {}."
        Unexpected(std::string_view found, std::string_view context);
        Unexpected(Unexpected const&) = default;
        Unexpected& operator=(Unexpected const&) = default;
        ~Unexpected() override;
    };

    Reader();
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader();

    /// Consume the byte at \p pos and advance. A byte that only ends a number at the top is not consumed.
    /// \return whether the document is complete; take() then gives it
    /// \throws Unexpected
    bool read_at(char const*& pos);

    /// Feed bytes until a document is complete or \p end is reached, and leave \p pos behind what was
    /// consumed. A document may go on in the next call; after the last bytes a blank ends a number at the
    /// top.
    /// \throws Unexpected
    std::optional<Value> read(char const*& pos, char const* end);

    /// Read one document from where the stream stands, and leave the stream right behind it. At the end of
    /// the stream `eofbit` is set, and `failbit` too if the document is incomplete; the result is empty then.
    /// \throws Unexpected
    std::optional<Value> read(std::istream& in);

    /// The complete value. The reader is then ready for the next document.
    Value take();

private:
    /// What the next byte belongs to. The states up to `colon` are those between tokens, where white space
    /// and comments may stand.
    enum class State : unsigned char {
        value,         ///< slot_ waits for a value
        first_element, ///< the same right behind `[`, where `]` may come
        after_value,
        first_key, ///< right behind `{`, where `}` may come
        key,
        colon,
        string,
        escape,         ///< behind a backslash
        code_unit,      ///< in the digits of `\u`
        pair_backslash, ///< behind the first part of a surrogate pair
        pair_u,         ///< behind the backslash between its parts
        number,
        literal ///< behind the first letter of true, false or null
    };
    enum class Comment : unsigned char { none, slash, line, block, block_star };

    bool between_tokens(char c);
    void in_comment(char c);
    void start_value(char c);
    bool after_element(char c);
    bool after_member(char c);
    void next_element();
    void start_key(char c);
    bool in_string(char c);
    void after_backslash(char c);
    void start_code_unit();
    void in_code_unit(char c);
    void between_surrogates(char c);
    bool in_literal(char c);

    void start_string(std::string& target);
    bool end_string();
    void start_number();
    void start_literal(char const* word, char const* context);
    void end_code_unit(char last);
    void append_utf8(std::uint32_t code_point);
    template <typename Key>
    void enter_member(Key&& key);
    void store_number(std::string_view text, bool is_real);
    bool end_value();
    void open_list();
    void open_map();
    bool close_container();

    char const* take_text(char const* pos, char const* end);
    char const* take_number(char const* pos, char const* end);
    bool read_token(char const*& pos, char const* end);
    bool read_value(char const*& pos, char const* end);
    bool read_string(char const*& pos, char const* end);
    bool read_number(char const*& pos, char const* end);
    void read_key(char const*& pos, char const* end);

    Value result_;
    std::deque<Value*> open_;     ///< the containers from the outermost to the current one
    Value* slot_ = &result_;      ///< what the next value is stored in
    List* list_ = nullptr;        ///< the current container, if it is a list
    Map* map_ = nullptr;          ///< the current container, if it is a map
    std::string* text_ = nullptr; ///< the string being built: key_ or that of slot_
    std::string key_;
    std::string number_;
    bool number_is_real_ = false;
    char const* literal_ = nullptr; ///< the letters that have to follow
    char const* literal_context_ = nullptr;
    std::uint32_t high_unit_ = 0; ///< the first part of a surrogate pair, or 0
    std::uint32_t unit_ = 0;      ///< the digits so far
    int unit_digits_ = 0;
    State state_ = State::value;
    Comment comment_ = Comment::none;
};

/// The first value in \p text. What follows it is not looked at.
/// \throws Reader::Unexpected
/// \throws std::runtime_error "Incomplete Json::Value read."
VEXA_API Value parse(std::string const& text);

/// The first value in a file. A file that can't be opened reads like an empty one.
/// \throws Reader::Unexpected
/// \throws std::runtime_error "Incomplete Json::Value read."
VEXA_API Value read(std::filesystem::path const& path);

/// Read one value as Reader::read(std::istream&) does. \p value is left alone if that fails.
/// \throws Reader::Unexpected
/// \throws std::runtime_error "Incomplete Json::Value read."
VEXA_API std::istream& operator>>(std::istream& in, Value& value);

} // namespace JSON
