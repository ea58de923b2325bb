#include <vexa/ome/Image.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using namespace ::OME;
using std::chrono::seconds;

JSON::Time_Point const first_day{seconds(1709208000)}, second_day{seconds(1709294400)};

std::string image_in(Root const& root) {
    std::string const xml = root.XML();
    return xml.substr(xml.find("<Image "), xml.find("</Image>") + 8 - xml.find("<Image "));
}

std::string with_pixels(std::string const& attributes) {
    return "<OME><Image><Pixels " + attributes + "/></Image></OME>";
}

std::string with_extension(std::string const& extension) {
    return R"(<OME><Image><AnnotationRef ID="Annotation:1"/></Image><StructuredAnnotations>)"
           R"(<XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/image/extension"><Value><extension )" +
           extension + "/></Value></XMLAnnotation></StructuredAnnotations></OME>";
}

struct ImageTest : testing::Test {
    Root root{""};
    Image& image = *root.ome.images().emplace_back();
};

} // namespace

TEST_F(ImageTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(JSON::dump(*image.value(), false), R"({"":{"Pixels":[{"ID":"Pixels:1"}]},"ID":"Image:1"})");
    EXPECT_FALSE(image.name() || image.description() || image.significant_bits() || image.interleaved());
    EXPECT_FALSE(image.big_endian() || image.is_TIFF_data() || image.is_metadata_only());
    EXPECT_FALSE(image.acquisition_date() || image.acquisition_end_date());
    EXPECT_EQ(image.instrument(), nullptr);
    EXPECT_EQ(image.objective_settings().referent(), nullptr);
    EXPECT_EQ(image.extension(), nullptr);
    EXPECT_EQ(image.modulo(), nullptr);
    EXPECT_EQ(image.type(), Image::Type::original);
    EXPECT_FALSE(image.data_type() || image.scan_direction() || image.scan_curve());
    EXPECT_FALSE(image.frame_step() || image.line_step() || image.pixel_step());
    EXPECT_EQ(image.derivation_description(), "");
    EXPECT_TRUE(image.source_images().empty() && image.parameter_images().empty());
    EXPECT_EQ(image.number_of_channels(), 0u);
    EXPECT_EQ(image.size(), 0u);
    EXPECT_EQ(image.rotation_angle_in_radians(), 0.0);
    EXPECT_EQ(image.rotation_angle_in_degrees(), 0.0);
    EXPECT_EQ(image.rotation(), std::pair(1.0, 0.0));
    EXPECT_FALSE(image.voxel_shape_in_meters() || image.time_increment_in_seconds());
    EXPECT_FALSE(image.lifetime_increment_in_seconds() || image.first_plane_exposure_time());
    EXPECT_EQ(image.finite_voxel_shape_in_meters(), (VX::XYZ<double>{0, 0, 0}));
    image.reset_derivation_description();
    image.clear_source_images();
    image.clear_parameter_images();
    image.remove_source_image(image);
    image.remove_parameter_image(image);
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(ImageTest, StoresEachFieldOfItsOwnInItsPlace) {
    Instrument& instrument = root.ome.provide_first_instrument();
    root.ome.provide_objectives().emplace_back();
    image.name().set("cells");
    image.description().set("two of them");
    image.set_instrument(instrument);
    image.set_objective("Objective:1");
    image.objective_settings().correction_collar().set(0.17);
    image.objective_settings().set_medium(Objective::Immersion::glycerol);
    image.objective_settings().set_refractive_index(1.47);
    image.significant_bits().set(12);
    image.interleaved().set(false);
    image.big_endian().set(true);
    image.set_voxel_size_x_in_meters(1e-7);
    image.set_voxel_size_y_in_meters(2e-7);
    image.set_voxel_size_z_in_meters(5e-7);
    image.set_time_increment_in_seconds(0.25);
    image.set_TIFF_data();
    image.provide_first_channel();
    image.add(*root.ome.ROIs().emplace_back());
    EXPECT_EQ(
        image_in(root),
        R"(<Image ID="Image:1" Name="cells"><Description>two of them</Description>)"
        R"(<InstrumentRef ID="Instrument:1"/>)"
        R"(<ObjectiveSettings CorrectionCollar="0.17" ID="Objective:1" Medium="Glycerol" RefractiveIndex="1.47"/>)"
        R"(<Pixels BigEndian="true" ID="Pixels:1" Interleaved="false" PhysicalSizeX="1e-07" )"
        R"(PhysicalSizeXUnit="m" PhysicalSizeY="2e-07" PhysicalSizeYUnit="m" PhysicalSizeZ="5e-07" )"
        R"(PhysicalSizeZUnit="m" SignificantBits="12" TimeIncrement="0.25" TimeIncrementUnit="s">)"
        R"(<Channel ID="Channel:1"/><TiffData/></Pixels><ROIRef ID="ROI:1"/></Image>)");
    Root const again(root.XML());
    Image const& read = again.ome.images().front();
    EXPECT_EQ(*again.value(), *root.value());
    EXPECT_EQ(*read.name().value(), JSON::Value("cells"));
    EXPECT_EQ(*read.description().value(), JSON::Value("two of them"));
    EXPECT_EQ(read.instrument(), again.ome.first_instrument());
    EXPECT_EQ(read.objective_settings().referent(), &again.ome.objectives()->front());
    EXPECT_EQ(*read.objective_settings().correction_collar().value(), JSON::Value(0.17));
    EXPECT_EQ(read.objective_settings().medium(), Objective::Immersion::glycerol);
    EXPECT_EQ(read.objective_settings().refractive_index(), 1.47);
    EXPECT_EQ(*read.significant_bits().value(), JSON::Value(12));
    EXPECT_EQ(*read.interleaved().value(), JSON::Value(false));
    EXPECT_EQ(*read.big_endian().value(), JSON::Value(true));
    EXPECT_EQ(read.voxel_size_x_in_meters(), 1e-7);
    EXPECT_EQ(read.voxel_size_y_in_meters(), 2e-7);
    EXPECT_EQ(read.voxel_size_z_in_meters(), 5e-7);
    EXPECT_EQ(read.time_increment_in_seconds(), 0.25);
    EXPECT_TRUE(read.is_TIFF_data());
    EXPECT_EQ(read.number_of_channels(), 1u);
    EXPECT_EQ(read.rois().front().referent(), &again.ome.ROIs().front());
    EXPECT_EQ(*read.pixels_id().value(), JSON::Value("Pixels:1"));
}

TEST_F(ImageTest, StoresEachFieldOfItsExtensionInItsPlace) {
    Image& other = *root.ome.images().emplace_back();
    image.set_type(Image::Type::derived);
    image.set_rotation_angle_in_degrees(30);
    image.set_frame_step(2);
    image.set_line_step(-3);
    image.set_pixel_step(4);
    image.set_scan_curve(Image::Scan_Curve::sinusoidal);
    image.set_scan_direction(Image::Scan_Direction::bidirectional);
    image.set_derivation_description("sharpened");
    image.add_source_image(other);
    image.add_source_image(image);
    image.add_parameter_image(other);
    EXPECT_EQ(root.ome.annotations().size(), 1u);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<StructuredAnnotations")),
        R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/image/extension">)"
        R"(<Value><extension angle="30" angle_unit="deg" frame_step="2" line_step="-3" pixel_step="4" )"
        R"(scan_curve="sinusoidal" scan_direction="bidirectional" type="derived">)"
        R"(<derivation_description>sharpened</derivation_description><parameter_images ID="Image:2"/>)"
        R"(<source_image ID="Image:2"/><source_image ID="Image:1"/></extension></Value></XMLAnnotation>)"
        R"(</StructuredAnnotations></OME>)");
    Root const again(xml);
    Image const& read = again.ome.images().front();
    Image const& read_other = *std::next(again.ome.images().begin());
    EXPECT_EQ(*again.value(), *root.value());
    EXPECT_EQ(read.type(), Image::Type::derived);
    EXPECT_EQ(read.rotation_angle_in_degrees(), 30.0);
    EXPECT_EQ(read.frame_step(), 2);
    EXPECT_EQ(read.line_step(), -3);
    EXPECT_EQ(read.pixel_step(), 4);
    EXPECT_EQ(read.scan_curve(), Image::Scan_Curve::sinusoidal);
    EXPECT_EQ(read.scan_direction(), Image::Scan_Direction::bidirectional);
    EXPECT_EQ(read.derivation_description(), "sharpened");
    EXPECT_EQ(read.source_images(), (std::vector<Image const*>{&read_other, &read}));
    EXPECT_EQ(read.parameter_images(), std::vector<Image const*>{&read_other});
}

TEST_F(ImageTest, StoresItsDates) {
    image.set_acquisition_date(first_day);
    image.set_acquisition_end_date(second_day);
    EXPECT_EQ(image.acquisition_date(), first_day);
    Root const read(root.XML());
    EXPECT_EQ(read.ome.images().front().acquisition_date(), first_day);
    EXPECT_EQ(read.ome.images().front().acquisition_end_date(), second_day);
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_F(ImageTest, HasNoDateInATextThatIsNone) {
    Root const read("<OME><Image><AcquisitionDate>yesterday</AcquisitionDate></Image></OME>");
    EXPECT_FALSE(read.ome.images().front().acquisition_date());
}

TEST(ImageReading, ReadsWhatAnotherProgramWrote) {
    Root const root(
        R"(<OME><Image ID="Image:0" Name="6x6x1x8-swatch.tif"><AcquisitionDate>2010-02-23T12:51:30Z</AcquisitionDate>)"
        R"(<Pixels DimensionOrder="XYCZT" ID="Pixels:0:0" PhysicalSizeX="10000.0" PhysicalSizeY="12" PhysicalSizeYUnit="nm" )"
        R"(SignificantBits="8" SizeC="3" SizeT="2" SizeX="6" SizeY="4" SizeZ="1" Type="uint8" TimeIncrement="5" )"
        R"(TimeIncrementUnit="min"><Channel ID="Channel:0:0" SamplesPerPixel="3"/><BinData BigEndian="false" )"
        R"(Length="32">/wCrAP8AqwD/AKsA</BinData></Pixels></Image></OME>)");
    Image const& image = root.ome.images().front();
    EXPECT_EQ(image.acquisition_date(), JSON::Time_Point(seconds(1266929490)));
    EXPECT_EQ(image.data_type(), Image::Data_Type::uint8);
    EXPECT_EQ(image.storage_shape(), (std::vector<std::size_t>{6, 4, 3, 1, 2}));
    EXPECT_EQ(image.size(), 144u);
    EXPECT_DOUBLE_EQ(image.voxel_size_x_in_meters().value(), 0.01); // in micrometers unless there is a unit
    EXPECT_DOUBLE_EQ(image.voxel_size_y_in_meters().value(), 12e-9);
    EXPECT_FALSE(image.voxel_size_z_in_meters());
    EXPECT_FALSE(image.voxel_shape_in_meters());
    EXPECT_EQ(image.finite_voxel_shape_in_meters(),
              (VX::XYZ<double>{*image.voxel_size_x_in_meters(), *image.voxel_size_y_in_meters(), 0}));
    EXPECT_EQ(image.time_increment_in_seconds(), 300.0);
    EXPECT_NE(root.XML().find("<BinData BigEndian=\"false\""), std::string::npos); // has no class
}

TEST_F(ImageTest, RefusesWrongTypesWhenItIsRead) {
    for (char const* attribute :
         {"SizeX='1.5'", "SizeY='-1'", "SizeZ='many'", "SizeC=''", "SizeT='9223372036854775808'",
          "SignificantBits='x'", "Interleaved='yes'", "BigEndian='1'", "PhysicalSizeX='wide'",
          "TimeIncrement='1s'", "DimensionOrder='XYZ'", "DimensionOrder=''", "ID='Image:1'"})
        VEXA_EXPECT_THROWS(Root(with_pixels(attribute)), std::bad_variant_access, "bad variant access");
    for (char const* attribute : {"frame_step='1.5'", "angle='steep'", "line_step=''", "pixel_step='a'"})
        VEXA_EXPECT_THROWS(Root(with_extension(attribute)), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(Root("<OME><Image><ObjectiveSettings Medium='Multi'/></Image></OME>"),
                       std::bad_variant_access, "bad variant access");
}

TEST(ImageReading, FailsToReadAnUnknownEnumerator) {
    Root const root(with_pixels("Type='uint7'"));
    VEXA_EXPECT_THROWS(root.ome.images().front().data_type(), std::bad_variant_access, "bad variant access");
    Root const extended(with_extension("type='new' scan_curve='round' scan_direction='up'"));
    Image const& image = extended.ome.images().front();
    VEXA_EXPECT_THROWS(image.type(), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(image.scan_curve(), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(image.scan_direction(), std::bad_variant_access, "bad variant access");
}

TEST_F(ImageTest, RefusesEnumeratorsWithoutANameBeforeAnythingChanges) {
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(image.set_type(static_cast<Image::Type>(2)), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(image.set_scan_curve(static_cast<Image::Scan_Curve>(2)), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(image.set_scan_direction(static_cast<Image::Scan_Direction>(-1)),
                       std::bad_variant_access, "bad variant access");
    for (auto const medium : {Objective::Immersion::water_dipping, Objective::Immersion::multi,
                              Objective::Immersion::silicone, static_cast<Objective::Immersion>(8)})
        VEXA_EXPECT_THROWS(image.objective_settings().set_medium(medium), std::bad_variant_access,
                           "bad variant access");
    VEXA_EXPECT_THROWS(image.set_objective("Objective:1"), Invalid_Argument,
                       "Unknown objective 'Objective:1'.");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ImageTest, TakesTheMediaOfTheSchema) {
    using enum ::OME::Objective_Immersion;
    for (auto const medium : {air, oil, water, glycerol, other}) {
        image.objective_settings().set_medium(medium);
        EXPECT_EQ(Root(root.XML()).ome.images().front().objective_settings().medium(), medium);
    }
}

TEST_F(ImageTest, HasNumbersThatAreNotFinite) {
    double const infinity = std::numeric_limits<double>::infinity();
    image.set_voxel_shape_in_meters({1, infinity, std::numeric_limits<double>::quiet_NaN()});
    image.set_time_increment_in_seconds(-infinity);
    image.set_rotation_angle_in_radians(infinity);
    image.objective_settings().set_refractive_index(infinity);
    Root const again(root.XML());
    Image const& read = again.ome.images().front();
    EXPECT_EQ(*again.value(), *root.value());
    EXPECT_FALSE(read.voxel_shape_in_meters());
    EXPECT_EQ(read.finite_voxel_shape_in_meters(), (VX::XYZ<double>{1, 0, 0}));
    EXPECT_FALSE(read.time_increment_in_seconds());
    EXPECT_EQ(read.rotation_angle_in_radians(), 0.0);
    EXPECT_EQ(read.rotation_angle_in_degrees(), 0.0);
    EXPECT_EQ(read.objective_settings().refractive_index(), infinity);
    EXPECT_FALSE(Root(with_pixels("PhysicalSizeX='1e308' PhysicalSizeXUnit='Em'"))
                     .ome.images()
                     .front()
                     .voxel_size_x_in_meters()); // is more than a number holds
}

TEST(ImageReading, HasNoSizeInUnitsWithoutMeters) {
    Root const root(
        with_pixels("PhysicalSizeX='1' PhysicalSizeXUnit='pixel' PhysicalSizeY='1' "
                    "PhysicalSizeYUnit='reference frame' PhysicalSizeZ='1' PhysicalSizeZUnit='?'"));
    EXPECT_EQ(root.ome.images().front().finite_voxel_shape_in_meters(), (VX::XYZ<double>{0, 0, 0}));
}

TEST_F(ImageTest, HasOneNoteOfWhereItsSamplesAre) {
    image.set_TIFF_data();
    EXPECT_TRUE(image.is_TIFF_data() && !image.is_metadata_only());
    image.set_metadata_only();
    EXPECT_TRUE(!image.is_TIFF_data() && image.is_metadata_only());
    EXPECT_EQ(image_in(root),
              R"(<Image ID="Image:1"><Pixels ID="Pixels:1"><MetadataOnly/></Pixels></Image>)");
    image.set_metadata_only();
    EXPECT_TRUE(image.is_metadata_only());
    image.set_TIFF_data();
    EXPECT_EQ(image_in(root), R"(<Image ID="Image:1"><Pixels ID="Pixels:1"><TiffData/></Pixels></Image>)");
    EXPECT_TRUE(Root(root.XML()).ome.images().front().is_TIFF_data());
}

TEST_F(ImageTest, TurnsByItsAngle) {
    image.set_rotation_angle_in_radians(0.5);
    EXPECT_EQ(image.rotation_angle_in_radians(), 0.5);
    EXPECT_DOUBLE_EQ(image.rotation_angle_in_degrees(), 28.64788975654116);
    EXPECT_EQ(image.rotation(), std::pair(std::cos(0.5), std::sin(0.5)));
    image.set_rotation_angle_in_degrees(90);
    EXPECT_EQ(image.rotation_angle_in_degrees(), 90.0);
    EXPECT_DOUBLE_EQ(image.rotation_angle_in_radians(), 1.5707963267948966);
    EXPECT_EQ(image.rotation().second, 1.0);
    Root const read(with_extension("angle='100' angle_unit='gon'"));
    EXPECT_DOUBLE_EQ(read.ome.images().front().rotation_angle_in_degrees(), 90);
    EXPECT_EQ(Root(with_extension("angle='100' angle_unit='turn'"))
                  .ome.images()
                  .front()
                  .rotation_angle_in_radians(),
              0.0);
    EXPECT_EQ(Root(with_extension("angle='100'")).ome.images().front().rotation_angle_in_radians(), 0.0);
    EXPECT_EQ(Root(with_extension("angle_unit='deg'")).ome.images().front().rotation_angle_in_radians(), 0.0);
}

TEST_F(ImageTest, ForgetsSourcesThatGo) {
    Image& source = *root.ome.images().emplace_back();
    image.add_source_image(source);
    image.add_parameter_image(source);
    image.add_parameter_image(image);
    root.ome.images().remove("Image:2");
    EXPECT_TRUE(image.source_images().empty());
    EXPECT_EQ(image.parameter_images(), std::vector<Image const*>{&image});
    image.remove_parameter_image(image);
    EXPECT_TRUE(image.parameter_images().empty());
    image.clear_source_images();
    image.clear_parameter_images();
    Root const read(root.XML());
    EXPECT_TRUE(read.ome.images().front().source_images().empty());
}

TEST_F(ImageTest, RefersToRegions) {
    ::OME::ROI& first = *root.ome.ROIs().emplace_back();
    ::OME::ROI& second = *root.ome.ROIs().emplace_back();
    image.add(first);
    image.add(second);
    image.remove(first);
    image.remove(first); // not in the list
    ASSERT_EQ(image.rois().size(), 1u);
    EXPECT_EQ(image.rois().front().referent(), &second);
}

TEST_F(ImageTest, KnowsItsChannels) {
    VEXA_EXPECT_THROWS(image.channel(0), std::out_of_range, "Image has no channel 0.");
    Channel& channel = image.provide_first_channel();
    EXPECT_EQ(&image.provide_first_channel(), &channel);
    EXPECT_EQ(&image.channel(0), &channel);
    EXPECT_EQ(image.number_of_channels(), 1u);
    VEXA_EXPECT_THROWS(std::as_const(image).channel(1), std::out_of_range, "Image has no channel 1.");
}

TEST_F(ImageTest, TakesNewIdentifiersDownToItsChannels) {
    image.provide_first_channel();
    image.reset_ID();
    EXPECT_EQ(image_in(root),
              R"(<Image ID="Image:1"><Pixels ID="Pixels:1"><Channel ID="Channel:1"/></Pixels></Image>)");
    *root.ome.images().emplace_back() = image;
    image.reset_ID();
    EXPECT_EQ(image_in(root),
              R"(<Image ID="Image:2"><Pixels ID="Pixels:2"><Channel ID="Channel:2"/></Pixels></Image>)");
}

TEST_F(ImageTest, AppendsCopiesOfTheChannelsOfAnother) {
    Image& other = *root.ome.images().emplace_back();
    other.provide_first_channel().name().set("green");
    root.ome.provide_detectors().emplace_back();
    other.channel(0).set_detector("Detector:1");
    other.channel(0).set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
    image.add_channels(other);
    image.add_channels(other);
    ASSERT_EQ(image.number_of_channels(), 2u);
    EXPECT_EQ(*image.channel(1).id.value(), JSON::Value("Channel:3"));
    EXPECT_EQ(*image.channel(1).name().value(), JSON::Value("green"));
    EXPECT_EQ(image.channel(1).detector(), &root.ome.detectors()->front());
    EXPECT_EQ(image.channel(1).acquisition_mode(), Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(root.ome.annotations().size(), 3u); // each has one of its own
    image.add_channels(image);
    EXPECT_EQ(image.number_of_channels(), 4u);
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
}

TEST_F(ImageTest, TakesChannelsOfAnotherDocumentWithWhatTheyReferTo) {
    Root other("");
    Image& source = *other.ome.images().emplace_back();
    source.provide_first_channel();
    other.ome.provide_detectors().emplace_back();
    source.channel(0).set_detector("Detector:1");
    root.ome.provide_first_instrument();
    VEXA_EXPECT_THROWS(image.add_channels(source), Invalid_Argument, "Incomplete data: missing Detector:1.");
    EXPECT_EQ(image.number_of_channels(), 1u);
    root.ome.provide_detectors().emplace_back()->id.set("Detector:1");
    root.resolve_references();
    EXPECT_EQ(image.channel(0).detector(), &root.ome.detectors()->front());
}

TEST_F(ImageTest, ResetRemovesAllThatIsItsOwn) {
    image.set_frame_step(1);
    image.provide_first_channel().set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
    image.reset();
    EXPECT_TRUE(root.ome.annotations().empty());
    EXPECT_TRUE(root.registry().numbers<Image>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Pixels>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Channel>().all().empty());
    EXPECT_EQ(image.size(), 0u);
}

TEST_F(ImageTest, IsReferredToByDatasetsAndFolders) {
    Image& second = *root.ome.images().emplace_back();
    Dataset& dataset = *root.ome.datasets().emplace_back();
    Folder& folder = root.ome.provide_first_folder();
    dataset.add(image);
    dataset.add(second);
    folder.add(image);
    folder.add(second);
    dataset.remove(image);
    dataset.remove(image); // not in the list
    folder.remove(second);
    std::string const xml = root.XML();
    EXPECT_NE(xml.find(R"(<Dataset ID="Dataset:1"><ImageRef ID="Image:2"/></Dataset>)"), xml.npos);
    EXPECT_NE(xml.find(R"(<Folder ID="Folder:1"><ImageRef ID="Image:1"/></Folder>)"), xml.npos);
    Root const read(xml);
    EXPECT_EQ(*read.value(), *root.value());
    EXPECT_EQ(read.ome.datasets().front().images().front().referent(),
              &*std::next(read.ome.images().begin()));
    EXPECT_EQ(read.ome.first_folder()->images().front().referent(), &read.ome.images().front());
    VEXA_EXPECT_THROWS(Root("<OME><Dataset><ImageRef ID='Image:3'/></Dataset></OME>"), Invalid_Argument,
                       "Incomplete data: missing Image:3.");
    root.ome.images().remove("Image:1");
    EXPECT_EQ(folder.images().front().referent(), nullptr);
}

TEST_F(ImageTest, RefusesTextInPlaceOfItsChildren) {
    VEXA_EXPECT_THROWS(Root("<OME><Image>pixels</Image></OME>"), JSON::Bad_Access,
                       "Type mismatch: found string, expected map");
}
