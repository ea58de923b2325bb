#include <vexa/ome/Channel_Types.h>

#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_annotation;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

using Mode = Channel::Acquisition_Mode;

constexpr char const* mode_names[] = {"WideField",
                                      "LaserScanningConfocalMicroscopy",
                                      "SpinningDiskConfocal",
                                      "SlitScanConfocal",
                                      "MultiPhotonMicroscopy",
                                      "StructuredIllumination",
                                      "SingleMoleculeImaging",
                                      "TotalInternalReflection",
                                      "FluorescenceLifetime",
                                      "SpectralImaging",
                                      "FluorescenceCorrelationSpectroscopy",
                                      "NearFieldScanningOpticalMicroscopy",
                                      "SecondHarmonicGenerationImaging",
                                      "PALM",
                                      "STORM",
                                      "STED",
                                      "TIRF",
                                      "FSM",
                                      "LCM",
                                      "Other",
                                      "Confocal_RESCUE",
                                      "STED_RESCUE",
                                      "Confocal_Probing",
                                      "STED_Probing",
                                      "STED_with_Confocal_Probing",
                                      "STED_with_STED_Probing",
                                      "STED_RESCUE_with_Confocal_Probing",
                                      "STED_RESCUE_with_STED_Probing",
                                      "STED_Probing_with_Confocal_Probing",
                                      "STED_Probing_with_STED_Probing"};

/// A document with a new channel.
struct ChannelTypes : testing::Test {
    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    Channel& channel = *document.channels.emplace_back();
};

struct ChannelMode : ChannelTypes, testing::WithParamInterface<int> {};

} // namespace

TEST_P(ChannelMode, IsStoredWhereItBelongs) {
    Mode const mode{GetParam()};
    bool const is_in_schema = GetParam() < 20;
    std::string const name = mode_names[GetParam()];
    channel.set_acquisition_mode(mode);
    EXPECT_EQ(channel.acquisition_mode(), mode);
    EXPECT_EQ(*channel.value()->find("AcquisitionMode"), JSON::Value(is_in_schema ? name : "Other"));
    EXPECT_EQ(document.annotations_as_xml(),
              is_in_schema
                  ? ""
                  : channel_annotation(2, "channel", "<extension other_acquisition_mode=\"" + name + "\"/>"));
    ChannelDocument back(root.XML());
    EXPECT_EQ(back.channel().acquisition_mode(), mode);
    EXPECT_EQ(*back.root.value(), *root.value());
}

TEST_P(ChannelMode, ReplacesAnyOther) {
    Mode const mode{GetParam()};
    for (int before = 0; before < 30; ++before) {
        channel.set_acquisition_mode(static_cast<Mode>(before));
        channel.set_acquisition_mode(mode);
        EXPECT_EQ(channel.acquisition_mode(), mode) << before;
    }
}

TEST_P(ChannelMode, IsReadFromItsAttributeOnlyIfTheSchemaHasIt) {
    std::string const xml =
        channel_xml("<Channel AcquisitionMode=\"" + std::string(mode_names[GetParam()]) + "\"/>");
    if (GetParam() < 20)
        EXPECT_EQ(ChannelDocument(xml).channel().acquisition_mode(), Mode{GetParam()});
    else
        VEXA_EXPECT_THROWS(ChannelDocument{xml}, std::bad_variant_access, "bad variant access");
}

TEST_P(ChannelMode, IsReadFromTheAnnotationOnlyIfTheSchemaLacksIt) {
    std::string const xml =
        channel_xml(R"(<Channel AcquisitionMode="Other"><AnnotationRef ID="Annotation:2"/></Channel>)",
                    channel_annotation(2, "channel",
                                       "<extension other_acquisition_mode=\"" +
                                           std::string(mode_names[GetParam()]) + "\"/>"));
    if (GetParam() >= 20)
        EXPECT_EQ(ChannelDocument(xml).channel().acquisition_mode(), Mode{GetParam()});
    else
        VEXA_EXPECT_THROWS(ChannelDocument{xml}, std::bad_variant_access, "bad variant access");
}

INSTANTIATE_TEST_SUITE_P(All, ChannelMode, testing::Range(0, 30));

TEST_F(ChannelTypes, HasTheModeOfTheAnnotationOnlyIfItIsOther) {
    auto const mode = [](std::string const& attribute, std::string const& extended) {
        return ChannelDocument(
                   channel_xml("<Channel " + attribute + "><AnnotationRef ID='Annotation:2'/></Channel>",
                               channel_annotation(2, "channel", "<extension " + extended + "/>")))
            .channel()
            .acquisition_mode();
    };
    std::string const extended = "other_acquisition_mode='STED_Probing'";
    EXPECT_EQ(mode("AcquisitionMode='Other'", extended), Mode::STED_probing);
    EXPECT_EQ(mode("AcquisitionMode='Other'", ""), Mode::other);
    EXPECT_EQ(mode("AcquisitionMode='PALM'", extended), Mode::PALM);
    EXPECT_EQ(mode("", extended), std::nullopt);
}

TEST_F(ChannelTypes, RefusesEnumeratorsWithoutANameBeforeAnythingChanges) {
    channel.set_acquisition_mode(Mode::STED_RESCUE);
    channel.set_contrast_method(Channel::Contrast_Method::phase);
    JSON::Value const before = *root.value();
    for (int invalid : {30, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        VEXA_EXPECT_THROWS(channel.set_acquisition_mode(static_cast<Mode>(invalid)), std::bad_variant_access,
                           "bad variant access");
        VEXA_EXPECT_THROWS(channel.set_contrast_method(static_cast<Channel::Contrast_Method>(invalid)),
                           std::bad_variant_access, "bad variant access");
        VEXA_EXPECT_THROWS(channel.set_illumination_type(static_cast<Channel::Illumination_Type>(invalid)),
                           std::bad_variant_access, "bad variant access");
    }
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ChannelTypes, HasAContrastMethodAndAnIlluminationType) {
    char const* const methods[] = {
        "Brightfield", "Phase",        "DIC",  "HoffmanModulation", "ObliqueIllumination", "PolarizedLight",
        "Darkfield",   "Fluorescence", "Other"};
    for (int i = 0; i < 9; ++i) {
        channel.set_contrast_method(static_cast<Channel::Contrast_Method>(i));
        EXPECT_EQ(*channel.value()->find("ContrastMethod"), JSON::Value(methods[i]));
        EXPECT_EQ(channel.contrast_method(), static_cast<Channel::Contrast_Method>(i));
    }
    char const* const types[] = {"Transmitted", "Epifluorescence", "Oblique", "NonLinear", "Other"};
    for (int i = 0; i < 5; ++i) {
        channel.set_illumination_type(static_cast<Channel::Illumination_Type>(i));
        EXPECT_EQ(*channel.value()->find("IlluminationType"), JSON::Value(types[i]));
        EXPECT_EQ(channel.illumination_type(), static_cast<Channel::Illumination_Type>(i));
    }
}

TEST_F(ChannelTypes, OfAnUnknownMethodOpensAndFailsWhenTheMethodIsRead) {
    ChannelDocument document_of_another(
        channel_xml("<Channel ContrastMethod='Magic' IlluminationType='Candle'/>"));
    VEXA_EXPECT_THROWS(document_of_another.channel().contrast_method(), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(document_of_another.channel().illumination_type(), std::bad_variant_access,
                       "bad variant access");
    EXPECT_NE(document_of_another.channels_as_xml().find(R"(ContrastMethod="Magic")"), std::string::npos);
}
