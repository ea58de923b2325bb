#include <vexa/json/Reader.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

using namespace JSON;
using namespace std::string_literals;

namespace {

constexpr char const* incomplete = "Incomplete Json::Value read.";

std::string unexpected(std::string const& found, std::string const& context) {
    return "Unexpected '" + found + "' character in " + context + ".";
}

/// The first value read whole, or the error's text; a stream at its end supplies a blank.
std::string outcome(std::vector<std::string_view> const& pieces) {
    try {
        Reader reader;
        for (std::string_view const piece : pieces) {
            char const* pos = piece.data();
            if (auto const value = reader.read(pos, piece.data() + piece.size())) return dump(*value, false);
        }
        char const blank = ' ';
        char const* pos = &blank;
        return reader.read_at(pos) ? dump(reader.take(), false) : "incomplete";
    } catch (Reader::Unexpected const& error) {
        return error.what();
    }
}

std::string outcome_by_bytes(std::string_view text) {
    try {
        Reader reader;
        char const* pos = text.data();
        while (pos != text.data() + text.size())
            if (reader.read_at(pos)) return dump(reader.take(), false);
        char const blank = ' ';
        pos = &blank;
        return reader.read_at(pos) ? dump(reader.take(), false) : "incomplete";
    } catch (Reader::Unexpected const& error) {
        return error.what();
    }
}

std::string outcome_by_stream(std::string const& text) {
    try {
        std::istringstream in(text);
        Value value;
        in >> value;
        return dump(value, false);
    } catch (Reader::Unexpected const& error) {
        return error.what();
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), incomplete);
        return "incomplete";
    }
}

Number number(std::string const& text) { return parse(text).get<Number>(); }
std::string string(std::string const& text) { return parse(text).get<std::string>(); }

} // namespace

TEST(JsonReader, ReadsEveryKindOfValue) {
    EXPECT_EQ(parse("null"), Value());
    EXPECT_EQ(parse("true"), Value(true));
    EXPECT_EQ(parse("false"), Value(false));
    EXPECT_EQ(parse("\"text\""), Value("text"));
    EXPECT_EQ(parse("[]"), Value(List()));
    EXPECT_EQ(parse("{}"), Value(Map()));
    EXPECT_EQ(parse("[1,[true,null],{\"a\":\"b\"}]"),
              Value(List{Value(1), Value(List{Value(true), Value()}), Value(Map{{"a", Value("b")}})}));
    EXPECT_EQ(parse(" {\"b\" : [ 1 , 2 ] , \"a\" : { } } "),
              Value(Map{{"a", Value(Map())}, {"b", Value(List{Value(1), Value(2)})}}));
}

TEST(JsonReader, TheFormOfANumberDecidesItsAlternative) {
    EXPECT_EQ(number("1").variant().index(), 2u);
    EXPECT_EQ(number("-1").variant().index(), 1u);
    EXPECT_EQ(number("1.0").variant().index(), 0u);
    EXPECT_EQ(number("1e0").variant().index(), 0u);
    EXPECT_EQ(number("1E0").variant().index(), 0u);
    EXPECT_EQ(number("-0").variant().index(), 1u);
    EXPECT_EQ(number("18446744073709551615"), Number(std::numeric_limits<unsigned long long>::max()));
    EXPECT_EQ(number("-9223372036854775808"), Number(std::numeric_limits<long long>::min()));
    EXPECT_EQ(number("-9223372036854775808").variant().index(), 1u);
    EXPECT_EQ(number("-2.5e-1"), Number(-0.25));
    EXPECT_EQ(number("1e+2"), Number(100));
    EXPECT_TRUE(std::signbit(std::get<double>(number("-0.0").variant())));
}

TEST(JsonReader, NumbersThatDoNotFitAreErrors) {
    for (char const* text : {"18446744073709551616", "-9223372036854775809", "1e999", "-1e999", "-", "1e",
                             "1e+", "1-", "1+2", "1.2.3", "--1", "-e", "1e5.5", "99999999999999999999999999"})
        VEXA_EXPECT_THROWS(parse(text), Reader::Unexpected,
                           "Unexpected '" + std::string(text) + "' string in number value.");
    VEXA_EXPECT_THROWS(parse("[-]"), Reader::Unexpected, "Unexpected '-' string in number value.");
    VEXA_EXPECT_THROWS(parse("+1"), Reader::Unexpected, unexpected("+", "value"));
    VEXA_EXPECT_THROWS(parse(".5"), Reader::Unexpected, unexpected(".", "value"));
}

TEST(JsonReader, NumbersInLooseFormsRead) {
    EXPECT_EQ(number("007"), Number(7));
    EXPECT_EQ(number("-01"), Number(-1));
    EXPECT_EQ(number("1."), Number(1.0));
    EXPECT_EQ(number("-.5"), Number(-0.5));
    EXPECT_EQ(number("2.e3"), Number(2000.0));
}

TEST(JsonReader, EscapesStandForTheirCharacters) {
    EXPECT_EQ(string(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(string(R"("\u0041\u00e9\u20AC")"), "A\xc3\xa9\xe2\x82\xac");
    EXPECT_EQ(string(R"("\u0000")"), "\0"s);
    EXPECT_EQ(string(R"("\u007f\u0080\u07ff\u0800\uffff")"), "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf");
    EXPECT_EQ(string(R"("\ud83d\ude00")"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(string(R"("\uD800\uDC00\udbff\udfff")"), "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf");
    EXPECT_EQ(string(R"("\ude00x")"), "\xed\xb8\x80x");
}

TEST(JsonReader, DamagedEscapesAreErrors) {
    VEXA_EXPECT_THROWS(parse(R"("\x")"), Reader::Unexpected, unexpected("x", "string value"));
    VEXA_EXPECT_THROWS(parse(R"("\u12G4")"), Reader::Unexpected, unexpected("G", "string value"));
    VEXA_EXPECT_THROWS(parse(R"("\u12")"), Reader::Unexpected, unexpected("\"", "string value"));
    VEXA_EXPECT_THROWS(parse(R"("\u+123")"), Reader::Unexpected, unexpected("+", "string value"));
    VEXA_EXPECT_THROWS(parse(R"("\ud83d\u12x4")"), Reader::Unexpected, unexpected("x", "string value"));
}

TEST(JsonReader, AHighSurrogateNeedsALowOne) {
    std::string const context = "unicode surrogate pair continuation";
    VEXA_EXPECT_THROWS(parse(R"("\ud83dx")"), Reader::Unexpected, unexpected("x", context));
    VEXA_EXPECT_THROWS(parse(R"("\ud83d")"), Reader::Unexpected, unexpected("\"", context));
    VEXA_EXPECT_THROWS(parse(R"("\ud83d\n")"), Reader::Unexpected, unexpected("n", context));
    VEXA_EXPECT_THROWS(parse(R"("\ud83d\u0041")"), Reader::Unexpected, unexpected("1", context));
    VEXA_EXPECT_THROWS(parse(R"("\ud83d\ud83e")"), Reader::Unexpected, unexpected("e", context));
    EXPECT_EQ(string(R"("\ud83d\ude00\u0041")"), "\xf0\x9f\x98\x80"
                                                 "A");
}

TEST(JsonReader, StringsTakeAllBytesButQuotesAndBackslashes) {
    EXPECT_EQ(string("\"\x01\t\n\x7f\x80\xff\""), "\x01\t\n\x7f\x80\xff");
    EXPECT_EQ(string("\"\0\""s), "\0"s);
    // The quote at every distance from the start, so that it comes at every place of a word.
    for (std::size_t size = 0; size < 40; ++size) {
        EXPECT_EQ(string('"' + std::string(size, 'x') + "\"\"more\""), std::string(size, 'x'));
        EXPECT_EQ(string('"' + std::string(size, '\xa2') + "\\\"!\""), std::string(size, '\xa2') + "\"!");
    }
}

TEST(JsonReader, CommentsStandWhereverWhiteSpaceMay) {
    EXPECT_EQ(parse("// a comment\n1"), Value(1));
    EXPECT_EQ(parse("/* a */ /**/ [ /* b */ 1 /***/ , /* / * */ 2 // c\n ] "),
              Value(List{Value(1), Value(2)}));
    EXPECT_EQ(parse("{/*0*/\"a\"/*1*/:/*2*/1/*3*/,//4\n\"b\":[/*5*/]/*6*/}"),
              Value(Map{{"a", Value(1)}, {"b", Value(List())}}));
    EXPECT_EQ(parse("{//}\n}"), Value(Map()));
    EXPECT_EQ(string("\"/* text */\""), "/* text */");
}

TEST(JsonReader, ASlashAloneIsAnError) {
    std::string const context = "comment (missing '/' or '*')";
    for (char const* text :
         {"/x", "[/x]", "[1/x]", "[1,/x", "{/x", "{\"a\"/x", "{\"a\":/x", "{\"a\":1/x", "{\"a\":1,/x"})
        VEXA_EXPECT_THROWS(parse(text), Reader::Unexpected, unexpected("x", context));
}

TEST(JsonReader, WhiteSpaceIsSixBytes) {
    EXPECT_EQ(parse("\t\n\v\f\r [\t\n\v\f\r 1\t\n\v\f\r ]"), Value(List{Value(1)}));
    VEXA_EXPECT_THROWS(parse("\x1f"), Reader::Unexpected, unexpected("\x1f", "value"));
    VEXA_EXPECT_THROWS(parse("\xc2\xa0"), Reader::Unexpected, unexpected("\xc2", "value"));
}

TEST(JsonReader, DamagedContainersAreErrors) {
    std::string const in_array = "array (missing ',' or ']')", in_object = "object (missing ',' or '}')";
    std::string const in_key = "object (missing '\"key\"' or '}')";
    struct {
        char const* text;
        char const* found;
        std::string context;
    } const cases[] = {
        {"[,]", ",", "value"},         {"[1,]", "]", "value"},     {"[1,,2]", ",", "value"},
        {"[1 2]", "2", in_array},      {"[1}", "}", in_array},     {"[}", "}", "value"},
        {"]", "]", "value"},           {"}", "}", "value"},        {"{\"a\":1,}", "}", in_key},
        {"{,}", ",", in_key},          {"{1:2}", "1", in_key},     {"{\"a\" 1}", "1", in_object},
        {"{\"a\"}", "}", in_object},   {"{\"a\":}", "}", "value"}, {"{\"a\":]", "]", "value"},
        {"{\"a\":1]", "]", in_object}, {"{]", "]", in_key},        {"{\"a\":1 \"b\"", "\"", in_object},
        {"{\"a\"::1}", ":", "value"},  {":", ":", "value"},        {"[[],[1],]", "]", "value"}};
    for (auto const& c : cases)
        VEXA_EXPECT_THROWS(parse(c.text), Reader::Unexpected, unexpected(c.found, c.context));
}

TEST(JsonReader, MisspelledLiteralsAreErrors) {
    VEXA_EXPECT_THROWS(parse("trub"), Reader::Unexpected, unexpected("b", "'true' value"));
    VEXA_EXPECT_THROWS(parse("[fals]"), Reader::Unexpected, unexpected("]", "'false' value"));
    VEXA_EXPECT_THROWS(parse("nul"), Reader::Unexpected, unexpected(" ", "'null' value"));
    VEXA_EXPECT_THROWS(parse("[t rue]"), Reader::Unexpected, unexpected(" ", "'true' value"));
    VEXA_EXPECT_THROWS(parse("True"), Reader::Unexpected, unexpected("T", "value"));
    VEXA_EXPECT_THROWS(parse("[nullx]"), Reader::Unexpected, unexpected("x", "array (missing ',' or ']')"));
}

TEST(JsonReader, ALaterMemberReplacesAnEarlierOne) {
    EXPECT_EQ(parse("{\"a\":1,\"b\":2,\"a\":3}"), Value(Map{{"a", Value(3)}, {"b", Value(2)}}));
    EXPECT_EQ(parse("{\"a\":[1],\"a\":[]}"), Value(Map{{"a", Value(List())}}));
    EXPECT_EQ(parse("{\"a\":{\"x\":1},\"a\":{\"y\":2}}"), Value(Map{{"a", Value(Map{{"y", Value(2)}})}}));
    EXPECT_EQ(parse("{\"a\":1,\"a\":null}"), Value(Map{{"a", Value()}}));
}

TEST(JsonReader, TheTextMayEndBehindTheValue) {
    EXPECT_EQ(parse("1 garbage"), Value(1));
    EXPECT_EQ(parse("[]]"), Value(List()));
    EXPECT_EQ(parse("\"a\"b"), Value("a"));
    EXPECT_EQ(parse("truex"), Value(true));
}

TEST(JsonReader, AnIncompleteTextIsAnError) {
    for (char const* text : {"", " ", "[1,", "[", "{", "{\"a\"", "{\"a\":", "\"abc", "// comment", "/* 1 ",
                             "[1 // ]", "[[]", "{\"a\":1"})
        VEXA_EXPECT_THROWS(parse(text), std::runtime_error, incomplete);
}

TEST(JsonReader, LeavesThePositionBehindTheValue) {
    std::string const text = "[1] 23 4";
    Reader reader;
    char const* pos = text.data();
    char const* const end = text.data() + text.size();
    EXPECT_EQ(reader.read(pos, end), Value(List{Value(1)}));
    EXPECT_EQ(pos - text.data(), 3);
    EXPECT_EQ(reader.read(pos, end), Value(23));
    EXPECT_EQ(pos - text.data(), 6);
    EXPECT_EQ(reader.read(pos, end), std::nullopt);
    EXPECT_EQ(pos, end);
    char const comma = ',';
    pos = &comma;
    EXPECT_EQ(reader.read(pos, &comma + 1), Value(4));
    EXPECT_EQ(pos, &comma);
}

class JsonReaderPieces : public testing::TestWithParam<char const*> {};

TEST_P(JsonReaderPieces, DoNotChangeTheOutcome) {
    std::string_view const text = GetParam();
    std::string const whole = outcome({text});
    EXPECT_EQ(outcome_by_bytes(text), whole);
    EXPECT_EQ(outcome_by_stream(std::string(text)), whole);
    for (std::size_t split = 0; split <= text.size(); ++split)
        EXPECT_EQ(outcome({text.substr(0, split), text.substr(split)}), whole) << "split at " << split;
    // Any prefix too: it is another document, complete, incomplete or an error.
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(outcome_by_bytes(text.substr(0, size)), outcome({text.substr(0, size)}))
            << "first " << size;
}

INSTANTIATE_TEST_SUITE_P(
    Documents, JsonReaderPieces,
    testing::Values("", "0", "-12.5e+3", "123456789012345678901234567890", "1e999 ", "true", "null x", "\"\"",
                    "\"plain text that is longer than a word\"", "\"esc\\n\\u00e9\\ud83d\\ude00\\\\end\\\"\"",
                    "\"\\ud83d\\u0041\"", "\"\\ud83dx\"", "\"\\u12g4\"", "\"\\q\"",
                    "[1, -2 , 3.5,\"a\",[],{},[[]],true,false,null]", "[1,]", "[1 2]", "[,]", "[-]",
                    "[1/**/,2//\n,3]", "{\"b\":[1,2],\"a\":{},\"longer key than sixteen bytes\":\"x\"}",
                    "{\"a\":1,}", "{\"a\" 1}",
                    "{ \"\\u0061\" : 1 , \"a\" : {\"a\":[{\"a\":null}]} } trailing",
                    "// c\n/* d **/ {\"k\" /* e */ : 1}", "/x", "[/ 1]", "{\"a\":truf}",
                    "[\"\xff\x80\", \"\t\"]", "[1.5.5]", "[+1]"));

TEST(JsonReader, ManyDocumentsComeFromOneReader) {
    std::string const text = "{\"a\":[1]} \"x\"null[2]5 ";
    Reader reader;
    char const* pos = text.data();
    char const* const end = text.data() + text.size();
    std::string all;
    while (auto const value = reader.read(pos, end)) all += dump(*value, false) + ";";
    EXPECT_EQ(all, "{\"a\":[1]};\"x\";null;[2];5;");
}

TEST(JsonStream, YieldsOneValuePerRead) {
    std::istringstream in("1 2");
    Value value;
    in >> value;
    EXPECT_EQ(value, Value(1));
    EXPECT_EQ(in.peek(), ' ');
    in >> value;
    EXPECT_EQ(value, Value(2));
    EXPECT_TRUE(in.eof());
    EXPECT_FALSE(in.fail());
    VEXA_EXPECT_THROWS(in >> value, std::runtime_error, incomplete);
    EXPECT_TRUE(in.fail());
    EXPECT_EQ(value, Value(2));
}

TEST(JsonStream, GivesBackOnlyTheByteThatEndsANumber) {
    std::istringstream in("[1]x12x\"a\"x");
    Value value;
    in >> value;
    EXPECT_EQ(in.get(), 'x');
    in >> value;
    EXPECT_EQ(value, Value(12));
    EXPECT_EQ(in.get(), 'x');
    in >> value;
    EXPECT_EQ(in.get(), 'x');
}

TEST(JsonStream, AnIncompleteValueIsAnError) {
    std::istringstream in("[1,");
    Value value("old");
    VEXA_EXPECT_THROWS(in >> value, std::runtime_error, incomplete);
    EXPECT_EQ(value, Value("old"));
    EXPECT_TRUE(in.eof() && in.fail());
}

TEST(JsonStream, ASyntaxErrorPassesThrough) {
    std::istringstream in("[1 2]");
    Value value("old");
    VEXA_EXPECT_THROWS(in >> value, Reader::Unexpected, unexpected("2", "array (missing ',' or ']')"));
    EXPECT_EQ(value, Value("old"));
    EXPECT_EQ(in.get(), ']');
}

TEST(JsonStream, ABufferThatThrowsEndsTheText) {
    struct Throwing : std::streambuf {
        int_type underflow() override { throw 1; }
    } buffer;
    std::istream in(&buffer);
    Value value;
    VEXA_EXPECT_THROWS(in >> value, std::runtime_error, incomplete);
    EXPECT_TRUE(in.bad());
}

TEST(JsonFile, ReadsBackWhatIsWritten) {
    Vexa::testing::TemporaryFolder const folder;
    Value const value(
        Map{{"a", Value(List{Value(1), Value("\xc3\xa9")})}, {"big", Value(std::string(200'000, 'x'))}});
    write(value, folder / "\xc3\xa9.json");
    EXPECT_EQ(read(folder / "\xc3\xa9.json"), value);
    write(Value(12), folder / "\xc3\xa9.json");
    EXPECT_EQ(std::filesystem::file_size(folder / "\xc3\xa9.json"), 2u);
    EXPECT_EQ(read(folder / "\xc3\xa9.json"), Value(12));
}

TEST(JsonFile, ThatCannotBeOpenedReadsLikeAnEmptyOne) {
    Vexa::testing::TemporaryFolder const folder;
    VEXA_EXPECT_THROWS(read(folder / "missing.json"), std::runtime_error, incomplete);
    VEXA_EXPECT_THROWS(read(folder.path()), std::runtime_error, incomplete);
    std::ofstream(folder / "empty.json").close();
    VEXA_EXPECT_THROWS(read(folder / "empty.json"), std::runtime_error, incomplete);
}

TEST(JsonFile, ThatCannotBeWrittenIsAnError) {
    Vexa::testing::TemporaryFolder const folder;
    std::string const path = (folder / "no" / "file.json").string();
    VEXA_EXPECT_THROWS(write(Value(1), path), std::runtime_error, "Cannot write JSON file '" + path + "'.");
    if (std::filesystem::exists("/dev/full"))
        VEXA_EXPECT_THROWS(write(Value(std::string(100'000, 'x')), "/dev/full"), std::runtime_error,
                           "Cannot write JSON file '/dev/full'.");
}

TEST(JsonReader, AnyDepthReadsAndWrites) {
    constexpr std::size_t depth = 1'000'000;
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += i % 2 ? "{\"a\":" : "[";
    text += "1";
    for (std::size_t i = depth; i-- > 0;) text += i % 2 ? "}" : "]";
    Value const value = parse(text);
    EXPECT_TRUE(dump(value, false) == text);
}

TEST(JsonReader, ADeepTextThatFailsIsDestroyed) {
    VEXA_EXPECT_THROWS(parse(std::string(300'000, '[')), std::runtime_error, incomplete);
    VEXA_EXPECT_THROWS(parse(std::string(300'000, '[') + "}"), Reader::Unexpected, unexpected("}", "value"));
}
