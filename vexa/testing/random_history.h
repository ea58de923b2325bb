#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/file_walker.h>

namespace Vexa::testing {

/// A file that is written by a random history of calls, against a model of it in memory; in the end it is read.
/// Derived histories add stacks of their own kind, and more that can be done and compared.
class RandomHistory {
public:
    using WriteMode = bf::WriteMode;
    using Mode = bf::DiskFile::Mode;
    using Samples = std::vector<std::uint16_t>;

    RandomHistory(std::filesystem::path const& path, unsigned seed) : random_(seed), path_(path) {
        file_ = std::make_shared<bf::FileImp>(false);
        file_->open(path, Mode::create);
        if (chance(2)) file_->set_chunk_size(1 + below(3000));
        if (chance(2)) threads_ = 2 + below(3);
        file_->set_threading_support(inline_execution(threads_));
    }
    RandomHistory(RandomHistory const&) = delete;
    RandomHistory& operator=(RandomHistory const&) = delete;
    virtual ~RandomHistory() = default;

    void run(int steps) {
        for (int i = 0; i < steps && !::testing::Test::HasFatalFailure(); ++i) step();
        end();
    }

protected:
    /// What a stack should hold.
    struct Model {
        std::shared_ptr<bf::StackInterface> stack;
        int type = types::uint16;
        std::vector<unsigned long> shape;
        bool variable = false;
        bool data_less = false;
        bool chunk_wise = false;
        int status = bf::stack_status::uncommitted;
        Samples samples; ///< written so far; in the end all of them

        unsigned long product(std::size_t axes) const {
            return std::accumulate(shape.begin(), shape.begin() + static_cast<long>(axes), 1UL,
                                   std::multiplies<>());
        }
        /// How many samples a stack that grows has for each entry of its last axis.
        unsigned long plane() const { return variable ? product(shape.size() - 1) : 1; }
        unsigned long size() const { return variable || data_less ? 0 : product(shape.size()); }
        unsigned long left() const { return variable ? 1000000 : size() - samples.size(); }
        bool open() const { return status != bf::stack_status::complete; }
        bool on_boundary() const {
            return variable ? samples.size() % plane() == 0 : samples.size() == size();
        }
    };

    virtual void step() {
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

    /// What kind of stack is added next.
    virtual void choose_kind(Model& model) { model.shape = {1 + below(40), chance(8) ? 0 : 1 + below(60)}; }

    virtual std::shared_ptr<bf::StackInterface> add_stack(Model const& model, WriteMode mode) {
        return file_->add_stack(model.type, model.shape, mode, model.data_less);
    }

    /// Compare the file, which is closed now, with the models of its stacks.
    virtual void check_closed_file(std::vector<Model> const& models) {
        auto const again = Vexa::open_file(path_, Mode::read);
        ASSERT_EQ(again->get_num_stacks(), models.size());
        for (int round = 0; round < 2; ++round) {
            again->set_threading_support(inline_execution(1 + below(4)));
            for (std::size_t i = 0; i < models.size(); ++i) compare(*again->get_stack(i), models[i]);
        }
    }

    unsigned long below(unsigned long n) { return random_() % n; }
    bool chance(unsigned long one_in) { return below(one_in) == 0; }

    void compare(bf::StackInterface const& stack, Model const& model) {
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

    std::filesystem::path const& path() const { return path_; }
    bf::FileImp& file() { return *file_; }
    std::vector<Model> const& models() const { return models_; }

private:
    Samples fresh(unsigned long n) {
        Samples samples(n);
        for (auto& sample : samples) sample = static_cast<std::uint16_t>(next_++ / 3);
        return samples;
    }

    /// Whether the stream stands where this stack goes on.
    bool can_write(Model const& model) const {
        if (model.status == bf::stack_status::writing || model.status == bf::stack_status::uncommitted)
            return model.chunk_wise || &model == &models_.back();
        return true;
    }

    /// End those stacks that could not stay open beside the next one.
    void make_way(bool chunk_wise) {
        for (Model& earlier : models_) {
            bool const stays =
                earlier.status == bf::stack_status::complete ||
                earlier.status == bf::stack_status::reserved ||
                (earlier.chunk_wise && chunk_wise && !earlier.data_less && earlier.size() != 0);
            bool const committed = earlier.status != bf::stack_status::uncommitted;
            if (stays || (committed && earlier.on_boundary())) continue;
            truncate(earlier);
        }
    }

    void add() {
        Model model;
        model.chunk_wise = chance(2);
        make_way(model.chunk_wise);
        choose_kind(model);
        model.variable = model.shape.back() == 0;
        model.data_less = !model.variable && chance(10);
        WriteMode mode;
        mode.set(bf::WriteModeFlags::chunk_wise, model.chunk_wise);
        mode.set(bf::WriteModeFlags::no_padding, chance(2));
        mode.set(bf::WriteModeFlags::no_flush, chance(2));
        model.stack = add_stack(model, mode);
        set_up(*model.stack);
        note_addition(model.chunk_wise);
        models_.push_back(std::move(model));
        check();
    }

    void set_up(bf::StackInterface& stack) {
        stack.set_compression(static_cast<int>(below(2)), static_cast<int>(below(10)));
        // Several streams need blocks that shrink, which those of tiny stacks would not.
        bool const whole_choice = threads_ == 1;
        if (!whole_choice || chance(2))
            stack.set_flush_block_size(whole_choice && chance(3) ? 0 : 400 + below(1000));
        if (chance(3)) stack.set_label(0, "x");
        if (chance(4)) stack.set_tag("key", JSON::Value(1));
    }

    /// What adding did to the other stacks.
    void note_addition(bool chunk_wise) {
        for (Model& earlier : models_) {
            if (earlier.status == bf::stack_status::uncommitted)
                earlier.status = bf::stack_status::chunk_wise_writing;
            if (earlier.status == bf::stack_status::writing ||
                (earlier.status == bf::stack_status::chunk_wise_writing && !chunk_wise))
                complete(earlier);
        }
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
        bool const commit_only = model.status == bf::stack_status::uncommitted && model.chunk_wise;
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
                              model.status != bf::stack_status::reserved && &model == &models_.back();
        if (!possible) return;
        model.stack->reserve(below(5000));
        model.status = bf::stack_status::reserved;
        check();
    }

    void read(Model& model) {
        compare(*model.stack, model);
        check();
    }

    static void begin(Model& model) {
        if (model.status == bf::stack_status::uncommitted)
            model.status =
                model.chunk_wise ? bf::stack_status::chunk_wise_writing : bf::stack_status::writing;
    }

    static void complete(Model& model) {
        if (model.data_less) model.samples.assign(model.product(model.shape.size()), 0);
        model.status = bf::stack_status::complete;
    }

    void check() const {
        for (Model const& model : models_) {
            ASSERT_EQ(model.stack->io_status(), model.status) << "stack " << (&model - models_.data());
            if (!model.variable) continue;
            ASSERT_EQ(model.stack->shape().back(), model.samples.size() / model.plane());
        }
    }

    void end() {
        bool const by_destructor = chance(2);
        for (Model& model : models_) {
            if (by_destructor && model.open())
                fill(model, model.plane());
            else if (model.open() && !(model.status != bf::stack_status::uncommitted && model.on_boundary()))
                truncate(model);
        }
        for (Model& model : models_) complete(model);
        if (!by_destructor) file_->close();
        std::vector<Model> models = std::move(models_);
        for (Model& model : models) model.stack.reset();
        file_.reset();
        walk(models.size());
        check_closed_file(models);
    }

    void walk(std::size_t number_of_stacks) const {
        auto const walked = walk_file(path_);
        for (auto const& fault : walked.faults) ADD_FAILURE() << fault.text << " at " << fault.position;
        ASSERT_EQ(walked.stacks.size(), number_of_stacks);
        auto const source = open_bytes(path_);
        for (auto const& stack : walked.stacks)
            for (auto const& fault : read_section(*source, stack).faults)
                ADD_FAILURE() << fault.text << " at " << fault.position;
    }

    std::mt19937 random_;
    std::filesystem::path path_;
    std::shared_ptr<bf::FileImp> file_;
    std::vector<Model> models_;
    unsigned long next_ = 0;
    unsigned long threads_ = 1;
};

/// Run histories with these seeds, up to the first that fails.
template <typename History>
void run_histories(std::filesystem::path const& path, unsigned first_seed, unsigned count, int steps) {
    for (unsigned seed = first_seed; seed < first_seed + count; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        try {
            History(path, seed).run(steps);
        } catch (std::exception const& e) {
            FAIL() << e.what();
        }
        if (::testing::Test::HasFailure()) return;
    }
}

} // namespace Vexa::testing
