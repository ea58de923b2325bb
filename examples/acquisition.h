#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/io.h>
#include <vexa/foundation/types.h>

/// Where planes come from, one after the other.
class Camera {
public:
    virtual ~Camera() = default;
    /// Sizes of a plane, and how many there are.
    std::uint32_t width = 0, height = 0, planes = 0;
    int type = 0;            ///< of a sample
    double pixel_metres = 0; ///< 0 when unknown
    double plane_metres = 0;
    /// The next plane, row by row.
    virtual std::vector<unsigned char> next() = 0;
};

/// Samples of a stack that are remembered while it grows, to be compared when it is read back.
struct Window {
    unsigned long position = 0;
    std::vector<float> samples;
};

/// One of the stacks that grow.
struct Channel {
    std::shared_ptr<Vexa::bf::StackInterface> stack;
    std::string name;
    std::vector<Window> windows;
    std::uint64_t bytes = 0; ///< of samples, as stored
};

/// Say how far apart the samples of a stack are along X, Y and Z, in meters.
void calibrate(Vexa::arrays::StackInfoImp& stack, std::array<double, 3> const& steps);

/// Takes planes from a camera and lets three stacks grow at once: the planes as they come, their smoothed
/// form in a stack whose length nobody knows in advance, and small previews in the room reserved in a second
/// file.
class Acquisition {
public:
    static constexpr std::size_t windows_each = 64;

    Acquisition(Camera& camera, std::string const& path, std::string const& preview_path,
                Vexa::bf::ThreadingSupport const& threading);

    /// Take all planes and close both files.
    /// \param progress is told how many planes are done
    void run(std::function<void(std::uint32_t)> const& progress);

    std::vector<Channel> const& channels() const { return channels_; }

private:
    void add_stacks(std::string const& path, std::string const& preview_path);
    Vexa::arrays::StackInfoImp description(int type, std::vector<std::size_t> const& shape,
                                           std::string const& name, double pixels_for_each) const;
    void choose_windows();
    void write(Channel& channel, std::uint32_t plane, int type, void const* samples,
               std::vector<float> const& values);

    Camera& camera_;
    std::shared_ptr<Vexa::bf::FileInterface> file_, preview_file_;
    std::vector<Channel> channels_; ///< raw, smoothed, preview
};
