#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <locale>
#include <thread>

#include <gtest/gtest.h>

#include <vexa/props/VPropXmlExport.h>
#include <vexa/props/VPropXmlParser.h>
#include <vexa/props/VexaProps.h>
#include <vexa/props/ticpp_internal.h>
#include <vexa/testing/expect_throws.h>

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A native document with this root.
std::string native(std::string const& attributes, std::string const& content) {
    return "<root vprop_version=\"1\" " + attributes + ">" + content + "</root>";
}

VProp import_native(std::string const& attributes, std::string const& content = "") {
    return vexa_import_xml(native(attributes, content), 2);
}

VProp round_trip(VProp const& p, int format = 2) { return vexa_import_xml(vexa_export_xml(p, format), 0); }

std::string message_of(std::string const& text, int format = 0) {
    try {
        vexa_import_xml(text, format);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "no error";
}

std::string parse_error(std::string const& description, int line, int column) {
    return "Could not parse xml text.\nDescription: " + description +
           "\nFile: <unnamed-file>\nLine: " + std::to_string(line) + "\nColumn: " + std::to_string(column);
}

TEST(XmlExport, NativeDocumentOfAScalar) {
    EXPECT_EQ(vexa_export_xml(VProp(1.5), 2),
              "<root idx=\"1\" type=\"double\" size=\"1 1\" vprop_version=\"1\">1.5</root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(static_cast<signed char>(-5)), 2),
              "<root idx=\"1\" type=\"int8\" size=\"1 1\" vprop_version=\"1\">-5</root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(true), 2),
              "<root idx=\"1\" type=\"logical\" size=\"1 1\" vprop_version=\"1\">1</root>\n");
    EXPECT_EQ(
        vexa_export_xml(VProp(0.1f), 2),
        "<root idx=\"1\" type=\"single\" size=\"1 1\" vprop_version=\"1\">0.10000000149011612</root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(std::complex<double>(1.5, -2)), 2),
              "<root idx=\"1\" type=\"cplx_double\" size=\"1 1\" vprop_version=\"1\">(1.5,-2)</root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(VPropstring(L"a\u00E9<")), 2),
              "<root idx=\"1\" type=\"char\" size=\"1 4\" vprop_version=\"1\">a\xC3\xA9&lt;</root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(vexa_EMPTY()), 2),
              "<root idx=\"1\" type=\"empty\" size=\"1 1\" vprop_version=\"1\"></root>\n");
    EXPECT_EQ(vexa_export_xml(VProp(), 2),
              "<root idx=\"1\" isempty=\"1\" type=\"cell\" size=\"0 0\" vprop_version=\"1\" />\n");
}

TEST(XmlExport, NativeDocumentOfAStructure) {
    VProp p;
    p["a"] = 1;
    p["b"];
    p["c"] = VProparray<double>{inf, -inf, nan};
    p["d"].set<VProp>() = 2l;
    p["e"] = VProparray<VProp>{VProp(true)};
    p["f"] = VProparray<VPropstring>{L"x", L""};
    p["g(1).m"] = VPropstring(L"t");
    p["g(0).m"] = VPropstring();
    p["g(0).n"] = 1u;
    p["g(1).n"] = 2u;
    p.set<VPropstruct>()[2].second.get_arr(true)->userbits = 6;
    EXPECT_EQ(vexa_export_xml(p, 2),
              R"(<root idx="1" type="struct" size="1 1" vprop_version="1">
    <a idx="1" type="int32" size="1 1">1</a>
    <b idx="1" isempty="1" type="cell" size="0 0" />
    <c idx="1" userbits="6" type="double" size="1 3">Inf -Inf NaN</c>
    <d idx="1" isnoarr="1" type="cell" size="1 1">
        <item idx="1" type="int64" size="1 1">2</item>
    </d>
    <e idx="1" isarr="1" userbits="0" type="cell" size="1 1">
        <item idx="1" type="logical" size="1 1">1</item>
    </e>
    <f idx="1" userbits="1" type="cell" size="1 2">
        <item idx="1" type="char" size="1 1">x</item>
        <item idx="2" type="char" size="0 0"></item>
    </f>
    <g idx="1" userbits="0" type="struct" size="1 2">
        <m idx="1" type="char" size="0 0"></m>
        <n idx="1" type="uint32" size="1 1">1</n>
        <m idx="2" type="char" size="1 1">t</m>
        <n idx="2" type="uint32" size="1 1">2</n>
    </g>
</root>
)");
    EXPECT_EQ(round_trip(p), p);
    EXPECT_EQ(std::as_const(p)["f"].get_arr(true)->userbits, 1u) << "the writer marks the array itself";
}

TEST(XmlExport, LVDataDocument) {
    EXPECT_EQ(vexa_export_xml(VProp(3), 1),
              R"(<?xml version="1.0" standalone="yes" ?>
<LVData>
    <Version>8.2.1</Version>
    <DefaultValueCausedByCreatingAnElementWithNoParameters idx="1" type="int32" size="1 1">3)"
              "</DefaultValueCausedByCreatingAnElementWithNoParameters>\n</LVData>\n");
    EXPECT_EQ(round_trip(VProp(3), 1), VProp(3));
}

TEST(XmlExport, TextOfTheTopValue) {
    EXPECT_EQ(vexa_export_xml(VProparray<short>{1, -2, 3}, 3), "1 -2 3");
    EXPECT_EQ(vexa_export_xml(VProparray<bool>{true, false}, 3), "1 0");
    EXPECT_EQ(vexa_export_xml(VProparray<unsigned char>{65, 200}, 3), "65 200");
    EXPECT_EQ(vexa_export_xml(VPropstring(L"<&#x41; >"), 3), "<&#x41; >");
    EXPECT_EQ(vexa_export_xml(VPropstring(), 3), "");
    EXPECT_EQ(vexa_export_xml(vexa_EMPTY(), 3), "");
    VEXA_EXPECT_THROWS(vexa_export_xml(VPropstruct(), 3), ticpp::Exception,
                       "Text does not exist in the current element");
}

TEST(XmlExport, OtherSelectorsGiveNothing) {
    for (int format : {0, 4, 0x1002, 0x1001, 0x1000, -1}) EXPECT_EQ(vexa_export_xml(VProp(1), format), "");
    EXPECT_EQ(vexa_export_xml(VProp(1), 0x70003), "1");
}

TEST(XmlExport, RefusesNamesThatNoElementCanHave) {
    for (char const* name : {"1a", "a b", "<x>", "a=", "-"}) {
        VPropstruct s;
        s.emplace_back(name, 1);
        VEXA_EXPECT_THROWS(vexa_export_xml(s, 2), std::runtime_error,
                           "Invalid element name '" + std::string(name) + "' in xml export.");
    }
    VPropstruct s;
    s.emplace_back("\xC3\xA9:a.b-c_1", 1);
    s.emplace_back("\xC3", 2);
    EXPECT_EQ(round_trip(s), VProp(s));
    s.emplace_back("", 3);
    EXPECT_EQ(round_trip(s).get<VPropstruct>()[2].first, "item");
}

TEST(XmlExport, AShapeThatDoesNotFitIsAnError) {
    VProparray<int> array{1, 2, 3};
    array.size_vector = {2, 2};
    VEXA_EXPECT_THROWS(vexa_export_xml(array, 2), std::runtime_error,
                       "Invalid size vector in property array.");
}

TEST(XmlExport, ShorterElementsOfAStructureArrayAreFilledUp) {
    VProp p;
    p["(2).x"] = 1;
    p["(2).y"] = 2;
    p["(1).y"] = 3;
    VProp const back = round_trip(p);
    EXPECT_EQ(back["(2).x"].get<int>(), 1);
    EXPECT_EQ(back["(2).y"].get<int>(), 2);
    EXPECT_EQ(back["(1).y"].get<int>(), 3);
    EXPECT_TRUE(back["(1).x"].empty());
    EXPECT_TRUE(back["(0).x"].empty());
    EXPECT_EQ(back.get<VProparray<VPropstruct>>()[0].size(), 2u);
}

TEST(XmlRoundTrip, OneElementArraysStayArrays) {
    EXPECT_EQ(vexa_export_xml(VProparray<double>{2.5}, 2),
              "<root idx=\"1\" isarr=\"1\" userbits=\"0\" type=\"double\" size=\"1 1\" "
              "vprop_version=\"1\">2.5</root>\n");
    EXPECT_EQ(round_trip(VProparray<double>{2.5}), VProp(VProparray<double>{2.5}));
    EXPECT_EQ(round_trip(2.5), VProp(2.5));
    EXPECT_EQ(round_trip(VProparray<VPropstruct>(1)), VProp(VProparray<VPropstruct>(1)));
    EXPECT_EQ(round_trip(VProparray<VPropstring>{L"a"}), VProp(VProparray<VPropstring>{L"a"}));
    VProparray<int> cube{7};
    cube.size_vector = {1, 1, 1};
    EXPECT_EQ(round_trip(cube), VProp(cube));
}

TEST(XmlRoundTrip, RealNumbersKeepTheirBits) {
    for (double const value :
         {0.1, -0.0, 1e-308, 5e-324, std::numeric_limits<double>::max(), 1.0 / 3.0, 1e22}) {
        double const back = round_trip(value).get<double>();
        EXPECT_EQ(std::memcmp(&back, &value, sizeof value), 0) << value;
    }
    for (float const value : {0.1f, 1e-45f, std::numeric_limits<float>::max(), -3.3f}) {
        float const back = round_trip(value).get<float>();
        EXPECT_EQ(std::memcmp(&back, &value, sizeof value), 0) << value;
    }
}

TEST(XmlRoundTrip, NonFiniteNumbers) {
    EXPECT_TRUE(std::isnan(round_trip(nan).get<double>()));
    EXPECT_EQ(round_trip(-inf).get<double>(), -inf);
    VProparray<double> const all{inf, -inf, nan, 1};
    auto const back = round_trip(all).get<VProparray<double>>();
    ASSERT_EQ(back.size(), 4u);
    EXPECT_EQ(back[0], inf);
    EXPECT_EQ(back[1], -inf);
    EXPECT_TRUE(std::isnan(back[2]));
    auto const c = round_trip(std::complex<float>(static_cast<float>(nan), static_cast<float>(-inf)));
    EXPECT_TRUE(std::isnan(c.get<std::complex<float>>().real()));
    EXPECT_EQ(c.get<std::complex<float>>().imag(), -inf);
}

TEST(XmlRoundTrip, ExtremesOfIntegers) {
    EXPECT_EQ(round_trip(VProparray<unsigned long>{0, ~0ul}), VProp(VProparray<unsigned long>{0, ~0ul}));
    VProparray<long> const longs{std::numeric_limits<long>::min(), std::numeric_limits<long>::max()};
    EXPECT_EQ(round_trip(longs), VProp(longs));
    VProparray<signed char> const bytes{-128, 127};
    EXPECT_EQ(round_trip(bytes), VProp(bytes));
}

TEST(XmlRoundTrip, ArraysWithShapesAndBits) {
    VProparray<VProp> cells{VProp(1),          VProp(),
                            VPropstring(L"s"), VProparray<bool>{true, false},
                            VPropstruct(),     VProp(vexa_EMPTY())};
    cells.size_vector = {2, 3};
    cells.userbits = 0xFFFFFFFFFFFFFFFEul;
    VProp const back = round_trip(cells);
    EXPECT_EQ(back, VProp(cells));
    EXPECT_EQ(back.get_arr(true)->userbits, 0xFFFFFFFFFFFFFFFEul);
    EXPECT_EQ(back.get_arr(true)->size_vector, (std::vector<unsigned long>{2, 3}));
    VProparray<std::complex<double>> const complexes{{1, 2}, {3, -4}};
    EXPECT_EQ(round_trip(complexes), VProp(complexes));
}

TEST(XmlRoundTrip, EmptyArrays) {
    EXPECT_EQ(round_trip(VProparray<VProp>()), VProp(VProparray<VProp>()));
    EXPECT_EQ(round_trip(VProparray<double>()), VProp(VProparray<double>()));
    EXPECT_EQ(round_trip(VProparray<VPropstring>()), VProp(VProparray<VPropstring>()));
    EXPECT_EQ(round_trip(VProparray<VPropstruct>()), VProp(VProparray<VPropstruct>()));
    EXPECT_EQ(round_trip(VProparray<VPropstruct>(3)), VProp(VProparray<VPropstruct>(3)));
    VProparray<float> flat;
    flat.size_vector = {0, 4};
    EXPECT_EQ(round_trip(flat), VProp(flat));
    EXPECT_EQ(vexa_export_xml(VProparray<VProp>(), 2),
              "<root idx=\"1\" userbits=\"0\" type=\"cell\" size=\"0 0\" vprop_version=\"1\" />\n");
}

TEST(XmlRoundTrip, EmptyHandlesKeepTheirPlace) {
    VPropstruct s;
    s.emplace_back("a", 1);
    s.emplace_back("b", VProp());
    s.emplace_back("c", 3);
    auto const back = round_trip(s).get<VPropstruct>();
    ASSERT_EQ(back.size(), 3u);
    EXPECT_EQ(back[1].first, "b");
    EXPECT_TRUE(back[1].second.empty());
    EXPECT_TRUE(round_trip(VProp()).empty());
}

TEST(XmlRoundTrip, DuplicateMembersStay) {
    VPropstruct s;
    s.emplace_back("a", 1);
    s.emplace_back("a", 2);
    EXPECT_EQ(round_trip(s).get<VPropstruct>()[1].second.get<int>(), 2);
}

TEST(XmlRoundTrip, StringArraysAreMarked) {
    VProp const p = VProparray<VPropstring>{L"a", L"b"};
    EXPECT_EQ(p.get_arr(true)->userbits, 0u);
    VProp const back = round_trip(p);
    EXPECT_EQ(back.get_id(), static_cast<int>(0x80020000));
    EXPECT_EQ(back.get_arr(true)->userbits, 1u);
    EXPECT_EQ(p.get_arr(true)->userbits, 1u);
}

TEST(XmlRoundTrip, AnyText) {
    std::string all_bytes;
    for (int i = 0; i < 256; ++i) all_bytes.push_back(static_cast<char>(i));
    for (std::string const& text :
         {std::string(), std::string(" "), std::string("  \t\n"), std::string(" lead and trail \r\n"),
          std::string("&#x41;&amp;&lt;&#65;"), std::string("&#x"), std::string("&&#x#x;"), std::string("]]>"),
          std::string("\"'<>&"), std::string("\xEF\xBB\xBF"), std::string("x\xEF\xBF\xBE\xEF\xBF\xBF"),
          std::string("\xED\xB0\xA0"), std::string("a\0b", 3), std::string("\0", 1), std::string("\x7F\x80"),
          std::string("\xE2\x82\xAC\xF0\x9F\x98\x80"), std::string("\xF0\x9F"), all_bytes}) {
        for (int const format : {1, 2}) {
            VProp const p = VPropstring::from_utf8(text);
            EXPECT_EQ(round_trip(p, format).get<VPropstring>().to_utf8(), text) << format;
            VProp const in_array = VProparray<VPropstring>{p.get<VPropstring>(), L"z"};
            EXPECT_EQ(round_trip(in_array, format), in_array);
        }
    }
}

TEST(XmlRoundTrip, SeparateTreesOnSeparateThreads) {
    auto const work = [](int seed) {
        for (int i = 0; i < 50; ++i) {
            VProp p;
            p["a{2}.b"] = seed + i;
            p["c"] = VPropstring::from_utf8(std::to_string(seed));
            EXPECT_EQ(round_trip(p), p);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, 1000 * i);
    for (auto& thread : threads) thread.join();
}

TEST(XmlRoundTrip, ClassicNumbersUnderAnyLocale) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    VProparray<double> array(2000, 1234567.25);
    VProp const back = round_trip(array);
    std::locale::global(before);
    EXPECT_EQ(back, VProp(array));
    EXPECT_EQ(vexa_export_xml(VProparray<int>{1234567}, 3), "1234567");
}

TEST(XmlImport, TellsTheFormsApart) {
    std::string const lvdata = "<LVData><Version>9.0</Version><X type=\"int32\">4</X></LVData>";
    std::string const old_native = "<top xml_tb_version=\"3\" type=\"int32\">5</top>";
    EXPECT_EQ(vexa_import_xml(lvdata, 0), VProp(4));
    EXPECT_EQ(vexa_import_xml(lvdata, 1), VProp(4));
    EXPECT_EQ(vexa_import_xml(lvdata, 0x50001), VProp(4));
    EXPECT_EQ(message_of(lvdata, 2), "Specified format does not match the xml string.");
    EXPECT_EQ(vexa_import_xml(old_native, 0), VProp(5));
    EXPECT_EQ(message_of(old_native, 1), "Specified format does not match the xml string.");
    EXPECT_EQ(message_of(native("type=\"int32\"", "1"), 1),
              "Specified format does not match the xml string.");
    EXPECT_EQ(message_of(native("type=\"int32\"", "1"), 3),
              "Specified format does not match the xml string.");
    EXPECT_EQ(message_of("<LVData><Version>9.0</Version></LVData>"), "Element 'LVData' has no value");
}

TEST(XmlImport, RefusesNewerVersions) {
    EXPECT_EQ(message_of("<root vprop_version=\"2\" type=\"int32\">1</root>"),
              "Xml input of newer version than library.");
    EXPECT_EQ(message_of("<root vprop_version=\"x\" type=\"int32\">1</root>"),
              "Could not convert \"x\" to target type");
    EXPECT_EQ(message_of("<root vprop_version=\"0\" type=\"int32\">1</root>"),
              "Could not determine xml format.");
}

TEST(XmlImport, AnotherRootIsReadWhenTheFormIsGiven) {
    std::string const text = "<other type=\"double\">2.5</other>";
    EXPECT_EQ(message_of(text, 0), "Could not determine xml format.");
    EXPECT_EQ(vexa_import_xml(text, 1), VProp(2.5));
    EXPECT_EQ(vexa_import_xml(text, 2), VProp(2.5));
}

TEST(XmlImport, ScalarTextIsNotValidated) {
    EXPECT_EQ(import_native("type=\"double\"", "abc"), VProp(0.0));
    EXPECT_EQ(import_native("type=\"double\""), VProp(0.0));
    EXPECT_EQ(import_native("type=\"double\"", " 1.5 rest"), VProp(1.5));
    EXPECT_EQ(import_native("type=\"double\"", "\n  -Inf"), VProp(-inf));
    EXPECT_EQ(import_native("type=\"double\"", "-Inx"), VProp(0.0));
    EXPECT_EQ(import_native("type=\"double\"", "1e999"), VProp(0.0));
    EXPECT_EQ(import_native("type=\"uint8\"", "300"), VProp(static_cast<unsigned char>(0)));
    EXPECT_EQ(import_native("type=\"uint16\"", "-1"), VProp(static_cast<unsigned short>(0)));
    EXPECT_EQ(import_native("type=\"int8\"", "65"), VProp(static_cast<signed char>(65)));
    EXPECT_EQ(import_native("type=\"cplx_single\"", "( 1 , 2 )"), VProp(std::complex<float>(1, 2)));
    for (char const* text : {"(1,2", "(1;2)", "1,2", "", "(x,2)"})
        EXPECT_EQ(import_native("type=\"cplx_double\"", text), VProp(std::complex<double>())) << text;
}

TEST(XmlImport, ArrayTextMustFitTheSize) {
    std::string const mismatch =
        "Invalid array shape: Size does not match number of elements.\nLocation:\nroot.a";
    auto const with_array = [](std::string const& attributes, std::string const& text) {
        return message_of(native("type=\"struct\"", "<a " + attributes + ">" + text + "</a>"));
    };
    EXPECT_EQ(with_array("type=\"double\" size=\"1 3\"", "1 2"), mismatch);
    EXPECT_EQ(with_array("type=\"double\" size=\"1 3\"", "1 abc 3"), mismatch);
    EXPECT_EQ(with_array("type=\"double\" size=\"1 2\"", "abc"), mismatch);
    EXPECT_EQ(with_array("type=\"double\" size=\"1099511627776 1\"", "1 2"), mismatch);
    EXPECT_EQ(with_array("type=\"double\" size=\"4294967296 4294967296\"", ""), mismatch);
    EXPECT_EQ(with_array("type=\"cell\" size=\"1099511627776 1\"", ""), mismatch);
    EXPECT_EQ(with_array("type=\"cell\" userbits=\"1\" size=\"9 9\"", "<item>x</item>"), mismatch);
    EXPECT_EQ(import_native("type=\"double\" size=\"0 0\"", "abc"), VProp(VProparray<double>()));
    EXPECT_EQ(import_native("type=\"int32\" size=\"2 1 junk\"", " 7\n8 "),
              vexa_import_xml(native("type=\"int32\" size=\"2 1\"", "7 8"), 0));
}

TEST(XmlImport, UnknownTypesAreNamedWithTheirPlace) {
    EXPECT_EQ(message_of(native("type=\"float\"", "1")),
              "Unknown type 'float' in xml string.\nLocation:\nroot");
    EXPECT_EQ(message_of(native("type=\"struct\"", "<a type=\"none\"/>")),
              "Unknown type 'none' in xml string.\nLocation:\nroot.a");
    EXPECT_EQ(message_of(native("type=\"struct\"", "<a type=\"cplx_uint8\">1</a>")),
              "Unknown type 'cplx_uint8' in xml string.\nLocation:\nroot.a");
    EXPECT_EQ(message_of(native("type=\"empty\" size=\"1 2\"", "")),
              "Unknown type 'empty' in xml string.\nLocation:\nroot");
    EXPECT_EQ(message_of("<LVData><Version>9</Version><C><D/></C></LVData>"),
              "Unknown type '' in xml string.\nLocation:\nLVData.C");
}

TEST(XmlImport, StructureArrays) {
    VProp const p = import_native("type=\"struct\" size=\"1 2\" userbits=\"4\"",
                                  "<a type=\"int32\">1</a><b type=\"int32\">2</b>"
                                  "<a type=\"int32\">3</a><b type=\"int32\">4</b>");
    EXPECT_EQ(p["(1).b"].get<int>(), 4);
    EXPECT_EQ(p["(0).a"].get<int>(), 1);
    EXPECT_EQ(p.get_arr(true)->userbits, 4u);
    EXPECT_EQ(message_of(native("type=\"struct\" size=\"1 2\"", "<a type=\"int32\">1</a>")),
              "Invalid struct array.\nLocation:\nroot");
    EXPECT_EQ(import_native("type=\"struct\" size=\"0 2\"", "<a type=\"junk\"/>").get_arr(true)->size(), 0u);
}

TEST(XmlImport, StructuresWithoutMembersAreBounded) {
    EXPECT_EQ(message_of(native("type=\"struct\" size=\"1099511627776 1\"", "")),
              "Too many structures without members.\nLocation:\nroot");
    std::string const many = "<a type=\"struct\" size=\"65536 1\"/>";
    EXPECT_EQ(import_native("type=\"struct\"", many)["a"].get_arr(true)->size(), 65536u);
    EXPECT_EQ(message_of(native("type=\"struct\"", many + "<b type=\"struct\" size=\"1 2\"/>")),
              "Too many structures without members.\nLocation:\nroot.b");
    VEXA_EXPECT_THROWS(vexa_export_xml(VProparray<VPropstruct>(65537), 2), std::runtime_error,
                       "Property tree exceeds the limits of its xml form.");
}

TEST(XmlImport, Cells) {
    EXPECT_EQ(import_native("type=\"cell\" isnoarr=\"1\"", "<x type=\"int32\">1</x>").get<VProp>(), VProp(1));
    EXPECT_TRUE(import_native("type=\"cell\" isnoarr=\"1\"").get<VProp>().empty());
    EXPECT_TRUE(import_native("type=\"cell\" isempty=\"1\" size=\"0 0\"").empty());
    EXPECT_EQ(import_native("type=\"cell\" isempty=\"0\" size=\"0 0\""), VProp(VProparray<VProp>()));
    VProp const strings = import_native("type=\"cell\" ischar=\"2\" size=\"1 1\"", "<item>s</item>");
    EXPECT_EQ(strings, VProp(VProparray<VPropstring>{L"s"}));
    EXPECT_EQ(strings.get_arr(true)->userbits, 1u);
    EXPECT_EQ(import_native("type=\"cell\" size=\"1 1\"", "<item type=\"int32\">1</item>"),
              VProp(VProparray<VProp>{VProp(1)}));
    EXPECT_EQ(message_of(native("type=\"cell\" userbits=\"x\"", "")),
              "Could not convert \"x\" to target type\nLocation:\nroot");
}

TEST(XmlImport, UserbitsOfAScalarAreIgnored) {
    EXPECT_EQ(import_native("type=\"int32\" userbits=\"3\"", "1"), VProp(1));
}

TEST(XmlImport, ComplexOfTwoChildren) {
    EXPECT_EQ(import_native("type=\"complex\"", "<a type=\"double\">1</a><b type=\"double\">2</b>"),
              VProp(std::complex<double>(1, 2)));
    EXPECT_EQ(import_native("type=\"complex\"", "<a type=\"single\">1</a><b type=\"single\">2</b>"),
              VProp(std::complex<float>(1, 2)));
    VProp const array = import_native("type=\"complex\"", "<a type=\"double\" size=\"2 1\">1 2</a>"
                                                          "<b type=\"double\" size=\"2 1\">3 4</b>");
    VProparray<std::complex<double>> expected{{1, 3}, {2, 4}};
    expected.size_vector = {2, 1};
    EXPECT_EQ(array, VProp(expected));
    EXPECT_EQ(message_of(native("type=\"complex\"", "<a type=\"double\">1</a>")),
              "Malformed 'complex' element.\nLocation:\nroot");
    EXPECT_EQ(message_of(native("type=\"complex\"", "<a type=\"double\">1</a><b type=\"single\">1</b>")),
              "Real and imaginary part have different types in 'complex' element.\nLocation:\nroot");
    EXPECT_EQ(message_of(native("type=\"complex\"", "<a type=\"int32\">1</a><b type=\"int32\">1</b>")),
              "Invalid type in 'complex' element.\nLocation:\nroot");
    EXPECT_EQ(message_of(native("type=\"complex\"", "<a type=\"double\" size=\"1 2\">1 2</a>"
                                                    "<b type=\"double\" size=\"1 3\">1 2 3</b>")),
              "Invalid array shape: Size does not match number of elements.\nLocation:\nroot");
}

TEST(XmlImport, BlanksAloneAreTextOnlyIfTheSizeSaysSo) {
    EXPECT_EQ(import_native("type=\"char\" size=\"1 2\"", "  "), VProp(VPropstring(L"  ")));
    EXPECT_EQ(import_native("type=\"char\" size=\"0 0\"", "\n    "), VProp(VPropstring()));
    EXPECT_EQ(import_native("type=\"char\" size=\"1 9\"", "&#x20;<![CDATA[&#x41;]]><!-- no -->&foo;&#65;"),
              VProp(VPropstring(L" &#x41;&foo;A")));
}

TEST(XmlImport, TargetsWithContentKeepTheirType) {
    ticpp::Document document;
    document.Parse("<a type=\"int32\">7</a>");
    VPropXmlParser parser;
    VProp p = 1;
    parser.import_xml(document.FirstChildElement(), p);
    EXPECT_EQ(p, VProp(7));
    VProp q = 1.0;
    VEXA_EXPECT_THROWS(parser.import_xml(document.FirstChildElement(), q), std::runtime_error,
                       "Type mismatch: found double, expected int32");
    EXPECT_EQ(VPropXmlParser::get_element_location(nullptr), "<unknown-location>");
}

struct Malformed {
    char const* text;
    char const* description;
    int line;
    int column;
};

TEST(XmlImport, MalformedTextIsRefusedWithItsPlace) {
    for (Malformed const& m : std::vector<Malformed>{
             {"", "There is no element.", 1, 1},
             {"   \n", "There is no element.", 2, 1},
             {"text", "Text stands outside of the root element.", 1, 1},
             {"<a/>x", "Text stands outside of the root element.", 1, 5},
             {"<a/>&lt;", "Text stands outside of the root element.", 1, 5},
             {"<a/><![CDATA[x]]>", "Text stands outside of the root element.", 1, 14},
             {"<a/><b/>", "There is more than one root element.", 1, 6},
             {"<a>\n<b>", "Element 'b' has no end.", 2, 4},
             {"<a></b>", "There is no element 'b' to end.", 1, 8},
             {"</a>", "There is no element 'a' to end.", 1, 5},
             {"<a", "A tag has no end.", 1, 3},
             {"<a b", "An attribute has no value.", 1, 5},
             {"<a b=", "An attribute value is not quoted.", 1, 6},
             {"<a b=1/>", "An attribute value is not quoted.", 1, 6},
             {"<a b='1/>", "An attribute value has no end.", 1, 7},
             {"<a b='1' b='2'/>", "Attribute 'b' is given twice.", 1, 11},
             {"<a></a", "A tag has no end.", 1, 7},
             {"< a/>", "A name is missing.", 1, 2},
             {"<1/>", "A name is missing.", 1, 2},
             {"<a><!-- x --</a>", "A comment has no end.", 1, 8},
             {"<a><![CDATA[x]]</a>", "A CDATA section has no end.", 1, 13},
             {"<?xml version=\"1.0\"", "A processing instruction has no end.", 1, 3},
             {"<!DOCTYPE a", "A document type has no end.", 1, 3},
             {"<!DOCTYPE a [<!ENTITY b \"c\">]><a/>",
              "A document type with declarations of its own is not supported.", 1, 29},
             {"<a>&#x110000;</a>", "A character reference is invalid.", 1, 7},
             {"<a>&#xD800;</a>", "A character reference is invalid.", 1, 7},
             {"<a>&#;</a>", "A character reference is invalid.", 1, 6},
             {"<a>&#12</a>", "A character reference is invalid.", 1, 6},
             {"<a>&#xFFFFFFFFFFFFFFFFFFFF;</a>", "A character reference is invalid.", 1, 7},
             {"<a b='&#-1;'/>", "A character reference is invalid.", 1, 9}})
        EXPECT_EQ(message_of(m.text, 2), parse_error(m.description, m.line, m.column)) << m.text;
}

TEST(XmlImport, AcceptsWhatWellFormedDocumentsHave) {
    std::string const text = "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<!DOCTYPE root>\n<!-- <x> -->"
                             "<root vprop_version = '1'\n type='struct' note='\"&quot;&#x41;<'>\n"
                             "<!-- -- --><a type='char' size='1 3'>x<![CDATA[<]]>y</a >"
                             "<\xC3\xA9 type='int32'\t>3</\xC3\xA9></root><?end?>\n";
    VProp const p = vexa_import_xml(text + std::string(3, '\0'), 0);
    EXPECT_EQ(p["a"], VProp(VPropstring(L"x<y")));
    EXPECT_EQ(p.get<VPropstruct>()[1].first, "\xC3\xA9");
    EXPECT_EQ(p.get<VPropstruct>()[1].second, VProp(3));
}

TEST(XmlImport, TruncatedSequencesAtAnyPlaceAreHarmless) {
    std::string const text = native("type=\"char\" size=\"1 3\"", "\xE2\x82\xAC");
    for (std::size_t length = 0; length <= text.size(); ++length) {
        for (char const* tail :
             {"", "\xF0", "\xEF\xBB", "\xE2\x82", "<!--", "<?", "<![CDATA[", "&", "&#x", "\xEF"})
            message_of(text.substr(0, length) + tail, 2);
    }
    EXPECT_EQ(vexa_import_xml(native("type=\"char\" size=\"1 1\"", "\xF0"), 0).get<VPropstring>().to_utf8(),
              "\xF0");
    EXPECT_EQ(
        vexa_import_xml(native("type=\"char\" size=\"1 2\"", "\xEF\xBB"), 0).get<VPropstring>().to_utf8(),
        "\xEF\xBB");
}

std::string nested_text(int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i)
        text += i == 0 ? "<root vprop_version=\"1\" type=\"struct\">" : "<a type=\"struct\">";
    for (int i = levels; i-- > 0;) text += i == 0 ? "</root>" : "</a>";
    return text;
}

TEST(XmlImport, NestingIsBounded) {
    EXPECT_NO_THROW(vexa_import_xml(nested_text(1000), 0));
    EXPECT_EQ(message_of(nested_text(1001)).substr(0, 86),
              "Could not parse xml text.\nDescription: Elements are nested more than 1000 levels deep.");
    EXPECT_EQ(message_of(nested_text(1'000'000)).substr(0, 86),
              "Could not parse xml text.\nDescription: Elements are nested more than 1000 levels deep.");
}

VProp nested_structs(int levels) {
    VProp p = VPropstruct();
    for (int i = 1; i < levels; ++i) {
        VPropstruct s;
        s.emplace_back("a", std::move(p));
        p = std::move(s);
    }
    return p;
}

TEST(XmlExport, NestingIsBoundedSoThatTheTextCanBeRead) {
    for (int const format : {1, 2}) {
        int const most = format == 1 ? 999 : 1000;
        EXPECT_EQ(round_trip(nested_structs(most), format), nested_structs(most));
        for (int const levels : {most + 1, 200'000})
            VEXA_EXPECT_THROWS(vexa_export_xml(nested_structs(levels), format), std::runtime_error,
                               "Property tree exceeds the limits of its xml form.");
    }
}

TEST(XmlImport, EveryKindOfContainerMayBeNestedToTheLimit) {
    for (std::string const attributes : {"type=\"cell\"", "type=\"cell\" isnoarr=\"1\"",
                                         "type=\"struct\" isarr=\"1\"", "type=\"complex\""}) {
        std::string text = "<i type=\"double\">1</i>";
        for (int i = 0; i < 999; ++i) text = "<a " + attributes + ">" + text + "</a>";
        EXPECT_EQ(message_of(text, 2).substr(0, 10),
                  attributes[6] == 'c' && attributes[7] == 'o' ? "Malformed " : "no error");
    }
    std::string text = "<i type=\"double\">1</i>";
    for (int i = 0; i < 999; ++i) text = "<a type=\"complex\">" + text + "<b type=\"double\">1</b></a>";
    EXPECT_EQ(message_of(text, 2).substr(0, 51), "Real and imaginary part have different types in 'co");
}

TEST(XmlImport, ManyAttributesAreRefused) {
    std::string attributes;
    for (int i = 0; i < 300; ++i) attributes += " a" + std::to_string(i) + "=''";
    EXPECT_NE(message_of("<a" + attributes + "/>", 2).find("There are too many attributes."),
              std::string::npos);
}

TEST(PropFormat, RestoresThePositionOfAFailedRead) {
    VPropFormat const format;
    auto stream = VPropFormat::new_input("x Inf");
    double value = 5;
    EXPECT_FALSE(format.string2real(stream, value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(stream.get(), 'x');
    EXPECT_TRUE(format.string2real(stream, value));
    EXPECT_EQ(value, inf);
    EXPECT_FALSE(format.string2real(stream, value));
}

std::filesystem::path shared_data() {
    if (char const* const folder = std::getenv("VEXA_SHARED_DATA")) return folder;
    return std::filesystem::path(VEXA_SOURCE_DIR) / ".." / "shared" / "data";
}

/// Flattened data as LabVIEW itself writes it: the type is the name of the element, which is another layout
/// than ours. Each file must be refused for what it is.
TEST(XmlImport, ForeignDocumentsAreRefusedClearly) {
    auto const folder = shared_data() / "lvdata";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no " << folder;
    int count = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        std::string const text{std::istreambuf_iterator<char>(stream), {}};
        bool const lvdata = text.find("<LVData") != std::string::npos;
        std::string const unknown = "Unknown type '' in xml string.\nLocation:\n";
        if (lvdata) {
            EXPECT_EQ(message_of(text, 0).substr(0, unknown.size() + 7), unknown + "LVData.") << entry.path();
            EXPECT_EQ(message_of(text, 2), "Specified format does not match the xml string.");
        } else {
            EXPECT_EQ(message_of(text, 0), "Could not determine xml format.") << entry.path();
            EXPECT_EQ(message_of(text, 1), unknown + "Cluster");
        }
        VProp const whole = VPropstring::from_utf8(text);
        EXPECT_EQ(round_trip(whole).get<VPropstring>().to_utf8(), text);
        ++count;
    }
    EXPECT_GT(count, 0);
}

} // namespace
