// Random histories of a file, against a model of it in memory.

#include <vexa/bf/FileImp.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Samples = std::vector<std::uint16_t>;

/// What a stack should hold.
struct Model {
    std::shared_ptr<StackInterface> stack;
    std::vector<unsigned long> shape;
    bool variable = false;
    bool data_less = false;
    bool chunk_wise = false;
    int status = stack_status::uncommitted;
    Samples samples; ///< written so far; in the end all of them

    unsigned long plane() const { return variable ? shape[0] : 1; }
    unsigned long size() const { return variable || data_less ? 0 : shape[0] * shape[1]; }
    unsigned long left() const { return variable ? 1000000 : size() - samples.size(); }
    bool open() const { return status != stack_status::complete; }
    bool on_boundary() const { return variable ? samples.size() % plane() == 0 : samples.size() == size(); }
};

class History {
public:
    History(std::filesystem::path const& path, unsigned seed) : random_(seed), path_(path) {
        file_ = std::make_shared<FileImp>(false);
        file_->open(path, Mode::create);
        if (chance(2)) file_->set_chunk_size(1 + below(3000));
        if (chance(2)) file_->set_threading_support(inline_execution(1 + below(4)));
    }

    void run(int steps) {
        for (int i = 0; i < steps && !::testing::Test::HasFatalFailure(); ++i) step();
        end();
    }

private:
    unsigned long below(unsigned long n) { return random_() % n; }
    bool chance(unsigned long one_in) { return below(one_in) == 0; }
    Samples fresh(unsigned long n) {
        Samples samples(n);
        for (auto& sample : samples) sample = static_cast<std::uint16_t>(next_++ / 3);
        return samples;
    }

    void step() {
        if (models_.empty() || chance(6)) return add();
        Model& model = models_[below(models_.size())];
        if (!model.open()) return read(model);
        switch (below(12)) {
        case 0: return truncate(model);
        case 1: return write_end(model);
        case 2: return reserve(model);
        default: return write(model);
        }
    }

    /// Whether the stream stands where this stack goes on.
    bool can_write(Model const& model) const {
        if (model.status == stack_status::writing || model.status == stack_status::uncommitted)
            return model.chunk_wise || &model == &models_.back();
        return true;
    }

    void add() {
        Model model;
        model.chunk_wise = chance(2);
        for (Model& earlier : models_) {
            bool const stays =
                earlier.status == stack_status::complete || earlier.status == stack_status::reserved ||
                (earlier.chunk_wise && model.chunk_wise && !earlier.data_less && earlier.size() != 0);
            bool const committed = earlier.status != stack_status::uncommitted;
            if (stays || (committed && earlier.on_boundary())) continue;
            truncate(earlier);
        }
        model.shape = {1 + below(40), chance(8) ? 0 : 1 + below(60)};
        model.variable = model.shape[1] == 0;
        model.data_less = !model.variable && chance(10);
        WriteMode mode;
        mode.set(WriteModeFlags::chunk_wise, model.chunk_wise);
        mode.set(WriteModeFlags::no_padding, chance(2));
        mode.set(WriteModeFlags::no_flush, chance(2));
        model.stack = file_->add_stack(types::uint16, model.shape, mode, model.data_less);
        model.stack->set_compression(static_cast<int>(below(2)), static_cast<int>(below(10)));
        if (chance(2)) model.stack->set_flush_block_size(chance(3) ? 0 : 200 + below(1000));
        if (chance(3)) model.stack->set_label(0, "x");
        if (chance(4)) model.stack->set_tag("key", JSON::Value(1));
        // What adding did to the others.
        for (Model& earlier : models_) {
            if (earlier.status == stack_status::uncommitted)
                earlier.status = stack_status::chunk_wise_writing;
            if (earlier.status == stack_status::writing ||
                (earlier.status == stack_status::chunk_wise_writing && !model.chunk_wise))
                complete(earlier);
        }
        models_.push_back(std::move(model));
        check();
    }

    void write(Model& model) {
        if (!can_write(model) || model.data_less) return;
        Samples const samples = fresh(std::min(model.left(), 1 + below(300)));
        model.stack->write(types::uint16, samples.data(), nullptr, samples.size());
        model.samples.insert(model.samples.end(), samples.begin(), samples.end());
        begin(model);
        if (!model.variable && model.left() == 0) complete(model);
        check();
    }

    void write_end(Model& model) {
        if (!can_write(model)) return;
        bool const commit_only = model.status == stack_status::uncommitted && model.chunk_wise;
        bool const good = commit_only || model.data_less || model.on_boundary();
        try {
            model.stack->write_end(types::uint16);
            EXPECT_TRUE(good);
            bool const begun = commit_only && model.size() != 0;
            begin(model);
            if (!begun) complete(model);
        } catch (std::runtime_error const& e) {
            EXPECT_FALSE(good) << e.what();
            begin(model);
        }
        check();
    }

    void truncate(Model& model) {
        if (!can_write(model)) return;
        unsigned long const step = model.plane() * (1 + below(3));
        if (chance(2)) {
            model.stack->truncate();
            fill(model, model.plane());
        } else {
            model.stack->truncate_at(step);
            fill(model, step);
        }
        complete(model);
        check();
    }

    static void fill(Model& model, unsigned long step) {
        if (!model.variable) return model.samples.resize(model.size());
        model.samples.resize((model.samples.size() + step - 1) / step * step);
    }

    void reserve(Model& model) {
        bool const possible = !model.variable && !model.data_less && !model.chunk_wise && model.open() &&
                              model.status != stack_status::reserved && &model == &models_.back();
        if (!possible) return;
        model.stack->reserve(below(5000));
        model.status = stack_status::reserved;
        check();
    }

    void read(Model& model) {
        compare(*model.stack, model);
        check();
    }

    void begin(Model& model) const {
        if (model.status == stack_status::uncommitted)
            model.status = model.chunk_wise ? stack_status::chunk_wise_writing : stack_status::writing;
    }

    static void complete(Model& model) {
        if (model.data_less) model.samples.assign(model.shape[0] * model.shape[1], 0);
        model.status = stack_status::complete;
    }

    void check() const {
        for (Model const& model : models_) {
            ASSERT_EQ(model.stack->io_status(), model.status);
            if (!model.variable) continue;
            ASSERT_EQ(model.stack->shape()[1], model.samples.size() / model.plane());
        }
    }

    void compare(StackInterface const& stack, Model const& model) {
        ASSERT_EQ(stack.number_of_elements(), model.samples.size());
        Samples all(model.samples.size());
        stack.read(types::uint16, all.data(), nullptr);
        ASSERT_EQ(all, model.samples);
        if (all.empty() || model.data_less) return;
        for (int i = 0; i < 3; ++i) {
            unsigned long const at = below(all.size());
            unsigned long pos = at;
            Samples part(1 + below(100));
            part.resize(stack.read(types::uint16, part.data(), nullptr, part.size(), pos));
            ASSERT_TRUE(std::equal(part.begin(), part.end(), model.samples.begin() + static_cast<long>(at)));
        }
    }

    void end() {
        bool const by_destructor = chance(2);
        for (Model& model : models_) {
            if (by_destructor && model.open())
                fill(model, model.plane());
            else if (model.open() && !(model.status != stack_status::uncommitted && model.on_boundary()))
                truncate(model);
            complete(model);
        }
        if (!by_destructor) file_->close();
        std::vector<Model> models = std::move(models_);
        for (Model& model : models) model.stack.reset();
        file_.reset();
        auto const walked = walk_file(path_);
        for (auto const& fault : walked.faults) ADD_FAILURE() << fault.text << " at " << fault.position;
        ASSERT_EQ(walked.stacks.size(), models.size());
        auto const source = open_bytes(path_);
        for (auto const& stack : walked.stacks)
            for (auto const& fault : read_section(*source, stack).faults)
                ADD_FAILURE() << fault.text << " at " << fault.position;
        auto const again = Vexa::open_file(path_, Mode::read);
        ASSERT_EQ(again->get_num_stacks(), models.size());
        for (int round = 0; round < 2; ++round) {
            again->set_threading_support(inline_execution(1 + below(4)));
            for (std::size_t i = 0; i < models.size(); ++i) compare(*again->get_stack(i), models[i]);
        }
    }

    std::mt19937 random_;
    std::filesystem::path path_;
    std::shared_ptr<FileImp> file_;
    std::vector<Model> models_;
    unsigned long next_ = 0;
};

class FileHistory : public ::testing::TestWithParam<unsigned> {};

TEST_P(FileHistory, AgreesWithItsModel) {
    TemporaryFolder folder;
    for (unsigned i = 0; i < 25; ++i) {
        unsigned const seed = 1000 * GetParam() + i;
        SCOPED_TRACE("seed " + std::to_string(seed));
        try {
            History(folder / "a.vbf", seed).run(60);
        } catch (std::exception const& e) {
            FAIL() << e.what();
        }
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FileHistory, ::testing::Range(1u, 9u));

} // namespace
