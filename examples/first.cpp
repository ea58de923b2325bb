#include <cstdint>
#include <iostream>
#include <vector>
#include <vexa/VexaIo.h>

int main() {
    // 64 planes of 512 x 512 samples, axis 0 is the fastest.
    std::vector<std::uint16_t> samples(512 * 512 * 64, 7);

    auto file = Vexa::open_file("first.vbf", Vexa::bf::DiskFile::Mode::create);
    auto stack = file->add_stack(Vexa::types::uint16, {512, 512, 64}, false);
    stack->set_name("specimen");
    stack->set_compression(1, 1);
    stack->write(Vexa::types::uint16, samples.data(), nullptr, samples.size());
    file->close();

    file = Vexa::open_file("first.vbf", Vexa::bf::DiskFile::Mode::read);
    std::vector<float> plane(512 * 512);
    unsigned long position = 10 * plane.size();
    file->get_stack(0)->read(Vexa::types::single, plane.data(), nullptr, plane.size(), position);
    std::cout << plane.front() << '\n';
}
