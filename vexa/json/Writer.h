#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace JSON {

/// Writes values as JSON text, either compact or with each element on a line of its own, two blanks further
/// in than its container. Maps come in the order of their keys.
///
/// Whole reals have no decimal point, so they come back as integers, which compare equal. Bytes of 0x80 and
/// above go out as they are. Values of any depth are written without recursion.
/// Borrows: the stream. Failures: those of the stream, shown in its state.
class VEXA_API Writer {
public:
    /// \param start_indent blanks in front of the lines that are not further in
    Writer(std::ostream& stream, int start_indent, bool is_compact);

    void operator()(Value const& value);
    /// The text in quotes, escaped.
    void operator()(std::string const& text);
    void operator()(List const& list);
    void operator()(Map const& map);

    std::ostream& output;
    int indent; ///< the current indentation in blanks
    bool compact;
};

/// Write compact text if `std::ios_base::skipws` is set in the stream, as it is by default, else indented
/// text.
/// \note Deliberate: `stream << std::noskipws << value` is how a stream selects the indented form.
VEXA_API std::ostream& operator<<(std::ostream& out, Value const& value);

/// \param pretty indented text instead of compact text
VEXA_API std::string dump(Value const& value, bool pretty);

/// Write compact text to a file, replacing what it holds.
/// \throws std::runtime_error "Cannot write JSON file '{}'." if the file can't be opened or written in full
VEXA_API void write(Value const& value, std::filesystem::path const& path);

} // namespace JSON
