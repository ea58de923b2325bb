#include <gtest/gtest.h>

#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using namespace ::OME;

/// An image with annotations of its own and references to shared elements.
struct ImageCopy : testing::Test {
    Root root{""};
    Image& image = *root.ome.images().emplace_back<Image>(
        Image::Dimensions{.x = 4, .t = 2, .modulo_t = 3, .modulo_type_t = Image_Modulo_Type::tile}, nullptr,
        nullptr);

    ImageCopy() {
        root.ome.provide_objectives().emplace_back();
        root.ome.provide_detectors().emplace_back();
        image.name().set("first");
        image.set_instrument(*root.ome.first_instrument());
        image.set_objective("Objective:1");
        image.objective_settings().set_medium(Objective::Immersion::oil);
        image.set_rotation_angle_in_degrees(90);
        image.add_source_image(image);
        image.provide_first_channel().set_detector("Detector:1");
        image.channel(0).set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
        image.add(*root.ome.ROIs().emplace_back());
        image.plane({.t = 1}).set_position_x_in_meters(2);
    }
};

void expect_complete(Image const& copy, Root const& root) {
    EXPECT_EQ(copy.instrument(), root.ome.first_instrument());
    EXPECT_EQ(copy.objective_settings().referent(), &root.ome.objectives()->front());
    EXPECT_EQ(copy.objective_settings().medium(), Objective::Immersion::oil);
    EXPECT_EQ(copy.rotation_angle_in_degrees(), 90.0);
    EXPECT_EQ(copy.source_images(), std::vector<Image const*>{&root.ome.images().front()});
    EXPECT_EQ(copy.channel(0).detector(), &root.ome.detectors()->front());
    EXPECT_EQ(copy.channel(0).acquisition_mode(), Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(copy.rois().front().referent(), &root.ome.ROIs().front());
    EXPECT_EQ(copy.dimensions().modulo_t, 3u);
    EXPECT_EQ(copy.planes().size(), 4u);
    EXPECT_EQ(copy.plane({.t = 1})->position_x_in_meters(), 2.0);
}

} // namespace

TEST_F(ImageCopy, InOneDocumentHasAnnotationsOfItsOwn) {
    Image& copy = *root.ome.images().emplace_back();
    copy = image;
    copy.reset_ID();
    root.resolve_references();
    EXPECT_EQ(root.ome.annotations().size(), 6u);
    EXPECT_EQ(root.registry().numbers<Annotation>().all(),
              (std::multiset<int>{1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6})); // each with its reference
    EXPECT_EQ(root.ome.first_instrument()->objectives().size(), 1u);
    expect_complete(copy, root);
    copy.set_rotation_angle_in_degrees(10);
    copy.modulo()->set_range_t(Image_Modulo_Type::tile, {0, 1, 0, {}});
    copy.adjust();
    EXPECT_EQ(image.rotation_angle_in_degrees(), 90.0);
    EXPECT_EQ(image.dimensions().modulo_t, 3u);
    EXPECT_EQ(copy.dimensions().t, 6u);
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
    expect_complete(read.ome.images().front(), read);
}

TEST_F(ImageCopy, OutlivesWhatItWasMadeFrom) {
    Image& copy = *root.ome.images().emplace_back();
    copy = image;
    copy.reset_ID();
    image.reset();
    root.ome.images().erase(root.ome.images().begin());
    EXPECT_EQ(root.ome.annotations().size(), 3u);
    EXPECT_EQ(copy.channel(0).acquisition_mode(), Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(copy.dimensions().modulo_t, 3u);
    EXPECT_TRUE(copy.source_images().empty());
}

TEST_F(ImageCopy, OfADocumentIsComplete) {
    Root copy("");
    copy.ome.images().emplace_back()->set_frame_step(3); // is replaced
    copy = root;
    expect_complete(copy.ome.images().front(), copy);
    EXPECT_EQ(*Root(copy.XML()).value(), *copy.value());
    copy.ome.clear();
    EXPECT_TRUE(copy.ome.images().empty());
    EXPECT_TRUE(copy.registry().numbers<Pixels>().all().empty());
}

TEST_F(ImageCopy, InAnotherDocumentFindsWhatIsThere) {
    Root other("");
    other.ome.provide_objectives().emplace_back();
    other.ome.provide_detectors().emplace_back();
    other.ome.ROIs().emplace_back();
    Image& copy = *other.ome.images().emplace_back();
    copy = image;
    other.resolve_references();
    expect_complete(copy, other);
    EXPECT_EQ(other.ome.annotations().size(), 3u);
    Root const read(other.XML());
    EXPECT_EQ(*read.value(), *other.value());
    expect_complete(read.ome.images().front(), read);
}

TEST_F(ImageCopy, InAnotherDocumentCannotFindWhatIsMissing) {
    Root other("");
    *other.ome.images().emplace_back() = image;
    VEXA_EXPECT_THROWS(other.resolve_references(), Invalid_Argument,
                       "Incomplete data: missing Instrument:1.");
}

TEST_F(ImageCopy, OfItselfChangesNothing) {
    JSON::Value const before = *root.value();
    Image& same = image;
    image = same;
    EXPECT_EQ(*root.value(), before);
    EXPECT_EQ(image.dimensions().modulo_t, 3u);
}

TEST_F(ImageCopy, ReplacesAllThatWasThere) {
    Image& target = *root.ome.images().emplace_back();
    target.set_frame_step(3);
    target.provide_first_channel().set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
    target.description().set("gone");
    Image& empty = *root.ome.images().emplace_back();
    std::size_t const annotations = root.ome.annotations().size();
    target = empty;
    EXPECT_EQ(root.ome.annotations().size(),
              annotations - 1); // the channel's stays, as with all erased elements
    EXPECT_EQ(target.number_of_channels(), 0u);
    EXPECT_FALSE(target.description());
}
