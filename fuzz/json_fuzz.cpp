// JSON text: it is read or refused, in whatever pieces it arrives with the same outcome, and what is read is
// copied, compared, written in both forms and read back as the same value.

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <vexa/json/Reader.h>

#include "fuzz.h"

namespace {

struct Outcome {
    std::optional<JSON::Value> value;
    std::string error;
    std::size_t consumed = 0;

    bool operator==(Outcome const&) const = default;
};

/// Feed the text in pieces of \p piece bytes, and a blank behind it. Single bytes go through read_at().
Outcome read_in_pieces(std::string_view text, std::size_t piece) {
    Outcome outcome;
    JSON::Reader reader;
    char const* pos = text.data();
    char const* const end = pos + text.size();
    try {
        while (pos != end && !outcome.value) {
            char const* const stop = pos + std::min(piece, static_cast<std::size_t>(end - pos));
            if (piece > 1)
                outcome.value = reader.read(pos, stop);
            else if (reader.read_at(pos))
                outcome.value = reader.take();
        }
        outcome.consumed = static_cast<std::size_t>(pos - text.data());
        char const blank = ' ';
        char const* rest = &blank;
        if (!outcome.value && reader.read_at(rest)) outcome.value = reader.take();
    } catch (JSON::Reader::Unexpected const& error) {
        outcome.error = error.what();
    }
    return outcome;
}

void check_stream(std::string const& text, Outcome const& expected) {
    std::istringstream in(text);
    JSON::Value value;
    try {
        in >> value;
        VEXA_FUZZ_CHECK(value == expected.value);
        VEXA_FUZZ_CHECK(in.eof() || in.tellg() == static_cast<std::streamoff>(expected.consumed));
    } catch (JSON::Reader::Unexpected const& error) {
        VEXA_FUZZ_CHECK(error.what() == expected.error);
    } catch (std::runtime_error const& error) {
        VEXA_FUZZ_CHECK(error.what() == std::string("Incomplete Json::Value read."));
        VEXA_FUZZ_CHECK(!expected.value && expected.error.empty());
    }
}

void check_value(JSON::Value const& value) {
    std::string const compact = JSON::dump(value, false);
    std::string const pretty = JSON::dump(value, true);
    VEXA_FUZZ_CHECK(JSON::parse(compact) == value);
    VEXA_FUZZ_CHECK(JSON::parse(pretty) == value);
    std::ostringstream out;
    out << value << std::noskipws << value;
    VEXA_FUZZ_CHECK(out.str() == compact + pretty);

    JSON::Value copy = value;
    VEXA_FUZZ_CHECK(copy == value);
    copy.push_back(copy);
    VEXA_FUZZ_CHECK(!(copy == value));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    Outcome const whole = read_in_pieces(text, size + 2);
    for (std::size_t const piece : {std::size_t{1}, std::size_t{2}, std::size_t{5}, size / 2 + 2})
        VEXA_FUZZ_CHECK(read_in_pieces(text, piece) == whole);
    check_stream(text, whole);
    if (whole.value) check_value(*whole.value);
    return 0;
}
