// What an application that links the installed library does: write a stack, read it back, use each of the
// value models once. Exits with 1 when something is not as written.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <numeric>
#include <vector>

#include <vexa/VexaIo.h>
#include <vexa/net/tcpip.h>

namespace {

std::vector<std::uint16_t> make_samples(std::size_t count) {
    std::vector<std::uint16_t> samples(count);
    std::iota(samples.begin(), samples.end(), std::uint16_t{1});
    return samples;
}

void write_file(char const* path, std::vector<std::uint16_t> const& samples) {
    auto const file = Vexa::open_file(path, Vexa::bf::DiskFile::Mode::create);
    auto const stack = file->add_stack(Vexa::types::uint16, {8, 4, 3}, false);
    stack->set_name("ramp");
    stack->set_tag("origin", JSON::parse(R"({"made by" : "consumer"})"));
    stack->write(Vexa::types::uint16, samples.data(), nullptr, samples.size());
    file->close();
}

bool read_file(char const* path, std::vector<std::uint16_t> const& samples) {
    auto const file = Vexa::open_file(path, Vexa::bf::DiskFile::Mode::read);
    auto const stack = file->get_stack(0);
    std::vector<double> values(stack->number_of_elements());
    stack->read(Vexa::types::double_, values.data(), nullptr);
    return stack->name() == "ramp" &&
           std::equal(values.begin(), values.end(), samples.begin(), samples.end());
}

bool use_values() {
    VProp tree;
    tree["laser.power"].set<double>() = 0.5;
    Vexa::units::RuntimeValue speed;
    speed.set_value("mm/s", 2.0);
    return speed.valid && vexa_dt_from_name("uint16") == Vexa::types::uint16;
}

bool use_metadata() {
    OME::Root root("");
    auto const dye = root.ome.provide_dyes().emplace_back();
    dye->name().set("GFP");
    dye->set_emission_wavelength({509, OME::Length::nm});
    OME::Root const copy(root.XML());
    auto const* dyes = copy.ome.dyes();
    return dyes && dyes->size() == 1 && *dyes->front().name().value() == "GFP" &&
           dyes->front().emission_wavelength_in_meters() == 509e-9;
}

bool use_client() {
    VTcpClient client;
    try {
        client.read_line();
    } catch (boost::system::system_error const& error) {
        return error.code() == boost::asio::error::bad_descriptor;
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: consumer FILE\n"), 2;
    try {
        auto const samples = make_samples(8 * 4 * 3);
        write_file(argv[1], samples);
        if (read_file(argv[1], samples) && use_values() && use_metadata() && use_client()) return 0;
        std::fprintf(stderr, "What was read is not what was written.\n");
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
