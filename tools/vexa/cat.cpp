#include <algorithm>
#include <cstring>

#include <vexa/foundation/types.h>

#include "commands.h"
#include "console.h"
#include "region.h"
#include "stacks.h"
#include "text.h"
#include "workers.h"

namespace Vexa::tool {
namespace {

constexpr std::uint64_t piece_bytes = 4 << 20;

/// Takes the samples of a region, one call for each piece of a line along axis 0.
class Output {
public:
    virtual ~Output() = default;
    virtual void samples(void const* from, std::uint64_t count) = 0;
    virtual void end_of_line() {}
    virtual void end() {}
};

class RawOutput : public Output {
public:
    explicit RawOutput(std::size_t size) : size_(size) {}
    void samples(void const* from, std::uint64_t count) override {
        put({static_cast<char const*>(from), static_cast<std::size_t>(count) * size_});
    }

private:
    std::size_t size_;
};

class TextOutput : public Output {
public:
    TextOutput(int type, std::size_t size) : type_(type), size_(size) {}
    void samples(void const* from, std::uint64_t count) override {
        std::string text;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!at_begin_) text += ' ';
            at_begin_ = false;
            text += sample_text(static_cast<char const*>(from) + i * size_, type_);
        }
        put(text);
    }
    void end_of_line() override {
        put("\n");
        at_begin_ = true;
    }

private:
    int type_;
    std::size_t size_;
    bool at_begin_ = true;
};

class JsonOutput : public Output {
public:
    JsonOutput(bf::StackInterface const& stack, std::vector<AxisRange> const& region)
        : type_(stack.type()), size_(vexa_dt_get_size(stack.type())) {
        document_["schema"] = "vexa.cat/1";
        document_["type"] = type_text(type_);
        JSON::List shape;
        for (auto const size : region_shape(region)) shape.push_back(JSON::Number(size));
        document_["shape"] = std::move(shape);
    }
    void samples(void const* from, std::uint64_t count) override {
        for (std::uint64_t i = 0; i < count; ++i)
            samples_.push_back(sample_json(static_cast<char const*>(from) + i * size_, type_));
    }
    void end() override {
        document_["samples"] = std::move(samples_);
        put(document_text(document_));
    }

private:
    int type_;
    std::size_t size_;
    JSON::Map document_;
    JSON::List samples_;
};

std::unique_ptr<Output> make_output(CatOptions const& options, bf::StackInterface const& stack,
                                    std::vector<AxisRange> const& region) {
    auto const size = vexa_dt_get_size(stack.type());
    if (size == 0)
        throw Failure(Exit::no_input,
                      "Samples of type " + type_text(stack.type()) + " have no size and can't be read.");
    if (options.json) return std::make_unique<JsonOutput>(stack, region);
    if (options.raw) return std::make_unique<RawOutput>(size);
    return std::make_unique<TextOutput>(stack.type(), size);
}

/// Keep every \p step th sample.
/// \return how many that are
std::uint64_t thin_out(unsigned char* samples, std::uint64_t count, std::uint64_t step, std::size_t size) {
    if (step == 1) return count;
    std::uint64_t kept = 0;
    for (std::uint64_t at = 0; at < count; at += std::min(step, count - at))
        std::memmove(samples + kept++ * size, samples + at * size, size);
    return kept;
}

void read_run(bf::StackInterface const& stack, AxisRange const& axis, std::uint64_t position,
              std::uint64_t length, std::vector<unsigned char>& buffer, Output& output) {
    auto const size = vexa_dt_get_size(stack.type());
    // Pieces begin at samples that are wanted; samples that lie far apart are read one by one.
    auto const room = piece_bytes / size;
    bool const sparse = axis.step > room;
    auto const piece = sparse ? axis.step : room / axis.step * axis.step;
    buffer.resize((sparse ? 1 : std::min(piece, length)) * size);
    for (std::uint64_t done = 0; done < length;) {
        auto const n = std::min(piece, length - done);
        unsigned long at = position + done;
        auto const got = stack.read(stack.type(), buffer.data(), nullptr, sparse ? 1 : n, at);
        output.samples(buffer.data(), thin_out(buffer.data(), got, axis.step, size));
        done += n;
    }
    output.end_of_line();
}

} // namespace

Exit run_cat(CatOptions const& options) {
    Workers workers(options.threads);
    auto const file = open_vbf(options.file);
    file->set_threading_support(workers.support());
    auto const stack = file->get_stack(find_stack(*file, options.stack));
    auto const region = parse_region(options.region, stack->shape());
    auto const output = make_output(options, *stack, region);
    std::vector<unsigned char> buffer;
    reading(options.file, [&] {
        for_each_run(region, stack->shape(), [&](std::uint64_t position, std::uint64_t length) {
            read_run(*stack, region[0], position, length, buffer, *output);
        });
    });
    output->end();
    return Exit::done;
}

} // namespace Vexa::tool
