// Each attribute of each part of an instrument: read from XML, held by its type, copied, and written back.

#include <ostream>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

struct Attribute {
    char const* element;
    char const* key;
    char const* text;      ///< as it stands in the XML
    char const* json;      ///< as it stands in the tree
    char const* malformed; ///< a text that is refused; null where any text will do
};

void PrintTo(Attribute const& attribute, std::ostream* os) { *os << attribute.element << attribute.key; }

constexpr Attribute text_of(char const* element, char const* key) {
    return {element, key, "12 µ", R"("12 µ")", nullptr};
}
constexpr Attribute number(char const* element, char const* key) {
    return {element, key, "-1.5", "-1.5", "1.5 V"};
}
constexpr Attribute truth(char const* element, char const* key) {
    return {element, key, "true", "true", "1"};
}
constexpr Attribute length_unit(char const* element, char const* key) {
    return {element, key, "µm", R"("µm")", nullptr};
}

constexpr Attribute attributes[] = {
    text_of("Microscope", "Manufacturer"),
    text_of("Microscope", "Model"),
    text_of("Microscope", "SerialNumber"),
    text_of("Microscope", "LotNumber"),
    text_of("Microscope", "Type"),
    text_of("Laser", "Manufacturer"),
    text_of("Laser", "Model"),
    text_of("Laser", "SerialNumber"),
    text_of("Laser", "LotNumber"),
    number("Laser", "Power"),
    text_of("Laser", "PowerUnit"),
    text_of("Laser", "Type"),
    text_of("Laser", "LaserMedium"),
    number("Laser", "Wavelength"),
    length_unit("Laser", "WavelengthUnit"),
    {"Laser", "FrequencyMultiplication", "-9223372036854775808", "-9223372036854775808", "2.0"},
    truth("Laser", "Tuneable"),
    text_of("Laser", "Pulse"),
    truth("Laser", "PockelCell"),
    number("Laser", "RepetitionRate"),
    {"Laser", "RepetitionRateUnit", "MHz", R"("MHz")", nullptr},
    text_of("Detector", "Manufacturer"),
    text_of("Detector", "Model"),
    text_of("Detector", "SerialNumber"),
    text_of("Detector", "LotNumber"),
    number("Detector", "Gain"),
    number("Detector", "Voltage"),
    text_of("Detector", "VoltageUnit"),
    number("Detector", "Offset"),
    number("Detector", "Zoom"),
    number("Detector", "AmplificationGain"),
    {"Detector", "Type", "EBCCD", R"("EBCCD")", "SPAD"},
    text_of("Objective", "Manufacturer"),
    text_of("Objective", "Model"),
    text_of("Objective", "SerialNumber"),
    text_of("Objective", "LotNumber"),
    text_of("Objective", "Correction"),
    {"Objective", "Immersion", "Glycerol", R"("Glycerol")", "Silicone"},
    number("Objective", "LensNA"),
    number("Objective", "NominalMagnification"),
    number("Objective", "CalibratedMagnification"),
    number("Objective", "WorkingDistance"),
    text_of("Objective", "WorkingDistanceUnit"),
    truth("Objective", "Iris"),
    text_of("Filter", "Manufacturer"),
    text_of("Filter", "Model"),
    text_of("Filter", "SerialNumber"),
    text_of("Filter", "LotNumber"),
    {"Filter", "Type", "LongPass", R"("LongPass")", nullptr},
    text_of("Filter", "FilterWheel"),
    number("TransmittanceRange", "CutIn"),
    number("TransmittanceRange", "CutOut"),
    number("TransmittanceRange", "CutInTolerance"),
    number("TransmittanceRange", "CutOutTolerance"),
    length_unit("TransmittanceRange", "CutInUnit"),
    length_unit("TransmittanceRange", "CutOutUnit"),
    length_unit("TransmittanceRange", "CutInToleranceUnit"),
    length_unit("TransmittanceRange", "CutOutToleranceUnit"),
    number("TransmittanceRange", "Transmittance"),
};

std::string name_of(testing::TestParamInfo<Attribute> const& info) {
    return std::string(info.param.element) + info.param.key;
}

struct OmeInstrumentAttribute : testing::TestWithParam<Attribute> {
    std::string const name = GetParam().element;
    bool const is_in_filter = name == "TransmittanceRange";

    std::string element(std::string const& attribute) const {
        bool const has_id = name != "Microscope" && !is_in_filter;
        std::string const word = name == "Laser" ? "LightSource" : name;
        std::string const id = has_id ? " ID=\"" + word + ":1\"" : "";
        return "<" + name + (attribute < id ? attribute + id : id + attribute) + "/>"; // as they are written
    }
    std::string instrument(std::string const& attribute) const {
        std::string const part = element(attribute);
        return R"(<Instrument ID="Instrument:1">)" +
               (is_in_filter ? R"(<Filter ID="Filter:1">)" + part + "</Filter>" : part) + "</Instrument>";
    }
    std::string instrument_with(std::string const& text) const {
        return instrument(std::string(" ") + GetParam().key + "=\"" + text + "\"");
    }
    JSON::Value const* value_in(Root const& root) const {
        JSON::Value const& contents = *root.ome.instruments().front().content.value();
        JSON::Value const* part =
            is_in_filter ? contents.find("Filter", 0, "", name, 0) : contents.find(name, 0);
        return part ? part->find(GetParam().key) : nullptr;
    }
};

} // namespace

TEST_P(OmeInstrumentAttribute, IsReadByItsTypeAndWrittenBack) {
    Root const root("<OME>" + instrument_with(GetParam().text) + "</OME>");
    ASSERT_NE(value_in(root), nullptr);
    EXPECT_EQ(JSON::dump(*value_in(root), false), GetParam().json);
    EXPECT_NE(root.XML().find(instrument_with(GetParam().text)), std::string::npos);
}

TEST_P(OmeInstrumentAttribute, IsCopiedWithItsElement) {
    Root const root("<OME>" + instrument_with(GetParam().text) + "</OME>");
    Root copy("");
    copy = root;
    EXPECT_EQ(*copy.value(), *root.value());
}

TEST_P(OmeInstrumentAttribute, IsNotWrittenWhereItIsMissing) {
    std::string const xml = "<OME>" + instrument("") + "</OME>";
    Root const root(xml);
    Root copy("<OME>" + instrument_with(GetParam().text) + "</OME>");
    copy = root;
    EXPECT_EQ(value_in(root), nullptr);
    EXPECT_EQ(value_in(copy), nullptr);
    EXPECT_NE(root.XML().find(instrument("")), std::string::npos);
}

TEST_P(OmeInstrumentAttribute, KeepsTheDocumentFromOpeningIfItIsMalformed) {
    if (!GetParam().malformed) {
        EXPECT_NO_THROW(Root("<OME>" + instrument_with("no such thing") + "</OME>"));
        return;
    }
    VEXA_EXPECT_THROWS(Root("<OME>" + instrument_with(GetParam().malformed) + "</OME>"),
                       std::bad_variant_access, "bad variant access");
}

INSTANTIATE_TEST_SUITE_P(All, OmeInstrumentAttribute, testing::ValuesIn(attributes), name_of);
