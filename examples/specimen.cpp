#include "specimen.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float background = 2.5f;    ///< photons for each pixel
constexpr float lateral_sigma = 1.3f; ///< of the focus, in pixels
constexpr float axial_sigma = 2.5f;   ///< in planes
constexpr int reach = 4;              ///< pixels around an emitter that get light
constexpr float axial_reach = 3 * axial_sigma;

/// A small and fast generator: a plane needs a number for each pixel.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
    std::uint64_t operator()() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_ * 0x2545F4914F6CDD1Dull;
    }
    /// From 0 up to but without 1.
    float uniform() { return static_cast<float>((*this)() >> 40) * 0x1p-24f; }
    float normal() {
        float sum = 0;
        for (int i = 0; i < 4; ++i) sum += uniform();
        return (sum - 2.0f) * std::sqrt(3.0f);
    }

private:
    std::uint64_t state_;
};

/// Photon counts with a given mean: looked up for the low means of most pixels.
class PhotonCounter {
public:
    static PhotonCounter const& instance() {
        static PhotonCounter const counter;
        return counter;
    }

    std::uint16_t count(float mean, Random& random) const {
        auto const row = static_cast<std::size_t>(mean * steps);
        if (row < rows) return table_[row * quantiles + (random() >> 54)];
        return static_cast<std::uint16_t>(
            std::clamp(mean + std::sqrt(mean) * random.normal() + 0.5f, 0.0f, 65535.0f));
    }

private:
    static constexpr std::size_t steps = 8, rows = 32 * steps, quantiles = 1024;

    PhotonCounter() : table_(rows * quantiles) {
        for (std::size_t row = 0; row < rows; ++row) {
            double const mean = (static_cast<double>(row) + 0.5) / steps;
            double probability = std::exp(-mean), sum = probability;
            std::uint16_t photons = 0;
            for (std::size_t quantile = 0; quantile < quantiles; ++quantile) {
                while (sum < (static_cast<double>(quantile) + 0.5) / quantiles) {
                    ++photons;
                    probability *= mean / photons;
                    sum += probability;
                }
                table_[row * quantiles + quantile] = photons;
            }
        }
    }

    std::vector<std::uint16_t> table_;
};

} // namespace

Specimen::Specimen(std::uint32_t width, std::uint32_t height, std::uint32_t planes, std::uint64_t seed)
    : width_(width), height_(height), planes_(planes), seed_(seed) {
    for (std::uint64_t i = 0; i < 60; ++i) add_filament(seed + 1000 + i);
    for (std::uint64_t i = 0; i < 400; ++i) add_bead(seed + 5000 + i);
    std::sort(emitters_.begin(), emitters_.end(),
              [](Emitter const& a, Emitter const& b) { return a.z < b.z; });
}

/// A filament is a walk whose direction changes a little with each step.
void Specimen::add_filament(std::uint64_t seed) {
    Random random(seed);
    Emitter at{random.uniform() * static_cast<float>(width_), random.uniform() * static_cast<float>(height_),
               random.uniform() * static_cast<float>(planes_), 4.0f + 6.0f * random.uniform(),
               Part::filaments};
    float angle = random.uniform() * 6.2831853f, rise = 0.3f * random.normal();
    for (int step = 0; step < 1500; ++step) {
        emitters_.push_back(at);
        angle += 0.05f * random.normal();
        rise = 0.98f * rise + 0.02f * random.normal();
        at.x += 0.7f * std::cos(angle);
        at.y += 0.7f * std::sin(angle);
        at.z += rise;
    }
}

void Specimen::add_bead(std::uint64_t seed) {
    Random random(seed);
    emitters_.push_back(
        {random.uniform() * static_cast<float>(width_), random.uniform() * static_cast<float>(height_),
         random.uniform() * static_cast<float>(planes_), 60.0f + 200.0f * random.uniform(), Part::beads});
}

void Specimen::add_light(std::vector<float>& light, Emitter const& emitter, float defocus) const {
    float const strength =
        emitter.brightness * std::exp(-defocus * defocus / (2 * axial_sigma * axial_sigma));
    int const x = static_cast<int>(std::floor(emitter.x)), y = static_cast<int>(std::floor(emitter.y));
    std::array<float, 2 * reach + 1> profile{};
    for (int i = -reach; i <= reach; ++i) {
        float const distance = static_cast<float>(x + i) - emitter.x;
        profile[static_cast<std::size_t>(i + reach)] =
            std::exp(-distance * distance / (2 * lateral_sigma * lateral_sigma));
    }
    int const w = static_cast<int>(width_), h = static_cast<int>(height_);
    for (int v = std::max(y - reach, 0); v <= std::min(y + reach, h - 1); ++v) {
        float const distance = static_cast<float>(v) - emitter.y;
        float const row = strength * std::exp(-distance * distance / (2 * lateral_sigma * lateral_sigma));
        for (int u = std::max(x - reach, 0); u <= std::min(x + reach, w - 1); ++u)
            light[static_cast<std::size_t>(v) * width_ + static_cast<std::size_t>(u)] +=
                row * profile[static_cast<std::size_t>(u - x + reach)];
    }
}

std::vector<std::uint16_t> Specimen::plane(std::uint32_t index, Part part) const {
    std::vector<float> light(std::size_t{width_} * height_, background);
    auto const focus = static_cast<float>(index);
    auto const below = [](Emitter const& emitter, float z) { return emitter.z < z; };
    auto emitter = std::lower_bound(emitters_.begin(), emitters_.end(), focus - axial_reach, below);
    for (; emitter != emitters_.end() && emitter->z < focus + axial_reach; ++emitter)
        if (part == Part::all || part == emitter->part) add_light(light, *emitter, emitter->z - focus);
    Random random(seed_ + 77777 + index + (static_cast<std::uint64_t>(part) << 32));
    auto const& counter = PhotonCounter::instance();
    std::vector<std::uint16_t> photons(light.size());
    for (std::size_t i = 0; i < light.size(); ++i) photons[i] = counter.count(light[i], random);
    return photons;
}
