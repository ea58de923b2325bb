// Unit text beside numbers: what a parse of "mm/s^2" costs, in parses of a number by the C library.

#include <cstdlib>
#include <string>

#include <vexa/units/BaseUnit.h>

#include "bench.h"

namespace {

constexpr int million = 1000000;

void parse_units(std::string const& text) {
    for (int i = 0; i < million; ++i) {
        Vexa::units::RuntimeValue value;
        Vexa::bench::keep(Vexa::units::BaseUnit::parse(text, value));
        Vexa::bench::keep(value.value);
    }
}

void parse_numbers(std::string const& text) {
    for (int i = 0; i < million; ++i) Vexa::bench::keep(std::strtod(text.c_str(), nullptr));
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    std::string const number = "0.001";
    for (std::string const text : {"mm/s^2", "2.5 mm"})
        table.compare({.name = "units/million of " + text + " to million of strtod",
                       .candidate = [text] { parse_units(text); },
                       .baseline = [&number] { parse_numbers(number); }});
    return table.run();
}
