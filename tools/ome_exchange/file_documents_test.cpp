// Documents that travel through a file.

#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Channel_Extension.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/document_file.h>
#include <vexa/testing/full_document.h>
#include <vexa/testing/temporary_folder.h>

#include "export_XML.h"
#include "import_XML.h"
#include "shared_documents.h"

namespace {

using namespace Vexa::testing;
using Mode = Vexa::bf::DiskFile::Mode;
using File = std::shared_ptr<Vexa::bf::FileInterface>;

constexpr char const* key = "ome_xml";

File created(std::filesystem::path const& path) { return Vexa::open_file(path, Mode::create); }
File opened(std::filesystem::path const& path) { return Vexa::open_file(path, Mode::read); }

void add_stack(Vexa::bf::FileInterface& file, std::vector<unsigned long> const& shape) {
    Vexa::arrays::StackImp const stack(Vexa::types::uint8, shape);
    file.write_stack(&stack, 0);
}

template <typename Array>
auto& second(Array& array) {
    return *std::next(array.begin());
}

/// The parts of the tags that stand for elements of each class, and references to them.
char const* const all_classes[] = {
    "<OME ", "<Project ", "<Dataset ", "<Folder ", "<Processing>", "<Instrument ", "<pinhole ",
    "<Microscope ", "<Laser ", "<Detector ", "<Objective ", "<Filter ", "<TransmittanceRange ", "<dye ",
    "<band ", "<Image ", "<Pixels ", "<MetadataOnly/>", "<ObjectiveSettings ", "<Modulo ", "<ModuloAlongZ ",
    "<ModuloAlongC ", "<ModuloAlongT ", "<Channel ", "<LightSourceSettings ", "<DetectorSettings ",
    "<LightPath>", "<emission_filter_settings>", "<aberrations ", "<excitation>", "<deactivation ",
    "<other_light_source_settings ", "<gating ", "<line ", "<RESCUE ", "<other_detector_settings>",
    "<detector_elements ", "<Plane ", "<ROI ", "<Line ", "<Rectangle ", "<Transform ",
    "<StructuredAnnotations>", "<XMLAnnotation ",
    // references
    "<DatasetRef ", "<FolderRef ", "<ImageRef ", "<ROIRef ", "<InstrumentRef ", "<AnnotationRef ",
    "<ExcitationFilterRef ", "<EmissionFilterRef ", "<dye_reference ", "<band_reference ", "<source_image ",
    "<parameter_images ",
    // annotations with a class
    "/ome/project/extension\"", "/ome/folder/extension\"", "/ome/instrument/extension\"",
    "/ome/detector/extension\"", "/ome/objective/extension\"", "/ome/image/extension\"",
    "/ome/channel/extension\"", "/ome/light_path/extension\"", "/ome/rectangle/extension\"",
    "\"openmicroscopy.org/omero/dimension/modulo\""};

class FullDocumentInAFile : public ::testing::Test {
protected:
    FullDocumentInAFile() {
        auto const file = created(path);
        fill_document(file->metadata());
        add_stack(*file, {2, 3});
        add_stack(*file, {4, 5, 6});
        tree = *file->metadata().value();
        text = file->metadata().XML();
        exported = OME::export_XML(file->metadata());
        file->close();
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
    JSON::Value tree;
    std::string text;
    std::string exported;
};

} // namespace

TEST(FullDocument, HasElementsOfEachClass) {
    OME::Root root("");
    fill_document(root);
    std::string const text = root.XML();
    for (char const* const part : all_classes) EXPECT_NE(text.find(part), text.npos) << part;
}

TEST_F(FullDocumentInAFile, ComesBackEqual) {
    auto const file = opened(path);
    EXPECT_TRUE(file->tag(key) == text);
    EXPECT_TRUE(*file->metadata().value() == tree);
    EXPECT_TRUE(file->metadata().XML() == text);
    EXPECT_EQ(file->get_num_stacks(), 2U);
    ASSERT_EQ(file->metadata().ome.images().size(), 4U);
    auto const image = std::next(file->metadata().ome.images().begin(), 2);
    EXPECT_EQ(image->storage_shape(), (std::vector<std::size_t>{2, 3, 1, 1, 1}));
    EXPECT_EQ(std::next(image)->storage_shape(), (std::vector<std::size_t>{4, 5, 6, 1, 1}));
}

TEST_F(FullDocumentInAFile, IsExportedAsBefore) {
    auto const file = opened(path);
    EXPECT_TRUE(OME::export_XML(file->metadata()) == exported);
    EXPECT_TRUE(OME::export_XML(OME::Root(exported)) == exported);
}

TEST_F(FullDocumentInAFile, ReferencesOfImagesLeadToTheSameElements) {
    auto const file = opened(path);
    OME::OME& ome = file->metadata().ome;
    OME::Image& image = second(ome.images());
    EXPECT_EQ(image.instrument(), &ome.instruments().front());
    EXPECT_EQ(image.objective_settings().referent(), &second(*ome.objectives()));
    EXPECT_EQ(image.source_images(), (std::vector<OME::Image const*>{&ome.images().front()}));
    EXPECT_EQ(image.parameter_images(), (std::vector<OME::Image const*>{&ome.images().front()}));
    ASSERT_EQ(image.rois().size(), 1U);
    EXPECT_EQ(image.rois().front().referent(), &second(ome.ROIs()));
    ASSERT_TRUE(image.extension() && image.modulo());
    EXPECT_EQ(image.type(), OME::Image::Type::derived);
    EXPECT_EQ(image.modulo()->type_t(), OME::Image_Modulo_Type::tile);
    EXPECT_FALSE(ome.images().front().extension() || ome.images().front().modulo());
    ASSERT_EQ(second(ome.datasets()).images().size(), 1U);
    EXPECT_EQ(second(ome.datasets()).images().front().referent(), &image);
    ASSERT_EQ(ome.first_folder()->images().size(), 1U);
    EXPECT_EQ(ome.first_folder()->images().front().referent(), &image);
    EXPECT_EQ(ome.first_folder()->processing_grid(), "grid");
}

TEST_F(FullDocumentInAFile, ReferencesOfChannelsLeadToTheSameElements) {
    auto const file = opened(path);
    OME::OME& ome = file->metadata().ome;
    OME::Channel& channel = second(ome.images()).channel(0);
    EXPECT_EQ(channel.light_source(), &second(*ome.light_sources()));
    EXPECT_EQ(channel.deactivation_light_source(), &second(*ome.light_sources()));
    EXPECT_EQ(channel.detector(), &second(*ome.detectors()));
    EXPECT_EQ(channel.dye(), &second(*ome.dyes()));
    EXPECT_EQ(channel.band(), &second(*ome.bands()));
    EXPECT_EQ(second(*ome.bands()).first_dye(), &second(*ome.dyes()));
    ASSERT_EQ(channel.light_path().excitation_filters().size(), 1U);
    EXPECT_EQ(channel.light_path().excitation_filters().front().referent(), &second(*ome.filters()));
    ASSERT_EQ(channel.light_path().emission_filters().size(), 1U);
    EXPECT_EQ(channel.light_path().emission_filters().front().referent(), &second(*ome.filters()));
    EXPECT_EQ(channel.acquisition_mode(), OME::Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(channel.light_path().primary_spherical_aberration(), 0.1);
    EXPECT_EQ(second(*ome.detectors()).type(), OME::Detector::Type::SPAD);
    EXPECT_EQ(second(ome.ROIs()).lines().front().transform().rotation_angle_in_radians(), 0.25);
    EXPECT_EQ(second(*ome.objectives()).immersion(), OME::Objective::Immersion::silicone);
    EXPECT_EQ(ome.ROIs().front().shape_in_meters(), (VX::XYZ<double>{1e-6, 2e-6, 3e-6}));
}

namespace {

/// Sample documents as they are and as the importer brings them into the form that is read.
class DocumentsInFiles : public SharedDocuments {
protected:
    template <typename Test>
    void for_each(Test const& test) const {
        auto const texts = shared_texts();
        EXPECT_FALSE(texts.empty());
        for (auto const& [name, text] : texts) {
            SCOPED_TRACE(name);
            test(text);
            test(OME::import_XML(text));
        }
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
};

/// A document, or why it can't be read.
struct Opened {
    explicit Opened(std::string const& text) {
        try {
            root = std::make_unique<OME::Root>(text);
        } catch (std::exception const& error) {
            refusal = error.what();
        }
    }

    std::unique_ptr<OME::Root> root;
    std::string refusal;
};

/// What the file says when it is asked for its document; empty if it has one.
std::string refusal_of(Vexa::bf::FileInterface& file) {
    try {
        file.metadata();
    } catch (std::exception const& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST_F(DocumentsInFiles, TheTextStaysAsItIs) {
    for_each([&](std::string const& text) {
        write_file_with_document(path, text);
        std::string const before = read_bytes(path);
        auto const file = opened(path);
        EXPECT_TRUE(file->tag(key) == text);
        Opened const expected(text);
        EXPECT_EQ(refusal_of(*file), expected.refusal);
        if (expected.root) {
            EXPECT_TRUE(*file->metadata().value() == *expected.root->value());
        }
        EXPECT_TRUE(file->tag(key) == text);
        file->close();
        EXPECT_TRUE(read_bytes(path) == before);
    });
}

TEST_F(DocumentsInFiles, OnesThatAreSetAsTagAreTheDocument) {
    for_each([&](std::string const& text) {
        auto const file = created(path);
        file->set_tag(key, text);
        file->close();
        Opened const expected(text);
        auto const again = opened(path);
        EXPECT_TRUE(again->tag(key) == (expected.root ? expected.root->XML() : text));
        if (expected.root) {
            EXPECT_TRUE(*again->metadata().value() == *expected.root->value());
        }
    });
}

TEST_F(DocumentsInFiles, ImagesOfStacksComeBehindTheirOwn) {
    for_each([&](std::string const& text) {
        Opened const expected(text);
        if (!expected.root) return;
        auto const number = expected.root->ome.images().size();
        auto const file = created(path);
        file->set_tag(key, text);
        add_stack(*file, {2, 3});
        JSON::Value const tree = *file->metadata().value();
        file->close();
        auto const again = opened(path);
        EXPECT_TRUE(*again->metadata().value() == tree);
        ASSERT_EQ(again->metadata().ome.images().size(), number + 1);
        auto const last = std::prev(again->metadata().ome.images().end());
        EXPECT_EQ(last->storage_shape(), (std::vector<std::size_t>{2, 3, 1, 1, 1}));
        again->metadata().ome.images().erase(last);
        if (number > 0) {
            EXPECT_TRUE(*again->metadata().value() == *expected.root->value());
        }
    });
}

TEST_F(DocumentsInFiles, TreesThatAreSetAreTheDocument) {
    for_each([&](std::string const& text) {
        Opened const expected(text);
        if (!expected.root) return;
        auto const file = created(path);
        file->metadata().set(*expected.root->value());
        file->metadata().resolve_references();
        file->close();
        auto const again = opened(path);
        EXPECT_TRUE(again->tag(key) == expected.root->XML());
        EXPECT_TRUE(*again->metadata().value() == *expected.root->value());
    });
}

TEST_F(DocumentsInFiles, AssignedOnesAreCopies) {
    for_each([&](std::string const& text) {
        Opened const source(text);
        if (!source.root) return;
        OME::Root copy("");
        copy = *source.root;
        auto const file = created(path);
        file->metadata() = *source.root;
        file->close();
        auto const again = opened(path);
        EXPECT_TRUE(again->tag(key) == copy.XML());
        EXPECT_TRUE(*again->metadata().value() == *OME::Root(copy.XML()).value());
        EXPECT_EQ(again->metadata().ome.images().size(), source.root->ome.images().size());
    });
}
