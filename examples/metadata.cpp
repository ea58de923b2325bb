#include <cstdint>
#include <iostream>
#include <vector>
#include <vexa/VexaIo.h>

int main() {
    Vexa::arrays::StackInfoImp description(Vexa::types::uint16, {512, 512});
    description.set_name("cell 1");
    description.set_labels({"X", "Y"});
    description.set_lengths({51.2e-6, 51.2e-6}); // of all pixels together, in meters

    auto file = Vexa::open_file("metadata.vbf", Vexa::bf::DiskFile::Mode::create);
    auto stack = file->add_stack(description, 0, false); // and with it an image in the document
    auto& document = file->metadata().ome.element();
    auto& objective = *document.provide_objectives().emplace_back();
    objective.set_lens_NA(1.4);
    objective.set_immersion(OME::Objective::Immersion::oil);
    auto& image = document.images().front();
    image.set_instrument(*document.first_instrument());
    image.set_objective(*objective.id.value());
    auto& channel = image.provide_first_channel();
    channel.name().set("actin");
    channel.set_emission_wavelength({520, OME::Length::nm});
    std::vector<std::uint16_t> const samples(description.number_of_elements(), 7);
    stack->write(Vexa::types::uint16, samples.data(), nullptr, samples.size());
    file->close();

    file = Vexa::open_file("metadata.vbf", Vexa::bf::DiskFile::Mode::read);
    for (OME::Image const& seen : file->metadata().ome.images())
        std::cout << seen.name().value()->get<std::string>() << ": pixels of "
                  << *seen.voxel_size_x_in_meters() << " m, light of "
                  << *seen.channel(0).emission_wavelength_in_meters() << " m\n";
}
