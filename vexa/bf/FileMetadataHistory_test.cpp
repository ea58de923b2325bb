// Random histories of a file and of its OME document, against a model of both in memory.

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/random_history.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Data_Type = OME::Image::Data_Type;
using Info = Vexa::arrays::StackInfoImp;

constexpr char const* key_of_document = "ome_xml";

/// What an image should say of its stack.
struct Expected {
    Data_Type type{};
    std::array<std::size_t, 5> shape{1, 1, 1, 1, 1}; ///< X, Y, Z, T and C
    bool has_shape = false;                          ///< false for a stack that grows
    std::array<double, 3> voxel{};                   ///< 0 where it isn't known
    std::string name;
    std::string description;
    Vexa::arrays::Timestamp date;
};

/// A document that was there before the first stack, with elements that have no class among others.
constexpr char const* earlier_document =
    R"(<OME Creator="someone"><Experimenter ID="Experimenter:1" UserName="u"/><Instrument ID="Instrument:3">)"
    R"(<Laser ID="LightSource:7" Wavelength="488"/></Instrument><Project ID="Project:1">)"
    R"(<AnnotationRef ID="Annotation:1"/></Project><Rights><RightsHeld>all</RightsHeld></Rights>)"
    R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/project/extension">)"
    R"(<Value><extension><band ID="Band:1"/><dye ID="Dye:1" name="Green"/></extension></Value>)"
    R"(</XMLAnnotation></StructuredAnnotations></OME>)";

class MetadataHistory : public RandomHistory {
public:
    MetadataHistory(std::filesystem::path const& path, unsigned seed) : RandomHistory(path, seed) {
        std::string const text = chance(3) ? earlier_document : "";
        if (!text.empty()) file().set_tag(key_of_document, text);
        mirror_ = std::make_unique<OME::Root>(text);
        asks_ = !chance(4);
    }

private:
    void step() override {
        if (chance(8)) return set_tag();
        if (asks_ && chance(4)) return edit();
        if (asks_ && chance(4)) return compare_document(file().metadata());
        RandomHistory::step();
    }

    // Stacks and their images

    void choose_kind(Model& model) override {
        static constexpr std::array<int, 7> codes = {types::uint16, types::int32,   types::uint32,
                                                     types::single, types::double_, types::uint64,
                                                     types::int64};
        model.type = codes[chance(8) ? below(codes.size()) : below(5)];
        model.shape.resize(chance(15) ? 6 : 1 + below(5), 1);
        for (auto& size : model.shape) size = 1 + below(4);
        model.shape.front() = 1 + below(40);
        if (chance(8)) model.shape.back() = 0;
    }

    std::shared_ptr<StackInterface> add_stack(Model const& model, WriteMode mode) override {
        Info info(model.type, model.shape);
        describe(info);
        auto const add = [&] { return file().add_stack(info, mode, 0, model.data_less); };
        if (model.type == types::uint64 || model.type == types::int64) {
            VEXA_EXPECT_THROWS(add(), OME::Invalid_Argument, "Unsupported OME image type");
        } else if (info.number_of_elements() != 0 && model.shape.size() == 6) {
            VEXA_EXPECT_THROWS(add(), std::invalid_argument, "Unsupported number of 6 dimensions");
        } else {
            auto const stack = add();
            expected_.push_back(image_of(info));
            add_image(*mirror_, expected_.back());
            has_document_ = true;
            return stack;
        }
        // The stack is there, without an image.
        EXPECT_EQ(file().get_num_stacks(), models().size() + 1);
        return file().get_stack(models().size());
    }

    void describe(Info& info) {
        if (chance(2)) info.set_name(text());
        if (chance(2)) info.set_description(text());
        if (chance(2))
            info.set_timestamp(
                Vexa::arrays::Timestamp(std::chrono::nanoseconds(below(2'000'000'000)) * 1'000'000'007));
        if (chance(2)) return;
        static constexpr std::array<double, 8> choice = {0,
                                                         1,
                                                         1e-6,
                                                         2.5e-4,
                                                         -3e-5,
                                                         7,
                                                         std::numeric_limits<double>::quiet_NaN(),
                                                         std::numeric_limits<double>::infinity()};
        auto lengths = info.lengths();
        for (double& length : lengths) length = choice[below(choice.size())];
        info.set_lengths(lengths);
    }

    static Data_Type type_of(int code) {
        switch (code) {
        case types::uint16: return Data_Type::uint16;
        case types::int32: return Data_Type::int32;
        case types::uint32: return Data_Type::uint32;
        case types::single: return Data_Type::float_;
        default: return Data_Type::double_;
        }
    }

    static Expected image_of(Info const& info) {
        Expected image;
        image.type = type_of(info.type());
        image.name = info.name();
        image.description = info.description();
        image.date = info.timestamp();
        image.has_shape = info.number_of_elements() != 0;
        if (!image.has_shape) return image;
        std::copy(info.shape().begin(), info.shape().end(), image.shape.begin());
        for (std::size_t axis = 0; axis < std::min<std::size_t>(info.shape().size(), 3); ++axis)
            if (double const length = info.lengths()[axis]; length != 0 && length != 1)
                image.voxel[axis] = length / static_cast<double>(image.shape[axis]);
        return image;
    }

    static void add_image(OME::Root& root, Expected const& of) {
        OME::Image::Dimensions dimensions;
        dimensions.data_type = of.type;
        if (of.has_shape) dimensions.dimension_order = OME::Image::Dimension_Order::XYZTC;
        dimensions.x = of.shape[0];
        dimensions.y = of.shape[1];
        dimensions.z = of.shape[2];
        dimensions.t = of.shape[3];
        dimensions.c = of.shape[4];
        dimensions.voxel_shape_in_meters = {of.voxel[0], of.voxel[1], of.voxel[2]};
        OME::Image& image = *root.ome.images().emplace_back(dimensions, nullptr, nullptr);
        if (!of.name.empty()) image.name().set(of.name);
        if (!of.description.empty()) image.description().set(of.description);
        if (of.date != Vexa::arrays::Timestamp()) image.set_acquisition_date(of.date);
    }

    // The document

    /// Any text that XML keeps: not empty, no blank at the beginning.
    std::string text() {
        static constexpr std::array<char const*, 12> pieces = {"a",  "B", "7", "\xc3\xa9", "<",  "&",
                                                               "\"", "'", ">", "\n",       "  ", "]]>"};
        std::string text(1, static_cast<char>('a' + below(26)));
        for (unsigned long n = below(10); n > 0; --n) text += pieces[below(pieces.size())];
        return text;
    }

    void set_tag() {
        // The document wins over whatever is set for it, once it is there.
        if (has_document_ && chance(4)) return file().set_tag(key_of_document, "<OME><damaged");
        std::string const key = text();
        std::string value(below(100), '\0');
        for (char& c : value) c = static_cast<char>(below(256));
        file().set_tag(key, value);
        EXPECT_EQ(file().tag(key), value);
        tags_[key] = value;
    }

    void edit() {
        has_document_ = true;
        unsigned long const kind = below(14), which = below(1000);
        std::string const said = text();
        edit_document(file().metadata(), kind, said);
        edit_document(*mirror_, kind, said);
        if (expected_.empty()) return;
        edit_image(image_at(file().metadata(), which), kind, said, file().metadata());
        edit_image(image_at(*mirror_, which), kind, said, *mirror_);
        Expected& image = expected_[which % expected_.size()];
        if (kind == 0) image.name = said;
        if (kind == 1) image.description = said;
    }

    OME::Image& image_at(OME::Root& root, unsigned long which) const {
        return *std::next(root.ome.images().begin(), static_cast<long>(which % expected_.size()));
    }

    static void edit_document(OME::Root& root, unsigned long kind, std::string const& said) {
        OME::OME& ome = root.ome;
        switch (kind) {
        case 2: ome.creator().set(said); break;
        case 3: ome.instruments().emplace_back()->microscope().model().set(said); break;
        case 4: ome.provide_light_sources().emplace_back()->set_wavelength({488, OME::Length::nm}); break;
        case 5:
            ome.provide_dyes().emplace_back()->name().set(said);
            ome.provide_bands().emplace_back()->add_dye(*ome.dyes()->front().id.value());
            break;
        case 6: ome.annotations().emplace_back("urn:vexa/tests")->description().set(said); break;
        case 7:
            ome.provide_objectives().emplace_back()->set_immersion(OME::Objective::Immersion::silicone);
            break;
        case 8: ome.provide_first_project().add(*ome.datasets().emplace_back()); break;
        default: break;
        }
    }

    static void edit_image(OME::Image& image, unsigned long kind, std::string const& said, OME::Root& root) {
        switch (kind) {
        case 0: image.name().set(said); break;
        case 1: image.description().set(said); break;
        case 3: image.set_instrument(root.ome.provide_first_instrument()); break;
        case 4:
            image.provide_first_channel().set_light_source(*root.ome.light_sources()->front().id.value());
            break;
        case 5: image.provide_first_channel().set_band(*root.ome.bands()->front().id.value()); break;
        case 7: image.set_objective(*root.ome.objectives()->front().id.value()); break;
        case 8: root.ome.datasets().front().add(image); break;
        case 9: image.provide_first_channel().name().set(said); break;
        case 10: image.set_position_in_meters({1e-3, -2e-3, 0}); break;
        case 11: image.set_derivation_description(said); break;
        case 12: image.add(*root.ome.ROIs().emplace_back()); break;
        case 13: image.add_source_image(root.ome.images().front()); break;
        default: break;
        }
    }

    void compare_document(OME::Root const& root) {
        has_document_ = true;
        EXPECT_TRUE(*root.value() == *mirror_->value());
        EXPECT_EQ(root.XML(), mirror_->XML());
        ASSERT_EQ(root.ome.images().size(), expected_.size());
        auto expected = expected_.begin();
        for (OME::Image const& image : root.ome.images()) compare_image(image, *expected++);
    }

    static void compare_image(OME::Image const& image, Expected const& expected) {
        EXPECT_EQ(Vexa::stack_size(image),
                  std::vector<std::size_t>(expected.shape.begin(), expected.shape.end()));
        EXPECT_EQ(image.data_type(), expected.type);
        EXPECT_EQ(image.name().value_or("").get<std::string>(), expected.name);
        EXPECT_EQ(image.description().value_or("").get<std::string>(), expected.description);
        EXPECT_EQ(image.acquisition_date().value_or(Vexa::arrays::Timestamp()), expected.date);
        std::array<std::optional<double>, 3> const sizes = {
            image.voxel_size_x_in_meters(), image.voxel_size_y_in_meters(), image.voxel_size_z_in_meters()};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            ASSERT_EQ(sizes[axis].has_value(), std::isfinite(expected.voxel[axis]));
            if (sizes[axis]) {
                EXPECT_DOUBLE_EQ(*sizes[axis], expected.voxel[axis]);
            }
        }
    }

    // The closed file

    void check_closed_file(std::vector<Model> const& models) override {
        RandomHistory::check_closed_file(models);
        std::string const document = mirror_->XML();
        tags_[key_of_document] = document;
        EXPECT_EQ(walk_file(path()).tags, tags_);
        bool const asks = chance(2);
        expect_untouched([&](FileImp& file) { ask_at_random(file, models, document, asks); });
        std::string const damaged = damage(document);
        expect_untouched([&](FileImp& file) { ask_at_random(file, models, damaged, false); });
    }

    /// Open the file, do something with it, and close it or let it go. It has the same bytes afterwards.
    template <typename Action>
    void expect_untouched(Action const& action) {
        std::string const before = read_bytes(path());
        auto const file = std::make_shared<FileImp>(chance(8));
        file->open(path(), Mode::read);
        action(*file);
        if (chance(2)) file->close();
        EXPECT_TRUE(read_bytes(path()) == before);
    }

    /// All that a file can be asked for that is open for reading.
    void ask_at_random(FileImp& file, std::vector<Model> const& models, std::string const& document,
                       bool asks) {
        bool const has_tags = !file.tags().empty();
        bool is_changed = !has_tags;
        for (int i = 0; i < 20; ++i) {
            std::size_t const which = models.empty() ? 0 : below(models.size());
            switch (below(asks ? 8 : 6)) {
            case 0:
                if (!models.empty()) compare(*file.get_stack(which), models[which]);
                break;
            case 1:
                if (has_tags) {
                    EXPECT_EQ(file.tag(key_of_document), document);
                }
                EXPECT_EQ(file.tags().size(), has_tags ? tags_.size() : 0);
                break;
            case 2: file.flush(); break;
            case 3:
                VEXA_EXPECT_THROWS(file.add_stack(types::uint16, {2, 3}, false), std::runtime_error,
                                   "File not open for writing.");
                break;
            case 4:
                VEXA_EXPECT_THROWS(file.set_file_desc("other"), std::runtime_error,
                                   "Read-only handle specified in write function.");
                break;
            case 5:
                if (!models.empty()) file.seek_to_end_of_stack(static_cast<unsigned>(which));
                break;
            case 6:
                if (!is_changed) compare_document(file.metadata());
                break;
            default:
                file.metadata().ome.provide_first_folder().name().set("changed");
                is_changed = true;
                break;
            }
        }
        if (has_tags) file.set_tag(text(), "lost");
    }

    /// Overwrite the document in the file, which keeps its length.
    /// \return the document that is there now
    std::string damage(std::string const& document) {
        std::string bytes = read_bytes(path());
        auto const at = bytes.rfind(document);
        if (at == std::string::npos) throw std::runtime_error("The file holds another document.");
        std::string damaged = document;
        auto const from = static_cast<long>(below(damaged.size()));
        if (chance(2))
            std::fill(damaged.begin() + from, damaged.end(), '<');
        else
            for (auto c = damaged.begin() + from; c != damaged.end(); ++c) *c = static_cast<char>(below(256));
        write_bytes(path(), bytes.replace(at, damaged.size(), damaged));
        return damaged;
    }

    std::unique_ptr<OME::Root> mirror_; ///< has been through the same as the file's document
    std::vector<Expected> expected_;
    std::map<std::string, std::string> tags_;
    bool asks_ = false;         ///< whether the document is asked for while the file is written
    bool has_document_ = false; ///< whether the file has made or read it
};

class FileMetadataHistory : public ::testing::TestWithParam<unsigned> {};

TEST_P(FileMetadataHistory, AgreesWithItsModel) {
    TemporaryFolder folder;
    run_histories<MetadataHistory>(folder / "a.vbf", 1000 * GetParam(), 20, 60);
}

INSTANTIATE_TEST_SUITE_P(Seeds, FileMetadataHistory, ::testing::Range(1u, 9u));

} // namespace
