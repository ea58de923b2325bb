#include "acquisition.h"

#include <algorithm>
#include <random>
#include <stdexcept>

#include <vexa/ome/OME_Utilities.h>

namespace {

using Vexa::bf::DiskFile;
using Vexa::bf::WriteModeFlags;
namespace types = Vexa::types;

/// The mean of each sample and its neighbours.
std::vector<float> smoothed(std::vector<float> const& plane, std::uint32_t width, std::uint32_t height) {
    std::vector<float> result(plane.size());
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            float sum = 0;
            auto const top = y == 0 ? 0 : y - 1, bottom = std::min(y + 1, height - 1);
            auto const left = x == 0 ? 0 : x - 1, right = std::min(x + 1, width - 1);
            for (auto v = top; v <= bottom; ++v)
                for (auto u = left; u <= right; ++u) sum += plane[std::size_t{width} * v + u];
            result[std::size_t{width} * y + x] =
                sum / static_cast<float>((bottom - top + 1) * (right - left + 1));
        }
    return result;
}

/// Every second sample of every second line.
std::vector<float> halved(std::vector<float> const& plane, std::uint32_t width, std::uint32_t height) {
    std::vector<float> result;
    for (std::uint32_t y = 0; y < height; y += 2)
        for (std::uint32_t x = 0; x < width; x += 2) result.push_back(plane[std::size_t{width} * y + x]);
    return result;
}

/// What comes back of samples that are stored as 16 bits without sign.
std::vector<float> as_stored(std::vector<float> const& samples) {
    std::vector<std::uint16_t> stored(samples.size());
    std::vector<float> result(samples.size());
    vexa_dt_convert(types::single, types::uint16, samples.data(), stored.data(), samples.size(), nullptr,
                    nullptr);
    vexa_dt_convert(types::uint16, types::single, stored.data(), result.data(), samples.size(), nullptr,
                    nullptr);
    return result;
}

} // namespace

void calibrate(Vexa::arrays::StackInfoImp& stack, std::array<double, 3> const& steps) {
    stack.set_labels({"X", "Y", "Z"});
    Vexa::units::RuntimeValue metre;
    metre.set_value("m", 1.0);
    for (std::size_t axis = 0; axis < steps.size(); ++axis) {
        stack.set_units(axis, metre);
        stack.set_offset(axis, 0.0);
        // A stack that grows multiplies its length by the number of planes.
        auto const size = std::max<std::size_t>(stack.shape()[axis], 1);
        stack.set_length(axis, steps[axis] * static_cast<double>(size));
    }
}

Acquisition::Acquisition(Camera& camera, std::string const& path, std::string const& preview_path,
                         Vexa::bf::ThreadingSupport const& threading)
    : camera_(camera) {
    add_stacks(path, preview_path);
    file_->set_threading_support(threading);
    choose_windows();
}

void Acquisition::add_stacks(std::string const& path, std::string const& preview_path) {
    unsigned long const width = camera_.width, height = camera_.height, planes = camera_.planes;
    Vexa::bf::WriteMode const chunk_wise = WriteModeFlags::chunk_wise;
    // A file has an OME document, with an image for each stack, made from the stack's description. It can't
    // describe samples of each type.
    auto const raw_description = description(camera_.type, {width, height, planes}, "raw", 1);
    file_ = Vexa::create_file(!Vexa::why_no_image(raw_description).empty());
    file_->open(path, DiskFile::Mode::create);
    auto const raw = file_->add_stack(raw_description, chunk_wise, 0, false);
    raw->set_compression(1, 1);
    // The noise of real numbers fills all of their bits: there is nothing to gain.
    if (camera_.type == types::single || camera_.type == types::double_) raw->set_compression(0, 0);
    // A last axis of 0 makes a stack that grows.
    auto const smooth =
        file_->add_stack(description(types::single, {width, height, 0}, "smoothed", 1), chunk_wise, 0, false);
    smooth->set_compression(1, 1);
    preview_file_ = Vexa::open_file(preview_path, DiskFile::Mode::create);
    auto const preview = preview_file_->add_stack(
        description(types::uint16, {(width + 1) / 2, (height + 1) / 2, planes}, "preview", 2), 0, false);
    preview->set_compression(1, 1);
    // Another stack may now be added to that file, behind the room of this one.
    preview->reserve(0);
    channels_ = {{raw, "raw", {}, 0}, {smooth, "smoothed", {}, 0}, {preview, "preview", {}, 0}};
}

Vexa::arrays::StackInfoImp Acquisition::description(int type, std::vector<std::size_t> const& shape,
                                                    std::string const& name, double pixels_for_each) const {
    Vexa::arrays::StackInfoImp stack(type, shape);
    stack.set_name(name);
    if (camera_.pixel_metres > 0)
        calibrate(stack, {camera_.pixel_metres * pixels_for_each, camera_.pixel_metres * pixels_for_each,
                          camera_.plane_metres});
    return stack;
}

/// Places that are remembered: parts of a line somewhere in each stack, and its very first and last samples.
void Acquisition::choose_windows() {
    std::mt19937_64 random(2026);
    for (auto& channel : channels_) {
        auto const line = channel.stack->shape()[0];
        auto const total = line * channel.stack->shape()[1] * camera_.planes;
        for (std::size_t i = 0; i < windows_each; ++i) {
            Window window;
            auto const length = std::min<unsigned long>(1 + random() % 256, line);
            window.position = i == 0 ? 0 : i == 1 ? total - length : random() % (total / line) * line;
            window.samples.resize(length);
            channel.windows.push_back(std::move(window));
        }
    }
}

void Acquisition::write(Channel& channel, std::uint32_t plane, int type, void const* samples,
                        std::vector<float> const& values) {
    channel.stack->write(type, samples, nullptr, values.size());
    channel.bytes += values.size() * vexa_dt_get_size(channel.stack->type());
    auto const first = std::uint64_t{plane} * values.size();
    for (auto& window : channel.windows)
        if (window.position >= first && window.position < first + values.size())
            std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(window.position - first),
                        window.samples.size(), window.samples.begin());
}

void Acquisition::run(std::function<void(std::uint32_t)> const& progress) {
    std::vector<float> values(std::size_t{camera_.width} * camera_.height);
    for (std::uint32_t plane = 0; plane < camera_.planes; ++plane) {
        auto const samples = camera_.next();
        vexa_dt_convert(camera_.type, types::single, samples.data(), values.data(), values.size(), nullptr,
                        nullptr);
        write(channels_[0], plane, camera_.type, samples.data(), values);
        auto const smooth = smoothed(values, camera_.width, camera_.height);
        write(channels_[1], plane, types::single, smooth.data(), smooth);
        auto const small = halved(values, camera_.width, camera_.height);
        write(channels_[2], plane, types::single, small.data(), as_stored(small));
        progress(plane + 1);
    }
    channels_[1].stack->write_end(types::single);
    for (auto& channel : channels_) channel.stack.reset();
    file_->close();
    preview_file_->close();
}
