#include <vexa/units/BaseUnit.h>

namespace Vexa::units {

namespace {

std::vector<BaseUnit> make_unit_array() {
    return {
        {"m", m, -24, 3},       {"kg", kg, 0, 0},      {"s", s, -24, 0},      {"A", A, -24, 24},
        {"K", K, -24, 0},       {"mol", mol, -24, 0},  {"cd", cd, -24, 24},   {"rad", rad, -3, 0},
        {"sr", sr, 0, 0},       {"", 1.0, -24, 24},    {"Hz", Hz, -24, 24},   {"N", N, -24, 24},
        {"Pa", Pa, -24, 24},    {"J", J, -24, 24},     {"W", W, -24, 24},     {"C", C, -24, 24},
        {"V", V, -24, 24},      {"F", F, -24, 24},     {"ohm", ohm, -24, 24}, {"S", S, -24, 24},
        {"Wb", Wb, -24, 24},    {"T", T, -24, 24},     {"H", H, -24, 24},     {"lm", lm, -24, 24},
        {"lux", lux, -24, 24},  {"Bq", Bq, -24, 24},   {"Gy", Gy, -24, 24},   {"g", g, -24, 3},
        {"t", t, 0, 24},        {"deg", deg, 0, 0},    {"pc", pc, -24, 24},   {"angstrom", angstrom, 0, 0},
        {"fermi", fermi, 0, 0}, {"barn", barn, 0, 0},  {"h", h, 0, 0},        {"e", e, 0, 0},
        {"eV", eV, -24, 24},    {"bar", bar, -24, 24}, {"G", G, -24, 24},     {"Bq", Bq, -24, 24},
        {"Ci", Ci, -24, 24},
    };
}

} // namespace

BaseUnit::BaseUnit(std::string const& unit_name, RuntimeValue unit_value, int lowest_prefix,
                   int highest_prefix)
    : RuntimeValue(unit_value), min_prefix(lowest_prefix), max_prefix(highest_prefix), name(unit_name) {}

std::vector<BaseUnit> const& BaseUnit::get_unit_array() {
    static std::vector<BaseUnit> const units = make_unit_array();
    return units;
}

std::string BaseUnit::get_prefix(int exponent, bool ascii) {
    switch (exponent) {
    case -24: return "y";
    case -21: return "z";
    case -18: return "a";
    case -15: return "f";
    case -12: return "p";
    case -9: return "n";
    case -6: return ascii ? "u" : "\xC2\xB5";
    case -3: return "m";
    case -2: return "c";
    case -1: return "d";
    case 2: return "h";
    case 3: return "k";
    case 6: return "M";
    case 9: return "G";
    case 12: return "T";
    case 15: return "P";
    case 18: return "E";
    case 21: return "Z";
    case 24: return "Y";
    default: return "";
    }
}

int BaseUnit::match_prefix(std::string const& name, int& length) {
    length = 0;
    if (name.empty()) return 0;
    if (name.starts_with("\xC2\xB5") || name.starts_with("\xCE\xBC")) {
        length = 2;
        return -6;
    }
    length = 1;
    switch (name.front()) {
    case 'E': return 18;
    case 'G': return 9;
    case 'M': return 6;
    case 'P': return 15;
    case 'T': return 12;
    case 'Y': return 24;
    case 'Z': return 21;
    case 'c': return -2;
    case 'd': return -1;
    case 'f': return -15;
    case 'h': return 2;
    case 'k': return 3;
    case 'm': return -3;
    case 'n': return -9;
    case 'p': return -12;
    case 'u': return -6;
    case 'y': return -24;
    case 'z': return -21;
    default: length = 0; return 1000;
    }
}

} // namespace Vexa::units
